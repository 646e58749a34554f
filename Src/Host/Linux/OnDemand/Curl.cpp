#include "Host/Linux/SharedLibrary.h"
#include "Pirsk/Host/Linux/OnDemand/LoadNote.h"

#include <curl/curl.h>

#include <cstdarg>

namespace {

constinit Ondrel::Host::SharedLibrary library("libcurl.so.4");

[[gnu::used, gnu::section(".note.dlopen")]] alignas(4) constexpr auto note =
    Pirsk::Host::MakeLoadNote(R"([{"soname":["libcurl.so.4"],"feature":"mail",)"
                              R"("description":"Sending mail","priority":"recommended"}])");

}  // namespace

extern "C" {

CURL* curl_easy_init() {
  static const auto function = library.Function(&::curl_easy_init, "curl_easy_init");
  return function();
}

static_assert(sizeof(void*) == sizeof(long) && sizeof(void*) == sizeof(curl_off_t));

// An option is as wide as an int, which is what it would be passed as; libcurl does the same.
static_assert(sizeof(CURLoption) == sizeof(int));
#ifdef __clang__
#pragma clang diagnostic ignored "-Wvarargs"
#endif

// libcurl itself takes what follows an option as it is passed: a number or an address, one word.
CURLcode(curl_easy_setopt)(CURL* handle, CURLoption option, ...) {
  static const auto function =
      reinterpret_cast<decltype(&::curl_easy_setopt)>(library.Find("curl_easy_setopt"));
  va_list values;
  va_start(values, option);
  void* const value = va_arg(values, void*);
  va_end(values);
  return function == nullptr ? CURLE_FAILED_INIT : function(handle, option, value);
}

CURLcode curl_easy_perform(CURL* handle) {
  static const auto function = library.Function(&::curl_easy_perform, "curl_easy_perform");
  return function(handle);
}

void curl_easy_cleanup(CURL* handle) {
  static const auto function = library.Function(&::curl_easy_cleanup, "curl_easy_cleanup");
  function(handle);
}

curl_slist* curl_slist_append(curl_slist* list, const char* text) {
  static const auto function = library.Function(&::curl_slist_append, "curl_slist_append");
  return function(list, text);
}

void curl_slist_free_all(curl_slist* list) {
  static const auto function = library.Function(&::curl_slist_free_all, "curl_slist_free_all");
  function(list);
}

}  // extern "C"
