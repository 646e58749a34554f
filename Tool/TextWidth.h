#pragma once

#include <cstddef>
#include <string_view>

namespace Tool {

/// Columns that a UTF-8 text takes on a terminal: two for a wide character such as those of
/// Chinese, none for one that is set upon another. A byte that is not UTF-8 takes one.
std::size_t ColumnsOf(std::string_view text);

}  // namespace Tool
