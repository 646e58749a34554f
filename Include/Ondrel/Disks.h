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
/// On Linux these are all whole disks by their major and minor device numbers, without the virtual
/// ones (loop, ram, zram, device mapper, md). A disk that comes or goes may change the numbers of
/// those after it. Any thread may ask; nothing is kept from call to call.
ONDREL_API std::vector<Disk> Disks();

}  // namespace Ondrel::Host
