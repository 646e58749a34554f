#include "Host/Linux/Volumes/DiskFacts.h"

#include <Ondrel/Disks.h>

namespace Ondrel::Host {

std::vector<Disk> Disks() {
  const BlockDevices devices = HostVolumeSources().blockDevices();
  std::vector<Disk> disks;
  for (const std::string& name : devices.Disks())
    disks.push_back(
        {static_cast<ULong>(disks.size()), NodePath(name), devices.Find(name)->size * kSectorSize});
  return disks;
}

StorageDescription DescribeStorage() { return DescribeStorage(VolumePicture(HostVolumeSources())); }

}  // namespace Ondrel::Host
