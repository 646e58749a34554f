#pragma once

#include "Host/Types.h"

#include <Ondrel/Drives.h>

#include <functional>
#include <string>

namespace Ondrel::Host {

/// The host operations on the statuses of drives and arrays.
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
};

/// The operations in force. A test may put another table in place; nothing else writes it.
DrivesOperations& Drives();

/// The operations as this host's provider gives them: `Linux/Drives/DrivesProvider.cpp` or
/// `Win32/DrivesProvider.cpp`.
DrivesOperations MakeDrivesOperations();

}  // namespace Ondrel::Host
