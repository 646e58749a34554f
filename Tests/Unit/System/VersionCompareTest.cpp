#include <Ondrel/System.h>

#include <gtest/gtest.h>

#include <random>

namespace Ondrel {
namespace {

int SignOf(int number) { return (number > 0) - (number < 0); }

struct Row {
  const char* name;
  std::string first;
  std::string second;
  std::size_t count;
  int result;
};

void PrintTo(const Row& row, std::ostream* stream) { *stream << row.name; }

class VersionCompareExactly : public testing::TestWithParam<Row> {};

TEST_P(VersionCompareExactly, Gives) {
  const Row& row = GetParam();
  EXPECT_EQ(CSystem::VersionCompare(row.first, row.second, row.count), row.result);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, VersionCompareExactly,
    testing::Values(Row{"BothEmpty", "", "", 0, 0}, Row{"EmptyBeforeZero", "", "0", 0, -1},
                    Row{"ZeroAfterEmpty", "0", "", 0, 1}, Row{"Same", "7.10.2", "7.10.2", 0, 0},
                    Row{"SameBadText", "x", "x", 0, 0}, Row{"PaddedEqual", "1.2", "1.2.0", 0, 0},
                    Row{"PaddedLower", "1.2", "1.2.1", 0, -1},
                    Row{"SeparatorsAreEquivalent", "1-2", "1.2", 0, 0},
                    Row{"LeadingZero", "1.02", "1.2", 0, 0},
                    Row{"NumbersNotTexts", "1.10", "1.9", 0, 1},
                    Row{"OnlyTwoPartsCount", "7.10.2", "7.10.3", 2, 0},
                    Row{"CountAboveTheLength", "7.10.2", "7.10.3", 9, -1},
                    Row{"CountTakesTheFirst", "2", "1.9.9", 1, 1},
                    Row{"BadPartIsNeverReached", "1.2.x", "1.3.y", 0, -1},
                    Row{"BadPartAfterTheCount", "1.2.x", "1.2.y", 2, 0},
                    Row{"EmptyLastPart", "1.", "1", 0, 1}, Row{"LeadingPlus", "+5", "5", 0, 0},
                    Row{"LeadingSpace", " 5", "5", 0, 0}, Row{"LeadingTab", "\t5", "5", 0, 0},
                    Row{"LargestNumbers", "2147483646", "2147483647", 0, -1},
                    Row{"Octal", "010", "10", 0, 0}),
    [](const auto& row) { return row.param.name; });

class VersionCompareByText : public testing::TestWithParam<Row> {};

TEST_P(VersionCompareByText, HasTheSign) {
  const Row& row = GetParam();
  EXPECT_EQ(SignOf(CSystem::VersionCompare(row.first, row.second, row.count)), row.result);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, VersionCompareByText,
    testing::Values(Row{"Letters", "1.x", "1.y", 0, -1}, Row{"EmptyPart", "1..2", "1.0.2", 0, -1},
                    Row{"Overflow", "4294967296", "1", 0, 1},
                    Row{"JustAboveTheLargest", "2147483648", "3", 0, -1},
                    Row{"TrailingSpace", "5 ", "4", 0, 1}, Row{"TrailingLetter", "1a", "02", 0, 1},
                    Row{"Hexadecimal", "0x10", "1", 0, -1},
                    Row{"BytesAbove127AreUnsigned", "1.\xE9", "1.z", 0, 1},
                    Row{"SpaceAlone", "1. ", "1.0", 0, -1},
                    Row{"MinusIsASeparator", "-1", "1", 0, -1}, Row{"SignAlone", "+", "0", 0, -1}),
    [](const auto& row) { return row.param.name; });

TEST(VersionCompare, FallbackDistinguishesTheLengthsOfTextsThatBeginAlike) {
  EXPECT_EQ(CSystem::VersionCompare("1.x", "1.x.", 0), -1);
  EXPECT_EQ(CSystem::VersionCompare("1.x.", "1.x", 0), 1);
}

TEST(VersionCompare, ZeroByteIsNoEnd) {
  const std::string first("1.2\0a", 5);
  EXPECT_EQ(SignOf(CSystem::VersionCompare(first, std::string("1.2\0b", 5), 0)), -1);
}

TEST(VersionCompare, IsNotTransitiveOverBadParts) {
  // 1.10 is above 1.9 by numbers; by text 1.9x is above 1.9 and 1.10 below 1.9x.
  EXPECT_GT(CSystem::VersionCompare("1.10", "1.9", 0), 0);
  EXPECT_GT(CSystem::VersionCompare("1.9", "1.1x", 0), 0);
  EXPECT_LT(CSystem::VersionCompare("1.10", "1.1x", 0), 0);
}

std::string RandomText(std::mt19937& random, const char* alphabet, std::size_t size) {
  std::string text(std::uniform_int_distribution<std::size_t>(0, 6)(random), ' ');
  for (char& c : text)
    c = alphabet[std::uniform_int_distribution<std::size_t>(0, size - 1)(random)];
  return text;
}

TEST(VersionCompare, IsReflexiveAndAntisymmetricForAnyText) {
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    const std::string a = RandomText(random, "012.-x +", 8);
    const std::string b = RandomText(random, "012.-x +", 8);
    ASSERT_EQ(CSystem::VersionCompare(a, a, 0), 0) << a;
    ASSERT_EQ(SignOf(CSystem::VersionCompare(a, b, 0)), -SignOf(CSystem::VersionCompare(b, a, 0)))
        << '"' << a << "\" and \"" << b << '"';
  }
}

TEST(VersionCompare, IsTransitiveForWellFormedVersions) {
  std::mt19937 random(2);
  const auto version = [&random] {
    std::string text;
    for (int parts = std::uniform_int_distribution<int>(1, 4)(random); parts > 0; --parts)
      text += (text.empty() ? ""
               : parts % 2  ? "."
                            : "-") +
              std::to_string(std::uniform_int_distribution<int>(0, 12)(random));
    return text;
  };
  for (int i = 0; i < 20000; ++i) {
    const std::string a = version(), b = version(), c = version();
    if (CSystem::VersionCompare(a, b, 0) <= 0 && CSystem::VersionCompare(b, c, 0) <= 0) {
      ASSERT_LE(CSystem::VersionCompare(a, c, 0), 0) << a << ' ' << b << ' ' << c;
    }
  }
}

}  // namespace
}  // namespace Ondrel
