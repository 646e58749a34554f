#pragma once

#include "Host/Types.h"

#include <string>
#include <string_view>

namespace Ondrel::Host {

/// How a definition is formatted.
struct MessageFormat {
  bool ignoreInserts = false;     ///< Inserts stay as they are written.
  bool ignoreLineBreaks = false;  ///< A space stands for each line break of the definition.
  const char* const* arguments = nullptr;  ///< The arguments, or null when there are none.
};

/// A formatted message, or why there is none.
struct FormattedMessage {
  ULong error = ERROR_SUCCESS;
  std::string text;
};

/// Longest text that a definition may give, in bytes; 234 for one that would be longer.
inline constexpr std::size_t kMaxMessageLength = std::size_t{1024} * 1024;

/// Formats a message definition.
///
/// - `%1` to `%99`: the argument of that number, as `%n!s!`.
/// - `%n!conversion!`: the argument in a printf conversion: flags (`-`, `+`, space, `#`, `0`),
///   width, precision, size (`h`, `l`, `ll`, `I`, `I32`, `I64`), and one of `d i u x X o c s p`. An
///   argument is a zero-terminated text for `s` and a number as wide as a pointer for the others,
///   of which they take 32 bits, or 64 with `ll`, `I64`, `I` and `p`. A null text reads "(null)". A
///   `*` for width or precision takes the number from the arguments: the first from argument n, the
///   next from the one after it, the value from the one after these. Width and precision of a
///   text count characters. 87 for any other conversion (wide text and floating point among them),
///   for a width or precision above 65535, and for an argument after the 99th.
/// - `%0` ends the text, `%n` is a line break, `%r` a carriage return, `%t` a tab, `%b` a space.
/// - `%` and any other character, `%%`, `%.` and `%!` among them: that character.
/// - A line break (CR, LF or both) is a line break, CR and LF, or a space.
///
/// 87 for an insert when there are no arguments, for one without an end and for a `%` at the end.
/// Only arguments that the definition names are read.
FormattedMessage FormatDefinition(std::string_view definition, const MessageFormat& format);

}  // namespace Ondrel::Host
