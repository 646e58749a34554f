#pragma once

#include <Pirsk/Export.h>

#include <cstddef>
#include <string>

/// Text conversion. All functions may be called from any thread.
namespace Pirsk::Strings {

/// Converts text in the host's narrow code page to UTF-8. On Linux that is the character set of the
/// locale in force (`setlocale`, `uselocale`); where the host does not know it, ASCII. A byte that
/// has no character there becomes U+FFFD. `text` and `result` may be one object.
PIRSK_API void ToUTF8(const std::string& text, std::string& result);

/// Converts zero-terminated wide text (UTF-16 where `wchar_t` has 16 bits, else UTF-32) to UTF-8.
/// What is no character becomes U+FFFD; null gives the empty text.
PIRSK_API void ToUTF8(const wchar_t* text, std::string& result);

/// Number of characters of a UTF-8 text; the value with all bits set when the text is not valid
/// UTF-8. Overlong forms, surrogates and values above U+10FFFF are not valid.
PIRSK_API std::size_t UTF8length(const std::string& text);

}  // namespace Pirsk::Strings
