#pragma once

#include "Tool/Command.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// The number that `text` is, in decimal or behind "0x" in hexadecimal, with an optional minus
/// sign. Nothing when there is anything else in it, or when it lies outside `min` to `max`.
std::optional<std::int64_t> ParseNumber(std::string_view text, std::int64_t min, std::int64_t max);

/// Whether two words are the same but for the case of ASCII letters.
bool IsSameWord(std::string_view left, std::string_view right);

/// Adds an option or positional that takes one number of `min` to `max`.
CLI::Option* AddNumber(CLI::App& app, const std::string& name, std::int64_t min, std::int64_t max,
                       std::function<void(std::int64_t)> store, const std::string& description);

/// Adds an option that may stand several times and takes one text each time.
CLI::Option* AddRepeated(CLI::App& app, const std::string& name, std::vector<std::string>& target,
                         const std::string& description);

/// Refuses text with a line break, which in a mail's header would begin a line of its own.
CLI::Validator IsOneLine();

/// Adds a subcommand that understands the global options too; its help ends with `notes`.
CLI::App* AddSubcommand(CLI::App& parent, const std::string& name, const std::string& description,
                        const std::string& notes);

/// Adds the options of `GlobalOptions`.
void AddGlobalOptions(CLI::App& app, GlobalOptions& globals);

/// Switches tracing on and chooses the event store as the options say.
void ApplyGlobalOptions(const GlobalOptions& globals);

}  // namespace Tool
