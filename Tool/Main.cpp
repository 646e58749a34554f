#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Pirsk/ModuleInfo.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <exception>
#include <iostream>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

namespace Tool {

namespace {

constexpr const char* kExitStatuses =
    "Exit status: 0 done, 1 the operation's answer is no, 2 wrong usage, 3 an error was raised.";

void AddLogCommands(CLI::App& app, Work& chosen) {
  CLI::App* const log = AddSubcommand(app, "log", "Write and follow system event logs", "");
  AddLogReportCommand(*log, chosen);
  AddLogFollowCommand(*log, chosen);
}

/// A function that adds subcommands, and their names.
struct CommandFamily {
  std::array<std::string_view, 4> names;
  void (*add)(CLI::App& app, Work& chosen);
};

constexpr CommandFamily kCommands[] = {
    {{"status"}, AddStatusCommand},
    {{"code"}, AddCodeCommand},
    {{"codes"}, AddCodesCommand},
    {{"log"}, AddLogCommands},
    {{"mail"}, AddMailCommand},
    {{"alert"}, AddAlertCommand},
    {{"os"}, AddOsCommand},
    {{"match"}, AddMatchCommand},
    {{"adapters"}, AddAdaptersCommand},
    {{"locate"}, AddLocateCommand},
    {{"run"}, AddRunCommand},
    {{"compare"}, AddCompareCommand},
    {{"date", "stamp", "week-date", "uptime"}, AddDateCommands},
    {{"module-version", "reboot", "beep"}, AddHostCommands},
    {{"nvme"}, AddNVMeCommand},
    {{"partitions"}, AddPartitionsCommand},
    {{"disks"}, AddDisksCommand},
};

bool Names(const CommandFamily& family, std::string_view argument) {
  return !argument.empty() && std::ranges::find(family.names, argument) != family.names.end();
}

/// Adds the commands that the line may name: to add all takes longer than most of them run. Where
/// it names none, or asks for help before, all are added.
void AddCommands(CLI::App& app, std::span<char* const> arguments, Work& chosen) {
  std::array<bool, std::size(kCommands)> isWanted{};
  bool isAnyWanted = false;
  for (const std::string_view argument : arguments.subspan(arguments.empty() ? 0 : 1)) {
    if (!isAnyWanted && (argument == "-h" || argument == "--help")) break;
    for (std::size_t i = 0; i < isWanted.size(); ++i) {
      if (!Names(kCommands[i], argument)) continue;
      isWanted[i] = true;
      isAnyWanted = true;
    }
  }
  for (std::size_t i = 0; i < isWanted.size(); ++i)
    if (isWanted[i] || !isAnyWanted) kCommands[i].add(app, chosen);
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
  AddCommands(app, {arguments, static_cast<std::size_t>(argumentCount)}, chosen);

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
