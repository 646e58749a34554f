#pragma once

#include "Host/VolumeOperations.h"

#include <Ondrel/Disks.h>

namespace Ondrel::Host {

/// What Windows knows of a disk.
DiskDescription DescribeDisk(const Disk& disk);

/// All disks, and all volumes that these operations show.
StorageDescription DescribeStorage(const VolumeOperations& host);

}  // namespace Ondrel::Host
