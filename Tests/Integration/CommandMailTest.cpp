#include "CommandFixture.h"
#include "Support/SmtpServer.h"

#include <gmock/gmock.h>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class CommandMail : public CommandFixture {
protected:
  std::vector<std::string> WithServer(std::vector<std::string> arguments) const {
    return WithServer(arguments, m_server);
  }

  static std::vector<std::string> WithServer(std::vector<std::string> arguments,
                                             const SmtpServer& server) {
    const std::string port = std::to_string(server.Port());
    for (const std::string& option :
         {std::string("--server"), std::string("127.0.0.1"), std::string("--port"), port})
      arguments.push_back(option);
    return arguments;
  }

  /// The one mail that the server has received.
  ReceivedMail Mail() const {
    const std::vector<ReceivedMail> mails = m_server.Mails();
    EXPECT_EQ(mails.size(), 1U);
    return mails.empty() ? ReceivedMail() : mails.front();
  }

  std::string Port() const { return std::to_string(m_server.Port()); }

  bool HasMail() const { return !m_server.Mails().empty(); }

private:
  SmtpServer m_server;
};

TEST_F(CommandMail, ReachesAllRecipientsWithAllItsLines) {
  const std::string body = WriteFile("body", "First line\n\nSecond line\n");

  const ProcessResult result = Run(WithServer({"mail",
                                               "--mail-from",
                                               "raid@example.com",
                                               "--from-name",
                                               "Raid Box",
                                               "--to",
                                               "a@x.org, b@x.org",
                                               "--to",
                                               "c@x.org",
                                               "--cc",
                                               "d@x.org",
                                               "--bcc",
                                               "e@x.org",
                                               "--subject",
                                               "PD 3 failed",
                                               "--priority",
                                               "high",
                                               "--x-mailer",
                                               "ondrel",
                                               "--reply-to",
                                               "admin@x.org",
                                               "--body",
                                               body}));

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_THAT(result.output, testing::StartsWith("Mail sent through 127.0.0.1 port "));
  EXPECT_EQ(Mail().from, "raid@example.com");
  EXPECT_THAT(Mail().to, ElementsAre("a@x.org", "b@x.org", "c@x.org", "d@x.org", "e@x.org"));
  EXPECT_THAT(Mail().data, HasSubstr("From: Raid Box <raid@example.com>\r\n"));
  EXPECT_THAT(Mail().data, HasSubstr("To: <a@x.org>,<b@x.org>,<c@x.org>\r\n"));
  EXPECT_THAT(Mail().data, HasSubstr("Cc: <d@x.org>\r\n"));
  EXPECT_THAT(Mail().data, HasSubstr("Bcc: <e@x.org>\r\n"));
  EXPECT_THAT(Mail().data, HasSubstr("Subject: PD 3 failed\r\n"));
  EXPECT_THAT(Mail().data, HasSubstr("X-Priority: 2 (High)\r\n"));
  EXPECT_THAT(Mail().data, HasSubstr("X-Mailer: ondrel\r\n"));
  EXPECT_THAT(Mail().data, HasSubstr("Reply-To: admin@x.org\r\n"));
  EXPECT_THAT(Mail().data, EndsWith("\r\n\r\nFirst line\r\nSecond line\r\n"));
}

TEST_F(CommandMail, TakesItsBodyFromStandardInputAndShowsTheOutcomeAsJson) {
  const ProcessResult result =
      Run(WithServer({"mail", "--mail-from", "raid@example.com", "--to", "a@x.org", "--subject",
                      "PD 3 failed", "--body", "-", "--json"}),
          "From standard input\n");

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_EQ(ParseAnswer(result.output),
            json({{"sent", true},
                  {"error", 0},
                  {"errorName", "CSMTP_ERROR_NONE"},
                  {"serverCode", 250},
                  {"serverText", "OK"},
                  {"timedOut", false},
                  {"retry", nullptr},
                  {"text", "sent through 127.0.0.1 port " + Port() + ", which answered: 250 OK"}}));
  EXPECT_THAT(Mail().data, HasSubstr("X-Priority: 3 (Normal)\r\n"));
  EXPECT_THAT(Mail().data, EndsWith("\r\n\r\nFrom standard input\r\n"));
}

TEST_F(CommandMail, LogsInWithTheFirstLineOfThePasswordFile) {
  const SmtpServer server({.user = "raid", .password = "a b"});
  const std::vector<std::string> mail = WithServer(
      {"mail", "--mail-from", "raid@example.com", "--to", "a@x.org", "--subject", "s"}, server);
  const auto sendWith = [&](const std::string& passwordFile) {
    std::vector<std::string> arguments = mail;
    arguments.insert(arguments.end(),
                     {"--user", "raid", "--password-file", WriteFile("password", passwordFile)});
    return Run(arguments);
  };

  EXPECT_EQ(sendWith("a b\r\nnot this line\n").exitStatus, 0);
  EXPECT_EQ(server.Mails().at(0).user, "raid");
  const ProcessResult refused = sendWith("wrong\n");
  EXPECT_EQ(refused.exitStatus, 1);
  EXPECT_THAT(refused.output, HasSubstr("CSMTP_ERROR_AUTHENTICATION_FAILED (26)"));
}

TEST_F(CommandMail, SpeaksTlsFromTheStartOverSmtps) {
  const SmtpServer server({.tls = SmtpServer::Tls::FromTheStart});

  const ProcessResult result =
      Run(WithServer({"mail", "--protocol", "smtps", "--mail-from", "raid@example.com", "--to",
                      "a@x.org", "--subject", "s"},
                     server));

  EXPECT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_TRUE(server.Mails().at(0).isSecure);
}

TEST_F(CommandMail, TracesTheLevelsAskedFor) {
  const std::vector<std::string> mail =
      WithServer({"mail", "--mail-from", "raid@example.com", "--to", "a@x.org", "--subject", "s"});
  const auto traced = [&](const std::string& levels) {
    std::vector<std::string> arguments = mail;
    arguments.insert(arguments.end(), {"--trace", levels});
    return Run(arguments).errors;
  };

  EXPECT_EQ(Run(mail).errors, "");
  EXPECT_EQ(traced("error"), "");
  EXPECT_THAT(traced("entry"), HasSubstr("ENTER CSmtp::AddTO ()"));
  EXPECT_THAT(traced("entry"), Not(HasSubstr("add recipient")));
  EXPECT_THAT(traced("detail"), HasSubstr("CSmtp::AddTO () add recipient a@x.org"));
  EXPECT_THAT(traced("detail"), Not(HasSubstr("ENTER")));
  const std::string both = traced("entry,detail");
  EXPECT_THAT(both, HasSubstr("ENTER CSmtp::Send ()"));
  EXPECT_THAT(both, HasSubstr("add recipient"));
}

struct MailFailure {
  const char* name;
  std::vector<std::string> arguments;
  int error;
  const char* errorName;
  bool mayRetryHelp;
};

void PrintTo(const MailFailure& row, std::ostream* out) { *out << row.name; }

class CommandMailFailure : public CommandFixture,
                           public testing::WithParamInterface<MailFailure> {};

TEST_P(CommandMailFailure, IsNamedWithItsNumber) {
  std::vector<std::string> arguments = GetParam().arguments;
  const ProcessResult text = Run(arguments);
  arguments.emplace_back("--json");
  const ProcessResult result = Run(arguments);

  EXPECT_EQ(text.exitStatus, 1);
  EXPECT_THAT(text.output, HasSubstr(std::string(GetParam().errorName) + " (" +
                                     std::to_string(GetParam().error) + "); trying again "));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(
      ParseAnswer(result.output),
      json({{"sent", false},
            {"error", GetParam().error},
            {"errorName", GetParam().errorName},
            {"serverCode", nullptr},
            {"serverText", nullptr},
            {"timedOut", false},
            {"retry", GetParam().mayRetryHelp},
            {"text", text.output.substr(std::string("Mail ").size(),
                                        text.output.size() - std::string("Mail \n").size())}}));
}

// Port 1 of the loopback address has no server.
INSTANTIATE_TEST_SUITE_P(Rows, CommandMailFailure,
                         testing::Values(MailFailure{
                             "NoServerThere",
                             {"mail", "--server", "127.0.0.1", "--port", "1", "--mail-from", "a@b",
                              "--to", "c@d", "--subject", "s"},
                             25,
                             "CSMTP_ERROR_CONNECTION_REFUSED",
                             true}),
                         [](const auto& row) { return std::string(row.param.name); });

class CommandAlert : public CommandMail {
protected:
  std::vector<std::string> FailedDrive() const {
    return {"alert", "pd", "OPERATIONAL", "FAILED", "--object", "PD 3 (slot 7)", "--log", "Demo"};
  }
  std::vector<std::string> WithMail(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(),
                     {"--mail-from", "raid@example.com", "--to", "admin@example.com"});
    return WithServer(arguments);
  }
};

constexpr const char* kFailedText = "PD 3 (slot 7): status changed from OPERATIONAL to FAILED";

TEST_F(CommandAlert, ReasonOfAFailedStepStandsOnStandardError) {
  std::vector<std::string> arguments = {"--store",  Path("missing/events.db"),
                                        "alert",    "ld",
                                        "DEGRADED", "OPERATIONAL",
                                        "--object", "LD 1",
                                        "--log",    "Demo"};
  const ProcessResult text = RunProcess(ONDREL_COMMAND, arguments, "");
  EXPECT_EQ(text.exitStatus, 3);
  EXPECT_THAT(text.output, HasSubstr("Event log: failed\n"));
  EXPECT_EQ(text.output.find("cannot write"), std::string::npos);
  EXPECT_THAT(text.errors, HasSubstr("ondrel: cannot write to the log Demo"));

  arguments.emplace_back("--json");
  EXPECT_THAT(RunProcess(ONDREL_COMMAND, arguments, "").errors,
              HasSubstr("ondrel: cannot write to the log Demo"));
}

TEST_F(CommandAlert, TakesAStatusChangeTheWholeWay) {
  Report("10002", "information", "First");

  const ProcessResult result = Run(WithMail(FailedDrive()));

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_THAT(result.output,
              HasSubstr("Status change: OPERATIONAL (40093) -> FAILED (40095): "
                        "event 10471 (PD_STATE_CHANGE_OP_TO_FAIL), severity 4 (error)\n"));
  EXPECT_THAT(result.output, HasSubstr(std::string("Text: ") + kFailedText + "\n"));
  EXPECT_THAT(result.output, HasSubstr("Event log: reported to Demo with event type 1 as record "));
  EXPECT_THAT(result.output, HasSubstr("Mail: sent through 127.0.0.1 port "));
  EXPECT_THAT(result.output, HasSubstr("Read back: "));
  EXPECT_THAT(result.output,
              HasSubstr(std::string(" Demo 2 error 10471 PD_STATE_CHANGE_OP_TO_FAIL: ") +
                        kFailedText + "\n"));
  EXPECT_THAT(Mail().data, HasSubstr(std::string("Subject: ") + kFailedText + "\r\n"));
  EXPECT_THAT(Mail().data, HasSubstr("X-Priority: 2 (High)\r\n"));
  EXPECT_THAT(Mail().data, EndsWith(std::string("\r\n\r\n") + kFailedText +
                                    "\r\nEvent log Demo: event 10471 "
                                    "(PD_STATE_CHANGE_OP_TO_FAIL), severity 4 (error)\r\n"));
}

TEST_F(CommandAlert, ShowsTheOutcomeOfEachStepAsJson) {
  Report("10002", "information", "First");
  std::vector<std::string> arguments = WithMail(FailedDrive());
  arguments.emplace_back("--json");

  const ProcessResult result = Run(arguments);

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  json shown = ParseAnswer(result.output);
  EXPECT_TRUE(shown["readBack"]["record"].contains("timeGenerated"));
  shown["readBack"]["record"].erase("timeGenerated");
  shown["readBack"]["record"].erase("computer");
  EXPECT_EQ(
      shown,
      json({{"status",
             {{"kind", "pd"},
              {"old", 40093},
              {"oldName", "OPERATIONAL"},
              {"new", 40095},
              {"newName", "FAILED"},
              {"event", 10471},
              {"eventName", "PD_STATE_CHANGE_OP_TO_FAIL"},
              {"severity", 4}}},
            {"test", false},
            {"text", kFailedText},
            {"log",
             {{"ok", true},
              {"log", "Demo"},
              {"eventType", 1},
              {"place", {{"kind", "store"}, {"path", Path("events.db")}}},
              {"recordNumber", 2},
              {"checked", true}}},
            {"mail",
             {{"ok", true},
              {"sent", true},
              {"error", 0},
              {"errorName", "CSMTP_ERROR_NONE"},
              {"serverCode", 250},
              {"serverText", "OK"},
              {"timedOut", false},
              {"retry", nullptr},
              {"text", "sent through 127.0.0.1 port " + Port() + ", which answered: 250 OK"}}},
            {"readBack",
             {{"ok", true},
              {"record",
               {{"recordNumber", 2},
                {"source", "Demo"},
                {"eventID", 10471},
                {"eventName", "PD_STATE_CHANGE_OP_TO_FAIL"},
                {"eventType", 1},
                {"args", {kFailedText}},
                {"message", std::string(kFailedText) + "\r\n"}}}}},
            {"ok", true}}));
}

struct SeverityRow {
  const char* name;
  const char* newStatus;
  int eventType;
  const char* priority;
};

void PrintTo(const SeverityRow& row, std::ostream* out) { *out << row.name; }

class CommandAlertSeverity : public CommandAlert,
                             public testing::WithParamInterface<SeverityRow> {};

TEST_P(CommandAlertSeverity, DecidesTheEventTypeAndThePriority) {
  Report("10002", "information", "First");

  const ProcessResult result = Run(WithMail({"alert", "pd", "OPERATIONAL", GetParam().newStatus,
                                             "--object", "PD 3", "--log", "Demo", "--json"}));

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_EQ(ParseAnswer(result.output)["readBack"]["record"]["eventType"], GetParam().eventType);
  EXPECT_THAT(Mail().data, HasSubstr(GetParam().priority));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandAlertSeverity,
    testing::Values(SeverityRow{"Error", "FAILED", 1, "X-Priority: 2 (High)\r\n"},
                    SeverityRow{"Warning", "OFFLINE", 2, "X-Priority: 3 (Normal)\r\n"},
                    SeverityRow{"Information", "REBUILDING", 4, "X-Priority: 4 (Low)\r\n"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(CommandAlert, SendsNoMailWithoutAServer) {
  Report("10002", "information", "First");
  std::vector<std::string> arguments = FailedDrive();
  arguments.emplace_back("--json");

  const ProcessResult result = Run(arguments);

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  const json shown = ParseAnswer(result.output);
  EXPECT_FALSE(shown.contains("mail"));
  EXPECT_EQ(shown["ok"], true);
  EXPECT_FALSE(HasMail());
}

TEST_F(CommandAlert, ShowsTheFirstRecordOfALogToo) {
  const ProcessResult result = Run(FailedDrive());

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr(" Demo 1 error 10471 PD_STATE_CHANGE_OP_TO_FAIL: "));
}

TEST_F(CommandAlert, DoesNothingForAChangeWithoutAnEvent) {
  const ProcessResult result = Run(
      WithMail({"alert", "ld", "FAILED", "FAILED", "--object", "LD 1", "--log", "Demo", "--json"}));

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(ParseAnswer(result.output), json({{"status",
                                               {{"kind", "ld"},
                                                {"old", 40095},
                                                {"oldName", "FAILED"},
                                                {"new", 40095},
                                                {"newName", "FAILED"},
                                                {"event", nullptr},
                                                {"eventName", nullptr},
                                                {"severity", nullptr}}},
                                              {"ok", false}}));
  EXPECT_FALSE(HasMail());
}

TEST_F(CommandAlert, WritesAndReadsBackWhenTheMailFails) {
  Report("10002", "information", "First");
  std::vector<std::string> arguments = FailedDrive();
  arguments.insert(arguments.end(), {"--server", "127.0.0.1", "--port", "1", "--mail-from", "a@b",
                                     "--to", "c@d", "--json"});

  const ProcessResult result = Run(arguments);

  EXPECT_EQ(result.exitStatus, 1);
  const json shown = ParseAnswer(result.output);
  EXPECT_EQ(shown["mail"], json({{"ok", false},
                                 {"sent", false},
                                 {"error", 25},
                                 {"errorName", "CSMTP_ERROR_CONNECTION_REFUSED"},
                                 {"serverCode", nullptr},
                                 {"serverText", nullptr},
                                 {"timedOut", false},
                                 {"retry", true},
                                 {"text",
                                  "not sent through 127.0.0.1 port 1: "
                                  "CSMTP_ERROR_CONNECTION_REFUSED (25); trying again may help"}}));
  EXPECT_EQ(shown["log"]["ok"], true);
  EXPECT_EQ(shown["readBack"]["ok"], true);
  EXPECT_EQ(shown["ok"], false);
}

TEST_F(CommandAlert, MailsWhenTheLogCannotBeOpened) {
  std::vector<std::string> arguments = WithMail(FailedDrive());
  arguments.insert(arguments.end(), {"--json", "--store", Path("missing/events.db")});

  const ProcessResult result = RunProcess(ONDREL_COMMAND, arguments);

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_THAT(result.errors, HasSubstr("the folder does not exist"));
  const json shown = ParseAnswer(result.output);
  EXPECT_EQ(shown["log"]["error"]["number"], 3);
  EXPECT_EQ(shown["readBack"]["error"]["number"], 3);
  EXPECT_EQ(shown["mail"]["ok"], true);
  EXPECT_EQ(shown["ok"], false);
  EXPECT_THAT(Mail().data, HasSubstr(std::string("Subject: ") + kFailedText + "\r\n"));
}

}  // namespace
}  // namespace Ondrel::Testing
