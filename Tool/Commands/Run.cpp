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

Work AddRunCommand(CLI::App& app) {
  app.footer(
      "Everything from PROGRAM on is the program's, options too.\n"
      "Exit status: 0 the program ended with 0, 1 it did not or could not be started.\n");
  return [&app](const GlobalOptions& globals) {
    std::vector<std::string> words = OwnWords(app);
    if (words.empty()) throw UsageError("a program is required");
    RunOptions options;
    options.command = words.front();
    options.arguments.assign(words.begin() + 1, words.end());
    return RunProgram(globals, options);
  };
}

}  // namespace Tool
