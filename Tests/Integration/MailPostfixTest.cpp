#include "Support/Postfix.h"
#include "Support/Process.h"

#include <Ondrel/Smtp.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace Ondrel {
namespace {

using nlohmann::json;
using Testing::Postfix;
using Testing::RunProcess;

class MailPostfix : public testing::Test {
protected:
  json MailOf(const std::string& user) {
    const std::string path = m_postfix.WaitForMailbox(user);
    if (path.empty()) {
      ADD_FAILURE() << "no mail came for " << user << '\n' << m_postfix.Log();
      return json::object();
    }
    const auto reader = RunProcess(ONDREL_TEST_PYTHON,
                                   {ONDREL_SOURCE_FOLDER "/Tests/Support/read_mailbox.py", path});
    EXPECT_EQ(reader.exitStatus, 0) << reader.errors;
    return json::parse(reader.output, nullptr, false);
  }

  CSmtp Mail() const {
    CSmtp mail;
    mail.SetServer("127.0.0.1", m_postfix.Port());
    mail.SetFrom("service@mail.test", "RAID monitor");
    mail.AddTO("to@mail.test", "Admin");
    mail.SetSubject("Critical: physical drive failed");
    mail.SetMessageBody("Controller 1, slot 3:\nOPERATIONAL to FAILED\n.\nlast line\n");
    return mail;
  }

  Postfix m_postfix;
};

TEST_F(MailPostfix, DeliversToEveryRecipientWhatPythonReads) {
  CSmtp mail = Mail();
  mail.AddCC("cc@mail.test");
  mail.AddBCC("bcc@mail.test", "Audit");
  mail.SetReplyTo("desk@mail.test");
  mail.SetXMailer("RAID monitor 7.10");
  mail.SetXPriority(XPRIORITY_HIGH);

  ASSERT_TRUE(mail.Send()) << mail.GetLastError() << '\n' << m_postfix.Log();

  for (const char* user : {"to", "cc", "bcc"}) {
    SCOPED_TRACE(user);
    const json delivered = MailOf(user);
    ASSERT_EQ(delivered.value("count", 0), 1);
    EXPECT_EQ(delivered["defects"], json::array());
    EXPECT_EQ(delivered["addresses"]["From"],
              json::parse(R"([["RAID monitor", "service@mail.test"]])"));
    EXPECT_EQ(delivered["addresses"]["To"], json::parse(R"([["Admin", "to@mail.test"]])"));
    EXPECT_EQ(delivered["addresses"]["Cc"], json::parse(R"([["", "cc@mail.test"]])"));
    const json& fields = delivered["fields"];
    EXPECT_EQ(fields["Subject"], json::array({"Critical: physical drive failed"}));
    EXPECT_EQ(fields["X-Mailer"], json::array({"RAID monitor 7.10"}));
    EXPECT_EQ(fields["X-Priority"], json::array({"2 (High)"}));
    EXPECT_EQ(fields["Reply-To"], json::array({"desk@mail.test"}));
    // Postfix takes this field out of what it passes on.
    EXPECT_FALSE(fields.contains("Bcc"));
    EXPECT_EQ(fields["Delivered-To"], json::array({std::string(user) + "@mail.test"}));
    EXPECT_EQ(delivered["type"], "text/plain");
    EXPECT_EQ(delivered["charset"], "us-ascii");
    EXPECT_EQ(delivered["body"], "Controller 1, slot 3:\nOPERATIONAL to FAILED\n.\nlast line\n");
  }
}

TEST_F(MailPostfix, RefusesARecipientThatItDoesNotKnow) {
  CSmtp mail = Mail();
  mail.AddCC("nobody@mail.test");

  EXPECT_FALSE(mail.Send());
  EXPECT_EQ(mail.GetLastError(), CSMTP_ERROR_SSL);  // CURLE_SEND_ERROR (55).
}

}  // namespace
}  // namespace Ondrel
