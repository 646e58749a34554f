#pragma once

#include "Host/ClockOperations.h"

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
  };
}

}  // namespace Ondrel::Testing
