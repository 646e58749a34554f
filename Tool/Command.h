#pragma once

#include <CLI/App.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

/// The companion command: one file for each subcommand, each adding itself to the command line and
/// choosing what is run when the line names it. Results go to standard output, everything said
/// about the work to standard error.

namespace Tool {

/// How the command ends.
enum ExitStatus : int {
  kDone = 0,
  kNegativeAnswer = 1,  ///< The operation ran and its answer is no.
  kWrongUsage = 2,
  kRaisedError = 3,
};

/// What every subcommand understands.
struct GlobalOptions {
  bool json = false;
  std::uint32_t traceMask = 0;
  bool isJournalAsked = false;
  std::string store;
  std::optional<std::uint64_t> storeCapacity;
};

/// The work of the subcommand that the command line chose; yields an `ExitStatus`. Empty while none
/// is chosen. May throw a module error and `UsageError`.
using Work = std::function<int(const GlobalOptions& globals)>;

/// The command line names something that cannot be used, such as a file that is not there.
class UsageError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

void AddStatusCommand(CLI::App& app, Work& chosen);
void AddCodeCommand(CLI::App& app, Work& chosen);
void AddCodesCommand(CLI::App& app, Work& chosen);
void AddLogReportCommand(CLI::App& log, Work& chosen);
void AddLogFollowCommand(CLI::App& log, Work& chosen);
void AddMailCommand(CLI::App& app, Work& chosen);
void AddAlertCommand(CLI::App& app, Work& chosen);
void AddOsCommand(CLI::App& app, Work& chosen);
void AddMatchCommand(CLI::App& app, Work& chosen);
void AddAdaptersCommand(CLI::App& app, Work& chosen);
void AddLocateCommand(CLI::App& app, Work& chosen);
void AddRunCommand(CLI::App& app, Work& chosen);
void AddCompareCommand(CLI::App& app, Work& chosen);
void AddDateCommands(CLI::App& app, Work& chosen);
void AddHostCommands(CLI::App& app, Work& chosen);
void AddNVMeCommand(CLI::App& app, Work& chosen);
void AddPartitionsCommand(CLI::App& app, Work& chosen);
void AddDisksCommand(CLI::App& app, Work& chosen);

}  // namespace Tool
