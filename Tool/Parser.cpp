#include "Tool/Parser.h"

#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Suggestion.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace Tool {

namespace {

/// Long and short option names as they are typed.
std::vector<std::string> OptionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  }
  return names;
}

/// Refuses an option that the parser does not know; what stands after "--" is none.
void RefuseUnknownOption(const CLI::App& app) {
  for (const std::string& word : app.remaining()) {
    if (word == "--" || word.size() < 2 || word.front() != '-') return;
    const std::string name = word.substr(0, word.find('='));
    throw UsageError("there is no option " + name + Suggestion(name, OptionNames(app)));
  }
}

bool TakesValues(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

void RefuseEmptyValue(CLI::App& app) {
  for (CLI::Option* const option : app.get_options(nullptr)) {
    if (!TakesValues(*option) || IsEmptyAllowed(*option)) continue;
    const std::vector<std::string> values = option->results();
    if (std::ranges::find(values, "") != values.end())
      throw UsageError(option->get_name() + " is empty");
  }
}

/// The words with "--name=" in two words: the parser takes the value of "--name=" from the next
/// word of the line.
std::vector<std::string> WithEmptyValues(const CLI::App& app,
                                         const std::vector<std::string>& words) {
  std::vector<std::string> split;
  auto word = words.begin();
  for (; word != words.end(); ++word) {
    const bool isOption = word->size() > 1 && word->front() == '-';
    // From the subcommand, or the program to run, on the words are not this parser's.
    if (*word == "--" || (!isOption && app.get_prefix_command())) break;
    split.push_back(*word);
    if (!isOption) continue;
    const std::size_t sign = word->find('=');
    const std::string name = word->substr(0, sign);
    const CLI::Option* const option = app.get_option_no_throw(name);
    if (option == nullptr) continue;
    const bool isGiven = sign != std::string::npos;
    if (isGiven && !TakesValues(*option)) throw UsageError(name + " takes no value");
    if (isGiven && sign + 1 == word->size()) {
      split.back() = name;
      split.emplace_back();
    } else if (!isGiven && option->get_items_expected_min() > 0 && word + 1 != words.end()) {
      split.push_back(*++word);
    }
  }
  split.insert(split.end(), word, words.end());
  return split;
}

/// The parser's complaint in the words of the others.
std::string WordsOf(const CLI::App& app, const CLI::ParseError& error) {
  std::string words = error.what();
  // Only numbers are converted: "Could not convert: MAIL = one,two".
  constexpr std::string_view kNotConverted = "Could not convert: ";
  constexpr std::string_view kSign = " = ";
  if (const std::size_t sign = words.find(kSign);
      words.starts_with(kNotConverted) && sign != std::string::npos)
    return words.substr(kNotConverted.size(), sign - kNotConverted.size()) + ": \"" +
           words.substr(sign + kSign.size()) + "\" is not a number";
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) == nullptr) return words;
  const std::string name = words.substr(0, words.find(':'));
  const CLI::Option* const option = app.get_option_no_throw(name);
  if (option == nullptr) return words;
  return option->results().size() > 1 ? name + " may be given once only"
                                      : name + " lacks its value";
}

}  // namespace

void PrepareParser(CLI::App& app, GlobalOptions& globals) {
  // An argument that begins with a slash is an argument on every host.
  app.allow_windows_style_options(false);
  app.allow_extras();
  app.set_help_flag();
  app.add_flag_callback(
         "-h,--help", [] { throw CLI::CallForHelp(); }, "Show this help")
      ->trigger_on_parse();
  AddGlobalOptions(app, globals);
}

void ParseWords(CLI::App& app, const std::vector<std::string>& words) {
  std::vector<std::string> reversed = WithEmptyValues(app, words);
  std::ranges::reverse(reversed);
  try {
    app.parse(std::move(reversed));
  } catch (const CLI::CallForHelp&) {
    throw;
  } catch (const CLI::ParseError& error) {
    RefuseUnknownOption(app);
    RefuseEmptyValue(app);
    throw UsageError(WordsOf(app, error));
  }
  RefuseUnknownOption(app);
  RefuseEmptyValue(app);
}

}  // namespace Tool
