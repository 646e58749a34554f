#include "Host/Linux/SharedLibrary.h"

#include "Module.h"

#include <dlfcn.h>

namespace Ondrel::Host {

namespace {

constexpr const char* kFind = "Ondrel::Host::SharedLibrary::Find";

// The loader's last error; it always has one after a failure.
std::string LoaderError() {
  const char* const error = dlerror();
  return error == nullptr ? "" : error;
}

}  // namespace

void* SharedLibrary::Find(const char* name) {
  std::call_once(m_once, [this] {
    m_handle = dlopen(m_name, RTLD_LAZY | RTLD_LOCAL);
    if (m_handle == nullptr) ONDREL_TRACE(kTraceError, kFind, "cannot load %s", LoaderError());
  });
  if (m_handle == nullptr) return nullptr;
  void* const found = dlsym(m_handle, name);
  if (found == nullptr) ONDREL_TRACE(kTraceError, kFind, "cannot call %s", LoaderError());
  return found;
}

}  // namespace Ondrel::Host
