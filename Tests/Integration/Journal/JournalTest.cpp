#include "Host/Linux/FileDescriptor.h"
#include "Integration/Journal/JournalFixture.h"
#include "Support/Process.h"

#include <Pirsk/Exceptions.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace Ondrel {
namespace {

using nlohmann::json;
using Testing::JournalDaemon;
using Testing::RunProcess;

class Journal : public Testing::JournalFixture {
protected:
  // By the native protocol: sd_journal_send would add an identifier.
  static void SendFields(const std::string& fields) {
    const Host::FileDescriptor sender(socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/systemd/journal/socket");
    const ssize_t sent = sendto(sender.Number(), fields.data(), fields.size(), 0,
                                reinterpret_cast<const sockaddr*>(&address), sizeof address);
    ASSERT_EQ(sent, static_cast<ssize_t>(fields.size()));
  }

  static std::vector<json> Entries(const std::string& source) {
    JournalDaemon::Sync();
    const std::string text = JournalDaemon::Control(
        {"-o", "json", "--no-pager", "--all", "SYSLOG_IDENTIFIER=" + source});
    std::vector<json> entries;
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = text.find('\n', begin);
      entries.push_back(json::parse(text.substr(begin, end - begin)));
      begin = end + 1;
    }
    return entries;
  }
};

TEST_F(Journal, IsTheHostsOwnChoiceWhereItTakesEntries) {
  Host::UseHostEventLog();
  EXPECT_EQ(Host::EventStorePath(), "");
}

TEST_F(Journal, GivesAReportBackWithItsText) {
  CSystemLog_Win log;
  log.Open(Source());
  CSystemLogReader_Win reader;
  ASSERT_EQ(reader.GetMessageResources(Host::LibraryPath()), 1u);
  reader.Open("any name", {Source()});

  log.Report(10471, 1, "PD 3: OPERATIONAL to FAILED");
  const std::vector<CSystemEvent_Win> events = ReadAll(reader);

  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].eventID, 10471u);
  EXPECT_EQ(events[0].eventType, 1u);
  EXPECT_EQ(events[0].args, std::vector<std::string>{"PD 3: OPERATIONAL to FAILED"});
  EXPECT_EQ(events[0].message, "PD 3: OPERATIONAL to FAILED\r\n");
}

TEST_F(Journal, ShowsAReportWithItsFieldsToOthers) {
  CSystemLog_Win log;
  log.Open(Source());
  log.Report(10471, 2, "degraded");

  const std::vector<json> entries = Entries(Source());
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0]["MESSAGE"], "degraded");
  EXPECT_EQ(entries[0]["PRIORITY"], "4");
  EXPECT_EQ(entries[0]["ONDREL_EVENT_ID"], "536881383");  // 0x200028E7
  EXPECT_EQ(entries[0]["ONDREL_EVENT_TYPE"], "2");
  EXPECT_EQ(entries[0]["ONDREL_EVENT"], "536881383 2 0 1 0");
  EXPECT_EQ(entries[0]["ONDREL_STRING_1"], "degraded");
  EXPECT_FALSE(entries[0].contains("CODE_FILE"));
}

struct TypeRow {
  int type;
  const char* priority;
};

TEST_F(Journal, TurnsEventTypesIntoPriorities) {
  CSystemLog_Win log;
  log.Open(Source());
  const TypeRow rows[] = {{1, "3"}, {2, "4"}, {4, "6"}};
  for (const TypeRow& row : rows) log.Report(10471, row.type, "type");

  const std::vector<json> entries = Entries(Source());
  ASSERT_EQ(entries.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i)
    EXPECT_EQ(entries[i]["PRIORITY"], rows[i].priority) << rows[i].type;
}

TEST_F(Journal, ReadsTheEntriesOfLogger) {
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  for (const char* priority :
       {"user.crit", "user.err", "user.warning", "user.notice", "user.debug"}) {
    const auto result = RunProcess("/usr/bin/logger", {"--socket", "/run/systemd/journal/dev-log",
                                                       "-t", Source(), "-p", priority, priority});
    ASSERT_EQ(result.exitStatus, 0) << result.errors;
  }

  const std::vector<CSystemEvent_Win> events = ReadAll(reader);
  ASSERT_EQ(events.size(), 5u);
  const ULong types[] = {1, 1, 2, 4, 4};
  for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(events[i].eventType, types[i]) << i;
  EXPECT_EQ(events[0].args, std::vector<std::string>{"user.crit"});
  EXPECT_EQ(events[0].eventID, 0u);
}

TEST_F(Journal, ReadsTheEntriesOfSystemdCat) {
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  const auto result = RunProcess("/usr/bin/systemd-cat",
                                 {"-t", Source(), "-p", "warning", "/bin/echo", "low on paper"});
  ASSERT_EQ(result.exitStatus, 0) << result.errors;

  const std::vector<CSystemEvent_Win> events = ReadAll(reader);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].eventType, 2u);
  EXPECT_EQ(events[0].args, std::vector<std::string>{"low on paper"});
}

TEST_F(Journal, TakesTheProcessNameWhereAnEntryHasNoIdentifier) {
  CSystemLogReader_Win reader;
  reader.Open("journal", {"ondrel-journal-"});  // The kernel keeps 15 characters of the name.
  SendFields("MESSAGE=no identifier\nPRIORITY=3\n");

  const std::vector<CSystemEvent_Win> events = ReadAll(reader);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].args, std::vector<std::string>{"no identifier"});
}

TEST_F(Journal, NumbersRecordsByTheirSequence) {
  CSystemLog_Win log;
  log.Open(Source());
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  log.Report(10471, 1, "numbered");

  const std::vector<CSystemEvent_Win> events = ReadAll(reader);
  ASSERT_EQ(events.size(), 1u);
  const std::string cursor = Entries(Source()).at(0)["__CURSOR"];
  const std::size_t begin = cursor.find("i=") + 2;
  const std::string number = cursor.substr(begin, cursor.find(';', begin) - begin);
  EXPECT_EQ(events[0].recordNumber, static_cast<ULong>(std::stoull(number, nullptr, 16)));
}

TEST_F(Journal, CarriesTextsOfSeveralLines) {
  CSystemLog_Win log;
  log.Open(Source());
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  log.Report(10471, 1, "first line\nsecond line");

  const std::vector<CSystemEvent_Win> events = ReadAll(reader);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].args, std::vector<std::string>{"first line\nsecond line"});
}

TEST_F(Journal, CutsATextThatNoRecordCanHoldAndReadsOn) {
  CSystemLog_Win log;
  log.Open(Source());
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  log.Report(10471, 1, std::string(300'000, 'x'));
  log.Report(10471, 1, std::string(300'000, 'y'));
  log.Report(10471, 1, "after them");

  const std::vector<CSystemEvent_Win> events = ReadAll(reader);
  ASSERT_EQ(events.size(), 3u);
  EXPECT_TRUE(events[0].args.at(0) == std::string(31839, 'x'));
  EXPECT_TRUE(events[1].args.at(0) == std::string(31839, 'y'));
  EXPECT_EQ(events[2].args, std::vector<std::string>{"after them"});
  EXPECT_TRUE(Entries(Source()).at(0)["MESSAGE"] == std::string(300'000, 'x'));
}

TEST_F(Journal, ReportsOfManyBuffersComeInOrderAndOnce) {
  CSystemLog_Win log;
  log.Open(Source());
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  constexpr int kReports = 3000;
  for (int i = 0; i < kReports; ++i) log.Report(10471, 4, "report " + std::to_string(i));

  const std::vector<CSystemEvent_Win> events = ReadAll(reader);
  ASSERT_EQ(events.size(), static_cast<std::size_t>(kReports));
  for (int i = 0; i < kReports; ++i)
    ASSERT_EQ(events[static_cast<std::size_t>(i)].args.at(0), "report " + std::to_string(i));
}

struct SentRow {
  const char* fields;
  ULong id;
  ULong type;
  std::vector<std::string> args;
};

TEST_F(Journal, TakesAnEventWithWhateverOfItsFieldsThereAre) {
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  const SentRow rows[] = {
      {"ONDREL_EVENT_ID=10471\nONDREL_EVENT_TYPE=2\nPRIORITY=3\nONDREL_STRING_1=a\n"
       "ONDREL_STRING_2=b\nONDREL_STRING_4=d\n",
       10471,
       2,
       {"a", "b"}},
      {"ONDREL_EVENT_ID=7\nPRIORITY=4\n", 7, 2, {}},
      {"ONDREL_EVENT=7 1 0 2 0\nONDREL_STRING_1=a\n", 7, 1, {"a"}},
      {"ONDREL_EVENT=7 1 0 1 0\nONDREL_STRING_1=a\nONDREL_STRING_2=b\n", 7, 1, {"a"}},
      {"ONDREL_EVENT=7 1 0 1\nMESSAGE=four numbers\nPRIORITY=6\n", 0, 4, {"four numbers"}},
      {"ONDREL_EVENT=7 1 0 1 0 0\nMESSAGE=six\nPRIORITY=6\n", 0, 4, {"six"}},
      {"ONDREL_EVENT=\nONDREL_EVENT_ID=8\nPRIORITY=6\n", 8, 4, {}},
  };
  for (const SentRow& row : rows) SendFields("SYSLOG_IDENTIFIER=" + Source() + "\n" + row.fields);

  const std::vector<CSystemEvent_Win> events = ReadAll(reader);
  ASSERT_EQ(events.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(events[i].eventID, rows[i].id) << rows[i].fields;
    EXPECT_EQ(events[i].eventType, rows[i].type) << rows[i].fields;
    EXPECT_EQ(events[i].args, rows[i].args) << rows[i].fields;
  }
}

TEST_F(Journal, RotationUnderAnOpenReaderLosesNothing) {
  CSystemLog_Win log;
  log.Open(Source());
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  log.Report(10471, 1, "before");
  JournalDaemon::Sync();
  JournalDaemon::Control({"--rotate"});
  log.Report(10471, 1, "between");
  JournalDaemon::Control({"--rotate"});
  log.Report(10471, 1, "after");

  std::vector<std::string> texts;
  for (const CSystemEvent_Win& event : ReadAll(reader)) texts.push_back(event.args.at(0));
  EXPECT_EQ(texts, (std::vector<std::string>{"before", "between", "after"}));
}

TEST_F(Journal, VacuumedWatermarkIsARecordThatIsNotThere) {
  CSystemLog_Win log;
  log.Open(Source());
  log.Report(10471, 1, "watermark");
  JournalDaemon::Sync();
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  JournalDaemon::Control({"--rotate"});
  JournalDaemon::Control({"--vacuum-size=1"});
  log.Report(10471, 1, "after the gap");
  JournalDaemon::Sync();

  EXPECT_THROW(reader.ReadEvents(), unsigned int);
  const auto report = Pirsk::Exceptions::ReportOf(0x2005000C);
  EXPECT_EQ(report.detail, "Failed to read Windows Log, errorCode (87)");
}

}  // namespace
}  // namespace Ondrel
