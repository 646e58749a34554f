#include "Host/TimeOperations.h"

#include <Ondrel/SystemTime.h>

#include <cstdio>
#include <limits>
#include <tuple>

namespace Ondrel {

namespace {

// A date is plain memory, its assignment the compiler's own: emitted, and exported, where its
// address is taken.
[[gnu::used]] constexpr CSystemDate_Win& (CSystemDate_Win::*kExportedAssignment)(
    const CSystemDate_Win&) = &CSystemDate_Win::operator=;

constexpr std::uint64_t kMillisecondsFrom1601To1970 = 11644473600000;
constexpr std::uint64_t kUnitsPerMillisecond = 10000;
constexpr std::int64_t kUnitsPerMinute = 600000000;
constexpr std::uint64_t kMillisecondsPerDay = 86400000;
constexpr unsigned int kLastWeek = 5;

auto Order(const CSystemDate_Win& date) {
  return std::tie(date.Year, date.Month, date.Day, date.Hour, date.Minute, date.Second);
}

FILETIME FileTimeOf(std::uint64_t units) {
  return {.dwLowDateTime = static_cast<DWORD>(units),
          .dwHighDateTime = static_cast<DWORD>(units >> 32)};
}

std::uint64_t UnitsOf(const FILETIME& fileTime) {
  return std::uint64_t{fileTime.dwHighDateTime} << 32 | fileTime.dwLowDateTime;
}

SYSTEMTIME UniversalTimeOf(std::uint64_t units) {
  const FILETIME fileTime = FileTimeOf(units);
  SYSTEMTIME universal{};
  Host::Time().FileTimeToSystemTime(&fileTime, &universal);
  return universal;
}

SYSTEMTIME LocalTimeOf(const SYSTEMTIME& universal) {
  SYSTEMTIME local{};
  Host::Time().SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local);
  return local;
}

// The fields of the day as the host counts them, 16 bits each; no milliseconds.
SYSTEMTIME CalendarTimeOf(const CSystemDate_Win& date) {
  SYSTEMTIME time{};
  time.wYear = static_cast<WORD>(date.Year);
  time.wMonth = static_cast<WORD>(date.Month);
  time.wDay = static_cast<WORD>(date.Day);
  time.wHour = static_cast<WORD>(date.Hour);
  time.wMinute = static_cast<WORD>(date.Minute);
  time.wSecond = static_cast<WORD>(date.Second);
  return time;
}

// For hosts that cannot turn local time back: one round of estimating.
bool UniversalTimeByEstimate(const SYSTEMTIME& local, SYSTEMTIME& universal) {
  const Host::TimeOperations& host = Host::Time();
  TIME_ZONE_INFORMATION zone{};
  const ULong inForce = host.GetTimeZoneInformation(&zone);
  if (inForce == TIME_ZONE_ID_UNKNOWN || inForce == TIME_ZONE_ID_INVALID) return false;

  FILETIME fileTime{};
  if (!host.SystemTimeToFileTime(&local, &fileTime)) return false;
  const std::uint64_t input = UnitsOf(fileTime);
  const auto bias = static_cast<std::uint64_t>(zone.Bias * kUnitsPerMinute);

  const FILETIME estimate = FileTimeOf(input + bias);
  SYSTEMTIME estimated{};
  SYSTEMTIME back{};
  if (!host.FileTimeToSystemTime(&estimate, &estimated) ||
      !host.SystemTimeToTzSpecificLocalTime(nullptr, &estimated, &back) ||
      !host.SystemTimeToFileTime(&back, &fileTime))
    return false;

  const FILETIME corrected = FileTimeOf(input + bias + (input - UnitsOf(fileTime)));
  return host.FileTimeToSystemTime(&corrected, &universal) != 0;
}

bool UniversalTimeOf(const SYSTEMTIME& local, SYSTEMTIME& universal) {
  const auto& convert = Host::Time().TzSpecificLocalTimeToSystemTime;
  if (!convert) return UniversalTimeByEstimate(local, universal);
  return convert(nullptr, &local, &universal) != 0;
}

// A day that its month never has. February may have 29 days.
bool IsImpossibleDay(const CSystemDate_Win& date) {
  constexpr unsigned int kMonthsWithout31 = 0xA54;
  if (date.Day > 31) return true;
  if (date.Day == 31 && date.Month < 32 && (kMonthsWithout31 >> date.Month & 1) != 0) return true;
  return date.Month == 2 && date.Day >= 30;
}

// The first day of the rule's month, or of the month after it where the last week is asked for.
SYSTEMTIME FirstDayFor(const CSystemDate_Win& rule) {
  CSystemDate_Win first = rule;
  first.Day = 1;
  if (rule.WeekOfMonth >= kLastWeek && ++first.Month == 13) {
    first.Month = 1;
    ++first.Year;
  }
  return CalendarTimeOf(first);
}

unsigned int DaysFrom(unsigned int weekDay, unsigned int laterWeekDay) {
  const unsigned int days = laterWeekDay - weekDay;
  return laterWeekDay < weekDay ? days + 7 : days;
}

unsigned int DayByWeek(const CSystemDate_Win& rule, const SYSTEMTIME& reference) {
  if (rule.WeekOfMonth >= kLastWeek)
    return reference.wDay - DaysFrom(rule.WeekDay, reference.wDayOfWeek);
  unsigned int day =
      reference.wDay + DaysFrom(reference.wDayOfWeek, rule.WeekDay) + 7 * rule.WeekOfMonth - 7;
  // Intentional: a day past the month comes back by the reference day, not by a week.
  if (day > 31) day -= reference.wDay;
  return day;
}

}  // namespace

bool CSystemDate_Win::operator==(const CSystemDate_Win& other) const {
  return Order(*this) == Order(other);
}

bool CSystemDate_Win::operator!=(const CSystemDate_Win& other) const {
  return Order(*this) != Order(other);
}

bool CSystemDate_Win::operator<(const CSystemDate_Win& other) const {
  return Order(*this) < Order(other);
}

bool CSystemDate_Win::operator<=(const CSystemDate_Win& other) const {
  return Order(*this) <= Order(other);
}

bool CSystemDate_Win::operator>(const CSystemDate_Win& other) const {
  return Order(*this) > Order(other);
}

bool CSystemDate_Win::operator>=(const CSystemDate_Win& other) const {
  return Order(*this) >= Order(other);
}

CSystemTime_Win::CSystemTime_Win() = default;
CSystemTime_Win::CSystemTime_Win(const CSystemTime_Win& other) = default;
// NOLINTBEGIN(misc-unused-parameters): a class without members assigns nothing.
CSystemTime_Win& CSystemTime_Win::operator=(const CSystemTime_Win& other) = default;
CSystemTime_Win& CSystemTime_Win::operator=(CSystemTime_Win&& other) noexcept = default;
// NOLINTEND(misc-unused-parameters)
CSystemTime_Win::~CSystemTime_Win() = default;

void CSystemTime_Win::GetDate(unsigned long long timeStamp, CSystemDate_Win& date) {
  const SYSTEMTIME local = LocalTimeOf(
      UniversalTimeOf((timeStamp + kMillisecondsFrom1601To1970) * kUnitsPerMillisecond));
  date.Year = local.wYear;
  date.Month = local.wMonth;
  date.Day = local.wDay;
  date.WeekDay = local.wDayOfWeek;
  date.Hour = local.wHour;
  date.Minute = local.wMinute;
  date.Second = local.wSecond;
}

void CSystemTime_Win::GetDateByWeek(const CSystemDate_Win& rule, CSystemDate_Win& date) {
  const Host::TimeOperations& host = Host::Time();
  const SYSTEMTIME first = FirstDayFor(rule);
  FILETIME localTime{};
  FILETIME universalTime{};
  host.SystemTimeToFileTime(&first, &localTime);
  host.LocalFileTimeToFileTime(&localTime, &universalTime);
  std::uint64_t milliseconds = UnitsOf(universalTime) / kUnitsPerMillisecond;
  if (rule.WeekOfMonth >= kLastWeek) milliseconds -= kMillisecondsPerDay;

  const SYSTEMTIME universal = UniversalTimeOf(milliseconds * kUnitsPerMillisecond);
  const SYSTEMTIME reference = LocalTimeOf(universal);
  const unsigned int day = DayByWeek(rule, reference);
  const unsigned int weekDay = rule.WeekDay;
  const unsigned int weekOfMonth = rule.WeekOfMonth;
  date.Year = reference.wYear;
  date.Month = reference.wMonth;
  date.Day = day;
  date.WeekDay = weekDay;
  date.WeekOfMonth = weekOfMonth;
  // Intentional: an hour more where the new year has begun in local time alone.
  date.Hour = reference.wHour + (universal.wYear < reference.wYear ? 1U : 0U);
  date.Minute = reference.wMinute;
  date.Second = reference.wSecond;
}

void CSystemTime_Win::GetTime(const CSystemDate_Win& date, unsigned long long& timeStamp) {
  CSystemDate_Win possible = date;
  if (IsImpossibleDay(date)) {
    possible.Day = 1;
    // Intentional: December has a thirteenth month after it, the year stays.
    possible.Month = date.Month + 1;
  }
  SYSTEMTIME local = CalendarTimeOf(possible);
  SYSTEMTIME universal{};
  if (!UniversalTimeOf(local, universal) && possible.Month == 2 && possible.Day == 29) {
    local.wMonth = 3;
    local.wDay = 1;
    UniversalTimeOf(local, universal);
  }
  FILETIME fileTime{};
  Host::Time().SystemTimeToFileTime(&universal, &fileTime);
  timeStamp = UnitsOf(fileTime) / kUnitsPerMillisecond - kMillisecondsFrom1601To1970;
}

unsigned long long CSystemTime_Win::UpTime() {
  constexpr int kTimeOfDayInformation = 3;
  const auto& query = Host::Time().NtQuerySystemInformation;
  if (!query) return 0;
  struct {
    std::uint64_t start;
    std::uint64_t now;
    std::uint64_t rest[2];
  } times{};
  static_assert(sizeof times == 32);
  if (query(kTimeOfDayInformation, &times, sizeof times, nullptr) != 0) return 0;
  return (times.now - times.start) / kUnitsPerMillisecond;
}

std::string timeStampToStrDateTime(unsigned long long timeStamp) {
  CSystemDate_Win date{};
  CSystemTime_Win::GetDate(timeStamp, date);
  char text[6 * std::numeric_limits<unsigned int>::digits10 + 12];
  const int length = std::snprintf(text, sizeof text, "%02u/%02u/%4u %02u:%02u:%02u", date.Month,
                                   date.Day, date.Year, date.Hour, date.Minute, date.Second);
  return {text, static_cast<std::size_t>(length)};
}

}  // namespace Ondrel
