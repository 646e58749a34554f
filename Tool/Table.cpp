#include "Tool/Table.h"

#include "Tool/TextWidth.h"

#include <algorithm>

namespace Tool {

void PrintTable(std::ostream& out, const std::vector<Row>& rows, std::size_t numberColumns) {
  if (rows.empty()) return;
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows)
    for (std::size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], ColumnsOf(row[column]));
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      const std::string padding(widths[column] - ColumnsOf(row[column]), ' ');
      line += column < numberColumns ? padding + row[column] : row[column] + padding;
      line += "  ";
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}

std::vector<Row> WithoutEmptyColumns(const std::vector<Row>& rows) {
  std::vector<Row> kept(rows.size());
  for (std::size_t column = 0; !rows.empty() && column < rows.front().size(); ++column) {
    const bool isEmpty = std::all_of(rows.begin() + 1, rows.end(),
                                     [&](const Row& row) { return row[column].empty(); });
    for (std::size_t row = 0; !isEmpty && row < rows.size(); ++row)
      kept[row].push_back(rows[row][column]);
  }
  return kept;
}

}  // namespace Tool
