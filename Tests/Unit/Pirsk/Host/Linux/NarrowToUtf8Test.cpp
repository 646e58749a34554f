#include "Unit/Pirsk/TestModule.h"

#include <Pirsk/Strings.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <langinfo.h>
#include <string>
#include <utility>
#include <vector>

namespace Pirsk::Testing {
namespace {

using Strings::ToUTF8;
using Strings::UTF8length;

constexpr std::size_t kNotUtf8 = static_cast<std::size_t>(-1);

std::string FromNarrow(const std::string& text) {
  std::string result = "what was there before";
  ToUTF8(text, result);
  return result;
}

// The locales are made here: a bare machine has none but C and C.UTF-8.

class NarrowToUtf8 : public testing::Test {
protected:
  void TearDown() override { setlocale(LC_CTYPE, "C"); }

  // Puts a locale in force whose code page goes by `codePage` and has the characters of `table`:
  // code and its place in Unicode. ASCII comes of itself.
  void UseCodePage(const std::string& codePage, const std::vector<std::pair<int, int>>& table) {
    std::string map = "<code_set_name> " + codePage +
                      "\n<mb_cur_min> 1\n<mb_cur_max> 1\n<escape_char> /\nCHARMAP\n";
    char row[64];
    for (int code = 0; code < 128; ++code) {
      std::snprintf(row, sizeof row, "<U%04X> /x%02x X\n", static_cast<unsigned>(code),
                    static_cast<unsigned>(code));
      map += row;
    }
    for (const auto& [code, place] : table) {
      std::snprintf(row, sizeof row, "<U%04X> /x%02x X\n", static_cast<unsigned>(place),
                    static_cast<unsigned>(code));
      map += row;
    }
    WriteFile(m_folder / "map", map + "END CHARMAP\n");
    WriteFile(m_folder / "source", "escape_char /\nLC_CTYPE\nupper <U0041>\nEND LC_CTYPE\n");
    const std::string name = "test." + codePage;
    const std::string command = "localedef --quiet --force -i " + (m_folder / "source") + " -f " +
                                (m_folder / "map") + " " + (m_folder / name) + " >/dev/null 2>&1";
    ASSERT_NE(std::system(command.c_str()), -1);
    setenv("LOCPATH", m_folder.Path().c_str(), 1);
    const char* inForce = setlocale(LC_CTYPE, name.c_str());
    unsetenv("LOCPATH");
    ASSERT_NE(inForce, nullptr);
    ASSERT_EQ(nl_langinfo(CODESET), codePage);
  }

  const TemporaryFolder m_folder;
};

TEST_F(NarrowToUtf8, ValidUtf8StaysInAUtf8Locale) {
  ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);

  EXPECT_EQ(FromNarrow("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
            "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST_F(NarrowToUtf8, BytesThatAreNoUtf8AreReplacedInAUtf8Locale) {
  ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);

  EXPECT_EQ(FromNarrow("a\xE4"
                       "b"),
            "a\xEF\xBF\xBD"
            "b");
  for (const char* broken :
       {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF", "a\xE2\x82", "a\xF0\x9F\x98"}) {
    const std::string result = FromNarrow(broken);
    EXPECT_NE(UTF8length(result), kNotUtf8);
    EXPECT_NE(result.find("\xEF\xBF\xBD"), std::string::npos);
  }
}

TEST_F(NarrowToUtf8, BytesAboveAsciiAreReplacedInTheCLocale) {
  setlocale(LC_CTYPE, "C");

  EXPECT_EQ(FromNarrow("a\xC3\xA4"
                       "b"),
            "a\xEF\xBF\xBD\xEF\xBF\xBD"
            "b");
}

TEST_F(NarrowToUtf8, CharactersOfAnEightBitCodePageAreConverted) {
  UseCodePage("ISO-8859-15", {{0xA4, 0x20AC}, {0xE4, 0x00E4}});

  EXPECT_EQ(FromNarrow("5 \xA4 f\xE4llig"), "5 \xE2\x82\xAC f\xC3\xA4llig");
}

TEST_F(NarrowToUtf8, BytesThatTheCodePageHasNotAreReplaced) {
  UseCodePage("CP1252", {{0x80, 0x20AC}});

  EXPECT_EQ(FromNarrow("\x80\x81x"), "\xE2\x82\xAC\xEF\xBF\xBDx");
}

TEST_F(NarrowToUtf8, CharacterHeldBackForACombiningMarkIsGivenOutAtTheEnd) {
  UseCodePage("CP1258", {{0xEC, 0x0301}});

  EXPECT_EQ(FromNarrow("xa"), "xa");
  EXPECT_EQ(FromNarrow("xa\xEC"), "x\xC3\xA1");
}

TEST_F(NarrowToUtf8, CodePageThatTheHostDoesNotKnowIsReadAsAscii) {
  UseCodePage("NO-SUCH-PAGE", {{0xE4, 0x00E4}});

  EXPECT_EQ(FromNarrow("a\xE4"), "a\xEF\xBF\xBD");
}

TEST_F(NarrowToUtf8, EmptyTextStaysEmpty) { EXPECT_EQ(FromNarrow(""), ""); }

TEST_F(NarrowToUtf8, ZeroBytesStay) {
  EXPECT_EQ(FromNarrow(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST_F(NarrowToUtf8, LongTextIsConvertedWhole) {
  UseCodePage("ISO-8859-15", {{0xA4, 0x20AC}});
  std::string expected;
  for (int count = 0; count < 5000; ++count) expected += "x\xE2\x82\xAC";
  std::string text;
  for (int count = 0; count < 5000; ++count) text += "x\xA4";

  EXPECT_EQ(FromNarrow(text), expected);
}

TEST_F(NarrowToUtf8, TextAndResultMayBeOneObject) {
  UseCodePage("ISO-8859-15", {{0xA4, 0x20AC}});
  std::string text = "5 \xA4";

  ToUTF8(text, text);

  EXPECT_EQ(text, "5 \xE2\x82\xAC");
}

}  // namespace
}  // namespace Pirsk::Testing
