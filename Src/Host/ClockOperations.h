#pragma once

#include <chrono>
#include <ctime>
#include <functional>

namespace Ondrel::Host {

/// The C runtime's clock and local time, and the passing of time.
struct ClockOperations {
  /// Seconds since 1 January 1970 UTC.
  std::function<std::time_t()> CurrentTime;

  /// Breaks a time down in the local time zone. False when the time cannot be shown.
  std::function<bool(std::time_t time, std::tm& local)> LocalTime;

  /// Seconds by which the zone's standard time lies west of UTC; negative in the east. Summer time
  /// does not count.
  std::function<long()> StandardTimeWestOfUtc;

  /// Time on a clock that nobody sets, to measure how long something takes.
  std::function<std::chrono::steady_clock::time_point()> SteadyTime;

  /// Lets the calling thread rest for at least so long.
  std::function<void(std::chrono::nanoseconds duration)> Rest;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
ClockOperations& Clock();

/// The operations as this host's provider gives them: `Linux/Time/Clock.cpp` or
/// `Win32/Clock.cpp`.
ClockOperations MakeClockOperations();

}  // namespace Ondrel::Host
