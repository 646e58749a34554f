#include "Tool/Command.h"
#include "Tool/DriveStatus.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <iostream>
#include <memory>

namespace Tool {

namespace {

int ShowEvent(const GlobalOptions& globals, const StatusChange& change) {
  const std::optional<Ondrel::CStateChangeEvent> event = FindEvent(change);
  if (globals.json)
    PrintJson(JsonOfChange(change, event));
  else
    std::cout << ChangeText(change) << ": "
              << (event ? EventText(*event) : "there is no event for it") << '\n';
  return event ? kDone : kNegativeAnswer;
}

}  // namespace

Work AddStatusCommand(CLI::App& app) {
  app.footer("Exit status: 0 there is an event, 1 there is none.\n");
  const auto change = std::make_shared<StatusChange>();
  AddStatusChange(app, *change);
  return [change](const GlobalOptions& globals) { return ShowEvent(globals, *change); };
}

}  // namespace Tool
