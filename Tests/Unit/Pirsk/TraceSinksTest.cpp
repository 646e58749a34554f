#include "Support/MatchesPattern.h"
#include "TestModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace Pirsk::Testing {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

class TraceSinks : public testing::Test {
protected:
  void TearDown() override { Trace::SetSink(nullptr); }

  static std::vector<std::string> FilesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      names.push_back(entry.path().filename().string());
    return names;
  }

  // The messages of a trace file's lines.
  static std::vector<std::string> Messages(const std::string& path) {
    std::vector<std::string> messages;
    std::istringstream lines(ReadFile(path));
    for (std::string line; std::getline(lines, line);)
      messages.push_back(line.substr(line.find("cpp:42 ") + 7));
    return messages;
  }
};

TEST_F(TraceSinks, StandardErrorGetsTimeAndLine) {
  testing::internal::CaptureStderr();
  Trace::SetSink(Trace::StandardErrorSink());

  TraceLine(Misc::kTraceError, "failed with %s%%\n", "5");
  const std::string written = testing::internal::GetCapturedStderr();

  EXPECT_THAT(written,
              MatchesPattern("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
                             "error testmodule \\[[0-9]+\\] Traced.cpp:42 failed with 5%\n"));
}

TEST_F(TraceSinks, FileGetsEachLineAtOnce) {
  const TemporaryFolder folder;
  Trace::SetSink(Trace::RotatingFileSink(folder / "trace.log", 1000000, 2));

  TraceLine(Misc::kTraceDetail, "one");

  EXPECT_THAT(ReadFile(folder / "trace.log"),
              MatchesPattern(".* detail testmodule \\[[0-9]+\\] Traced.cpp:42 one\n"));
}

TEST_F(TraceSinks, FilesAreRotatedAndBounded) {
  const TemporaryFolder folder;
  Trace::SetSink(Trace::RotatingFileSink(folder / "trace.log", 500, 2));

  for (int line = 100; line < 200; ++line) TraceLine(16, "%s", std::to_string(line));
  Trace::SetSink(nullptr);

  EXPECT_THAT(FilesIn(folder.Path()),
              UnorderedElementsAre("trace.log", "trace.1.log", "trace.2.log"));
  std::vector<std::string> messages;
  for (const char* name : {"trace.2.log", "trace.1.log", "trace.log"}) {
    EXPECT_LE(std::filesystem::file_size(folder / name), 500u) << name;
    for (const std::string& message : Messages(folder / name)) messages.push_back(message);
  }
  ASSERT_GE(messages.size(), 10u);
  for (std::size_t index = 0; index < messages.size(); ++index)
    EXPECT_EQ(messages[index], std::to_string(200 - messages.size() + index));
}

TEST_F(TraceSinks, NoEarlierFileIsKeptWhenNoneIsWanted) {
  const TemporaryFolder folder;
  Trace::SetSink(Trace::RotatingFileSink(folder / "trace.log", 300, 0));

  for (int line = 0; line < 50; ++line) TraceLine(16, "x");

  EXPECT_THAT(FilesIn(folder.Path()), ElementsAre("trace.log"));
  EXPECT_LE(std::filesystem::file_size(folder / "trace.log"), 300u);
}

TEST_F(TraceSinks, LineLongerThanAFileStandsInOneAlone) {
  const TemporaryFolder folder;
  Trace::SetSink(Trace::RotatingFileSink(folder / "trace.log", 200, 1));

  TraceLine(16, "short");
  TraceLine(16, "%s", std::string(1000, 'x'));
  TraceLine(16, "after");

  EXPECT_THAT(Messages(folder / "trace.log"), ElementsAre("after"));
  EXPECT_THAT(Messages(folder / "trace.1.log"), ElementsAre(std::string(1000, 'x')));
}

TEST_F(TraceSinks, FileGoesOnWhereItEnded) {
  const TemporaryFolder folder;
  WriteFile(folder / "trace.log", "earlier cpp:42 line\n");
  Trace::SetSink(Trace::RotatingFileSink(folder / "trace.log", 1000, 1));

  TraceLine(16, "next");

  EXPECT_THAT(Messages(folder / "trace.log"), ElementsAre("line", "next"));
}

TEST_F(TraceSinks, MissingFoldersAreCreated) {
  const TemporaryFolder folder;
  Trace::SetSink(Trace::RotatingFileSink(folder / "a/b/trace.log", 1000, 1));

  TraceLine(16, "x");

  EXPECT_THAT(Messages(folder / "a/b/trace.log"), ElementsAre("x"));
}

TEST_F(TraceSinks, FileThatCannotBeOpenedIsRefused) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "");

  EXPECT_THROW(Trace::RotatingFileSink(folder / "file/trace.log", 1000, 1), std::exception);
}

TEST_F(TraceSinks, FileOfNoSizeIsRefused) {
  const TemporaryFolder folder;

  EXPECT_THROW(Trace::RotatingFileSink(folder / "trace.log", 0, 1), std::exception);
}

}  // namespace
}  // namespace Pirsk::Testing
