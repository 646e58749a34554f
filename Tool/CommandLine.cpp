#include "Tool/CommandLine.h"

#include "Tool/Help.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Parser.h"
#include "Tool/StandardOutput.h"
#include "Tool/Suggestion.h"
#include "Tool/TimeLimit.h"

#include <Pirsk/ModuleInfo.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <new>

namespace Tool {

namespace {

constexpr const char* kSummary =
    "What a storage service asks of its host: drive status events, logs, mail, devices, time.";

constexpr const char* kFrontNotes =
    "'ondrel help SUBCOMMAND' shows what a subcommand takes.\n"
    "Exit status: 0 done, 1 the answer is no, 2 an argument cannot be used, 3 the host or the "
    "library failed, 141 nobody reads standard output any more.";

const Subcommand* Find(std::span<const Subcommand> subcommands, std::string_view name) {
  const auto row = std::ranges::find(subcommands, name, &Subcommand::name);
  return row != subcommands.end() ? &*row : nullptr;
}

std::vector<std::string> NamesOf(std::span<const Subcommand> subcommands) {
  std::vector<std::string> names;
  for (const Subcommand& subcommand : subcommands) names.emplace_back(subcommand.name);
  return names;
}

Work Showing(HelpPage page) {
  return [page = std::move(page)](const GlobalOptions& globals) {
    if (globals.json)
      PrintJson(HelpJson(page));
    else
      std::cout << HelpText(page);
    return int{kDone};
  };
}

int PrintVersion(const GlobalOptions& globals) {
  const std::string identity = Pirsk::Misc::ModuleIdentity(5);
  Answer(globals, {{"version", ONDREL_VERSION}, {"identity", identity}},
         "ondrel " ONDREL_VERSION " (" + identity + ")");
  return kDone;
}

void Describe(CLI::App& app, const Subcommand* subcommand) {
  app.description(subcommand != nullptr ? std::string(subcommand->summary) : kSummary);
  if (subcommand == nullptr) app.footer(kFrontNotes);
}

/// Without the words that ask for help, which nothing is read after.
std::vector<std::string> WithoutHelp(std::vector<std::string> words) {
  std::erase_if(words, [](const std::string& word) { return word == "-h" || word == "--help"; });
  return words;
}

/// A line whose rest is not read any more: a global option in it still counts.
void TakeGlobalOptions(const std::vector<std::string>& words, GlobalOptions& globals) {
  CLI::App app;
  PrepareParser(app, globals);
  try {
    ParseWords(app, WithoutHelp(words));
  } catch (const UsageError&) {
  } catch (const CLI::CallForHelp&) {
    // Asked for among the letters of one word, such as "-hV".
  }
}

/// Reads a subcommand's words.
void ReadSubcommand(const Subcommand& subcommand, const std::vector<std::string>& words,
                    Choice& choice) {
  choice.parser = std::make_unique<CLI::App>();
  CLI::App& app = *choice.parser;
  PrepareParser(app, choice.globals);
  Describe(app, &subcommand);
  if (!subcommand.words.empty()) app.prefix_command();
  Work work = subcommand.add(app);
  try {
    ParseWords(app, words);
  } catch (const CLI::CallForHelp&) {
    TakeGlobalOptions(words, choice.globals);
    choice.work = Showing(HelpOf(app, choice.path, {}, subcommand.words));
    return;
  }
  if (subcommand.words.empty()) {
    std::vector<std::string> extras = app.remaining();
    std::erase(extras, "--");
    if (!extras.empty()) throw UsageError("\"" + extras.front() + "\" is one word too many");
  }
  choice.work = std::move(work);
}

/// Reads the front of a line: the command's own (`group` is null) or a group's.
void ReadFront(const Subcommand* group, const std::vector<std::string>& words, Choice& choice) {
  const std::span<const Subcommand> members = group != nullptr ? group->members : Subcommands();
  CLI::App app;
  PrepareParser(app, choice.globals);
  Describe(app, group);
  bool isVersionAsked = false;
  if (group == nullptr)
    app.add_flag("-V,--version", isVersionAsked, "Show the version and the library's identity");
  app.prefix_command();
  try {
    ParseWords(app, words);
  } catch (const CLI::CallForHelp&) {
    TakeGlobalOptions(words, choice.globals);
    choice.work = Showing(HelpOf(app, choice.path, members, {}));
    return;
  }
  std::vector<std::string> rest = OwnWords(app);
  if (isVersionAsked) {
    if (!rest.empty()) throw UsageError("\"" + rest.front() + "\" is one word too many");
    choice.work = PrintVersion;
    return;
  }
  if (rest.empty()) throw UsageError("a subcommand is required");
  const std::string name = rest.front();
  rest.erase(rest.begin());
  const Subcommand* const subcommand = Find(members, name);
  if (subcommand == nullptr) {
    TakeGlobalOptions(rest, choice.globals);
    throw UsageError("\"" + name + "\" is not a subcommand" + Suggestion(name, NamesOf(members)));
  }
  choice.path += ' ' + name;
  if (subcommand->members.empty())
    ReadSubcommand(*subcommand, rest, choice);
  else
    ReadFront(subcommand, rest, choice);
}

int Report(const Choice& choice, const Failure& failure) {
  const int status = failure.Status();
  if (choice.globals.json) {
    PrintJson({{"error", failure.Details()}, {"exitStatus", status}});
    return status;
  }
  // Words of the line stand in it, with whatever bytes they have.
  Say(status == kWrongUsage ? OneLine(failure.what()) : failure.what());
  if (status == kWrongUsage) std::cerr << "Run '" << choice.path << " --help' for its usage.\n";
  if (const auto* const raised = dynamic_cast<const ModuleFailure*>(&failure);
      raised != nullptr && choice.globals.traceMask != 0)
    std::cerr << OriginOfError(raised->Report());
  return status;
}

Failure UnexpectedFailure(const std::string& words) {
  return {kFailed,
          words,
          {{"kind", "unexpected"}, {"number", nullptr}, {"name", "UNEXPECTED"}, {"text", words}}};
}

int ReadAndRun(const std::vector<std::string>& words) {
  Choice choice;
  try {
    ReadLine(words, choice);
    ApplyGlobalOptions(choice.globals);
    return choice.work(choice.globals);
  } catch (const Failure& failure) {
    return Report(choice, failure);
  } catch (unsigned int number) {
    return Report(choice, ModuleFailure(number, ""));
  } catch (const ReaderGone&) {
    throw;
  } catch (const OutputFailure&) {
    throw;
  } catch (const std::ios_base::failure& error) {
    // Standard output has failed before, and says so at the end.
    if (std::cout.bad()) return kFailed;
    return Report(choice, UnexpectedFailure(error.what()));
  } catch (const std::bad_alloc&) {
    return Report(choice, UnexpectedFailure("out of memory"));
  } catch (const std::exception& error) {
    return Report(choice, UnexpectedFailure(error.what()));
  }
}

std::string NoMemberText(const std::string& name, const std::string& group,
                         std::span<const Subcommand> members) {
  return "\"" + name + "\" is not a subcommand of '" + group + "'" +
         Suggestion(name, NamesOf(members));
}

}  // namespace

std::vector<std::string> OwnWords(const CLI::App& app) {
  std::vector<std::string> words = app.remaining();
  if (!words.empty() && words.front() == "--") words.erase(words.begin());
  return words;
}

void ReadLine(const std::vector<std::string>& words, Choice& choice) {
  ReadFront(nullptr, words, choice);
}

int RunLine(const std::vector<std::string>& words) {
  StandardOutput output;
  try {
    const int status = ReadAndRun(words);
    output.Finish();
    if (IsWorkLeftBehind()) std::_Exit(status);
    return status;
  } catch (const ReaderGone&) {
    return kReaderGone;
  } catch (const OutputFailure& failure) {
    Say(failure.what());
    return kFailed;
  }
}

int ShowHelp(const GlobalOptions& globals, const std::vector<std::string>& names) {
  std::string path = "ondrel";
  std::span<const Subcommand> members = Subcommands();
  for (const std::string& name : names) {
    const Subcommand* const subcommand = Find(members, name);
    if (subcommand == nullptr) throw UsageError(NoMemberText(name, path, members));
    members = subcommand->members;
    path += ' ' + name;
  }
  // Read as the line that asks for it, so that help comes about in one way.
  std::vector<std::string> words = names;
  words.emplace_back("--help");
  Choice choice;
  ReadLine(words, choice);
  return choice.work(globals);
}

}  // namespace Tool
