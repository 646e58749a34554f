#pragma once

#include "Regex/Pattern.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Tool {

/// The lines that a match lies in, or the first of them when there are several, and under them a
/// line for each group: where it lies, its number and name, and the bytes [begin, end) of the text.
/// A text of several lines has the line's number before it. What is UTF-8 is shown as it is, any
/// other byte and control characters as "?".
std::string PictureOf(const std::string& text, const Pirsk::Regex::CMatchResult& match,
                      const std::vector<std::pair<std::string, std::int64_t>>& names);

}  // namespace Tool
