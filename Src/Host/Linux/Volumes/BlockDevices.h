#pragma once

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
  bool hasHolders = false;   ///< Whether another block device is built on it.
  bool isMapper = false;     ///< Whether the device mapper made it.
  bool isArray = false;      ///< Whether the md driver made it.
  std::string mapperName;    ///< The device mapper's name for it: "vg0-data".
  std::string arrayLevel;    ///< "raid1", "raid5", ...
  std::vector<std::string> slaves;          ///< What it is built on.
  std::vector<MemberExtent> members;        ///< Of an array: its working members.
  std::vector<std::string> partitionNames;  ///< By their numbers.

  bool IsPartition() const { return !disk.empty(); }
  bool IsOptical() const;

  /// Whether it is a disk only within the machine's memory or files, or built on other devices.
  bool IsVirtual() const;
};

/// All block devices of the host at one moment.
class BlockDevices {
public:
  /// Reads them below `sysfs` ("/sys"). What cannot be read is left out.
  explicit BlockDevices(const std::string& sysfs);

  /// Devices that are not partitions, by their numbers.
  const std::vector<std::string>& Whole() const { return m_whole; }

  /// Those of them that are disks of the machine. The place in the list is the disk's number.
  const std::vector<std::string>& Disks() const { return m_disks; }

  /// Number of a disk by its name; `Disks().size()` for a name that is not a disk's.
  std::size_t DiskNumber(const std::string& name) const;

  /// The device of this name or number; null when there is none.
  const BlockDevice* Find(const std::string& name) const;
  const BlockDevice* Find(DeviceNumber number) const;

private:
  void ReadDisk(const std::string& folder, const std::string& name);
  void ReadPartitions(const std::string& folder, BlockDevice& disk,
                      const std::vector<std::string>& entries);
  void Number();

  std::unordered_map<std::string, BlockDevice> m_devices;
  std::map<DeviceNumber, std::string> m_names;
  std::unordered_map<std::string, std::size_t> m_diskNumbers;
  std::vector<std::string> m_whole;
  std::vector<std::string> m_disks;
};

/// The node of a device below /dev; a slash in its name stands as "!" in the kernel's name.
std::string NodePath(const std::string& kernelName);

}  // namespace Ondrel::Host
