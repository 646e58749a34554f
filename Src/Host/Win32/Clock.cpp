#include "Host/ClockOperations.h"

#include <time.h>

namespace Ondrel::Host {

ClockOperations MakeClockOperations() {
  return ClockOperations{
      .CurrentTime = [] { return std::time(nullptr); },
      .LocalTime =
          [](std::time_t time, std::tm& local) {
            // The zone may have changed since the C runtime last looked at it.
            _tzset();
            const __time64_t seconds = time;
            return _localtime64_s(&local, &seconds) == 0;
          },
      .StandardTimeWestOfUtc = [] { return long{_timezone}; },
  };
}

}  // namespace Ondrel::Host
