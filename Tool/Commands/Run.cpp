#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/System.h>

#include <CLI/App.hpp>

#include <iostream>
#include <memory>

namespace Tool {

namespace {

struct RunOptions {
  std::string command;
  std::vector<std::string> arguments;
};

int RunProgram(const GlobalOptions& globals, const RunOptions& options) {
  std::string arguments;
  for (const std::string& argument : options.arguments)
    arguments += (arguments.empty() ? "" : " ") + argument;

  std::vector<std::string> lines;
  int exitStatus = 0;
  const bool isStarted =
      Ondrel::CSystem::ExecuteCommand(options.command, arguments, lines, exitStatus) != 0;
  if (globals.json) {
    PrintJson({{"started", isStarted},
               {"exitStatus", isStarted ? Json(exitStatus) : Json(nullptr)},
               {"lines", lines}});
  } else {
    for (const std::string& line : lines) std::cout << line << '\n';
    if (!isStarted) Say("the command processor cannot be started");
    if (exitStatus != 0) Say("ended with the raw status " + std::to_string(exitStatus));
  }
  return isStarted && exitStatus == 0 ? kDone : kNegativeAnswer;
}

}  // namespace

void AddRunCommand(CLI::App& app, Work& chosen) {
  CLI::App* const run = AddSubcommand(
      app, "run", "Run a command through the host's command processor and show what it prints",
      "The command is put in quotes; the arguments are joined by blanks and handed on as they\n"
      "stand. Options of ondrel itself stand before \"run\".\n"
      "Exit status: 0 the command ended with 0, 1 it did not or could not be started.\n");
  const auto options = std::make_shared<RunOptions>();
  run->add_option("CMD", options->command, "The program; its arguments follow")
      ->required()
      ->type_name("");
  // What stands behind the program is the program's, options too.
  run->fallthrough(false);
  run->prefix_command();
  run->callback([run, options, &chosen] {
    options->arguments = run->remaining();
    chosen = [options](const GlobalOptions& globals) { return RunProgram(globals, *options); };
  });
}

}  // namespace Tool
