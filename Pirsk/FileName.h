#pragma once

#include <string_view>

namespace Pirsk::Internals {

/// The path without its folders.
constexpr std::string_view FileName(std::string_view path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

}  // namespace Pirsk::Internals
