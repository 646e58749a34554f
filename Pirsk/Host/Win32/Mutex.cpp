#include "Host/Mutex.h"

#include <windows.h>

namespace Pirsk::Host {

namespace {

// A slim lock is one pointer, null from the start.
static_assert(sizeof(SRWLOCK) == sizeof(void*));

SRWLOCK* SlimLock(void*& lock) { return reinterpret_cast<SRWLOCK*>(&lock); }

}  // namespace

void SharedMutex::lock() noexcept { AcquireSRWLockExclusive(SlimLock(m_lock)); }

void SharedMutex::unlock() noexcept { ReleaseSRWLockExclusive(SlimLock(m_lock)); }

void SharedMutex::lock_shared() noexcept { AcquireSRWLockShared(SlimLock(m_lock)); }

void SharedMutex::unlock_shared() noexcept { ReleaseSRWLockShared(SlimLock(m_lock)); }

}  // namespace Pirsk::Host
