#pragma once

#include "Host/Types.h"

#include <Ondrel/Drives.h>
#include <Ondrel/NVMeDevices.h>

#include <functional>
#include <string>

namespace Ondrel::Host {

/// The host operations on the statuses of drives and arrays, and on what is known of NVMe devices.
///
/// On a host that has none, all members are empty. The watch that `Open` yields belongs to one
/// thread at a time. None of the operations throws but for want of memory.
struct DrivesOperations {
  /// Begins to watch. The caller gives the watch back with `Close`. Never null.
  std::function<void*()> Open;

  /// The drives and arrays as they are now. Health is left unasked.
  std::function<DriveSnapshot(void* watch)> Look;

  /// A descriptor that is readable when something may have changed; -1 when notifications are not
  /// to be had. Belongs to the watch.
  std::function<int(void* watch)> Descriptor;

  /// Takes what is pending at the descriptor. False when notifications may have been lost.
  std::function<bool(void* watch)> TakeNotifications;

  /// Asks the NVMe drive at the node `device` ("/dev/nvme0") to notify of all critical warnings.
  /// Yields 0 or the host's error number.
  std::function<ULong(const std::string& device)> ArmHealthEvents;

  std::function<void(void* watch)> Close;

  /// The NVMe controllers and namespaces as they are now. Asks no device.
  std::function<NVMeDevices()> ListNVMeDevices = nullptr;

  /// Finds the namespace that the node `device` stands for. Yields 0, or the host's error number
  /// and leaves `id` as it was: 1 for a node that is not a namespace.
  std::function<ULong(const char* device, ULong& id)> FindNVMeNamespaceId = nullptr;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
DrivesOperations& Drives();

/// The operations as this host's provider gives them: `Linux/Drives/DrivesProvider.cpp` or
/// `Win32/DrivesProvider.cpp`.
DrivesOperations MakeDrivesOperations();

}  // namespace Ondrel::Host
