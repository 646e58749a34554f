#include "CodeNames/Tables.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel {
namespace {

using Rows = std::vector<std::pair<std::int32_t, std::string>>;

Rows RowsOf(const CCodeNames& names) { return {names.begin(), names.end()}; }

constexpr CodeNames::ListedName kUnordered[] = {{7, "SEVEN"}, {-3, "MINUS"}, {5, "FIVE"}};

constexpr CodeNames::ListedName kRepeated[] = {{1, "FIRST"}, {2, "OTHER"}, {1, "SECOND"},
                                               {0, "ZERO"},  {1, "THIRD"}, {2, "LATE"}};

constexpr CodeNames::ListedName kSameLowBits[] = {
    {0, "A"}, {256, "B"}, {65536 - 1024, "C"}, {-32768, "D"}};

constexpr CodeNames::ListedName kSingle[] = {{0x7fffffff, ""}};

TEST(CodeNamesTables, RowsStandInOrderOfSignedCode) {
  EXPECT_EQ(RowsOf(CodeNames::Vocabulary<kUnordered>()),
            (Rows{{-3, "MINUS"}, {5, "FIVE"}, {7, "SEVEN"}}));
}

TEST(CodeNamesTables, TheFirstRowOfACodeStaysWithoutAWord) {
  EXPECT_EQ(RowsOf(CodeNames::Vocabulary<kRepeated>()),
            (Rows{{0, "ZERO"}, {1, "FIRST"}, {2, "OTHER"}}));
}

TEST(CodeNamesTables, CodesWithTheSameLowBitsAreDistinguished) {
  constexpr CCodeNames kNames = CodeNames::Vocabulary<kSameLowBits>();

  EXPECT_EQ(kNames.Name(0), "A");
  EXPECT_EQ(kNames.Name(256), "B");
  EXPECT_EQ(kNames.Name(65536 - 1024), "C");
  EXPECT_EQ(kNames.Name(-32768), "D");
  EXPECT_EQ(kNames.Name(512), std::nullopt);
  EXPECT_EQ(kNames.Name(-1024), std::nullopt);
}

TEST(CodeNamesTables, OneRowMakesAVocabulary) {
  constexpr CCodeNames kNames = CodeNames::Vocabulary<kSingle>();

  EXPECT_EQ(kNames.size(), 1U);
  EXPECT_EQ(kNames.Name(0x7fffffff), "");
  EXPECT_EQ(kNames.Name(0), std::nullopt);
}

}  // namespace
}  // namespace Ondrel
