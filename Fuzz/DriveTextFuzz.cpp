#include "Drives/DriveStatus.h"
#include "Host/Linux/Drives/DriveFiles.h"
#include "Host/Linux/Drives/DrivePicture.h"
#include "Host/Linux/Sysfs.h"
#include "Host/Linux/Volumes/MapperTargets.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using namespace Ondrel::Host;

namespace {

// A number of a kernel's file, read again from its own digits.
void ReadNumbers(const std::string& text) {
  if (const std::optional<std::uint64_t> number = SysfsNumber(text))
    if (SysfsNumber(std::to_string(*number)) != number) std::abort();
  if (const std::optional<std::uint64_t> number = SysfsNumber(text, 16))
    if (!text.starts_with("0x") && SysfsNumber("0x" + text, 16) != number) std::abort();
}

// The text as a line of a device mapper table: type and parameters.
void ReadTarget(const std::string& text) {
  const std::size_t end = std::min(text.find(' '), text.size());
  const std::string type = text.substr(0, end);
  const std::string parameters = text.substr(std::min(end + 1, text.size()));
  const std::string kept = ParametersToKeep(type, parameters);
  if (!IsKnownTarget(type) && !kept.empty()) std::abort();
  const MapperTarget whole{.start = 0, .count = 4096, .type = type, .parameters = parameters};
  MapperTarget safe = whole;
  safe.parameters = kept;
  if (!IsKnownTarget(type)) return;
  // What is kept says the same as what there was.
  const auto before = PartsBeneath(whole, 8, 64);
  const auto after = PartsBeneath(safe, 8, 64);
  if (before.has_value() != after.has_value()) std::abort();
  if (before && before->size() != after->size()) std::abort();
}

}  // namespace

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
  ReadNumbers(text);
  ReadTarget(text);
  const std::uint64_t layout = NumberAtStart(text).value_or(0);
  std::vector<char> isLost;
  for (const char byte : text.substr(0, 32)) isLost.push_back((byte & 1) != 0 ? 1 : 0);
  for (const char* const level : {"raid0", "raid1", "raid5", "raid6", "raid10"})
    ArrayStatus(level, layout, isLost);
  return 0;
}
