#pragma once

#include <curl/curl.h>

#include <string>

namespace Ondrel::Host {

/// The functions of libcurl that deliver a mail, under their own names and of their own types:
/// plain pointers, because one of them takes its last argument by the option before it.
///
/// All of them are there, or `missing` says why not and none may be called.
struct CurlOperations {
  decltype(&::curl_easy_init) curl_easy_init = nullptr;
  decltype(&::curl_easy_setopt) curl_easy_setopt = nullptr;
  decltype(&::curl_easy_perform) curl_easy_perform = nullptr;
  decltype(&::curl_easy_cleanup) curl_easy_cleanup = nullptr;
  decltype(&::curl_slist_append) curl_slist_append = nullptr;
  decltype(&::curl_slist_free_all) curl_slist_free_all = nullptr;

  /// Which file could not be loaded, or lacks which function, in the loader's words; else empty.
  std::string missing;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
CurlOperations& Curl();

/// The operations as this host's provider gives them: `Linux/OnDemand/Curl.cpp` or
/// `Win32/Curl.cpp`.
CurlOperations MakeCurlOperations();

}  // namespace Ondrel::Host
