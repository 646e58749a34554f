#include "Host/ClockOperations.h"

#include <thread>
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
      .SteadyTime = std::chrono::steady_clock::now,
      .Rest = [](std::chrono::nanoseconds duration) { std::this_thread::sleep_for(duration); },
  };
}

}  // namespace Ondrel::Host
