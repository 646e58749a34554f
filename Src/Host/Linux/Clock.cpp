#include "Host/ClockOperations.h"

#include <ctime>

namespace Ondrel::Host {

ClockOperations MakeClockOperations() {
  return ClockOperations{
      .CurrentTime = [] { return std::time(nullptr); },
      .LocalTime =
          [](std::time_t time, std::tm& local) {
            // localtime_r alone need not look at the zone anew.
            tzset();
            return localtime_r(&time, &local) != nullptr;
          },
      .StandardTimeWestOfUtc = [] { return timezone; },
  };
}

}  // namespace Ondrel::Host
