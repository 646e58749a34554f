#include "Host/ClockOperations.h"

#include <time.h>

namespace Ondrel::Host {

ClockOperations MakeClockOperations() {
  return ClockOperations{
      .CurrentTime = [] { return time(nullptr); },
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
