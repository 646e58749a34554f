#include "Tool/Dates.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <chrono>
#include <memory>

namespace Tool {

namespace {

using Ondrel::CSystemDate_Win;

struct DateOptions {
  std::string time;
  std::string form = "iso";
};

std::uint64_t Now() {
  using namespace std::chrono;
  return static_cast<std::uint64_t>(
      duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count());
}

int ShowDate(const GlobalOptions& globals, const DateOptions& options) {
  const std::uint64_t timeStamp = options.time.empty() ? Now() : ParseTimeStamp(options.time);
  CSystemDate_Win date{};
  Ondrel::CSystemTime_Win::GetDate(timeStamp, date);
  const std::string monthFirst = Ondrel::timeStampToStrDateTime(timeStamp);
  Answer(globals,
         {{"timeStamp", timeStamp},
          {"date", DateText(timeStamp)},
          {"text", monthFirst},
          {"year", date.Year},
          {"month", date.Month},
          {"day", date.Day},
          {"weekDay", date.WeekDay},
          {"hour", date.Hour},
          {"minute", date.Minute},
          {"second", date.Second}},
         options.form == "us" ? monthFirst : DateText(timeStamp));
  return kDone;
}

}  // namespace

Work AddDateCommand(CLI::App& app) {
  app.footer(
      "TIME is @SECONDS, SECONDSs or MILLISECONDSms since 1 January 1970 UTC, or a date as "
      "'ondrel stamp' takes it. A number alone is refused: it could be either.\n"
      "'ondrel stamp' reads what this prints.\n");
  const auto options = std::make_shared<DateOptions>();
  app.add_option("TIME", options->time, "Point in time (default: now)")->type_name("");
  app.add_option("--form", options->form,
                 "iso: 2022-03-31T12:41:59+02:00 (default), us: 03/31/2022 12:41:59")
      ->type_name("iso|us")
      ->check(IsOneOf({"iso", "us"}));
  return [options](const GlobalOptions& globals) { return ShowDate(globals, *options); };
}

}  // namespace Tool
