#include "CommandFixture.h"

#include <gtest/gtest.h>

namespace Ondrel::Testing {
namespace {

class CommandMatch : public CommandFixture {};

struct ShownText {
  const char* name;
  std::string text;
  std::string shown;
};

TEST_F(CommandMatch, EachByteThatATerminalCannotShowIsAQuestionMark) {
  const ShownText kRows[] = {
      {"control characters", "\x1F\x7F", "??"},
      {"bytes that nothing begins with", "\x80\xBF\xFF", "???"},
      {"overlong, two bytes", "\xC1\xBF", "??"},
      {"control characters of two bytes", "\xC2\x80\xC2\x9F", "????"},
      {"first and last of two bytes", "\xC2\xA0\xDF\xBF", "\xC2\xA0\xDF\xBF"},
      {"one byte of two", "\xC3x", "?x"},
      {"overlong, three bytes", "\xE0\x9F\xBF", "???"},
      {"first of three bytes", "\xE0\xA0\x80", "\xE0\xA0\x80"},
      {"half of a pair", "\xED\xA0\x80", "???"},
      {"around the halves", "\xED\x9F\xBF\xEE\x80\x80", "\xED\x9F\xBF\xEE\x80\x80"},
      {"two bytes of three", "\xE6\x95x", "??x"},
      {"overlong, four bytes", "\xF0\x8F\xBF\xBF", "????"},
      {"first and last of four bytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
       "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {"beyond the last", "\xF4\x90\x80\x80\xF5\x80\x80\x80", "????????"},
  };
  for (const ShownText& row : kRows)
    EXPECT_EQ(Run({"match", "b", "b" + row.text}).output, "b" + row.shown + "\n^ 0 [0, 1)\n")
        << row.name;
}

}  // namespace
}  // namespace Ondrel::Testing
