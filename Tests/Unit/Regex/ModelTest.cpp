#include "Regex/Pattern.h"
#include "Support/Sanitized.h"
#include "Unit/Regex/Model.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>

// The engine against the model, over patterns of everything that the grammar has and texts of a few
// characters: with all flags, from every place, and again after each match.

namespace Pirsk::Regex::Testing {
namespace {

// Sanitizers take their time: there a part of the questions, spread over all.
constexpr int kShare = Ondrel::Testing::WithSanitizer(20, 1);

int Below(std::mt19937& random, std::size_t bound) { return static_cast<int>(random() % bound); }

template <std::size_t kCount>
std::string OneOf(std::mt19937& random, const char* const (&texts)[kCount]) {
  return texts[Below(random, kCount)];
}

std::string RandomQuantifier(std::mt19937& random) {
  static const char* const kQuantifiers[] = {
      "",      "",       "",      "",      "*",      "*",    "+",    "?",    "*?",     "+?",
      "??",    "*+",     "++",    "?+",    "{2}",    "{2}?", "{2,}", "{3,}", "{2,}?",  "{2,}+",
      "{1,2}", "{0,2}?", "{2,4}", "{2,1}", "{1,3}+", "{0}",  "{0}?", "{,2}", "{1,3}?", "{ 1 , }"};
  return OneOf(random, kQuantifiers);
}

std::string RandomSource(std::mt19937& random, int depth) {
  static const char* const kLeaves[] = {"a",
                                        "b",
                                        "ab",
                                        "ba",
                                        "A",
                                        "\\n",
                                        " ",
                                        ".",
                                        "[ab]",
                                        "[^a]",
                                        "[^b]",
                                        "\\w",
                                        "\\W",
                                        "\\s",
                                        "\\S",
                                        "\\d",
                                        "\\D",
                                        "[a-b]",
                                        "[b-a]",
                                        "[-a]",
                                        "[\\d-b]",
                                        "[\\f\\s]",
                                        "[:alpha:]",
                                        "[:^alpha:]",
                                        "[[:upper:]b]",
                                        "[:xyz:]",
                                        "[[:foo:]]",
                                        "[^[:lower:]]",
                                        "\\b",
                                        "\\B",
                                        "^",
                                        "$",
                                        "\\A",
                                        "\\z",
                                        "\\Z",
                                        "\\G",
                                        "\\1",
                                        "\\2",
                                        "\\g1",
                                        "\\k<n>",
                                        "\\k'm'",
                                        "\\k<1>",
                                        "(?i)",
                                        "(?-i)",
                                        "(?m)",
                                        "(?s)",
                                        "(?g)",
                                        "(?#c)",
                                        "#c\n",
                                        "\\Qa*\\E",
                                        "\\Uab\\E",
                                        "\\x61",
                                        "\\u{62}",
                                        "-",
                                        "]",
                                        "{",
                                        "",
                                        "a",
                                        "b",
                                        "aa",
                                        "[AB]",
                                        "[a-bY-Z]",
                                        "\xE9",
                                        "[\xE0-\xFF]"};
  static const char* const kOpenings[] = {"(",       "(",     "(",     "(?:",   "(?:",   "(?>",
                                          "(?=",     "(?!",   "(?<=",  "(?<!",  "(?<n>", "(?'m'",
                                          "(?P<N>",  "(?<1>", "(?<3>", "(?(1)", "(?(2)", "(?(n)",
                                          "(?(?=a)", "(?(a)", "(?i:",  "(?-s:", "(?i-m:"};
  static const char* const kRecursions[] = {"(?R)", "(?1)", "(?R2)", "(?R<n>)", "(?R'm')"};
  std::string source;
  for (int items = Below(random, 3) + 1; items > 0; --items) {
    if (depth == 0 || Below(random, 3) == 0)
      source += OneOf(random, kLeaves);
    else if (Below(random, 12) == 0)
      source += OneOf(random, kRecursions);
    else
      source += OneOf(random, kOpenings) + RandomSource(random, depth - 1) + ")";
    source += RandomQuantifier(random);
  }
  if (Below(random, 3) == 0) source += "|" + RandomSource(random, depth > 0 ? depth - 1 : 0);
  return source;
}

// What shortcuts look for: a loop over one character, alone or before something.
std::string RandomLoop(std::mt19937& random) {
  static const char* const kCharacters[] = {
      "a",         "\\w",           "[ab]",  "[^b]",    ".",     "\\s",
      "[:alpha:]", "(a)",           "(a|b)", "(?:a|b)", "(a|a)", "(?<n>a|\\w)",
      "(?<1>a|b)", "([:alpha:]|1)", "(?i)",  "((a|b))", "(.)",   "([^b]|)"};
  static const char* const kRests[] = {"",      "",     "b",     "\\b", "$",    "(a)",
                                       "(b|A)", "\\1",  "(?=b)", "b?",  "[^a]", "(?:b|)",
                                       "\\w*b", "b{2}", "(?i)b", "(?1)"};
  static const char* const kBefore[] = {"", "", "", "^", "\\b", "(a)?", "b", "(?:)", "(?<=b)"};
  static const char* const kLoops[] = {"*", "+",  "{2,}", "{3,}",  "{2,}?",  "{2,}+",
                                       "?", "*?", "+?",   "{2,3}", "{2,3}?", "*+"};
  std::string source = OneOf(random, kCharacters) + OneOf(random, kLoops);
  if (Below(random, 3) == 0) source = "(" + source + ")";
  if (Below(random, 8) == 0)
    source = "(?:" + source + OneOf(random, kRests) + ")" + OneOf(random, kLoops);
  return OneOf(random, kBefore) + source + OneOf(random, kRests) + OneOf(random, kRests);
}

// A third of the way to a pattern that nobody would write.
std::string Damaged(std::mt19937& random, std::string source) {
  static constexpr char kBytes[] = "()[]{}*+?|\\^$-:,<>'ab1RkgQE#= \n";
  for (int changes = Below(random, 3) + 1; changes > 0 && !source.empty(); --changes) {
    const auto at = static_cast<std::size_t>(random() % source.size());
    if (Below(random, 2) == 0)
      source.erase(at, 1);
    else
      source.insert(at, 1, kBytes[Below(random, sizeof kBytes - 1)]);
  }
  return source;
}

std::string RandomText(std::mt19937& random) {
  static constexpr char kCharacters[] = "aaaabbbbA1 \n\r\f\xE9*";
  std::string text(random() % 11, '\0');
  for (char& c : text) c = kCharacters[Below(random, sizeof kCharacters - 1)];
  return text;
}

std::string Shown(const Spans& spans) {
  std::string text;
  for (const auto& [begin, end] : spans)
    text += "(" + std::to_string(begin) + "," + std::to_string(end) + ")";
  return text.empty() ? "nothing" : text;
}

Spans SpansOf(const CMatchResult& result) {
  Spans spans;
  for (std::int64_t group = 0; result.IsMatched() && group <= result.MaxGroupNumber(); ++group)
    spans.emplace_back(result.GroupBegin(group), result.GroupEnd(group));
  return spans;
}

// How many searches were compared; those that take the model too long are left out.
int Compare(std::mt19937& random, const std::string& source, std::uint32_t flags) {
  constexpr int kTexts = 5;
  constexpr int kRepeats = 4;
  constexpr std::int64_t kMostSteps = 20'000;
  CPatternT pattern;
  pattern.Compile(source.data(), static_cast<std::ptrdiff_t>(source.size()), flags);
  Model model(source, flags);
  int compared = 0;
  for (int texts = 0; texts < kTexts; ++texts) {
    const std::string text = RandomText(random);
    const auto length = static_cast<std::int64_t>(text.size());
    const std::int64_t start = Below(random, 3) != 0 ? -1 : Below(random, text.size() + 3);
    CMatchContext context;
    pattern.PrepareMatch(text.data(), length, start, &context);
    model.Prepare(text, start);
    for (int repeat = 0; repeat < kRepeats; ++repeat) {
      const std::optional<Spans> expected = model.Next(kMostSteps);
      if (!expected) break;
      ++compared;
      const Spans found = SpansOf(pattern.Match(context));
      EXPECT_EQ(Shown(found), Shown(*expected))
          << "pattern " << testing::PrintToString(source) << ", flags " << flags << ", text "
          << testing::PrintToString(text) << ", start " << start << ", search " << repeat + 1;
      EXPECT_EQ(context.m_currentPosition, model.Position());
      EXPECT_EQ(context.m_beginPosition, model.SearchStart());
      if (testing::Test::HasFailure() || expected->empty()) break;
    }
    if (testing::Test::HasFailure()) break;
  }
  return compared;
}

TEST(PatternModel, RandomPatternsFindWhatTheModelFinds) {
  std::mt19937 random(9);
  int compared = 0;
  for (int round = 0; round < 40'000 / kShare && !HasFailure(); ++round) {
    std::string source = RandomSource(random, Below(random, 4));
    if (Below(random, 6) == 0) source = Damaged(random, source);
    compared += Compare(random, source, random() % 64);
  }
  EXPECT_GT(compared, 200'000 / kShare);
}

TEST(PatternModel, LoopsOverCharactersFindWhatTheModelFinds) {
  std::mt19937 random(10);
  int compared = 0;
  for (int round = 0; round < 20'000 / kShare && !HasFailure(); ++round)
    compared += Compare(random, RandomLoop(random), random() % 64);
  EXPECT_GT(compared, 100'000 / kShare);
}

}  // namespace
}  // namespace Pirsk::Regex::Testing
