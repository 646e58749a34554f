#include "Host/Linux/Time/LocalZone.h"
#include "Host/TimeOperations.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace Ondrel::Host {

namespace {

constexpr std::int64_t kUnitsPerSecond = 10000000;
constexpr std::int64_t kUnitsPerMillisecond = 10000;
constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600;
constexpr std::int64_t kSecondsPerDay = 86400;
constexpr int kFirstYear = 1601;
constexpr int kLastYear = 30827;

std::int64_t UnitsOf(const FILETIME& fileTime) {
  return static_cast<std::int64_t>(std::uint64_t{fileTime.dwHighDateTime} << 32 |
                                   fileTime.dwLowDateTime);
}

FILETIME FileTimeOf(std::int64_t units) {
  const auto bits = static_cast<std::uint64_t>(units);
  return {.dwLowDateTime = static_cast<DWORD>(bits),
          .dwHighDateTime = static_cast<DWORD>(bits >> 32)};
}

// The calendar's own rules, in seconds since 1970 with no zone.
void BreakDown(std::int64_t seconds, int milliseconds, SYSTEMTIME& time) {
  using namespace std::chrono;
  const auto whole = floor<days>(sys_seconds(std::chrono::seconds(seconds)));
  const year_month_day date(whole);
  const std::int64_t ofDay = seconds - whole.time_since_epoch().count() * kSecondsPerDay;
  time.wYear = static_cast<WORD>(static_cast<int>(date.year()));
  time.wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
  time.wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
  time.wDayOfWeek = static_cast<WORD>(weekday(whole).c_encoding());
  time.wHour = static_cast<WORD>(ofDay / 3600);
  time.wMinute = static_cast<WORD>(ofDay / 60 % 60);
  time.wSecond = static_cast<WORD>(ofDay % 60);
  time.wMilliseconds = static_cast<WORD>(milliseconds);
}

bool IsCalendarTime(const SYSTEMTIME& time) {
  using namespace std::chrono;
  return time.wYear >= kFirstYear && time.wYear <= kLastYear &&
         year_month_day(year(time.wYear), month(time.wMonth), day(time.wDay)).ok() &&
         time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
}

// Of a calendar time that exists.
std::int64_t SecondsOf(const SYSTEMTIME& time) {
  using namespace std::chrono;
  const sys_days date = year_month_day(year(time.wYear), month(time.wMonth), day(time.wDay));
  return date.time_since_epoch().count() * kSecondsPerDay + std::int64_t{time.wHour} * 3600 +
         std::int64_t{time.wMinute} * 60 + time.wSecond;
}

int FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* universal) {
  const std::int64_t units = UnitsOf(*fileTime);
  if (units < 0) return 0;
  BreakDown(units / kUnitsPerSecond - kSecondsFrom1601To1970,
            static_cast<int>(units % kUnitsPerSecond / kUnitsPerMillisecond), *universal);
  return 1;
}

int SystemTimeToFileTime(const SYSTEMTIME* universal, FILETIME* fileTime) {
  if (!IsCalendarTime(*universal)) return 0;
  const std::int64_t seconds = SecondsOf(*universal) + kSecondsFrom1601To1970;
  *fileTime =
      FileTimeOf(seconds * kUnitsPerSecond + universal->wMilliseconds * kUnitsPerMillisecond);
  return 1;
}

// Seconds by which local time is ahead of UTC at a moment.
std::int64_t OffsetAt(std::int64_t seconds) {
  std::tm local{};
  return BreakDownLocally(seconds, local) ? local.tm_gmtoff : 0;
}

// Seconds by which local time is ahead of UTC at a local time: of a repeated hour the first is
// meant, and one that is left out counts by the offset after the change.
std::int64_t OffsetAtLocal(std::int64_t local) {
  constexpr std::int64_t kPastAnyChange = kSecondsPerDay + kSecondsPerDay / 2;
  const std::time_t around[] = {local - kPastAnyChange, local + kPastAnyChange};
  std::tm shown[2]{};
  const std::size_t count = BreakDownAllLocally(around, shown);
  const std::int64_t before = count > 0 ? shown[0].tm_gmtoff : 0;
  const std::int64_t after = count > 1 ? shown[1].tm_gmtoff : OffsetAt(around[1]);
  if (before == after) return before;
  const bool fitsBefore = OffsetAt(local - before) == before;
  const bool fitsAfter = OffsetAt(local - after) == after;
  if (fitsBefore != fitsAfter) return fitsBefore ? before : after;
  return std::max(before, after);
}

// Only the host's own zone is known here.
int SystemTimeToLocal(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal,
                      SYSTEMTIME* local) {
  if (zone != nullptr || !IsCalendarTime(*universal)) return 0;
  const std::int64_t seconds = SecondsOf(*universal);
  BreakDown(seconds + OffsetAt(seconds), universal->wMilliseconds, *local);
  return 1;
}

int LocalToSystemTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* local,
                      SYSTEMTIME* universal) {
  if (zone != nullptr || !IsCalendarTime(*local)) return 0;
  const std::int64_t seconds = SecondsOf(*local);
  BreakDown(seconds - OffsetAtLocal(seconds), local->wMilliseconds, *universal);
  return 1;
}

int LocalFileTimeToFileTime(const FILETIME* local, FILETIME* universal) {
  *universal = FileTimeOf(UnitsOf(*local) - OffsetAt(std::time(nullptr)) * kUnitsPerSecond);
  return 1;
}

ULong GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone) {
  std::tm now{};
  if (!BreakDownLocally(std::time(nullptr), now)) return TIME_ZONE_ID_INVALID;
  *zone = {};
  zone->Bias = static_cast<std::int32_t>(StandardTimeWestOfUtc() / 60);
  if (!HasDaylightTime()) return TIME_ZONE_ID_UNKNOWN;
  zone->DaylightBias = -60;
  return now.tm_isdst > 0 ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD;
}

std::int32_t NtQuerySystemInformation(int informationClass, void* information, ULong length,
                                      ULong* returned) {
  constexpr auto kInvalidInfoClass = static_cast<std::int32_t>(0xC0000003);
  constexpr auto kInfoLengthMismatch = static_cast<std::int32_t>(0xC0000004);
  constexpr int kTimeOfDayInformation = 3;
  if (informationClass != kTimeOfDayInformation) return kInvalidInfoClass;
  std::int64_t times[2];
  if (length < sizeof times) return kInfoLengthMismatch;

  timespec now{};
  timespec sinceStart{};
  clock_gettime(CLOCK_REALTIME, &now);
  clock_gettime(CLOCK_BOOTTIME, &sinceStart);
  times[1] = (now.tv_sec + kSecondsFrom1601To1970) * kUnitsPerSecond + now.tv_nsec / 100;
  times[0] = times[1] - (sinceStart.tv_sec * kUnitsPerSecond + sinceStart.tv_nsec / 100);
  std::memcpy(information, times, sizeof times);
  if (returned != nullptr) *returned = sizeof times;
  return 0;
}

}  // namespace

TimeOperations MakeTimeOperations() {
  return TimeOperations{
      .FileTimeToSystemTime = FileTimeToSystemTime,
      .SystemTimeToFileTime = SystemTimeToFileTime,
      .SystemTimeToTzSpecificLocalTime = SystemTimeToLocal,
      .TzSpecificLocalTimeToSystemTime = LocalToSystemTime,
      .LocalFileTimeToFileTime = LocalFileTimeToFileTime,
      .GetTimeZoneInformation = GetTimeZoneInformation,
      .NtQuerySystemInformation = NtQuerySystemInformation,
  };
}

}  // namespace Ondrel::Host
