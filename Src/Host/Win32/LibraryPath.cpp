#include "Host/Types.h"

#include <Ondrel/Host.h>

namespace Ondrel::Host {

namespace {

constexpr std::size_t kLongestPath = 32768;

// Stands in the library's own file, whichever program has loaded it.
constexpr char kPlaceInLibrary = 0;

}  // namespace

std::string LibraryPath() {
  HMODULE library = nullptr;
  if (GetModuleHandleExA(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          &kPlaceInLibrary, &library) == 0)
    return {};
  std::string path(kLongestPath, '\0');
  path.resize(GetModuleFileNameA(library, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

}  // namespace Ondrel::Host
