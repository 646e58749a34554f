#include "CommandFixture.h"

#include <Ondrel/Host.h>

#include <gmock/gmock.h>

#include <csignal>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

class CommandLog : public CommandFixture {
protected:
  /// Starts `log follow Demo` and waits until it follows.
  std::unique_ptr<Process> Follow(std::vector<std::string> options) const {
    options.insert(options.begin(), {"log", "follow", "Demo"});
    std::unique_ptr<Process> follower = Start(options);
    EXPECT_TRUE(follower->WaitForErrors("ondrel: following Demo\n"));
    return follower;
  }
};

TEST_F(CommandLog, ReportSaysWhatItReported) {
  const ProcessResult result = Run({"log", "report", "Demo", "10471", "error", "PD 3 failed"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output,
            "Reported event 10471 (PD_STATE_CHANGE_OP_TO_FAIL) of type 1 to the log Demo\n");
  EXPECT_EQ(result.errors, "");
}

TEST_F(CommandLog, ReportSaysWhatItReportedAsJson) {
  const ProcessResult result =
      Run({"log", "report", "Demo", "0x200028E7", "Warning", "PD 3 failed", "--json"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(ParseAnswer(result.output), json({{"log", "Demo"},
                                              {"event", 536881383},
                                              {"eventName", "PD_STATE_CHANGE_OP_TO_FAIL"},
                                              {"type", 2},
                                              {"text", "PD 3 failed"}}));
}

TEST_F(CommandLog, FollowShowsEventsOfAnotherProcessAsTheyCome) {
  Report("10002", "information", "First");
  const auto follower = Follow({"--count", "2", "--json"});

  Report("10471", "error", "PD 3 failed");
  ASSERT_TRUE(follower->WaitForOutput("PD 3 failed"));
  Report("10412", "2", "LD 1 degraded");
  const ProcessResult result = follower->Wait();

  EXPECT_EQ(result.exitStatus, 0);
  std::istringstream lines(result.output);
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  const json first = ParseAnswer(line);
  EXPECT_EQ(first["eventID"], 10471);
  EXPECT_EQ(first["eventName"], "PD_STATE_CHANGE_OP_TO_FAIL");
  EXPECT_EQ(first["eventType"], 1);
  EXPECT_EQ(first["args"], json({"PD 3 failed"}));
  EXPECT_EQ(first["message"], "PD 3 failed\r\n");
  EXPECT_EQ(first["recordNumber"], 2);
  ASSERT_TRUE(std::getline(lines, line));
  const json second = ParseAnswer(line);
  EXPECT_EQ(second["eventID"], 10412);
  EXPECT_EQ(second["eventType"], 2);
  EXPECT_EQ(second["recordNumber"], 3);
  EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(CommandLog, FollowPutsAnEventOnOneLineWithItsTime) {
  Report("10002", "information", "First");
  const auto follower = Follow({"--count", "1"});

  Report("10471", "error", "PD 3\nfailed");
  const ProcessResult result = follower->Wait();

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.output,
              ContainsRegex("^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z "
                            "PD_STATE_CHANGE_OP_TO_FAIL Event: record number \\(2\\) eventID "
                            "\\(10471\\) eventType \\(1\\) args: "));
  EXPECT_THAT(result.output, HasSubstr("PD 3\\nfailed message: 'PD 3\\nfailed'\n"));
  EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1);
}

TEST_F(CommandLog, FollowShowsTheCatchAllForAnEventOutOfRange) {
  Report("10002", "information", "First");
  const auto follower = Follow({"--count", "1", "--json"});

  Report("-5", "4", "Out of range");
  const ProcessResult result = follower->Wait();

  EXPECT_EQ(ParseAnswer(result.output)["eventID"], 10000);
}

TEST_F(CommandLog, FollowShowsOnlyTheSourcesAskedFor) {
  Report("10002", "information", "First");
  const auto follower = Follow({"--source", "demo", "--source", "Demo", "--count", "2"});

  Report("10471", "error", "PD 3 failed");
  Report("10471", "error", "PD 4 failed");
  const ProcessResult result = follower->Wait();

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.output, HasSubstr("record number (2)"));
  EXPECT_THAT(result.output, HasSubstr("record number (3)"));
}

TEST_F(CommandLog, FollowShowsAnEventTwiceWhenItsSourceIsNamedTwice) {
  Report("10002", "information", "First");
  const auto follower = Follow({"--source", "Demo", "--source", "Demo", "--count", "2", "--json"});

  Report("10471", "error", "PD 3 failed");
  std::istringstream lines(follower->Wait().output);

  for (int i = 0; i < 2; ++i) {
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(ParseAnswer(line)["recordNumber"], 2);
  }
}

TEST_F(CommandLog, FollowStartsBehindTheFirstRecordOfAnEmptyLog) {
  const auto follower = Start({"log", "follow", "Demo", "--count", "1", "--json"});
  ASSERT_TRUE(follower->WaitForErrors("Demo has no records yet; following starts after its first"));

  Report("10002", "information", "First");
  ASSERT_TRUE(follower->WaitForErrors("ondrel: following Demo\n"));
  Report("10471", "error", "Second");
  const ProcessResult result = follower->Wait();

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(ParseAnswer(result.output)["args"], json({"Second"}));
}

TEST_F(CommandLog, FollowEndsWithOneWhenTimeRunsOutBeforeTheCount) {
  Report("10002", "information", "First");

  const ProcessResult result = Run({"log", "follow", "Demo", "--count", "1", "--timeout", "1"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, "");
}

TEST_F(CommandLog, FollowEndsWithZeroWhenTimeRunsOutWithoutACount) {
  Report("10002", "information", "First");

  EXPECT_EQ(Run({"log", "follow", "Demo", "--timeout", "0"}).exitStatus, 0);
}

TEST_F(CommandLog, FollowOfALogThatStaysEmptyEndsWithItsTime) {
  EXPECT_EQ(Run({"log", "follow", "Demo", "--timeout", "0"}).exitStatus, 0);
  EXPECT_EQ(Run({"log", "follow", "Demo", "--timeout", "0", "--count", "1"}).exitStatus, 1);
}

TEST_F(CommandLog, FollowSaysThatAMessageFileCannotBeLoaded) {
  Report("10002", "information", "First");

  const ProcessResult result =
      Run({"log", "follow", "Demo", "--messages", Path("nothing.so"), "--timeout", "0"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.errors, "ondrel: cannot load messages from " + Path("nothing.so") + "\n");
}

TEST_F(CommandLog, FollowEndsCleanlyOnAnInterrupt) {
  Report("10002", "information", "First");
  for (const int signal : {SIGINT, SIGTERM}) {
    const auto follower = Follow({"--count", "1"});

    const ProcessResult result = follower->EndBy(signal);

    EXPECT_EQ(result.exitStatus, 0) << signal;
    EXPECT_EQ(result.signal, 0) << signal;
  }
}

TEST_F(CommandLog, FollowOfAnEmptyLogEndsCleanlyOnAnInterrupt) {
  const auto follower = Start({"log", "follow", "Demo"});
  ASSERT_TRUE(follower->WaitForErrors("no records yet"));

  EXPECT_EQ(follower->EndBy(SIGINT).exitStatus, 0);
}

TEST_F(CommandLog, FollowEndsQuietlyWhenNobodyReadsItsOutput) {
  Report("10002", "information", "First");
  const auto follower = Follow({});

  follower->CloseOutput();
  Report("10471", "error", "PD 3 failed");
  const ProcessResult result = follower->Wait();

  EXPECT_EQ(result.exitStatus, 141);
  EXPECT_EQ(result.errors, "ondrel: following Demo\n");
}

TEST_F(CommandLog, ShowsARaisedErrorWithAllThatIsKnownOfIt) {
  const ProcessResult result =
      RunProcess(ONDREL_COMMAND, {"--store", Path("missing/events.db"), "log", "report", "Demo",
                                  "10471", "error", "PD 3 failed"});

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors, HasSubstr("20050003"));
  EXPECT_THAT(result.errors, HasSubstr("Cannot open system log"));
  EXPECT_THAT(result.errors, HasSubstr("CSystemLog::Open (Demo)"));
}

TEST_F(CommandLog, ShowsARaisedErrorAsJson) {
  const ProcessResult result =
      RunProcess(ONDREL_COMMAND, {"--json", "--store", Path("missing/events.db"), "log", "report",
                                  "Demo", "10471", "error", "PD 3 failed"});

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(result.errors, "");
  const json answer = ParseAnswer(result.output);
  EXPECT_EQ(answer["exitStatus"], 3);
  const json& error = answer["error"];
  EXPECT_EQ(error["kind"], "module");
  EXPECT_EQ(error["number"], 537198595);
  EXPECT_EQ(error["hex"], "0x20050003");
  EXPECT_EQ(error["name"], "CANNOT_OPEN_SYSTEM_LOG");
  EXPECT_EQ(error["text"], "Cannot open system log");
  EXPECT_EQ(error["detail"], "");
  EXPECT_EQ(error["systemError"], json({{"number", 3},
                                        {"name", "ERROR_PATH_NOT_FOUND"},
                                        {"text", "The system cannot find the path specified."}}));
}

TEST_F(CommandLog, ShowsARaisedErrorWithoutASystemErrorAsNull) {
  const ProcessResult result = Run({"log", "report", "Demo", "10471", "error", "", "--json"});

  EXPECT_EQ(result.exitStatus, 3);
  const json error = ParseAnswer(result.output)["error"];
  EXPECT_EQ(error["hex"], "0x20050002");
  EXPECT_EQ(error["text"], "Invalid parameter");
  EXPECT_EQ(error["systemError"], nullptr);
  EXPECT_EQ(error["context"], json({"CSystemLog::Report ()"}));
}

TEST_F(CommandLog, FollowShowsARaisedError) {
  const ProcessResult result =
      RunProcess(ONDREL_COMMAND, {"--store", Path("missing/events.db"), "log", "follow", "Demo"});

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_THAT(result.errors, HasSubstr("Cannot open system log"));
}

TEST_F(CommandLog, TakesTheSmallestStoreCapacity) {
  EXPECT_EQ(Run({"--store-capacity", "262144", "log", "report", "Demo", "10471", "error", "Text"})
                .exitStatus,
            0);
}

TEST_F(CommandLog, RefusesTheJournalOnlyWhereNoneTakesEntries) {
  const bool isJournalThere = Host::UseJournal();
  Host::UseHostEventLog();

  const ProcessResult result =
      RunProcess(ONDREL_COMMAND, {"--journal", "log", "report", "Demo", "10002", "4", "A test"});

  EXPECT_EQ(result.exitStatus, isJournalThere ? 0 : 2) << result.errors;
}

}  // namespace
}  // namespace Ondrel::Testing
