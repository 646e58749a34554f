#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Tool {

/// A part of a disk, in sectors.
struct BarPart {
  std::uint64_t start;
  std::uint64_t count;
};

/// A picture of a disk, `width` characters wide between its edges, with its parts to scale and
/// their numbers in them: "[|==1==...|2=|3=...]". Each part begins with its edge and is one
/// character wide at least; where its number has no room it is left out. Ends with a line end.
///
/// `diskSize` counts sectors; a smaller one than the parts need is taken as what they need.
std::string DiskBar(const std::vector<BarPart>& parts, std::uint64_t diskSize, std::size_t width);

}  // namespace Tool
