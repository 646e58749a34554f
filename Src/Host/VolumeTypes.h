#pragma once

#include "Host/Types.h"

#include <string_view>

/// The published records and constants of the volume operations.

#if defined(_WIN32)

#include <winioctl.h>

#else

namespace Ondrel {

union LARGE_INTEGER {
  std::int64_t QuadPart;
};

/// One contiguous part of a volume.
struct DISK_EXTENT {
  DWORD DiskNumber;              ///< Number of the disk that it lies on.
  LARGE_INTEGER StartingOffset;  ///< Bytes from the disk's beginning.
  LARGE_INTEGER ExtentLength;    ///< Bytes.
};

/// Where a volume lies. `Extents` goes on as far as `NumberOfDiskExtents` says.
struct VOLUME_DISK_EXTENTS {
  DWORD NumberOfDiskExtents;
  DISK_EXTENT Extents[1];
};

inline constexpr DWORD IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS = 0x560000;

inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;

inline constexpr DWORD SEM_FAILCRITICALERRORS = 1;

inline constexpr DWORD DRIVE_UNKNOWN = 0;
inline constexpr DWORD DRIVE_NO_ROOT_DIR = 1;
inline constexpr DWORD DRIVE_REMOVABLE = 2;
inline constexpr DWORD DRIVE_FIXED = 3;
inline constexpr DWORD DRIVE_CDROM = 5;

inline constexpr DWORD ERROR_NO_MORE_FILES = 18;

}  // namespace Ondrel

#endif

namespace Ondrel::Host {

/// What the name of every volume starts with.
inline constexpr std::string_view kVolumeNamePrefix = R"(\\?\)";

}  // namespace Ondrel::Host

namespace Ondrel {

static_assert(sizeof(DISK_EXTENT) == 24);
static_assert(offsetof(DISK_EXTENT, DiskNumber) == 0);
static_assert(offsetof(DISK_EXTENT, StartingOffset) == 8);
static_assert(offsetof(DISK_EXTENT, ExtentLength) == 16);

static_assert(sizeof(VOLUME_DISK_EXTENTS) == 32);
static_assert(offsetof(VOLUME_DISK_EXTENTS, NumberOfDiskExtents) == 0);
static_assert(offsetof(VOLUME_DISK_EXTENTS, Extents) == 8);

static_assert(IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS == 0x560000);

}  // namespace Ondrel
