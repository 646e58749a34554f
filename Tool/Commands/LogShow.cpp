#include "Tool/Command.h"
#include "Tool/LogRecords.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"

#include <deque>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace Tool {

namespace {

using Ondrel::Host::CEventLogReader;
using Ondrel::Host::EventLogItem;
using Ondrel::Host::EventLogItemKind;
using Ondrel::Host::EventLogPlace;

struct ShowOptions {
  RecordChoice choice;
  std::optional<std::int64_t> last;
};

int ShowLog(const GlobalOptions& globals, const ShowOptions& options) {
  const RecordFilter filter(options.choice);
  const EventLogPlace place = KnownPlace();
  Say("showing " + options.choice.log + " in " + PlaceText(place));
  const Progress progress("reading " + OneLine(options.choice.log));
  auto range = RangeOf(options.choice, place);
  const bool isTurned = options.last && !range.isNewestFirst;
  if (isTurned) range.isNewestFirst = true;

  CEventLogReader reader;
  const std::string what = "cannot read the log " + options.choice.log;
  CheckLog(reader.Open(options.choice.log, range), what);
  LoadMessages(reader, options.choice);
  RecordPrinter printer(options.choice.log, globals.json);
  std::deque<EventLogItem> turned;
  std::vector<EventLogItem> items;
  std::int64_t rest = options.last.value_or(std::numeric_limits<std::int64_t>::max());
  Ondrel::ULong error = 0;
  while (rest > 0 && std::cout.good()) {
    error = reader.Read(items);
    if (error != 0 || items.empty()) break;
    for (EventLogItem& item : items) {
      const bool isRecord = item.kind == EventLogItemKind::kRecord;
      if (rest == 0 || (isRecord && !filter.Wants(item.record))) continue;
      if (isRecord) --rest;
      if (isTurned)
        turned.push_front(std::move(item));
      else
        printer.Add(item);
    }
    printer.Flush();
  }
  for (const EventLogItem& item : turned) printer.Add(item);
  printer.Flush();
  CheckLog(error, what);
  if (printer.Records() == 0 && !printer.IsAnythingMissing()) {
    ExpectLog(options.choice.log, place);
    Say("no records of " + options.choice.log + " that were asked for");
  }
  return printer.IsAnythingMissing() ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddLogShowCommand(CLI::App& app) {
  app.footer(
      "TIME is 2026-11-21T20:34:24Z, 2026-11-21, @SECONDS since 1970, or 30s, 15min, 2h, 3d ago; "
      "all times are UTC.\n"
      "Exit status: 1 records that belong here are damaged or missing; each is named on standard "
      "error.\n");
  const auto options = std::make_shared<ShowOptions>();
  AddRecordChoice(app, options->choice);
  AddNumber(
      app, "--last", 1, std::numeric_limits<std::int64_t>::max(),
      [options](std::int64_t count) { options->last = count; },
      "Only the newest N that are wanted");
  for (const auto& [name, target, words] :
       {std::tuple{"--first-record", &options->choice.range.firstNumber, "From this number on"},
        std::tuple{"--last-record", &options->choice.range.lastNumber, "Up to this number"}})
    AddNumber(
        app, name, 1, std::numeric_limits<std::int64_t>::max(),
        [target = target](std::int64_t number) { *target = static_cast<std::uint64_t>(number); },
        words);
  app.add_flag("--newest-first", options->choice.range.isNewestFirst,
               "From the newest to the oldest");
  return [options](const GlobalOptions& globals) { return ShowLog(globals, *options); };
}

}  // namespace Tool
