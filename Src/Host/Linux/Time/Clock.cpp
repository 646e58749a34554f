#include "Host/ClockOperations.h"
#include "Host/Linux/Time/LocalZone.h"

namespace Ondrel::Host {

ClockOperations MakeClockOperations() {
  return ClockOperations{
      .CurrentTime = [] { return std::time(nullptr); },
      .LocalTime = BreakDownLocally,
      .StandardTimeWestOfUtc = StandardTimeWestOfUtc,
  };
}

}  // namespace Ondrel::Host
