#include "Tool/Host/CharacterWidth.h"

#include <windows.h>

namespace Tool {

namespace {

constexpr char32_t kFirstBeyond16Bits = 0x10000;
constexpr char32_t kFirstPictograph = 0x1F300;

/// The Korean syllables, which the host classes as alphabetic.
constexpr bool IsHangul(char32_t character) {
  return (character >= 0x1100 && character <= 0x115F) ||
         (character >= 0xAC00 && character <= 0xD7A3);
}

}  // namespace

std::size_t CharacterWidth(char32_t character) {
  if (character < 0x7F) return 1;
  // The host classes 16-bit characters alone: what is beyond are old scripts, then pictographs and
  // the rest of the Chinese characters.
  if (character >= kFirstBeyond16Bits) return character >= kFirstPictograph ? 2 : 1;
  const auto wide = static_cast<wchar_t>(character);
  WORD type = 0;
  if (!::GetStringTypeW(CT_CTYPE3, &wide, 1, &type)) return 1;
  // A letter that has its mark in it is called so too.
  if ((type & (C3_NONSPACING | C3_ALPHA)) == C3_NONSPACING) return 0;
  if ((type & C3_HALFWIDTH) != 0) return 1;
  const bool isWide = (type & (C3_FULLWIDTH | C3_IDEOGRAPH | C3_HIRAGANA | C3_KATAKANA)) != 0 ||
                      IsHangul(character);
  return isWide ? 2 : 1;
}

}  // namespace Tool
