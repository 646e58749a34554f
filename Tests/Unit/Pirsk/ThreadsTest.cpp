#include "TestModule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace Pirsk::Testing {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 500;

// Runs `work` with the thread's number on eight threads that begin together.
template <class Work>
void OnAllThreads(Work work) {
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([&, thread] {
      start.arrive_and_wait();
      work(thread);
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(Threads, LinesReachOneSinkWholeAndEachInItsThreadsOrder) {
  std::vector<std::string> texts;  // Without a lock: the sink's calls never overlap.
  Trace::SetSink([&texts](const Trace::Line& line) { texts.push_back(line.text); });

  OnAllThreads([](int thread) {
    for (int round = 0; round < kRounds; ++round)
      TraceLine(16, "%s:%s:%s", std::to_string(thread), std::to_string(round),
                std::string(200, static_cast<char>('a' + thread)));
  });
  Trace::SetSink(nullptr);

  ASSERT_EQ(texts.size(), static_cast<std::size_t>(kThreads) * kRounds);
  std::vector<int> next(kThreads, 0);
  for (const std::string& text : texts) {
    const int thread = text.front() - '0';
    ASSERT_TRUE(thread >= 0 && thread < kThreads) << text;
    const std::string expected = std::to_string(thread) + ":" +
                                 std::to_string(next[static_cast<std::size_t>(thread)]++) + ":" +
                                 std::string(200, static_cast<char>('a' + thread));
    ASSERT_EQ(text, expected);
  }
}

TEST(Threads, LinesOfATraceFileAreWhole) {
  const TemporaryFolder folder;
  Trace::SetSink(Trace::RotatingFileSink(folder / "trace.log", 100000000, 1));

  OnAllThreads([](int thread) {
    for (int round = 0; round < kRounds; ++round)
      TraceLine(16, "%s", std::string(100, static_cast<char>('a' + thread)));
  });
  Trace::SetSink(nullptr);

  std::istringstream lines(ReadFile(folder / "trace.log"));
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    ASSERT_GT(line.size(), 100u);
    const std::string message = line.substr(line.size() - 100);
    ASSERT_EQ(message, std::string(100, message.front()));
    ASSERT_EQ(line[line.size() - 101], ' ') << line;
  }
  EXPECT_EQ(count, kThreads * kRounds);
}

TEST(Threads, SinksAndMasksMayBeChangedWhileOthersTrace) {
  std::atomic<int> calls{0};

  OnAllThreads([&calls](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      if (thread == 0)
        Trace::SetSink([&calls](const Trace::Line&) { ++calls; });
      else if (thread == 1)
        Misc::SetTraceMask(kModuleNumber, static_cast<std::uint32_t>(round));
      else if ((g_module.TraceMask() & 16) != 0)
        TraceLine(16, "%s", "x");
    }
  });
  Trace::SetSink(nullptr);
  Misc::SetTraceMask(kModuleNumber, 0);

  EXPECT_LE(calls, (kThreads - 2) * kRounds);
}

TEST(Threads, EachReadsItsOwnErrors) {
  OnAllThreads([](int thread) {
    const std::string value = std::to_string(thread);
    for (int round = 0; round < kRounds; ++round) {
      try {
        HandOnWithLine(value, [&](Threading::CThrowState& guard) {
          Raise(guard, kFirstError, static_cast<std::uint32_t>(thread));
        });
        ADD_FAILURE() << "nothing was raised";
      } catch (unsigned int number) {
        const Exceptions::CErrorReport report = Exceptions::ReportOf(number);
        ASSERT_EQ(report.text, "First failed");
        ASSERT_EQ(report.contextLines.at(0), "Context (" + value + ")");
        ASSERT_EQ(report.locations.at(0).line, static_cast<std::uint32_t>(thread));
      }
    }
  });
}

TEST(Threads, SwitchingRaisingOffIsForTheThreadThatAsked) {
  OnAllThreads([](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      if (thread % 2 == 0) {
        const Threading::CRaisingSwitchedOff off;
        ASSERT_EQ(RaiseAndCatch(kFirstError), 0u);
      } else {
        ASSERT_EQ(RaiseAndCatch(kFirstError), kFirstError);
      }
    }
  });

  EXPECT_EQ(Internals::CThrowStateData::m_DisableCnt.Value(), 0u);
}

TEST(Threads, ModulesMayComeAndGoWhileOthersAskForTexts) {
  using Language_Support::CLanguageSupport;
  static constexpr const char* kTexts[] = {"One", "Stand-in"};
  static constexpr CLanguageSupport::ERROR_MSG_LIST kErrors[] = {{0x20A70001, 0}, {0, 0}};

  OnAllThreads([](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      if (thread == 0) {
        CLanguageSupport::CLngFile file("no-such-file.nls", 0x656E, "utf-8", 1, kTexts, 2);
        const Misc::CModuleInfo module(0x0A7, "seven", "1", &file, kErrors);
      } else {
        const std::string text = Misc::ErrorText(0x20A70001);
        ASSERT_TRUE(text == "One" || text == "No information available for this error") << text;
        ASSERT_EQ(Misc::ErrorText(kFirstError), "First failed");
      }
    }
  });
}

}  // namespace
}  // namespace Pirsk::Testing
