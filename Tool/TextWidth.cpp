#include "Tool/TextWidth.h"

#include "Tool/Host/CharacterWidth.h"
#include "Tool/Utf8.h"

#include <algorithm>
#include <array>

namespace Tool {

namespace {

/// The code of the UTF-8 character that `text` is.
char32_t CodeOf(std::string_view text) {
  constexpr std::array<unsigned, 5> kLeadBits = {0, 0x7F, 0x1F, 0x0F, 0x07};
  auto code =
      static_cast<char32_t>(static_cast<unsigned char>(text.front()) & kLeadBits[text.size()]);
  for (const char byte : text.substr(1))
    code = (code << 6) | (static_cast<unsigned char>(byte) & 0x3FU);
  return code;
}

}  // namespace

std::size_t ColumnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    columns += length == 0 ? 1 : CharacterWidth(CodeOf(text.substr(0, length)));
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return columns;
}

}  // namespace Tool
