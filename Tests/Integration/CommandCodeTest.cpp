#include "CommandFixture.h"

#include <gmock/gmock.h>

#include <algorithm>

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
            json({{"OperationCodeNames", {{"50108", "ADD_SERVER"}, {"50500", "ADD_SERVER"}}}}));
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
  EXPECT_EQ(result.output, "there is no property FRAME_END\n");
}

TEST_F(CommandCodes, ShowsNoRowsAsAnEmptyObject) {
  const ProcessResult result = Run({"code", "error", "1", "--json"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(ParseAnswer(result.output), json({{"ErrorCodeNames", json::object()}}));
}

TEST_F(CommandCodes, RefusesAnUnknownVocabulary) {
  for (const char* command : {"code", "codes"}) {
    const ProcessResult result = Run({command, "colour", "1"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors,
                HasSubstr("\"colour\" is none of error|operation|event|property|value"));
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

  ASSERT_EQ(shown.size(), 1U);
  EXPECT_EQ(shown["EventCodeNames"].size(), 1341U);
  EXPECT_EQ(shown["EventCodeNames"]["10471"], "PD_STATE_CHANGE_OP_TO_FAIL");
}

TEST_F(CommandCodes, ListsAllVocabulariesAsJson) {
  const json shown = ParseAnswer(Run({"codes", "--json"}).output);

  EXPECT_EQ(shown.size(), 5U);
  EXPECT_EQ(shown["ErrorCodeNames"].size(), 175U);
  EXPECT_EQ(shown["OperationCodeNames"].size(), 161U);
  EXPECT_EQ(shown["EventCodeNames"].size(), 1341U);
  EXPECT_EQ(shown["PropertyCodeNames"].size(), 651U);
  EXPECT_EQ(shown["ValueCodeNames"].size(), 658U);
  EXPECT_EQ(shown["ValueCodeNames"]["0"], "");
}

}  // namespace
}  // namespace Ondrel::Testing
