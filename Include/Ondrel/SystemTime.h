#pragma once

#include <Ondrel/Export.h>

#include <string>

// Records declare their assignment, which is the compiler's own, only to export it.
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-copy"
#endif

namespace Ondrel {

/// A date and time of day of the host's local time, broken down.
///
/// The order of two dates is that of `Year`, `Month`, `Day`, `Hour`, `Minute` and `Second`; the
/// fields of the week do not count.
class ONDREL_API CSystemDate_Win {
public:
  unsigned int Year;         ///< Full year.
  unsigned int Month;        ///< 1 to 12.
  unsigned int Day;          ///< Day of the month, 1 to 31.
  unsigned int WeekDay;      ///< 0 is Sunday.
  unsigned int WeekOfMonth;  ///< 1 to 5, where 5 is the last; read by `GetDateByWeek` alone.
  unsigned int Hour;         ///< 0 to 23.
  unsigned int Minute;       ///< 0 to 59.
  unsigned int Second;       ///< 0 to 59.

  ONDREL_API_INLINE CSystemDate_Win& operator=(const CSystemDate_Win&) = default;

  bool operator==(const CSystemDate_Win& other) const;
  bool operator!=(const CSystemDate_Win& other) const;
  bool operator<(const CSystemDate_Win& other) const;
  bool operator<=(const CSystemDate_Win& other) const;
  bool operator>(const CSystemDate_Win& other) const;
  bool operator>=(const CSystemDate_Win& other) const;
};

/// Conversions between time stamps (milliseconds since 1 January 1970 UTC) and local dates. The
/// zone rules are the host's at the time of the call. No operation traces or raises; all may be
/// called from any thread.
class ONDREL_API CSystemTime_Win {
public:
  CSystemTime_Win();
  CSystemTime_Win(const CSystemTime_Win& other);
  CSystemTime_Win& operator=(const CSystemTime_Win& other);
  CSystemTime_Win& operator=(CSystemTime_Win&& other) noexcept;
  ~CSystemTime_Win();  // NOLINT(performance-trivially-destructible): it is exported.

  /// Gives the local date of a time stamp. `WeekOfMonth` stays as it was.
  static void GetDate(unsigned long long timeStamp, CSystemDate_Win& date);

  /// Resolves a rule such as "the last Sunday of March at 2:00": the `WeekOfMonth`-th (5: the last)
  /// `WeekDay` of `Month` in `Year`. The rule's `Day` is not read.
  static void GetDateByWeek(const CSystemDate_Win& rule, CSystemDate_Win& date);

  /// Gives the time stamp of a local date. A day that its month never has becomes the first of the
  /// next month; the year stays, so that the result for 32 December has no meaning. Of an hour that
  /// a change of local time repeats the first is meant.
  static void GetTime(const CSystemDate_Win& date, unsigned long long& timeStamp);

  /// Milliseconds since the host started; 0 if the host does not report it.
  static unsigned long long UpTime();
};

/// The local date of a time stamp as "03/31/2022 12:41:59", month first.
ONDREL_API std::string timeStampToStrDateTime(unsigned long long timeStamp);

}  // namespace Ondrel

#ifdef __clang__
#pragma clang diagnostic pop
#endif
