#pragma once

#include "Host/Types.h"

namespace Ondrel::Host {

/// A function of a module that every process has loaded, by its name; null where it is not there.
template <class Function>
Function* ModuleFunction(const char* module, const char* name) {
  const HMODULE loaded = ::GetModuleHandleA(module);
  if (loaded == nullptr) return nullptr;
  // The way by a plain pointer keeps compilers from comparing the two function types.
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(loaded, name)));
}

}  // namespace Ondrel::Host
