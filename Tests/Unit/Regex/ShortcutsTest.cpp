#include "Regex/Pattern.h"
#include "Regex/Shortcuts.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

// What elements answer to the questions of shortcuts. That no shortcut changes a result is the
// model's to show.

namespace Pirsk::Regex {
namespace {

std::string Listed(const std::array<bool, 256>& set) {
  std::string characters;
  for (unsigned int c = 0; c < set.size(); ++c)
    if (set[c]) characters.push_back(static_cast<char>(c));
  return characters.size() > 16 ? "many" : characters;
}

constexpr char kNone[] = "none";

struct Row {
  std::string pattern;
  std::string beginning = kNone;
  std::string second = kNone;
  std::string text = kNone;
  int required = -1;
  std::string run = kNone;
  bool hasOneWay = false;
  bool isBound = false;
};

void PrintTo(const Row& row, std::ostream* stream) { *stream << row.pattern; }

class Answers : public testing::TestWithParam<Row> {};

TEST_P(Answers, OfARoot) {
  const Row& row = GetParam();
  const CPatternT pattern(row.pattern.c_str());
  const ElxInterface& root = *pattern.Root();

  Beginning beginning;
  beginning.Add(root);
  EXPECT_EQ(beginning.IsKnown() ? Listed(beginning.set) : kNone, row.beginning);
  std::array<bool, 256> second{};
  EXPECT_EQ(root.AddSecondTo(second) ? Listed(second) : kNone, row.second);
  const CBufferT<char>* const text = root.LeadingText();
  EXPECT_EQ(
      text != nullptr ? std::string(text->Data(), static_cast<std::size_t>(text->Size())) : kNone,
      row.text);
  EXPECT_EQ(root.RequiredCharacter(), row.required);
  EXPECT_EQ(root.LeadingRun() != nullptr ? Listed(*root.LeadingRun()) : kNone, row.run);
  EXPECT_EQ(root.HasOneWay(), row.hasOneWay);
  EXPECT_EQ(root.IsBoundToTextStart(), row.isBound);
}

const Row kRows[] = {
    {.pattern = "", .hasOneWay = true},
    {.pattern = "a", .beginning = "a", .text = "a", .required = 'a', .hasOneWay = true},
    {.pattern = "abc",
     .beginning = "a",
     .second = "b",
     .text = "abc",
     .required = 'c',
     .hasOneWay = true},
    {.pattern = "(?i)abc", .hasOneWay = true},
    {.pattern = "(abc)d",
     .beginning = "a",
     .second = "b",
     .text = "abc",
     .required = 'd',
     .hasOneWay = true},
    {.pattern = "\\bab", .beginning = "a", .required = 'b', .hasOneWay = true},
    {.pattern = "ab|cd", .beginning = "ac", .second = "bd"},
    {.pattern = "ab|c", .beginning = "ac"},
    {.pattern = "(?:ab|cd)e", .beginning = "ac", .second = "bd", .required = 'e'},
    {.pattern = "ab|", .beginning = kNone},
    {.pattern = "a|(?i)b"},
    {.pattern = "[ab]c", .beginning = "ab", .required = 'c', .hasOneWay = true},
    {.pattern = "[:alpha:]c", .required = 'c', .hasOneWay = true},
    {.pattern = "[:blank:]c", .beginning = "\t ", .required = 'c', .hasOneWay = true},
    {.pattern = "[:digit:]", .beginning = "0123456789", .hasOneWay = true},
    {.pattern = "a*b", .beginning = "ab", .required = 'b', .run = "a"},
    {.pattern = "(a|c)*b", .beginning = "abc", .required = 'b', .run = "ac"},
    {.pattern = "(?:a|[c-e])+b", .beginning = "acde", .required = 'b', .run = "acde"},
    {.pattern = "(?:a|bc)*b", .beginning = "ab", .required = 'b'},
    {.pattern = "(a|)*b", .beginning = "ab", .required = 'b'},
    {.pattern = "((a))*b", .beginning = "ab", .required = 'b'},
    {.pattern = "(?:a|(?i)c)*b", .required = 'b'},
    {.pattern = "[a-c]*b", .beginning = "abc", .required = 'b', .run = "abc"},
    {.pattern = "([a-c]+)b", .beginning = "abc", .required = 'b', .run = "abc"},
    {.pattern = "[ab]{2,}", .beginning = "ab", .run = "ab"},
    {.pattern = "[ab]{2,5}c", .beginning = "ab", .required = 'c'},
    {.pattern = "[ab]*?c", .beginning = "abc", .required = 'c'},
    {.pattern = "[ab]{2}c", .beginning = "ab", .required = 'c'},
    {.pattern = "(?:ab)+", .beginning = "a", .required = 'b'},
    {.pattern = "(?:ab)*", .beginning = kNone},
    {.pattern = "(?:ab)?c", .beginning = "ac", .required = 'c'},
    {.pattern = "c(?:ab)?", .beginning = "c", .text = "c", .required = 'c'},
    {.pattern = "(?>ab)", .beginning = "a", .required = 'b'},
    {.pattern = "(?=a)b", .beginning = "b", .required = 'b'},
    {.pattern = "(?!ab)"},
    {.pattern = "(?<=ab)c", .beginning = "c", .required = 'c'},
    {.pattern = "(a)\\1", .beginning = "a", .text = "a", .required = 'a', .hasOneWay = true},
    {.pattern = "\\1(a)", .required = 'a', .hasOneWay = true},
    {.pattern = "(?R)a", .required = 'a'},
    {.pattern = "(?(1)a|b)c", .required = 'c'},
    {.pattern = "^ab", .beginning = "a", .required = 'b', .hasOneWay = true, .isBound = true},
    {.pattern = "(^)ab", .beginning = "a", .required = 'b', .hasOneWay = true, .isBound = true},
    {.pattern = "(?m)^ab", .beginning = "a", .required = 'b', .hasOneWay = true},
    {.pattern = "^|a"},
    {.pattern = "a^", .beginning = "a", .text = "a", .required = 'a', .hasOneWay = true},
    {.pattern = "(?g)\\Gab", .beginning = "a", .required = 'b', .hasOneWay = true},
};

INSTANTIATE_TEST_SUITE_P(Shortcuts, Answers, testing::ValuesIn(kRows));

// The text that a match begins with, for a loop before it.
std::string Following(const char* source, std::uint32_t flags = 0) {
  const CPatternT pattern(source, flags);
  Beginning beginning;
  beginning.Add(*pattern.Root());
  if (beginning.text == nullptr) return kNone;
  return std::string(beginning.text->Data(), static_cast<std::size_t>(beginning.text->Size()));
}

TEST(Shortcuts, ATextIsKnownToFollowWhereNothingElseCan) {
  EXPECT_EQ(Following("ab"), "ab");
  EXPECT_EQ(Following("ab", FLAG_RIGHTTOLEFT), kNone);
  EXPECT_EQ(Following("(ab)c"), "ab");
  EXPECT_EQ(Following("\\bab"), "ab");
  EXPECT_EQ(Following("(?:ab)+c"), "ab");
  EXPECT_EQ(Following("(?:|)ab"), "ab");
  EXPECT_EQ(Following("(?:ab)?c"), kNone);
  EXPECT_EQ(Following("(?:ab)*"), kNone);
  EXPECT_EQ(Following("c?ab"), kNone);
  EXPECT_EQ(Following("ab|ab"), kNone);
  EXPECT_EQ(Following("[ab]c"), kNone);
  EXPECT_EQ(Following("(?i)ab"), kNone);
}

// All matches in a text, as begin and end.
std::string Places(CPatternT& pattern, const std::string& text) {
  std::string places;
  CMatchContext context;
  pattern.PrepareMatch(text.data(), static_cast<std::int64_t>(text.size()), -1, &context);
  for (CMatchResult result = pattern.Match(context); result.IsMatched();
       result = pattern.Match(context))
    places += std::to_string(result.GroupBegin(0)) + "-" + std::to_string(result.GroupEnd(0)) + " ";
  return places;
}

TEST(Shortcuts, LoopsBeforeATextEndThereAlone) {
  CPatternT greedy("x*(VEN_)");
  CPatternT reluctant("(.*?)VEN_");
  CPatternT dot("(.*)VEN_");
  for (CPatternT* const pattern : {&greedy, &reluctant, &dot}) {
    const std::string texts[] = {"VEN_", "VE", "xxVEN_VxVEN", "VVEN_xVEN_V", "xVEN\nVEN_", ""};
    std::string found;
    for (const std::string& text : texts) found += Places(*pattern, text) + "|";
    pattern->ForgetShortcuts();
    std::string expected;
    for (const std::string& text : texts) expected += Places(*pattern, text) + "|";
    EXPECT_EQ(found, expected);
    EXPECT_NE(found.find("0-4"), std::string::npos);
  }
}

TEST(Shortcuts, FewCharactersAreOneToFour) {
  const auto few = [](const std::string& characters) {
    std::array<bool, 256> set{};
    for (const char c : characters) set[static_cast<unsigned char>(c)] = true;
    return FewCharacters::Of(set);
  };
  EXPECT_FALSE(few(""));
  EXPECT_FALSE(few("abcde"));
  for (const std::string characters : {"a", "ab", "abc", "ab\xFF\x80"}) {
    const auto found = few(characters);
    ASSERT_TRUE(found) << characters;
    for (int c = 0; c < 256; ++c)
      EXPECT_EQ(FewCharacters::ArePair(static_cast<char>(c), *found, characters[0], *found),
                characters.find(static_cast<char>(c)) != std::string::npos);
  }
}

// Blocks of a text are looked at as a whole: the first match may lie anywhere in them.
TEST(Shortcuts, AlternativesOfFewCharactersAreFoundAtEachPlace) {
  const CPatternT pattern("foo|bar|ba\xFF");
  for (const std::string wanted : {"foo", "bar", "ba\xFF"}) {
    for (std::size_t place = 0; place < 270; ++place) {
      for (const std::size_t after : {0U, 1U, 140U}) {
        std::string text(place, 'f');
        for (std::size_t i = 2; i < place; i += 3) text[i] = 'a';
        text += wanted + std::string(after, 'b');
        const CMatchResult result =
            pattern.Match(text.data(), static_cast<std::int64_t>(text.size()));
        ASSERT_TRUE(result.IsMatched()) << place;
        EXPECT_EQ(result.GroupBegin(0), static_cast<std::int64_t>(place));
      }
    }
  }
  EXPECT_FALSE(pattern.Match(std::string(300, 'f').c_str()).IsMatched());
}

TEST(Shortcuts, ATextMayEndWithItsOnlyPair) {
  const CPatternT pattern("ab|cd");
  for (std::size_t place = 0; place < 270; ++place) {
    const std::string text = std::string(place, 'x') + "cd";
    const CMatchResult result = pattern.Match(text.data(), static_cast<std::int64_t>(text.size()));
    ASSERT_TRUE(result.IsMatched()) << place;
    EXPECT_EQ(result.GroupBegin(0), static_cast<std::int64_t>(place));
  }
}

TEST(Shortcuts, FromRightToLeftALoopAndATextAnswerNothingThatGoesAhead) {
  const CPatternT loop("[ab]{2,}", FLAG_RIGHTTOLEFT);
  EXPECT_EQ(loop.Root()->LeadingRun(), nullptr);
  const CPatternT text("abc", FLAG_RIGHTTOLEFT);
  EXPECT_EQ(text.Root()->LeadingText(), nullptr);
  EXPECT_EQ(text.Root()->RequiredCharacter(), -1);
  Beginning beginning;
  beginning.Add(*text.Root());
  EXPECT_EQ(Listed(beginning.set), "c");
  const CPatternT list("(^)ab", FLAG_RIGHTTOLEFT);
  EXPECT_FALSE(list.Root()->IsBoundToTextStart());
}

// What lies on the stacks after a match of the pattern on "abab...".
std::ptrdiff_t NumbersKept(const char* source, std::size_t length, bool takesShortcuts) {
  CPatternT pattern(source);
  if (!takesShortcuts) pattern.ForgetShortcuts();
  std::string text;
  while (text.size() < length) text += "ab";
  CMatchContext context;
  pattern.PrepareMatch(text.data(), static_cast<std::int64_t>(text.size()), -1, &context);
  const CMatchResult result = pattern.Match(context);
  EXPECT_EQ(result.GroupEnd(0), static_cast<std::int64_t>(length));
  EXPECT_EQ(result.GroupBegin(1), static_cast<std::int64_t>(length) - 1);
  return context.m_stack.Size() + context.m_captureStack.Size();
}

TEST(Shortcuts, ALoopOverAGroupOfOneCharacterKeepsItsLastIterationAlone) {
  for (const char* const source : {"(a|b)*", "(a|b)+", "([ab]){3,}"})
    EXPECT_EQ(NumbersKept(source, 2'000, true), NumbersKept(source, 20, true)) << source;
  EXPECT_GT(NumbersKept("(a|b)*", 2'000, false), 2'000);
}

}  // namespace
}  // namespace Pirsk::Regex
