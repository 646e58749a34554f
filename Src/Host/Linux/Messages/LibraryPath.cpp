#include <Ondrel/Host.h>

#include <cstdlib>
#include <dlfcn.h>
#include <memory>

namespace Ondrel::Host {

namespace {

struct Releaser {
  void operator()(char* text) const { std::free(text); }
};

// Stands in the library's own file, whichever program has loaded it.
constexpr char kPlaceInLibrary = 0;

}  // namespace

std::string LibraryPath() {
  Dl_info library{};
  if (dladdr(&kPlaceInLibrary, &library) == 0 || library.dli_fname == nullptr) return {};
  const std::unique_ptr<char, Releaser> path(realpath(library.dli_fname, nullptr));
  return path ? std::string(path.get()) : std::string();
}

}  // namespace Ondrel::Host
