// The library's DLL as its own message file, read through the host's resource functions.

#include <Ondrel/Host.h>
#include <Ondrel/SystemLog.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Free {
  void operator()(char* text) const { std::free(text); }
};

class Reader : public Ondrel::CSystemLogReader_Win {
public:
  std::string Message(Ondrel::ULong messageId, std::string insert) {
    const std::unique_ptr<char, Free> text(GetMessageString(messageId, 1, insert.data()));
    return text ? text.get() : "no message";
  }
};

TEST(LibraryAsMessageFile, PathIsThatOfTheDll) {
  const std::string path = Ondrel::Host::LibraryPath();

  ASSERT_GE(path.size(), 11u);
  EXPECT_EQ(path.substr(path.size() - 11), "\\ondrel.dll");
  EXPECT_EQ(path.substr(1, 2), ":\\");
}

struct Row {
  const char* name;
  Ondrel::ULong messageId;
  const char* message;
};

class MessageOfTheLibrary : public testing::TestWithParam<Row> {};

TEST_P(MessageOfTheLibrary, IsTheInsertionStringWhereTheTableHasTheId) {
  Reader reader;
  ASSERT_EQ(reader.GetMessageResources(Ondrel::Host::LibraryPath()), 1u);

  EXPECT_EQ(reader.Message(GetParam().messageId, "PD 3 failed"), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Ids, MessageOfTheLibrary,
    testing::Values(Row{"BelowTheFirstBlock", 0x2000270F, "no message"},
                    Row{"FirstOfTheFirstBlock", 0x20002710, "PD 3 failed\r\n"},
                    Row{"SecondOfTheFirstBlock", 0x20002711, "PD 3 failed\r\n"},
                    Row{"LastOfTheFirstBlock", 0x20002870, "PD 3 failed\r\n"},
                    Row{"FirstOfTheFirstGap", 0x20002871, "no message"},
                    Row{"LastOfTheFirstGap", 0x20002872, "no message"},
                    Row{"FirstOfTheSecondBlock", 0x20002873, "PD 3 failed\r\n"},
                    Row{"LastOfTheSecondBlock", 0x2000292C, "PD 3 failed\r\n"},
                    Row{"SecondGap", 0x2000292D, "no message"},
                    Row{"FirstOfTheThirdBlock", 0x2000292E, "PD 3 failed\r\n"},
                    Row{"LastOfTheThirdBlock", 0x20002B65, "PD 3 failed\r\n"},
                    Row{"AfterTheThirdBlock", 0x20002B66, "no message"},
                    Row{"CodeWithoutTheCustomerBit", 0x2712, "no message"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(LibraryAsMessageFile, MessageHoldsThePercentSignsOfItsText) {
  Reader reader;
  ASSERT_EQ(reader.GetMessageResources(Ondrel::Host::LibraryPath()), 1u);

  EXPECT_EQ(reader.Message(0x20002712, "100%1 %0 full"), "100%1 %0 full\r\n");
}

TEST(LibraryAsMessageFile, FileThatIsNotThereIsRefused) {
  Reader reader;

  EXPECT_EQ(reader.GetMessageResources("Z:\\nowhere\\ondrel.dll"), 0u);
}

}  // namespace
