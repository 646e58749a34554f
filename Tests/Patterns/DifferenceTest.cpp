#include "Engines.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>

// What the engine means otherwise than PCRE2 does, each with an example. Docs/patterns.md lists
// them.

namespace Pirsk::Regex::Testing {
namespace {

struct Row {
  const char* name;
  std::string pattern;
  std::string text;
  Spans own;
  std::optional<Spans> other;  // Nothing where PCRE2 refuses the pattern.
};

void PrintTo(const Row& row, std::ostream* stream) { *stream << row.pattern << " on " << row.text; }

class Difference : public testing::TestWithParam<Row> {};

TEST_P(Difference, IsThisOne) {
  const Row& row = GetParam();
  EXPECT_EQ(Own(row.pattern).Find(row.text), row.own);
  const Pcre2 other(row.pattern, 0);
  ASSERT_EQ(other.IsRefused(), !row.other.has_value());
  if (row.other) {
    EXPECT_EQ(other.Find(row.text), *row.other);
  }
}

const Row kRows[] = {
    {"EmptyIterationIsUndone", "(a*)*", "b", {{0, 0}, {-1, -1}}, Spans{{0, 0}, {0, 0}}},
    {"EmptyIterationIsAskedToMove", "(a*?)*", "aa", {{0, 2}, {1, 2}}, Spans{{0, 0}, {0, 0}}},
    {"LoopFailsWhereItsFirstIterationShrinksToNothing", "(?:a*)?a", "a", {}, Spans{{0, 1}}},
    {"GreedyLoopOffersAnEndOnce", "(?:\\w.|b)+b+?", "aabbab", {{0, 4}}, Spans{{0, 6}}},
    {"OpenGroupMayBeReferredTo", "(b\\1)", "bb", {{0, 2}, {0, 2}}, Spans{}},
    {"GroupThatWasGivenUpMayBeReferredTo", "(?:(?=(a))b|a)\\1", "aab", {{0, 2}, {-1, -1}}, Spans{}},
    {"GroupOfAnIterationTakenBackMayBeReferredTo",
     "(?:(a|b)|a)+\\1",
     "aab",
     {{0, 3}, {0, 1}},
     Spans{{0, 2}, {0, 1}}},
    {"CapturesOfARecursionStay", "(a|b)(?1)", "ab", {{0, 2}, {1, 2}}, Spans{{0, 2}, {0, 1}}},
    {"CountHasThreeDigits", "^a{1000}", std::string(150, 'a'), {{0, 100}}, Spans{}},
    {"LeadingCommaIsNothing", "a{,5}", "a{,5}", {{0, 0}}, Spans{{0, 5}}},
    {"TextInBracesIsNothing", "a{x}", "a{x}", {{0, 0}}, Spans{{0, 4}}},
    {"ReversedRangeIsItsFirstNumber", "a{3,2}", "aaa", {{0, 3}}, std::nullopt},
    {"ExactCountSwallowsASuffix", "(?:ab|a){1}+b", "ab", {{0, 2}}, Spans{}},
    {"DollarIsTheVeryEnd", "a$", "a\n", {}, Spans{{0, 1}}},
    {"LastLineEndMayBeOfTwoCharacters", "a\\Z", "a\r\n", {{0, 1}}, Spans{}},
    {"FormFeedIsNotWhiteSpace", "\\s", "\f", {}, Spans{{0, 1}}},
    {"ClassStandsAlone", "[:digit:]", "g7", {{1, 2}}, std::nullopt},
    {"BracketsMayBeEmpty", "[]a]", "a]", {}, Spans{{0, 1}}},
    {"ReversedClassRangeIsEmpty", "[z-a]|q", "zaq", {{2, 3}}, std::nullopt},
    {"NamedGroupsAreNumberedLast",
     "(?<n>a)(b)",
     "ab",
     {{0, 2}, {1, 2}, {0, 1}},
     Spans{{0, 2}, {0, 1}, {1, 2}}},
    {"NamesHaveNoCase", "(?<n>a)\\k<N>", "aa", {{0, 2}, {0, 1}}, std::nullopt},
    {"LookbehindHasAnyWidth", "(?<=a+)b", "aab", {{2, 3}}, std::nullopt},
    {"ClosingBracketEndsThePattern", "ab)cd", "abcd", {{0, 2}}, std::nullopt},
    {"MissingBracketIsClosedByTheEnd", "(ab", "ab", {{0, 2}, {0, 2}}, std::nullopt},
    {"QuantifierWithNothingBeforeItIsALiteral", "*a", "*a", {{0, 2}}, std::nullopt},
    {"SecondQuantifierIsALiteral", "a**", "aa*", {{0, 3}}, std::nullopt},
    {"ReferenceToNoGroupFails", "a\\2|b", "ab", {{1, 2}}, std::nullopt},
    {"RecursionIntoNoGroupIsEmpty", "a(?7)b", "ab", {{0, 2}}, std::nullopt},
    {"UpperCaseIsQuoted", "\\Uab\\E", "AB", {{0, 2}}, std::nullopt},
};

INSTANTIATE_TEST_SUITE_P(FromPcre2, Difference, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace Pirsk::Regex::Testing
