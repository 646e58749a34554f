#pragma once

#include <cstddef>
#include <functional>

namespace Ondrel::Host {

/// The C library's heap, as far as a failure of it has a required outcome.
///
/// All three have the meaning of their namesakes `malloc`, `realloc` and `free`. `Tables.cpp`
/// answers them alike on every host.
struct MemoryOperations {
  std::function<void*(std::size_t size)> Allocate;
  std::function<void*(void* block, std::size_t size)> Reallocate;
  std::function<void(void* block)> Free;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
MemoryOperations& Memory();

}  // namespace Ondrel::Host
