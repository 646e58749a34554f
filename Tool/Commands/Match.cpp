#include "Regex/Pattern.h"
#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <CLI/Error.hpp>

#include <cstdint>
#include <iostream>
#include <memory>

namespace Tool {

namespace {

using Pirsk::Regex::CMatchContext;
using Pirsk::Regex::CMatchResult;
using Pirsk::Regex::CPatternT;

// The letters of --flags, in the order of the flags' bits.
constexpr std::string_view kFlagLetters = "smgirx";

std::uint32_t FlagsOf(const std::string& letters) {
  std::uint32_t flags = 0;
  for (const char letter : letters) {
    const std::size_t bit = kFlagLetters.find(letter);
    if (bit == std::string_view::npos)
      throw UsageError(std::string("\"") + letter + "\" is no flag of \"" +
                       std::string(kFlagLetters) + "\"");
    flags |= 1U << bit;
  }
  return flags;
}

// The bytes that the characters of a JSON text stand for; false for a character above 255.
bool BytesOf(const std::string& text, std::string& bytes) {
  bytes.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80) {
      bytes += text[i];
    } else if ((lead == 0xC2 || lead == 0xC3) && i + 1 < text.size()) {
      bytes +=
          static_cast<char>((lead & 0x03) << 6 | (static_cast<unsigned char>(text[++i]) & 0x3F));
    } else {
      return false;
    }
  }
  return true;
}

Json JsonOf(const CMatchResult& match) {
  Json json = {{"matched", match.IsMatched()}, {"groups", Json::array()}};
  if (!match.IsMatched()) return json;
  for (std::int64_t group = 0; group <= match.MaxGroupNumber(); ++group)
    json["groups"].push_back({match.GroupBegin(group), match.GroupEnd(group)});
  return json;
}

struct MatchOptions {
  std::string pattern;
  std::string text;
  std::string flags;
  bool all = false;
  bool jsonLines = false;
};

std::vector<CMatchResult> Find(const CPatternT& pattern, const std::string& text, bool all) {
  std::vector<CMatchResult> matches;
  CMatchContext context;
  pattern.PrepareMatch(text.data(), static_cast<std::int64_t>(text.size()), -1, &context);
  for (CMatchResult match = pattern.Match(context); match.IsMatched();
       match = pattern.Match(context)) {
    matches.push_back(match);
    if (!all) break;
  }
  return matches;
}

// One character for each byte, so that what stands below it lines up.
std::string Ruler(const std::string& text) {
  std::string ruler;
  for (const char c : text) ruler += c >= 0x20 && c < 0x7F ? c : '?';
  return ruler;
}

void PrintMatch(const std::string& text, const CMatchResult& match) {
  std::cout << Ruler(text) << '\n';
  for (std::int64_t group = 0; group <= match.MaxGroupNumber(); ++group) {
    const std::int64_t begin = match.GroupBegin(group);
    const std::int64_t end = match.GroupEnd(group);
    if (begin < 0) {
      std::cout << "group " << group << " took no part\n";
      continue;
    }
    const auto width = static_cast<std::size_t>(end - begin);
    std::cout << std::string(static_cast<std::size_t>(begin), ' ')
              << (width == 0 ? std::string("|") : std::string(width, '^')) << ' ' << group << " ["
              << begin << ", " << end << ")\n";
  }
}

int MatchText(const GlobalOptions& globals, const MatchOptions& options) {
  const std::uint32_t flags = FlagsOf(options.flags);
  CPatternT pattern;
  pattern.Compile(options.pattern.data(), static_cast<std::ptrdiff_t>(options.pattern.size()),
                  flags);
  const std::vector<CMatchResult> matches = Find(pattern, options.text, options.all);
  if (globals.json) {
    if (options.all) {
      Json json = Json::array();
      for (const CMatchResult& match : matches) json.push_back(JsonOf(match));
      PrintJson({{"matches", json}});
    } else {
      PrintJson(JsonOf(matches.empty() ? CMatchResult() : matches.front()));
    }
  } else if (matches.empty()) {
    std::cout << "no match\n";
  } else {
    for (const CMatchResult& match : matches) PrintMatch(options.text, match);
  }
  return matches.empty() ? kNegativeAnswer : kDone;
}

Json AnswerLine(const std::string& line) {
  const Json question = Json::parse(line, nullptr, false);
  if (!question.is_object() || !question.contains("pattern") || !question["pattern"].is_string() ||
      !question.contains("text") || !question["text"].is_string())
    return {{"error", "no object with the texts \"pattern\" and \"text\""}};
  std::string pattern;
  std::string text;
  if (!BytesOf(question["pattern"].get<std::string>(), pattern) ||
      !BytesOf(question["text"].get<std::string>(), text))
    return {{"error", "a character above \\u00FF is no byte"}};
  std::uint32_t flags = 0;
  if (question.contains("flags")) {
    if (!question["flags"].is_number_unsigned()) return {{"error", "\"flags\" is no number"}};
    flags = question["flags"].get<std::uint32_t>();
  }
  CPatternT compiled;
  compiled.Compile(pattern.data(), static_cast<std::ptrdiff_t>(pattern.size()), flags);
  return JsonOf(compiled.Match(text.data(), static_cast<std::int64_t>(text.size())));
}

// Answers each line as soon as nothing more is to be read at once.
int MatchLines() {
  bool isClean = true;
  for (std::string line; std::getline(std::cin, line);) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    const Json answer = AnswerLine(line);
    isClean = isClean && !answer.contains("error");
    std::cout << JsonLine(answer) << '\n';
    if (std::cin.rdbuf()->in_avail() <= 0) std::cout.flush();
  }
  return isClean ? kDone : kWrongUsage;
}

}  // namespace

Work AddMatchCommand(CLI::App& app) {
  app.footer(
      "Flags: s \".\" matches a line feed, m \"^\" and \"$\" work at line ends, g \"\\G\" is "
      "active, i either case, r from right to left, x white space and comments in the "
      "pattern.\nWith --jsonl each line is {\"pattern\",\"flags\",\"text\"}, flags as a number (s "
      "1, m 2, g 4, i 8, r 16, x 32), a character \\u00XX for each byte; each is answered with "
      "{\"matched\":true,\"groups\":[[begin,end],...]}, -1 for a group that took no part.\nExit "
      "status: 0 there is a match, 1 there is none.\n");
  const auto options = std::make_shared<MatchOptions>();
  CLI::Option* const lines =
      app.add_flag("--jsonl", options->jsonLines, "Answer questions from standard input");
  CLI::Option* const pattern =
      app.add_option("PATTERN", options->pattern, "The pattern")->type_name("");
  app.add_option("TEXT", options->text, "The text (empty)")->type_name("");
  app.add_option("--flags", options->flags, "Letters of \"smgirx\"")->type_name("LETTERS");
  app.add_flag("--all", options->all, "Show all matches, one behind the other");
  pattern->excludes(lines);
  return [options, pattern](const GlobalOptions& globals) {
    if (!options->jsonLines && pattern->count() == 0)
      throw UsageError("PATTERN or --jsonl is required");
    return options->jsonLines ? MatchLines() : MatchText(globals, *options);
  };
}

}  // namespace Tool
