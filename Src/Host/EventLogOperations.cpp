#include "Host/EventLogOperations.h"

#include "Host/Immortal.h"

namespace Ondrel::Host {

EventLogOperations& EventLog() {
  static Immortal<EventLogOperations> operations(MakeEventLogOperations());
  return operations.Get();
}

}  // namespace Ondrel::Host
