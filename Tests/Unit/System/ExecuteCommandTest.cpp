#include "Host/ProcessOperations.h"
#include "Support/PreparedOperations.h"

#include <Ondrel/System.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <future>
#include <locale>

namespace Ondrel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string kPrinter = ONDREL_TEST_PRINTER;

std::string TextOf(const std::string& arguments) {
  std::string output = "old";
  EXPECT_EQ(CSystem::ExecuteCommand(kPrinter, arguments, output), 1U);
  return output;
}

std::vector<std::string> LinesOf(const std::string& arguments) {
  std::vector<std::string> lines{"old"};
  EXPECT_EQ(CSystem::ExecuteCommand(kPrinter, arguments, lines), 1U);
  return lines;
}

TEST(ExecuteCommand, ProgramThatWritesNothingGivesNothing) {
  EXPECT_EQ(TextOf("none"), "");
  EXPECT_THAT(LinesOf("none"), IsEmpty());
}

TEST(ExecuteCommand, TextDropsLineEndsAndLinesKeepEmptyOnes) {
  EXPECT_EQ(TextOf("blank"), "ab");
  EXPECT_THAT(LinesOf("blank"), ElementsAre("a", "", "b"));
}

TEST(ExecuteCommand, LineOf1500CharactersGivesTwoElements) {
  EXPECT_THAT(LinesOf("long 1500"), ElementsAre(std::string(1023, 'x'), std::string(477, 'x')));
}

TEST(ExecuteCommand, LineEndOfALineOf1023CharactersIsAnElement) {
  EXPECT_THAT(LinesOf("long 1022"), ElementsAre(std::string(1022, 'x')));
  EXPECT_THAT(LinesOf("long 1023"), ElementsAre(std::string(1023, 'x'), ""));
  EXPECT_THAT(LinesOf("long 1024"), ElementsAre(std::string(1023, 'x'), "x"));
}

TEST(ExecuteCommand, MillionCharactersArriveWhole) {
  EXPECT_EQ(TextOf("long 1000000"), std::string(1000000, 'x'));
  EXPECT_THAT(LinesOf("long 1000000"), SizeIs(978));
}

TEST(ExecuteCommand, OnlyPrintableCharactersStay) {
  // After a zero byte the rest of its line is lost; of the line end's own line nothing is left but
  // the rest after it.
  std::string expected;
  for (int byte = 1; byte < 256; ++byte) {
    if (byte == 26) continue;
    if (byte >= 0x20 && byte < 0x7F) expected += static_cast<char>(byte);
    expected += '!';
  }
  EXPECT_EQ(TextOf("bytes"), expected);
}

TEST(ExecuteCommand, StandardErrorIsLeftAlone) { EXPECT_EQ(TextOf("error hidden"), ""); }

TEST(ExecuteCommand, ArgumentsReachTheProgram) {
  EXPECT_THAT(LinesOf("arguments one  two"), ElementsAre("[one]", "[two]"));
}

TEST(ExecuteCommand, ExitStatusIsTheRawOne) {
  std::vector<std::string> lines;
  int exitStatus = -1;
  EXPECT_EQ(CSystem::ExecuteCommand(kPrinter, "exit 3", lines, exitStatus), 1U);
  EXPECT_EQ(exitStatus, 3 * ONDREL_RAW_STATUS_OF_ONE);
  EXPECT_EQ(CSystem::ExecuteCommand(kPrinter, "exit 0", lines, exitStatus), 1U);
  EXPECT_EQ(exitStatus, 0);
}

TEST(ExecuteCommand, ProgramThatIsNotFoundIsNoStartFailure) {
  std::vector<std::string> lines{"old"};
  int exitStatus = 0;
  EXPECT_EQ(CSystem::ExecuteCommand("no-such-program-anywhere", "", lines, exitStatus), 1U);
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_NE(exitStatus, 0);
}

TEST(ExecuteCommand, CallsAtTheSameTimeDoNotDisturbEachOther) {
  std::vector<std::future<std::string>> calls;
  for (int i = 0; i < 100; ++i)
    calls.push_back(
        std::async(std::launch::async, [i] { return TextOf("line " + std::to_string(i)); }));
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(calls[static_cast<std::size_t>(i)].get(), std::to_string(i));
}

class PreparedProcess : public testing::Test {
protected:
  std::string m_commandLine;
  std::string m_mode;
  bool m_isStarted = true;
  int m_closed = 0;
  std::vector<std::string> m_pieces;
  std::FILE* const m_stream = stdin;  // Stands for a stream; nothing is read from it.
  std::size_t m_next = 0;
  std::function<void()> m_whenRead;

private:
  Testing::PreparedOperations<Host::ProcessOperations> m_operations{
      Host::Process(),
      {._popen =
           [this](const char* commandLine, const char* mode) {
             m_commandLine = commandLine;
             m_mode = mode;
             return m_isStarted ? m_stream : nullptr;
           },
       .fgets = [this](char* buffer, int size, std::FILE*) -> char* {
         EXPECT_EQ(size, 1024);
         if (m_next == m_pieces.size()) return nullptr;
         if (m_whenRead) m_whenRead();
         std::strcpy(buffer, m_pieces[m_next++].c_str());
         return buffer;
       },
       ._pclose = [this](std::FILE*) { return ++m_closed * 256; }}};
};

TEST_F(PreparedProcess, CommandIsQuotedAndArgumentsFollowAsTheyStand) {
  std::string output;
  CSystem::ExecuteCommand("a \"b\"", "c 'd' | e > \"f\"", output);
  EXPECT_EQ(m_commandLine, "\"a \"b\"\" c 'd' | e > \"f\"");
  EXPECT_EQ(m_mode, "r");
}

TEST_F(PreparedProcess, LineEndsInASpaceWithoutArguments) {
  std::string output;
  CSystem::ExecuteCommand("tool", "", output);
  EXPECT_EQ(m_commandLine, "\"tool\" ");
}

TEST_F(PreparedProcess, TextThatIsTheOutputTooIsEmptiedBeforeTheLineIsFormed) {
  m_pieces = {"answer\n"};
  std::string text = "program";
  EXPECT_EQ(CSystem::ExecuteCommand(text, "-a", text), 1U);
  EXPECT_EQ(m_commandLine, "\"\" -a");
  EXPECT_EQ(text, "answer");

  text = "-a";
  EXPECT_EQ(CSystem::ExecuteCommand("program", text, text), 1U);
  EXPECT_EQ(m_commandLine, "\"program\" ");
}

TEST_F(PreparedProcess, StartFailureEmptiesTheTextAndIsZero) {
  m_isStarted = false;
  std::string output = "old";
  EXPECT_EQ(CSystem::ExecuteCommand("x", "", output), 0U);
  EXPECT_EQ(output, "");
  EXPECT_EQ(m_closed, 0);
}

TEST_F(PreparedProcess, StartFailureEmptiesTheLinesAndLeavesTheStatus) {
  m_isStarted = false;
  std::vector<std::string> lines{"old"};
  int exitStatus = 4711;
  EXPECT_EQ(CSystem::ExecuteCommand("x", "", lines, exitStatus), 0U);
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(exitStatus, 4711);
  EXPECT_EQ(CSystem::ExecuteCommand("x", "", lines), 0U);
}

// A locale in which the digits are not printable.
class WithoutDigits : public std::ctype<char> {
public:
  WithoutDigits() : std::ctype<char>(m_masks) {
    std::copy_n(classic_table(), table_size, m_masks);
    for (unsigned char numeral = '0'; numeral <= '9'; ++numeral)
      m_masks[numeral] = std::ctype_base::mask{};
  }

private:
  mask m_masks[table_size];
};

TEST_F(PreparedProcess, LocaleAtTheEndOfTheProgramSaysWhatIsPrintable) {
  const std::locale before;
  m_pieces = {"a1b22c\n", "333\n", "d\n"};
  m_whenRead = [] { std::locale::global(std::locale(std::locale(), new WithoutDigits)); };
  std::string output;
  CSystem::ExecuteCommand("x", "", output);
  std::locale::global(before);
  EXPECT_EQ(output, "abcd");

  m_next = 0;
  std::vector<std::string> lines;
  CSystem::ExecuteCommand("x", "", lines);
  std::locale::global(before);
  EXPECT_THAT(lines, ElementsAre("abc", "", "d"));
}

TEST_F(PreparedProcess, StatusIsStoredUnchangedAndTheStreamClosedOnce) {
  m_pieces = {"a\tb\r\n", "\x01\x7F\xE9\n"};
  std::vector<std::string> lines;
  int exitStatus = 0;
  EXPECT_EQ(CSystem::ExecuteCommand("x", "", lines, exitStatus), 1U);
  EXPECT_THAT(lines, ElementsAre("ab", ""));
  EXPECT_EQ(exitStatus, 256);
  EXPECT_EQ(m_closed, 1);
}

}  // namespace
}  // namespace Ondrel
