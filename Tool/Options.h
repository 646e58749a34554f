#pragma once

#include "Tool/Command.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// The group of the help that the global options stand in.
inline constexpr const char* kGlobalGroup = "Options of every subcommand";

/// The number that `text` is, in decimal or after "0x" in hexadecimal, with an optional minus
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

/// Refuses a word that is not one of `words`, and names the nearest.
CLI::Validator IsOneOf(std::vector<std::string> words);

/// Marks an option or positional whose empty value is a value: for all others the parser refuses
/// one (Parser.h). Yields the option.
CLI::Option* MayBeEmpty(CLI::Option* option);

/// Whether an option was marked with `MayBeEmpty`.
bool IsEmptyAllowed(CLI::Option& option);

/// Adds a flag, which takes no value: the parser refuses "--yes=false".
CLI::Option* AddFlag(CLI::App& app, const std::string& name, bool& target,
                     const std::string& description);

/// The longest duration that an option takes: a year.
inline constexpr std::chrono::milliseconds kLongestDuration{std::chrono::hours(366 * 24)};

/// Adds an option or positional that takes a duration: a decimal number with the unit ms, s, min
/// (or m), h or d after it, of at most a year. Without a unit it counts in `unit`.
CLI::Option* AddDuration(CLI::App& app, const std::string& name,
                         std::function<void(std::chrono::milliseconds)> store,
                         const std::string& description, const std::string& unit = "s");

/// What `AddDuration` takes, of at most `longest`; nothing when `text` is not that. With an empty
/// `unit` a number alone is not a duration.
std::optional<std::chrono::milliseconds> ParseDuration(
    std::string_view text, std::string_view unit = "s",
    std::chrono::milliseconds longest = kLongestDuration);

/// Adds the options of `GlobalOptions`.
void AddGlobalOptions(CLI::App& app, GlobalOptions& globals);

/// Switches tracing on and chooses the event store as the options say.
void ApplyGlobalOptions(const GlobalOptions& globals);

}  // namespace Tool
