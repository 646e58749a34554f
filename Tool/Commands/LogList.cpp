#include "Tool/Command.h"
#include "Tool/LogRecords.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"

#include <iostream>
#include <memory>
#include <vector>

namespace Tool {

namespace {

using Ondrel::Host::EventLogPlace;
using Ondrel::Host::EventLogSummary;

int ListLogs(const GlobalOptions& globals) {
  const EventLogPlace place = KnownPlace();
  std::vector<EventLogSummary> logs;
  CheckLog(Ondrel::Host::ListEventLogs(logs), "cannot list the logs of " + PlaceText(place));
  if (globals.json) {
    Json list = Json::array();
    for (const EventLogSummary& log : logs)
      list.push_back({{"log", log.name},
                      {"records", log.records},
                      {"bytes", log.bytes},
                      {"firstNumber", log.firstNumber},
                      {"lastNumber", log.lastNumber},
                      {"firstTime", log.firstTime},
                      {"lastTime", log.lastTime}});
    PrintJson({{"place", JsonOfPlace(place)}, {"logs", list}});
    return kDone;
  }
  std::cout << "Logs of " << PlaceText(place) << (logs.empty() ? ": none\n" : "\n");
  for (const EventLogSummary& log : logs) {
    std::cout << OneLine(log.name) << ": " << log.records << " records, " << log.bytes << " bytes";
    if (log.records > 0)
      std::cout << ", " << log.firstNumber << " (" << TimeText(log.firstTime) << ") to "
                << log.lastNumber << " (" << TimeText(log.lastTime) << ")";
    std::cout << '\n';
  }
  return kDone;
}

struct ClearOptions {
  std::string log;
  std::optional<Ondrel::ULong> before;
  bool isAll = false;
};

int ClearLog(const GlobalOptions& globals, const ClearOptions& options) {
  if (options.before.has_value() == options.isAll)
    throw UsageError("one of --before TIME and --all is required");
  const EventLogPlace place = KnownPlace();
  const std::string where = options.log + " in " + PlaceText(place);
  std::uint64_t removed = 0;
  const Progress progress("clearing " + OneLine(options.log));
  CheckLog(Ondrel::Host::ClearEventRecords(options.log, options.before, removed),
           "cannot clear the log " + where);
  if (removed == 0) ExpectLog(options.log, place);
  if (globals.json)
    PrintJson({{"log", options.log}, {"place", JsonOfPlace(place)}, {"removed", removed}});
  else
    std::cout << "Removed " << removed << " records of the log " << where << '\n';
  return kDone;
}

}  // namespace

Work AddLogListCommand(CLI::App& app) {
  app.footer("A journal is one log; its size is that of its files.\n");
  return [](const GlobalOptions& globals) { return ListLogs(globals); };
}

Work AddLogClearCommand(CLI::App& app) {
  app.footer(
      "Record numbers are not given again. A journal is vacuumed by journalctl; on Windows a log "
      "can be cleared as a whole only.\n");
  const auto options = std::make_shared<ClearOptions>();
  app.add_option("LOG", options->log, "Log to clear")->required();
  app.add_option_function<std::string>(
         "--before",
         [options](const std::string& text) { options->before = TimeOf("--before", text); },
         "Records generated before this time (2026-11-21T20:34:24Z, 30d for 30 days ago)")
      ->type_name("TIME");
  app.add_flag("--all", options->isAll, "All records");
  return [options](const GlobalOptions& globals) { return ClearLog(globals, *options); };
}

}  // namespace Tool
