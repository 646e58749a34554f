#pragma once

#include <Ondrel/Export.h>

#include <cstdint>
#include <string>

namespace Ondrel::Host {

/// Largest size of an event store that `UseEventStore` sets when it is not told another, in bytes.
inline constexpr std::uint64_t kDefaultEventStoreCapacity = std::uint64_t{64} * 1024 * 1024;

/// Smallest size that an event store can be held to, in bytes.
inline constexpr std::uint64_t kMinEventStoreCapacity = std::uint64_t{256} * 1024;

/// Chooses the event store that logs opened from now on live in.
///
/// On a host without a system event log of its own, events are kept in one database file, the event
/// store. `path` is that file; it is created with mode 0600 when the first log is opened, and its
/// folder must exist. A relative `path` counts from the folder that is current now. An empty one
/// goes back to the host's default, `/var/lib/ondrel/events.db`. `capacity` is the size in bytes at
/// which the oldest records make room for new ones.
///
/// Yields false, and changes nothing, when `capacity` is below `kMinEventStoreCapacity` or when the
/// host has an event log of its own (Windows). Logs that are open keep their store. Safe to call
/// from any thread.
ONDREL_API bool UseEventStore(const std::string& path,
                              std::uint64_t capacity = kDefaultEventStoreCapacity);

/// Path of the event store that a log opened now would use. Empty when the host has an event log of
/// its own.
ONDREL_API std::string EventStorePath();

/// Path of this library's own file, which is the message file of the events it writes: what
/// `CSystemLogReader_Win::GetMessageResources` takes. Empty when the host does not tell.
ONDREL_API std::string LibraryPath();

}  // namespace Ondrel::Host
