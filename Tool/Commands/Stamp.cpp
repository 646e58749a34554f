#include "Tool/Dates.h"
#include "Tool/Output.h"

#include <CLI/App.hpp>

#include <memory>

namespace Tool {

namespace {

bool IsSameTime(const Ondrel::CSystemDate_Win& wanted, std::uint64_t timeStamp) {
  Ondrel::CSystemDate_Win found{};
  Ondrel::CSystemTime_Win::GetDate(timeStamp, found);
  return wanted == found;
}

int ShowStamp(const GlobalOptions& globals, const std::string& text) {
  const std::optional<WrittenDate> date = ParseDate(text);
  if (!date) throw UsageError("\"" + text + "\" is not a date: YYYY-MM-DD hh:mm:ss");
  const std::optional<std::uint64_t> timeStamp = TimeStampOf(*date);
  if (!timeStamp) throw UsageError("\"" + text + "\" is outside the years 1970 to 9999");
  if (!date->minutesEastOfUtc && !IsSameTime(date->fields, *timeStamp))
    Say(text + " does not exist in local time; taken as " + DateText(*timeStamp));
  Answer(globals, {{"timeStamp", *timeStamp}, {"date", DateText(*timeStamp)}},
         std::to_string(*timeStamp) + "ms");
  return kDone;
}

}  // namespace

Work AddStampCommand(CLI::App& app) {
  app.footer(
      "DATE is \"YYYY-MM-DD hh:mm:ss\", also with a T in place of the space, milliseconds after a "
      "point, and Z or +hh:mm at the end for another zone than the local one; YYYY-MM-DD is its "
      "midnight. Also \"MM/DD/YYYY hh:mm:ss\".\n"
      "A day that its month never has becomes the first of the next month, with a note.\n"
      "The result is in milliseconds since 1 January 1970 UTC; 'ondrel date' reads it.\n");
  const auto text = std::make_shared<std::string>();
  app.add_option("DATE", *text, "Local date")->required()->type_name("");
  return [text](const GlobalOptions& globals) { return ShowStamp(globals, *text); };
}

}  // namespace Tool
