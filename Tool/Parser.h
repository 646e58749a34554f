#pragma once

#include "Tool/Command.h"

#include <string>
#include <vector>

namespace Tool {

/// Makes a parser that knows the global options and keeps what it does not know.
void PrepareParser(CLI::App& app, GlobalOptions& globals);

/// Reads `words` with a parser that has all its options.
///
/// A value that is empty is refused, given as "--store=" or as a word of its own, unless the option
/// or positional is marked with `MayBeEmpty`; a flag with a value is refused. Throws
/// `CLI::CallForHelp`, or `UsageError` for a line that cannot be used.
void ParseWords(CLI::App& app, const std::vector<std::string>& words);

}  // namespace Tool
