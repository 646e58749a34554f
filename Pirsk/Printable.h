#pragma once

#include <string>
#include <string_view>

/// How texts of unknown content are shown on lines.
namespace Pirsk::Internals {

/// The text without its line ends, and with control characters within it shown escaped: one line
/// stays one line.
std::string Printable(std::string_view text);

/// The path without its folders.
constexpr std::string_view FileName(std::string_view path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

}  // namespace Pirsk::Internals
