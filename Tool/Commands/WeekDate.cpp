#include "Tool/Dates.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <CLI/Error.hpp>

#include <memory>

namespace Tool {

namespace {

using Ondrel::CSystemDate_Win;

int ShowWeekDate(const GlobalOptions& globals, const CSystemDate_Win& rule) {
  CSystemDate_Win date{};
  Ondrel::CSystemTime_Win::GetDateByWeek(rule, date);
  Answer(globals,
         {{"date", FieldsText(date)},
          {"year", date.Year},
          {"month", date.Month},
          {"day", date.Day},
          {"weekDay", date.WeekDay},
          {"weekOfMonth", date.WeekOfMonth},
          {"hour", date.Hour},
          {"minute", date.Minute},
          {"second", date.Second}},
         FieldsText(date));
  return kDone;
}

}  // namespace

Work AddWeekDateCommand(CLI::App& app) {
  app.footer("Example: the last Sunday of March 2022 at two: week-date 2022 3 0 5 02:00:00\n");
  const auto rule = std::make_shared<CSystemDate_Win>();
  const auto addField = [&app, rule](const char* name, unsigned int CSystemDate_Win::*field,
                                     std::int64_t min, std::int64_t max, const char* description) {
    AddNumber(
        app, name, min, max,
        [rule, field](std::int64_t number) { (*rule).*field = static_cast<unsigned int>(number); },
        description)
        ->required();
  };
  addField("YEAR", &CSystemDate_Win::Year, 1970, 9999, "Year, 1970 to 9999");
  addField("MONTH", &CSystemDate_Win::Month, 1, 12, "Month, 1 to 12");
  addField("WEEKDAY", &CSystemDate_Win::WeekDay, 0, 6, "Weekday, 0 (Sunday) to 6");
  addField("WEEK", &CSystemDate_Win::WeekOfMonth, 1, 5,
           "Which one in the month, 1 to 5 (the last)");
  app.add_option_function<std::string>(
         "TIME",
         [rule](const std::string& text) {
           if (!ParseTimeOfDay(text, *rule))
             throw CLI::ValidationError("TIME", "\"" + text + "\" is not a time of day, hh:mm:ss");
         },
         "Time of day, hh:mm:ss (default: 00:00:00)")
      ->type_name("");
  return [rule](const GlobalOptions& globals) { return ShowWeekDate(globals, *rule); };
}

}  // namespace Tool
