#include "Support/SmtpServer.h"
#include "Support/TemporaryFolder.h"
#include "Tool/Watch/Linux/Child.h"
#include "Tool/Watch/Linux/Sending.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace Tool::Watch {
namespace {

using namespace std::chrono_literals;
using Ondrel::Testing::SmtpServer;
using Ondrel::Testing::TemporaryFolder;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

MailSettings SettingsFor(unsigned short port) {
  MailSettings settings;
  settings.server = "127.0.0.1";
  settings.port = port;
  settings.from = "raid@example.com";
  settings.to = {"admin@example.com"};
  return settings;
}

StoredMail MailTo(const std::string& recipient) {
  StoredMail mail;
  mail.recipient = recipient;
  mail.messageId = "kept-id@example.com";
  mail.subject = "host: it failed";
  mail.body = "it failed\n";
  mail.severity = 4;
  return mail;
}

TEST(Sending, AMailArrivesUnderItsMessageId) {
  const SmtpServer server;
  EXPECT_TRUE(Send(SettingsFor(server.Port()), MailTo("admin@example.com")).isSent);
  const auto mails = server.Mails();
  ASSERT_EQ(1u, mails.size());
  EXPECT_THAT(mails[0].to, ElementsAre("admin@example.com"));
  EXPECT_THAT(mails[0].Lines(), Contains("Message-ID: <kept-id@example.com>"));
  EXPECT_THAT(mails[0].Lines(), Contains("X-Priority: 2 (High)"));
}

TEST(Sending, ARepeatSaysSoInItsBody) {
  const SmtpServer server;
  StoredMail mail = MailTo("admin@example.com");
  mail.isRepeat = true;
  ASSERT_TRUE(Send(SettingsFor(server.Port()), mail).isSent);
  EXPECT_THAT(server.Mails().at(0).data, HasSubstr("may have reached you before"));
}

TEST(Sending, ARefusedRecipientIsReportedInTheServersWords) {
  const SmtpServer server({.refusedRecipient = "nobody@example.com"});
  const SendOutcome outcome = Send(SettingsFor(server.Port()), MailTo("nobody@example.com"));
  EXPECT_FALSE(outcome.isSent);
  EXPECT_FALSE(outcome.mayHaveArrived);
  EXPECT_THAT(outcome.error, HasSubstr("; the server's last words: 550 5.1.1 No such user here"));
}

TEST(Sending, AServerThatIsAwayHasNotGotTheMail) {
  const SendOutcome outcome = Send(SettingsFor(1), MailTo("admin@example.com"));
  EXPECT_FALSE(outcome.isSent);
  EXPECT_FALSE(outcome.mayHaveArrived);
  EXPECT_EQ("the server cannot be reached", outcome.error);
}

TEST(Sending, APasswordFileThatCannotBeReadIsNamed) {
  MailSettings settings = SettingsFor(1);
  settings.user = "raid";
  settings.passwordFile = "/no/such/file";
  EXPECT_EQ("cannot read the password from /no/such/file",
            Send(settings, MailTo("admin@example.com")).error);
}

TEST(Sending, OutcomesTravelAsText) {
  for (const SendOutcome& outcome : {SendOutcome{true, false, ""}, SendOutcome{false, false, "a b"},
                                     SendOutcome{false, true, "c"}}) {
    const SendOutcome again = OutcomeOfText(TextOfOutcome(outcome));
    EXPECT_EQ(outcome.isSent, again.isSent);
    EXPECT_EQ(outcome.mayHaveArrived, again.mayHaveArrived);
    EXPECT_EQ(outcome.error, again.error);
  }
  EXPECT_TRUE(OutcomeOfText("").mayHaveArrived);
}

void WaitFor(Child& child) {
  while (!child.Advance(Child::Clock::now())) {
    pollfd wait{child.Descriptor(), POLLIN, 0};
    ::poll(&wait, 1, 100);
  }
}

TEST(Child, ItsOutputAndStatusAreGathered) {
  Child child([](int output) { return ::write(output, "text", 4) == 4 ? 7 : 0; },
              Child::Clock::now() + 60s);
  WaitFor(child);
  EXPECT_EQ("text", child.Output());
  EXPECT_EQ(7, child.ExitStatus());
  EXPECT_FALSE(child.IsTimeOver());
}

TEST(Child, AnOutputOfOneByteIsGathered) {
  Child child([](int output) { return ::write(output, "x", 1) == 1 ? 0 : 1; },
              Child::Clock::now() + 60s);
  WaitFor(child);
  EXPECT_EQ("x", child.Output());
}

TEST(Child, TakesThePlaceOfAnotherWithAllThatIsItsOwn) {
  const auto start = [](const char* text) {
    return Child([text](int output) { return ::write(output, text, 3) == 3 ? text[0] : 0; },
                 Child::Clock::now() + 60s);
  };
  std::vector<Child> children;
  children.push_back(start("one"));
  children.push_back(start("two"));
  WaitFor(children[0]);
  children.erase(children.begin());
  WaitFor(children[0]);
  EXPECT_EQ("two", children[0].Output());
  EXPECT_EQ('t', children[0].ExitStatus());
}

std::vector<int> OpenDescriptors() {
  std::vector<int> open;
  for (int number = 0; number < 1024; ++number)
    if (::fcntl(number, F_GETFD) >= 0) open.push_back(number);
  return open;
}

// In a process that may not start another: 0, or the number of what did not hold.
int CheckChildThatCannotBeStarted() {
  constexpr unsigned kNobody = 65534;
  // Root may start any number of processes.
  if (::geteuid() == 0 &&
      (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0))
    return 1;
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_NPROC, &none);
  const std::vector<int> before = OpenDescriptors();
  try {
    const Child child([](int) { return 0; }, Child::Clock::now() + 60s);
    return 2;
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::resource_unavailable_try_again) return 3;
  }
  return OpenDescriptors() == before ? 0 : 4;
}

TEST(Child, ThatCannotBeStartedLeavesNoDescriptorOpen) {
  const pid_t process = ::fork();
  ASSERT_GE(process, 0);
  if (process == 0) ::_exit(CheckChildThatCannotBeStarted());
  int status = -1;
  ASSERT_EQ(process, ::waitpid(process, &status, 0));
  ASSERT_TRUE(WIFEXITED(status)) << status;
  EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST(Child, ThatHangsIsEndedAfterItsTime) {
  Child child([](int) { return static_cast<int>(::pause()); }, Child::Clock::now() + 200ms);
  WaitFor(child);
  EXPECT_TRUE(child.IsTimeOver());
  EXPECT_EQ(-1, child.ExitStatus());
}

// Running, as opposed to gone or only waiting to be reaped.
bool IsRunning(const std::string& process) {
  std::ifstream file("/proc/" + process + "/stat");
  std::string stat;
  std::getline(file, stat);
  const std::size_t end = stat.rfind(") ");
  return end != std::string::npos && stat[end + 2] != 'Z' && stat[end + 2] != 'X';
}

TEST(Child, ThatHangsDiesWithItsParent) {
  // The parent is a child itself, which passes on the number of its own child.
  Child parent(
      [](int output) {
        Child hanging(
            [](int own) {
              const std::string number = std::to_string(::getpid()) + "\n";
              if (::write(own, number.data(), number.size()) < 0) return 1;
              return static_cast<int>(::pause());
            },
            Child::Clock::now() + 60s);
        while (hanging.Output().find('\n') == std::string::npos)
          hanging.Advance(Child::Clock::now());
        if (::write(output, hanging.Output().data(), hanging.Output().size()) < 0) return 1;
        return static_cast<int>(::pause());
      },
      Child::Clock::now() + 60s);
  while (parent.Output().find('\n') == std::string::npos) parent.Advance(Child::Clock::now());
  const std::string hanging = parent.Output().substr(0, parent.Output().find('\n'));
  EXPECT_TRUE(IsRunning(hanging));
  parent.Kill();
  const auto deadline = Child::Clock::now() + 60s;
  while (IsRunning(hanging) && Child::Clock::now() < deadline) ::usleep(10000);
  EXPECT_FALSE(IsRunning(hanging));
}

TEST(Child, AProgramGetsTheEventAsVariablesAndOnItsInput) {
  const TemporaryFolder folder;
  const std::string program =
      folder.Write("program", "#!/bin/sh\nread line\necho \"$ONDREL_EVENT $line\" >" +
                                  folder.Path("out") + "\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  Child child(
      [&](int) {
        return RunProgram(program, {{"ONDREL_EVENT", "10471"}}, "{}\n");
      },
      Child::Clock::now() + 60s);
  WaitFor(child);
  EXPECT_EQ(0, child.ExitStatus());
  std::string line;
  std::ifstream file(folder.Path("out"));
  std::getline(file, line);
  EXPECT_EQ("10471 {}", line);
}

TEST(Child, AProgramThatHangsIsEndedAfterItsTime) {
  const auto start = Child::Clock::now();
  Child child([](int) { return RunProgram("/bin/cat", {}, ""); }, start + 60s);
  WaitFor(child);
  EXPECT_EQ(0, child.ExitStatus());
  const TemporaryFolder folder;
  const std::string program = folder.Write("program", "#!/bin/sh\nexec sleep 1000\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  Child hanging([&](int) { return RunProgram(program, {}, ""); }, Child::Clock::now() + 200ms);
  WaitFor(hanging);
  EXPECT_TRUE(hanging.IsTimeOver());
}

TEST(Child, AProgramThatIsNotThereEndsWith127) {
  Child child([](int) { return RunProgram("/no/such/program", {}, ""); },
              Child::Clock::now() + 60s);
  WaitFor(child);
  EXPECT_EQ(127, child.ExitStatus());
}

}  // namespace
}  // namespace Tool::Watch
