#include "Host/MemoryOperations.h"

#include "Host/Immortal.h"

#include <cstdlib>

namespace Ondrel::Host {

MemoryOperations& Memory() {
  static Immortal<MemoryOperations> operations(MemoryOperations{
      .Allocate = [](std::size_t size) { return std::malloc(size); },
      .Reallocate = [](void* block, std::size_t size) { return std::realloc(block, size); },
      .Free = [](void* block) { std::free(block); },
  });
  return operations.Get();
}

}  // namespace Ondrel::Host
