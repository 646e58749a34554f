#pragma once

#include "Host/Linux/Volumes/BlockDevices.h"
#include "Host/Linux/Volumes/MapperTargets.h"
#include "Host/Linux/Volumes/Mounts.h"

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace Ondrel::Host {

// How volumes come from block devices.
//
// A volume is a block device that can hold a file system and that nothing else is built on: a
// partition, a device that is built on others (by the device mapper, the md driver or bcache), or a
// whole disk without partitions that does hold one. Where it lies is followed down to the disks: a
// partition is a part of its disk, the device mapper's tables say what a device is made of, and so
// do the members of an md device.

/// What lies in a volume.
struct FileSystem {
  std::string type;  ///< Empty for nothing known.
  std::string label;
  std::string uuid = {};
};

/// What the partition table of a disk says of a partition.
struct PartitionEntry {
  std::string scheme;  ///< "dos", "gpt", ...
  std::string type;    ///< "0x83", or a GUID.
  std::string name = {};
  std::string uuid = {};
};

/// Where a picture of the volumes is taken from.
struct VolumeSources {
  /// All block devices as they are at the call.
  std::function<BlockDevices()> blockDevices;

  std::string mountTable;  ///< In the form of /proc/self/mountinfo.

  /// The table of a device of the device mapper. Nothing, with the last error set, when it may not
  /// be read.
  std::function<std::optional<std::vector<MapperTarget>>(const BlockDevice&)> mapperTable;

  /// What lies in a device. Nothing, with the last error set, when it may not be read.
  std::function<std::optional<FileSystem>(const BlockDevice&)> fileSystem;

  /// What the partition table says of a partition. Nothing, with the last error set, when it may
  /// not be read.
  std::function<std::optional<PartitionEntry>(const BlockDevice&)> partitionEntry;

  /// What the device manager has written down of a device under a key such as "ID_MODEL_ENC",
  /// decoded; nothing where it has not, or where there is none.
  std::function<std::optional<std::string>(const BlockDevice&, const char* key)> property;
};

/// The sources of this machine.
VolumeSources HostVolumeSources();

/// `VolumeSources::mapperTable` of this machine.
std::optional<std::vector<MapperTarget>> ReadMapperTable(const BlockDevice& device);

/// A part of a disk, in sectors of 512 bytes.
struct DiskPart {
  std::size_t disk;
  std::uint64_t start;
  std::uint64_t count;
};

/// A disk of which it cannot be seen whether it is a volume.
struct UnseenDisk {
  std::string device;  ///< The kernel's name.
  ULong error;         ///< Why its content could not be read.
};

/// All volumes of the host at one moment.
class VolumePicture {
public:
  explicit VolumePicture(VolumeSources sources);

  /// The volumes' names, as in `\\?\sda1\` and `\\?\mapper\vg0-data\`: disks in the order of their
  /// numbers with their partitions, then what is built on them.
  const std::vector<std::string>& Names() const { return m_names; }

  /// The block device of a volume name with or without its closing backslash; null for none.
  const BlockDevice* Find(const std::string& volumeName) const;

  /// Where the device lies. Nothing, with the last error set, when that may not be read.
  std::optional<std::vector<DiskPart>> Parts(const BlockDevice& device) const;

  /// The numbers of the disks beneath the device, in rising order; known of every device.
  std::vector<std::size_t> DisksBeneath(const BlockDevice& device) const;

  /// Where the device is mounted: whole file systems first, then parts of them, both from the
  /// oldest mount to the newest.
  std::vector<std::string> MountPaths(const BlockDevice& device) const;

  /// What lies in the device. Nothing, with the last error set, when that may not be read.
  std::optional<FileSystem> Content(const BlockDevice& device) const;

  /// Whether the device lies on removable or optical media, wholly or in part.
  bool IsOnOpticalMedium(const BlockDevice& device) const;
  bool IsOnRemovableMedium(const BlockDevice& device) const;

  const BlockDevices& Devices() const { return m_devices; }
  const VolumeSources& Sources() const { return m_sources; }

  /// Disks that may be volumes, which nobody may see.
  const std::vector<UnseenDisk>& UnseenDisks() const { return m_unseenDisks; }

private:
  struct Range {
    const BlockDevice* device;
    std::uint64_t start;
    std::uint64_t count;
  };

  void AddVolumes();
  void AddVolumesOf(const BlockDevice& device);
  void AddVolume(const BlockDevice& device);
  bool IsVolumeAsAWhole(const BlockDevice& device);
  bool IsExtended(const BlockDevice& partition) const;
  bool Resolve(const Range& range, int depth, std::vector<DiskPart>& parts) const;
  bool ResolveMapper(const Range& range, int depth, std::vector<DiskPart>& parts) const;
  bool ResolveTarget(const MapperTarget& target, const Range& range, int depth,
                     std::vector<DiskPart>& parts) const;
  bool ResolveArray(const Range& range, int depth, std::vector<DiskPart>& parts) const;
  bool ResolveCached(const Range& range, int depth, std::vector<DiskPart>& parts) const;
  bool ResolveSlaves(const BlockDevice& device, int depth, std::vector<DiskPart>& parts) const;
  bool AnyDisk(const BlockDevice& device, int depth,
               const std::function<bool(const BlockDevice&)>& holds) const;

  VolumeSources m_sources;
  BlockDevices m_devices;
  Host::MountPaths m_mountPaths;
  std::vector<std::string> m_names;
  std::unordered_map<std::string, std::string> m_deviceNames;  // By volume name.
  std::vector<UnseenDisk> m_unseenDisks;
};

}  // namespace Ondrel::Host
