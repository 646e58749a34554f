#include "Host/VolumeTypes.h"

#include <Ondrel/Disks.h>

#include <cstddef>

namespace Ondrel::Host {

namespace {

// Numbers are given from 0 on and may have gaps where disks were taken out.
constexpr ULong kDiskNumbers = 256;

// 0 when the disk does not give it; the length needs rights that its geometry does not.
std::uint64_t SizeOf(HANDLE disk) {
  GET_LENGTH_INFORMATION length{};
  DWORD returned = 0;
  if (::DeviceIoControl(disk, IOCTL_DISK_GET_LENGTH_INFO, nullptr, 0, &length, sizeof length,
                        &returned, nullptr))
    return static_cast<std::uint64_t>(length.Length.QuadPart);
  // Partition data follows the geometry.
  alignas(DISK_GEOMETRY_EX) std::byte answer[1024] = {};
  if (!::DeviceIoControl(disk, IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, nullptr, 0, answer, sizeof answer,
                         &returned, nullptr))
    return 0;
  return static_cast<std::uint64_t>(
      reinterpret_cast<const DISK_GEOMETRY_EX*>(answer)->DiskSize.QuadPart);
}

}  // namespace

std::vector<Disk> Disks() {
  std::vector<Disk> disks;
  for (ULong number = 0; number < kDiskNumbers; ++number) {
    const std::string name = R"(\\.\PhysicalDrive)" + std::to_string(number);
    // No access is asked for: that is enough to hear of the disk, and everybody may.
    const HANDLE disk = ::CreateFileA(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (disk == INVALID_HANDLE_VALUE) continue;
    disks.push_back({number, name, SizeOf(disk)});
    ::CloseHandle(disk);
  }
  return disks;
}

}  // namespace Ondrel::Host
