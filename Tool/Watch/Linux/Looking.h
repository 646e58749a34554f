#pragma once

#include <Ondrel/Drives.h>

namespace Tool::Watch {

/// What a monitor sees. Throws `WatchError` when the look is not whole: nothing is gone only
/// because it could not be seen.
Ondrel::Host::DriveSnapshot LookAtAll(Ondrel::Host::CDriveMonitor& monitor,
                                      const Ondrel::Host::DriveLook& look = {});

}  // namespace Tool::Watch
