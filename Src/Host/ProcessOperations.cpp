#include "Host/ProcessOperations.h"

#include "Host/Immortal.h"

namespace Ondrel::Host {

ProcessOperations& Process() {
  static Immortal<ProcessOperations> operations(MakeProcessOperations());
  return operations.Get();
}

}  // namespace Ondrel::Host
