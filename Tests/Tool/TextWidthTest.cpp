#include "Tool/Table.h"
#include "Tool/TextWidth.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace Tool {

namespace {

struct WidthRow {
  const char* name;
  const char* text;
  std::size_t columns;
};

class TextWidth : public testing::TestWithParam<WidthRow> {};
TEST_P(TextWidth, CountsColumnsOfATerminal) {
  EXPECT_EQ(ColumnsOf(GetParam().text), GetParam().columns);
}
INSTANTIATE_TEST_SUITE_P(
    Columns, TextWidth,
    testing::Values(WidthRow{"Nothing", "", 0}, WidthRow{"Ascii", "Data", 4},
                    WidthRow{"Umlaut",
                             "Gr\xC3\xB6\xC3\x9F"
                             "e",
                             5},
                    WidthRow{"CombiningMark", "u\xCC\x88", 1},
                    WidthRow{"Chinese", "\xE6\x95\xB0\xE6\x8D\xAE", 4},
                    WidthRow{"Japanese", "\xE3\x83\x87\xE3\x83\xBC\xE3\x82\xBF", 6},
                    WidthRow{"HalfWidth", "\xEF\xBE\x83\xEF\xBE\x9E", 2},
                    WidthRow{"FullWidth", "\xEF\xBC\xA1", 2}, WidthRow{"Korean", "\xEA\xB0\x80", 2},
                    WidthRow{"Pictograph", "\xF0\x9F\x92\xBE", 2},
                    WidthRow{"NotUtf8", "a\xFF\xC3", 3}),
    [](const auto& row) { return row.param.name; });

TEST(Table, ColumnsStayInLineWithWideCharacters) {
  std::ostringstream text;
  PrintTable(text, {{"size", "label", "at"}, {"1 KiB", "\xE6\x95\xB0", "/a"}, {"2", "x", "/b"}}, 1);
  EXPECT_EQ(text.str(),
            " size  label  at\n"
            "1 KiB  \xE6\x95\xB0     /a\n"
            "    2  x      /b\n");
}

TEST(Table, AColumnWithNothingBelowItsHeadCanBeLeftOut) {
  EXPECT_EQ(WithoutEmptyColumns({{"a", "b", "c"}, {"1", "", "3"}}),
            (std::vector<Row>{{"a", "c"}, {"1", "3"}}));
}

}  // namespace

}  // namespace Tool
