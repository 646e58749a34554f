#pragma once

#include <Ondrel/Export.h>

#include <cstdint>
#include <string>

namespace Ondrel::Host {

/// Largest size of an event store that `UseEventStore` sets when it is not given another, in bytes.
inline constexpr std::uint64_t kDefaultEventStoreCapacity = std::uint64_t{64} * 1024 * 1024;

/// Smallest size that an event store can be held to, in bytes.
inline constexpr std::uint64_t kMinEventStoreCapacity = std::uint64_t{256} * 1024;

/// Chooses the event store for the logs opened from now on.
///
/// On a host without a system event log of its own, events are kept in one database file, the event
/// store. `path` is that file; it is created with mode 0600 when the first log is opened, and its
/// folder must exist. A relative `path` counts from the folder that is current now; an empty one
/// means the host's default, `/var/lib/ondrel/events.db`. `capacity` is the size in bytes at which
/// the oldest records make room for new ones.
///
/// Returns false, and changes nothing, when `capacity` is below `kMinEventStoreCapacity` or when
/// the host has an event log of another kind only (Windows). Logs that are open stay where they
/// are. Safe to call from any thread, as the operations below.
ONDREL_API bool UseEventStore(const std::string& path,
                              std::uint64_t capacity = kDefaultEventStoreCapacity);

/// Chooses the systemd journal for the logs opened from now on. There is one journal: every log
/// name opens it. Returns false, and changes nothing, when no journal takes entries on this host.
ONDREL_API bool UseJournal();

/// Goes back to the host's own choice, which is also the one at the start: the journal where
/// one takes entries, else the event store at its default path.
ONDREL_API void UseHostEventLog();

/// Path of the event store that a log opened now would use. Empty when it would use another kind of
/// event log.
ONDREL_API std::string EventStorePath();

/// Path of this library's own file, which is the message file of the events it writes: what
/// `CSystemLogReader_Win::GetMessageResources` takes. Empty when the host does not report it.
ONDREL_API std::string LibraryPath();

/// Restarts this machine at once and says why it does not: what `CSystem::Reboot` does, for a
/// program that has to report a refusal.
///
/// On Linux the login manager is asked; it shows `message` to the users and in the journal. Only
/// when it does not restart the machine and `isForced` holds, the restart call of the kernel is
/// made, which stops no service and shows nothing. On Windows `message` is shown to the users and
/// `isForced` makes no difference.
///
/// Yields an empty text once the machine restarts, else why it does not.
ONDREL_API std::string Restart(const std::string& message, bool isForced);

}  // namespace Ondrel::Host
