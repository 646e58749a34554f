#include "Tool/Files.h"
#include "Tool/Lines.h"
#include "Tool/MatchText.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"
#include "Tool/StandardOutput.h"
#include "Tool/TimeLimit.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <system_error>

namespace Tool {

namespace {

using Pirsk::Regex::CMatchContext;
using Pirsk::Regex::CMatchResult;
using Pirsk::Regex::CPatternT;

// The letters of --flags, in the order of the flags' bits.
constexpr std::string_view kFlagLetters = "smgirx";
constexpr std::uint32_t kAllFlags = (1U << kFlagLetters.size()) - 1;

struct MatchOptions {
  std::string pattern;
  std::string text;
  std::string file;
  std::string flags;
  bool all = false;
  bool jsonLines = false;
  std::optional<std::chrono::milliseconds> limit;
};

/// One question. Shared with the thread that works on it, which may outlive the wait for it.
struct Question {
  std::string pattern;
  std::string text;
  std::uint32_t flags = 0;
  bool all = false;
  CPatternT compiled;
  std::vector<CMatchResult> matches;
};

std::uint32_t FlagsOf(const std::string& letters) {
  std::uint32_t flags = 0;
  for (const char letter : letters) {
    const std::size_t bit = kFlagLetters.find(letter);
    if (bit == std::string_view::npos)
      throw UsageError(std::string("\"") + letter + "\" is not a flag of \"" +
                       std::string(kFlagLetters) + "\"");
    flags |= 1U << bit;
  }
  return flags;
}

void Compile(Question& question) {
  question.compiled.Compile(question.pattern.data(),
                            static_cast<std::ptrdiff_t>(question.pattern.size()), question.flags);
  if (question.compiled.IsTooDeep()) throw UsageError("the pattern nests groups too deep");
}

void Find(Question& question) {
  CMatchContext context;
  const CPatternT& pattern = question.compiled;
  pattern.PrepareMatch(question.text.data(), static_cast<std::int64_t>(question.text.size()), -1,
                       &context);
  for (CMatchResult match = pattern.Match(context); match.IsMatched();
       match = pattern.Match(context)) {
    question.matches.push_back(match);
    if (!question.all) break;
  }
}

/// Finds the matches within the limit; throws `HostFailure` when it passes first.
void FindWithin(const std::optional<std::chrono::milliseconds>& limit,
                const std::shared_ptr<Question>& question) {
  if (!limit) return Find(*question);
  if (!IsDoneWithin(*limit, [question] { Find(*question); }))
    throw HostFailure("cannot answer", "the limit of " + std::to_string(limit->count()) +
                                           " ms passed before the search ended");
}

Json JsonOf(const Question& question, const CMatchResult& match) {
  Json json = {{"matched", match.IsMatched()}, {"groups", Json::array()}};
  if (!match.IsMatched()) return json;
  for (std::int64_t group = 0; group <= match.MaxGroupNumber(); ++group)
    json["groups"].push_back({match.GroupBegin(group), match.GroupEnd(group)});
  const auto names = question.compiled.NamedGroups();
  for (const auto& [name, group] : names) json["names"][name] = group;
  return json;
}

Json JsonOf(const Question& question) {
  if (question.all) {
    Json matches = Json::array();
    for (const CMatchResult& match : question.matches) matches.push_back(JsonOf(question, match));
    return {{"matches", matches}};
  }
  Json json =
      JsonOf(question, question.matches.empty() ? CMatchResult() : question.matches.front());
  if (question.compiled.IsUnbalanced()) json["unbalanced"] = true;
  return json;
}

int MatchText(const GlobalOptions& globals, const MatchOptions& options) {
  const auto question = std::make_shared<Question>();
  question->pattern = options.pattern;
  question->flags = FlagsOf(options.flags);
  question->all = options.all;
  Compile(*question);
  if (question->compiled.IsUnbalanced())
    throw UsageError("PATTERN: a group or class is not closed, or a \")\" closes nothing");
  const EndsWithReader end;
  question->text = options.file.empty() ? options.text : ReadWholeFile(options.file);
  {
    const Progress progress("searching");
    FindWithin(options.limit, question);
  }
  Answer(
      globals, [&] { return JsonOf(*question); },
      [&](std::ostream& out) {
        if (question->matches.empty()) out << "no match\n";
        for (const CMatchResult& match : question->matches)
          out << PictureOf(question->text, match, question->compiled.NamedGroups());
      });
  return question->matches.empty() ? kNegativeAnswer : kDone;
}

// The bytes that the characters of a JSON text stand for.
std::string BytesOf(const ReadJson& question, const char* name) {
  if (!question.contains(name) || !question[name].is_string())
    throw UsageError(std::string("\"") + name + "\" is not a text");
  const std::string text = question[name].get<std::string>();
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80) {
      bytes += text[i];
    } else if ((lead == 0xC2 || lead == 0xC3) && i + 1 < text.size()) {
      bytes +=
          static_cast<char>((lead & 0x03) << 6 | (static_cast<unsigned char>(text[++i]) & 0x3F));
    } else {
      throw UsageError(std::string("\"") + name + "\" has a character above \\u00FF");
    }
  }
  return bytes;
}

std::shared_ptr<Question> QuestionOf(std::string_view line) {
  const ReadJson json = ReadJson::parse(line, nullptr, false);
  if (!json.is_object()) throw UsageError("the line is not a JSON object");
  auto question = std::make_shared<Question>();
  question->pattern = BytesOf(json, "pattern");
  question->text = BytesOf(json, "text");
  if (json.contains("flags")) {
    const ReadJson& flags = json["flags"];
    if (!flags.is_number_unsigned() || flags.get<std::uint64_t>() > kAllFlags)
      throw UsageError("\"flags\" is not a number of 0 to " + std::to_string(kAllFlags));
    question->flags = flags.get<std::uint32_t>();
  }
  return question;
}

std::optional<InputLine> NextLine(InputLines& input) {
  try {
    return input.Next([] { std::cout << std::flush; });
  } catch (const std::system_error& error) {
    throw HostFailure("cannot read standard input", error.code().message());
  }
}

int MatchLines(const MatchOptions& options) {
  const EndsWithReader end;
  AnsweringLines progress;
  int status = kDone;
  InputLines input;
  while (const auto line = NextLine(input)) {
    try {
      if (line->isTooLong) throw UsageError("the line is longer than 1 MiB");
      const std::shared_ptr<Question> question = QuestionOf(line->text);
      Compile(*question);
      FindWithin(options.limit, question);
      std::cout << JsonLine(JsonOf(*question)) << '\n';
    } catch (const Failure& failure) {
      std::cout << JsonLine({{"error", failure.Details()}, {"line", line->number}}) << '\n';
      status = std::max<int>(status, failure.Status());
    }
    progress.Answered(line->number);
  }
  return status;
}

int Match(const GlobalOptions& globals, const MatchOptions& options, const CLI::App& app) {
  const bool isTextGiven = app.count("TEXT") != 0;
  if (options.jsonLines) {
    if (app.count("PATTERN") != 0 || app.count("--from") != 0 || options.all ||
        !options.flags.empty())
      throw UsageError("--jsonl takes patterns, texts and flags from its lines");
    return MatchLines(options);
  }
  if (app.count("PATTERN") == 0) throw UsageError("PATTERN or --jsonl is required");
  if (isTextGiven && !options.file.empty()) throw UsageError("TEXT excludes --from");
  return MatchText(globals, options);
}

}  // namespace

Work AddMatchCommand(CLI::App& app) {
  app.footer(
      "Flags: s \".\" matches a line feed, m \"^\" and \"$\" work at line ends, g \"\\G\" is "
      "active, i either case, r from right to left, x white space and comments in the pattern.\n"
      "With --jsonl each line is {\"pattern\",\"flags\",\"text\"}, flags as a number (s 1, m 2, g "
      "4, i 8, r 16, x 32), a character \\u00XX for each byte; each is answered with "
      "{\"jsonVersion\":1,\"matched\":true,\"groups\":[[begin,end],...]}, -1 for a group that took "
      "no part, or with {\"error\":{...},\"line\":N}. A pattern with a group or class that is not "
      "closed, or a \")\" that closes nothing, is answered as the engine reads it, with "
      "\"unbalanced\":true.\n"
      "Exit status: 0 there is a match, 1 there is none, 2 the pattern is malformed, 3 the limit "
      "passed.\n");
  const auto options = std::make_shared<MatchOptions>();
  MayBeEmpty(app.add_option("PATTERN", options->pattern, "Pattern"))->type_name("");
  MayBeEmpty(app.add_option("TEXT", options->text, "Text to search (default: empty)"))
      ->type_name("");
  app.add_option("--from", options->file, "Search this file, - for standard input")
      ->type_name("FILE");
  app.add_option("--flags", options->flags, "Letters of \"smgirx\"")->type_name("LETTERS");
  AddFlag(app, "--all", options->all, "Show all matches, one after the other");
  AddFlag(app, "--jsonl", options->jsonLines, "Answer questions from standard input");
  AddDuration(
      app, "--limit", [options](std::chrono::milliseconds limit) { options->limit = limit; },
      "Give up a search after this time");
  return [options, &app](const GlobalOptions& globals) { return Match(globals, *options, app); };
}

}  // namespace Tool
