#pragma once

#include "Host/Linux/Volumes/BlockDevices.h"

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace Ondrel::Host {

// How volumes come from block devices.
//
// A volume is a block device that can hold a file system and that nothing else is built on: a
// partition, a device of the device mapper or of the md driver, or a whole disk without partitions
// that does hold one. Where it lies is followed down to the disks: a partition is a part of its
// disk, the device mapper's tables say what a device is made of, and so do the members of an md
// device.

/// One line of a device mapper table. Positions are in sectors of 512 bytes.
struct MapperTarget {
  std::uint64_t start;
  std::uint64_t count;
  std::string type;        ///< "linear", "striped", "crypt", ...
  std::string parameters;  ///< As the target prints them.
};

/// What lies in a volume.
struct FileSystem {
  std::string type;  ///< Empty for nothing known.
  std::string label;
};

/// Where a picture of the volumes is taken from.
struct VolumeSources {
  /// All block devices as they are at the call.
  std::function<BlockDevices()> blockDevices;

  std::string mountTable;  ///< In the form of /proc/self/mountinfo.

  /// The table of a device of the device mapper; nothing when it may not be read.
  std::function<std::optional<std::vector<MapperTarget>>(const BlockDevice&)> mapperTable;

  /// What lies in a device; nothing when it may not be read.
  std::function<std::optional<FileSystem>(const BlockDevice&)> fileSystem;
};

/// The sources of this machine.
VolumeSources HostVolumeSources();

/// A part of a disk, in sectors of 512 bytes.
struct DiskPart {
  std::size_t disk;
  std::uint64_t start;
  std::uint64_t count;
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

  /// Where the device lies; nothing when that may not be read.
  std::optional<std::vector<DiskPart>> Parts(const BlockDevice& device) const;

  /// Where the device is mounted: whole file systems first, then parts of them.
  std::vector<std::string> MountPaths(const BlockDevice& device) const;

  /// What lies in the device; nothing when that may not be read.
  std::optional<FileSystem> Content(const BlockDevice& device) const;

  /// Whether the device lies on removable or optical media, wholly or in part.
  bool IsOnOpticalMedium(const BlockDevice& device) const;
  bool IsOnRemovableMedium(const BlockDevice& device) const;

  const BlockDevices& Devices() const { return m_devices; }

private:
  struct Range {
    const BlockDevice* device;
    std::uint64_t start;
    std::uint64_t count;
  };

  void ReadMounts();
  void AddVolumes();
  void AddVolume(const BlockDevice& device);
  bool IsVolumeAsAWhole(const BlockDevice& device) const;
  bool Resolve(const Range& range, int depth, std::vector<DiskPart>& parts) const;
  bool ResolveMapper(const Range& range, int depth, std::vector<DiskPart>& parts) const;
  bool ResolveTarget(const MapperTarget& target, const Range& range, int depth,
                     std::vector<DiskPart>& parts) const;
  bool ResolveArray(const Range& range, int depth, std::vector<DiskPart>& parts) const;
  bool ResolveSlaves(const BlockDevice& device, int depth, std::vector<DiskPart>& parts) const;
  bool AnyDisk(const BlockDevice& device, int depth,
               const std::function<bool(const BlockDevice&)>& holds) const;

  VolumeSources m_sources;
  BlockDevices m_devices;
  std::vector<std::string> m_names;
  std::unordered_map<std::string, std::string> m_deviceNames;              // By volume name.
  std::unordered_map<std::string, std::vector<std::string>> m_mountPaths;  // By device name.
};

}  // namespace Ondrel::Host
