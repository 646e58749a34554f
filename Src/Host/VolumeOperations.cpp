#include "Host/VolumeOperations.h"

#include "Host/Immortal.h"

namespace Ondrel::Host {

VolumeOperations& Volume() {
  static Immortal<VolumeOperations> operations(MakeVolumeOperations());
  return operations.Get();
}

}  // namespace Ondrel::Host
