#include "Integration/Journal/JournalFixture.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

#include <Ondrel/Host.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Ondrel {
namespace {

using Host::CEventLogReader;
using Host::CEventLogWait;
using Host::CEventLogWriter;
using Host::EventLogItem;
using Host::EventLogItemKind;
using Host::EventLogRange;
using nlohmann::json;
using testing::HasSubstr;
using Testing::JournalDaemon;
using Testing::Process;
using Testing::ProcessResult;
using Testing::RunProcess;

class JournalHistory : public Testing::JournalFixture {
protected:
  static EventLogRange OwnRange() {
    EventLogRange range;
    range.sources = {Source()};
    return range;
  }

  static std::vector<EventLogItem> Read(CEventLogReader& reader) {
    JournalDaemon::Sync();
    std::vector<EventLogItem> all;
    std::vector<EventLogItem> items;
    for (;;) {
      EXPECT_EQ(reader.Read(items), 0u);
      if (items.empty()) return all;
      all.insert(all.end(), items.begin(), items.end());
    }
  }

  static std::vector<std::string> Texts(const std::vector<EventLogItem>& items) {
    std::vector<std::string> texts;
    for (const EventLogItem& item : items)
      texts.push_back(item.kind == EventLogItemKind::kRecord   ? item.record.strings.at(0)
                      : item.kind == EventLogItemKind::kMissed ? "missed"
                                                               : "replaced");
    return texts;
  }

  static void Report(const std::string& text) {
    CEventLogWriter writer;
    ASSERT_EQ(writer.Open(Source()), 0u);
    const Host::EventLogReport report = writer.Report(10471, 1, text);
    ASSERT_EQ(report.error, 0u) << Host::EventLogErrorText(report.error);
    ASSERT_TRUE(report.isChecked);
    ASSERT_GT(report.number, 0u);
  }
};

TEST_F(JournalHistory, GivesPastRecordsAndThoseThatCome) {
  Report("one");
  Report("two");
  CEventLogReader reader;
  ASSERT_EQ(reader.Open("journal", OwnRange()), 0u);
  std::vector<EventLogItem> items = Read(reader);
  EXPECT_EQ(Texts(items), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(items[0].record.eventID, 0x200028E7u);
  EXPECT_EQ(items[0].record.source, Source());
  EXPECT_NE(items[0].record.computer, "");
  Report("three");
  EXPECT_EQ(Texts(Read(reader)), std::vector<std::string>{"three"});

  EventLogRange range = OwnRange();
  range.isNewestFirst = true;
  CEventLogReader newestFirst;
  ASSERT_EQ(newestFirst.Open("journal", range), 0u);
  EXPECT_EQ(Texts(Read(newestFirst)), (std::vector<std::string>{"three", "two", "one"}));
}

TEST_F(JournalHistory, APositionGoesOnInAnotherReader) {
  Report("one");
  CEventLogReader reader;
  ASSERT_EQ(reader.Open("journal", OwnRange()), 0u);
  Read(reader);
  Report("two");
  EventLogRange range = OwnRange();
  range.after = reader.Position();
  CEventLogReader other;
  ASSERT_EQ(other.Open("journal", range), 0u);
  EXPECT_EQ(Texts(Read(other)), std::vector<std::string>{"two"});
}

TEST_F(JournalHistory, NewOnlyLeavesOutWhatStandsThere) {
  Report("one");
  EventLogRange range = OwnRange();
  range.isNewOnly = true;
  CEventLogReader reader;
  ASSERT_EQ(reader.Open("journal", range), 0u);
  Report("two");
  EXPECT_EQ(Texts(Read(reader)), std::vector<std::string>{"two"});
}

TEST_F(JournalHistory, EntriesOfOtherProgramsCarryTheirMessage) {
  EventLogRange range = OwnRange();
  range.isNewOnly = true;
  CEventLogReader reader;
  ASSERT_EQ(reader.Open("journal", range), 0u);
  ASSERT_EQ(reader.GetMessageResources(Host::LibraryPath()), 0u);
  CSystemLogReader_Win required;
  ASSERT_EQ(required.GetMessageResources(Host::LibraryPath()), 1u);
  required.Open("journal", {Source()});
  ASSERT_EQ(
      RunProcess("/usr/bin/systemd-cat", {"-t", Source(), "/bin/echo", "low on paper"}).exitStatus,
      0);

  const std::vector<EventLogItem> items = Read(reader);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].record.message, "low on paper\r\n");
  const std::vector<CSystemEvent_Win> events = ReadAll(required);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].eventID, 0u);
  EXPECT_EQ(events[0].message, "low on paper\r\n");
}

TEST_F(JournalHistory, AWaitEndsWithAReport) {
  CEventLogWait wait;
  ASSERT_EQ(wait.Open("journal"), 0u);
  while (wait.Wait(std::chrono::milliseconds(300))) {
  }
  Report("one");
  EXPECT_TRUE(wait.Wait(std::chrono::seconds(10)));
}

TEST_F(JournalHistory, WhatWasVacuumedUnderAReaderIsNamedAndReadingGoesOn) {
  Report("seen");
  CEventLogReader reader;
  ASSERT_EQ(reader.Open("journal", OwnRange()), 0u);
  EXPECT_EQ(Texts(Read(reader)), std::vector<std::string>{"seen"});
  const std::string position = reader.Position();
  Report("lost");
  JournalDaemon::Control({"--sync"});
  JournalDaemon::Control({"--rotate"});
  JournalDaemon::Control({"--vacuum-size=1"});
  Report("after");
  EXPECT_EQ(Texts(Read(reader)), (std::vector<std::string>{"missed", "after"}));

  EventLogRange range = OwnRange();
  range.after = position;
  CEventLogReader resumed;
  ASSERT_EQ(resumed.Open("journal", range), 0u);
  EXPECT_EQ(Texts(Read(resumed)), (std::vector<std::string>{"missed", "after"}));
}

TEST_F(JournalHistory, EachEventHasTheMessageIdOfItsCatalogueEntry) {
  Report("failed");
  JournalDaemon::Sync();
  const std::string entry = JournalDaemon::Control(
      {"-o", "json", "--no-pager", "--lines=1", "SYSLOG_IDENTIFIER=" + Source()});
  const std::string id = json::parse(entry)["MESSAGE_ID"];
  EXPECT_EQ(id, "9c5d6a7e3f1b4c2e8a41d07b200028e7");

  // As an administrator reads it, with a database of this catalogue alone.
  const Testing::TemporaryFolder root;
  const std::string folder = root.Path("usr/lib/systemd/catalog");
  std::filesystem::create_directories(folder);
  std::filesystem::create_directories(root.Path("var/lib/systemd/catalog"));
  std::filesystem::copy_file(ONDREL_SOURCE_FOLDER "/Src/Resource/ondrel.catalog",
                             folder + "/ondrel.catalog");
  JournalDaemon::Control({"--root=" + root.Path(), "--update-catalog"});
  const std::string shown = JournalDaemon::Control({"--root=" + root.Path(), "--dump-catalog", id});
  EXPECT_THAT(shown, HasSubstr("PD_STATE_CHANGE_OP_TO_FAIL"));
  EXPECT_THAT(shown, HasSubstr("from operational to failed"));
}

#ifdef ONDREL_COMMAND
ProcessResult RunCommand(std::vector<std::string> arguments) {
  return RunProcess(ONDREL_COMMAND, arguments);
}

TEST_F(JournalHistory, TheCommandReportsFollowsAndShows) {
  const auto follower = std::make_unique<Process>(
      ONDREL_COMMAND, std::vector<std::string>{"--journal", "log", "follow", Source(), "--count",
                                               "1", "--timeout", "60"});
  ASSERT_TRUE(follower->WaitForErrors("in the journal of this machine\n"));
  const ProcessResult reported =
      RunCommand({"--journal", "log", "report", Source(), "10471", "error", "PD 3 failed"});
  EXPECT_EQ(reported.exitStatus, 0) << reported.errors;
  EXPECT_THAT(reported.output, HasSubstr("in the journal of this machine\n"));
  EXPECT_THAT(follower->Wait().output, HasSubstr("PD_STATE_CHANGE_OP_TO_FAIL: PD 3 failed\n"));
  EXPECT_THAT(RunCommand({"--journal", "log", "show", Source()}).output, HasSubstr("PD 3 failed"));
  EXPECT_EQ(RunCommand({"--journal", "log", "clear", Source(), "--all"}).exitStatus, 3);
  EXPECT_THAT(RunCommand({"--journal", "log", "list"}).output, HasSubstr("journal: "));
}

TEST_F(JournalHistory, AJournalThatIsAwayIsRefusedUnlessAnotherPlaceIsChosen) {
  const Testing::TemporaryFolder folder;
  const std::vector<std::string> report = {"log", "report", "Demo", "10471", "error", "PD 3"};
  // A view of the host in which systemd runs and nothing stands at the journal's socket.
  const auto runAway = [](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(),
                     {"--mount", "/bin/sh", "-c",
                      "mount -t tmpfs tmpfs /run/systemd && mkdir -p /run/systemd/system && "
                      "exec \"$0\" \"$@\"",
                      ONDREL_COMMAND});
    return RunProcess("/usr/bin/unshare", arguments);
  };
  const ProcessResult refused = runAway(report);
  std::vector<std::string> chosen = {"--store", folder.Path("events.db")};
  chosen.insert(chosen.end(), report.begin(), report.end());
  const ProcessResult kept = runAway(chosen);
  std::vector<std::string> journal = {"--journal"};
  journal.insert(journal.end(), report.begin(), report.end());
  const ProcessResult away = runAway(journal);

  EXPECT_EQ(refused.exitStatus, 3);
  EXPECT_THAT(refused.errors, HasSubstr("the journal of this host is away"));
  EXPECT_EQ(kept.exitStatus, 0) << kept.errors;
  EXPECT_NE(away.exitStatus, 0);
}

TEST_F(JournalHistory, JournalFilesThatCannotBeReadAreNamed) {
  for (int i = 0; i < 5; ++i) Report("text " + std::to_string(i));
  JournalDaemon::Sync();
  const Testing::TemporaryFolder folder;
  const std::string sound = folder.Path("a.journal");
  ASSERT_EQ(
      RunProcess("/bin/sh", {"-c", "journalctl -o export SYSLOG_IDENTIFIER=" + Source() +
                                       " | /lib/systemd/systemd-journal-remote -o " + sound + " -"})
          .exitStatus,
      0);
  const std::vector<std::string> show = {"--directory", folder.Path(""), "log", "show", Source()};
  EXPECT_EQ(RunCommand(show).exitStatus, 0);

  const std::string garbage = folder.Write("b.journal", std::string(10000, 'x'));
  const ProcessResult beside = RunCommand(show);
  EXPECT_EQ(beside.exitStatus, 1);
  EXPECT_THAT(beside.output, HasSubstr("text 4\n"));
  EXPECT_THAT(beside.errors, HasSubstr("the file " + garbage + " is damaged"));
  std::vector<std::string> asJson = show;
  asJson.emplace_back("--json");
  EXPECT_THAT(RunCommand(asJson).output, HasSubstr("\"file\":\"" + garbage + "\""));
  const ProcessResult alone = RunCommand({"--file", garbage, "log", "show", Source()});
  EXPECT_EQ(alone.exitStatus, 3);
  EXPECT_THAT(alone.errors, HasSubstr("damaged"));
}

TEST_F(JournalHistory, ACollectorsFilesAreReadMachineByMachine) {
  Report("PD 3 failed");
  JournalDaemon::Sync();
  const Testing::TemporaryFolder folder;
  const std::string port = std::to_string(20000 + getpid() % 20000);
  const std::string collected = folder.Path("collected");
  std::filesystem::create_directories(collected);
  Process collector("/lib/systemd/systemd-journal-remote",
                    {"--listen-http=127.0.0.1:" + port, "--output=" + collected});
  // Uploads what this machine's journal holds, and goes on until it is ended.
  std::unique_ptr<Process> uploader;
  ProcessResult shown;
  for (int tries = 0; tries < 100 && shown.output.find("PD 3 failed") == std::string::npos;
       ++tries) {
    if (tries % 20 == 0)
      uploader = std::make_unique<Process>(
          "/lib/systemd/systemd-journal-upload",
          std::vector<std::string>{"--url=http://127.0.0.1:" + port,
                                   "--save-state=" + folder.Path("upload-state")});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    shown = RunCommand({"--directory", collected, "log", "show", Source(), "--json"});
  }
  ASSERT_THAT(shown.output, HasSubstr("PD 3 failed")) << shown.errors;
  const json record = json::parse(shown.output.substr(0, shown.output.find('\n')));
  EXPECT_EQ(record["eventID"], 10471);
  EXPECT_EQ(record["eventType"], 1);
  EXPECT_EQ(record["args"], json({"PD 3 failed"}));
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  EXPECT_EQ(record["computer"], name);
  EXPECT_EQ(
      RunCommand({"--directory", collected, "log", "show", Source(), "--computer", "other"}).output,
      "");
  EXPECT_NE(
      RunCommand({"--directory", collected, "log", "show", Source(), "--computer", name}).output,
      "");

  Process follower(ONDREL_COMMAND, {"--directory", collected, "log", "follow", Source(), "--count",
                                    "1", "--timeout", "60"});
  ASSERT_TRUE(follower.WaitForErrors("ondrel: following"));
  Report("PD 4 failed");
  EXPECT_THAT(follower.Wait().output, HasSubstr("PD 4 failed"));
  const ProcessResult written =
      RunCommand({"--directory", collected, "log", "report", Source(), "1", "1", "x"});
  EXPECT_EQ(written.exitStatus, 3);
  EXPECT_THAT(written.errors, HasSubstr("cannot do that"));
  uploader->EndBy(SIGKILL);
  collector.EndBy(SIGKILL);
}
#endif

}  // namespace
}  // namespace Ondrel
