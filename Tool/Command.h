#pragma once

#include "Tool/Failure.h"

#include <CLI/App.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// The companion command. How a subcommand is written:
///
/// A line is read in two steps. The front parser takes global options up to the first word that is
/// no option; that word names the subcommand in the table of Subcommands.cpp, the only place where
/// subcommands are named. All words after it go to a parser that has this one subcommand's options
/// and the global ones, so that no later word can choose anything else. A group such as `log` is a
/// front parser of its own with the rows of its members.
///
/// A subcommand is one file in Commands/ with one function `Work AddXCommand(CLI::App& app)`. It
/// adds options and positionals (Options.h has those that check numbers, durations and lines),
/// sets the notes at the end of its help with `app.footer`, and returns its work, which runs when
/// the whole line was understood. The work
///
/// - gives its result through `Answer` (Output.h), as text or as JSON, on standard output; what it
///   says about its work goes through `Say` to standard error. Names of JSON members are camelCase;
///   times are ISO 8601 in text, and numbers with their unit's name in JSON;
/// - returns `kDone`, or `kNegativeAnswer` when the operation ran and its answer is no;
/// - fails by throwing (Failure.h): `UsageError` for an argument that cannot be used,
///   `HostFailure` for what the host refused. A module error that the library raises is left to
///   fly, within `Touching`, which says what was touched. The front door turns each into words on
///   standard error or, under --json, one JSON object on standard output, and the exit status.
///
/// Writing to `std::cout` throws when standard output cannot be written (StandardOutput.h), so that
/// no result is lost in silence and a reader that goes away ends the command; a command whose work
/// matters more than its output holds `WorkComesFirst` meanwhile.

namespace Tool {

/// What every subcommand understands.
struct GlobalOptions {
  bool json = false;
  std::uint32_t traceMask = 0;
  bool isJournalAsked = false;
  std::string journalFiles;
  std::string store;
  std::optional<std::uint64_t> storeCapacity;
};

/// The work of the subcommand that the command line chose; yields an `ExitStatus`.
using Work = std::function<int(const GlobalOptions& globals)>;

/// One row of the table of subcommands.
struct Subcommand {
  std::string_view name;
  std::string_view summary;  ///< One line of help.
  /// Adds options and positionals, and gives the work. The parser lives until the work has ended.
  /// Null for a group.
  Work (*add)(CLI::App& app) = nullptr;
  /// The members of a group.
  std::span<const Subcommand> members = {};
  /// Not empty for a subcommand whose words from the first that is not an option on are another
  /// program's: how the help names them. `OwnWords` yields them.
  std::string_view words = {};
};

/// All subcommands, in the order of the help.
std::span<const Subcommand> Subcommands();

/// The words from the first that is not an option on, of a parser that leaves them alone. Throws
/// `UsageError` when an option that is not known stands before them.
std::vector<std::string> OwnWords(const CLI::App& app);

Work AddStatusCommand(CLI::App& app);
Work AddCodeCommand(CLI::App& app);
Work AddCodesCommand(CLI::App& app);
Work AddLogReportCommand(CLI::App& app);
Work AddLogFollowCommand(CLI::App& app);
Work AddLogListCommand(CLI::App& app);
Work AddLogShowCommand(CLI::App& app);
Work AddLogExportCommand(CLI::App& app);
Work AddLogImportCommand(CLI::App& app);
Work AddLogClearCommand(CLI::App& app);
Work AddMailCommand(CLI::App& app);
Work AddAlertCommand(CLI::App& app);
Work AddOsCommand(CLI::App& app);
Work AddMatchCommand(CLI::App& app);
Work AddAdaptersCommand(CLI::App& app);
Work AddLocateCommand(CLI::App& app);
Work AddRunCommand(CLI::App& app);
Work AddCompareCommand(CLI::App& app);
Work AddDateCommand(CLI::App& app);
Work AddStampCommand(CLI::App& app);
Work AddWeekDateCommand(CLI::App& app);
Work AddUptimeCommand(CLI::App& app);
Work AddModuleVersionCommand(CLI::App& app);
Work AddRebootCommand(CLI::App& app);
Work AddBeepCommand(CLI::App& app);
Work AddNVMeListCommand(CLI::App& app);
Work AddNVMeCheckCommand(CLI::App& app);
Work AddNVMeControllerCommand(CLI::App& app);
Work AddNVMeNamespaceCommand(CLI::App& app);
Work AddNVMeHealthCommand(CLI::App& app);
Work AddNVMeErrorsCommand(CLI::App& app);
Work AddNVMePageCommand(CLI::App& app);
Work AddNVMeStatusCommand(CLI::App& app);
Work AddPartitionsCommand(CLI::App& app);
Work AddDisksCommand(CLI::App& app);
Work AddDoctorCommand(CLI::App& app);
Work AddWatchCommand(CLI::App& app);
Work AddHelpCommand(CLI::App& app);

}  // namespace Tool
