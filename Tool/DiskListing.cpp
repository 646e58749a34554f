#include "Tool/DiskListing.h"

#include "Tool/DiskBar.h"
#include "Tool/HostErrors.h"
#include "Tool/Output.h"
#include "Tool/Table.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iterator>
#include <sstream>

namespace Tool {

namespace {

using Ondrel::CSystemPartition;
using Ondrel::Host::DiskDescription;
using Ondrel::Host::DiskHolder;
using Ondrel::Host::StorageDescription;
using Ondrel::Host::UnseenVolume;
using Ondrel::Host::VolumeDescription;
using Ondrel::Host::VolumeExtent;

constexpr std::uint64_t kSectorSize = 512;
constexpr std::size_t kBarWidth = 72;

/// A volume of more extents is left out of the library's list.
constexpr std::size_t kMostExtents = 21;

std::string TableText(const std::vector<Row>& rows, std::size_t numberColumns) {
  std::ostringstream text;
  PrintTable(text, WithoutEmptyColumns(rows), numberColumns);
  return text.str();
}

std::string DiskName(const DiskDescription& disk) {
  return "Disk " + std::to_string(disk.disk.number);
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + OneLine(text);
  return joined;
}

const VolumeDescription* FindVolume(const StorageDescription& storage, const std::string& name) {
  const auto found = std::ranges::find(storage.volumes, name, &VolumeDescription::name);
  return found != storage.volumes.end() ? &*found : nullptr;
}

/// What the volume is: "part", or with its type in the partition table where that is short.
std::string TypeText(const VolumeDescription& volume) {
  constexpr std::size_t kShort = 4;
  if (volume.partitionType.empty() || volume.partitionType.size() > kShort) return volume.kind;
  return volume.kind + ' ' + volume.partitionType;
}

/// All paths, the library's first.
std::vector<std::string> MountsOf(const CSystemPartition& partition,
                                  const VolumeDescription* volume) {
  std::vector<std::string> mounts;
  const std::string& first =
      partition.m_MountPath.empty() ? partition.m_DriveRoot : partition.m_MountPath;
  if (!first.empty()) mounts.push_back(first);
  if (volume != nullptr)
    std::ranges::copy_if(volume->mountPaths, std::back_inserter(mounts),
                         [&](const std::string& path) { return path != first; });
  return mounts;
}

std::string PartitionTable(const std::vector<CSystemPartition>& partitions,
                           const StorageDescription& storage) {
  std::vector<Row> rows = {
      {"", "start", "size", "node", "type", "file system", "label", "UUID", "mounted at"}};
  for (const CSystemPartition& partition : partitions) {
    const VolumeDescription* const volume = FindVolume(storage, partition.m_VolumeName);
    const VolumeDescription known = volume != nullptr ? *volume : VolumeDescription();
    rows.push_back(
        {std::to_string(rows.size()), DiskSizeText(partition.m_StartSector * kSectorSize),
         DiskSizeText(partition.m_SectorCount * kSectorSize),
         OneLine(known.deviceName.empty() ? partition.m_VolumeName : known.deviceName),
         OneLine(TypeText(known)), known.contentError != 0 ? "?" : OneLine(known.fileSystem),
         OneLine(partition.m_VolumeLabel), OneLine(known.uuid),
         Joined(MountsOf(partition, volume))});
  }
  return TableText(rows, 3);
}

bool LiesOn(const UnseenVolume& unseen, Ondrel::ULong disk) {
  return unseen.disks.empty() || std::ranges::find(unseen.disks, disk) != unseen.disks.end();
}

bool LiesOn(const VolumeDescription& volume, Ondrel::ULong disk) {
  return std::ranges::find(volume.extents, disk, &VolumeExtent::disk) != volume.extents.end();
}

/// A volume on the disk that the library leaves out for its many extents.
std::vector<const VolumeDescription*> TooLongOn(const DiskListing& listing,
                                                const StorageDescription& storage) {
  std::vector<const VolumeDescription*> volumes;
  if (listing.disk == nullptr) return volumes;
  for (const VolumeDescription& volume : storage.volumes)
    if (volume.extents.size() > kMostExtents && LiesOn(volume, listing.disk->disk.number))
      volumes.push_back(&volume);
  return volumes;
}

std::vector<const UnseenVolume*> UnseenVolumesOn(const DiskListing& listing,
                                                 const StorageDescription& storage) {
  std::vector<const UnseenVolume*> volumes;
  if (listing.disk == nullptr) return volumes;
  for (const UnseenVolume& unseen : storage.unseen)
    if (LiesOn(unseen, listing.disk->disk.number)) volumes.push_back(&unseen);
  return volumes;
}

std::string LengthWords(const VolumeDescription& volume) {
  return "lies in " + std::to_string(volume.extents.size()) + " parts, more than the " +
         std::to_string(kMostExtents) + " of a list";
}

Json JsonOfPartition(const CSystemPartition& partition, const StorageDescription& storage) {
  Json json = {{"info1", partition.m_Info1},
               {"startSector", partition.m_StartSector},
               {"sectorCount", partition.m_SectorCount},
               {"info2", partition.m_Info2},
               {"info3", partition.m_Info3},
               {"kind", partition.m_Kind},
               {"driveRoot", partition.m_DriveRoot},
               {"mountPath", partition.m_MountPath},
               {"volumeLabel", partition.m_VolumeLabel},
               {"volumeName", partition.m_VolumeName}};
  const VolumeDescription* const volume = FindVolume(storage, partition.m_VolumeName);
  const auto known = [&](const std::string VolumeDescription::*text) {
    return volume != nullptr ? Json(volume->*text) : Json();
  };
  const bool isRead = volume != nullptr && volume->contentError == 0;
  json["node"] = known(&VolumeDescription::deviceName);
  json["type"] = known(&VolumeDescription::kind);
  json["partitionType"] = known(&VolumeDescription::partitionType);
  json["partitionName"] = known(&VolumeDescription::partitionName);
  json["fileSystem"] = isRead ? Json(volume->fileSystem) : Json();
  json["uuid"] = isRead ? Json(volume->uuid) : Json();
  json["contentError"] = volume == nullptr || volume->contentError == 0
                             ? Json()
                             : JsonOfHostError(volume->contentError);
  json["mountPaths"] = MountsOf(partition, volume);
  return json;
}

std::string KindText(const DiskDescription& disk) {
  std::string text = disk.kind;
  if (disk.isRemovable) text += ", removable";
  if (disk.isReadOnly) text += ", read-only";
  return text;
}

std::string SectorText(const DiskDescription& disk) {
  if (disk.logicalSectorSize == 0) return {};
  std::string text = std::to_string(disk.logicalSectorSize);
  if (disk.physicalSectorSize > disk.logicalSectorSize)
    text += '/' + std::to_string(disk.physicalSectorSize);
  return text;
}

/// The names of what is built on the disk, each once.
std::vector<std::string> HolderNames(const DiskDescription& disk) {
  std::vector<std::string> names;
  for (const DiskHolder& holder : disk.holders)
    if (std::ranges::find(names, holder.deviceName) == names.end())
      names.push_back(holder.deviceName);
  return names;
}

}  // namespace

std::string DiskSizeText(std::uint64_t bytes) {
  static constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  std::size_t unit = 0;
  double size = static_cast<double>(bytes);
  // What would be rounded to 1024 of a unit is 1 of the next.
  while (size >= 1023.95 && unit + 1 < std::size(kUnits)) {
    size /= 1024;
    ++unit;
  }
  std::ostringstream text;
  const double tenths = std::round(size * 10);
  const bool isWhole = tenths == std::round(size) * 10;
  text << std::fixed << std::setprecision(isWhole ? 0 : 1) << size << ' ' << kUnits[unit];
  return text.str();
}

const DiskDescription* FindDisk(const StorageDescription& storage, const std::string& name) {
  const auto found = std::ranges::find_if(
      storage.disks, [&](const DiskDescription& disk) { return DiskName(disk) == name; });
  return found != storage.disks.end() ? &*found : nullptr;
}

std::string TextOfListing(const DiskListing& listing, const StorageDescription& storage) {
  if (listing.disk == nullptr) return "there is no " + OneLine(listing.name) + '\n';
  const DiskDescription& disk = *listing.disk;
  if (listing.partitions.empty()) {
    if (disk.isRemovable)
      return listing.name + " has removable media: what lies on them is not listed\n";
    // What may lie there is named elsewhere.
    const bool isSeen =
        UnseenVolumesOn(listing, storage).empty() && TooLongOn(listing, storage).empty();
    if (!isSeen) return "nothing that can be listed on " + listing.name + '\n';
    const std::vector<std::string> holders = HolderNames(disk);
    if (!holders.empty())
      return "nothing on " + listing.name + "; it is held by " + Joined(holders) + '\n';
    return "nothing on " + listing.name + '\n';
  }
  std::vector<BarPart> parts;
  parts.reserve(listing.partitions.size());
  for (const CSystemPartition& partition : listing.partitions)
    parts.push_back({partition.m_StartSector, partition.m_SectorCount});
  std::string text = listing.name;
  if (disk.disk.sizeInBytes != 0) text += ", " + DiskSizeText(disk.disk.sizeInBytes);
  text += ", " + OneLine(disk.disk.deviceName);
  if (!disk.partitionTable.empty()) text += ", " + OneLine(disk.partitionTable);
  text += "\n\n" + DiskBar(parts, disk.disk.sizeInBytes / kSectorSize, kBarWidth) + '\n';
  return text + PartitionTable(listing.partitions, storage);
}

Json JsonOfListing(const DiskListing& listing, const StorageDescription& storage) {
  Json json = {{"device", listing.name}, {"found", listing.disk != nullptr}};
  if (listing.disk != nullptr) {
    json["node"] = listing.disk->disk.deviceName;
    json["size"] = listing.disk->disk.sizeInBytes;
    json["partitionTable"] = listing.disk->partitionTable;
  }
  json["partitions"] = Json::array();
  for (const CSystemPartition& partition : listing.partitions)
    json["partitions"].push_back(JsonOfPartition(partition, storage));
  json["unseen"] = Json::array();
  for (const UnseenVolume* const unseen : UnseenVolumesOn(listing, storage))
    json["unseen"].push_back({{"node", unseen->deviceName},
                              {"reason", HostErrorText(unseen->error)},
                              {"error", JsonOfHostError(unseen->error)}});
  for (const VolumeDescription* const volume : TooLongOn(listing, storage))
    json["unseen"].push_back(
        {{"node", volume->deviceName}, {"reason", LengthWords(*volume)}, {"error", nullptr}});
  return json;
}

std::vector<std::string> UnseenOn(const DiskListing& listing, const StorageDescription& storage) {
  std::vector<std::string> lines;
  const std::string begin = "cannot see what lies on " + listing.name + ": ";
  for (const UnseenVolume* const unseen : UnseenVolumesOn(listing, storage))
    lines.push_back(begin + OneLine(unseen->deviceName) + ": " + HostErrorWords(unseen->error));
  for (const VolumeDescription* const volume : TooLongOn(listing, storage))
    lines.push_back(begin + OneLine(volume->deviceName) + ' ' + LengthWords(*volume));
  return lines;
}

std::string UnreadOn(const DiskListing& listing, const StorageDescription& storage) {
  std::vector<const VolumeDescription*> unread;
  for (const CSystemPartition& partition : listing.partitions) {
    const VolumeDescription* const volume = FindVolume(storage, partition.m_VolumeName);
    if (volume != nullptr && volume->contentError != 0 &&
        std::ranges::find(unread, volume) == unread.end())
      unread.push_back(volume);
  }
  if (unread.empty()) return {};
  std::string line = "cannot read what is in " + OneLine(unread.front()->deviceName);
  if (unread.size() > 1) line += " and " + std::to_string(unread.size() - 1) + " more";
  return line + ": " + HostErrorWords(unread.front()->contentError);
}

std::string TextOfDisks(const std::vector<DiskDescription>& disks) {
  std::vector<Row> rows = {
      {"size", "disk", "device", "kind", "transport", "sectors", "model", "serial", "held by"}};
  for (const DiskDescription& disk : disks)
    rows.push_back({DiskSizeText(disk.disk.sizeInBytes), DiskName(disk),
                    OneLine(disk.disk.deviceName), KindText(disk), disk.transport, SectorText(disk),
                    OneLine(disk.model), OneLine(disk.serial), Joined(HolderNames(disk))});
  return TableText(rows, 1);
}

Json JsonOfDisk(const DiskDescription& disk) {
  Json holders = Json::array();
  for (const DiskHolder& holder : disk.holders)
    holders.push_back({{"node", holder.deviceName}, {"on", holder.on}});
  return {{"disk", DiskName(disk)},
          {"number", disk.disk.number},
          {"device", disk.disk.deviceName},
          {"size", disk.disk.sizeInBytes},
          {"model", disk.model},
          {"serial", disk.serial},
          {"transport", disk.transport},
          {"kind", disk.kind},
          {"removable", disk.isRemovable},
          {"readOnly", disk.isReadOnly},
          {"logicalSectorSize", disk.logicalSectorSize},
          {"physicalSectorSize", disk.physicalSectorSize},
          {"partitionTable", disk.partitionTable},
          {"holders", holders}};
}

}  // namespace Tool
