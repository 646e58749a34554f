#include "Host/SystemFactsOperations.h"

#include "Host/Immortal.h"

namespace Ondrel::Host {

SystemFactsOperations& SystemFacts() {
  static Immortal<SystemFactsOperations> operations(MakeSystemFactsOperations());
  return operations.Get();
}

}  // namespace Ondrel::Host
