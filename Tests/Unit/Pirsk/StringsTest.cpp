#include "TestModule.h"

#include <Pirsk/Strings.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace Pirsk::Testing {
namespace {

using Strings::ToUTF8;
using Strings::UTF8length;

constexpr std::size_t kNotUtf8 = static_cast<std::size_t>(-1);

std::string FromWide(const wchar_t* text) {
  std::string result = "what was there before";
  ToUTF8(text, result);
  return result;
}

// UTF8length

struct Length {
  const char* name;
  std::string text;
  std::size_t expected;
};

void PrintTo(const Length& row, std::ostream* out) { *out << row.name; }

class Utf8Length : public testing::TestWithParam<Length> {};

TEST_P(Utf8Length, CountsCharactersOrRefuses) {
  EXPECT_EQ(UTF8length(GetParam().text), GetParam().expected);
}

// The limits of the well-formed sequences are those of the Unicode standard, table 3-7.
const Length kLengths[] = {
    {"Empty", "", 0},
    {"Ascii", "ondrel", 6},
    {"ZeroByte", std::string("a\0b", 3), 3},
    {"OneToFourBytes", "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", 4},
    {"CombiningMarkCounts", "a\xCC\x88", 2},
    {"FirstOfTwoBytes", "\xC2\x80", 1},
    {"LastOfTwoBytes", "\xDF\xBF", 1},
    {"FirstOfThreeBytes", "\xE0\xA0\x80", 1},
    {"LastBeforeSurrogates", "\xED\x9F\xBF", 1},
    {"FirstAfterSurrogates", "\xEE\x80\x80", 1},
    {"LastOfThreeBytes", "\xEF\xBF\xBF", 1},
    {"FirstOfFourBytes", "\xF0\x90\x80\x80", 1},
    {"LastCharacter", "\xF4\x8F\xBF\xBF", 1},
    {"OverlongTwoBytes", "\xC0\x80", kNotUtf8},
    {"OverlongTwoBytesLast", "\xC1\xBF", kNotUtf8},
    {"OverlongThreeBytes", "\xE0\x9F\xBF", kNotUtf8},
    {"OverlongFourBytes", "\xF0\x8F\xBF\xBF", kNotUtf8},
    {"FirstSurrogate", "\xED\xA0\x80", kNotUtf8},
    {"LastSurrogate", "\xED\xBF\xBF", kNotUtf8},
    {"SurrogatePair", "\xED\xA0\xBD\xED\xB8\x80", kNotUtf8},
    {"BeyondTheLastCharacter", "\xF4\x90\x80\x80", kNotUtf8},
    {"LeadBeyondFourBytes", "\xF5\x80\x80\x80", kNotUtf8},
    {"FiveBytes", "\xF8\x88\x80\x80\x80", kNotUtf8},
    {"NoByteOfUtf8", "\xFF", kNotUtf8},
    {"TrailAlone", "\x80", kNotUtf8},
    {"TrailTooMany", "\xC3\xA4\xA4", kNotUtf8},
    {"TruncatedTwoBytes", "a\xC3", kNotUtf8},
    {"TruncatedThreeBytes", "a\xE2\x82", kNotUtf8},
    {"TruncatedFourBytes", "a\xF0\x9F\x98", kNotUtf8},
    {"CutOffByAscii",
     "\xE2\x82"
     "a",
     kNotUtf8},
    {"BrokenAtTheEndOfALongText", std::string(1000, 'a') + "\xC3", kNotUtf8},
};

INSTANTIATE_TEST_SUITE_P(Rows, Utf8Length, testing::ValuesIn(kLengths),
                         [](const auto& row) { return std::string(row.param.name); });

// From wide text

TEST(WideToUtf8, EveryLengthOfCharacterIsConverted) {
  EXPECT_EQ(FromWide(L"a\u00E4\u20AC\U0001F600"), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(WideToUtf8, NullAndEmptyTextGiveTheEmptyText) {
  EXPECT_EQ(FromWide(nullptr), "");
  EXPECT_EQ(FromWide(L""), "");
}

TEST(WideToUtf8, WhatIsNoCharacterIsReplaced) {
  const wchar_t highSurrogate[] = {L'a', static_cast<wchar_t>(0xD83D), L'b', 0};
  const wchar_t lowSurrogate[] = {L'a', static_cast<wchar_t>(0xDE00), 0};
  const wchar_t atTheEnd[] = {L'a', static_cast<wchar_t>(0xD83D), 0};

  EXPECT_EQ(FromWide(highSurrogate),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(FromWide(lowSurrogate), "a\xEF\xBF\xBD");
  EXPECT_EQ(FromWide(atTheEnd), "a\xEF\xBF\xBD");
}

TEST(WideToUtf8, ValuesBeyondTheLastCharacterAreReplaced) {
  if constexpr (sizeof(wchar_t) == 4) {
    const wchar_t beyond[] = {static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1), 0};
    EXPECT_EQ(FromWide(beyond), "\xEF\xBF\xBD\xEF\xBF\xBD");
  }
}

TEST(PrintableText, IsOneLineWithItsControlCharactersEscaped) {
  EXPECT_EQ(Strings::Printable("plain"), "plain");
  EXPECT_EQ(Strings::Printable("a\r\nb\n\r\n"), "a\\r\\nb");
  EXPECT_EQ(Strings::Printable(std::string("\x1B[2J\x7F\0", 6)), "\\x1b[2J\\x7f\\x00");
  EXPECT_EQ(Strings::Printable("a\tb\\ \xC3\xA4"), "a\tb\\ \xC3\xA4");
  EXPECT_EQ(Strings::Printable("\n"), "");
}

TEST(PrintableText, ControlCharactersAfterAsciiAreEscapedAlsoWhereTheyAreNotUTF8) {
  EXPECT_EQ(Strings::Printable("a\xC2\x9B"
                               "31m\xC2\x80\xC2\xA0"),
            "a\\xc2\\x9b31m\\xc2\\x80\xC2\xA0");
  EXPECT_EQ(Strings::Printable("a\x9B"
                               "31m\x80\x9F\xA0\xFF"),
            "a\\x9b31m\\x80\\x9f\xA0\xFF");
  // The same bytes within characters.
  EXPECT_EQ(Strings::Printable("\xC4\x9B\xE2\x80\x9C\xF0\x9F\x98\x80"),
            "\xC4\x9B\xE2\x80\x9C\xF0\x9F\x98\x80");
  EXPECT_EQ(Strings::Printable("\xE2\x80"), "\xE2\\x80");
}

}  // namespace
}  // namespace Pirsk::Testing
