#include "TestModule.h"
#include "Unit/Pirsk/Host/Host.h"

#include <Pirsk/LanguageFile.h>
#include <Pirsk/LanguageState.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace Pirsk::Testing {
namespace {

using Language_Support::CLanguageSupport;
using Language_Support::SetDataDirectory;

constexpr const char* kBuiltIn[] = {"built in 0", "built in 1", "stand-in"};

// A module's language file of this name and form.
class Bound : public CLanguageSupport::CLngFile {
public:
  explicit Bound(const char* fileName, const char* encoding = "utf-8", std::uint32_t form = 1)
      : CLngFile(fileName, 0x656E, encoding, form, kBuiltIn, 3) {}
};

class LanguageFile : public testing::Test {
protected:
  void SetUp() override { SetDataDirectory(m_folder.Path()); }

  const TemporaryFolder m_folder;
};

TEST_F(LanguageFile, MissingFileLeavesTheBuiltInTexts) {
  const Bound file("missing.nls");

  EXPECT_EQ(file.Text(0), "built in 0");
  EXPECT_EQ(file.Text(1), "built in 1");
  EXPECT_EQ(file.Path(), "");
}

TEST_F(LanguageFile, IndexBeyondTheTableGivesTheStandInText) {
  const Bound file("missing.nls");

  EXPECT_EQ(file.StandInIndex(), 2u);
  EXPECT_EQ(file.Text(3), "stand-in");
  EXPECT_EQ(file.Text(static_cast<std::size_t>(-1)), "stand-in");
}

TEST_F(LanguageFile, TextsOfTheDataDirectoryAreUsed) {
  WriteFile(m_folder / "good.nls", "0 = null\n2 = keine Angabe\n");
  const Bound file("good.nls");

  EXPECT_EQ(file.Text(0), "null");
  EXPECT_EQ(file.Text(1), "built in 1");
  EXPECT_EQ(file.Text(99), "keine Angabe");
  EXPECT_EQ(file.Path(), m_folder / "good.nls");
}

TEST_F(LanguageFile, FileIsReadWhenATextIsFirstAskedFor) {
  WriteFile(m_folder / "late.nls", "0 = before\n");
  const Bound file("late.nls");
  WriteFile(m_folder / "late.nls", "0 = asked for\n");

  EXPECT_EQ(file.Text(0), "asked for");

  WriteFile(m_folder / "late.nls", "0 = behind\n");
  EXPECT_EQ(file.Text(0), "asked for");
}

TEST_F(LanguageFile, NoDataDirectoryMeansNone) {
  WriteFile(m_folder / "good.nls", "0 = null\n");
  SetDataDirectory("");
  const Bound file("good.nls");

  EXPECT_EQ(file.Text(0), "built in 0");
}

TEST_F(LanguageFile, FolderOfItsNameIsPassedOver) {
  std::filesystem::create_directory(m_folder / "folder.nls");
  const Bound file("folder.nls");

  EXPECT_EQ(file.Text(0), "built in 0");
}

TEST_F(LanguageFile, FolderOfTheModuleComesFirst) {
  // The name stands in this program, and so does the module.
  const std::string beside = ProgramFolder() + "/pirsk-tests-beside.nls";
  WriteFile(beside, "0 = beside\n");
  WriteFile(m_folder / "pirsk-tests-beside.nls", "0 = data directory\n");
  const Bound file("pirsk-tests-beside.nls");

  EXPECT_EQ(file.Text(0), "beside");
  EXPECT_EQ(file.Path(), beside);

  std::filesystem::remove(beside);
}

TEST_F(LanguageFile, DataDirectoryStandsInForABrokenFileBesideTheModule) {
  const std::string beside = ProgramFolder() + "/pirsk-tests-broken.nls";
  WriteFile(beside, "broken\n");
  WriteFile(m_folder / "pirsk-tests-broken.nls", "0 = data directory\n");
  const Bound file("pirsk-tests-broken.nls");

  EXPECT_EQ(file.Text(0), "data directory");

  std::filesystem::remove(beside);
}

// What a module of this number and a language file of this name say of themselves.
class NamedModule {
public:
  explicit NamedModule(const char* fileName, const char* encoding = "utf-8")
      : m_file(fileName, encoding), m_module(kNumber, "named", "1", &m_file, kNoErrors) {}

  static constexpr std::uint32_t kNumber = 0x0C1;
  static constexpr std::uint32_t kError = 0x20C10001;

private:
  static constexpr CLanguageSupport::ERROR_MSG_LIST kNoErrors[] = {{0, 0}};

  Bound m_file;
  Misc::CModuleInfo m_module;
};

// The trace lines while a text is asked for twice.
std::vector<std::string> TracedWhenAskedTwice(std::uint32_t mask) {
  std::vector<std::string> lines;
  Trace::SetSink([&lines](const Trace::Line& line) {
    lines.push_back(std::string(line.module) + ": " + line.text);
  });
  Misc::SetTraceMask(NamedModule::kNumber, mask);
  Misc::ErrorText(NamedModule::kError);
  Misc::ErrorText(NamedModule::kError);
  Trace::SetSink(nullptr);
  return lines;
}

TEST_F(LanguageFile, BrokenFileIsNamedInOneTraceLineWithItsReason) {
  WriteFile(m_folder / "broken.nls", "0 = good\nnot a line\n");
  const NamedModule module("broken.nls");

  EXPECT_EQ(TracedWhenAskedTwice(Misc::kTraceError),
            std::vector<std::string>{"named: Language file not used: " + (m_folder / "broken.nls") +
                                     ": line 2 is not of the form index = text"});
}

TEST_F(LanguageFile, BrokenFileIsNotTracedWhileErrorsAreNot) {
  WriteFile(m_folder / "broken.nls", "0 = good\nnot a line\n");
  const NamedModule module("broken.nls");

  EXPECT_TRUE(TracedWhenAskedTwice(Misc::kTraceEntry).empty());
  EXPECT_EQ(TracedWhenAskedTwice(Misc::kTraceError).size(), 1u);
}

TEST_F(LanguageFile, StateNamesEveryFaultByItsReason) {
  const struct {
    const char* content;
    const char* reason;
  } rows[] = {
      {"0 = good\n1 : bad\n", "line 2 is not of the form index = text"},
      {"7 = beyond\n", "line 1 has no index of a text"},
      {"x = none\n", "line 1 has no index of a text"},
      {"0 = one\n\n0 = two\n", "line 3 has an index once more"},
      {"0 = \xFF\n", "it is not UTF-8"},
  };
  for (const auto& row : rows) {
    WriteFile(m_folder / "state.nls", row.content);
    const NamedModule module("state.nls");

    const auto state = Language_Support::LanguageStateOf(NamedModule::kNumber);

    EXPECT_EQ(state.path, "") << row.reason;
    EXPECT_EQ(state.faults, std::vector<std::string>{(m_folder / "state.nls") + ": " + row.reason});
  }
}

TEST_F(LanguageFile, StateOfAGoodFileOfNoneAndOfAnUnknownForm) {
  WriteFile(m_folder / "good.nls", "0 = null\n");
  {
    const NamedModule module("good.nls");
    const auto state = Language_Support::LanguageStateOf(NamedModule::kNumber);
    EXPECT_EQ(state.path, m_folder / "good.nls");
    EXPECT_TRUE(state.faults.empty());
  }
  {
    const NamedModule module("missing.nls");
    const auto state = Language_Support::LanguageStateOf(NamedModule::kNumber);
    EXPECT_EQ(state.path, "");
    EXPECT_TRUE(state.faults.empty());
  }
  const NamedModule module("good.nls", "utf-16");
  const auto state = Language_Support::LanguageStateOf(NamedModule::kNumber);
  EXPECT_EQ(state.path, "");
  EXPECT_EQ(state.faults, std::vector<std::string>{
                              "good.nls: its encoding or the version of its form is not known"});
}

TEST_F(LanguageFile, OtherEncodingOrFormIsNotRead) {
  WriteFile(m_folder / "good.nls", "0 = null\n");

  EXPECT_EQ(Bound("good.nls", "utf-16").Text(0), "built in 0");
  EXPECT_EQ(Bound("good.nls", "utf-8", 2).Text(0), "built in 0");
}

TEST_F(LanguageFile, FileOfOneMebibyteIsReadAndALargerIsNot) {
  const std::string start = "0 = large\n#";
  WriteFile(m_folder / "large.nls", start + std::string(1048576 - start.size(), 'x'));
  WriteFile(m_folder / "larger.nls", start + std::string(1048577 - start.size(), 'x'));

  EXPECT_EQ(Bound("large.nls").Text(0), "large");
  EXPECT_EQ(Bound("larger.nls").Text(0), "built in 0");
}

struct Row {
  const char* name;
  std::string content;
  const char* textOf0;
  const char* textOf1;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class LanguageFileForm : public testing::TestWithParam<Row> {};

TEST_P(LanguageFileForm, GivesTheTexts) {
  const TemporaryFolder folder;
  SetDataDirectory(folder.Path());
  WriteFile(folder / "form.nls", GetParam().content);
  const Bound file("form.nls");

  EXPECT_EQ(file.Text(0), GetParam().textOf0);
  EXPECT_EQ(file.Text(1), GetParam().textOf1);
}

const Row kRows[] = {
    {"Empty", "", "built in 0", "built in 1"},
    {"Plain", "0=a\n1=b\n", "a", "b"},
    {"AnyOrder", "1=b\n0=a\n", "a", "b"},
    {"LastLineWithoutEnd", "0=a\n1=b", "a", "b"},
    {"CarriageReturns", "0 = a\r\n\r\n1 = b\r\n", "a", "b"},
    {"ByteOrderMark",
     "\xEF\xBB\xBF"
     "0 = a\n",
     "a", "built in 1"},
    {"ByteOrderMarkAlone", "\xEF\xBB\xBF", "built in 0", "built in 1"},
    {"SpacesAround", " \t0\t = \ta b \t\n", "a b", "built in 1"},
    {"EmptyLinesAndComments", "\n  \n# 0 = c\n  # x\n0 = a\n", "a", "built in 1"},
    {"EqualsInTheText", "0 = a = b\n", "a = b", "built in 1"},
    {"HashInTheText", "0 = a # b\n", "a # b", "built in 1"},
    {"LeadingZeros", "000 = a\n", "a", "built in 1"},
    {"OtherScripts", "0 = \xD0\x96\xE2\x82\xAC\xF0\x9F\x98\x80\n",
     "\xD0\x96\xE2\x82\xAC\xF0\x9F\x98\x80", "built in 1"},
    {"IndexWithoutText", "0 =\n1 = b\n", "built in 0", "b"},
    // Broken in one place is absent as a whole.
    {"NoEquals", "0 = a\n1 b\n", "built in 0", "built in 1"},
    {"NoIndex", "0 = a\n= b\n", "built in 0", "built in 1"},
    {"IndexNotANumber", "0 = a\nx = b\n", "built in 0", "built in 1"},
    {"IndexWithATail", "0 = a\n1x = b\n", "built in 0", "built in 1"},
    {"IndexNegative", "0 = a\n-1 = b\n", "built in 0", "built in 1"},
    {"IndexSigned", "0 = a\n+1 = b\n", "built in 0", "built in 1"},
    {"IndexBeyondTheTable", "0 = a\n3 = b\n", "built in 0", "built in 1"},
    {"IndexBeyondAnyNumber", "0 = a\n99999999999999999999 = b\n", "built in 0", "built in 1"},
    {"IndexTwice", "0 = a\n1 = b\n0 = c\n", "built in 0", "built in 1"},
    {"IndexTwiceInOtherDigits", "0 = a\n00 = a\n", "built in 0", "built in 1"},
    {"IndexTwiceOnceWithoutText", "0 =\n0 = a\n", "built in 0", "built in 1"},
    {"NotUtf8", "0 = a\n1 = \xE4\n", "built in 0", "built in 1"},
    {"NotUtf8InAComment", "# \xE4\n0 = a\n", "built in 0", "built in 1"},
    {"CutOffCharacterAtTheEnd", "0 = a\xE2\x82", "built in 0", "built in 1"},
    {"ZeroByte", std::string("0 = a\0\n", 7), "built in 0", "built in 1"},
    {"Utf16",
     std::string("\xFF\xFE"
                 "0\0=\0a\0",
                 8),
     "built in 0", "built in 1"},
};

INSTANTIATE_TEST_SUITE_P(Rows, LanguageFileForm, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace Pirsk::Testing
