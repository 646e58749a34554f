#include "Drives/DriveStatus.h"
#include "Host/Linux/Drives/DriveFiles.h"
#include "Host/Linux/Drives/DrivePicture.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

using namespace Ondrel::Host;

// What is read of drives and arrays: any text is taken, and what is shown of it is printable.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string printable = PrintableOf(text);
  if (!std::ranges::all_of(printable, [](char byte) { return byte >= 0x20 && byte <= 0x7E; }))
    std::abort();
  if (printable.size() > text.size()) std::abort();
  const std::string digits = DigitsOfUuid(text);
  if (!digits.empty() && digits.size() != 32) std::abort();
  ArraysWithSpareGroup(text);
  BadSectorsIn(text);
  HasWord(text, "in_sync");
  const std::uint64_t layout = NumberAtStart(text).value_or(0);
  std::vector<char> isLost;
  for (const char byte : text.substr(0, 32)) isLost.push_back((byte & 1) != 0 ? 1 : 0);
  for (const char* const level : {"raid0", "raid1", "raid5", "raid6", "raid10"})
    ArrayStatus(level, layout, isLost);
  return 0;
}
