#include "EventStoreProcesses.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace Ondrel {
namespace {

using Testing::ByWriter;
using Testing::ChildProcess;
using Testing::kSequentialForwards;
using Testing::LogHandle;
using Testing::NumberPipe;
using Testing::NumbersBelow;
using Testing::SourceHandle;

class EventStoreProcesses : public Testing::EventStoreProcessesFixture {};

TEST_F(EventStoreProcesses, WritersAndReadersAtOnceLoseNothingAndKeepTheOrder) {
  constexpr int kWriters = 4;
  constexpr int kReaders = 2;
  constexpr int kReports = 50;
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (int i = 0; i < kReaders; ++i)
    children.push_back(std::make_unique<ChildProcess>([this] {
      const auto numbers = ByWriter(Follow("Log", kWriters * kReports));
      bool isComplete = numbers.size() == kWriters && !::testing::Test::HasFailure();
      for (const auto& [writer, itsNumbers] : numbers)
        isComplete = isComplete && itsNumbers == NumbersBelow(kReports);
      return isComplete ? 0 : 1;
    }));
  for (int writer = 0; writer < kWriters; ++writer)
    children.push_back(std::make_unique<ChildProcess>(
        [this, writer] { return WriteAll("Log", writer, kReports); }));

  for (const auto& child : children) ASSERT_EQ(child->Wait(), 0);

  const auto numbers = ByWriter(Follow("Log", kWriters * kReports));
  EXPECT_EQ(numbers.size(), std::size_t{kWriters});
  for (const auto& [writer, itsNumbers] : numbers)
    EXPECT_EQ(itsNumbers, NumbersBelow(kReports)) << writer;
  ExpectSound();
}

TEST_F(EventStoreProcesses, LogsOfSeveralProcessesAreNumberedOnTheirOwn) {
  constexpr int kReports = 25;
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (const char* log : {"First", "Second", "Third"})
    children.push_back(
        std::make_unique<ChildProcess>([this, log] { return WriteAll(log, 0, kReports); }));
  for (const auto& child : children) ASSERT_EQ(child->Wait(), 0);

  for (const char* log : {"First", "Second", "Third"})
    EXPECT_EQ(ByWriter(Follow(log, kReports))[0], NumbersBelow(kReports)) << log;
  ExpectSound();
}

TEST_F(EventStoreProcesses, TheStoreIsCreatedOnceByManyAtOnce) {
  constexpr int kWriters = 6;
  for (int round = 0; round < 8; ++round) {
    Host::UseEventStore(Folder().Path("round" + std::to_string(round)));
    // All of them wait for the end of this pipe.
    NumberPipe start;
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int writer = 0; writer < kWriters; ++writer)
      children.push_back(std::make_unique<ChildProcess>([this, writer, &start] {
        start.CloseWriting();
        int nothing = 0;
        start.Get(nothing);
        return WriteAll("Log", writer, 2);
      }));
    start.CloseWriting();
    for (const auto& child : children) ASSERT_EQ(child->Wait(), 0);

    EXPECT_EQ(ByWriter(Follow("Log", 2 * kWriters)).size(), std::size_t{kWriters});
  }
}

TEST_F(EventStoreProcesses, WhatAKilledWriterReportedIsThere) {
  std::mt19937 random(1);
  std::vector<int> acknowledged;
  int next = 0;
  for (int round = 0; round < 12; ++round) {
    NumberPipe acknowledgements;
    ChildProcess writer([this, next, &acknowledgements] {
      acknowledgements.CloseReading();
      const SourceHandle source(Operations(), "Log");
      for (int i = next;; ++i) {
        if (source.Report("0 " + std::to_string(i)) != 0) return 1;
        acknowledgements.Put(i);
      }
    });
    acknowledgements.CloseWriting();
    const std::uint_fast32_t enough = 1 + random() % 40;
    int number = 0;
    for (std::uint_fast32_t i = 0; i < enough && acknowledgements.Get(number); ++i)
      acknowledged.push_back(number);
    ASSERT_EQ(writer.Kill(), -SIGKILL);
    while (acknowledgements.Get(number)) acknowledged.push_back(number);

    const std::vector<int> stored = ByWriter(Follow("Log", acknowledged.size()))[0];
    ASSERT_TRUE(
        std::includes(stored.begin(), stored.end(), acknowledged.begin(), acknowledged.end()))
        << "round " << round;
    // At most the report that it was about to acknowledge is there besides.
    EXPECT_LE(stored.size(), acknowledged.size() + 1);
    acknowledged = stored;
    next = stored.back() + 1;
  }
  ExpectSound();
}

TEST_F(EventStoreProcesses, ACreatorThatIsKilledLeavesNothingInTheWay) {
  std::mt19937 random(2);
  for (int round = 0; round < 20; ++round) {
    Host::UseEventStore(Folder().Path("round" + std::to_string(round)));
    NumberPipe started;
    ChildProcess creator([this, &started] {
      started.Put(1);
      return WriteAll("Log", 0, 1000);
    });
    int nothing = 0;
    ASSERT_TRUE(started.Get(nothing));
    // Anywhere between the first step and the first reports.
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 60'000));
    ASSERT_EQ(creator.Kill(), -SIGKILL);

    ASSERT_EQ(WriteAll("Other", 1, 1), 0) << "round " << round;
    EXPECT_EQ(NumbersOf("Other"), (std::vector<ULong>{1})) << "round " << round;
    ByWriter(Follow("Log", 0));
  }
}

TEST_F(EventStoreProcesses, TheCapacityHoldsForWritersTogether) {
  constexpr std::uint64_t kCapacity = Host::kMinEventStoreCapacity;
  constexpr int kWriters = 3;
  Host::UseEventStore(Path(), kCapacity);
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (int writer = 0; writer < kWriters; ++writer)
    children.push_back(std::make_unique<ChildProcess>([this, writer] {
      const SourceHandle source(Operations(), "Log");
      for (int i = 0; i < 60; ++i) {
        const std::string text = std::to_string(writer) + " " + std::to_string(i) + " ";
        if (source.Report(text + std::string(4000, 't')) != 0) return 1;
        if (std::filesystem::file_size(Path()) > kCapacity) return 2;
      }
      return 0;
    }));
  for (const auto& child : children) ASSERT_EQ(child->Wait(), 0);

  const std::vector<ULong> numbers = NumbersOf("Log");
  EXPECT_EQ(numbers.back(), ULong{60 * kWriters});
  EXPECT_EQ(numbers.size(), numbers.back() - numbers.front() + 1);
  EXPECT_GT(numbers.front(), 1u);
  ExpectSound();
}

TEST_F(EventStoreProcesses, ThreadsMayShareAHandleOrHaveTheirOwn) {
  constexpr int kReports = 20;
  const SourceHandle shared(Operations(), "Log");
  const LogHandle sharedLog(Operations(), "Log");
  std::vector<std::thread> threads;
  for (int writer = 0; writer < 2; ++writer)
    threads.emplace_back([&shared, writer] {
      for (int i = 0; i < kReports; ++i)
        EXPECT_EQ(shared.Report(std::to_string(writer) + " " + std::to_string(i)), 0u);
    });
  for (int writer = 2; writer < 4; ++writer)
    threads.emplace_back([this, writer] { EXPECT_EQ(WriteAll("Log", writer, kReports), 0); });
  threads.emplace_back([this] { EXPECT_EQ(Follow("Log", 4 * kReports).size(), 4u * kReports); });
  for (int reader = 0; reader < 2; ++reader)
    threads.emplace_back([&sharedLog] {
      for (int i = 0; i < kReports; ++i) {
        const ULong error = sharedLog.Read(kSequentialForwards).error;
        EXPECT_TRUE(error == 0 || error == ERROR_HANDLE_EOF) << error;
      }
    });
  for (std::thread& thread : threads) thread.join();

  const auto numbers = ByWriter(Follow("Log", 4 * kReports));
  ASSERT_EQ(numbers.size(), 4U);
  for (const auto& [writer, itsNumbers] : numbers)
    EXPECT_EQ(itsNumbers, NumbersBelow(kReports)) << writer;
}

TEST_F(EventStoreProcesses, AHandleClosedWhileAnotherThreadUsesItIsAFailureAtMost) {
  for (int round = 0; round < 10; ++round) {
    void* const source = Operations().RegisterEventSourceA(nullptr, "Log");
    ASSERT_NE(source, nullptr);
    std::thread writer([this, source] {
      const char* strings[] = {"0 0"};
      for (int i = 0; i < 10; ++i) {
        if (Operations().ReportEventA(source, 4, 0, 1, nullptr, 1, 0, strings, nullptr) == 0) {
          EXPECT_EQ(Operations().GetLastError(), 6u);
        }
      }
    });
    EXPECT_NE(Operations().DeregisterEventSource(source), 0);
    writer.join();
  }
}

TEST_F(EventStoreProcesses, ThreadsMayChooseAStoreWhileOthersOpenLogs) {
  std::thread chooser([this] {
    for (int i = 0; i < 200; ++i)
      EXPECT_TRUE(Host::UseEventStore(Folder().Path(i % 2 == 0 ? "even" : "odd")));
  });
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(OpenError(), 0u);
    EXPECT_FALSE(Host::EventStorePath().empty());
  }
  chooser.join();
}

}  // namespace
}  // namespace Ondrel
