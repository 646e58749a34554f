#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/Host.h>

#include <CLI/App.hpp>

#include <memory>
#include <string>

namespace Tool {

namespace {

struct RebootOptions {
  bool isSure = false;
  bool isForced = false;
  std::string message = "The machine restarts: ondrel reboot";
};

int Reboot(const GlobalOptions& globals, const RebootOptions& options) {
  if (!options.isSure) throw UsageError("--yes is required");
  const std::string refusal = Ondrel::Host::Restart(options.message, options.isForced);
  if (!refusal.empty())
    throw HostFailure("the machine does not restart",
                      refusal + (options.isForced ? "" : "; see --force"));
  Answer(globals, {{"restarts", true}}, "The machine restarts");
  return kDone;
}

}  // namespace

Work AddRebootCommand(CLI::App& app) {
  app.footer(
      "On Linux the login manager restarts the machine, and shows the message to the users and "
      "in the journal.\n"
      "Exit status: 0 the machine restarts, 3 it does not, and why is said.\n");
  const auto options = std::make_shared<RebootOptions>();
  AddFlag(app, "--yes", options->isSure, "Yes, this machine, now")->required();
  AddFlag(app, "--force", options->isForced,
          "Where the login manager does not, restart without it: no service is stopped");
  app.add_option("--message", options->message, "What the users are shown")
      ->type_name("TEXT")
      ->check(IsOneLine());
  return [options](const GlobalOptions& globals) { return Reboot(globals, *options); };
}

}  // namespace Tool
