// libcurl brings some thirty libraries along, which take longer to load than all else that this
// library needs: a program that sends no mail is spared them. The first mail loads libcurl, and it
// is kept to the end of the process, because not all that it brings can be unloaded.

#include "Host/CurlOperations.h"
#include "Host/Linux/OnDemand/LoadNote.h"

#include <dlfcn.h>

namespace Ondrel::Host {

namespace {

// The SONAME that goes with the header.
constexpr char kLibrary[] = "libcurl.so.4";

[[gnu::used, gnu::section(".note.dlopen")]] alignas(4) constexpr auto note = MakeLoadNote(
    R"([{"soname":["libcurl.so.4"],"feature":"mail",)"
    R"("description":"Sending mail","priority":"recommended"}])");

std::string LoaderError() {
  const char* const error = dlerror();
  return error == nullptr ? kLibrary : error;
}

template <class Function>
bool Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

}  // namespace

CurlOperations MakeCurlOperations() {
  CurlOperations curl;
  void* const library = dlopen(kLibrary, RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr || !Find(library, "curl_easy_init", curl.curl_easy_init) ||
      !Find(library, "curl_easy_setopt", curl.curl_easy_setopt) ||
      !Find(library, "curl_easy_perform", curl.curl_easy_perform) ||
      !Find(library, "curl_easy_cleanup", curl.curl_easy_cleanup) ||
      !Find(library, "curl_slist_append", curl.curl_slist_append) ||
      !Find(library, "curl_slist_free_all", curl.curl_slist_free_all))
    curl.missing = LoaderError();
  return curl;
}

}  // namespace Ondrel::Host
