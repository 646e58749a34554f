#include <Pirsk/Strings.h>

#include <gtest/gtest.h>

#include <string>
#include <windows.h>

namespace Pirsk::Testing {
namespace {

// The narrow code page is the machine's own; that of the tests is the Western one.
class NarrowToUtf8 : public testing::Test {
protected:
  void SetUp() override { ASSERT_EQ(GetACP(), 1252u); }

  static std::string FromNarrow(const std::string& text) {
    std::string result = "what was there before";
    Strings::ToUTF8(text, result);
    return result;
  }
};

TEST_F(NarrowToUtf8, CharactersOfTheCodePageAreConverted) {
  EXPECT_EQ(FromNarrow("5 \x80 f\xE4llig"), "5 \xE2\x82\xAC f\xC3\xA4llig");
}

TEST_F(NarrowToUtf8, EmptyTextStaysEmpty) { EXPECT_EQ(FromNarrow(""), ""); }

TEST_F(NarrowToUtf8, ZeroBytesStay) {
  EXPECT_EQ(FromNarrow(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST_F(NarrowToUtf8, LongTextIsConvertedWhole) {
  std::string expected;
  for (int count = 0; count < 5000; ++count) expected += "x\xE2\x82\xAC";
  std::string text;
  for (int count = 0; count < 5000; ++count) text += "x\x80";

  EXPECT_EQ(FromNarrow(text), expected);
}

TEST_F(NarrowToUtf8, TextAndResultMayBeOneObject) {
  std::string text = "5 \x80";

  Strings::ToUTF8(text, text);

  EXPECT_EQ(text, "5 \xE2\x82\xAC");
}

}  // namespace
}  // namespace Pirsk::Testing
