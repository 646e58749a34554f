#pragma once

#include "Tool/Command.h"

#include <memory>
#include <string>
#include <vector>

namespace Tool {

/// What a line chose.
struct Choice {
  std::string path = "ondrel";       ///< "ondrel log report", as far as it was understood.
  GlobalOptions globals;             ///< As far as the line was read.
  std::unique_ptr<CLI::App> parser;  ///< The subcommand's; lives as long as its work.
  Work work;                         ///< Empty while nothing is chosen.
};

/// Reads a line's words, without the command's own name, into `choice`. Chooses exactly one
/// subcommand, help or version, and runs nothing. Throws `UsageError`.
void ReadLine(const std::vector<std::string>& words, Choice& choice);

/// Reads a line and runs what it chose. Every failure ends in words, or under --json in one object
/// on standard output. Yields the exit status.
int RunLine(const std::vector<std::string>& words);

/// Shows the help of the command (no names), a group or a subcommand. Throws `UsageError` when the
/// names are not those of one.
int ShowHelp(const GlobalOptions& globals, const std::vector<std::string>& names);

}  // namespace Tool
