#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace Ondrel::Host {

/// Holds a value that is never destroyed, in its own storage.
///
/// As a function's static object it stays usable while the program's other static objects are
/// destroyed, and takes nothing from the heap that an unload would lose.
template <class T>
class Immortal {
public:
  Immortal() { ::new (static_cast<void*>(m_storage)) T(); }
  template <class... Arguments>
  explicit Immortal(Arguments&&... arguments) {
    ::new (static_cast<void*>(m_storage)) T(std::forward<Arguments>(arguments)...);
  }

  Immortal(const Immortal&) = delete;
  Immortal& operator=(const Immortal&) = delete;

  T& Get() { return *std::launder(reinterpret_cast<T*>(m_storage)); }

private:
  alignas(T) std::byte m_storage[sizeof(T)];
};

}  // namespace Ondrel::Host
