#include "CommandFixture.h"
#include "Support/Sanitized.h"

#include <Ondrel/Host.h>
#include <Ondrel/SystemLog.h>

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>
#include <sstream>
#include <string_view>
#include <thread>

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
    EXPECT_TRUE(follower->WaitForErrors("ondrel: following Demo in the event store "));
    return follower;
  }
};

TEST_F(CommandLog, EachTypeThatTheHelpNamesIsTaken) {
  const std::string help = Run({"log", "report", "--help"}).output;
  const std::regex row("\n  TYPE +([a-z]+), ([a-z]+), ([a-z]+) or a number\n");
  std::smatch words;
  ASSERT_TRUE(std::regex_search(help, words, row)) << help;
  for (std::size_t i = 1; i < words.size(); ++i) Report("1", words[i], "text");
  std::istringstream shown(Run({"--json", "log", "show", "Demo"}).output);
  std::vector<int> types;
  for (std::string line; std::getline(shown, line);)
    types.push_back(json::parse(line)["eventType"]);
  EXPECT_EQ(types, (std::vector<int>{1, 2, 4}));
}

TEST_F(CommandLog, ListHasTheNumbersAndTimesOfEachLogsEndsAndClearTheirPlace) {
  EXPECT_EQ(Run({"log", "list"}).output,
            "Logs of the event store " + Path("events.db") + ": none\n");
  Report("1", "error", "first");
  Report("1", "error", "second");
  std::istringstream shown(Run({"--json", "log", "show", "Demo"}).output);
  std::vector<json> times;
  for (std::string line; std::getline(shown, line);)
    times.push_back(json::parse(line)["timeGenerated"]);
  ASSERT_EQ(times.size(), 2U);

  const json answer = ParseAnswer(Run({"--json", "log", "list"}).output);
  const json& listed = answer["logs"];
  ASSERT_EQ(listed.size(), 1U);
  const std::uint64_t bytes = listed[0]["bytes"];
  EXPECT_GT(bytes, 100U);
  EXPECT_EQ(listed[0], json({{"log", "Demo"},
                             {"records", 2},
                             {"bytes", bytes},
                             {"firstNumber", 1},
                             {"lastNumber", 2},
                             {"firstTime", times[0]},
                             {"lastTime", times[1]}}));
  EXPECT_THAT(Run({"log", "list"}).output,
              ContainsRegex("^Logs of the event store [^\n]*events.db\nDemo: 2 records, " +
                            std::to_string(bytes) + " bytes, 1 \\([^)]+\\) to 2 \\([^)]+\\)\n$"));

  EXPECT_EQ(ParseAnswer(Run({"--json", "log", "clear", "Demo", "--all"}).output),
            json({{"log", "Demo"}, {"place", answer["place"]}, {"removed", 2}}));
}

TEST_F(CommandLog, ReportSaysWhatItReported) {
  const ProcessResult result = Run({"log", "report", "Demo", "10471", "error", "PD 3 failed"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(
      result.output,
      "Reported event 10471 (PD_STATE_CHANGE_OP_TO_FAIL) of type 1 to the log Demo as record 1 in "
      "the event store " +
          Path("events.db") + "\n");
  EXPECT_EQ(result.errors, "");
}

TEST_F(CommandLog, ReportSaysWhatItReportedAsJson) {
  const ProcessResult result =
      Run({"log", "report", "Demo", "0x200028E7", "Warning", "PD 3 failed", "--json"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(ParseAnswer(result.output),
            json({{"log", "Demo"},
                  {"event", 536881383},
                  {"keptEvent", 10471},
                  {"eventName", "PD_STATE_CHANGE_OP_TO_FAIL"},
                  {"type", 2},
                  {"text", "PD 3 failed"},
                  {"place", {{"kind", "store"}, {"path", Path("events.db")}}},
                  {"recordNumber", 1},
                  {"checked", true}}));
}

TEST_F(CommandLog, ReportSaysThatALongTextWasCut) {
  const std::string text = std::string(31838, 'x') + "\xC3\xA4";
  const ProcessResult cut = Run({"log", "report", "Demo", "10471", "error", text});
  const ProcessResult whole =
      Run({"log", "report", "Demo", "10471", "error", text.substr(1, 31837)});

  EXPECT_EQ(cut.exitStatus, 0);
  EXPECT_THAT(cut.errors, HasSubstr("the text has 31840 bytes; at most 31839 of them are kept\n"));
  EXPECT_EQ(whole.errors, "");
}

TEST_F(CommandLog, AnEventMayBeNamedAndAMisspeltOneIsCorrected) {
  Report("pd_state_change_op_to_fail", "error", "PD 3 failed");
  EXPECT_THAT(Run({"log", "show", "Demo", "--event", "PD_STATE_CHANGE_OP_TO_FAIL"}).output,
              HasSubstr(" 10471 "));
  for (const std::vector<std::string>& line :
       {std::vector<std::string>{"log", "report", "Demo", "PD_STATE_CHANGE_OP_TO_FIAL", "1", "x"},
        {"log", "show", "Demo", "--event", "PD_STATE_CHANGE_OP_TO_FIAL"}}) {
    const ProcessResult result = Run(line);
    EXPECT_EQ(result.exitStatus, 2) << line[1];
    EXPECT_THAT(result.errors, HasSubstr("is neither an event's number nor its name, did you mean "
                                         "PD_STATE_CHANGE_OP_TO_FAIL?"));
  }
}

TEST_F(CommandLog, ReportRefusesATypeThatNoRecordHolds) {
  for (const char* const type : {"65536", "-1", "grave"})
    EXPECT_EQ(Run({"log", "report", "Demo", "10471", type, "x"}).exitStatus, 2) << type;
  EXPECT_EQ(Run({"log", "report", "Demo", "10471", "65535", "x"}).exitStatus, 0);
  EXPECT_THAT(Run({"log", "show", "Demo"}).output, HasSubstr(" type-65535 10471 "));
}

TEST_F(CommandLog, ReportNamesTheEventThatIsKept) {
  EXPECT_THAT(Run({"log", "report", "Demo", "1", "error", "x"}).output,
              StartsWith("Reported event 10000 (UNKNOWN) in place of 1, which is not an event, of "
                         "type 1 to the log Demo as record 1 "));
  EXPECT_EQ(
      ParseAnswer(Run({"log", "report", "Demo", "1", "error", "x", "--json"}).output)["keptEvent"],
      10000);
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
  EXPECT_THAT(
      result.output,
      ContainsRegex("^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z [^ ]+ Demo 2 error "
                    "10471 PD_STATE_CHANGE_OP_TO_FAIL: PD 3\\\\nfailed\n$"));
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
  EXPECT_THAT(result.output, HasSubstr(" Demo 2 "));
  EXPECT_THAT(result.output, HasSubstr(" Demo 3 "));
}

TEST_F(CommandLog, FollowShowsAnEventOnceThoughItsSourceIsNamedTwice) {
  Report("10002", "information", "First");
  const auto follower = Follow({"--source", "Demo", "--source", "Demo", "--count", "2", "--json"});

  Report("10471", "error", "PD 3 failed");
  Report("10471", "error", "PD 4 failed");
  std::istringstream lines(follower->Wait().output);

  for (int number = 2; number <= 3; ++number) {
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(ParseAnswer(line)["recordNumber"], number);
  }
}

TEST_F(CommandLog, FollowShowsTheFirstRecordOfAnEmptyLog) {
  const auto follower = Follow({"--count", "1", "--json"});

  Report("10002", "information", "First");
  const ProcessResult result = follower->Wait();

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(ParseAnswer(result.output)["args"], json({"First"}));
}

// How often a process has gone to sleep so far.
long SleepsOf(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  constexpr std::string_view kField = "voluntary_ctxt_switches:";
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(kField)) return std::stol(line.substr(kField.size()));
  return -1;
}

TEST_F(CommandLog, FollowShowsARecordWithinFiftyMillisecondsOfItsReportAndDoesNotPoll) {
  Report("10002", "information", "First");
  const auto follower = Follow({"--json"});
  // Its start takes a few; one that polls has no second without.
  long fewest = std::numeric_limits<long>::max();
  for (int second = 0; second < 10 && fewest > 1; ++second) {
    const long sleepsBefore = SleepsOf(follower->Id());
    std::this_thread::sleep_for(std::chrono::seconds(1));
    fewest = std::min(fewest, SleepsOf(follower->Id()) - sleepsBefore);
  }
  EXPECT_GE(fewest, 0);
  EXPECT_LE(fewest, 1);

  Host::UseEventStore(Path("events.db"));
  CSystemLog_Win log;
  log.Open("Demo");
  // What else the machine does may delay any of them; without polling none is quick by chance.
  std::chrono::duration<double> quickest(1);
  for (int i = 0; i < 100 && quickest.count() >= 0.05; ++i) {
    const std::string text = "\"Event " + std::to_string(i) + "\"";
    log.Report(10471, 1, text.substr(1, text.size() - 2));
    const auto reported = std::chrono::steady_clock::now();
    ASSERT_TRUE(follower->WaitForOutput(text));
    quickest = std::min<std::chrono::duration<double>>(quickest,
                                                       std::chrono::steady_clock::now() - reported);
  }
  log.Close();
  Host::UseHostEventLog();
  EXPECT_LT(quickest.count(), 0.05);
}

TEST_F(CommandLog, FollowDrainsALogOfLargeRecordsWithoutResting) {
  constexpr int kRecords = WithSanitizer(300, 1000);
  Report("10002", "information", "First");
  {
    Host::UseEventStore(Path("events.db"));
    CSystemLog_Win log;
    log.Open("Demo");
    for (int i = 0; i < kRecords; ++i) log.Report(10471, 1, std::string(30'000, 'x'));
    Host::UseHostEventLog();
  }
  const auto begin = std::chrono::steady_clock::now();
  const ProcessResult result =
      Run({"log", "follow", "Demo", "--from-start", "--count", std::to_string(1 + kRecords)});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_GT(result.output.size(), kRecords * 30'000u);
  // At a rest of 100 ms after each buffer it would take 50 seconds for a thousand.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(40));
}

TEST_F(CommandLog, FollowGoesOnWhereItsStateFileSays) {
  for (const char* text : {"One", "Two", "Three"}) Report("10471", "error", text);
  const std::vector<std::string> follow = {"log",     "follow", "Demo",    "--from-start",
                                           "--count", "2",      "--state", Path("state")};
  EXPECT_THAT(Run(follow).output, testing::AllOf(HasSubstr("One"), HasSubstr("Two")));
  Report("10471", "error", "Four");
  const ProcessResult second = Run(follow);
  EXPECT_THAT(second.output, testing::AllOf(HasSubstr("Three"), HasSubstr("Four")));
  EXPECT_THAT(second.output, testing::Not(HasSubstr("Two")));
}

TEST_F(CommandLog, FollowKilledAgainAndAgainShowsAllWithItsStateFile) {
  constexpr int kReports = 3000;
  {
    Host::UseEventStore(Path("events.db"));
    CSystemLog_Win log;
    log.Open("Demo");
    for (int i = 0; i < kReports; ++i) log.Report(10471, 1, "<" + std::to_string(i) + ">");
    Host::UseHostEventLog();
  }
  std::string output;
  for (int run = 0; run < 30; ++run) {
    const auto follower =
        Start({"log", "follow", "Demo", "--from-start", "--state", Path("state")});
    std::this_thread::sleep_for(std::chrono::milliseconds(run));
    output += follower->EndBy(SIGKILL).output;
  }
  output +=
      Run({"log", "follow", "Demo", "--from-start", "--state", Path("state"), "--timeout", "0"})
          .output;
  for (int i = 0; i < kReports; ++i)
    ASSERT_NE(output.find("<" + std::to_string(i) + ">"), std::string::npos) << i;
}

TEST_F(CommandLog, FollowShowsAllThatStandsThereThoughItsTimeIsOver) {
  constexpr int kReports = 1500;
  {
    Host::UseEventStore(Path("events.db"));
    Host::CEventLogWriter writer;
    ASSERT_EQ(writer.Open("Demo"), 0u);
    for (int i = 0; i < kReports; ++i) ASSERT_EQ(writer.Report(10471, 1, "Text").error, 0u);
    Host::UseHostEventLog();
  }
  const ProcessResult result = Run({"log", "follow", "Demo", "--from-start", "--timeout", "0"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), kReports);
}

TEST_F(CommandLog, FollowRefusesAFileThatIsNotAState) {
  const ProcessResult result =
      Run({"log", "follow", "Demo", "--state", WriteFile("state", "nothing")});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.errors, HasSubstr("is not a state file"));
}

TEST_F(CommandLog, FollowNamesWhatIsMissingAndEndsWithOneOnlyWhenStrict) {
  for (const char* text : {"One", "Two", "Three"}) Report("10471", "error", text);
  sqlite3* store = nullptr;
  ASSERT_EQ(sqlite3_open(Path("events.db").c_str(), &store), SQLITE_OK);
  sqlite3_exec(store, "DELETE FROM record WHERE id & 4294967295 = 2", nullptr, nullptr, nullptr);
  sqlite3_close(store);

  const std::vector<std::string> follow = {"log",          "follow",    "Demo",
                                           "--from-start", "--timeout", "0"};
  const ProcessResult result = Run(follow);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.errors, HasSubstr("Demo: record 2 went away before it was read\n"));
  EXPECT_THAT(result.output, HasSubstr("Three"));
  std::vector<std::string> strict = follow;
  strict.push_back("--strict");
  EXPECT_EQ(Run(strict).exitStatus, 1);
  strict.push_back("--json");
  EXPECT_THAT(Run(strict).output, HasSubstr(R"("note":"missed","first":2,"last":2,)"));
}

TEST_F(CommandLog, ShowChoosesAmongTheRecords) {
  Report("10471", "error", "PD 3 failed");
  Report("10412", "warning", "LD 1 degraded");
  Report("10002", "information", "Started");
  const auto shown = [&](std::vector<std::string> options) {
    options.insert(options.begin(), {"log", "show", "Demo", "--json"});
    std::vector<int> numbers;
    std::istringstream lines(Run(options).output);
    for (std::string line; std::getline(lines, line);)
      numbers.push_back(ParseAnswer(line)["recordNumber"]);
    return numbers;
  };
  using testing::ElementsAre;
  EXPECT_THAT(shown({}), ElementsAre(1, 2, 3));
  EXPECT_THAT(shown({"--newest-first"}), ElementsAre(3, 2, 1));
  EXPECT_THAT(shown({"--last", "2"}), ElementsAre(2, 3));
  EXPECT_THAT(shown({"--last", "1", "--type", "error"}), ElementsAre(1));
  EXPECT_THAT(shown({"--type", "warning", "--type", "4"}), ElementsAre(2, 3));
  EXPECT_THAT(shown({"--event", "10412"}), ElementsAre(2));
  EXPECT_THAT(shown({"--event", "pd_state_change_op_to_fail"}), ElementsAre(1));
  EXPECT_THAT(shown({"--grep", "LD [0-9]"}), ElementsAre(2));
  EXPECT_THAT(shown({"--first-record", "2"}), ElementsAre(2, 3));
  EXPECT_THAT(shown({"--last-record", "1"}), ElementsAre(1));
  EXPECT_THAT(shown({"--since", "1h"}), ElementsAre(1, 2, 3));
  EXPECT_THAT(shown({"--since", "15min"}), ElementsAre(1, 2, 3));
  EXPECT_THAT(shown({"--until", "5m"}), ElementsAre());
  EXPECT_THAT(shown({"--until", "2020-01-01T00:00:00Z"}), ElementsAre());
  EXPECT_THAT(shown({"--since", "2100-01-01"}), ElementsAre());
  EXPECT_THAT(shown({"--source", "Other"}), ElementsAre());
  for (const char* time : {"yesterday", "2024-13-01", "2024-01-01T1", "5w", "2h3", "@", ""})
    EXPECT_EQ(Run({"log", "show", "Demo", "--since", time}).exitStatus, 2) << time;
}

TEST_F(CommandLog, AMisspeltLogIsNotAnEmptyOne) {
  Report("10471", "error", "PD 3 failed");
  for (const std::vector<std::string>& line : {std::vector<std::string>{"log", "show", "Dmeo"},
                                               {"log", "export", "Dmeo"},
                                               {"log", "clear", "Dmeo", "--all"}}) {
    const ProcessResult result = Run(line);
    EXPECT_EQ(result.exitStatus, 1) << line[1];
    EXPECT_THAT(result.errors, HasSubstr("there is no log Dmeo in the event store " +
                                         Path("events.db") + ", did you mean Demo?"))
        << line[1];
    std::vector<std::string> asJson = line;
    asJson.emplace_back("--json");
    EXPECT_EQ(ParseAnswer(Run(asJson).output)["error"]["name"], "NO_SUCH_LOG") << line[1];
  }
  const ProcessResult followed = Run({"log", "follow", "Dmeo", "--timeout", "1"});
  EXPECT_EQ(followed.exitStatus, 0);
  EXPECT_THAT(followed.errors, HasSubstr("did you mean Demo?; waiting for it"));
  EXPECT_THAT(Run({"log", "show", "Demo", "--event", "10412"}).errors,
              HasSubstr("no records of Demo that were asked for"));
}

TEST_F(CommandLog, FollowSaysThatItsStoreIsGoneAndThatAnotherCame) {
  Report("10471", "error", "One");
  const auto follower = Follow({"--from-start"});
  ASSERT_TRUE(follower->WaitForOutput("One"));
  std::filesystem::remove(Path("events.db"));
  ASSERT_TRUE(follower->WaitForErrors("cannot read the log Demo: the file is not there"));
  Report("10471", "error", "Two");
  ASSERT_TRUE(follower->WaitForErrors("the log is another one than before"));
  ASSERT_TRUE(follower->WaitForOutput("Two"));
}

TEST_F(CommandLog, FollowGoesOnAfterItsStoreWasCutToNothing) {
  for (const char* text : {"One", "Two"}) Report("10471", "error", text);
  const auto follower = Follow({"--from-start"});
  ASSERT_TRUE(follower->WaitForOutput("Two"));
  std::filesystem::resize_file(Path("events.db"), 0);
  Report("10471", "error", "Three");
  ASSERT_TRUE(follower->WaitForErrors("the log is another one than before"));
  ASSERT_TRUE(follower->WaitForOutput("Three"));
}

TEST_F(CommandLog, StrictFollowOfARemovedStoreEndsWithThree) {
  Report("10471", "error", "One");
  const auto follower = Follow({"--from-start", "--strict"});
  ASSERT_TRUE(follower->WaitForOutput("One"));
  std::filesystem::remove(Path("events.db"));
  EXPECT_EQ(follower->Wait().exitStatus, 3);
}

TEST_F(CommandLog, FollowKilledBeforeTheFirstRecordGoesOnWithIt) {
  Report("10471", "error", "Zero");
  Follow({"--state", Path("state")})->EndBy(SIGKILL);
  Report("10471", "error", "One");
  const ProcessResult result =
      Run({"log", "follow", "Demo", "--state", Path("state"), "--timeout", "0"});
  EXPECT_THAT(result.output, HasSubstr("One"));
  EXPECT_THAT(result.output, testing::Not(HasSubstr("Zero")));
}

TEST_F(CommandLog, StateThatCannotBeWrittenIsAFailureBeforeTheFirstRecord) {
  Report("10471", "error", "One");
  const ProcessResult result = Run({"log", "follow", "Demo", "--from-start", "--state",
                                    Path("nosuch/state"), "--timeout", "0", "--json"});
  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(ParseAnswer(result.output)["error"]["what"],
            "--state: cannot write " + Path("nosuch/state"));
  EXPECT_EQ(Run({"log", "follow", "Demo", "--state", "/dev/null"}).exitStatus, 2);
}

TEST_F(CommandLog, FollowThatWaitsNoticesThatNobodyReadsItsOutput) {
  Report("10471", "error", "One");
  const auto follower = Follow({});
  follower->CloseOutput();
  EXPECT_EQ(follower->Wait().exitStatus, 141);
}

TEST_F(CommandLog, StoreThatCannotBeReachedIsNotAnEmptyOne) {
  const std::string file = WriteFile("file", "");
  for (const char* const action : {"list", "show", "export", "clear"}) {
    std::vector<std::string> line = {"--store", file + "/events.db", "log", action};
    if (line.back() != "list") line.emplace_back("Demo");
    if (line[3] == "clear") line.emplace_back("--all");
    const ProcessResult result = RunProcess(ONDREL_COMMAND, line);
    EXPECT_EQ(result.exitStatus, 3) << action;
    EXPECT_THAT(result.errors, HasSubstr(file + "/events.db")) << action;
  }
}

TEST_F(CommandLog, PatternThatIsNotOneIsWrongUsage) {
  Report("10471", "error", "PD 3 failed");
  for (const char* const pattern : {"(", "[", "a)"})
    EXPECT_EQ(Run({"log", "show", "Demo", "--grep", pattern}).exitStatus, 2) << pattern;
}

TEST_F(CommandLog, StateThatIsAFolderIsWrongUsageInWords) {
  Report("10471", "error", "PD 3 failed");
  const ProcessResult result =
      Run({"log", "follow", "Demo", "--state", Path(""), "--timeout", "1"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.errors, HasSubstr("is not a file"));
}

TEST_F(CommandLog, ClearRemovesWhatItSays) {
  Report("10471", "error", "PD 3 failed");
  EXPECT_EQ(Run({"log", "clear", "Demo"}).exitStatus, 2);
  EXPECT_THAT(Run({"log", "clear", "Demo", "--before", "2020-01-01"}).output,
              HasSubstr("Removed 0 records"));
  EXPECT_THAT(Run({"log", "clear", "Demo", "--all"}).output, HasSubstr("Removed 1 records"));
}

TEST_F(CommandLog, ADamagedStoreIsSaidInWords) {
  const std::string path = WriteFile("events.db", "nothing like a store, but long enough");
  for (const char* command : {"show", "export"}) {
    const ProcessResult result = Run({"log", command, "Demo"});
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_THAT(result.errors, HasSubstr("damaged, or not an event log"));
  }
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

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_THAT(result.errors, HasSubstr("cannot load messages from " + Path("nothing.so")));
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
  const auto follower = Follow({});

  EXPECT_EQ(follower->EndBy(SIGINT).exitStatus, 0);
}

TEST_F(CommandLog, FollowEndsQuietlyWhenNobodyReadsItsOutput) {
  Report("10002", "information", "First");
  const auto follower = Follow({});

  follower->CloseOutput();
  Report("10471", "error", "PD 3 failed");
  const ProcessResult result = follower->Wait();

  EXPECT_EQ(result.exitStatus, 141);
  EXPECT_THAT(result.errors, testing::StartsWith("ondrel: following Demo in "));
}

TEST_F(CommandLog, AReportThatIsNotKeptSaysWhyInWords) {
  const std::vector<std::string> report = {
      "--store", Path("missing/events.db"), "log", "report", "Demo", "10471", "error", "PD 3"};
  const ProcessResult result = RunProcess(ONDREL_COMMAND, report);

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "ondrel: cannot write to the log Demo in the event store " +
                               Path("missing/events.db") +
                               ": the folder does not exist (error 3)\n");
  std::vector<std::string> asJson = report;
  asJson.insert(asJson.begin(), "--json");
  EXPECT_EQ(ParseAnswer(RunProcess(ONDREL_COMMAND, asJson).output)["error"]["number"], 3);
}

TEST_F(CommandLog, ReportWithAnEmptyLogOrTextIsWrongUsage) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"log", "report", "Demo", "10471", "error", ""},
        {"log", "report", "", "10471", "error", "text"}}) {
    const ProcessResult result = Run(words);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.errors, HasSubstr(" is empty"));
  }
}

TEST_F(CommandLog, FollowShowsARaisedError) {
  const ProcessResult result =
      RunProcess(ONDREL_COMMAND, {"--store", Path("missing/events.db"), "log", "follow", "Demo"});

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_THAT(result.errors, HasSubstr("the folder does not exist"));
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

  EXPECT_EQ(result.exitStatus, isJournalThere ? 0 : 3) << result.errors;
  EXPECT_EQ(result.errors.find("cannot use the journal: none takes entries on this host") ==
                std::string::npos,
            isJournalThere)
      << result.errors;
}

}  // namespace
}  // namespace Ondrel::Testing
