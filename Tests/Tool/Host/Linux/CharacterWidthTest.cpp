#include "Tool/TextWidth.h"

#include <gtest/gtest.h>

namespace Tool {
namespace {

TEST(CharacterWidth, IsThatOfTheCharactersOwnPlane) {
  EXPECT_EQ(ColumnsOf("\xF3\xA0\x84\x80"), 0U);  // U+E0100, which chooses how another is shown.
  EXPECT_EQ(ColumnsOf("\xF4\x80\x8C\x80"), 1U);  // U+100300; U+0300 would stand on another.
  EXPECT_EQ(ColumnsOf("\xF0\xA0\x84\x80"), 2U);  // U+20100, which is Chinese.
}

}  // namespace
}  // namespace Tool
