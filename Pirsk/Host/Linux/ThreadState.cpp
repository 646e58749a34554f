#include "ErrorChain.h"

#include <cstddef>
#include <new>

namespace Pirsk::Internals {

ThreadState& ThreadState::Current() {
  alignas(ThreadState) static thread_local std::byte storage[sizeof(ThreadState)];
  static thread_local ThreadState* state = nullptr;
  if (state == nullptr) {
    state = ::new (static_cast<void*>(storage)) ThreadState;

    struct Ending {
      ~Ending() { state->EndThread(); }
    };
    static thread_local Ending ending;
    static_cast<void>(ending);
  }
  return *state;
}

}  // namespace Pirsk::Internals
