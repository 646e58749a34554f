#include "Support/TemporaryFolder.h"
#include "Tool/MailOptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string_view>
#include <utility>

namespace Tool {
namespace {

using Ondrel::Testing::TemporaryFolder;
using testing::HasSubstr;

class Mail : public testing::Test {
protected:
  Mail() {
    m_options.server = "mail.example.com";
    m_options.from = "raid@example.com";
    m_options.to = {"a@example.com"};
  }

  std::string Complaint() const {
    try {
      PrepareMail(m_options);
      return "";
    } catch (const UsageError& error) {
      return error.what();
    }
  }

  TemporaryFolder m_folder;
  MailOptions m_options;
};

TEST_F(Mail, DefaultsArePort25PlainAndSixtySeconds) {
  const MailRoute route = PrepareMail(m_options);

  EXPECT_EQ(route.port, 25);
  EXPECT_EQ(route.protocol, "smtp");
  EXPECT_EQ(route.timeout, std::chrono::seconds(60));
}

TEST_F(Mail, SecureProtocolHasItsOwnPort) {
  m_options.protocol = "smtps";
  EXPECT_EQ(PrepareMail(m_options).port, 465);

  m_options.port = "2465";
  EXPECT_EQ(PrepareMail(m_options).port, 2465);
}

TEST_F(Mail, SenderMayBeNamedOnce) {
  m_options.from = "RAID box <raid@example.com>";
  EXPECT_EQ(PrepareMail(m_options).from.name, "RAID box");
  EXPECT_EQ(PrepareMail(m_options).from.mail, "raid@example.com");

  m_options.fromName = "Other";
  EXPECT_EQ(Complaint(), "--from-name: --mail-from names the sender already");
}

TEST_F(Mail, PasswordIsTheFirstLineOfItsFile) {
  m_options.user = "raid";
  m_options.passwordFile = m_folder.Write("password", "s3cret word\r\nnot this\n");

  EXPECT_EQ(PrepareMail(m_options).password, "s3cret word");
}

TEST_F(Mail, PasswordThatIsNoneIsRefused) {
  m_options.user = "raid";
  m_options.passwordFile = m_folder.Write("empty", "\nsecond\n");
  EXPECT_THAT(Complaint(), HasSubstr("has no password in its first line"));

  m_options.passwordFile = m_folder.Write("zero", std::string("s3\0cret\n", 8));
  EXPECT_THAT(Complaint(), HasSubstr("the password holds a zero byte"));

  m_options.passwordFile = m_folder.Path("missing");
  EXPECT_THAT(Complaint(), HasSubstr("cannot read "));
}

struct Wrong {
  const char* name;
  void (*change)(MailOptions& options);
  const char* complaint;
};

void PrintTo(const Wrong& row, std::ostream* out) { *out << row.name; }

class WrongMail : public Mail, public testing::WithParamInterface<Wrong> {};

TEST_P(WrongMail, IsRefusedByTheOptionsName) {
  GetParam().change(m_options);

  EXPECT_EQ(Complaint(), GetParam().complaint);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WrongMail,
    testing::Values(
        Wrong{"NoServer", [](MailOptions& o) { o.server.reset(); }, "--server is required"},
        Wrong{"EmptyServer", [](MailOptions& o) { o.server = ""; }, "--server is empty"},
        Wrong{"NoSender", [](MailOptions& o) { o.from.reset(); }, "--mail-from is required"},
        Wrong{"TwoSenders", [](MailOptions& o) { o.from = "a@x,b@x"; },
              "--mail-from: there has to be one address"},
        Wrong{"NoRecipient", [](MailOptions& o) { o.to.clear(); }, "--to is required"},
        Wrong{"EmptyRecipient", [](MailOptions& o) { o.to = {""}; }, "--to is empty"},
        Wrong{"EmptyCopy", [](MailOptions& o) { o.cc = {""}; }, "--cc is empty"},
        Wrong{"Port0", [](MailOptions& o) { o.port = "0"; },
              "--port: \"0\" is not a number of 1 to 65535"},
        Wrong{"PortTooGreat", [](MailOptions& o) { o.port = "65536"; },
              "--port: \"65536\" is not a number of 1 to 65535"},
        Wrong{"Protocol", [](MailOptions& o) { o.protocol = "ftp"; },
              "--protocol: \"ftp\" is neither smtp nor smtps"},
        Wrong{"Timeout", [](MailOptions& o) { o.timeout = "soon"; },
              "--timeout: \"soon\" is not a duration"},
        Wrong{"UserAlone", [](MailOptions& o) { o.user = "u"; }, "--user requires --password-file"},
        Wrong{"PasswordAlone", [](MailOptions& o) { o.passwordFile = "f"; },
              "--password-file requires --user"}),
    [](const auto& row) { return std::string(row.param.name); });

// Each text that reaches the mail or the dialogue with the server.
INSTANTIATE_TEST_SUITE_P(
    LineEnds, WrongMail,
    testing::Values(
        Wrong{"Server", [](MailOptions& o) { o.server = "h\nQUIT"; }, "--server has a line break"},
        Wrong{"Sender", [](MailOptions& o) { o.from = "a@x\rb"; }, "--mail-from has a line break"},
        Wrong{"SenderName", [](MailOptions& o) { o.fromName = "R\nBcc: b@x"; },
              "--from-name has a line break"},
        Wrong{"To",
              [](MailOptions& o) {
                o.to = {"a@x", "b@x\nc@x"};
              },
              "--to has a line break"},
        Wrong{"Cc", [](MailOptions& o) { o.cc = {"b@x\r"}; }, "--cc has a line break"},
        Wrong{"Bcc", [](MailOptions& o) { o.bcc = {"\nb@x"}; }, "--bcc has a line break"},
        Wrong{"ReplyTo", [](MailOptions& o) { o.replyTo = "b@x\nX: y"; },
              "--reply-to has a line break"},
        Wrong{"XMailer", [](MailOptions& o) { o.xMailer = "m\nX: y"; },
              "--x-mailer has a line break"},
        Wrong{"User",
              [](MailOptions& o) {
                o.user = "u\nQUIT";
                o.passwordFile = "f";
              },
              "--user has a line break"},
        Wrong{"PasswordFile",
              [](MailOptions& o) {
                o.user = "u";
                o.passwordFile = "f\n";
              },
              "--password-file has a line break"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(MailBody, LinesEndInALineFeedWhateverEndedThem) {
  EXPECT_EQ(BodyOfText("a\r\nb\nc\rd\r\r\ne"), "a\nb\nc\nd\n\ne");
  EXPECT_EQ(BodyOfText("a\r"), "a\n");
  EXPECT_EQ(BodyOfText(""), "");
}

TEST(MailBody, ZeroByteIsRefusedWithItsPlace) {
  try {
    BodyOfText(std::string("ab\0c", 4));
    FAIL();
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(), "the body holds a zero byte at offset 2; a mail cannot");
  }
}

struct Outcome {
  const char* name;
  MailOutcome outcome;
  Json expected;
};

void PrintTo(const Outcome& row, std::ostream* out) { *out << row.name; }

class MailOutcomes : public testing::TestWithParam<Outcome> {};

TEST_P(MailOutcomes, SayWhatTheServerAnsweredAndWhetherToTryAgain) {
  MailRoute route{};
  route.server = "host";
  route.port = 25;
  Json shown = JsonOfOutcome(route, GetParam().outcome);
  EXPECT_EQ(shown["text"], OutcomeText(route, GetParam().outcome));
  EXPECT_EQ(shown["timedOut"], GetParam().outcome.isTimedOut);
  for (const char* const other : {"sent", "error", "errorName", "timedOut", "text"})
    shown.erase(other);

  EXPECT_EQ(shown, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MailOutcomes,
    testing::Values(
        Outcome{"Sent",
                {true, Ondrel::CSMTP_ERROR_NONE, false, "250 2.0.0 taken as 17"},
                {{"serverCode", 250}, {"serverText", "2.0.0 taken as 17"}, {"retry", nullptr}}},
        Outcome{"Lasting",
                {false, Ondrel::CSMTP_ERROR_STREAM, false, "550 5.1.1 No such user"},
                {{"serverCode", 550}, {"serverText", "5.1.1 No such user"}, {"retry", false}}},
        Outcome{"Passing",
                {false, Ondrel::CSMTP_ERROR_AUTHENTICATION_FAILED, false, "454 later"},
                {{"serverCode", 454}, {"serverText", "later"}, {"retry", true}}},
        Outcome{"TwoLines",
                {false, Ondrel::CSMTP_ERROR_SSL, false, "451-greylisted\n451 come back"},
                {{"serverCode", 451}, {"serverText", "greylisted come back"}, {"retry", true}}},
        Outcome{"CodeAlone",
                {false, Ondrel::CSMTP_ERROR_SSL, false, "554"},
                {{"serverCode", 554}, {"serverText", ""}, {"retry", false}}},
        Outcome{"NoCode",
                {false, Ondrel::CSMTP_ERROR_UNEXPECTED_CODE, false, "hello"},
                {{"serverCode", nullptr}, {"serverText", nullptr}, {"retry", true}}},
        Outcome{"NoServer",
                {false, Ondrel::CSMTP_ERROR_CONNECTION_REFUSED, false, ""},
                {{"serverCode", nullptr}, {"serverText", nullptr}, {"retry", true}}},
        Outcome{"SilentAfterGreeting",
                {false, Ondrel::CSMTP_ERROR_STREAM, true, "220 ready"},
                {{"serverCode", 220}, {"serverText", "ready"}, {"retry", true}}},
        Outcome{"NobodyToSendTo",
                {false, Ondrel::CSMTP_ERROR_NO_RECIPIENTS, false, ""},
                {{"serverCode", nullptr}, {"serverText", nullptr}, {"retry", false}}}),
    [](const auto& row) { return std::string(row.param.name); });

#define NAMED(error) \
  { Ondrel::error, #error }

TEST(MailErrorName, IsThatOfTheLibrarysHeader) {
  const std::pair<Ondrel::CSmtpError, std::string_view> kErrors[] = {
      NAMED(CSMTP_ERROR_NONE),
      NAMED(CSMTP_ERROR_UNEXPECTED_CODE),
      NAMED(CSMTP_ERROR_STREAM),
      NAMED(CSMTP_ERROR_HOSTNAME),
      NAMED(CSMTP_ERROR_NOT_IMPLEMENTED),
      NAMED(CSMTP_ERROR_COMMAND_FAILED),
      NAMED(CSMTP_ERROR_INTERNAL),
      NAMED(CSMTP_ERROR_STORAGE_FULL),
      NAMED(CSMTP_ERROR_BAD_ENCODING),
      NAMED(CSMTP_ERROR_OUT_OF_MEMORY),
      NAMED(CSMTP_ERROR_CONNECTION_REFUSED),
      NAMED(CSMTP_ERROR_AUTHENTICATION_FAILED),
      NAMED(CSMTP_ERROR_SSL),
      NAMED(CSMTP_ERROR_NO_RECIPIENT_MAIL),
      NAMED(CSMTP_ERROR_NO_RECIPIENTS),
      NAMED(CSMTP_ERROR_NO_MAILFROM),
      NAMED(CSMTP_ERROR_NO_SUBJECT),
  };
  for (const auto& [error, name] : kErrors) EXPECT_EQ(MailErrorName(error), name);
}

#undef NAMED

}  // namespace
}  // namespace Tool
