#include "Tool/Command.h"
#include "Tool/DurationText.h"
#include "Tool/Host/Program.h"
#include "Tool/HostErrors.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/StandardOutput.h"

#include <CLI/App.hpp>

#include <chrono>
#include <iostream>
#include <memory>
#include <optional>

namespace Tool {

namespace {

struct RunOptions {
  std::string program;
  std::vector<std::string> arguments;
  std::optional<std::chrono::milliseconds> timeout;
};

// What one object of JSON holds of a program's output, in bytes.
constexpr std::size_t kLargestOutput = std::size_t{16} << 20;

/// Cuts what a program writes into lines, without their ends.
class GatheredLines {
public:
  /// False when it would be too much to keep.
  bool Take(std::string_view text) {
    m_size += text.size();
    if (IsFull()) return false;
    for (const char character : text) {
      if (character == '\n')
        EndLine();
      else
        m_line += character;
    }
    return true;
  }

  bool IsFull() const { return m_size > kLargestOutput; }

  std::vector<std::string> Finish() {
    if (!m_line.empty()) EndLine();
    return std::move(m_lines);
  }

private:
  void EndLine() {
    if (m_line.ends_with('\r')) m_line.pop_back();
    m_lines.push_back(std::move(m_line));
    m_line.clear();
  }

  std::string m_line;
  std::vector<std::string> m_lines;
  std::size_t m_size = 0;
};

/// The exit status by which the command passes the end of a program on.
int ExitStatusOf(const ProgramEnd& end) {
  switch (end.kind) {
    case ProgramEnd::Kind::kExited:
    case ProgramEnd::Kind::kSignalled:
      return static_cast<int>(end.number);
    case ProgramEnd::Kind::kTimedOut:
      return 124;
    case ProgramEnd::Kind::kNotRunnable:
      return 126;
    case ProgramEnd::Kind::kNotFound:
      return 127;
    case ProgramEnd::Kind::kUnread:
      return kReaderGone;
    case ProgramEnd::Kind::kHostFailure:
      break;
  }
  return kFailed;
}

/// What is said of an end that is not the program's own; empty for one that is.
std::string WordsOf(const ProgramEnd& end, const RunOptions& options) {
  switch (end.kind) {
    case ProgramEnd::Kind::kExited:
    case ProgramEnd::Kind::kUnread:
      return "";
    case ProgramEnd::Kind::kSignalled:
      return options.program + " was ended by " + end.name;
    case ProgramEnd::Kind::kTimedOut:
      return options.program + " was ended: its time of " +
             DurationText(options.timeout.value_or(std::chrono::milliseconds(0))) + " was over";
    case ProgramEnd::Kind::kNotFound:
    case ProgramEnd::Kind::kNotRunnable:
    case ProgramEnd::Kind::kHostFailure:
      return "cannot run " + end.reason;
  }
  return "";
}

Json JsonOfEnd(const ProgramEnd& end, const RunOptions& options, std::vector<std::string> lines) {
  using Kind = ProgramEnd::Kind;
  const bool isStarted =
      end.kind == Kind::kExited || end.kind == Kind::kSignalled || end.kind == Kind::kTimedOut;
  const std::string words = WordsOf(end, options);
  Json json = {{"started", isStarted}};
  if (!isStarted) {
    json["error"] = Tool::HostFailure("cannot run " + options.program, end.reason).Details();
    if (end.hostError != 0)
      json["error"].update(Json{{"number", end.hostError}, {"name", HostErrorName(end.hostError)}});
  }
  json.update(Json{{"exitStatus", ExitStatusOf(end)},
                   {"signal", end.kind == Kind::kSignalled ? Json(end.name) : Json()},
                   {"timedOut", end.kind == Kind::kTimedOut},
                   {"reason", words.empty() ? Json() : Json(words)},
                   {"lines", lines}});
  return json;
}

int Run(const GlobalOptions& globals, const RunOptions& options) {
  GatheredLines lines;
  ProgramCall call;
  call.program = options.program;
  call.arguments = options.arguments;
  call.timeout = options.timeout;
  if (globals.json) call.takeOutput = [&](std::string_view text) { return lines.Take(text); };
  std::cout.flush();
  const ProgramEnd end = RunProgram(call);
  if (end.kind == ProgramEnd::Kind::kHostFailure)
    throw HostFailure("cannot run " + options.program, end.reason);
  if (end.kind == ProgramEnd::Kind::kUnread) {
    if (!lines.IsFull()) throw ReaderGone();
    throw HostFailure("cannot keep what " + options.program + " writes",
                      "it is more than " + std::to_string(kLargestOutput) +
                          " bytes; without --json it comes through as it is written");
  }
  const std::string words = WordsOf(end, options);
  if (globals.json)
    PrintJson(JsonOfEnd(end, options, lines.Finish()));
  else if (!words.empty())
    Say(OneLine(words));
  return ExitStatusOf(end);
}

}  // namespace

Work AddRunCommand(CLI::App& app) {
  app.footer(
      "Each word from PROGRAM on reaches the program as it stands; no command processor is "
      "between. What it writes comes through as it is written, with --json as the lines of one "
      "object at its end.\n"
      "Exit status: that of the program; 128 and the number of the signal that ended it; 124 its "
      "time was over; 126 it cannot be run; 127 it is not there; 2 wrong usage; 3 the host "
      "failed.\n");
  const auto timeout = std::make_shared<std::optional<std::chrono::milliseconds>>();
  AddDuration(
      app, "--timeout", [timeout](std::chrono::milliseconds time) { *timeout = time; },
      "End the program, and what it has started, after this time; what has begun a session of its "
      "own (Linux) goes on. Without it there is no limit");
  return [timeout, &app](const GlobalOptions& globals) {
    const std::vector<std::string> words = OwnWords(app);
    if (words.empty()) throw UsageError("a program is required");
    if (words.front().empty()) throw UsageError("the program's name is empty");
    if (*timeout == std::chrono::milliseconds(0)) timeout->reset();
    return Run(globals, {.program = words.front(),
                         .arguments = {words.begin() + 1, words.end()},
                         .timeout = *timeout});
  };
}

}  // namespace Tool
