#pragma once

#include <cstddef>
#include <string_view>

namespace Tool {

/// Bytes of the UTF-8 character at the front of `text`, which is not empty; 0 where there is none.
inline std::size_t CharacterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  // Longer forms than needed, halves of UTF-16 pairs, and what lies beyond U+10FFFF.
  if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) >= 0xA0) ||
      (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) >= 0x90))
    return 0;
  return length;
}

}  // namespace Tool
