#pragma once

/// Locks that need no construction at run time, so that they work before and after all static
/// objects of a module.
#if defined(_WIN32)

namespace Pirsk::Host {

/// A lock that any number of readers or one writer holds, on the host's slim lock: the standard
/// library's own is constructed at run time here.
class SharedMutex {
public:
  constexpr SharedMutex() noexcept = default;

  SharedMutex(const SharedMutex&) = delete;
  SharedMutex& operator=(const SharedMutex&) = delete;

  void lock() noexcept;
  void unlock() noexcept;
  void lock_shared() noexcept;
  void unlock_shared() noexcept;

private:
  void* m_lock = nullptr;
};

using Mutex = SharedMutex;

}  // namespace Pirsk::Host

#else

#include <mutex>
#include <shared_mutex>

namespace Pirsk::Host {

using Mutex = std::mutex;
using SharedMutex = std::shared_mutex;

}  // namespace Pirsk::Host

#endif
