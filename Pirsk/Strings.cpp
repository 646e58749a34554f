#include "Host/Host.h"
#include "Instrumentation.h"

#include <Pirsk/Strings.h>

#include <boost/locale/utf.hpp>

#include <iterator>
#include <utility>

namespace Pirsk::Strings {

namespace {

constexpr char kReplacementCharacter[] = "\xEF\xBF\xBD";

}  // namespace

void ToUTF8(const std::string& text, std::string& result) {
  PIRSK_RECORD("ToUTF8(string)");
  result = Host::NarrowToUtf8(text);
}

void ToUTF8(const wchar_t* text, std::string& result) {
  PIRSK_RECORD("ToUTF8(wide)");
  namespace utf = boost::locale::utf;
  std::string converted;
  if (text != nullptr) {
    const wchar_t* end = text;
    while (*end != L'\0') ++end;
    while (text != end) {
      const wchar_t* begin = text;
      const utf::code_point point = utf::utf_traits<wchar_t>::decode(text, end);
      if (utf::is_valid_codepoint(point)) {
        utf::utf_traits<char>::encode(point, std::back_inserter(converted));
      } else {
        converted += kReplacementCharacter;
        text = begin + 1;
      }
    }
  }
  result = std::move(converted);
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

}  // namespace Pirsk::Strings
