#pragma once

#include <cstddef>

namespace Tool {

/// Columns that a character takes on a terminal: 0, 1 or 2.
std::size_t CharacterWidth(char32_t character);

}  // namespace Tool
