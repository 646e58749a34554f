#include "Printable.h"

#include <cstdio>

namespace Pirsk::Internals {

std::string Printable(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);

  std::string shown;
  shown.reserve(text.size());
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
      shown += "\\n";
    } else if (character == '\r') {
      shown += "\\r";
    } else if (character != '\t' && (byte < 0x20 || byte == 0x7F)) {
      char escaped[5];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(byte));
      shown += escaped;
    } else {
      shown += character;
    }
  }
  return shown;
}

}  // namespace Pirsk::Internals
