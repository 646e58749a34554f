#include "CommandFixture.h"
#include "Support/FaultySmtpServer.h"
#include "Support/SmtpServer.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class CommandMailAnswer : public CommandFixture {
protected:
  static std::vector<std::string> MailTo(unsigned short port) {
    return {"mail",
            "--server",
            "127.0.0.1",
            "--port",
            std::to_string(port),
            "--mail-from",
            "raid@example.com",
            "--to",
            "a@x.org",
            "--subject",
            "s"};
  }

  ProcessResult Send(std::vector<std::string> arguments,
                     const std::vector<std::string>& others) const {
    arguments.insert(arguments.end(), others.begin(), others.end());
    return Run(arguments);
  }
};

struct Fault {
  const char* name;
  const char* stage;
  const char* action;
  json code;
  json text;
  bool mayRetryHelp;
};

void PrintTo(const Fault& row, std::ostream* out) { *out << row.name; }

class CommandMailFault : public CommandMailAnswer, public testing::WithParamInterface<Fault> {};

TEST_P(CommandMailFault, IsShownAsTheServerSaysIt) {
  const FaultySmtpServer server(GetParam().stage, GetParam().action);
  const ProcessResult result = Send(MailTo(server.Port()), {"--json"});

  EXPECT_EQ(result.exitStatus, 1);
  const json shown = ParseAnswer(result.output);
  EXPECT_EQ(shown["sent"], false);
  EXPECT_EQ(shown["serverCode"], GetParam().code);
  EXPECT_EQ(shown["serverText"], GetParam().text);
  EXPECT_EQ(shown["retry"], GetParam().mayRetryHelp);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandMailFault,
    testing::Values(Fault{"RecipientUnknown", "rcpt", "550 5.1.1 No such user", 550,
                          "5.1.1 No such user", false},
                    Fault{"Greylisted", "rcpt", "451-4.7.1 Greylisted,\r\n451 4.7.1 come back", 451,
                          "4.7.1 Greylisted, 4.7.1 come back", true},
                    Fault{"SenderRefused", "mail", "553 not from here", 553, "not from here",
                          false},
                    Fault{"Full", "end", "452 no space", 452, "no space", true},
                    Fault{"Busy", "banner", "421 too busy", 421, "too busy", true},
                    Fault{"HangsUp", "data", "drop", 250, "ok", true},
                    Fault{"SaysNothing", "banner", "drop", nullptr, nullptr, true}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(CommandMailAnswer, SuccessHasTheAnswerToTheMailAndNotToTheFarewell) {
  const FaultySmtpServer server("end", "250 2.0.0 taken as 4711");
  const ProcessResult result = Run(MailTo(server.Port()));

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.output, HasSubstr(", which answered: 250 2.0.0 taken as 4711\n"));
}

TEST_F(CommandMailAnswer, TextNamesTheAnswerAndWhetherToTryAgain) {
  const FaultySmtpServer lasting("rcpt", "550 No such user");
  EXPECT_THAT(
      Run(MailTo(lasting.Port())).output,
      HasSubstr("; the server's last answer: 550 No such user; trying again does not help\n"));
  EXPECT_THAT(Run(MailTo(1)).output, HasSubstr("; trying again may help\n"));
}

TEST_F(CommandMailAnswer, HostileAnswerStaysOnItsLine) {
  const FaultySmtpServer server("rcpt", "550 \x1B[2J evil");

  EXPECT_THAT(Run(MailTo(server.Port())).output, HasSubstr("550 \\x1b[2J evil"));
}

TEST_F(CommandMailAnswer, ServerThatReadsNoFurtherIsLeftAfterTheTimeout) {
  FaultySmtpServer server("body", "stall");
  const std::string file = WriteFile("large", MoreThanAConnectionHolds());
  const auto start = std::chrono::steady_clock::now();
  const ProcessResult result =
      Send(MailTo(server.Port()), {"--body", file, "--timeout", "1500ms", "--json"});
  const auto time = std::chrono::steady_clock::now() - start;
  server.Running().Signal(SIGUSR1);

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_GE(time, std::chrono::milliseconds(1500));
  // The server would stall for ever.
  EXPECT_LT(time, std::chrono::minutes(10));
  EXPECT_EQ(ParseAnswer(result.output)["retry"], true);
  EXPECT_EQ(ParseAnswer(result.output)["timedOut"], true);
  EXPECT_THAT(ParseAnswer(result.output)["text"].get<std::string>(),
              HasSubstr("; the time of 1500 ms was over; "));
}

TEST_F(CommandMailAnswer, TimeoutIsSaidInWords) {
  FaultySmtpServer server("body", "stall");
  const std::string file = WriteFile("large", MoreThanAConnectionHolds());
  const ProcessResult result = Send(MailTo(server.Port()), {"--body", file, "--timeout", "1"});
  server.Running().Signal(SIGUSR1);

  EXPECT_THAT(result.output, HasSubstr("; the time of 1 s was over; "));
}

TEST_F(CommandMailAnswer, AddressesMayHaveNames) {
  const SmtpServer server;
  const ProcessResult result =
      Run({"mail", "--server", "127.0.0.1", "--port", std::to_string(server.Port()), "--mail-from",
           "RAID box <raid@example.com>", "--to", "\"Doe, Jane\" <jane@x.org>, b@x.org", "--cc",
           "Dr. No <no@x.org>", "--subject", "s"});

  EXPECT_EQ(result.exitStatus, 0) << result.output << result.errors;
  const ReceivedMail mail = server.Mails().at(0);
  EXPECT_EQ(mail.from, "raid@example.com");
  EXPECT_THAT(mail.to, testing::ElementsAre("jane@x.org", "b@x.org", "no@x.org"));
  EXPECT_THAT(mail.data, HasSubstr("From: RAID box <raid@example.com>\r\n"));
  EXPECT_THAT(mail.data, HasSubstr("To: \"Doe, Jane\"<jane@x.org>,<b@x.org>\r\n"));
  EXPECT_THAT(mail.data, HasSubstr("Cc: \"Dr. No\"<no@x.org>\r\n"));
}

TEST_F(CommandMailAnswer, BodyWithCarriageReturnsHasTheLinesThatItShows) {
  const SmtpServer server;
  const ProcessResult result =
      Send(MailTo(server.Port()), {"--body", WriteFile("body", "one\r\ntwo\r\n.\r\nthree\rfour")});

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_THAT(server.Mails().at(0).data,
              testing::EndsWith("\r\n\r\none\r\ntwo\r\n.\r\nthree\r\nfour\r\n"));
}

TEST_F(CommandMailAnswer, WhatCannotBeMailedIsRefusedBeforeAnyConnection) {
  using namespace std::string_literals;
  const SmtpServer server;
  const auto complaint = [&](const std::vector<std::string>& others) {
    const ProcessResult result = Send(MailTo(server.Port()), others);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "");
    return result.errors;
  };

  EXPECT_THAT(complaint({"--body", WriteFile("body", "a\0b"s)}),
              HasSubstr("the body holds a zero byte at offset 1"));
  EXPECT_THAT(complaint({"--user", "u", "--password-file", "-", "--body", "-"}),
              HasSubstr("--body and --password-file cannot both be standard input"));
  EXPECT_THAT(complaint({"--cc", "Jane <jane@x.org"}), HasSubstr("has to end with \">\""));
  EXPECT_THAT(server.Mails(), testing::IsEmpty());
}

class CommandAlertMail : public CommandMailAnswer {
protected:
  /// The alert's answer for a log that has a record already.
  json AlertWith(const std::vector<std::string>& others, int exitStatus) const {
    Report("10002", "information", "First");
    const ProcessResult result = Send(
        {"--json", "alert", "pd", "OPERATIONAL", "FAILED", "--object", "PD 3", "--log", "Demo"},
        others);
    EXPECT_EQ(result.exitStatus, exitStatus) << result.errors;
    return ParseAnswer(result.output);
  }
};

struct WrongOption {
  const char* name;
  std::vector<std::string> arguments;
  const char* reason;
};

void PrintTo(const WrongOption& row, std::ostream* out) { *out << row.name; }

class CommandAlertWrongMail : public CommandAlertMail,
                              public testing::WithParamInterface<WrongOption> {};

TEST_P(CommandAlertWrongMail, KeepsNoEventOutOfTheLog) {
  const json shown = AlertWith(GetParam().arguments, 1);

  EXPECT_EQ(shown["log"]["ok"], true);
  EXPECT_EQ(shown["readBack"]["ok"], true);
  EXPECT_EQ(shown["mail"]["ok"], false);
  EXPECT_THAT(shown["mail"]["reason"].get<std::string>(), HasSubstr(GetParam().reason));
  EXPECT_EQ(shown["mail"]["error"]["name"], "WRONG_USAGE");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandAlertWrongMail,
    testing::Values(
        WrongOption{"RecipientAlone", {"--to", "c@d"}, "--server is required"},
        WrongOption{"TimeoutAlone", {"--timeout", "5"}, "--server is required"},
        WrongOption{"ServerAlone", {"--server", "h"}, "--mail-from is required"},
        WrongOption{"NoRecipient", {"--server", "h", "--mail-from", "a@b"}, "--to is required"},
        WrongOption{"EmptyServer",
                    {"--server", "", "--mail-from", "a@b", "--to", "c@d"},
                    "--server is empty"},
        WrongOption{"ServerWithoutAValue",
                    {"--mail-from", "a@b", "--to", "c@d", "--server"},
                    "--server is empty"},
        WrongOption{"RecipientWithoutAValue",
                    {"--server", "h", "--mail-from", "a@b", "--to"},
                    "--to is empty"},
        WrongOption{"PortOutOfRange",
                    {"--server", "h", "--mail-from", "a@b", "--to", "c@d", "--port", "65536"},
                    "--port: \"65536\" is not a number of 1 to 65535"},
        WrongOption{"ProtocolUnknown",
                    {"--server", "h", "--mail-from", "a@b", "--to", "c@d", "--protocol", "ftp"},
                    "--protocol"},
        WrongOption{"PasswordFileMissing",
                    {"--server", "h", "--mail-from", "a@b", "--to", "c@d", "--user", "u",
                     "--password-file", "/nowhere/password"},
                    "cannot read /nowhere/password"},
        WrongOption{"UserAlone",
                    {"--server", "h", "--mail-from", "a@b", "--to", "c@d", "--user", "u"},
                    "--user requires --password-file"},
        WrongOption{"AddressBroken",
                    {"--server", "h", "--mail-from", "a@b", "--to", "\"c <c@d>"},
                    "a quote has no end"},
        WrongOption{"LineBreak",
                    {"--server", "h", "--mail-from", "a@b", "--to", "c@d\nBcc: e@f"},
                    "--to has a line break"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(CommandAlertMail, TestSaysThatItIsOne) {
  const SmtpServer server;
  const json shown =
      AlertWith({"--test", "--server", "127.0.0.1", "--port", std::to_string(server.Port()),
                 "--mail-from", "a@b.org", "--to", "c@d.org"},
                0);

  EXPECT_EQ(shown["test"], true);
  const std::string text = "TEST: PD 3: status changed from OPERATIONAL to FAILED";
  EXPECT_EQ(shown["text"], text);
  EXPECT_EQ(shown["readBack"]["record"]["args"], json({text}));
  const std::string mail = server.Mails().at(0).data;
  EXPECT_THAT(mail, HasSubstr("Subject: " + text + "\r\n"));
  EXPECT_THAT(mail, HasSubstr("\r\nThis is a test: no drive has changed its status.\r\n"));
}

TEST_F(CommandAlertMail, EventWithoutTheMarkIsNotATest) {
  const json shown = AlertWith({}, 0);

  EXPECT_EQ(shown["test"], false);
  EXPECT_THAT(shown["text"].get<std::string>(), Not(HasSubstr("TEST")));
  EXPECT_FALSE(shown.contains("mail"));
}

}  // namespace
}  // namespace Ondrel::Testing
