#pragma once

#include "Tool/Command.h"

#include <string>

namespace Tool {

/// The widest line of help.
inline constexpr std::size_t kHelpWidth = 80;

/// The usage of one subcommand, or of the command or a group with its `members`; ends with a line
/// end. `path` is "ondrel log report", `words` what stands for words that are not ondrel's own.
std::string HelpText(const CLI::App& app, const std::string& path,
                     std::span<const Subcommand> members, std::string_view words);

}  // namespace Tool
