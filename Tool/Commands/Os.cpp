#include "Tool/Command.h"
#include "Tool/Facts.h"
#include "Tool/Files.h"
#include "Tool/Host/HostName.h"
#include "Tool/Lines.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"
#include "Tool/StandardOutput.h"

#include <Ondrel/OSInfo.h>

#include <CLI/App.hpp>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <memory>
#include <system_error>

namespace Tool {

namespace {

using Ondrel::COSInfo_Win;
using Ondrel::OS_FACTS;

struct OsOptions {
  bool facts = false;
  bool predicates = false;
  bool reported = false;
  std::string from;
};

struct FactsName {
  const char* name;
  bool (COSInfo_Win::*get)(std::string&) const;
};

constexpr FactsName kNames[] = {
    {"vendor", &COSInfo_Win::GetOSVendor},
    {"product", &COSInfo_Win::GetOSProduct},
    {"edition", &COSInfo_Win::GetOSEdition},
    {"servicePack", &COSInfo_Win::GetOSServicePack},
    {"version", &COSInfo_Win::GetOSVersion},
    {"build", &COSInfo_Win::GetOSBuildNumber},
    {"architecture", &COSInfo_Win::GetProcessorArchitecture},
    {"features", &COSInfo_Win::GetOSFeatures},
};

std::vector<std::string> PredicatesOf(const OS_FACTS& facts, bool isReported) {
  std::size_t count = 0;
  const Ondrel::OSPredicate* const predicates = Ondrel::OSPredicates(count);
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i)
    if (predicates[i].holds(facts, isReported ? 0 : 1) != 0) names.emplace_back(predicates[i].name);
  return names;
}

Json AnswerOf(const COSInfo_Win& info, const OsOptions& options) {
  Json json = {{"kind", "windows"}};
  if (options.facts) {
    json = JsonOf(info.Facts());
  } else {
    for (const FactsName& row : kNames) {
      std::string text;
      (info.*row.get)(text);
      json[row.name] = text;
    }
  }
  if (options.predicates) json["predicates"] = PredicatesOf(info.Facts(), options.reported);
  return json;
}

void AppendNames(std::string& line, const COSInfo_Win& info) {
  line += R"("kind":"windows")";
  std::string text;
  for (const FactsName& row : kNames) {
    text.clear();
    (info.*row.get)(text);
    line.append(",\"").append(row.name).append("\":");
    AppendJsonText(line, text);
  }
}

/// The answer as text of JSON: what `AnswerOf` gives, made without the tree where many ask.
void AppendAnswer(std::string& line, const COSInfo_Win& info, const OsOptions& options) {
  static_assert(kJsonVersion == 1);
  line += R"({"jsonVersion":1,)";
  if (options.facts)
    AppendMembers(line, info.Facts());
  else
    AppendNames(line, info);
  if (options.predicates) {
    const char* separator = R"(,"predicates":[)";
    const std::vector<std::string> names = PredicatesOf(info.Facts(), options.reported);
    if (names.empty()) line += separator;
    for (const std::string& name : names) {
      line += separator;
      AppendJsonText(line, name);
      separator = ",";
    }
    line += ']';
  }
  line += '}';
}

void PrintLine(const std::string& name, const std::string& value) {
  constexpr std::size_t kWidth = 22;
  std::cout << name << std::string(name.size() < kWidth ? kWidth - name.size() : 1, ' ')
            << OneLine(value) << '\n';
}

void PrintMembers(const Json& json, const std::string& prefix) {
  for (const auto& [name, value] : json.items()) {
    if (value.is_object())
      PrintMembers(value, prefix + name + ".");
    else if (value.is_string())
      PrintLine(prefix + name, value.get<std::string>());
    else if (!value.is_array())
      PrintLine(prefix + name, value.is_null() ? "" : value.dump());
  }
}

void PrintFlags(const OS_FACTS& facts) {
  std::string names;
  for (const Ondrel::OSFlag& flag : Ondrel::OSFlags::kAll)
    if (OSFlagIsSet(facts, flag)) names += (names.empty() ? "" : ", ") + std::string(flag.name);
  PrintLine("flags", names);
}

int ShowFacts(const GlobalOptions& globals, const COSInfo_Win& info, const OsOptions& options) {
  const Json answer = AnswerOf(info, options);
  if (globals.json) {
    PrintJson(answer);
    return kDone;
  }
  Json shown = answer;
  shown.erase("kind");
  shown.erase("predicates");
  PrintMembers(shown, "");
  if (options.facts) PrintFlags(info.Facts());
  if (options.predicates)
    for (const std::string& name : PredicatesOf(info.Facts(), options.reported))
      std::cout << name << '\n';
  return kDone;
}

Json JsonOf(const HostName& host) {
  const auto orNull = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
  return {{"kind", "linux"},
          {"distribution", orNull(host.distribution)},
          {"id", orNull(host.id)},
          {"version", orNull(host.version)},
          {"codename", orNull(host.codename)},
          {"description", orNull(host.description)},
          {"kernel", orNull(host.kernel)},
          {"kernelVersion", orNull(host.kernelVersion)},
          {"architecture", orNull(host.architecture)},
          {"virtualization", orNull(host.virtualization)},
          {"container", orNull(host.container)}};
}

int ShowHost(const GlobalOptions& globals, const OsOptions& options) {
  const std::optional<HostName> host = NameOfHost();
  if (!host) return ShowFacts(globals, COSInfo_Win(), options);
  if (options.facts || options.predicates || options.reported)
    throw UsageError(
        "--facts, --predicates and --reported ask about a record of Windows, and this host has "
        "none: name one with --from");
  const Json answer = JsonOf(*host);
  if (globals.json) {
    PrintJson(answer);
  } else {
    Json shown = answer;
    shown.erase("kind");
    PrintMembers(shown, "");
  }
  return kDone;
}

std::optional<InputLine> NextLine(InputLines& input, const std::function<void()>& flush) {
  try {
    return input.Next(flush);
  } catch (const std::system_error& error) {
    throw HostFailure("cannot read standard input", error.code().message());
  }
}

/// Answers each line of standard input with a line of JSON.
int NameLines(const OsOptions& options) {
  const EndsWithReader end;
  AnsweringLines progress;
  bool isClean = true;
  InputLines input;
  std::string answers;
  const auto flush = [&] {
    std::cout << answers << std::flush;
    answers.clear();
  };
  constexpr std::size_t kAnswersAtOnce = std::size_t{64} * 1024;
  OS_FACTS facts;
  while (const std::optional<InputLine> line = NextLine(input, flush)) {
    std::optional<FactsError> error;
    if (line->isTooLong)
      error = FactsError{kLongestLine,
                         "the line is longer than " + std::to_string(kLongestLine) + " bytes"};
    else
      error = ReadFacts(line->text, facts);
    if (error) {
      isClean = false;
      Json details = UsageError(error->text).Details();
      details["line"] = line->number;
      details["column"] = error->offset + 1;
      answers += JsonLine({{"error", details}});
    } else {
      AppendAnswer(answers, COSInfo_Win(facts), options);
    }
    progress.Answered(line->number);
    answers += '\n';
    if (answers.size() >= kAnswersAtOnce) flush();
  }
  flush();
  return isClean ? kDone : kWrongUsage;
}

/// "FILE:3:14: ..." as compilers write it.
std::string PlacedText(const std::string& path, const std::string& text, const FactsError& error) {
  const std::string before = text.substr(0, error.offset);
  const auto line = std::ranges::count(before, '\n') + 1;
  const std::size_t lastEnd = before.rfind('\n');
  const std::size_t column = error.offset - (lastEnd == std::string::npos ? 0 : lastEnd + 1) + 1;
  return path + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + error.text;
}

OS_FACTS ReadFactsFile(const std::string& path) {
  const std::string text = ReadWholeFile(path);
  OS_FACTS facts;
  if (const auto error = ReadFacts(text, facts)) throw UsageError(PlacedText(path, text, *error));
  return facts;
}

int NameSystem(const GlobalOptions& globals, const OsOptions& options) {
  if (options.from == "-") return NameLines(options);
  if (options.from.empty()) return ShowHost(globals, options);
  return ShowFacts(globals, COSInfo_Win(ReadFactsFile(options.from)), options);
}

}  // namespace

Work AddOsCommand(CLI::App& app) {
  app.footer(
      "On Linux: distribution, kernel, virtualization and container. On Windows, or with --from: "
      "vendor, product, edition and the rest, from a record of facts.\n"
      "With --from - each line of standard input is one record in JSON and is answered with one "
      "line of JSON; one that cannot be read is answered with its line, its column and what is "
      "wrong, and makes the exit status 2.\n");
  const auto options = std::make_shared<OsOptions>();
  AddFlag(app, "--facts", options->facts, "Show the record that the names come from");
  AddFlag(app, "--predicates", options->predicates, "Add the names of the predicates that hold");
  AddFlag(app, "--reported", options->reported,
          "Ask the predicates about the reported half, not the underlying one");
  app.add_option("--from", options->from,
                 "Name the record in this file, as --facts --json shows it; - for many records "
                 "from standard input")
      ->type_name("FILE");
  return [options](const GlobalOptions& globals) { return NameSystem(globals, *options); };
}

}  // namespace Tool
