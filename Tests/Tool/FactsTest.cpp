#include "Tool/Facts.h"
#include "Tool/Output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <ostream>

namespace Tool {
namespace {

using Ondrel::OS_FACTS;

OS_FACTS FactsIn(std::string_view text) {
  OS_FACTS facts;
  std::memset(&facts, 0xAA, sizeof facts);
  const std::optional<FactsError> error = ReadFacts(text, facts);
  EXPECT_FALSE(error) << error->offset << ": " << error->text;
  return facts;
}

TEST(Facts, FieldsThatAreNotThereAreZero) {
  const OS_FACTS facts = FactsIn("{}");

  const OS_FACTS zero{};
  EXPECT_EQ(std::memcmp(&facts, &zero, sizeof facts), 0);
}

TEST(Facts, EachFieldHasItsPlace) {
  const OS_FACTS facts = FactsIn(
      R"({"reported": {"major": 1, "minor": 2, "build": 3, "platform": 4, "processor": 5,)"
      R"( "csdVersion": "SP 1", "spMajor": 6, "spMinor": 65535},)"
      R"( "underlying": {"major": 8, "csdVersion": "SP 2"},)"
      R"( "suite1": 9, "suite2": 10, "suite3": 11, "suite4": 12, "osType": 13, "ubr": 14,)"
      R"( "productInfo": 15, "semiAnnual": 16, "deviceFamilyVersion": 18446744073709551615,)"
      R"( "deviceFamily": 17, "deviceForm": 4294967295, "kind": "windows"})");

  EXPECT_EQ(facts.reported.major, 1u);
  EXPECT_EQ(facts.reported.minor, 2u);
  EXPECT_EQ(facts.reported.build, 3u);
  EXPECT_EQ(facts.reported.platform, 4u);
  EXPECT_EQ(facts.reported.processor, 5u);
  EXPECT_STREQ(facts.reported.csdVersion, "SP 1");
  EXPECT_EQ(facts.reported.spMajor, 6u);
  EXPECT_EQ(facts.reported.spMinor, 65535u);
  EXPECT_EQ(facts.underlying.major, 8u);
  EXPECT_STREQ(facts.underlying.csdVersion, "SP 2");
  EXPECT_EQ(facts.suite1, 9u);
  EXPECT_EQ(facts.suite2, 10u);
  EXPECT_EQ(facts.suite3, 11u);
  EXPECT_EQ(facts.suite4, 12u);
  EXPECT_EQ(facts.osType, 13u);
  EXPECT_EQ(facts.ubr, 14u);
  EXPECT_EQ(facts.productInfo, 15u);
  EXPECT_EQ(facts.semiAnnual, 16u);
  EXPECT_EQ(facts.deviceFamilyVersion, 18446744073709551615u);
  EXPECT_EQ(facts.deviceFamily, 17u);
  EXPECT_EQ(facts.deviceForm, 4294967295u);
}

TEST(Facts, EscapesAndSpaceAreRead) {
  const OS_FACTS facts = FactsIn(
      "\t{ \"\\u0072eported\" :\r\n{\"csdVersion\":"
      "\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u00fc\\u20AC\\ud83d\\ude00\xC3\xBC\"}\n} ");

  EXPECT_STREQ(facts.reported.csdVersion,
               "\"\\/\b\f\n\r\t\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80\xC3\xBC");
}

TEST(Facts, LongestTextFillsTheRecord) {
  const OS_FACTS facts =
      FactsIn(R"({"reported":{"csdVersion":")" + std::string(127, 'x') + R"("}})");

  EXPECT_EQ(std::string(facts.reported.csdVersion), std::string(127, 'x'));
}

TEST(Facts, WhatIsShownIsReadAgain) {
  OS_FACTS facts{};
  facts.underlying.build = 19045;
  std::strcpy(facts.reported.csdVersion, "Service \"Pack\" 1");
  facts.deviceFamilyVersion = 2814751014977090;
  facts.reported.spMinor = 7;

  const OS_FACTS read = FactsIn(JsonOf(facts).dump());

  EXPECT_EQ(std::memcmp(&read, &facts, sizeof facts), 0);
}

struct Bad {
  const char* name;
  std::string text;
  std::size_t offset;
  const char* complaint;
};

void PrintTo(const Bad& row, std::ostream* out) { *out << row.name; }

TEST(Facts, MembersAsTextAreThoseOfTheTree) {
  OS_FACTS facts =
      FactsIn(R"({"reported": {"major": 10, "csdVersion": "Service Pack 1"},)"
              R"( "underlying": {"csdVersion": "\"\\\n\u00e9"},)"
              R"( "suite1": 4294967295, "deviceFamilyVersion": 18446744073709551615})");
  const auto text = [&facts] {
    std::string members = "before";
    AppendMembers(members, facts);
    return members;
  };
  const auto tree = [&facts] {
    const std::string object = JsonOf(facts).dump(-1, ' ', false, Json::error_handler_t::replace);
    return "before" + object.substr(1, object.size() - 2);
  };
  EXPECT_EQ(text(), tree());
  facts.reported.csdVersion[0] = '\xFF';  // A host's text need not be UTF-8.
  EXPECT_EQ(text(), tree());
}

TEST(Facts, TextsAsTextHaveNoControlCharacterOfATerminal) {
  std::string text;
  AppendJsonText(text, "a\x7F\u009b31m\u00e9\n");
  EXPECT_EQ(text, "\"a\\u007f\\u009b31m\u00e9\\n\"");
  text.clear();
  AppendJsonText(text, "\x7F");
  EXPECT_EQ(text, "\"\\u007f\"");
}

class BadFacts : public testing::TestWithParam<Bad> {};

TEST_P(BadFacts, AreRefusedAtTheirPlace) {
  OS_FACTS facts;
  const std::optional<FactsError> error = ReadFacts(GetParam().text, facts);

  ASSERT_TRUE(error);
  EXPECT_EQ(error->text, GetParam().complaint);
  EXPECT_EQ(error->offset, GetParam().offset);
}

using namespace std::string_literals;

INSTANTIATE_TEST_SUITE_P(
    Rows, BadFacts,
    testing::Values(
        Bad{"Empty", "", 0, "a JSON object is expected"},
        Bad{"Spaces", "  ", 2, "a JSON object is expected"},
        Bad{"Array", "[]", 0, "a JSON object is expected"},
        Bad{"NoEnd", R"({"ubr":1)", 8, R"("}" is expected, but the text ends)"},
        Bad{"NoColon", R"({"ubr" 1})", 7, R"(":" is expected)"},
        Bad{"LastComma", R"({"ubr":1,})", 9, R"(""" is expected)"},
        Bad{"More", R"({} x)", 3, "more follows the object"},
        Bad{"ZeroByteAfterIt", "{}\0"s, 2, "more follows the object"},
        Bad{"ZeroByteWithin", "{\0}"s, 1, R"(""" is expected)"},
        Bad{"UnknownField", R"({"ubr":1,"udr":2})", 9, R"(no record has the field "udr")"},
        Bad{"FieldOfTheOtherLevel", R"({"major":1})", 1, R"(no record has the field "major")"},
        Bad{"HalfWithinAHalf", R"({"reported":{"reported":{}}})", 13,
            R"(no record has the field "reported")"},
        Bad{"Twice", R"({"ubr":1,"ubr":1})", 9, R"("ubr" is there twice)"},
        Bad{"Negative", R"({"ubr":-1})", 7, R"("ubr" is not a whole number of 0 to 4294967295)"},
        Bad{"Fraction", R"({"ubr":1.0})", 7, R"("ubr" is not a whole number of 0 to 4294967295)"},
        Bad{"Exponent", R"({"ubr":1e3})", 7, R"("ubr" is not a whole number of 0 to 4294967295)"},
        Bad{"LeadingZero", R"({"ubr":01})", 7, R"("ubr" is not a whole number of 0 to 4294967295)"},
        Bad{"NumberAsText", R"({"ubr":"1"})", 7,
            R"("ubr" is not a whole number of 0 to 4294967295)"},
        Bad{"TooGreat", R"({"ubr":4294967296})", 7,
            R"("ubr" is not a whole number of 0 to 4294967295)"},
        Bad{"TooGreatFor16Bits", R"({"reported":{"spMajor":65536}})", 23,
            R"("spMajor" is not a whole number of 0 to 65535)"},
        Bad{"TooGreatFor64Bits", R"({"deviceFamilyVersion":18446744073709551616})", 23,
            R"("deviceFamilyVersion" is not a whole number of 0 to 18446744073709551615)"},
        Bad{"HalfIsNoObject", R"({"reported":[]})", 12, R"("reported" is not an object)"},
        Bad{"TextIsNone", R"({"reported":{"csdVersion":1}})", 26, R"("csdVersion" is not a text)"},
        Bad{"TextTooLong", R"({"reported":{"csdVersion":")" + std::string(128, 'x') + R"("}})", 26,
            R"("csdVersion" is longer than 127 bytes)"},
        Bad{"ZeroInText", R"({"reported":{"csdVersion":"a\u0000b"}})", 26,
            R"("csdVersion" holds a zero byte, at which the record's text would end)"},
        Bad{"ControlCharacter", "{\"ubr\n\":1}", 5, "a text holds a control character"},
        Bad{"NotUtf8", "{\"ub\xFFr\":1}", 4, "a text is not UTF-8"},
        Bad{"LongForm", "{\"ub\xC0\xAFr\":1}", 4, "a text is not UTF-8"},
        Bad{"UnknownEscape", R"({"u\x62r":1})", 3, "this escape does not exist"},
        Bad{"ShortEscape", R"({"u\u62r":1})", 3, "this escape does not exist"},
        Bad{"HalfCharacter", R"({"u\ud83d":1})", 3, "this is half a character"},
        Bad{"TextWithoutEnd", R"({"ubr)", 1, "the text that begins here has no end"},
        Bad{"OtherKind", R"({"kind":"linux"})", 8, R"("kind" is not "windows")"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace Tool
