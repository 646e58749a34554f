#pragma once

#include "Host/DeviceTypes.h"

#include <functional>

namespace Ondrel::Host {

/// The host operations on devices that are opened by name.
///
/// Names, argument orders and meanings are those of the Win32 functions; what is written here is
/// what a provider has to keep. Every operation that fails sets the calling thread's last error, in
/// the published Win32 numbering. Different handles may be used by different threads at the same
/// time. A handle that is not (or no longer) open is a failure with 6, never a crash.
struct DeviceOperations {
  /// Opens the device `name` for `access` (generic read and write bits). Yields a handle for the
  /// operations below, or `INVALID_HANDLE_VALUE`. Whether a device that is open already can be
  /// opened again is the host's decision, as is what `shareMode` changes about it.
  std::function<void*(const char* name, ULong access, ULong shareMode, void* security,
                      ULong disposition, ULong flags, void* templateFile)>
      CreateFileA;

  /// Asks the device, and waits for its answer (`overlapped` is null). `input` and `output` may be
  /// the same memory. Non-zero on success, with the bytes written to `output` in `bytesReturned`;
  /// never more than `outputSize`. For `IOCTL_STORAGE_QUERY_PROPERTY` the answer to a query of the
  /// NVMe protocol is a `STORAGE_PROTOCOL_DATA_DESCRIPTOR` with `Version` and `Size` 48, and the
  /// data after it.
  std::function<int(void* device, ULong controlCode, void* input, ULong inputSize, void* output,
                    ULong outputSize, ULong* bytesReturned, void* overlapped)>
      DeviceIoControl;

  /// Gives a handle back. Non-zero on success.
  std::function<int(void* handle)> CloseHandle;

  /// Reason of the calling thread's last failed operation.
  std::function<ULong()> GetLastError;

  /// The status, without its phase tag, with which an NVMe controller refused the calling thread's
  /// last `CreateFileA` or `DeviceIoControl`; 0 when that did not end so. Absent on a host that
  /// does not report it; its name is not one of Win32.
  std::function<std::uint16_t()> LastNVMeStatus = nullptr;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
DeviceOperations& Device();

/// The operations as this host's provider gives them: `Linux/Devices/DeviceProvider.cpp` or
/// `Win32/DeviceProvider.cpp`.
DeviceOperations MakeDeviceOperations();

}  // namespace Ondrel::Host
