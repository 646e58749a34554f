#include "Host/MultiByteText.h"

#include <cstring>

namespace Ondrel::Host {

// Paths are bytes here, and in UTF-8 no character is found within another.
const char* FindMultiByte(const char* text, const char* part) { return std::strstr(text, part); }

}  // namespace Ondrel::Host
