#pragma once

#include <Ondrel/SystemTime.h>

#include <cstdint>
#include <optional>
#include <string>

/// Points in time as the command reads and shows them: milliseconds since 1 January 1970 UTC, of
/// the years 1970 to 9999.

namespace Tool {

/// A local date as it is written, and its distance from UTC where it says so.
struct WrittenDate {
  Ondrel::CSystemDate_Win fields{};
  unsigned int milliseconds = 0;
  std::optional<int> minutesEastOfUtc;
};

/// Reads "2022-03-31T12:41:59" with a "T" or a space, which may be followed by a fraction of up to
/// three digits and by "Z" or "+02:00"; also "2022-03-31", and the month-first form
/// "03/31/2022 12:41:59". Nothing when `text` is not that, or a field is outside its range; the day
/// may be one that its month does not have.
std::optional<WrittenDate> ParseDate(const std::string& text);

/// "12:41:59" into the three fields. False when `text` is not that.
bool ParseTimeOfDay(const std::string& text, Ondrel::CSystemDate_Win& date);

/// The time stamp of a date; nothing when it lies outside the years 1970 to 9999.
std::optional<std::uint64_t> TimeStampOf(const WrittenDate& date);

/// Reads a point in time: "@1648723319" (seconds since 1970), "1648723319s" or "1648723319000ms",
/// or a date. A number alone could be either and throws, as everything else that is not a point in
/// time does: `UsageError`.
std::uint64_t ParseTimeStamp(const std::string& text);

/// The local date of a time stamp as "2022-03-31T12:41:59+02:00", with milliseconds where there are
/// any.
std::string DateText(std::uint64_t timeStamp);

/// The fields as they stand: "2022-03-31T12:41:59".
std::string FieldsText(const Ondrel::CSystemDate_Win& date);

}  // namespace Tool
