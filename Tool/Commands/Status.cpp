#include "Tool/Command.h"
#include "Tool/DriveStatus.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <memory>

namespace Tool {

namespace {

std::string ColouredEvent(const Ondrel::CStateChangeEvent& event) {
  std::string text = EventText(event);
  if (event.Severity == Ondrel::kSeverityError) return Coloured(text, Colour::kRed);
  if (event.Severity == Ondrel::kSeverityWarning) return Coloured(text, Colour::kYellow);
  return text;
}

int ShowEvent(const GlobalOptions& globals, const StatusChange& change) {
  const std::optional<Ondrel::CStateChangeEvent> event = FindEvent(change);
  Answer(globals, JsonOfChange(change, event),
         ChangeText(change) + ": " + (event ? ColouredEvent(*event) : "there is no event for it"));
  return event ? kDone : kNegativeAnswer;
}

}  // namespace

Work AddStatusCommand(CLI::App& app) {
  app.footer(
      "Statuses: AVAILABLE, FAILED, GLOBAL_HOTSPARE, DEDICATED_HOTSPARE, OPERATIONAL, REBUILDING, "
      "OFFLINE and SYSTEM, each also with _SMART; DEGRADED and PARTIALLY_DEGRADED of a logical "
      "drive.\n"
      "Exit status: 0 there is an event, 1 there is none.\n");
  const auto change = std::make_shared<StatusChange>();
  AddStatusChange(app, *change);
  return [change](const GlobalOptions& globals) { return ShowEvent(globals, *change); };
}

}  // namespace Tool
