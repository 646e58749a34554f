#include "CommandFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <string>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

struct CodeRow {
  const char* name;
  const char* kind;
  const char* question;
  const char* output;
};

void PrintTo(const CodeRow& row, std::ostream* out) { *out << row.name; }

class CommandCode : public CommandFixture, public testing::WithParamInterface<CodeRow> {};

TEST_P(CommandCode, ShowsTheCodeWithItsName) {
  const ProcessResult result = Run({"code", GetParam().kind, GetParam().question});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output, GetParam().output);
  EXPECT_EQ(result.errors, "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandCode,
    testing::Values(
        CodeRow{"Error", "error", "0", "0  SUCCESS\n"},
        CodeRow{"Operation", "operation", "50010", "50010  FLUSH\n"},
        CodeRow{"Event", "event", "10471", "10471  PD_STATE_CHANGE_OP_TO_FAIL\n"},
        CodeRow{"Property", "property", "2147483647", "2147483647  UNSPECIFIED\n"},
        CodeRow{"Value", "value", "40093", "40093  OPERATIONAL\n"},
        CodeRow{"Hexadecimal", "event", "0x28E7", "10471  PD_STATE_CHANGE_OP_TO_FAIL\n"},
        CodeRow{"ByItsFullId", "event", "0x200028E7", "10471  PD_STATE_CHANGE_OP_TO_FAIL\n"},
        CodeRow{"ByAPartOfItsName", "value", "dedicated_hotspare_s",
                "40179  DEDICATED_HOTSPARE_SMART\n"},
        CodeRow{"EmptyName", "value", "0", "0  \"\"\n"},
        CodeRow{"ByName", "event", "PD_STATE_CHANGE_OP_TO_FAIL",
                "10471  PD_STATE_CHANGE_OP_TO_FAIL\n"},
        CodeRow{"ByNameInAnyCase", "value", "adapter_status_info_EMPTY",
                "40339  ADAPTER_STATUS_INFO_empty\n"},
        CodeRow{"ByNameThatBeginsWithADigit", "value", "512B", "40046  512B\n"},
        CodeRow{"ByTheEmptyName", "value", "", "0  \"\"\n"},
        CodeRow{"ByNameWithTwoOperations", "operation", "ADD_SERVER",
                "50108  ADD_SERVER\n50500  ADD_SERVER\n"},
        CodeRow{"ByNameWithTwoProperties", "property", "RAID_LEVEL",
                "29904  RAID_LEVEL\n30045  RAID_LEVEL\n"},
        CodeRow{"KindInAnyCase", "Event", "1", "1  UNDEFINED\n"},
        CodeRow{"KindByTheMapsName", "ErrorCodeNames", "20001", "20001  NO_SUPPORTED_HARDWARE\n"}),
    [](const auto& row) { return std::string(row.param.name); });

class CommandCodes : public CommandFixture {};

TEST_F(CommandCodes, ShowsAllCodesOfANameAsJson) {
  const ProcessResult result = Run({"code", "operation", "ADD_SERVER", "--json"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(ParseAnswer(result.output),
            json({{"codes",
                   {{{"vocabulary", "operation"}, {"code", 50108}, {"name", "ADD_SERVER"}},
                    {{"vocabulary", "operation"}, {"code", 50500}, {"name", "ADD_SERVER"}}}}}));
}

TEST_F(CommandCodes, SaysThatACodeIsNotListed) {
  for (const char* code : {"10353000", "0", "-1"}) {
    const ProcessResult result = Run({"code", "event", code});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.output, std::string("there is no event ") + code + "\n");
  }
}

TEST_F(CommandCodes, SaysThatANameIsNotListed) {
  const ProcessResult result = Run({"code", "property", "FRAME_END"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.output, StartsWith("there is no property FRAME_END"));
}

TEST_F(CommandCodes, NamesTheNearestNameOfOneThatIsMisspelt) {
  const ProcessResult result = Run({"code", "event", "PD_STATE_CHANGE_OP_TO_FIAL"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output,
            "there is no event PD_STATE_CHANGE_OP_TO_FIAL, did you mean "
            "PD_STATE_CHANGE_OP_TO_FAIL?\n");
}

TEST_F(CommandCodes, ShowsAModuleErrorWithItsTextAndItsModule) {
  const ProcessResult result = Run({"code", "error", "0x20050003"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output,
            "Cannot open system log (error 0x20050003, CANNOT_OPEN_SYSTEM_LOG)\n"
            "  raised by ondrel P:7.10.2 F:7.10.2\n");
  EXPECT_EQ(Run({"code", "error", "0x20050009"}).exitStatus, 1);
}

TEST_F(CommandCodes, SearchFindsNamesByAPartOfThem) {
  const ProcessResult result = Run({"codes", "--search", "dedicated_hotspare_s", "value"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output, "ValueCodeNames (1)\n40179  DEDICATED_HOTSPARE_SMART\n");
  EXPECT_EQ(Run({"codes", "--search", "dedicated hotspare"}).exitStatus, 1);
}

TEST_F(CommandCodes, ShowsNoRowsAsAnEmptyArray) {
  const ProcessResult result = Run({"code", "error", "1", "--json"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(ParseAnswer(result.output), json({{"codes", json::array()}}));
}

TEST_F(CommandCodes, RefusesAnUnknownVocabulary) {
  for (const char* command : {"code", "codes"}) {
    const ProcessResult result = Run({command, "colour", "1"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors,
                HasSubstr("\"colour\" is not one of error|operation|event|property|value"));
  }
}

TEST_F(CommandCodes, RefusesACodeQuestionWithoutACode) {
  const ProcessResult result = Run({"code", "event"});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.errors, HasSubstr("CODE"));
}

TEST_F(CommandCodes, ListsAVocabularyAsATable) {
  const ProcessResult result = Run({"codes", "property"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.output, StartsWith("PropertyCodeNames (651)\n"
                                        "         0  FRAME_START\n"
                                        "         1  UNDEFINED\n"));
  EXPECT_THAT(result.output, testing::EndsWith("\n2147483647  UNSPECIFIED\n"));
  EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1 + 651);
}

TEST_F(CommandCodes, ListsAllVocabulariesAsTables) {
  const ProcessResult result = Run({"codes"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.output, StartsWith("ErrorCodeNames (175)\n"));
  EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'),
            5 + 175 + 161 + 1341 + 651 + 658);
}

TEST_F(CommandCodes, ListsAVocabularyAsJson) {
  const json shown = ParseAnswer(Run({"codes", "event", "--json"}).output);

  ASSERT_EQ(shown["codes"].size(), 1341U);
  const json failed = {
      {"vocabulary", "event"}, {"code", 10471}, {"name", "PD_STATE_CHANGE_OP_TO_FAIL"}};
  EXPECT_EQ(std::count(shown["codes"].begin(), shown["codes"].end(), failed), 1);
}

TEST_F(CommandCodes, ListsAllVocabulariesAsJson) {
  const json shown = ParseAnswer(Run({"codes", "--json"}).output);

  std::map<std::string, int> counts;
  for (const json& row : shown["codes"]) ++counts[row["vocabulary"]];
  const std::map<std::string, int> expected = {
      {"error", 175}, {"operation", 161}, {"event", 1341}, {"property", 651}, {"value", 658}};
  EXPECT_EQ(counts, expected);
  const json empty = {{"vocabulary", "value"}, {"code", 0}, {"name", ""}};
  EXPECT_EQ(std::count(shown["codes"].begin(), shown["codes"].end(), empty), 1);
}

}  // namespace
}  // namespace Ondrel::Testing
