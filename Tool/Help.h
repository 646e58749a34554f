#pragma once

#include "Tool/Command.h"

#include <string>
#include <utility>
#include <vector>

namespace Tool {

/// The widest line of help.
inline constexpr std::size_t kHelpWidth = 80;

/// What the help of the command, a group or a subcommand says. Manual pages and completions are
/// made from the same rows.
struct HelpPage {
  using Row = std::pair<std::string, std::string>;  ///< What is typed, and what it means.

  std::string path;     ///< "ondrel log report".
  std::string summary;  ///< One line.
  std::string usage;
  std::vector<Row> arguments;
  std::vector<Row> subcommands;
  std::vector<Row> options;
  std::vector<Row> globalOptions;  ///< Those of every subcommand.
  std::string notes;               ///< Paragraphs, each a line.
};

/// The help of one subcommand, or of the command or a group with its `members`. `words` stands for
/// words that are not ondrel's own.
HelpPage HelpOf(const CLI::App& app, const std::string& path, std::span<const Subcommand> members,
                std::string_view words);

/// The page as text of at most `kHelpWidth` columns; ends with a line end.
std::string HelpText(const HelpPage& page);

/// The page as JSON: the same rows, each an object with `name` and `text`.
Json HelpJson(const HelpPage& page);

}  // namespace Tool
