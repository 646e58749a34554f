#pragma once

#include "Host/Types.h"

/// The published records of dates and times.

#if !defined(_WIN32)

namespace Ondrel {

/// A count of 100 nanoseconds since 1 January 1601, in two halves.
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

/// A broken-down date and time.
struct SYSTEMTIME {
  WORD wYear;       ///< 1601 to 30827.
  WORD wMonth;      ///< 1 to 12.
  WORD wDayOfWeek;  ///< 0 is Sunday.
  WORD wDay;        ///< 1 to 31.
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};

/// A zone's rules: minutes that are added to local time to give UTC.
struct TIME_ZONE_INFORMATION {
  std::int32_t Bias;  ///< Of all the year.
  char16_t StandardName[32];
  SYSTEMTIME StandardDate;    ///< Change to standard time; month 0 for none.
  std::int32_t StandardBias;  ///< On top of `Bias` while standard time is in force.
  char16_t DaylightName[32];
  SYSTEMTIME DaylightDate;    ///< Change to daylight time; month 0 for none.
  std::int32_t DaylightBias;  ///< On top of `Bias` while daylight time is in force.
};

inline constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0;
inline constexpr DWORD TIME_ZONE_ID_STANDARD = 1;
inline constexpr DWORD TIME_ZONE_ID_DAYLIGHT = 2;
inline constexpr DWORD TIME_ZONE_ID_INVALID = 0xFFFFFFFF;

}  // namespace Ondrel

#endif

namespace Ondrel {

static_assert(sizeof(FILETIME) == 8);
static_assert(sizeof(SYSTEMTIME) == 16);
static_assert(offsetof(SYSTEMTIME, wDayOfWeek) == 4);
static_assert(offsetof(SYSTEMTIME, wMilliseconds) == 14);
static_assert(sizeof(TIME_ZONE_INFORMATION) == 172);
static_assert(offsetof(TIME_ZONE_INFORMATION, StandardDate) == 68);
static_assert(offsetof(TIME_ZONE_INFORMATION, DaylightName) == 88);
static_assert(offsetof(TIME_ZONE_INFORMATION, DaylightBias) == 168);

}  // namespace Ondrel
