#include "Tool/Host/CharacterWidth.h"

#include <clocale>
#include <cwchar>

namespace Tool {

namespace {

/// A locale with the widths of all characters, for the calling thread; the process keeps its own.
class CharacterLocale {
public:
  CharacterLocale() : m_former(::uselocale(Utf8())) {}
  ~CharacterLocale() { ::uselocale(m_former); }

  CharacterLocale(const CharacterLocale&) = delete;
  CharacterLocale& operator=(const CharacterLocale&) = delete;

private:
  /// Null, which changes nothing, where the C library has no such locale.
  static locale_t Utf8() {
    static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
  }

  locale_t m_former;
};

}  // namespace

std::size_t CharacterWidth(char32_t character) {
  if (character < 0x7F) return 1;
  const CharacterLocale locale;
  const int width = ::wcwidth(static_cast<wchar_t>(character));
  return width >= 0 ? static_cast<std::size_t>(width) : 1;
}

}  // namespace Tool
