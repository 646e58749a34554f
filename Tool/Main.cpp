#include "Command.h"
#include "Options.h"
#include "Output.h"

#include <Pirsk/ModuleInfo.h>

#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <iostream>

namespace Tool {

namespace {

constexpr const char* kExitStatuses =
    "Exit status: 0 done, 1 the operation's answer is no, 2 wrong usage, 3 an error was raised.";

void AddCommands(CLI::App& app, Work& chosen) {
  AddStatusCommand(app, chosen);
  AddCodeCommand(app, chosen);
  AddCodesCommand(app, chosen);
  CLI::App* const log = AddSubcommand(app, "log", "Write and follow system event logs", "");
  AddLogReportCommand(*log, chosen);
  AddLogFollowCommand(*log, chosen);
  AddMailCommand(app, chosen);
  AddAlertCommand(app, chosen);
  AddOsCommand(app, chosen);
  AddMatchCommand(app, chosen);
  AddAdaptersCommand(app, chosen);
  AddLocateCommand(app, chosen);
  AddRunCommand(app, chosen);
  AddCompareCommand(app, chosen);
  AddDateCommands(app, chosen);
  AddHostCommands(app, chosen);
  AddNVMeCommand(app, chosen);
  AddPartitionsCommand(app, chosen);
  AddDisksCommand(app, chosen);
}

/// "ondrel log report": the command with the subcommands that were understood.
std::string UnderstoodCommand(const CLI::App& app) {
  std::string command = "ondrel";
  const CLI::App* level = &app;
  while (!level->get_subcommands().empty()) {
    level = level->get_subcommands().front();
    command += " " + level->get_name();
  }
  return command;
}

int RefuseUsage(const CLI::App& app, const std::string& reason) {
  Say(reason);
  std::cerr << "Run '" << UnderstoodCommand(app) << " --help' for its usage.\n";
  return kWrongUsage;
}

void PrintVersion(bool asJson) {
  const std::string identity = Pirsk::Misc::ModuleIdentity(5);
  if (asJson)
    PrintJson({{"version", ONDREL_VERSION}, {"identity", identity}});
  else
    std::cout << "ondrel " ONDREL_VERSION " (" << identity << ")\n";
}

int Run(const CLI::App& app, const GlobalOptions& globals, const Work& work) {
  try {
    ApplyGlobalOptions(globals);
    return work(globals);
  } catch (unsigned int number) {
    PrintErrorReport(number);
    if (globals.json) PrintJson({{"error", JsonOfError(number)}});
    return kRaisedError;
  } catch (const UsageError& error) {
    return RefuseUsage(app, error.what());
  }
}

int ParseAndRun(int argumentCount, char** arguments) {
  CLI::App app(
      "What a storage service asks of its host: drive status events, logs, mail, devices, time.",
      "ondrel");
  app.footer(kExitStatuses);
  GlobalOptions globals;
  AddGlobalOptions(app, globals);
  app.set_version_flag("--version", ONDREL_VERSION, "Print the version and the library's identity");
  Work chosen;
  AddCommands(app, chosen);

  try {
    app.parse(argumentCount, arguments);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return kDone;
  } catch (const CLI::CallForVersion&) {
    PrintVersion(globals.json);
    return kDone;
  } catch (const CLI::ParseError& error) {
    return RefuseUsage(app, error.what());
  }
  if (!chosen) return RefuseUsage(app, "a subcommand is required");
  return Run(app, globals, chosen);
}

}  // namespace

}  // namespace Tool

int main(int argumentCount, char** arguments) {
#ifdef SIGPIPE
  // A reader that goes away is noticed where standard output or a connection is written.
  std::signal(SIGPIPE, SIG_IGN);
#endif
  int status = Tool::kRaisedError;
  try {
    status = Tool::ParseAndRun(argumentCount, arguments);
  } catch (const std::exception& error) {
    Tool::Say(error.what());
  }
  if (!std::cout.flush()) {
    Tool::Say("cannot write to standard output");
    if (status == Tool::kDone) status = Tool::kNegativeAnswer;
  }
  return status;
}
