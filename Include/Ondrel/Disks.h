#pragma once

#include <Ondrel/Export.h>
#include <Ondrel/Types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Ondrel::Host {

/// A disk of this machine.
struct Disk {
  ULong number;               ///< Its number in the name "Disk N" of `CSystemPartitionTable`.
  std::string deviceName;     ///< The device's own name, as in "/dev/sda" and `\\.\PhysicalDrive0`.
  std::uint64_t sizeInBytes;  ///< 0 when there is no medium or when it may not be read.
};

/// The disks of this machine in the order of their numbers.
///
/// On Linux these are the whole disks with hardware of their own: fixed ones by their major and
/// minor device numbers, then those with removable media. What has none (loop, ram, zram, nbd,
/// zvol) or is built on other devices (device mapper, md, bcache) has no number, and neither have
/// the boot areas of a memory chip. A disk that comes or goes may change the numbers of those after
/// it. Any thread may ask; nothing is kept from call to call.
ONDREL_API std::vector<Disk> Disks();

/// A device that is built on a disk.
struct DiskHolder {
  std::string deviceName;  ///< "/dev/mapper/vg0-data", "/dev/md0".
  std::string on;          ///< What of the disk it is built on: "/dev/sda2", or the disk itself.
};

/// What is known of a disk. Texts are UTF-8 and empty where the host does not give them.
struct DiskDescription {
  Disk disk;           ///< Its number, device and size.
  std::string model;   ///< As the disk names itself, without the spaces around it.
  std::string serial;  ///< The disk's serial number, without the spaces around it.
  /// How it is connected: "nvme", "ata", "sas", "usb", "virtio", "scsi", "mmc", ...
  std::string transport;
  std::string kind;  ///< "solid state", "hard disk", "optical", "floppy"; "disk" if unknown.
  std::string partitionTable;       ///< "gpt", "dos"; empty for none or when it may not be read.
  bool isRemovable = false;         ///< Whether its medium can be taken out.
  bool isReadOnly = false;          ///< Whether nothing can be written on it.
  ULong logicalSectorSize = 0;      ///< In bytes; 0 when it is not known.
  ULong physicalSectorSize = 0;     ///< In bytes; 0 when it is not known.
  std::vector<DiskHolder> holders;  ///< Linux only.
};

/// A part of a disk that a volume lies on.
struct VolumeExtent {
  ULong disk;                 ///< The disk's number.
  std::uint64_t startSector;  ///< In units of 512 bytes on every disk.
  std::uint64_t sectorCount;  ///< In units of 512 bytes on every disk.
};

/// What is known of a volume. Texts are UTF-8 and empty where there is none.
struct VolumeDescription {
  std::string name;        ///< As `CSystemPartition::m_VolumeName` gives it.
  std::string deviceName;  ///< "/dev/sda1", "/dev/mapper/vg0-data"; on Windows the device's path.
  /// What it is: "part", "disk", "lvm", "crypt", "mpath", "dm", "raid1", "bcache"; on Windows
  /// empty.
  std::string kind;
  std::string partitionType;  ///< Of a partition: its type, "0x83" or a GUID.
  std::string partitionName;  ///< Of a partition: its name in a GPT.
  ULong contentError = 0;  ///< Why what lies in it cannot be read, or 0; else the next three hold.
  std::string fileSystem;  ///< "ext4", "NTFS", ...
  std::string uuid;        ///< The file system's; on Windows its serial number, as in "1A2B-3C4D".
  std::string label;       ///< The file system's.
  std::vector<std::string> mountPaths;  ///< All of them, whole file systems first.
  std::vector<VolumeExtent> extents;    ///< All of them, however many.
};

/// Something that may lie on a disk and cannot be seen.
struct UnseenVolume {
  std::string deviceName;    ///< As `VolumeDescription::deviceName`; on Windows the volume's name.
  std::vector<ULong> disks;  ///< The disks that it lies on; empty when not even that is known.
  ULong error;               ///< Why, in the published last-error numbering.
};

/// The disks of this machine and what lies on them, at one moment.
struct StorageDescription {
  std::vector<DiskDescription> disks;      ///< In the order of their numbers.
  std::vector<VolumeDescription> volumes;  ///< In the order in which the host gives them.
  std::vector<UnseenVolume> unseen;        ///< What is not among the volumes.
  ULong error = 0;  ///< Why disks may be missing, in the published last-error numbering; 0 if not.
};

/// Looks at all disks and volumes. What `CSystemPartitionTable` leaves out in silence is named
/// here. Any thread may ask; nothing is kept from call to call.
ONDREL_API StorageDescription DescribeStorage();

}  // namespace Ondrel::Host
