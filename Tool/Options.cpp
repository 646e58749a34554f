#include "Tool/Options.h"

#include "Tool/Suggestion.h"

#include <Ondrel/Host.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <CLI/Error.hpp>
#include <CLI/Validators.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <sstream>
#include <system_error>

namespace Tool {

namespace {

constexpr std::uint32_t kOndrelModule = 5;

// The name of a check that passes everything: the mark of an option whose value may be empty.
constexpr const char* kMayBeEmpty = "may be empty";

struct TraceLevel {
  std::string_view name;
  std::uint32_t bit;
};

constexpr std::array kTraceLevels = {
    TraceLevel{"error", Pirsk::Misc::kTraceError},
    TraceLevel{"entry", Pirsk::Misc::kTraceEntry},
    TraceLevel{"detail", Pirsk::Misc::kTraceDetail},
};

struct TimeUnit {
  std::string_view name;
  double milliseconds;
};

constexpr std::array kTimeUnits = {
    TimeUnit{"ms", 1},     TimeUnit{"s", 1000},      TimeUnit{"min", 60'000},
    TimeUnit{"m", 60'000}, TimeUnit{"h", 3'600'000}, TimeUnit{"d", 86'400'000},
};

char LowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

std::uint32_t TraceMaskOf(const std::string& levels) {
  std::uint32_t mask = 0;
  std::istringstream words(levels + ",");
  for (std::string word; std::getline(words, word, ',');) {
    const auto level =
        std::find_if(kTraceLevels.begin(), kTraceLevels.end(),
                     [&](const TraceLevel& known) { return IsSameWord(known.name, word); });
    if (level == kTraceLevels.end()) {
      throw CLI::ValidationError(
          "--trace", "\"" + word + "\" is not a level; levels are error, entry and detail");
    }
    mask |= level->bit;
  }
  return mask;
}

}  // namespace

std::optional<std::int64_t> ParseNumber(std::string_view text, std::int64_t min, std::int64_t max) {
  const bool isNegative = text.starts_with('-');
  if (isNegative) text.remove_prefix(1);
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (isHexadecimal) text.remove_prefix(2);
  if (text.starts_with('-')) return std::nullopt;  // The conversion would take a second sign.

  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || rest != end) return std::nullopt;
  if (isNegative) number = -number;
  if (number < min || number > max) return std::nullopt;
  return number;
}

bool IsSameWord(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return LowerCase(a) == LowerCase(b); });
}

CLI::Option* AddNumber(CLI::App& app, const std::string& name, std::int64_t min, std::int64_t max,
                       std::function<void(std::int64_t)> store, const std::string& description) {
  return app
      .add_option_function<std::string>(
          name,
          [name, min, max, store = std::move(store)](const std::string& text) {
            const std::optional<std::int64_t> number = ParseNumber(text, min, max);
            if (!number) {
              throw CLI::ValidationError(name, "\"" + text + "\" is not a number of " +
                                                   std::to_string(min) + " to " +
                                                   std::to_string(max));
            }
            store(*number);
          },
          description)
      ->type_name("N");
}

CLI::Option* AddRepeated(CLI::App& app, const std::string& name, std::vector<std::string>& target,
                         const std::string& description) {
  return app.add_option(name, target, description)->allow_extra_args(false);
}

CLI::Validator IsOneLine() {
  return CLI::Validator(
      [](std::string& text) {
        return text.find_first_of("\r\n") == std::string::npos ? std::string()
                                                               : std::string("has a line break");
      },
      "");
}

CLI::Validator IsOneOf(std::vector<std::string> words) {
  return CLI::Validator(
      [words = std::move(words)](std::string& text) {
        if (text.empty() || std::ranges::find(words, text) != words.end()) return std::string();
        std::string known;
        for (const std::string& word : words) known += (known.empty() ? "" : ", ") + word;
        return "\"" + text + "\" is not one of " + known + Suggestion(text, words);
      },
      "");
}

CLI::Option* MayBeEmpty(CLI::Option* option) {
  return option->check([](const std::string&) { return std::string(); }, "", kMayBeEmpty);
}

bool IsEmptyAllowed(CLI::Option& option) {
  try {
    return option.get_validator(kMayBeEmpty) != nullptr;
  } catch (const CLI::OptionNotFound&) {
    return false;
  }
}

CLI::Option* AddFlag(CLI::App& app, const std::string& name, bool& target,
                     const std::string& description) {
  return app.add_flag(name, target, description)->disable_flag_override();
}

std::optional<std::chrono::milliseconds> ParseDuration(std::string_view text, std::string_view unit,
                                                       std::chrono::milliseconds longest) {
  const std::size_t end = text.find_first_not_of("0123456789.");
  const std::string_view digits = text.substr(0, end);
  const std::string_view name = end == std::string_view::npos ? unit : text.substr(end);
  const auto known = std::ranges::find(kTimeUnits, name, &TimeUnit::name);
  if (known == kTimeUnits.end()) return std::nullopt;

  double number = 0;
  const auto [rest, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number,
                                             std::chars_format::fixed);
  if (error != std::errc() || rest != digits.data() + digits.size()) return std::nullopt;
  const double milliseconds = number * known->milliseconds;
  if (milliseconds > static_cast<double>(longest.count())) return std::nullopt;
  return std::chrono::milliseconds(std::llround(milliseconds));
}

CLI::Option* AddDuration(CLI::App& app, const std::string& name,
                         std::function<void(std::chrono::milliseconds)> store,
                         const std::string& description, const std::string& unit) {
  return app
      .add_option_function<std::string>(
          name,
          [name, unit, store = std::move(store)](const std::string& text) {
            const std::optional<std::chrono::milliseconds> duration = ParseDuration(text, unit);
            if (!duration) {
              throw CLI::ValidationError(
                  name, "\"" + text + "\" is not a duration such as 5, 0.5, 250ms, 2min or 1h");
            }
            store(*duration);
          },
          description)
      ->type_name("DURATION");
}

void AddGlobalOptions(CLI::App& app, GlobalOptions& globals) {
  std::vector<CLI::Option*> options;
  // Taken as soon as it is read, so that what is wrong with the rest of the line is shown as asked.
  options.push_back(AddFlag(app, "--json", globals.json, "Print results and failures as JSON")
                        ->trigger_on_parse());
  options.push_back(
      app.add_option_function<std::string>(
             "--trace", [&](const std::string& levels) { globals.traceMask = TraceMaskOf(levels); },
             "Trace to standard error; mail passwords stand in the detail level")
          ->type_name("error,entry,detail"));
  options.push_back(
      AddFlag(app, "--journal", globals.isJournalAsked, "Use the systemd journal as event log"));
  options.push_back(
      app.add_option("--directory,--file", globals.journalFiles,
                     "Read the journal files in this folder, or this one, as event log")
          ->type_name("PATH"));
  options.push_back(app.add_option_function<std::string>(
                           "--store", [&](const std::string& path) { globals.store = path; },
                           "Use this file as event log")
                        ->type_name("FILE"));
  options.push_back(
      AddNumber(
          app, "--store-capacity", Ondrel::Host::kMinEventStoreCapacity,
          std::numeric_limits<std::int64_t>::max(),
          [&](std::int64_t bytes) { globals.storeCapacity = static_cast<std::uint64_t>(bytes); },
          "Size in bytes at which the store drops its oldest records")
          ->type_name("BYTES"));
  for (CLI::Option* const option : options) option->group(kGlobalGroup);
}

void ApplyGlobalOptions(const GlobalOptions& globals) {
  if (globals.traceMask != 0) {
    Pirsk::Trace::SetSink(Pirsk::Trace::StandardErrorSink());
    Pirsk::Misc::SetTraceMask(kOndrelModule, globals.traceMask);
  }
  const bool isStoreAsked = !globals.store.empty() || globals.storeCapacity;
  if (globals.isJournalAsked && isStoreAsked)
    throw UsageError("--journal excludes --store and --store-capacity");
  if (!globals.journalFiles.empty() && (globals.isJournalAsked || isStoreAsked))
    throw UsageError("--directory and --file exclude --journal, --store and --store-capacity");
  if (globals.isJournalAsked && !Ondrel::Host::UseJournal()) {
    // It may be back in a moment: the line is right.
    if (Ondrel::Host::CurrentEventLog().kind != Ondrel::Host::EventLogKind::kWindows)
      throw HostFailure("cannot use the journal", "none takes entries on this host");
    throw UsageError("--journal: this host keeps events in a log of its own");
  }
  if (!globals.journalFiles.empty() && !Ondrel::Host::UseJournalFiles(globals.journalFiles))
    throw UsageError("--directory or --file: " + globals.journalFiles +
                     " is neither a folder nor a file, or this host has no journals");
  if (isStoreAsked &&
      !Ondrel::Host::UseEventStore(
          globals.store, globals.storeCapacity.value_or(Ondrel::Host::kDefaultEventStoreCapacity)))
    throw UsageError("--store: this host keeps events in a log of its own");
}

}  // namespace Tool
