#pragma once

#include "Host/ClockOperations.h"

#include <chrono>
#include <ctime>

namespace Ondrel::Testing {

/// A clock that stands still, in a zone so many seconds west of UTC.
///
/// It shows Thursday, 7 March 2024, 09:05:03 for whatever time is asked.
inline Host::ClockOperations ClockStandingStill(long secondsWestOfUtc) {
  return {
      .CurrentTime = [] { return std::time_t{1709802303}; },
      .LocalTime =
          [](std::time_t, std::tm& local) {
            local = {};
            local.tm_sec = 3;
            local.tm_min = 5;
            local.tm_hour = 9;
            local.tm_mday = 7;
            local.tm_mon = 2;
            local.tm_year = 124;
            local.tm_wday = 4;
            return true;
          },
      .StandardTimeWestOfUtc = [secondsWestOfUtc] { return secondsWestOfUtc; },
      .SteadyTime = [] { return std::chrono::steady_clock::time_point(); },
      .Rest = [](std::chrono::nanoseconds) {},
  };
}

/// The host's clock, but for its steady time, which passes only while somebody rests, and then at
/// once. `rested` is the sum of the rests and has to outlive the clock.
inline Host::ClockOperations ClockPassingByRests(std::chrono::nanoseconds& rested) {
  Host::ClockOperations clock = Host::MakeClockOperations();
  clock.SteadyTime = [&rested] { return std::chrono::steady_clock::time_point(rested); };
  clock.Rest = [&rested](std::chrono::nanoseconds duration) { rested += duration; };
  return clock;
}

}  // namespace Ondrel::Testing
