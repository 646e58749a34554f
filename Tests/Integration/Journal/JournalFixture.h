#pragma once

#include "Support/JournalDaemon.h"

#include <Ondrel/Host.h>
#include <Ondrel/SystemLog.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace Ondrel::Testing {

/// The machine's journal; its daemon is started where none runs.
class JournalFixture : public testing::Test {
protected:
  static void SetUpTestSuite() { s_daemon = std::make_unique<JournalDaemon>(); }
  static void TearDownTestSuite() { s_daemon.reset(); }

  void SetUp() override { ASSERT_TRUE(Host::UseJournal()); }
  void TearDown() override { Host::UseHostEventLog(); }

  // A source of this test's own, so that other programs' entries do not count.
  static std::string Source() {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    return std::string("ondrel-") + test->name() + "-" + std::to_string(getpid());
  }

  static std::vector<CSystemEvent_Win> ReadAll(CSystemLogReader_Win& reader) {
    JournalDaemon::Sync();
    std::vector<CSystemEvent_Win> all;
    for (;;) {
      const std::vector<CSystemEvent_Win> some = reader.ReadEvents();
      if (some.empty()) return all;
      all.insert(all.end(), some.begin(), some.end());
    }
  }

  static inline std::unique_ptr<JournalDaemon> s_daemon;
};

}  // namespace Ondrel::Testing
