#pragma once

#include "Host/TimeTypes.h"

#include <functional>

namespace Ondrel::Host {

/// The host's calendar. Names, argument orders and meanings are those of the Win32 functions. A
/// function that fails yields 0 and leaves its output alone; a null zone is the host's own.
struct TimeOperations {
  /// The calendar time in UTC of a file time. Fails for counts from 2^63.
  std::function<int(const FILETIME* fileTime, SYSTEMTIME* universal)> FileTimeToSystemTime;

  /// The file time of a calendar time. Fails for a date that does not exist; the day of the week is
  /// not looked at.
  std::function<int(const SYSTEMTIME* universal, FILETIME* fileTime)> SystemTimeToFileTime;

  /// From UTC to the zone's local time.
  std::function<int(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal,
                    SYSTEMTIME* local)>
      SystemTimeToTzSpecificLocalTime;

  /// From the zone's local time to UTC. Of an hour that is repeated the first is meant; one that is
  /// left out counts as daylight time. Absent where the host does not have it.
  std::function<int(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* local,
                    SYSTEMTIME* universal)>
      TzSpecificLocalTimeToSystemTime;

  /// From local time to UTC by what is in force now, whatever the date.
  std::function<int(const FILETIME* local, FILETIME* universal)> LocalFileTimeToFileTime;

  /// The host's zone: at least `Bias` and both biases on top. Yields what is in force now: 0 in a
  /// zone without changes, 1 standard time, 2 daylight time; all bits set on failure.
  std::function<ULong(TIME_ZONE_INFORMATION* zone)> GetTimeZoneInformation;

  /// With class 3 the time of the host's start and the current time, as two 64-bit counts of 100
  /// nanoseconds, in the first 16 of 32 bytes. 0 on success. Absent where the host does not have
  /// it.
  std::function<std::int32_t(int informationClass, void* information, ULong length,
                             ULong* returned)>
      NtQuerySystemInformation;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
TimeOperations& Time();

/// The operations as this host's provider gives them: `Linux/Time/TimeProvider.cpp` or
/// `Win32/TimeProvider.cpp`.
TimeOperations MakeTimeOperations();

}  // namespace Ondrel::Host
