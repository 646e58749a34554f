#include "Host/MultiByteText.h"

#include <mbstring.h>

namespace Ondrel::Host {

const char* FindMultiByte(const char* text, const char* part) {
  return reinterpret_cast<const char*>(::_mbsstr(reinterpret_cast<const unsigned char*>(text),
                                                 reinterpret_cast<const unsigned char*>(part)));
}

}  // namespace Ondrel::Host
