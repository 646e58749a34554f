#include "Host/Linux/HandleTable.h"

#include <atomic>

namespace Ondrel::Host {

std::uintptr_t NextHandleNumber() {
  static std::atomic<std::uintptr_t> next{0x1000};
  return next.fetch_add(4, std::memory_order_relaxed);
}

}  // namespace Ondrel::Host
