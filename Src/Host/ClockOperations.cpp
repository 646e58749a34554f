#include "Host/ClockOperations.h"

#include "Host/Immortal.h"

namespace Ondrel::Host {

ClockOperations& Clock() {
  static Immortal<ClockOperations> operations(MakeClockOperations());
  return operations.Get();
}

}  // namespace Ondrel::Host
