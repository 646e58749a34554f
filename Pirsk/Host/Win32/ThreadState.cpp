#include "ErrorChain.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <atomic>
#include <cstddef>
#include <new>
#include <windows.h>

namespace Pirsk::Internals {

namespace {

/// The state of each thread in a fiber-local slot of the host. A compiler's thread-local storage
/// may be gone before the destructors of thread-local objects run; the slot is given back after.
class StateSlot {
public:
  StateSlot() : m_states(::FlsAlloc(&StateSlot::EndThread)), m_ended(::TlsAlloc()) {}

  /// Never destroyed itself: destructors of other static objects may still ask.
  static StateSlot& Instance() {
    alignas(StateSlot) static std::byte storage[sizeof(StateSlot)];
    static StateSlot* const slot = ::new (static_cast<void*>(storage)) StateSlot;
    static const Releaser releaser;
    return *slot;
  }

  ThreadState& Current() {
    if (m_isGone || ::TlsGetValue(m_ended) != nullptr) return Ended();
    if (void* const known = ::FlsGetValue(m_states)) return *static_cast<ThreadState*>(known);
    auto* const state = new ThreadState;
    ::FlsSetValue(m_states, state);
    return *state;
  }

private:
  struct Releaser {
    Releaser() = default;
    Releaser(const Releaser&) = delete;
    Releaser& operator=(const Releaser&) = delete;
    ~Releaser() { Instance().Release(); }
  };

  // When the module is unloaded, the host ends the states of all threads.
  void Release() {
    m_isGone = true;
    ::FlsFree(m_states);
    ::TlsFree(m_ended);
  }

  // Stands in for the states of threads that have ended: it remembers nothing.
  static ThreadState& Ended() {
    static ThreadState& ended = []() -> ThreadState& {
      alignas(ThreadState) static std::byte storage[sizeof(ThreadState)];
      auto* const state = ::new (static_cast<void*>(storage)) ThreadState;
      state->EndThread();
      return *state;
    }();
    return ended;
  }

  static void NTAPI EndThread(void* value) {
    StateSlot& slot = Instance();
    if (!slot.m_isGone) ::TlsSetValue(slot.m_ended, &slot);
    delete static_cast<ThreadState*>(value);
  }

  DWORD m_states;
  DWORD m_ended;
  std::atomic<bool> m_isGone = false;
};

}  // namespace

ThreadState& ThreadState::Current() { return StateSlot::Instance().Current(); }

}  // namespace Pirsk::Internals
