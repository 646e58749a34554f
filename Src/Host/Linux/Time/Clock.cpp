#include "Host/ClockOperations.h"
#include "Host/Linux/Time/LocalZone.h"

#include <thread>

namespace Ondrel::Host {

ClockOperations MakeClockOperations() {
  return ClockOperations{
      .CurrentTime = [] { return std::time(nullptr); },
      .LocalTime = BreakDownLocally,
      .StandardTimeWestOfUtc = StandardTimeWestOfUtc,
      .SteadyTime = std::chrono::steady_clock::now,
      .Rest = [](std::chrono::nanoseconds duration) { std::this_thread::sleep_for(duration); },
  };
}

}  // namespace Ondrel::Host
