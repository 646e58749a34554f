#include "Host/DeviceOperations.h"

#include "Host/Immortal.h"

namespace Ondrel::Host {

DeviceOperations& Device() {
  static Immortal<DeviceOperations> operations(MakeDeviceOperations());
  return operations.Get();
}

}  // namespace Ondrel::Host
