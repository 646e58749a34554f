#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace Tool {

/// The texts of one line of a table.
using Row = std::vector<std::string>;

/// Prints columns as wide as their longest text on a terminal; the first `numberColumns` are set to
/// the right. All rows have as many texts as the first.
void PrintTable(std::ostream& out, const std::vector<Row>& rows, std::size_t numberColumns);

/// The rows without the columns that have no text below the first row, the head.
std::vector<Row> WithoutEmptyColumns(const std::vector<Row>& rows);

}  // namespace Tool
