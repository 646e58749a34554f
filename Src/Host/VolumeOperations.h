#pragma once

#include "Host/VolumeTypes.h"

#include <functional>
#include <memory>

namespace Ondrel::Host {

/// The host operations on the volumes that its volume manager shows.
///
/// Names, argument orders and meanings are those of the Win32 functions; what is written here is
/// what a provider has to keep. Every operation that fails sets the calling thread's last error, in
/// the published Win32 numbering. Volume names and mount point folders end in a backslash. Sizes of
/// text buffers count characters, the closing zero included; an answer that does not fit is a
/// failure, and an answer is always zero-terminated. Wide text has the width of `wchar_t`.
struct VolumeOperations {
  /// From here on until the object that it yields is given up, by the same thread, this thread's
  /// operations may answer from one picture of the volumes, which its last `FindFirstVolumeA` took:
  /// a walk and what is asked after it see one state of the host. Not one of the Win32 functions;
  /// absent where the host is asked anew each time.
  std::function<std::shared_ptr<void>()> KeepPicture;

  /// Sets the error mode of the process and yields the former one. With `SEM_FAILCRITICALERRORS` no
  /// operation waits for a person to insert a medium.
  std::function<ULong(ULong mode)> SetErrorMode;

  /// Starts a walk over all volumes of the host with the first one's name. Yields a handle, or
  /// `INVALID_HANDLE_VALUE`.
  std::function<void*(char* name, ULong size)> FindFirstVolumeA;

  /// The next volume's name. Zero at the end (18) or on failure.
  std::function<int(void* walk, char* name, ULong size)> FindNextVolumeA;

  /// Ends the walk. Non-zero on success.
  std::function<int(void* walk)> FindVolumeClose;

  /// Opens a volume by its name less the closing backslash. Yields a handle, or
  /// `INVALID_HANDLE_VALUE`.
  std::function<void*(const char* name, ULong access, ULong shareMode, void* security,
                      ULong disposition, ULong flags, void* templateFile)>
      CreateFileA;

  /// Asks an open volume. For `IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS` the answer is a
  /// `VOLUME_DISK_EXTENTS` with all extents of the volume; where `outputSize` is too small for them
  /// it fails with 234. Non-zero on success, with the answer's size in `bytesReturned`.
  std::function<int(void* volume, ULong controlCode, void* input, ULong inputSize, void* output,
                    ULong outputSize, ULong* bytesReturned, void* overlapped)>
      DeviceIoControl;

  /// Gives a volume's handle back. Non-zero on success.
  std::function<int(void* handle)> CloseHandle;

  /// The device path that a device's name stands for: a volume name without its leading `\\?\`, or
  /// a letter with a colon. The answer is a list of zero-terminated texts of which the first is the
  /// one in force. Yields the characters stored, 0 on failure.
  std::function<ULong(const char* deviceName, char* path, ULong size)> QueryDosDeviceA;

  /// The paths at which a volume is mounted, as a list of zero-terminated texts with an empty one
  /// at its end. Non-zero on success; fails with 234 and the size needed in `returnedSize` when
  /// they do not fit.
  std::function<int(const wchar_t* volumeName, wchar_t* paths, ULong size, ULong* returnedSize)>
      GetVolumePathNamesForVolumeNameW;

  /// Starts a walk over the folders of a volume at which other volumes are mounted, relative to the
  /// volume's root. Yields a handle, or `INVALID_HANDLE_VALUE`.
  std::function<void*(const char* volumeName, char* folder, ULong size)> FindFirstVolumeMountPointA;

  /// The next such folder. Zero at the end (18) or on failure.
  std::function<int(void* walk, char* folder, ULong size)> FindNextVolumeMountPointA;

  /// Ends that walk. Non-zero on success.
  std::function<int(void* walk)> FindVolumeMountPointClose;

  /// The name of the volume that is mounted at a path with a closing backslash. Non-zero on
  /// success.
  std::function<int(const char* mountPoint, char* volumeName, ULong size)>
      GetVolumeNameForVolumeMountPointA;

  /// Widens `length` bytes of text (-1: up to its zero, which is taken along) from a code page.
  /// Yields the wide characters written, 0 on failure.
  std::function<int(ULong codePage, ULong flags, const char* text, int length, wchar_t* wide,
                    int wideSize)>
      MultiByteToWideChar;

  /// The label and the file system's name of a volume. `serialNumber`, `maxNameLength` and
  /// `fileSystemFlags` may be null. Non-zero on success; a volume without a label gives the empty
  /// one.
  std::function<int(const wchar_t* volumeName, wchar_t* label, ULong labelSize, ULong* serialNumber,
                    ULong* maxNameLength, ULong* fileSystemFlags, wchar_t* fileSystem,
                    ULong fileSystemSize)>
      GetVolumeInformationW;

  /// The kind of drive that a volume lies on: `DRIVE_FIXED` for disks that stay in the machine.
  std::function<ULong(const char* volumeName)> GetDriveTypeA;

  /// Reason of the calling thread's last failed operation.
  std::function<ULong()> GetLastError;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
VolumeOperations& Volume();

/// The operations as this host's provider gives them: `Linux/Volumes/VolumeProvider.cpp` or
/// `Win32/VolumeProvider.cpp`.
VolumeOperations MakeVolumeOperations();

}  // namespace Ondrel::Host
