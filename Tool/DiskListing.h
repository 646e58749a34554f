#pragma once

#include "Tool/Failure.h"

#include <Ondrel/Disks.h>
#include <Ondrel/PartitionTable.h>

#include <cstdint>
#include <string>
#include <vector>

/// How disks, and what lies on one, are shown as text and as JSON.

namespace Tool {

/// "512 B", "1.5 GiB": with one digit after the point where it is not whole.
std::string DiskSizeText(std::uint64_t bytes);

/// What is known of one disk name: "Disk 0".
struct DiskListing {
  std::string name;
  const Ondrel::Host::DiskDescription* disk = nullptr;    ///< Null when there is no such disk.
  std::vector<Ondrel::CSystemPartition> partitions = {};  ///< As the library lists them.
};

/// The disk with this name; null when there is none.
const Ondrel::Host::DiskDescription* FindDisk(const Ondrel::Host::StorageDescription& storage,
                                              const std::string& name);

/// The listing with its picture, or why there is none: "nothing on Disk 0".
std::string TextOfListing(const DiskListing& listing,
                          const Ondrel::Host::StorageDescription& storage);

/// {"device","found",...,"partitions":[...],"unseen":[...]}.
Json JsonOfListing(const DiskListing& listing, const Ondrel::Host::StorageDescription& storage);

/// What lies on the disk, or may, and is not on the list: one line for each.
std::vector<std::string> UnseenOn(const DiskListing& listing,
                                  const Ondrel::Host::StorageDescription& storage);

/// Which of the volumes on the list could not be read, in one line; empty when all could.
std::string UnreadOn(const DiskListing& listing, const Ondrel::Host::StorageDescription& storage);

/// A table of the disks.
std::string TextOfDisks(const std::vector<Ondrel::Host::DiskDescription>& disks);

Json JsonOfDisk(const Ondrel::Host::DiskDescription& disk);

}  // namespace Tool
