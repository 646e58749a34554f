#pragma once

#include "Host/Linux/Volumes/VolumePicture.h"

#include <Ondrel/Disks.h>

namespace Ondrel::Host {

/// What the kernel and the device manager know of a disk of the machine.
DiskDescription DescribeDisk(const VolumePicture& picture, const BlockDevice& disk);

/// All disks and volumes of a picture.
StorageDescription DescribeStorage(const VolumePicture& picture);

}  // namespace Ondrel::Host
