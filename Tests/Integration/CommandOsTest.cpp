#include "CommandFixture.h"
#include "Support/Sanitized.h"

#include <gmock/gmock.h>

#include <sstream>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::HasSubstr;

class CommandOs : public CommandFixture {
protected:
  std::vector<json> AnswersTo(const std::string& input, int exitStatus) const {
    const ProcessResult result = Run({"os", "--from", "-"}, input);
    EXPECT_EQ(result.exitStatus, exitStatus) << result.errors;
    std::vector<json> answers;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);) answers.push_back(ParseAnswer(line));
    return answers;
  }

  /// What a program of the host itself says.
  static std::string Reported(const std::string& script) {
    std::string text = RunProcess("/bin/sh", {"-c", script}).output;
    while (text.ends_with('\n')) text.pop_back();
    return text;
  }
};

TEST_F(CommandOs, NamesThisHostAsItsOwnProgramsDo) {
  const ProcessResult result = Run({"os", "--json"});
  EXPECT_EQ(result.exitStatus, 0);
  const json shown = ParseAnswer(result.output);

  EXPECT_EQ(shown["kind"], "linux");
  EXPECT_EQ(shown["id"], Reported(". /etc/os-release; echo $ID"));
  EXPECT_EQ(shown["distribution"], Reported(". /etc/os-release; echo \"$NAME\""));
  EXPECT_EQ(shown["version"], Reported(". /etc/os-release; echo $VERSION_ID"));
  EXPECT_EQ(shown["codename"], Reported(". /etc/os-release; echo $VERSION_CODENAME"));
  EXPECT_EQ(shown["kernel"], Reported("uname -sr"));
  EXPECT_EQ(shown["architecture"], Reported("uname -m"));
  EXPECT_EQ(shown["virtualization"], Reported("systemd-detect-virt --vm"));
  EXPECT_EQ(shown["container"], Reported("systemd-detect-virt --container"));
}

TEST_F(CommandOs, ShowsTheSameAsText) {
  const ProcessResult result = Run({"os"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.output, HasSubstr("kernel                " + Reported("uname -sr") + "\n"));
  EXPECT_THAT(result.output, testing::Not(HasSubstr("Windows")));
}

TEST_F(CommandOs, RecordOfThisHostIsRefusedInWords) {
  for (const char* const option : {"--facts", "--predicates", "--reported"}) {
    const ProcessResult result = Run({"os", option});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.errors, HasSubstr("name one with --from"));
  }
}

TEST_F(CommandOs, EachLineHasItsAnswer) {
  const std::vector<json> answers = AnswersTo(
      "{\"underlying\":{\"platform\":4,\"major\":10,\"build\":19045}}\n"
      "\n"
      "  \r\n"
      "{\"ubr\":1}\r\n"
      "{\"ubr\":1,\"udr\":2}\n"
      "{}",
      2);

  ASSERT_EQ(answers.size(), 6U);
  EXPECT_EQ(answers[0]["kind"], "windows");
  EXPECT_EQ(answers[0]["build"], "19045");
  for (const int empty : {1, 2}) {
    const json& error = answers[static_cast<std::size_t>(empty)]["error"];
    EXPECT_EQ(error["line"], empty + 1);
    EXPECT_EQ(error["text"], "a JSON object is expected");
  }
  EXPECT_EQ(answers[3]["product"], "Windows");
  EXPECT_EQ(answers[4]["error"]["line"], 5);
  EXPECT_EQ(answers[4]["error"]["column"], 10);
  EXPECT_EQ(answers[4]["error"]["text"], "no record has the field \"udr\"");
  EXPECT_EQ(answers[5]["build"], "0");
}

TEST_F(CommandOs, NothingAfterAZeroByteIsDroppedInSilence) {
  using namespace std::string_literals;
  const std::vector<json> answers = AnswersTo("{}\0{\"ubr\":\n{}\n"s, 2);

  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[0]["error"]["column"], 3);
  EXPECT_EQ(answers[1]["kind"], "windows");
}

TEST_F(CommandOs, LineThatIsTooLongFailsAndTheNextIsAnswered) {
  const std::vector<json> answers =
      AnswersTo("{\"kind\":\"" + std::string(3'000'000, 'x') + "\n{}\n", 2);

  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[0]["error"]["text"], "the line is longer than 1048576 bytes");
  EXPECT_EQ(answers[1]["kind"], "windows");
}

TEST_F(CommandOs, ManyLinesAreAnsweredInOrder) {
  constexpr std::size_t kCount = WithSanitizer<std::size_t>(4'000, 20'000);
  std::string input;
  for (std::size_t i = 0; i < kCount; ++i)
    input += "{\"underlying\":{\"build\":" + std::to_string(i) + "}}\n";
  const std::vector<json> answers = AnswersTo(input, 0);

  ASSERT_EQ(answers.size(), kCount);
  for (std::size_t i = 0; i < kCount; ++i) ASSERT_EQ(answers[i]["build"], std::to_string(i));
}

TEST_F(CommandOs, InputThatCannotBeReadIsAFailure) {
  const ProcessResult result =
      RunProcess("/bin/sh", {"-c", std::string("'") + ONDREL_COMMAND + "' os --from - < /"});

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors, HasSubstr("standard input"));
}

TEST_F(CommandOs, FileHasAnErrorsPlace) {
  const std::string path = WriteFile("facts", "{\n  \"ubr\": 1,\n  \"udr\": 2\n}\n");
  const ProcessResult result = Run({"os", "--from", path});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.errors, HasSubstr(path + ":3:3: no record has the field \"udr\""));
}

TEST_F(CommandOs, FactsThatAreShownAreReadAgain) {
  const std::string first =
      Run({"os", "--json", "--facts", "--from", WriteFile("facts", R"({"ubr":7})")}).output;
  const std::string second =
      Run({"os", "--json", "--facts", "--from", WriteFile("shown", first)}).output;

  EXPECT_EQ(ParseAnswer(first)["ubr"], 7);
  EXPECT_EQ(second, first);
}

}  // namespace
}  // namespace Ondrel::Testing
