#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// A program that is started without a command processor: each word reaches it as it stands here.
struct ProgramCall {
  std::string program;                 ///< A path, or a name that the host looks up.
  std::vector<std::string> arguments;  ///< What follows the program's name.
  std::optional<std::chrono::milliseconds> timeout;

  /// Takes what the program writes to its standard output, as it comes; false ends the program.
  /// Empty: the program writes to the standard output of the command.
  std::function<bool(std::string_view)> takeOutput;
};

/// How a program ended.
struct ProgramEnd {
  enum class Kind {
    kExited,       ///< `number` is its exit status.
    kSignalled,    ///< `name` is the signal or exception that ended it, `number` the exit status
                   ///< that this is passed on by: 128 and the signal, or that of the exception.
    kTimedOut,     ///< The time was over; the program and what it started were ended.
    kUnread,       ///< Its output was not taken, or nobody reads the command's; it was ended.
    kNotFound,     ///< There is no such program; `reason` says so.
    kNotRunnable,  ///< It is there and cannot be run; `reason` says why.
    kHostFailure,  ///< The host could not do it; `reason` says why.
  };

  Kind kind;
  unsigned int number = 0;
  std::string name{};
  std::string reason{};

  /// Of a program that could not be started: the published Win32 number for the reason, 0 for none.
  std::uint32_t hostError = 0;
};

/// Runs a program to its end.
///
/// Standard input and error are those of the command. The program gets default handling of the
/// signals that the command itself handles or ignores. While it runs, a request to end the command
/// (Linux: SIGTERM, SIGHUP, and SIGINT or SIGQUIT sent by a process) is passed on to the program,
/// whose end is then reported.
///
/// When the time is over the program is asked to end (Linux: SIGTERM to its process group) and
/// after `kProgramGrace` is ended without a question. With a timeout it runs in a process group
/// (Windows: a job) of its own.
///
/// With `takeOutput`, the program is ended in the same way when its output is not taken any more,
/// or (Linux) when nobody reads the standard output of the command; its own is closed then.
ProgramEnd RunProgram(const ProgramCall& call);

inline constexpr std::chrono::milliseconds kProgramGrace{2000};

}  // namespace Tool
