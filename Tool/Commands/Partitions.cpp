#include "Tool/Command.h"
#include "Tool/DiskListing.h"
#include "Tool/HostErrors.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"
#include "Tool/Suggestion.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <vector>

namespace Tool {

namespace {

using Ondrel::Host::DiskDescription;
using Ondrel::Host::StorageDescription;

struct Options {
  std::string disk;
  bool isAll = false;
};

std::string NameOf(const DiskDescription& disk) {
  return "Disk " + std::to_string(disk.disk.number);
}

/// "Disk 0" for "Disk 0" and "0", whether or not there is that disk; empty for anything else.
std::string NumberedName(const std::string& name) {
  constexpr std::string_view kDisk = "Disk ";
  std::string_view digits = name;
  if (digits.starts_with(kDisk)) {
    digits.remove_prefix(kDisk.size());
    digits.remove_prefix(std::min(digits.find_first_not_of(' '), digits.size()));
  }
  if (digits.find_first_not_of("0123456789") != std::string_view::npos) return {};
  const auto number = ParseNumber(digits, 0, std::numeric_limits<std::uint32_t>::max());
  return number ? "Disk " + std::to_string(*number) : std::string();
}

/// The name of the disk that is meant; a device may be named by a link to it, such as those in
/// /dev/disk. Throws `UsageError` for what is not a disk.
std::string DiskName(const std::string& name, const StorageDescription& storage) {
  if (std::string numbered = NumberedName(name); !numbered.empty()) return numbered;
  std::error_code error;
  const std::string device = std::filesystem::canonical(name, error).string();
  std::vector<std::string> known;
  for (const DiskDescription& disk : storage.disks) {
    if (disk.disk.deviceName == name || disk.disk.deviceName == device) return NameOf(disk);
    known.push_back(disk.disk.deviceName);
  }
  throw UsageError("\"" + OneLine(name) + "\" is not a disk: \"Disk 0\", 0 or a disk's device" +
                   Suggestion(name, known));
}

DiskListing ListingOf(const std::string& name, const StorageDescription& storage) {
  DiskListing listing{.name = name, .disk = FindDisk(storage, name)};
  Ondrel::CSystemPartitionTable(name).GetPartitions(listing.partitions);
  return listing;
}

std::vector<DiskListing> ListingsOf(const Options& options, const StorageDescription& storage) {
  std::vector<DiskListing> listings;
  if (!options.isAll) return {ListingOf(DiskName(options.disk, storage), storage)};
  for (const DiskDescription& disk : storage.disks)
    listings.push_back(ListingOf(NameOf(disk), storage));
  return listings;
}

/// Prints an answer, with the reason why disks may be missing in it.
void PrintWithError(Json json, const StorageDescription& storage) {
  if (storage.error != 0) json["error"] = JsonOfHostError(storage.error);
  PrintJson(json);
}

void PrintListings(const GlobalOptions& globals, const Options& options,
                   const std::vector<DiskListing>& listings, const StorageDescription& storage) {
  if (globals.json && !options.isAll) {
    PrintWithError(JsonOfListing(listings.front(), storage), storage);
  } else if (globals.json) {
    Json list = Json::array();
    for (const DiskListing& listing : listings) list.push_back(JsonOfListing(listing, storage));
    PrintWithError({{"disks", list}}, storage);
  } else {
    for (const DiskListing& listing : listings)
      std::cout << (&listing != &listings.front() ? "\n" : "") << TextOfListing(listing, storage);
    if (listings.empty()) std::cout << "there is no disk\n";
  }
}

/// What is missing, on standard error. Whether anything is that should be on a list.
bool SayWhatIsMissing(const std::vector<DiskListing>& listings, const StorageDescription& storage) {
  bool isMissing = storage.error != 0;
  if (isMissing) Say("cannot see all disks: " + HostErrorWords(storage.error));
  for (const DiskListing& listing : listings) {
    for (const std::string& line : UnseenOn(listing, storage)) {
      Say(line);
      isMissing = true;
    }
    if (const std::string line = UnreadOn(listing, storage); !line.empty()) Say(line);
  }
  return isMissing;
}

int ShowPartitions(const GlobalOptions& globals, const Options& options) {
  if (options.isAll != options.disk.empty())
    throw UsageError(options.isAll ? "DISK and --all exclude each other"
                                   : "DISK is missing: name a disk, or all with --all");
  StorageDescription storage;
  std::vector<DiskListing> listings;
  {
    const Progress progress("asking the host");
    storage = Ondrel::Host::DescribeStorage();
    if (storage.disks.empty() && storage.error != 0)
      throw HostFailure("cannot see the disks", storage.error);
    listings = ListingsOf(options, storage);
  }
  PrintListings(globals, options, listings, storage);
  if (SayWhatIsMissing(listings, storage)) return kFailed;
  const bool isAny = std::ranges::any_of(
      listings, [](const DiskListing& listing) { return !listing.partitions.empty(); });
  return isAny ? kDone : kNegativeAnswer;
}

}  // namespace

Work AddPartitionsCommand(CLI::App& app) {
  app.footer(
      "Exit status: 0 there are partitions, 1 there are none or there is no such disk, 3 something "
      "on the disk cannot be seen.\n");
  const auto options = std::make_shared<Options>();
  app.add_option("DISK", options->disk,
                 "\"Disk 0\", 0, or the disk's device such as /dev/sda; see ondrel disks")
      ->type_name("");
  app.add_flag("--all", options->isAll, "every disk in place of one");
  return [options](const GlobalOptions& globals) { return ShowPartitions(globals, *options); };
}

}  // namespace Tool
