#include "Host/Host.h"
#include "Instrumentation.h"

#include <Pirsk/Strings.h>

#include <boost/locale/utf.hpp>

#include <cstdio>
#include <cwchar>
#include <iterator>

namespace Pirsk::Strings {

namespace {

constexpr char kReplacementCharacter[] = "\xEF\xBF\xBD";

// The characters from `text` to `end` in UTF-8, what is none of them replaced.
template <class Char>
std::string ValidUtf8(const Char* text, const Char* end) {
  namespace utf = boost::locale::utf;
  std::string converted;
  while (text != end) {
    const Char* begin = text;
    const utf::code_point point = utf::utf_traits<Char>::decode(text, end);
    if (utf::is_valid_codepoint(point)) {
      utf::utf_traits<char>::encode(point, std::back_inserter(converted));
    } else {
      converted += kReplacementCharacter;
      text = begin + 1;
    }
  }
  return converted;
}

// The second range begins escape sequences on terminals as well as the first.
bool IsControl(boost::locale::utf::code_point value) {
  return value < 0x20 || (value >= 0x7F && value < 0xA0);
}

void AppendEscaped(std::string_view bytes, std::string& shown) {
  for (const char byte : bytes) {
    char escaped[5];
    std::snprintf(escaped, sizeof escaped, "\\x%02x", unsigned{static_cast<unsigned char>(byte)});
    shown += escaped;
  }
}

}  // namespace

void ToUTF8(const std::string& text, std::string& result) {
  PIRSK_RECORD("ToUTF8(string)");
  // The host may let values pass that UTF-8 does not have, where its code page is UTF-8 itself.
  const std::string converted = Host::NarrowToUtf8(text);
  result = ValidUtf8(converted.data(), converted.data() + converted.size());
}

void ToUTF8(const wchar_t* text, std::string& result) {
  PIRSK_RECORD("ToUTF8(wide)");
  if (text == nullptr) text = L"";
  result = ValidUtf8(text, text + std::wcslen(text));
}

std::size_t UTF8length(const std::string& text) {
  PIRSK_RECORD("UTF8length");
  namespace utf = boost::locale::utf;
  std::size_t count = 0;
  auto position = text.begin();
  while (position != text.end()) {
    if (!utf::is_valid_codepoint(utf::utf_traits<char>::decode(position, text.end())))
      return static_cast<std::size_t>(-1);
    ++count;
  }
  return count;
}

std::string Printable(std::string_view text) {
  namespace utf = boost::locale::utf;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);

  std::string shown;
  shown.reserve(text.size());
  const char* position = text.data();
  const char* const end = position + text.size();
  while (position != end) {
    const char* const begin = position;
    const utf::code_point point = utf::utf_traits<char>::decode(position, end);
    const bool isCharacter = utf::is_valid_codepoint(point);
    // A byte alone may be the control character of a terminal that is not set to UTF-8.
    if (!isCharacter) position = begin + 1;
    const utf::code_point value = isCharacter ? point : static_cast<unsigned char>(*begin);
    if (value == '\n')
      shown += "\\n";
    else if (value == '\r')
      shown += "\\r";
    else if (value != '\t' && IsControl(value))
      AppendEscaped({begin, position}, shown);
    else
      shown.append(begin, position);
  }
  return shown;
}

}  // namespace Pirsk::Strings
