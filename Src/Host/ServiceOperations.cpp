#include "Host/ServiceOperations.h"

#include "Host/Immortal.h"

namespace Ondrel::Host {

ServiceOperations& Service() {
  static Immortal<ServiceOperations> operations(MakeServiceOperations());
  return operations.Get();
}

}  // namespace Ondrel::Host
