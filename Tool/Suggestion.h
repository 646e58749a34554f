#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// ", did you mean X?" with the one of `names` that is nearest to `word` in the letters that would
/// have to be added, left out, replaced or exchanged with their neighbour, in any case; empty when
/// none is near: one letter may differ, and one more for every three of the word.
std::string Suggestion(std::string_view word, const std::vector<std::string>& names);

}  // namespace Tool
