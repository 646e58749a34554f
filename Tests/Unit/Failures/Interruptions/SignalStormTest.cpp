#include "Support/EventStoreFixture.h"
#include "Support/SmtpServer.h"
#include "Unit/Host/Linux/Drives/DriveTree.h"

#include <Ondrel/Smtp.h>
#include <Ondrel/System.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <pthread.h>
#include <string>
#include <thread>
#include <vector>

// Real signals: another thread sends them to the one that works, as fast as it can, with a handler
// that lets no call of the system go on by itself.

namespace Ondrel::Testing {
namespace {

std::atomic<int> g_signals{0};

/// Interrupts the thread that has made it, for one scope.
class SignalStorm {
public:
  SignalStorm() {
    struct sigaction action {};
    action.sa_handler = [](int) { g_signals.fetch_add(1, std::memory_order_relaxed); };
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR2, &action, &m_before);
    g_signals = 0;
    m_sender = std::thread([this, target = pthread_self()] {
      while (!m_isOver) {
        pthread_kill(target, SIGUSR2);
        std::this_thread::sleep_for(std::chrono::microseconds(200));
      }
    });
  }
  ~SignalStorm() {
    m_isOver = true;
    m_sender.join();
    sigaction(SIGUSR2, &m_before, nullptr);
  }

  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;

  /// Whether signals have come at all.
  static bool HasRaged() { return g_signals > 3; }

private:
  std::atomic<bool> m_isOver{false};
  struct sigaction m_before {};
  std::thread m_sender;
};

class StoreInAStorm : public EventStoreFixture {};

TEST_F(StoreInAStorm, IsCreatedWrittenAndRead) {
  const SignalStorm storm;
  std::vector<ULong> expected;
  for (ULong number = 1; number <= 50; ++number) {
    const SourceHandle source(Operations(), "Log");
    ASSERT_EQ(source.Report("one"), 0U);
    expected.push_back(number);
  }
  while (!SignalStorm::HasRaged()) EXPECT_EQ(NumbersOf("Log"), expected);
  EXPECT_EQ(NumbersOf("Log"), expected);
}

TEST(CommandInAStorm, RunsToItsEndWithAllOfItsOutput) {
  const SignalStorm storm;
  std::string output;
  for (int round = 0; round < 5 || !SignalStorm::HasRaged(); ++round) {
    EXPECT_EQ(CSystem::ExecuteCommand("sh", "-c 'echo one; sleep 0.05; echo two'", output), 1U);
    EXPECT_EQ(output, "onetwo");
  }
}

TEST(MailInAStorm, ArrivesOnce) {
  const SmtpServer server;
  const SignalStorm storm;
  std::size_t sent = 0;
  for (; sent < 10 || !SignalStorm::HasRaged(); ++sent) {
    CSmtp mail;
    mail.SetServer("127.0.0.1", server.Port());
    mail.SetFrom("raid@example.com", "RAID");
    mail.AddTO("admin@example.com", "Admin");
    mail.SetSubject("Drive failed");
    mail.SetMessageBody(std::string(100000, 'x'));
    ASSERT_TRUE(mail.Send());
  }
  EXPECT_EQ(server.Mails().size(), sent);
}

TEST(DrivesInAStorm, AreAllSeen) {
  const Host::DriveTree tree;
  for (const char* const name : {"sda", "sdb", "sdc"}) tree.AddDisk(name, name, "8:0");
  const SignalStorm storm;
  for (int round = 0; round < 50 || !SignalStorm::HasRaged(); ++round) {
    const Host::DriveSnapshot picture = tree.Read();
    ASSERT_EQ(picture.error, 0U);
    ASSERT_EQ(picture.drives.size(), 3U);
    ASSERT_EQ(picture.drives[2].serial, "sdc");
  }
}

}  // namespace
}  // namespace Ondrel::Testing
