#include "Tool/Command.h"
#include "Tool/LogRecords.h"
#include "Tool/Names.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/CodeNames.h>
#include <Ondrel/SystemLog.h>

#include <CLI/Error.hpp>

#include <array>
#include <iostream>
#include <limits>
#include <memory>

namespace Tool {

namespace {

struct ReportOptions {
  std::string log;
  int event = 0;
  int type = 0;
  std::string text;
};

constexpr int kMinInt = std::numeric_limits<int>::min();
constexpr int kMaxInt = std::numeric_limits<int>::max();

int TypeOf(const std::string& text) {
  const std::optional<Ondrel::ULong> type = ParseEventType(text);
  if (!type)
    throw CLI::ValidationError("TYPE", "\"" + text +
                                           "\" is neither a number of 0 to 65535 nor error, "
                                           "warning or information");
  return static_cast<int>(*type);
}

// The event as it is kept: one that is not the product's stands as the catch-all.
std::int32_t KeptEvent(int event) {
  constexpr std::uint32_t kCustomerBit = 0x20000000;
  constexpr std::uint32_t kFirst = 0x20002712;
  constexpr std::uint32_t kLast = 0x20002B64;
  const std::uint32_t id = static_cast<std::uint32_t>(event) | kCustomerBit;
  return id < kFirst || id > kLast ? 10000 : EventCodeOf(event);
}

int ReportEvent(const GlobalOptions& globals, const ReportOptions& options) {
  const CheckedReport reported =
      ReportChecked(options.log, options.event, options.type, options.text);
  const std::int32_t kept = KeptEvent(options.event);
  if (globals.json) {
    PrintJson({{"log", options.log},
               {"event", options.event},
               {"keptEvent", kept},
               {"eventName", JsonOfName(Ondrel::EventCodeNames, kept)},
               {"type", options.type},
               {"text", options.text},
               {"place", JsonOfPlace(reported.place)},
               {"recordNumber", reported.report.number},
               {"checked", reported.report.isChecked}});
  } else {
    std::cout << "Reported event " << kept;
    if (const auto name = Ondrel::EventCodeNames.Name(kept)) std::cout << " (" << *name << ')';
    if (kept != EventCodeOf(options.event))
      std::cout << " in place of " << options.event << ", which is not an event,";
    std::cout << " of type " << options.type << " to the log " << options.log << ' '
              << ReportedWhere(reported) << '\n';
  }
  return kDone;
}

}  // namespace

Work AddLogReportCommand(CLI::App& app) {
  app.footer(
      "A TEXT that begins with - stands after --.\n"
      "Exit status: 3 the event was not kept, and the reason stands on standard error; or the "
      "answer could not be written "
      "(\"cannot write to standard output\"), and the event was kept.\n");
  const auto options = std::make_shared<ReportOptions>();
  app.add_option("LOG", options->log, "Log, which is also the event's source")->required();
  app.add_option_function<std::string>(
         "EVENT",
         [options](const std::string& text) {
           const std::optional<std::int64_t> event = ParseEvent(text, kMinInt, kMaxInt);
           if (!event) throw CLI::ValidationError("EVENT", WhyNotAnEvent(text));
           options->event = static_cast<int>(*event);
         },
         "Event code (10471), full id (0x200028E7) or name")
      ->required()
      ->type_name("EVENT");
  app.add_option_function<std::string>(
         "TYPE", [options](const std::string& text) { options->type = TypeOf(text); },
         "error, warning, information or a number")
      ->required()
      ->type_name("TYPE");
  app.add_option("TEXT", options->text, "The event's text")->required();
  return [options](const GlobalOptions& globals) { return ReportEvent(globals, *options); };
}

}  // namespace Tool
