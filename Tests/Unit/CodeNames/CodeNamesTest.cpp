#include <Ondrel/CodeNames.h>
#include <Ondrel/StatusTransition.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <ostream>
#include <ranges>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace Ondrel {
namespace {

static_assert(std::is_trivially_destructible_v<CCodeNames>);
static_assert(std::bidirectional_iterator<CCodeNames::const_iterator>);
static_assert(std::ranges::bidirectional_range<const CCodeNames>);
static_assert(noexcept(EventCodeNames.Name(0)) && noexcept(EventCodeNames.find(0)));
static_assert(sizeof(CCodeNames) == sizeof(void*), "a program copies it: it never grows");

constexpr const CCodeNames* kVocabularies[] = {
    &ErrorCodeNames, &OperationCodeNames, &EventCodeNames, &PropertyCodeNames, &ValueCodeNames};

using Map = std::map<std::int32_t, std::string>;

struct SpotRow {
  std::string_view title;
  const CCodeNames& names;
  std::int32_t code;
  std::string_view name;
};

void PrintTo(const SpotRow& row, std::ostream* out) { *out << row.title; }

const SpotRow kSpotRows[] = {
    {"ErrorZero", ErrorCodeNames, 0, "SUCCESS"},
    {"PhysicalDriveFails", EventCodeNames, 10471, "PD_STATE_CHANGE_OP_TO_FAIL"},
    {"MisspeltTemperature", EventCodeNames, 10152, "BBU_TEMPATURE_PROBLEM"},
    {"MisspeltMultiple", EventCodeNames, 10291, "SAS_TOPOLOGY_MULITPLE_SUBTRACTIVE"},
    {"MisspeltRetention", EventCodeNames, 10354, "DIAG_NVRAM_RENTION_TEST_SUCCESS"},
    {"MisspeltInterval", PropertyCodeNames, 30382, "COCE_SAMPLE_INTERVALL"},
    {"MisspeltNumber", PropertyCodeNames, 30526, "VMD_CONTROLLER_NUMER"},
    {"LowerCaseTail", ValueCodeNames, 40339, "ADAPTER_STATUS_INFO_empty"},
    {"EmptyName", ValueCodeNames, 0, ""},
    {"NameThatBeginsWithADigit", ValueCodeNames, 40046, "512B"},
    {"LargestCode", PropertyCodeNames, 0x7fffffff, "UNSPECIFIED"},
    {"AddServer", OperationCodeNames, 50108, "ADD_SERVER"},
    {"AddServerAgain", OperationCodeNames, 50500, "ADD_SERVER"},
    {"RaidLevel", PropertyCodeNames, 29904, "RAID_LEVEL"},
    {"RaidLevelAgain", PropertyCodeNames, 30045, "RAID_LEVEL"},
    {"FirstNameOfProperty1Stays", PropertyCodeNames, 1, "UNDEFINED"},
    {"FirstNameOfProperty29900Stays", PropertyCodeNames, 29900, "RUI_PROPERTIES"},
    {"UndefinedEvent", EventCodeNames, 1, "UNDEFINED"},
    {"UndefinedOperation", OperationCodeNames, 1, "UNDEFINED"},
    {"UndefinedValue", ValueCodeNames, 1, "UNDEFINED"},
};

class CodeNamesSpotRow : public testing::TestWithParam<SpotRow> {};

TEST_P(CodeNamesSpotRow, IsFound) {
  EXPECT_EQ(GetParam().names.Name(GetParam().code), GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(Rows, CodeNamesSpotRow, testing::ValuesIn(kSpotRows),
                         [](const auto& test) { return std::string(test.param.title); });

TEST(CodeNames, AnEmptyNameIsAHitAndNotAMiss) {
  const std::optional<std::string_view> name = ValueCodeNames.Name(0);

  ASSERT_TRUE(name.has_value());
  EXPECT_TRUE(name->empty());
}

TEST(CodeNames, ErrorCode1HasNoName) { EXPECT_EQ(ErrorCodeNames.Name(1), std::nullopt); }

TEST(CodeNames, OperationsBetween50162And50499HaveNoName) {
  for (std::int32_t code = 50162; code <= 50499; ++code) {
    EXPECT_EQ(OperationCodeNames.Name(code), std::nullopt) << code;
  }
}

TEST(CodeNames, OnlyPropertiesHaveTheLargestCode) {
  constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();

  EXPECT_EQ(ErrorCodeNames.Name(kLargest), std::nullopt);
  EXPECT_EQ(OperationCodeNames.Name(kLargest), std::nullopt);
  EXPECT_EQ(EventCodeNames.Name(kLargest), std::nullopt);
  EXPECT_EQ(ValueCodeNames.Name(kLargest), std::nullopt);
}

TEST(CodeNames, CodesBelowZeroHaveNoName) {
  for (const CCodeNames* names : kVocabularies) {
    EXPECT_EQ(names->Name(-1), std::nullopt);
    EXPECT_EQ(names->Name(std::numeric_limits<std::int32_t>::min()), std::nullopt);
  }
}

TEST(CodeNames, ACodeThatSharesItsLowBitsWithAnotherIsNotTakenForIt) {
  for (std::int32_t bit = 0; bit < 31; ++bit) {
    const std::int32_t code = 10471 ^ (1 << bit);
    const bool listed = EventCodeNames.count(code) == 1;
    EXPECT_EQ(EventCodeNames.Name(code).has_value(), listed);
    EXPECT_NE(EventCodeNames.Name(code), "PD_STATE_CHANGE_OP_TO_FAIL") << code;
  }
}

TEST(CodeNames, ANameCanBeUsedAsACString) {
  EXPECT_STREQ(OperationCodeNames.Name(50010)->data(), "FLUSH");
  EXPECT_STREQ(ValueCodeNames.Name(0)->data(), "");
}

TEST(CodeNames, RowsAreWalkedInOrderOfCodeBothWays) {
  CCodeNames::const_iterator row = OperationCodeNames.begin();
  EXPECT_EQ(row->first, 1);
  EXPECT_EQ((++row)->first, 50000);
  EXPECT_EQ((row++)->second, "CREATE_LOGICAL_DRIVE");
  EXPECT_EQ((row--)->first, 50001);
  EXPECT_EQ((*--row).second, "UNDEFINED");

  row = OperationCodeNames.end();
  EXPECT_EQ((--row)->first, 50500);
  EXPECT_EQ((--row)->second, "DELETE_ARRAY_HOTSPARE");
}

TEST(CodeNames, FindsTheRowOfACode) {
  const CCodeNames::const_iterator row = ErrorCodeNames.find(20168);
  ASSERT_NE(row, ErrorCodeNames.end());
  EXPECT_EQ(row->first, 20168);
  EXPECT_EQ(row->second, "INVALID_INPUT_CHARACTER");

  EXPECT_EQ(ErrorCodeNames.find(20167), ErrorCodeNames.end());
  EXPECT_EQ(ErrorCodeNames.count(20168), 1U);
  EXPECT_EQ(ErrorCodeNames.count(20167), 0U);
  EXPECT_FALSE(ErrorCodeNames.empty());
}

TEST(CodeNames, AtGivesTheNameOrThrows) {
  EXPECT_EQ(EventCodeNames.at(10471), "PD_STATE_CHANGE_OP_TO_FAIL");
  EXPECT_EQ(ValueCodeNames.at(0), "");
  EXPECT_THROW(static_cast<void>(ErrorCodeNames.at(1)), std::out_of_range);
}

// The codes of a map, the ones beside them and the ends of their range.
std::vector<std::int32_t> CodesToAsk(const Map& names) {
  std::vector<std::int32_t> codes = {std::numeric_limits<std::int32_t>::min(), -1,
                                     std::numeric_limits<std::int32_t>::max()};
  for (const auto& [code, name] : names) {
    codes.push_back(code);
    codes.push_back(code - 1);
    if (code != std::numeric_limits<std::int32_t>::max()) codes.push_back(code + 1);
  }
  return codes;
}

TEST(CodeNames, BoundsAndContainmentAreThoseOfAnOrderedMap) {
  for (const CCodeNames* names : kVocabularies) {
    const Map map(*names);
    const auto isSameRow = [&](CCodeNames::const_iterator row, Map::const_iterator expected) {
      if (row == names->end() || expected == map.end())
        return row == names->end() && expected == map.end();
      return row->first == expected->first && row->second == expected->second;
    };
    for (const std::int32_t code : CodesToAsk(map)) {
      ASSERT_EQ(names->contains(code), map.count(code) == 1) << code;
      ASSERT_TRUE(isSameRow(names->find(code), map.find(code))) << code;
      ASSERT_TRUE(isSameRow(names->lower_bound(code), map.lower_bound(code))) << code;
      ASSERT_TRUE(isSameRow(names->upper_bound(code), map.upper_bound(code))) << code;
      ASSERT_TRUE(isSameRow(names->equal_range(code).first, map.lower_bound(code))) << code;
      ASSERT_TRUE(isSameRow(names->equal_range(code).second, map.upper_bound(code))) << code;
    }
  }
}

TEST(CodeNames, AreWalkedBackwards) {
  for (const CCodeNames* names : kVocabularies) {
    std::vector<std::int32_t> forwards, backwards;
    for (auto row = names->cbegin(); row != names->cend(); ++row) forwards.push_back(row->first);
    for (auto row = names->crbegin(); row != names->crend(); ++row) backwards.push_back(row->first);
    std::reverse(backwards.begin(), backwards.end());
    EXPECT_EQ(backwards, forwards);
    EXPECT_EQ(forwards.size(), names->size());
  }
  EXPECT_EQ((*EventCodeNames.rbegin()).first, 12325);
}

TEST(CodeNames, CodesOfANameAreAllThatHaveIt) {
  for (const CCodeNames* names : kVocabularies) {
    std::map<std::string, std::vector<std::int32_t>> codesOf;
    for (const auto [code, name] : *names) codesOf[std::string(name)].push_back(code);
    ASSERT_FALSE(codesOf.empty());
    for (const auto& [name, codes] : codesOf) {
      ASSERT_EQ(names->Codes(name), codes) << name;
      ASSERT_EQ(names->Code(name), codes.front()) << name;
    }
  }
}

TEST(CodeNames, CodeOfANameThatStandsTwiceIsTheLowest) {
  EXPECT_EQ(OperationCodeNames.Code("ADD_SERVER"), 50108);
  EXPECT_EQ(OperationCodeNames.Codes("ADD_SERVER"), (std::vector<std::int32_t>{50108, 50500}));
  EXPECT_EQ(PropertyCodeNames.Code("RAID_LEVEL"), 29904);
  EXPECT_EQ(PropertyCodeNames.Codes("RAID_LEVEL"), (std::vector<std::int32_t>{29904, 30045}));
}

TEST(CodeNames, CodeOfANameComparesToTheLetter) {
  EXPECT_EQ(ValueCodeNames.Code("OPERATIONAL"), kStatusOperational);
  EXPECT_EQ(ValueCodeNames.Code(""), 0);
  EXPECT_EQ(ValueCodeNames.Code("operational"), std::nullopt);
  EXPECT_EQ(ValueCodeNames.Code("OPERATIONA"), std::nullopt);
  EXPECT_EQ(EventCodeNames.Code("OPERATIONAL"), std::nullopt);
  EXPECT_TRUE(EventCodeNames.Codes("FRAME_END").empty());
}

TEST(CodeNames, ARowThatWasDroppedHasNoCode) {
  EXPECT_EQ(PropertyCodeNames.Code("FRAME_END"), std::nullopt);
}

TEST(CodeNames, ConvertToAMapOfStrings) {
  const std::map<std::int32_t, std::string> names(ValueCodeNames);

  EXPECT_EQ(names.size(), 658U);
  EXPECT_EQ(names.begin()->second, "");
  EXPECT_EQ(names.at(40093), "OPERATIONAL");
  EXPECT_EQ(names.rbegin()->second, "AUTOREPLACE");
}

const std::optional<std::string_view> kFoundAtLoad = EventCodeNames.Name(10471);

TEST(CodeNames, AreThereForStaticConstructors) {
  EXPECT_EQ(kFoundAtLoad, "PD_STATE_CHANGE_OP_TO_FAIL");
}

/// Ends the process with 7 when the name is still there at its destruction.
struct LooksUpWhenDestroyed {
  ~LooksUpWhenDestroyed() {
    if (PropertyCodeNames.Name(0x7fffffff) == "UNSPECIFIED") _exit(7);
  }
};

TEST(CodeNames, AreThereForStaticDestructors) {
  EXPECT_EXIT(
      {
        static const LooksUpWhenDestroyed object;
        std::exit(0);
      },
      testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace Ondrel
