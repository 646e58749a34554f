#include "Tool/Table.h"

#include "Tool/DiskBar.h"

#include <algorithm>

namespace Tool {

void PrintTable(std::ostream& out, const std::vector<Row>& rows, std::size_t numberColumns) {
  if (rows.empty()) return;
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows)
    for (std::size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], CharactersOf(row[column]));
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      const std::string padding(widths[column] - CharactersOf(row[column]), ' ');
      line += column < numberColumns ? padding + row[column] : row[column] + padding;
      line += "  ";
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}

}  // namespace Tool
