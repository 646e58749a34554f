#pragma once

#include "Host/EventHistory.h"
#include "Host/Types.h"

#include <memory>
#include <string>

namespace Ondrel::Host {

/// Watches the file of an event store, also where it is not there yet; its folder has to be.
std::unique_ptr<EventSignal> WatchStore(const std::string& path, ULong& error);

/// Watches the journal of this machine, or journal files where `path` is not empty.
std::unique_ptr<EventSignal> WatchJournal(const std::string& path, ULong& error);

}  // namespace Ondrel::Host
