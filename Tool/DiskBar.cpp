#include "Tool/DiskBar.h"

#include <algorithm>
#include <cmath>

namespace Tool {

namespace {

constexpr char kFree = '.';
constexpr char kTaken = '=';

/// Column of a sector; numbers of both may be large, and a column more or less does not show.
std::size_t ColumnOf(std::uint64_t sector, std::uint64_t diskSize, std::size_t width) {
  const double share = static_cast<double>(sector) / static_cast<double>(diskSize);
  const long column = std::lround(share * static_cast<double>(width));
  return std::min(static_cast<std::size_t>(column), width);
}

}  // namespace

std::string DiskBar(const std::vector<BarPart>& parts, std::uint64_t diskSize, std::size_t width) {
  std::uint64_t size = std::max<std::uint64_t>(diskSize, 1);
  for (const BarPart& part : parts) size = std::max(size, part.start + part.count);

  std::string bar(width, kFree);
  for (std::size_t index = 0; index < parts.size(); ++index) {
    const BarPart& part = parts[index];
    const std::size_t begin = std::min(ColumnOf(part.start, size, width), width - 1);
    const std::size_t end = std::max(ColumnOf(part.start + part.count, size, width), begin + 1);
    std::fill(bar.begin() + static_cast<std::ptrdiff_t>(begin),
              bar.begin() + static_cast<std::ptrdiff_t>(end), kTaken);
    bar[begin] = '|';
    const std::string number = std::to_string(index + 1);
    const std::size_t room = end - begin;
    if (number.size() < room)
      bar.replace(begin + (room - number.size() + 1) / 2, number.size(), number);
  }
  return "[" + bar + "]\n";
}

}  // namespace Tool
