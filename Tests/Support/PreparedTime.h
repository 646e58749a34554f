#pragma once

#include "Host/TimeOperations.h"
#include "Support/PreparedOperations.h"

namespace Ondrel::Testing {

/// The host's calendar with a local zone that is `minutesEast` of UTC all the year.
inline Host::TimeOperations TimeWithOffset(int minutesEast) {
  Host::TimeOperations operations = Host::MakeTimeOperations();
  const auto toFile = operations.SystemTimeToFileTime;
  const auto fromFile = operations.FileTimeToSystemTime;
  const auto shift = [toFile, fromFile](const SYSTEMTIME* from, SYSTEMTIME* to, int minutes) {
    FILETIME time{};
    if (!toFile(from, &time)) return 0;
    const std::uint64_t units = (std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) +
                                static_cast<std::uint64_t>(minutes * std::int64_t{600000000});
    time = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    return fromFile(&time, to);
  };
  operations.SystemTimeToTzSpecificLocalTime =
      [shift, minutesEast](const TIME_ZONE_INFORMATION*, const SYSTEMTIME* from, SYSTEMTIME* to) {
        return shift(from, to, minutesEast);
      };
  operations.TzSpecificLocalTimeToSystemTime =
      [shift, minutesEast](const TIME_ZONE_INFORMATION*, const SYSTEMTIME* from, SYSTEMTIME* to) {
        return shift(from, to, -minutesEast);
      };
  operations.LocalFileTimeToFileTime = [minutesEast](const FILETIME* from, FILETIME* to) {
    const std::uint64_t units = (std::uint64_t{from->dwHighDateTime} << 32 | from->dwLowDateTime) -
                                static_cast<std::uint64_t>(minutesEast * std::int64_t{600000000});
    *to = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    return 1;
  };
  operations.GetTimeZoneInformation = [minutesEast](TIME_ZONE_INFORMATION* zone) -> ULong {
    *zone = {};
    zone->Bias = -minutesEast;
    return TIME_ZONE_ID_STANDARD;
  };
  return operations;
}

}  // namespace Ondrel::Testing
