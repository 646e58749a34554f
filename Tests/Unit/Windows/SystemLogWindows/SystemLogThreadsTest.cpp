#include "Support/PreparedEventLog.h"
#include "Support/PreparedOperations.h"

#include <Ondrel/SystemLog.h>
#include <Pirsk/Exceptions.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace Ondrel {
namespace {

using Pirsk::Exceptions::CErrorReport;
using Testing::kLogHandle;
using Testing::kSourceHandle;
using Testing::OpenedUpReader;
using Testing::PreparedOperations;
using Testing::RaisedBy;
using Testing::RecordBytes;

constexpr int kThreads = 8;
constexpr int kRounds = 200;

// Operations that keep nothing and may be called by all threads at once. Every read gives the same
// two records; no message can be formatted.
Host::EventLogOperations SharedOperations(std::atomic<int>& reported) {
  static const std::string records = RecordBytes({.number = 1}) + RecordBytes({.number = 2});
  Host::EventLogOperations operations;
  operations.OpenEventLogA = [](const char*, const char*) { return kLogHandle; };
  operations.CloseEventLog = [](void*) { return 1; };
  operations.RegisterEventSourceA = [](const char*, const char*) { return kSourceHandle; };
  operations.DeregisterEventSource = [](void*) { return 1; };
  operations.ReportEventA = [&reported](void*, WORD, WORD, ULong, void*, WORD, ULong, const char**,
                                        void*) { return ++reported; };
  operations.ReadEventLogA = [](void*, ULong, ULong, void* buffer, ULong, ULong* bytesRead,
                                ULong*) {
    std::memcpy(buffer, records.data(), records.size());
    *bytesRead = static_cast<ULong>(records.size());
    return 1;
  };
  operations.LoadLibraryExA = [](const char*, void*, ULong) { return kLogHandle; };
  operations.FreeLibrary = [](void*) { return 1; };
  operations.FormatMessageA = [](ULong, const void*, ULong, ULong, char*, ULong, char**) -> ULong {
    return 0;
  };
  operations.GetLastError = []() -> ULong { return 317; };
  return operations;
}

// What a raising thread does in one round; false when something was not as it should be.
bool RaiseTraceAndRead(const std::string& name) {
  CSystemLog_Win log;
  OpenedUpReader reader;
  bool isRight = RaisedBy([&] { log.Report(10002, kEventTypeInformation, "text"); }) == 0x20050007U;
  isRight &= log.Open(name) == 1;
  isRight &= RaisedBy([&] { log.Open(name); }) == 0x20050001U;
  const CErrorReport report = Pirsk::Exceptions::ReportOf(kSystemLogAlreadyOpened);
  isRight &= report.contextLines == std::vector<std::string>{"CSystemLog::Open (" + name + ")"};
  isRight &= log.Report(10002, kEventTypeInformation, "text") == 1;
  isRight &= reader.Open(name, {"ondrel"}) == 1;
  isRight &= reader.GetMessageResources("messages.dll") == 1;
  isRight &= reader.ReadEvents().size() == 1;
  return isRight;
}

// What a thread that has switched raising off does in one round.
bool GoOnPastErrors(const std::string& name) {
  const Pirsk::Threading::CRaisingSwitchedOff off;
  CSystemLog_Win log;
  bool isRight = log.Open(name) == 1;
  isRight &= log.Open(name) == 1;
  isRight &= log.Report(10002, kEventTypeInformation, "") == 1;
  return isRight;
}

TEST(SystemLogThreads, ThreadsRaiseTraceAndSwitchRaisingOffEachForItself) {
  std::atomic<int> reported{0};
  const PreparedOperations prepared(Host::EventLog(), SharedOperations(reported));
  // Calls of the sink never overlap, so that a plain counter will do.
  int lines = 0;
  int wrongLines = 0;
  Pirsk::Trace::SetSink([&](const Pirsk::Trace::Line& line) {
    ++lines;
    if (line.text != "GetMessageString(): Format message failed with 317") ++wrongLines;
  });
  Pirsk::Misc::SetTraceMask(5, 16);

  std::atomic<int> wrongRounds{0};
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([&, thread] {
      const std::string name = "log " + std::to_string(thread);
      start.arrive_and_wait();
      for (int round = 0; round < kRounds; ++round)
        if (!(thread % 2 == 0 ? RaiseTraceAndRead(name) : GoOnPastErrors(name))) ++wrongRounds;
    });
  for (std::thread& thread : threads) thread.join();
  Pirsk::Misc::SetTraceMask(5, 0);
  Pirsk::Trace::SetSink(nullptr);

  EXPECT_EQ(wrongRounds, 0);
  EXPECT_EQ(reported, kThreads * kRounds);
  EXPECT_EQ(lines, kThreads / 2 * kRounds);
  EXPECT_EQ(wrongLines, 0);
}

}  // namespace
}  // namespace Ondrel
