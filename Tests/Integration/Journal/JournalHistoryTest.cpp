#include "Integration/Journal/JournalFixture.h"
#include "Integration/Journal/JournalForwarding.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

#include <Ondrel/Host.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
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

// The command in a view of the host in which systemd runs and nothing stands at the journal's
// socket.
ProcessResult RunWithoutJournal(const std::vector<std::string>& front,
                                const std::vector<std::string>& line) {
  std::vector<std::string> arguments = {
      "--mount", "/bin/sh", "-c",
      "mount -t tmpfs tmpfs /run/systemd && mkdir -p /run/systemd/system && exec \"$0\" \"$@\"",
      ONDREL_COMMAND};
  arguments.insert(arguments.end(), front.begin(), front.end());
  arguments.insert(arguments.end(), line.begin(), line.end());
  return RunProcess("/usr/bin/unshare", arguments);
}

TEST_F(JournalHistory, AJournalThatIsAwayIsRefusedUnlessAnotherPlaceIsChosen) {
  const Testing::TemporaryFolder folder;
  const std::vector<std::string> lines[] = {
      {"log", "report", "Demo", "10471", "error", "PD 3"},
      {"alert", "pd", "OPERATIONAL", "FAILED", "--object", "PD 3", "--log", "Demo"},
      {"log", "list"},
      {"log", "show", "Demo"},
      {"log", "follow", "Demo", "--timeout", "0"},
      {"log", "export", "Demo"},
      {"log", "clear", "Demo", "--before", "30d"}};
  for (const std::vector<std::string>& line : lines) {
    const ProcessResult refused = RunWithoutJournal({}, line);
    const ProcessResult kept = RunWithoutJournal({"--store", folder.Path("events.db")}, line);
    const ProcessResult away = RunWithoutJournal({"--journal"}, line);

    EXPECT_EQ(refused.exitStatus, 3) << line[1];
    EXPECT_THAT(refused.errors, HasSubstr("the journal of this host is away"));
    EXPECT_EQ(kept.exitStatus, 0) << kept.errors;
    EXPECT_EQ(away.exitStatus, 3) << line[1];
    EXPECT_THAT(away.errors, HasSubstr("cannot use the journal: none takes entries on this host"));
  }
}

TEST_F(JournalHistory, AJournalThatIsAwayIsMissingForTheDoctorAndNamedByTheWatch) {
  const Testing::TemporaryFolder folder;
  const std::string store = folder.Path("events.db");
  const std::vector<std::string> doctor = {"doctor", "eventLog"};
  EXPECT_EQ(RunWithoutJournal({}, doctor).exitStatus, 1);
  EXPECT_THAT(RunWithoutJournal({}, doctor).output, HasSubstr("the journal of this host is away"));
  EXPECT_EQ(RunWithoutJournal({"--store", store}, doctor).exitStatus, 0);
  // A store that was asked for is where events go, also beside a journal.
  EXPECT_THAT(RunCommand({"--store", store, "doctor", "eventLog"}).output,
              HasSubstr("events go to " + store));
  EXPECT_THAT(RunCommand(doctor).output, HasSubstr("events go to the journal"));

  const std::string configuration =
      folder.Write("watch.conf", "[state]\nfile=" + folder.Path("watch.db") + "\n");
  const std::vector<std::string> check = {"watch", "--check-config", "--config", configuration};
  EXPECT_THAT(RunWithoutJournal({}, check).output,
              HasSubstr("the log RAID in the journal, which is away: they wait"));
  EXPECT_THAT(RunWithoutJournal({"--store", store}, check).output,
              HasSubstr("the log RAID in the event store " + store));
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
  Testing::JournalForwarding forwarding;
  const ProcessResult shown = forwarding.Await(Source(), "PD 3 failed");
  ASSERT_THAT(shown.output, HasSubstr("PD 3 failed")) << shown.errors;
  const json record = json::parse(shown.output.substr(0, shown.output.find('\n')));
  EXPECT_EQ(record["eventID"], 10471);
  EXPECT_EQ(record["eventType"], 1);
  EXPECT_EQ(record["args"], json({"PD 3 failed"}));
  const std::string name = Testing::JournalForwarding::HostName();
  EXPECT_EQ(record["computer"], name);
  const auto showOf = [&](const std::string& computer) {
    return forwarding.RunCommand({"log", "show", Source(), "--computer", computer}).output;
  };
  EXPECT_EQ(showOf("other"), "");
  EXPECT_NE(showOf(name), "");

  Process follower(ONDREL_COMMAND, {"--directory", forwarding.Collected(), "log", "follow",
                                    Source(), "--count", "1", "--timeout", "60"});
  ASSERT_TRUE(follower.WaitForErrors("ondrel: following"));
  Report("PD 4 failed");
  EXPECT_THAT(follower.Wait().output, HasSubstr("PD 4 failed"));
  const ProcessResult written = forwarding.RunCommand({"log", "report", Source(), "1", "1", "x"});
  EXPECT_EQ(written.exitStatus, 3);
  EXPECT_THAT(written.errors, HasSubstr("cannot do that"));
}
#endif

}  // namespace
}  // namespace Ondrel
