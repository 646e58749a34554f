#include "CommandFixture.h"
#include "Support/Sanitized.h"

#include <gmock/gmock.h>

namespace Ondrel::Testing {
namespace {

using testing::HasSubstr;

/// What comes in without an end, and what goes out to nobody.
class CommandStreams : public CommandFixture {
protected:
  /// Runs a line whose input neither has anything nor ends, and whose reader is gone; yields what
  /// the shell says of its end.
  std::string EndWithoutReader(const std::string& line) const {
    const std::string pipe = Path("pipe");
    const ProcessResult result =
        RunProcess("/bin/bash", {"-c", "mkfifo '" + pipe + "' && exec 3<>'" + pipe + "' && { '" +
                                           std::string(ONDREL_COMMAND) + "' " + line +
                                           " <&3 | true; echo ${PIPESTATUS[0]}; }"});
    return result.errors + result.output;
  }
};

TEST_F(CommandStreams, ReaderThatIsGoneIsNoticedWhileWaitingForQuestions) {
  EXPECT_EQ(EndWithoutReader("match --jsonl"), "141\n");
}

TEST_F(CommandStreams, ReaderThatIsGoneIsNoticedWhileWaitingForFacts) {
  EXPECT_EQ(EndWithoutReader("os --from -"), "141\n");
}

TEST_F(CommandStreams, ReaderThatIsGoneIsNoticedWhileWaitingForAText) {
  EXPECT_EQ(EndWithoutReader("match a --from -"), "141\n");
}

TEST_F(CommandStreams, ReaderThatGoesIsNoticedWhileWaitingForEvents) {
  const auto follower = Start({"log", "follow", "Demo"});
  ASSERT_TRUE(follower->WaitForErrors("following"));
  follower->CloseOutput();

  EXPECT_EQ(follower->Wait().exitStatus, 141);
}

TEST_F(CommandStreams, MailIsSentWhoeverReadsWhatIsSaidOfIt) {
  // Its body comes after the reader has gone; the connection is refused, which is found out only by
  // a mail that is tried.
  const std::string line = "(sleep 0.3; echo body) | { '" + std::string(ONDREL_COMMAND) +
                           "' mail --server 127.0.0.1 --port 1 --mail-from a@b --to c@d --subject "
                           "s --body - --trace detail; } | true";
  const ProcessResult result = RunProcess("/bin/bash", {"-c", line});

  EXPECT_THAT(result.errors, HasSubstr("127.0.0.1"));
}

struct Endless {
  const char* name;
  std::string line;
};

TEST_F(CommandStreams, InputThatNeverEndsIsRefused) {
  const std::string mail =
      "mail --server 127.0.0.1 --port 1 --mail-from a@b --to c@d --subject s --body ";
  const Endless kLines[] = {
      {"text of standard input", "match b --from - < /dev/zero"},
      {"text of a file", "match b --from /dev/zero"},
      {"facts", "os --from /dev/zero"},
      {"body", mail + "/dev/zero"},
      {"body of standard input", mail + "- < /dev/zero"},
  };
  for (const Endless& row : kLines) {
    const ProcessResult result =
        RunProcess("/bin/sh", {"-c", std::string(ONDREL_COMMAND) + " " + row.line});
    EXPECT_EQ(result.exitStatus, 2) << row.name;
    EXPECT_THAT(result.errors, HasSubstr(": it has more than 67108864 bytes")) << row.name;
  }
}

TEST_F(CommandStreams, LineThatNeverEndsIsAnsweredWhenItIsTooLong) {
  const ProcessResult result = RunProcess(
      "/bin/bash",
      {"-c", std::string("head -c 3000000 /dev/zero | ") + ONDREL_COMMAND + " match --jsonl"});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.output, HasSubstr("the line is longer than"));
}

// So many levels would not fit a stack that takes a call for each.
TEST_F(CommandStreams, QuestionThatNestsDeepIsAnsweredAsAnyOther) {
  constexpr std::size_t kLevels = WithSanitizer<std::size_t>(50'000, 400'000);
  const std::string nest = std::string(kLevels, '[') + std::string(kLevels, ']');
  const ProcessResult result =
      Run({"match", "--jsonl"}, R"({"pattern":"a","flags":)" + nest + R"(,"text":1,"more":2})" +
                                    "\n" + R"({"pattern":"a","text":"a"})" + "\n");

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.output, HasSubstr("\"text\\\" is not a text"));
  EXPECT_THAT(result.output, HasSubstr("\"matched\":true"));
}

TEST_F(CommandStreams, FilesThatCannotBeReadAreRefusedWithTheReason) {
  const std::string missing = Path("none");
  const std::string folder = Path("");
  const std::vector<std::string> kFronts[] = {
      {"os", "--from"},
      {"match", "a", "--from"},
      {"nvme", "smart", "--raw"},
      {"mail", "--server", "h", "--mail-from", "a@b", "--to", "c@d", "--subject", "s", "--body"},
      {"mail", "--server", "h", "--mail-from", "a@b", "--to", "c@d", "--subject", "s", "--user",
       "u", "--password-file"}};
  for (const std::vector<std::string>& front : kFronts) {
    for (const auto& [path, reason] :
         {std::pair(missing, "No such file or directory"), std::pair(folder, "Is a directory")}) {
      std::vector<std::string> line = front;
      line.push_back(path);
      const ProcessResult result = Run(line);
      EXPECT_EQ(result.exitStatus, 2) << line[0];
      EXPECT_THAT(result.errors, HasSubstr("cannot read " + path + ": " + reason)) << line[0];
    }
  }
}

}  // namespace
}  // namespace Ondrel::Testing
