#include "Tool/Watch/Linux/Looking.h"

#include "Tool/HostErrors.h"
#include "Tool/Watch/Watch.h"

namespace Tool::Watch {

Ondrel::Host::DriveSnapshot LookAtAll(Ondrel::Host::CDriveMonitor& monitor,
                                      const Ondrel::Host::DriveLook& look) {
  Ondrel::Host::DriveSnapshot seen = monitor.Look(look);
  if (seen.error != 0)
    throw WatchError("cannot see all drives and arrays", HostErrorWords(seen.error));
  return seen;
}

}  // namespace Tool::Watch
