#include "Host/CurlOperations.h"

namespace Ondrel::Host {

CurlOperations MakeCurlOperations() {
  return CurlOperations{
      .curl_easy_init = ::curl_easy_init,
      .curl_easy_setopt = ::curl_easy_setopt,
      .curl_easy_perform = ::curl_easy_perform,
      .curl_easy_cleanup = ::curl_easy_cleanup,
      .curl_slist_append = ::curl_slist_append,
      .curl_slist_free_all = ::curl_slist_free_all,
      .missing = {},
  };
}

}  // namespace Ondrel::Host
