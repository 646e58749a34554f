#pragma once

#include <cstddef>
#include <ctime>
#include <span>

namespace Ondrel::Host {

/// Breaks a time down by the zone rules in force at the call. False when it cannot be shown. The
/// C library's zone is shared state: this library's threads take turns.
bool BreakDownLocally(std::time_t time, std::tm& local);

/// The same for several times, by the same rules. Yields how many could be shown, from the first
/// on.
std::size_t BreakDownAllLocally(std::span<const std::time_t> times, std::tm* locals);

/// Seconds by which the zone's standard time lies west of UTC.
long StandardTimeWestOfUtc();

/// Whether the zone knows daylight time.
bool HasDaylightTime();

}  // namespace Ondrel::Host
