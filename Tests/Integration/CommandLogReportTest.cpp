#include "CommandFixture.h"
#include "Host/Linux/FileDescriptor.h"

#include <Ondrel/Host.h>
#include <Ondrel/SystemLog.h>

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

namespace Ondrel::Testing {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

class CommandLogReport : public CommandFixture {};

TEST_F(CommandLogReport, TheFirstAndTheLastEventAreKeptAndTheirNeighboursAreNot) {
  const std::pair<int, int> kRows[] = {
      {10001, 10000}, {10002, 10002}, {11108, 11108}, {11109, 10000}};
  for (const auto& [event, kept] : kRows)
    EXPECT_EQ(ParseAnswer(Run({"--json", "log", "report", "Demo", std::to_string(event), "1", "x"})
                              .output)["keptEvent"],
              kept)
        << event;
}

TEST_F(CommandLogReport, LineHasItsOwnTypeThoughTheEventIsThatOfTheLineBefore) {
  Report("10471", "error", "One");
  Report("10471", "0", "Two");
  const std::string shown = Run({"log", "show", "Demo"}).output;
  EXPECT_THAT(shown, HasSubstr(" Demo 1 error 10471 PD_STATE_CHANGE_OP_TO_FAIL: One\n"));
  EXPECT_THAT(shown, HasSubstr(" Demo 2 type-0 10471 PD_STATE_CHANGE_OP_TO_FAIL: Two\n"));
}

/// How often a file of this name came into a folder since it is watched.
std::ptrdiff_t ArrivalsOf(const Host::FileDescriptor& watch, const std::string& name) {
  std::ptrdiff_t arrivals = 0;
  std::array<char, 16384> bytes;
  ssize_t size = 0;
  while ((size = ::read(watch.Number(), bytes.data(), bytes.size())) > 0) {
    for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
      inotify_event event;
      std::memcpy(&event, bytes.data() + at, sizeof event);
      if (name == bytes.data() + at + sizeof event) ++arrivals;
      at += sizeof event + event.len;
    }
  }
  return arrivals;
}

TEST_F(CommandLogReport, StateIsWrittenFiveTimesASecondAtMostWhileManyEventsAreShown) {
  constexpr int kReports = 3000;
  {
    Host::UseEventStore(Path("events.db"));
    CSystemLog_Win log;
    log.Open("Demo");
    for (int i = 0; i < kReports; ++i) log.Report(10471, 1, "Text");
    Host::UseHostEventLog();
  }
  // With the way out of the former name: two arrivals in a row would be one to the kernel.
  const Host::FileDescriptor watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  ASSERT_GE(::inotify_add_watch(watch.Number(), Path("").c_str(), IN_MOVE), 0);
  const auto begin = std::chrono::steady_clock::now();
  const ProcessResult result = Run({"log", "follow", "Demo", "--from-start", "--count",
                                    std::to_string(kReports), "--state", Path("state")});
  const auto time = std::chrono::steady_clock::now() - begin;

  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  // Once before the first event and once after the last.
  const std::ptrdiff_t arrivals = ArrivalsOf(watch, "state");
  EXPECT_GE(arrivals, 2);
  EXPECT_LE(arrivals, 2 + time / milliseconds(200));
}

}  // namespace
}  // namespace Ondrel::Testing
