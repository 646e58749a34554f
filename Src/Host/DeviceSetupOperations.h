#pragma once

#include "Host/DeviceSetupTypes.h"

#include <functional>

namespace Ondrel::Host {

/// The host's list of devices. Names, argument orders and meanings are those of the Win32
/// functions; what is written here is what a provider has to keep. An operation that fails yields 0
/// and sets the calling thread's last error. Different sets may be used by different threads.
struct DeviceSetupOperations {
  /// Takes the devices that `flags` ask for: 14 means all devices of all classes that are present
  /// in the current hardware profile. Class, enumerator and window are null. Yields a set, which is
  /// given back by `SetupDiDestroyDeviceInfoList`, or `INVALID_HANDLE_VALUE`. A host without such
  /// devices yields an empty set.
  std::function<void*(const GUID* classGuid, const char* enumerator, void* window, DWORD flags)>
      SetupDiGetClassDevsA;

  /// The device at `index`, counted from 0, into `device`, whose size is set by the caller. Fails
  /// with 259 at the end of the set.
  std::function<int(void* set, DWORD index, SP_DEVINFO_DATA* device)> SetupDiEnumDeviceInfo;

  /// Reads a property of a device into `buffer`. Texts end with a zero byte, lists of texts with
  /// two; numbers have four bytes. `type` and `needed` may be null. Fails with 13 where the device
  /// does not have the property, with 122 where it does not fit into `size` bytes.
  std::function<int(void* set, SP_DEVINFO_DATA* device, DWORD property, DWORD* type,
                    unsigned char* buffer, DWORD size, DWORD* needed)>
      SetupDiGetDeviceRegistryPropertyA;

  /// Gives a set back.
  std::function<int(void* set)> SetupDiDestroyDeviceInfoList;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
DeviceSetupOperations& DeviceSetup();

/// The operations as this host's provider gives them: `Linux/Devices/DeviceSetupProvider.cpp` or
/// `Win32/DeviceSetupProvider.cpp`.
DeviceSetupOperations MakeDeviceSetupOperations();

}  // namespace Ondrel::Host
