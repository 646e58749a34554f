#include "Tool/Dates.h"

#include "Tool/Failure.h"
#include "Tool/Options.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace Tool {

namespace {

using Ondrel::CSystemDate_Win;
using Ondrel::CSystemTime_Win;

constexpr unsigned int kFirstYear = 1970;
constexpr unsigned int kLastYear = 9999;

/// Takes characters from the front of a text.
class Reader {
public:
  explicit Reader(std::string_view text) : m_rest(text) {}

  bool IsEnd() const { return m_rest.empty(); }

  /// Exactly `count` digits.
  bool Digits(std::size_t count, unsigned int& number) {
    if (m_rest.size() < count) return false;
    number = 0;
    for (const char digit : m_rest.substr(0, count)) {
      if (digit < '0' || digit > '9') return false;
      number = number * 10 + static_cast<unsigned int>(digit - '0');
    }
    m_rest.remove_prefix(count);
    return true;
  }

  /// One of `characters`; 0 when the next is none of them.
  char OneOf(std::string_view characters) {
    if (m_rest.empty() || characters.find(m_rest.front()) == std::string_view::npos) return 0;
    const char taken = m_rest.front();
    m_rest.remove_prefix(1);
    return taken;
  }

  bool Is(char character) { return OneOf({&character, 1}) != 0; }

private:
  std::string_view m_rest;
};

bool ReadTimeOfDay(Reader& reader, CSystemDate_Win& date) {
  return reader.Digits(2, date.Hour) && reader.Is(':') && reader.Digits(2, date.Minute) &&
         reader.Is(':') && reader.Digits(2, date.Second) && date.Hour < 24 && date.Minute < 60 &&
         date.Second < 60;
}

bool IsDay(const CSystemDate_Win& date) {
  return date.Month >= 1 && date.Month <= 12 && date.Day >= 1 && date.Day <= 31;
}

bool ReadFraction(Reader& reader, unsigned int& milliseconds) {
  if (!reader.Is('.')) return true;
  unsigned int place = 100;
  unsigned int digit = 0;
  bool isAny = false;
  for (; place > 0 && reader.Digits(1, digit); place /= 10) {
    milliseconds += digit * place;
    isAny = true;
  }
  return isAny;
}

bool ReadZone(Reader& reader, std::optional<int>& minutesEastOfUtc) {
  if (reader.Is('Z')) {
    minutesEastOfUtc = 0;
    return true;
  }
  const char sign = reader.OneOf("+-");
  if (sign == 0) return true;
  unsigned int hours = 0;
  unsigned int minutes = 0;
  if (!reader.Digits(2, hours) || !reader.Is(':') || !reader.Digits(2, minutes) || hours > 23 ||
      minutes > 59)
    return false;
  const int distance = static_cast<int>(hours * 60 + minutes);
  minutesEastOfUtc = sign == '-' ? -distance : distance;
  return true;
}

std::optional<WrittenDate> ParseIsoDate(const std::string& text) {
  Reader reader(text);
  WrittenDate date;
  if (!reader.Digits(4, date.fields.Year) || !reader.Is('-') ||
      !reader.Digits(2, date.fields.Month) || !reader.Is('-') ||
      !reader.Digits(2, date.fields.Day) || !IsDay(date.fields))
    return std::nullopt;
  if (reader.IsEnd()) return date;
  if (reader.OneOf("T ") == 0 || !ReadTimeOfDay(reader, date.fields) ||
      !ReadFraction(reader, date.milliseconds) || !ReadZone(reader, date.minutesEastOfUtc) ||
      !reader.IsEnd())
    return std::nullopt;
  return date;
}

std::optional<WrittenDate> ParseMonthFirst(const std::string& text) {
  Reader reader(text);
  WrittenDate date;
  if (!reader.Digits(2, date.fields.Month) || !reader.Is('/') ||
      !reader.Digits(2, date.fields.Day) || !reader.Is('/') ||
      !reader.Digits(4, date.fields.Year) || !IsDay(date.fields) || !reader.Is(' ') ||
      !ReadTimeOfDay(reader, date.fields) || !reader.IsEnd())
    return std::nullopt;
  return date;
}

/// The fields taken as UTC, in milliseconds since 1970.
std::int64_t AsUtc(const CSystemDate_Win& date) {
  using namespace std::chrono;
  const sys_days day{year{static_cast<int>(date.Year)} / static_cast<int>(date.Month) /
                     static_cast<int>(date.Day)};
  return duration_cast<milliseconds>(day.time_since_epoch() + hours{date.Hour} +
                                     minutes{date.Minute} + seconds{date.Second})
      .count();
}

CSystemDate_Win LocalDate(std::uint64_t timeStamp) {
  CSystemDate_Win date{};
  CSystemTime_Win::GetDate(timeStamp, date);
  return date;
}

bool IsRepresentable(std::int64_t timeStamp) {
  // The last day of the year 9999 in UTC is another year's in some zone.
  constexpr std::int64_t kEnd = 253402214400000;
  return timeStamp >= 0 && timeStamp < kEnd;
}

std::uint64_t Checked(const std::string& text, std::int64_t number, std::int64_t unit) {
  if (number < 0 || number > std::numeric_limits<std::int64_t>::max() / unit ||
      !IsRepresentable(number * unit))
    throw UsageError("\"" + text + "\" is outside the years 1970 to 9999");
  return static_cast<std::uint64_t>(number * unit);
}

std::optional<std::int64_t> WholeNumber(std::string_view text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos)
    return std::nullopt;
  // What is too large for a number is too large for a point in time.
  return ParseNumber(text, 0, std::numeric_limits<std::int64_t>::max())
      .value_or(std::numeric_limits<std::int64_t>::max());
}

template <class... Values>
std::string Print(const char* format, Values... values) {
  char text[80];
  const int length = std::snprintf(text, sizeof text, format, values...);
  return std::string(text, static_cast<std::size_t>(length));
}

}  // namespace

std::optional<WrittenDate> ParseDate(const std::string& text) {
  const std::optional<WrittenDate> date = ParseIsoDate(text);
  return date ? date : ParseMonthFirst(text);
}

bool ParseTimeOfDay(const std::string& text, CSystemDate_Win& date) {
  Reader reader(text);
  return ReadTimeOfDay(reader, date) && reader.IsEnd();
}

std::optional<std::uint64_t> TimeStampOf(const WrittenDate& date) {
  // Local time may be a day off UTC; what lies before 1970 or after 9999 then is found below.
  if (date.fields.Year + 1 < kFirstYear || date.fields.Year > kLastYear) return std::nullopt;
  std::int64_t timeStamp = 0;
  if (date.minutesEastOfUtc) {
    timeStamp = AsUtc(date.fields) - std::int64_t{*date.minutesEastOfUtc} * 60'000;
  } else {
    unsigned long long local = 0;
    CSystemTime_Win::GetTime(date.fields, local);
    timeStamp = static_cast<std::int64_t>(local);
  }
  timeStamp += date.milliseconds;
  if (!IsRepresentable(timeStamp)) return std::nullopt;
  return static_cast<std::uint64_t>(timeStamp);
}

std::uint64_t ParseTimeStamp(const std::string& text) {
  std::string_view digits = text;
  std::int64_t unit = 1;
  bool hasUnit = true;
  if (digits.starts_with('@')) {
    digits.remove_prefix(1);
    unit = 1000;
  } else if (digits.ends_with("ms")) {
    digits.remove_suffix(2);
  } else if (digits.ends_with('s')) {
    digits.remove_suffix(1);
    unit = 1000;
  } else {
    hasUnit = false;
  }
  const std::optional<std::int64_t> number = WholeNumber(digits);
  if (number && hasUnit) return Checked(text, *number, unit);
  if (number) {
    throw UsageError("\"" + text + "\" could be seconds or milliseconds: @" + text + ", " + text +
                     "s or " + text + "ms");
  }
  const std::optional<WrittenDate> date = ParseDate(text);
  if (!date) {
    throw UsageError("\"" + text +
                     "\" is not a point in time: @SECONDS, SECONDSs, MILLISECONDSms or "
                     "YYYY-MM-DDThh:mm:ss");
  }
  const std::optional<std::uint64_t> timeStamp = TimeStampOf(*date);
  if (!timeStamp) throw UsageError("\"" + text + "\" is outside the years 1970 to 9999");
  return *timeStamp;
}

std::string DateText(std::uint64_t timeStamp) {
  const CSystemDate_Win date = LocalDate(timeStamp);
  std::string text = FieldsText(date);
  if (timeStamp % 1000 != 0) text += Print(".%03u", static_cast<unsigned int>(timeStamp % 1000));
  const std::int64_t wholeSeconds = static_cast<std::int64_t>(timeStamp - timeStamp % 1000);
  const int minutes = static_cast<int>((AsUtc(date) - wholeSeconds) / 60'000);
  return text + Print("%c%02d:%02d", minutes < 0 ? '-' : '+', std::abs(minutes) / 60,
                      std::abs(minutes) % 60);
}

std::string FieldsText(const CSystemDate_Win& date) {
  return Print("%04u-%02u-%02uT%02u:%02u:%02u", date.Year, date.Month, date.Day, date.Hour,
               date.Minute, date.Second);
}

}  // namespace Tool
