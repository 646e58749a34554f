#include "Host/DeviceSetupOperations.h"

#include "Host/Immortal.h"

namespace Ondrel::Host {

DeviceSetupOperations& DeviceSetup() {
  static Immortal<DeviceSetupOperations> operations(MakeDeviceSetupOperations());
  return operations.Get();
}

}  // namespace Ondrel::Host
