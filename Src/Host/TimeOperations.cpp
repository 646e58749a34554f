#include "Host/TimeOperations.h"

#include "Host/Immortal.h"

namespace Ondrel::Host {

TimeOperations& Time() {
  static Immortal<TimeOperations> operations(MakeTimeOperations());
  return operations.Get();
}

}  // namespace Ondrel::Host
