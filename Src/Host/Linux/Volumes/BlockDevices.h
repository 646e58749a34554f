#pragma once

#include "Host/Types.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Ondrel::Host {

/// The unit in which the kernel counts, whatever the disk's own sectors are.
inline constexpr std::uint64_t kSectorSize = 512;

/// A block device's number: major and minor.
using DeviceNumber = std::pair<unsigned, unsigned>;

/// One member of an array of the kernel's md driver: what of it holds the array's data.
struct MemberExtent {
  std::string device;   ///< The member's kernel name.
  std::uint64_t start;  ///< In sectors of 512 bytes from the member's start.
  std::uint64_t count;
};

/// One block device as sysfs shows it. Sizes are in sectors of 512 bytes.
struct BlockDevice {
  std::string name;  ///< The kernel's name: "sda1", "dm-0".
  DeviceNumber number;
  std::uint64_t size = 0;
  std::string disk;          ///< Of a partition: the device that it is a part of; else empty.
  unsigned partition = 0;    ///< Of a partition: its number.
  std::uint64_t start = 0;   ///< Of a partition: where it starts.
  bool isRemovable = false;  ///< Whether the medium can be taken out.
  bool hasDevice = false;    ///< Whether a piece of hardware of its own stands for it.
  bool isMapper = false;     ///< Whether the device mapper made it.
  bool isArray = false;      ///< Whether the md driver made it.
  std::string mapperName;    ///< The device mapper's name for it: "vg0-data".
  std::string mapperId;      ///< The device mapper's identifier: "LVM-...", "CRYPT-LUKS2-...".
  std::string arrayLevel;    ///< "raid1", "raid5", ...
  std::string cached;        ///< Of a bcache device: the device that holds its data.
  std::string pool;          ///< Identifier of the mounted btrfs that it is a device of, or empty.
  std::vector<std::string> holders;         ///< What is built on it.
  std::vector<std::string> slaves;          ///< What it is built on.
  std::vector<MemberExtent> members;        ///< Of an array: its working members.
  std::vector<std::string> partitionNames;  ///< By their numbers.

  bool IsPartition() const { return !disk.empty(); }
  bool IsOptical() const;
  bool IsFloppy() const;

  /// Whether it is built on other devices.
  bool IsBuilt() const { return isMapper || isArray || !cached.empty() || !slaves.empty(); }

  /// Whether it is a disk of the machine: not a partition, with hardware of its own, and not built
  /// on others.
  bool IsDisk() const { return !IsPartition() && hasDevice && !IsBuilt(); }

  /// Whether it is a disk whose medium stays in the machine.
  bool IsFixedDisk() const { return IsDisk() && !isRemovable && !IsOptical() && !IsFloppy(); }
};

/// All block devices of the host at one moment.
class BlockDevices {
public:
  /// Reads them below `sysfs` ("/sys"). What cannot be read is left out.
  explicit BlockDevices(const std::string& sysfs);

  /// Why the devices, or some of them, could not be read, in the published Win32 numbering; 0 when
  /// all could.
  ULong Error() const { return m_error; }

  /// The folder in which a device stands; of a partition that of its disk is the one above.
  std::string Folder(const BlockDevice& device) const;

  /// Devices that are not partitions, by their numbers.
  const std::vector<std::string>& Whole() const { return m_whole; }

  /// Those of them that are disks of the machine: fixed ones, then those with media that can be
  /// taken out. The place in the list is the disk's number.
  const std::vector<std::string>& Disks() const { return m_disks; }

  /// Number of a disk by its name; `Disks().size()` for a name that is not a disk's.
  std::size_t DiskNumber(const std::string& name) const;

  /// The device of this name or number; null when there is none.
  const BlockDevice* Find(const std::string& name) const;
  const BlockDevice* Find(DeviceNumber number) const;

  /// The names of all devices of a mounted btrfs, by its identifier.
  const std::vector<std::string>& Pool(const std::string& identifier) const;

private:
  bool IsAreaOfAnotherDisk(const std::string& folder) const;
  void ReadDisk(const std::string& name);
  void ReadPartitions(const std::string& folder, BlockDevice& disk,
                      const std::vector<std::string>& entries);
  void ReadPools(const std::string& folder);
  void Number();

  std::string m_folder;
  ULong m_error = 0;
  std::unordered_map<std::string, BlockDevice> m_devices;
  std::map<DeviceNumber, std::string> m_names;
  std::unordered_map<std::string, std::size_t> m_diskNumbers;
  std::unordered_map<std::string, std::vector<std::string>> m_pools;
  std::vector<std::string> m_whole;
  std::vector<std::string> m_disks;
};

/// The node of a device below /dev; a slash in its name stands as "!" in the kernel's name.
std::string NodePath(const std::string& kernelName);

/// The node by which people know a device: below /dev/mapper for those of the device mapper.
std::string DisplayPath(const BlockDevice& device);

}  // namespace Ondrel::Host
