#include "Regex/Pattern.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <ostream>
#include <thread>

namespace Pirsk::Regex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Spans = std::vector<std::pair<std::int64_t, std::int64_t>>;

Spans SpansOf(const CMatchResult& result) {
  Spans spans;
  if (!result.IsMatched()) return spans;
  for (std::int64_t group = 0; group <= result.MaxGroupNumber(); ++group)
    spans.emplace_back(result.GroupBegin(group), result.GroupEnd(group));
  return spans;
}

Spans Find(const std::string& pattern, const std::string& text, std::uint32_t flags = 0) {
  CPatternT compiled;
  compiled.Compile(pattern.data(), static_cast<std::ptrdiff_t>(pattern.size()), flags);
  return SpansOf(compiled.Match(text.data(), static_cast<std::int64_t>(text.size())));
}

struct Row {
  const char* name;
  std::string pattern;
  std::string text;
  Spans expected;
  std::uint32_t flags = 0;
};

void PrintTo(const Row& row, std::ostream* stream) { *stream << row.pattern << " on " << row.text; }

class Pattern : public testing::TestWithParam<Row> {};

TEST_P(Pattern, Finds) {
  const Row& row = GetParam();
  EXPECT_EQ(Find(row.pattern, row.text, row.flags), row.expected);
}

const std::string kManyAs(150, 'a');

const Row kCountRows[] = {
    {"FourthDigitOfACountIsIgnored", "a{1000}", kManyAs, {{0, 100}}},
    {"FourthDigitHidesTheComma", "a{1000,}", kManyAs, {{0, 100}}},
    {"ReversedRangeIsItsFirstNumber", "a{3,2}", "aaaa", {{0, 3}}},
    {"ReversedRangeNeedsItsFirstNumber", "a{3,2}", "aa", {}},
    {"LeadingCommaIsNothing", "a{,5}", "aaa", {{0, 0}}},
    {"EmptyBracesAreNothing", "a{}", "aaa", {{0, 0}}},
    {"TextInBracesIsNothing", "a{x}", "aaa", {{0, 0}}},
    {"CountOfZeroIsNothing", "ba{0}", "ba", {{0, 1}}},
    {"ExactCountSwallowsAQuestionMark", "a{2}?a", "aaa", {{0, 3}}},
    {"ExactCountSwallowsAPlus", "a{2}+a", "aaa", {{0, 3}}},
    {"AtLeast", "a{2,}", "aaaa", {{0, 4}}},
    {"AtLeastFails", "a{2,}", "a", {}},
    {"Between", "a{1,3}", "aaaa", {{0, 3}}},
    {"BetweenReluctantly", "a{1,3}?", "aaaa", {{0, 1}}},
    {"BetweenPossessively", "a{1,3}+a", "aaa", {}},
    {"SpacesInBraces", "a{ 1 , 2 }", "aaa", {{0, 2}}},
    {"CountOfZeroSwallowsAQuestionMark", "ba{0}?c", "bc", {{0, 2}}},
    {"CountOfZeroSwallowsAPlus", "ba{}+c", "bc", {{0, 2}}},
    {"CountOfZeroSwallowsOneSuffix", "ba{0}??c", "bc b?c", {{3, 6}}},
    {"UnendedBraces", "a{2", "aaa", {{0, 2}}},
    {"QuantifierWithNothingBeforeItIsALiteral", "*a", "x*a", {{1, 3}}},
    {"SecondQuantifierIsALiteral", "a**", "aa**", {{0, 3}}},
    {"BraceWithNothingBeforeItIsALiteral", "{1}", "{1}", {{0, 3}}},
    {"QuantifierTakesTheLastCharacter", "ab*", "abb", {{0, 3}}},
    {"PlusNeedsOne", "ba+", "b", {}},
    {"QuestionMarkIsGreedy", "ab?", "ab", {{0, 2}}},
    {"QuestionMarkMayBeReluctant", "ab??", "ab", {{0, 1}}},
};

const Row kSyntaxRows[] = {
    {"ClosingBracketWithNoneOpenEndsThePattern", "abc)def", "abcdef", {{0, 3}}},
    {"MissingClosingBracketIsClosed", "(ab", "ab", {{0, 2}, {0, 2}}},
    {"MissingClosingSquareBracketIsClosed", "[ab", "xb", {{1, 2}}},
    {"EmptyPatternMatchesEmpty", "", "a", {{0, 0}}},
    {"EmptyBranches", "a||b", "b", {{0, 0}}},
    {"AlternativeTakesTheFirst", "a|ab", "ab", {{0, 1}}},
    {"AlternativeGoesOn", "(a|ab)c", "abc", {{0, 3}, {0, 2}}},
    {"CommentIsSkipped", "a(?#any thing)b", "ab", {{0, 2}}},
    {"UnendedCommentDeliversTheTokenBeforeAgain", "ab(?#x", "abb", {{0, 3}}},
    {"ExtendedSkipsSpacesAndComments", "a b # c", "ab", {{0, 2}}, FLAG_EXTENDED},
    {"ExtendedCommentEndsWithItsLine", "a#x\nb", "ab", {{0, 2}}, FLAG_EXTENDED},
    {"ExtendedSkipsSpacesInClassesToo", "[ ]", " ", {}, FLAG_EXTENDED},
    {"SpacesCountWithoutExtended", "a b # c", "a b # c", {{0, 7}}},
    {"QuotedTextIsLiteral", "\\Qa.b\\E.", "a.bc", {{0, 4}}},
    {"UnendedQuoteGoesToTheEnd", "\\Qa.", "a.", {{0, 2}}},
    {"UpperCaseQuote", "\\Uab\\Eab", "ABab", {{0, 4}}},
    {"LowerCaseQuote", "\\LAB\\EAB", "abAB", {{0, 4}}},
    {"EndOfNoQuoteIsSkipped", "a\\Eb", "ab", {{0, 2}}},
    {"Hexadecimal", "\\x41\\u0042\\x{43}\\u{00000044}", "ABCD", {{0, 4}}},
    {"HexadecimalWithOneDigit", "\\x9z", "\tz", {{0, 2}}},
    {"HexadecimalWithoutDigitIsItsLetter", "\\xy\\uz", "xyuz", {{0, 4}}},
    {"HexadecimalIsCutToEightBits", "\\u0141", "A", {{0, 1}}},
    {"HexadecimalInBracesSkipsTheRest", "\\x{41 what}B", "AB", {{0, 2}}},
    {"HexadecimalInBracesReadsEightDigits", "\\x{0000000041}", std::string(1, '\0'), {{0, 1}}},
    {"ControlCharacters", "\\a\\e\\f\\n\\r\\t\\v", "\a\x1B\f\n\r\t\v", {{0, 7}}},
    {"BackslashAtTheEndIsALiteral", "a\\", "a\\", {{0, 2}}},
    {"OtherEscapesAreTheirCharacter", "\\.\\*\\q", ".*q", {{0, 3}}},
    {"ZeroBytesAreCharacters", std::string("a\0b", 3), std::string("a\0b", 3), {{0, 3}}},
    {"ClosingSquareBracketAloneIsALiteral", "]", "]", {{0, 1}}},
    {"DashOutsideBracketsIsALiteral", "a-b", "a-b", {{0, 3}}},
};

const Row kClassRows[] = {
    {"DashAtTheEnd", "[a-]+", "x-a", {{1, 3}}},
    {"DashAtTheStart", "[-a]+", "x-a", {{1, 3}}},
    {"ReversedRangeNeverMatches", "[z-a]", "zma", {}},
    {"DashAfterAClassLetter", "[\\d-x]+", "a1-x", {{1, 4}}},
    {"DashBeforeAClassLetter", "[a-\\d]+", "b-a7", {{1, 4}}},
    {"UnknownPosixNameIsASet", "[:foo:]+", "xf:o", {{1, 4}}},
    {"PosixClassAlone", "[:digit:]", "a1", {{1, 2}}},
    {"PosixClassInBrackets", "[[:digit:]x]+", "a1x", {{1, 3}}},
    {"InvertedPosixClassInBrackets", "[[:^digit:]]", "1a", {{1, 2}}},
    {"InvertedPosixClassAlone", "[:^digit:]", "1a", {{1, 2}}},
    {"PosixAlnum", "[:alnum:]+", "-a1_", {{1, 3}}},
    {"PosixAlpha", "[:alpha:]+", "1aZ_", {{1, 3}}},
    {"PosixAscii", "[:ascii:]+", "\x80\x01\x7F", {{1, 3}}},
    {"PosixCntrl", "[:cntrl:]+", "a\x01\x7F", {{1, 3}}},
    {"PosixGraph", "[:graph:]+", " a! ", {{1, 3}}},
    {"PosixLower", "[:lower:]+", "Aab", {{1, 3}}},
    {"PosixPrint", "[:print:]+", "\ta b", {{1, 4}}},
    {"PosixPunct", "[:punct:]+", "a!?", {{1, 3}}},
    {"PosixSpace", "[:space:]+", "a \n\v", {{1, 4}}},
    {"PosixUpper", "[:upper:]+", "aAB", {{1, 3}}},
    {"PosixXdigit", "[:xdigit:]+", "gaF9", {{1, 4}}},
    {"PosixBlank", "[:blank:]+", "\n \t", {{1, 3}}},
    {"BackslashAndDigitAreTwoCharacters", "[\\1]+", "a\\1", {{1, 3}}},
    {"InvertedSet", "[^a-c]", "abcd", {{3, 4}}},
    {"ZeroByteIsInAnInvertedSet", "[^a]", std::string(1, '\0'), {{0, 1}}},
    {"ZeroByteIsNotInASet", "[a]", std::string(1, '\0'), {}},
    {"CaretNotFirstIsACharacter", "[a^]+", "x^a", {{1, 3}}},
    {"EmptySetNeverMatches", "[]", "a", {}},
    {"InvertedEmptySetIsAnyCharacter", "[^]", "\n", {{0, 1}}},
    {"DotInASetIsADot", "[.]", "a.", {{1, 2}}},
    {"BackspaceInASet", "[\\b]", "a\b", {{1, 2}}},
    {"GlobalInASetIsSkipped", "[\\Ga]+", "Ga", {{1, 2}}},
    {"RangesAreSigned", "[\x80-\x01]+", "\x02\x80\xFF\x01", {{1, 4}}},
    {"DotStopsAtALineFeed", ".+", "ab\nc", {{0, 2}}},
    {"DotTakesALineFeedInSingleLine", ".+", "ab\nc", {{0, 4}}, FLAG_SINGLELINE},
    {"WordCharacters", "\\w+", "-aZ0_-", {{1, 5}}},
    {"NoWordCharacters", "\\W+", "a-\xE9z", {{1, 3}}},
    {"Digits", "\\d+", "a09b", {{1, 3}}},
    {"NoDigits", "\\D+", "0ab1", {{1, 3}}},
    {"WhiteSpace", "\\s+", "a \t\r\nb", {{1, 5}}},
    {"FormFeedIsNotWhiteSpaceFromLeftToRight", "\\s", "\f\v", {}},
    {"FormFeedIsWhiteSpaceFromRightToLeft", "\\s+", "a\f\v", {{1, 3}}, FLAG_RIGHTTOLEFT},
    {"NoWhiteSpace", "\\S+", " \fx ", {{1, 3}}},
    {"NoWhiteSpaceFromRightToLeft", "\\S+", "\fx ", {{1, 2}}, FLAG_RIGHTTOLEFT},
    {"RangeInEitherCase", "[a-c]+", "xAbC", {{1, 4}}, FLAG_IGNORECASE},
    {"PartOfARangeInEitherCase", "[Y-b]+", "cyzAB", {{1, 5}}, FLAG_IGNORECASE},
    {"CharactersInEitherCase", "[xY]+", "aXy", {{1, 3}}, FLAG_IGNORECASE},
};

const Row kGroupRows[] = {
    {"UnusedGroupTookNoPart", "(a)(b)?", "a", {{0, 1}, {0, 1}, {-1, -1}}},
    {"LastIterationIsCaptured", "(a|b)*", "abab", {{0, 4}, {3, 4}}},
    {"GroupWithoutCapture", "(?:a)(b)", "ab", {{0, 2}, {1, 2}}},
    {"FlagsHoldForLaterBranches", "(?i)a|b", "B", {{0, 1}}},
    {"FlagsOfAGroupEndWithIt", "(?i:a)|b", "B", {}},
    {"FlagsOfAGroupHoldWithin", "(?i:a)|b", "A", {{0, 1}}},
    {"FlagsInAGroupEndWithIt", "((?i)a)b", "AB", {}},
    {"FlagsMayBeSwitchedOff", "(?-i)a", "A", {}, FLAG_IGNORECASE},
    {"UnknownFlagLettersAreIgnored", "(?qi)a", "A", {{0, 1}}},
    {"BracketAmongFlagsIsAColon", "(?i(a))b", "Ab", {{0, 2}, {0, 1}}},
    {"Lookahead", "a(?=b)", "acab", {{2, 3}}},
    {"NegativeLookahead", "a(?!b)", "abac", {{2, 3}}},
    {"Lookbehind", "(?<=ab)c", "abc", {{2, 3}}},
    {"NegativeLookbehind", "(?<!a)c", "acbc", {{3, 4}}},
    {"LookbehindOfAnyWidth", "(?<=a+b*)c", "aabbc", {{4, 5}}},
    {"CapturesOfAnAssertionStay", "(?=(a+))a", "aaa", {{0, 1}, {0, 3}}},
    {"CapturesInALookbehindAreAscending", "(?<=(ab))c", "abc", {{2, 3}, {0, 2}}},
    {"CapturesOfANegativeAssertionGo", "(?!(b))a", "a", {{0, 1}, {-1, -1}}},
    {"IndependentGroupGivesNothingBack", "(?>a+)a", "aaa", {}},
    {"PossessiveLoopGivesNothingBack", "a++a", "aaa", {}},
    {"ReluctantLoopAdvances", "a*?b", "aab", {{0, 3}}},
    {"ReluctantLoopOfGroups", "(a|bc)+?c", "abcc", {{0, 4}, {1, 3}}},
    {"NamesInEitherCaseAreOneGroup", "(?<n>a)(?<N>b)", "ab", {{0, 2}, {1, 2}}},
    {"NameOfGroupsThatAreOne", "(?<n>a)(?<N>b)\\k<n>", "abb", {{0, 3}, {1, 2}}},
    {"NamesInQuotes", "(?'n'a)\\k'n'", "aa", {{0, 2}, {0, 1}}},
    {"NamesAfterP", "(?P<n>a)(?P'm'b)\\g<m>", "abb", {{0, 3}, {0, 1}, {1, 2}}},
    {"NamedGroupsComeAfterTheOthers", "(?<n>a)(b)", "ab", {{0, 2}, {1, 2}, {0, 1}}},
    {"NumericNameIsANumber", "(?<3>a)\\3", "aa", {{0, 2}, {-1, -1}, {-1, -1}, {0, 1}}},
    {"NameTakesNoNumberThatIsTakenLater", "(?<n>a)(?<1>b)", "ab", {{0, 2}, {1, 2}, {0, 1}}},
    {"NameTakesNoNumberThatIsTakenEarlier",
     "(?<2>a)(b)(?<n>c)(?<m>d)",
     "abcd",
     {{0, 4}, {1, 2}, {0, 1}, {2, 3}, {3, 4}}},
    {"NumericNameMayBeThatOfAPlainGroup", "(a)(?<1>b)", "ab", {{0, 2}, {1, 2}}},
    {"GroupZeroIsTheWholeMatchWhateverItsNameSays", "(?<0>a)b", "ab", {{0, 2}}},
    {"NumericNameOfAReference", "(a)\\k< 1 >", "aa", {{0, 2}, {0, 1}}},
    {"UnknownNameFails", "(a)\\k<m>", "aa", {}},
    {"BackReference", "(a|b)\\1", "abb", {{1, 3}, {1, 2}}},
    {"BackReferenceInEitherCase", "(a)\\1", "aA", {{0, 2}, {0, 1}}, FLAG_IGNORECASE},
    {"ReferenceToAnUnsetGroupFails", "(a)|b\\1", "b", {}},
    {"ReferenceToNoGroupFails", "a\\7", "a", {}},
    {"ReferenceToTheOpenGroup", "(a\\1?)", "aa", {{0, 2}, {0, 2}}},
    {"EmptyReference", "(a?)b\\1", "b", {{0, 1}, {0, 0}}},
    {"ConditionOnAGroup", "(a)?(?(1)b|c)", "ab", {{0, 2}, {0, 1}}},
    {"ConditionOnAnUnsetGroup", "(a)?(?(1)b|c)", "c", {{0, 1}, {-1, -1}}},
    {"ConditionOnAName", "(?<n>a)?(?(n)b|c)", "ab", {{0, 2}, {0, 1}}},
    {"ConditionThatIsAnAssertion", "(?(?=a)ab|c)", "cab", {{0, 1}}},
    {"ConditionWhoseBranchFailsForgetsItsGroups", "(?:(?(?=(a))ab|c)|a)", "ac", {{0, 1}, {-1, -1}}},
    {"ConditionThatIsAPattern", "(?(a)ab|c)", "ab", {{0, 2}}},
    {"ConditionWithoutElse", "x(?(9)b)y", "xy", {{0, 2}}},
    {"Recursion", "\\((?:[^()]|(?R))*\\)", "x(a(b)c)d", {{1, 8}}},
    {"RecursionIntoAGroup", "(a|\\((?1)\\))", "((a))", {{0, 5}, {0, 5}}},
    {"RecursionIntoANumberedGroup", "(a)(?R1)", "aa", {{0, 2}, {1, 2}}},
    {"RecursionIntoAName", "(?<n>a)(?R<n>)", "aa", {{0, 2}, {1, 2}}},
    {"RecursionIntoNoGroupMatchesEmpty", "a(?5)b", "ab", {{0, 2}}},
    {"RecursionIntoNoNameMatchesEmpty", "a(?R'm')b", "ab", {{0, 2}}},
    {"EmptyIterationsEnd", "(a*)*", "b", {{0, 0}, {-1, -1}}},
    {"NestedLoops", "(a+|b+)*c", "aabbac", {{0, 6}, {4, 5}}},
};

const Row kBoundaryRows[] = {
    {"TextStart", "\\Ab", "ab", {}},
    {"TextEnd", "a\\z", "a\n", {}},
    {"TextEndBeforeALastLineFeed", "a\\Z", "a\n", {{0, 1}}},
    {"TextEndBeforeALastCarriageReturnLineFeed", "a\\Z", "a\r\n", {{0, 1}}},
    {"DollarNeedsTheEnd", "a$", "a\n", {}},
    {"CaretNeedsTheStart", "^b", "a\nb", {}},
    {"CaretAtALine", "^b", "a\nb", {{2, 3}}, FLAG_MULTILINE},
    {"CaretAfterACarriageReturn", "^b", "a\rb", {{2, 3}}, FLAG_MULTILINE},
    {"CaretNotWithinALineEnd", "^\n", "a\r\n", {}, FLAG_MULTILINE},
    {"DollarAtALine", "a$", "a\nb", {{0, 1}}, FLAG_MULTILINE},
    {"DollarBeforeACarriageReturn", "a$", "a\r\nb", {{0, 1}}, FLAG_MULTILINE},
    {"DollarNotWithinALineEnd", "\r$", "a\r\nb", {}, FLAG_MULTILINE},
    {"WordBoundary", "\\bfoo\\b", "afoo foo", {{5, 8}}},
    {"NoWordBoundary", "\\Bo", "o oo", {{3, 4}}},
    {"GlobalWithoutItsFlagIsNothing", "a\\Gb", "ab", {{0, 2}}},
    {"GlobalNeedsTheStartOfTheSearch", "a\\Gb|\\Gc", "ac", {}, FLAG_GLOBAL},
};

const Row kRightToLeftRows[] = {
    {"SearchStartsAtTheEnd", "ab", "abab", {{2, 4}}, FLAG_RIGHTTOLEFT},
    {"GreedyFromTheRight", "(a+)(a+)", "aaa", {{0, 3}, {0, 1}, {1, 3}}, FLAG_RIGHTTOLEFT},
    {"SpansAreAscending", "(a)(b)", "ab", {{0, 2}, {0, 1}, {1, 2}}, FLAG_RIGHTTOLEFT},
    {"BackReferenceFromTheRight", "\\1(a|b)", "bba", {{0, 2}, {1, 2}}, FLAG_RIGHTTOLEFT},
    {"LookaheadFromTheRight", "a(?=b)", "abac", {{0, 1}}, FLAG_RIGHTTOLEFT},
    {"ReluctantFromTheRight", "a.*?z", "a1a2z", {{2, 5}}, FLAG_RIGHTTOLEFT},
    {"LoneLoopOfAtLeastThreeFails", "\\w{3,}", "ab cd", {}, FLAG_RIGHTTOLEFT},
    {"LoneLoopOfAtLeastThreeIsFoundFurtherLeft", "\\w{3,}", "abcd ef", {{0, 4}}, FLAG_RIGHTTOLEFT},
    {"LoneLoopOfAtLeastTwoOnOneCharacter", "a{2,}", "a", {}, FLAG_RIGHTTOLEFT},
    {"NamedGroupFromTheRight", "\\k<n>(?<n>a)", "aa", {{0, 2}, {1, 2}}, FLAG_RIGHTTOLEFT},
};

const auto RowName = [](const auto& row) { return std::string(row.param.name); };
INSTANTIATE_TEST_SUITE_P(Counts, Pattern, testing::ValuesIn(kCountRows), RowName);
INSTANTIATE_TEST_SUITE_P(Syntax, Pattern, testing::ValuesIn(kSyntaxRows), RowName);
INSTANTIATE_TEST_SUITE_P(Classes, Pattern, testing::ValuesIn(kClassRows), RowName);
INSTANTIATE_TEST_SUITE_P(Groups, Pattern, testing::ValuesIn(kGroupRows), RowName);
INSTANTIATE_TEST_SUITE_P(Boundaries, Pattern, testing::ValuesIn(kBoundaryRows), RowName);
INSTANTIATE_TEST_SUITE_P(RightToLeft, Pattern, testing::ValuesIn(kRightToLeftRows), RowName);

TEST(PatternSearch, WordCharactersAreLettersDigitsAndTheUnderscore) {
  const std::string word = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
  for (int c = 0; c < 256; ++c) {
    const std::string text(1, static_cast<char>(c));
    EXPECT_EQ(!Find("\\b", text).empty(), word.find(text) != std::string::npos) << c;
  }
}

TEST(PatternSearch, NullPatternNeverMatches) {
  const CPatternT pattern(nullptr);
  EXPECT_EQ(pattern.Root(), nullptr);
  EXPECT_FALSE(pattern.Match("").IsMatched());
  EXPECT_FALSE(CPatternT().Match("a").IsMatched());
}

TEST(PatternSearch, EmptyMatchAtPosition3LeavesTheNextSearchAt4) {
  const CPatternT pattern("b*");
  CMatchContext context;
  EXPECT_THAT(SpansOf(pattern.Match("aaaabb", 6, 3, &context)), ElementsAre(Pair(3, 3)));
  EXPECT_EQ(context.m_currentPosition, 4);
  EXPECT_EQ(context.m_lastBeginPosition, 3);
  EXPECT_THAT(SpansOf(pattern.Match(context)), ElementsAre(Pair(4, 6)));
  EXPECT_THAT(SpansOf(pattern.Match(context)), ElementsAre(Pair(6, 6)));
  EXPECT_THAT(SpansOf(pattern.Match(context)), IsEmpty());
  EXPECT_THAT(SpansOf(pattern.Match(context)), IsEmpty());
}

TEST(PatternSearch, StartBeyondTheTextFindsNothingFromLeftToRight) {
  const CPatternT pattern("");
  EXPECT_THAT(SpansOf(pattern.Match("ab", 2, 2)), ElementsAre(Pair(2, 2)));
  EXPECT_THAT(SpansOf(pattern.Match("ab", 2, 3)), IsEmpty());
}

TEST(PatternSearch, StartBeyondTheTextIsItsEndFromRightToLeft) {
  const CPatternT pattern("b", FLAG_RIGHTTOLEFT);
  EXPECT_THAT(SpansOf(pattern.Match("ab", 2, 9)), ElementsAre(Pair(1, 2)));
  EXPECT_THAT(SpansOf(pattern.Match("ab", 2, 1)), IsEmpty());
}

TEST(PatternSearch, GlobalHoldsAfterTheLastMatchAlone) {
  const CPatternT pattern("\\Ga", FLAG_GLOBAL);
  CMatchContext context;
  EXPECT_THAT(SpansOf(pattern.Match("aaba", 4, -1, &context)), ElementsAre(Pair(0, 1)));
  EXPECT_THAT(SpansOf(pattern.Match(context)), ElementsAre(Pair(1, 2)));
  EXPECT_THAT(SpansOf(pattern.Match(context)), IsEmpty());
}

TEST(PatternSearch, PreparingWithoutAContextMakesOne) {
  const CPatternT pattern("a");
  const std::unique_ptr<CMatchContext> context(pattern.PrepareMatch("ba", 2));
  EXPECT_EQ(context->m_recursionAllowance, 100);
  EXPECT_EQ(context->m_lastBeginPosition, -1);
  EXPECT_THAT(SpansOf(pattern.Match(*context)), ElementsAre(Pair(1, 2)));
}

TEST(PatternSearch, RecursionFailsAtLevel101) {
  const CPatternT pattern("^a(?R)?b|^(?:a(?1)?b)", 0);
  const CPatternT nested("(a(?1)?b)");
  const std::string exact = std::string(101, 'a') + std::string(101, 'b');
  const std::string deeper = std::string(102, 'a') + std::string(102, 'b');
  EXPECT_THAT(nested.Match(exact.c_str()).GroupEnd(0), 202);
  EXPECT_THAT(nested.Match(deeper.c_str()).GroupBegin(0), 1);
}

TEST(PatternSearch, RecompilingForgetsTheOldPattern) {
  CPatternT pattern("(a)(?<n>b)");
  EXPECT_EQ(pattern.GroupCount(), 2);
  EXPECT_EQ(pattern.NamedGroupCount(), 1);
  pattern.Compile("c", 1);
  EXPECT_EQ(pattern.GroupCount(), 0);
  EXPECT_EQ(pattern.NamedGroupCount(), 0);
  EXPECT_THAT(SpansOf(pattern.Match("abc")), ElementsAre(Pair(2, 3)));
}

// By a list in place of a table these take some seconds.
TEST(PatternSearch, ManyNamesAreResolved) {
  constexpr int kCount = 20'000;
  std::string source;
  for (int i = 0; i < kCount; ++i) source += "(?<n" + std::to_string(i) + ">)";
  for (int i = 0; i < kCount; ++i) source += "(?R<N" + std::to_string(i) + ">)";
  const CPatternT pattern(source.c_str());
  EXPECT_EQ(pattern.GroupCount(), kCount);
  EXPECT_EQ(pattern.Match("").GroupEnd(kCount), 0);
}

TEST(PatternSearch, OnePatternServesManyThreads) {
  const CPatternT pattern("^PCI(.*)VEN_([:xdigit:]{4})&DEV_([:xdigit:]{4})(.*)");
  std::atomic<int> matches = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int round = 0; round < 500; ++round)
        if (pattern.Match("PCI\\VEN_1000&DEV_005D&SUBSYS_93611000&REV_02").GroupBegin(2) == 8)
          ++matches;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(matches, 2000);
}

TEST(PatternSearch, EqualEndsAreTriedOnce) {
  // Without the list of seen ends these take exponential time.
  const std::string as(200, 'a');
  EXPECT_THAT(Find("(a*)*b", as), IsEmpty());
  EXPECT_THAT(Find("(a|aa)+$", std::string(40, 'a') + "b"), IsEmpty());
}

TEST(PatternSearch, PatternThatNestsTooDeepNeverMatchesAndSaysSo) {
  const auto nested = [](int depth) {
    return std::string(static_cast<std::size_t>(depth), '(') + "a" +
           std::string(static_cast<std::size_t>(depth), ')');
  };
  CPatternT pattern(nested(500).c_str());
  EXPECT_FALSE(pattern.IsTooDeep());
  EXPECT_EQ(pattern.Match("ba").GroupBegin(500), 1);

  std::string conditions;
  for (int i = 0; i < 100'000; ++i) conditions += "(?(";
  std::string classes;
  for (int i = 0; i < 5'000; ++i) classes += "[:";
  for (const std::string& tooDeep :
       {nested(501), nested(100'000), conditions, classes, "a|" + nested(501)}) {
    pattern.Compile(tooDeep.data(), static_cast<std::ptrdiff_t>(tooDeep.size()));
    EXPECT_TRUE(pattern.IsTooDeep());
    EXPECT_EQ(pattern.Root(), nullptr);
    EXPECT_EQ(pattern.GroupCount(), 0);
    EXPECT_THAT(SpansOf(pattern.Match("a")), IsEmpty());
  }
  pattern.Compile("a", 1);
  EXPECT_FALSE(pattern.IsTooDeep());
  EXPECT_TRUE(pattern.Match("a").IsMatched());
}

TEST(PatternSearch, RecursionInANestedPatternIsBounded) {
  const std::string nested = std::string(400, '(') + "a(?R)?" + std::string(400, ')');
  EXPECT_FALSE(Find(nested, std::string(1000, 'a')).empty());
}

TEST(PatternSearch, GoingBackIntoRecursionsIsBounded) {
  // Each way back could begin one level more.
  EXPECT_THAT(Find("(|(?1))x", ""), IsEmpty());
  EXPECT_THAT(Find("(|(?1))x", "a"), IsEmpty());
  EXPECT_THAT(Find("(a?|(?1))x", "aaa"), IsEmpty());
}

TEST(PatternSearch, LeadingTextIsFoundWhereverItStands) {
  const CPatternT pattern("nee(d)le");
  const CPatternT whole("needle");
  for (std::size_t length : {5U, 6U, 63U, 64U, 70U, 129U, 200U})
    for (std::size_t place = 0; place + 6 <= length; ++place) {
      // Texts with the same first and last character are in the way.
      std::string text;
      while (text.size() < length) text += "nxxxxe nee";
      text.resize(length);
      EXPECT_THAT(SpansOf(whole.Match(text.c_str())), IsEmpty()) << length;
      text.replace(place, 6, "needle");
      const auto begin = static_cast<std::int64_t>(place);
      EXPECT_THAT(SpansOf(whole.Match(text.c_str())), ElementsAre(Pair(begin, begin + 6)));
      EXPECT_THAT(SpansOf(pattern.Match(text.c_str())),
                  ElementsAre(Pair(begin, begin + 6), Pair(begin + 3, begin + 4)));
    }
}

TEST(PatternSearch, MissingCharacterEndsTheSearchAtOnce) {
  std::string text;
  for (int i = 0; i < 10'000; ++i) text += "ab";
  EXPECT_THAT(Find("(?:a|ab|b)*c", text), IsEmpty());
  EXPECT_THAT(Find("(?:a|ab|b)*c", "c" + text), ElementsAre(Pair(0, 1)));
}

TEST(PatternSearch, GoingBackIntoALoopTakesNoLongerWithItsLength) {
  // The letter stands where no match reaches it.
  std::string text;
  for (int i = 0; i < 1'000; ++i) text += "ab";
  EXPECT_THAT(Find("^(?:a|ab|b)*c", text + "xc"), IsEmpty());
}

TEST(PatternSearch, TextsOfManyBytesAreMatched) {
  const std::string text = std::string(1000000, 'a') + "b";
  EXPECT_EQ(Find("(?:a|b)*b", text).front().second, 1000001);
  EXPECT_EQ(Find(".*b", text).front().second, 1000001);
  EXPECT_EQ(Find("(a)*?b", text).front().second, 1000001);
}

TEST(RegexMatch, GivesTheTextsOfGroups) {
  const CPatternT pattern("(a)(b)?");
  const CRegexMatch match(pattern.Match("xa"), "xa");
  EXPECT_EQ(match.Group(0), "a");
  EXPECT_EQ(match.Group(1), "a");
  EXPECT_THROW(match.Group(2), std::out_of_range);
}

TEST(RegexMatch, NumberOutOfRangeIsRefused) {
  const CPatternT pattern("(a)");
  const CRegexMatch match(pattern.Match("a"), "a");
  for (const std::int64_t group : {std::int64_t{-1}, std::int64_t{2}}) {
    try {
      match.Group(group);
      ADD_FAILURE() << group;
    } catch (const range_error& error) {
      EXPECT_STREQ(error.what(), "Out of range");
    }
  }
}

TEST(MatchResult, WithoutAMatchIsEmpty) {
  const CMatchResult result;
  EXPECT_FALSE(result.IsMatched());
  EXPECT_EQ(result.MaxGroupNumber(), 0);
  EXPECT_EQ(result.GroupBegin(0), -1);
  EXPECT_EQ(result.GroupEnd(7), -1);
}

TEST(MatchResult, HoldsItsNumbersInOrder) {
  const CMatchResult result = CPatternT("(a)(b)?").Match("xa");
  ASSERT_EQ(result.Size(), 8);
  const std::int64_t expected[] = {1, 2, 1, 2, 1, 2, -1, -1};
  for (std::ptrdiff_t i = 0; i < result.Size(); ++i) EXPECT_EQ(result[i], expected[i]) << i;
}

}  // namespace
}  // namespace Pirsk::Regex
