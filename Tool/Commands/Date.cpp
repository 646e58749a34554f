#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/SystemTime.h>

#include <CLI/Error.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>

namespace Tool {

namespace {

using Ondrel::CSystemDate_Win;
using Ondrel::CSystemTime_Win;

constexpr std::int64_t kGreatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kGreatestField = std::numeric_limits<std::uint32_t>::max();

constexpr std::array<const char*, 7> kWeekDays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                  "Thursday", "Friday", "Saturday"};

unsigned long long Now() {
  using namespace std::chrono;
  return static_cast<unsigned long long>(
      duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count());
}

// "2022-03-31 12:41:59"; the fields are taken as they stand, so that a day may be impossible.
std::string TextOf(const CSystemDate_Win& date) {
  std::ostringstream text;
  text << std::setfill('0') << std::setw(4) << date.Year << '-' << std::setw(2) << date.Month << '-'
       << std::setw(2) << date.Day << ' ' << std::setw(2) << date.Hour << ':' << std::setw(2)
       << date.Minute << ':' << std::setw(2) << date.Second;
  return text.str();
}

Json JsonOf(const CSystemDate_Win& date) {
  return {{"year", date.Year},       {"month", date.Month}, {"day", date.Day},
          {"weekDay", date.WeekDay}, {"hour", date.Hour},   {"minute", date.Minute},
          {"second", date.Second}};
}

// Numbers of up to ten digits with the given characters between them.
template <std::size_t Count>
bool ParseFields(const std::string& text, const char* separators,
                 const std::array<unsigned int*, Count>& fields) {
  std::size_t begin = 0;
  for (std::size_t i = 0; i < Count; ++i) {
    const std::size_t end = i + 1 < Count ? text.find(separators[i], begin) : text.size();
    if (end == std::string::npos || end == begin || end - begin > 10) return false;
    const std::string digits = text.substr(begin, end - begin);
    if (digits.find_first_not_of("0123456789") != std::string::npos) return false;
    const unsigned long long number = std::stoull(digits);
    if (number > std::numeric_limits<std::uint32_t>::max()) return false;
    *fields[i] = static_cast<unsigned int>(number);
    begin = end + 1;
  }
  return true;
}

bool ParseTimeOfDay(const std::string& text, CSystemDate_Win& date) {
  return ParseFields<3>(text, "::", {&date.Hour, &date.Minute, &date.Second});
}

bool ParseDate(const std::string& text, CSystemDate_Win& date) {
  return ParseFields<6>(
      text, "-- ::", {&date.Year, &date.Month, &date.Day, &date.Hour, &date.Minute, &date.Second});
}

int ShowDate(const GlobalOptions& globals, unsigned long long timeStamp) {
  CSystemDate_Win date{};
  CSystemTime_Win::GetDate(timeStamp, date);
  const std::string text = Ondrel::timeStampToStrDateTime(timeStamp);
  if (globals.json) {
    Json json = {{"timeStamp", timeStamp}, {"text", text}};
    json.update(JsonOf(date));
    PrintJson(json);
  } else {
    std::cout << text << " (" << kWeekDays[date.WeekDay % 7] << ")\n";
  }
  return kDone;
}

int ShowStamp(const GlobalOptions& globals, const std::string& text) {
  CSystemDate_Win date{};
  if (!ParseDate(text, date)) throw UsageError("\"" + text + "\" is no YYYY-MM-DD hh:mm:ss");
  unsigned long long timeStamp = 0;
  CSystemTime_Win::GetTime(date, timeStamp);
  if (globals.json)
    PrintJson({{"timeStamp", timeStamp}});
  else
    std::cout << timeStamp << '\n';
  return kDone;
}

int ShowWeekDate(const GlobalOptions& globals, const CSystemDate_Win& rule) {
  CSystemDate_Win date{};
  CSystemTime_Win::GetDateByWeek(rule, date);
  if (globals.json) {
    Json json = JsonOf(date);
    json["weekOfMonth"] = date.WeekOfMonth;
    PrintJson(json);
  } else {
    std::cout << TextOf(date) << " (" << kWeekDays[date.WeekDay % 7] << ")\n";
  }
  return kDone;
}

}  // namespace

Work AddDateCommand(CLI::App& app) {
  const auto stamp = std::make_shared<unsigned long long>(Now());
  AddNumber(
      app, "STAMP", 0, kGreatest,
      [stamp](std::int64_t number) { *stamp = static_cast<unsigned long long>(number); },
      "Milliseconds since 1 January 1970 UTC (the current time)");
  return [stamp](const GlobalOptions& globals) { return ShowDate(globals, *stamp); };
}

Work AddStampCommand(CLI::App& app) {
  app.footer("A day that its month never has becomes the first of the next month.\n");
  const auto text = std::make_shared<std::string>();
  app.add_option("DATE", *text, "\"YYYY-MM-DD hh:mm:ss\"")->required()->type_name("");
  return [text](const GlobalOptions& globals) { return ShowStamp(globals, *text); };
}

Work AddWeekDateCommand(CLI::App& app) {
  app.footer("Example: the last Sunday of March 2022: week-date 2022 3 0 5 02:00:00\n");
  const auto rule = std::make_shared<CSystemDate_Win>();
  const auto addField = [&app, rule](const char* name, unsigned int CSystemDate_Win::*field,
                                     const char* description) {
    AddNumber(
        app, name, 0, kGreatestField,
        [rule, field](std::int64_t number) { (*rule).*field = static_cast<unsigned int>(number); },
        description)
        ->required();
  };
  addField("YEAR", &CSystemDate_Win::Year, "The year");
  addField("MONTH", &CSystemDate_Win::Month, "The month, 1 to 12");
  addField("WEEKDAY", &CSystemDate_Win::WeekDay, "The weekday, 0 (Sunday) to 6");
  addField("WEEK", &CSystemDate_Win::WeekOfMonth, "Which one in the month, 1 to 5 (the last)");
  app.add_option_function<std::string>(
         "TIME",
         [rule](const std::string& text) {
           if (!ParseTimeOfDay(text, *rule))
             throw CLI::ValidationError("TIME", "\"" + text + "\" is no hh:mm:ss");
         },
         "The time of day, hh:mm:ss (00:00:00)")
      ->type_name("");
  return [rule](const GlobalOptions& globals) { return ShowWeekDate(globals, *rule); };
}

Work AddUptimeCommand(CLI::App&) {
  return [](const GlobalOptions& globals) {
    const unsigned long long milliseconds = CSystemTime_Win::UpTime();
    if (globals.json)
      PrintJson({{"milliseconds", milliseconds}});
    else
      std::cout << milliseconds << " ms\n";
    return int{kDone};
  };
}

}  // namespace Tool
