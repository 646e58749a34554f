#pragma once

#include "Host/Linux/EventLog/EventLogBackend.h"

#include <cstdint>
#include <memory>
#include <string>

/// The system event log on a host that has none: one SQLite database.
///
/// Every log has a name and its own record numbers, which rise by one and are never given again.
/// The database is in WAL mode with full synchronisation, so that a report that succeeded is on
/// disk, and several processes may write and read at the same time. At its capacity the oldest
/// records of all logs make room.
///
/// Every object here has a connection of its own, which a child process made by fork must not use.
/// Where the file was removed or replaced meanwhile, the next operation goes on with what stands at
/// its path, and creates it when nothing does.
namespace Ondrel::Host {

/// Which file, and how large it may become, in bytes.
struct EventStoreChoice {
  std::string path;
  std::uint64_t capacity;
};

/// Opens a log for reading; creates the store when it is missing. Null with the reason in `error`
/// when that fails.
std::unique_ptr<OpenedLog> OpenStoredLog(const EventStoreChoice& choice, const std::string& name,
                                         ULong& error);

/// Registers a source that writes to the log of its own name, as `OpenStoredLog`. A store that may
/// only be read is a failure.
std::unique_ptr<RegisteredSource> RegisterStoredSource(const EventStoreChoice& choice,
                                                       const std::string& source, ULong& error);

}  // namespace Ondrel::Host
