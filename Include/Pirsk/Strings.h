#pragma once

#include <Pirsk/Export.h>

#include <cstddef>
#include <string>
#include <string_view>

/// Text conversion. All functions may be called from any thread.
namespace Pirsk::Strings {

/// Converts text in the host's narrow code page to UTF-8. On Linux that is the character set of the
/// locale in force (`setlocale`, `uselocale`); where the host does not know it, ASCII. A byte that
/// has no character there becomes U+FFFD. `text` and `result` may be one object.
PIRSK_API void ToUTF8(const std::string& text, std::string& result);

/// Converts zero-terminated wide text (UTF-16 where `wchar_t` has 16 bits, else UTF-32) to UTF-8.
/// What is not a character becomes U+FFFD; null gives the empty text.
PIRSK_API void ToUTF8(const wchar_t* text, std::string& result);

/// Number of characters of a UTF-8 text; the value with all bits set when the text is not valid
/// UTF-8. Overlong forms, surrogates and values above U+10FFFF are not valid.
PIRSK_API std::size_t UTF8length(const std::string& text);

/// A text of unknown content as it is shown on a line: without the line ends that it ends with, a
/// line feed or carriage return within it as "\n" or "\r", any other control character but the tab
/// (also U+0080 to U+009F) as "\x" and two hexadecimal digits a byte. All else stays as it is.
PIRSK_API std::string Printable(std::string_view text);

}  // namespace Pirsk::Strings
