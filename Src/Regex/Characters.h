#pragma once

#include <cctype>
#include <cstring>

/// What the engine asks about single characters.
namespace Pirsk::Regex {

/// The upper-case form of a character as the C library's locale has it.
inline char ToUpper(char character) {
  return static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
}

/// The lower-case form of a character as the C library's locale has it.
inline char ToLower(char character) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

/// 0 to 9, whatever the locale.
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// The white space of the grammar, whatever the locale: space, tab, line feed, vertical tab, form
/// feed and carriage return.
inline bool IsWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Whether it is one of the characters of a text; the zero character never is.
inline bool IsOneOf(char c, const char* characters) {
  return c != '\0' && std::strchr(characters, c) != nullptr;
}

}  // namespace Pirsk::Regex
