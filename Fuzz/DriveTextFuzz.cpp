#include "Drives/DriveStatus.h"
#include "Fuzz/DriveTree.h"
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

bool IsPrintable(std::string_view text) {
  return std::ranges::all_of(text, [](char byte) { return byte >= 0x20 && byte <= 0x7E; });
}

void Require(bool holds) {
  if (!holds) std::abort();
}

// The text as the files of the kernel's folders, all of them at once.
void ReadTree(std::string_view text) {
  static DriveTree tree;
  tree.Write(text);
  const Ondrel::Host::DriveSnapshot snapshot = ReadDrives(tree.Sources());
  Require(snapshot.error == 0);
  for (const Drive& drive : snapshot.drives) {
    Require(!drive.id.empty() && IsPrintable(drive.id) && IsPrintable(drive.name));
    Require(IsPrintable(drive.serial) && IsPrintable(drive.model));
    Require(Worse(drive.status, drive.status) == drive.status);
    Require(Worse(drive.status, Ondrel::kStatusFailed) ==
            Worse(Ondrel::kStatusFailed, drive.status));
  }
  for (const DriveArray& array : snapshot.arrays) {
    Require(!array.id.empty() && IsPrintable(array.id) && IsPrintable(array.level));
    Require(array.lostPlaces <= array.places && array.places <= 4096);
    for (const ArrayMember& member : array.members) {
      const auto drive = std::ranges::find(snapshot.drives, member.drive, &Drive::id);
      Require(member.isGone ? member.drive.empty() : drive != snapshot.drives.end());
    }
  }
}

}  // namespace

// What is read of drives and arrays: any text is taken, and what is shown of it is printable. A
// text that begins with kTree is the kernel's folders (DriveTree::Write), any other one of its
// texts.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::string_view kTree = "tree\n";
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (text.starts_with(kTree)) {
    ReadTree(std::string_view(text).substr(kTree.size()));
    return 0;
  }
  const std::string printable = PrintableOf(text);
  Require(IsPrintable(printable) && printable.size() <= text.size());
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
