#include "EventHistoryFixture.h"
#include "Host/Linux/FileDescriptor.h"
#include "Support/PreparedClock.h"
#include "Support/PreparedOperations.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <sys/inotify.h>
#include <unistd.h>
#include <vector>

namespace Ondrel {
namespace {

using Host::CEventLogImport;
using Host::CEventLogReader;
using Host::CEventLogWait;
using Host::CEventLogWriter;
using Host::EventLogItem;
using Host::EventLogItemKind;
using Host::EventLogRange;
using Host::EventLogRecord;
using Host::EventLogSummary;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::ReadToEnd;
using Testing::RunSql;
using Testing::WordsToEnd;

class EventHistory : public Testing::EventHistoryFixture {
protected:
  static EventLogRange After(const std::string& position) {
    EventLogRange range;
    range.after = position;
    return range;
  }
};

TEST_F(EventHistory, AStoreThatIsNotThereHasNoRecordsAndIsNotCreated) {
  EXPECT_THAT(WordsOf(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(Path()));
}

TEST_F(EventHistory, PastRecordsComeOldestFirstAndNewOnesAfterThem) {
  ReportSome(3);
  CEventLogReader reader = Opened();
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("1", "2", "3"));
  ReportSome(1);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("4"));
  EXPECT_THAT(WordsToEnd(reader), IsEmpty());
}

TEST_F(EventHistory, NewestFirstTurnsTheOrder) {
  ReportSome(3);
  EventLogRange range;
  range.isNewestFirst = true;
  EXPECT_THAT(WordsOf(range), ElementsAre("3", "2", "1"));
}

TEST_F(EventHistory, NumbersBoundTheRangeInEitherOrder) {
  ReportSome(6);
  EventLogRange range;
  range.firstNumber = 2;
  range.lastNumber = 4;
  EXPECT_THAT(WordsOf(range), ElementsAre("2", "3", "4"));
  range.isNewestFirst = true;
  EXPECT_THAT(WordsOf(range), ElementsAre("4", "3", "2"));
}

TEST_F(EventHistory, TimesBoundTheRangeWhateverTheirOrder) {
  CEventLogImport import;
  ASSERT_EQ(import.Open("Log"), 0u);
  std::vector<EventLogRecord> records;
  for (const ULong time : {100u, 300u, 200u, 400u}) {
    EventLogRecord record;
    record.timeGenerated = time;
    record.source = "Log";
    records.push_back(record);
  }
  ASSERT_EQ(import.Add(records), 0u);
  EventLogRange range;
  range.since = 200;
  range.until = 300;
  EXPECT_THAT(WordsOf(range), ElementsAre("2", "3"));
}

TEST_F(EventHistory, ARecordSaysAllThatWasReported) {
  CEventLogWriter writer;
  ASSERT_EQ(writer.Open("Log"), 0u);
  const Host::EventLogReport report = writer.Report(10471, 1, "PD 3 failed");
  EXPECT_EQ(report.error, 0u);
  EXPECT_EQ(report.number, 1u);
  EXPECT_TRUE(report.isChecked);

  CEventLogReader reader = Opened();
  const std::vector<EventLogItem> items = ReadToEnd(reader);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].record.eventID, 0x200028E7u);
  EXPECT_EQ(items[0].record.eventType, 1u);
  EXPECT_EQ(items[0].record.source, "Log");
  EXPECT_NE(items[0].record.computer, "");
  EXPECT_THAT(items[0].record.strings, ElementsAre("PD 3 failed"));
  EXPECT_EQ(reader.Identity().size(), 32u);
}

TEST_F(EventHistory, AReportThatIsNotKeptSaysWhy) {
  CEventLogWriter writer;
  EXPECT_EQ(writer.Report(10471, 1, "x").error, ERROR_INVALID_HANDLE);
  Host::UseEventStore(Folder().Path("missing/events.db"));
  EXPECT_EQ(writer.Open("Log"), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(Host::EventLogErrorText(ERROR_PATH_NOT_FOUND), "the folder does not exist");
}

TEST_F(EventHistory, EveryErrorThatALogMayGiveHasWords) {
  struct Row {
    ULong error;
    const char* words;
  };
  for (const Row& row : {
           Row{ERROR_SUCCESS, "done"},
           Row{ERROR_FILE_NOT_FOUND, "the file is not there, or a link that leads nowhere"},
           Row{ERROR_TOO_MANY_OPEN_FILES, "too many files are open"},
           Row{ERROR_ACCESS_DENIED, "access is denied"},
           Row{ERROR_INVALID_HANDLE, "the log is not open"},
           Row{ERROR_NOT_ENOUGH_MEMORY, "there is not enough memory"},
           Row{ERROR_WRITE_PROTECT, "the file system may only be read"},
           Row{ERROR_GEN_FAILURE, "the host failed for a reason that it does not say"},
           Row{ERROR_SHARING_VIOLATION, "the file is in use"},
           Row{ERROR_LOCK_VIOLATION, "another program kept the store locked for too long"},
           Row{ERROR_HANDLE_EOF, "the log has no further records"},
           Row{ERROR_NOT_SUPPORTED, "this kind of event log cannot do that"},
           Row{ERROR_FILE_EXISTS, "the file is there already"},
           Row{ERROR_INVALID_PARAMETER, "a wrong argument, or a record that is not there"},
           Row{ERROR_DISK_FULL, "the disk is full, or a quota or file size limit is reached"},
           Row{ERROR_INSUFFICIENT_BUFFER, "the record is too large"},
           Row{ERROR_IO_DEVICE, "the disk fails to read or write"},
           Row{ERROR_EVENTLOG_FILE_CORRUPT,
               "damaged, or not an event log, or one of a later version"},
           Row{ERROR_EVENTLOG_CANT_START, "the journal took the event and did not keep it"},
           Row{ERROR_LOG_FILE_FULL,
               "the record cannot fit, or the log has given out its last number"},
           Row{ERROR_EVENTLOG_FILE_CHANGED, "the log was cleared while it was read"},
           Row{4711, "error 4711"},
       })
    EXPECT_EQ(Host::EventLogErrorText(row.error), row.words);
}

TEST_F(EventHistory, NewOnlyBeginsWithTheFirstRecordOfAnEmptyLog) {
  EventLogRange range;
  range.isNewOnly = true;
  CEventLogReader reader = Opened(range);
  EXPECT_THAT(WordsToEnd(reader), IsEmpty());
  ReportSome(2);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("1", "2"));
}

TEST_F(EventHistory, NewOnlyLeavesOutWhatStandsInTheLog) {
  ReportSome(2);
  EventLogRange range;
  range.isNewOnly = true;
  CEventLogReader reader = Opened(range);
  ReportSome(1);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("3"));
}

TEST_F(EventHistory, APositionGoesOnAfterItInAnotherReader) {
  ReportSome(2);
  CEventLogReader first = Opened();
  ReadToEnd(first);
  ReportSome(2);
  EventLogRange range;
  range.after = first.Position();
  EXPECT_THAT(WordsOf(range), ElementsAre("3", "4"));
}

TEST_F(EventHistory, WhatIsNotAPositionIsRefused) {
  for (const char* text : {"x", "store:", "store:a:b:c", "store:a:1:1x", "journal:s=1"}) {
    EventLogRange range;
    range.after = text;
    CEventLogReader reader;
    EXPECT_EQ(reader.Open("Log", range), ERROR_INVALID_PARAMETER) << text;
  }
}

TEST_F(EventHistory, RecordsThatMadeRoomBeforeTheyWereReadAreNamed) {
  Host::UseEventStore(Path(), Host::kMinEventStoreCapacity);
  ReportSome(1);
  CEventLogReader reader = Opened();
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("1"));
  ReportSome(6000);

  const std::vector<EventLogItem> items = ReadToEnd(reader);
  ASSERT_GT(items.size(), 1u);
  EXPECT_EQ(items[0].kind, EventLogItemKind::kMissed);
  EXPECT_EQ(items[0].first, 2u);
  EXPECT_EQ(items[0].last + 1, items[1].record.number);
  EXPECT_EQ(items.back().record.number, 6001u);
  EXPECT_EQ(items.size(), 6001 - items[0].last + 1);
}

TEST_F(EventHistory, RecordsThatCameAndMadeRoomBetweenOpeningAndTheFirstReadAreNamed) {
  Host::UseEventStore(Path(), Host::kMinEventStoreCapacity);
  EventLogRange newOnly;
  newOnly.isNewOnly = true;
  // Opened before there is a store, and in a store with records.
  for (std::uint64_t first = 1; first <= 101; first += 100) {
    CEventLogReader reader = Opened();
    CEventLogReader newReader = Opened(newOnly);
    CEventLogReader resumed = Opened(After(newReader.Position()));
    ReportSome(first == 1 ? 6100 : 6000);
    for (CEventLogReader* each : {&reader, &newReader, &resumed}) {
      const std::vector<EventLogItem> items = ReadToEnd(*each);
      ASSERT_GT(items.size(), 1u);
      ASSERT_EQ(items[0].kind, EventLogItemKind::kMissed);
      EXPECT_EQ(items[0].last + 1, items[1].record.number);
      if (first == 1 || each != &reader) {
        EXPECT_EQ(items[0].first, first == 1 ? 1u : 6101u);
      }
    }
  }
}

TEST_F(EventHistory, APositionFromBeforeTheFirstRecordGoesOnWithIt) {
  EventLogRange range;
  range.isNewOnly = true;
  const std::string position = Opened(range).Position();
  EXPECT_NE(position, "");
  ReportSome(2);
  EXPECT_THAT(WordsOf(After(position)), ElementsAre("1", "2"));
  EXPECT_THAT(WordsOf(After(Opened(range).Position())), IsEmpty());
}

TEST_F(EventHistory, APositionThatWasNotReachedYetIsNotAReplacedLog) {
  ReportSome(2);
  EventLogRange range;
  range.firstNumber = 10;
  CEventLogReader reader = Opened(range);
  EXPECT_THAT(WordsToEnd(reader), IsEmpty());
  CEventLogReader resumed = Opened(After(reader.Position()));
  EXPECT_THAT(WordsToEnd(resumed), IsEmpty());
  ReportSome(9);
  EXPECT_THAT(WordsToEnd(resumed), ElementsAre("10", "11"));
}

TEST_F(EventHistory, ARemovedStoreIsAFailureUntilThereIsOneAgain) {
  ReportSome(3);
  CEventLogReader reader = Opened();
  ReadToEnd(reader);
  std::filesystem::rename(Path(), Path() + ".away");
  std::vector<EventLogItem> items;
  EXPECT_EQ(reader.Read(items), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(reader.Read(items), ERROR_FILE_NOT_FOUND);
  CEventLogReader resumed = Opened(After(reader.Position()));
  EXPECT_EQ(resumed.Read(items), ERROR_FILE_NOT_FOUND);

  std::filesystem::rename(Path() + ".away", Path());
  EXPECT_THAT(WordsToEnd(reader), IsEmpty());
  std::filesystem::remove(Path());
  EXPECT_EQ(reader.Read(items), ERROR_FILE_NOT_FOUND);
  ReportSome(1);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("replaced", "1"));
}

TEST_F(EventHistory, AStoreThatIsCutToNothingUnderAReaderIsSaid) {
  ReportSome(3);
  CEventLogReader reader = Opened();
  ReadToEnd(reader);
  std::filesystem::resize_file(Path(), 0);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("replaced"));
  ReportSome(1);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("1"));
}

TEST_F(EventHistory, AStoreThatIsKeptFromAReaderIsALockViolationAfterTenSeconds) {
  ReportSome(1);
  std::chrono::nanoseconds rested{0};
  const Testing::PreparedOperations clock(Host::Clock(), Testing::ClockPassingByRests(rested));
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(Path().c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "PRAGMA locking_mode=EXCLUSIVE; DELETE FROM log WHERE id = 99",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  CEventLogReader reader;
  EXPECT_EQ(reader.Open("Log"), ERROR_LOCK_VIOLATION);
  EXPECT_GE(rested, std::chrono::seconds(10));
  EXPECT_LT(rested, std::chrono::seconds(11));
  sqlite3_close(other);
  EXPECT_THAT(WordsOf(), ElementsAre("1"));
}

TEST_F(EventHistory, WhatMadeRoomBeforeTheReadingBeganIsNotMissing) {
  Host::UseEventStore(Path(), Host::kMinEventStoreCapacity);
  ReportSome(6000);
  CEventLogReader reader = Opened();
  EXPECT_EQ(ReadToEnd(reader).front().kind, EventLogItemKind::kRecord);
  EventLogRange range;
  range.firstNumber = 5;
  reader = Opened(range);
  EXPECT_EQ(ReadToEnd(reader).front().first, 5u);
}

TEST_F(EventHistory, AReplacedStoreIsSaidAndReadFromItsOldestRecord) {
  ReportSome(3);
  CEventLogReader reader = Opened();
  ReadToEnd(reader);
  std::filesystem::remove(Path());
  ReportSome(5);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("replaced", "1", "2", "3", "4", "5"));
}

TEST_F(EventHistory, WhatAReplacedStoreHeldIsReadBeforeItsSuccessor) {
  ReportSome(3);
  CEventLogReader reader = Opened();
  std::vector<EventLogItem> items;
  ASSERT_EQ(reader.Read(items, 1), 0u);
  std::filesystem::rename(Path(), Path() + ".old");
  ReportSome(1);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("2", "3", "replaced", "1"));
}

TEST_F(EventHistory, NumbersThatWentBackInTheSameFileAreSaid) {
  ReportSome(5);
  CEventLogReader reader = Opened();
  ReadToEnd(reader);
  RunSql(Path(), "DELETE FROM record WHERE id & 4294967295 > 2; UPDATE log SET last_number=2");
  ReportSome(1);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("replaced", "1", "2", "3"));
}

TEST_F(EventHistory, AnotherRecordUnderTheNumberReadLastIsSaid) {
  ReportSome(3);
  CEventLogReader reader = Opened();
  ReadToEnd(reader);
  RunSql(Path(), "DELETE FROM record WHERE id & 4294967295 = 3; UPDATE log SET last_number=2");
  ReportSome(2);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("replaced", "1", "2", "3", "4"));
}

TEST_F(EventHistory, APositionOfAnotherStoreIsSaid) {
  ReportSome(3);
  CEventLogReader first = Opened();
  ReadToEnd(first);
  std::filesystem::remove(Path());
  ReportSome(4);
  EventLogRange range;
  range.after = first.Position();
  EXPECT_THAT(WordsOf(range), ElementsAre("replaced", "1", "2", "3", "4"));
}

TEST_F(EventHistory, ADamagedRecordIsNamedAndPassedOver) {
  ReportSome(5);
  RunSql(Path(), "UPDATE record SET image=zeroblob(80) WHERE id & 4294967295 = 2");
  EXPECT_THAT(WordsOf(), ElementsAre("1", "damaged 2-2", "3", "4", "5"));
  EventLogRange range;
  range.isNewestFirst = true;
  EXPECT_THAT(WordsOf(range), ElementsAre("5", "4", "3", "damaged 2-2", "1"));
}

TEST_F(EventHistory, AChangedByteOfATextIsDamage) {
  ReportSome(3);
  RunSql(Path(),
         "UPDATE record SET image=CAST(replace(CAST(image AS TEXT), 'x', 'y') AS BLOB) WHERE 0;"
         "UPDATE record SET image=substr(image,1,length(image)-8) || x'41' ||"
         " substr(image,length(image)-6) WHERE id & 4294967295 = 2");
  EXPECT_THAT(WordsOf(), ElementsAre("1", "damaged 2-2", "3"));
}

TEST_F(EventHistory, RecordsThatAreGoneWithoutHavingMadeRoomAreNamed) {
  ReportSome(6);
  RunSql(Path(), "DELETE FROM record WHERE id & 4294967295 IN (1, 3, 6)");
  EXPECT_THAT(WordsOf(), ElementsAre("missed 1-1", "2", "missed 3-3", "4", "5", "missed 6-6"));
  EventLogRange range;
  range.isNewestFirst = true;
  EXPECT_THAT(WordsOf(range), ElementsAre("missed 6-6", "5", "4", "missed 3-3", "2", "missed 1-1"));
}

TEST_F(EventHistory, ALogWhoseNameIsDamagedIsNotAnEmptyLog) {
  ReportSome(2);
  RunSql(Path(), "UPDATE log SET name='Lof'");
  CEventLogReader reader = Opened();
  std::vector<EventLogItem> items;
  EXPECT_EQ(reader.Read(items), ERROR_EVENTLOG_FILE_CORRUPT);
}

TEST_F(EventHistory, RecordsOfALogThatIsNotThereAreDamage) {
  ReportSome(2);
  RunSql(Path(), "DELETE FROM log");
  CEventLogReader reader = Opened();
  std::vector<EventLogItem> items;
  EXPECT_EQ(reader.Read(items), ERROR_EVENTLOG_FILE_CORRUPT);
}

TEST_F(EventHistory, AStoreOfAnEarlierVersionIsReadAndCompletedByItsNextWriter) {
  ReportSome(2);
  RunSql(Path(),
         "ALTER TABLE record DROP COLUMN checksum; ALTER TABLE log DROP COLUMN checksum;"
         "ALTER TABLE log DROP COLUMN dropped; DROP TABLE store");
  CEventLogReader reader = Opened();
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("1", "2"));
  EXPECT_EQ(reader.Identity(), "");
  ReportSome(1);
  EXPECT_THAT(WordsOf(), ElementsAre("1", "2", "3"));
  EXPECT_EQ(RunSql(Path(), "SELECT length(identity) FROM store"), "32");
}

TEST_F(EventHistory, ANameThatNoLogCanHaveIsRefused) {
  const auto errors = [](const std::string& name) {
    CEventLogReader reader;
    CEventLogWait wait;
    CEventLogImport import;
    std::uint64_t removed = 0;
    return std::vector<ULong>{reader.Open(name, {}), wait.Open(name), import.Open(name),
                              Host::ClearEventRecords(name, std::nullopt, removed)};
  };
  ReportSome(1);
  for (const std::string& name : {std::string(), std::string(256, 'n'), std::string("a\0b", 3)})
    EXPECT_THAT(errors(name), testing::Each(ERROR_INVALID_PARAMETER)) << name.size();
  for (const std::string& name : {std::string("n"), std::string(255, 'n')})
    EXPECT_THAT(errors(name), testing::Each(ERROR_SUCCESS)) << name.size();
}

TEST_F(EventHistory, WhatOtherProgramsWroteIsNotWritten) {
  ASSERT_TRUE(Host::UseJournalFiles(Folder().Path("")));
  EXPECT_EQ(CEventLogWriter().Open("Log"), ERROR_NOT_SUPPORTED);
  EXPECT_EQ(CEventLogImport().Open("Log"), ERROR_NOT_SUPPORTED);
  std::uint64_t removed = 4711;
  EXPECT_EQ(Host::ClearEventRecords("Log", std::nullopt, removed), ERROR_NOT_SUPPORTED);
  EXPECT_EQ(removed, 0u);
}

TEST_F(EventHistory, ListsTheLogsWithWhatStandsInThem) {
  ReportSome(3, "A");
  ReportSome(1, "B");
  std::vector<EventLogSummary> logs;
  ASSERT_EQ(Host::ListEventLogs(logs), 0u);
  ASSERT_EQ(logs.size(), 2u);
  EXPECT_EQ(logs[0].name, "A");
  EXPECT_EQ(logs[0].records, 3u);
  EXPECT_EQ(logs[0].firstNumber, 1u);
  EXPECT_EQ(logs[0].lastNumber, 3u);
  EXPECT_GT(logs[0].bytes, 200u);
  EXPECT_GE(logs[0].lastTime, logs[0].firstTime);
  EXPECT_EQ(logs[1].records, 1u);
}

TEST_F(EventHistory, AnImportedRecordKeepsEachOfItsFields) {
  EventLogRecord record;
  record.timeGenerated = 100;
  record.timeWritten = 101;
  record.eventID = 0xC00028E7;
  record.eventType = 2;
  record.category = 7;
  record.source = "Elsewhere";
  record.computer = "a host";
  record.strings = {"PD 3 failed", ""};
  record.data = {'\x01', '\x00', '\x02'};
  CEventLogImport import;
  ASSERT_EQ(import.Open("Log"), 0u);
  ASSERT_EQ(import.Add({record}), 0u);

  CEventLogReader reader = Opened();
  const std::vector<EventLogItem> items = ReadToEnd(reader);
  ASSERT_EQ(items.size(), 1u);
  const EventLogRecord& kept = items[0].record;
  EXPECT_EQ(kept.timeGenerated, 100u);
  EXPECT_EQ(kept.timeWritten, 101u);
  EXPECT_EQ(kept.eventID, 0xC00028E7u);
  EXPECT_EQ(kept.eventType, 2u);
  EXPECT_EQ(kept.category, 7u);
  EXPECT_EQ(kept.source, "Elsewhere");
  EXPECT_EQ(kept.computer, "a host");
  EXPECT_EQ(kept.strings, record.strings);
  EXPECT_EQ(kept.data, record.data);
}

TEST_F(EventHistory, ClearingRemovesWhatIsOlderAndSaysHowMuch) {
  CEventLogImport import;
  ASSERT_EQ(import.Open("Log"), 0u);
  std::vector<EventLogRecord> records(4);
  for (std::size_t i = 0; i < records.size(); ++i)
    records[i].timeGenerated = static_cast<ULong>(100 * (i + 1));
  ASSERT_EQ(import.Add(records), 0u);

  std::uint64_t removed = 0;
  ASSERT_EQ(Host::ClearEventRecords("Log", 300, removed), 0u);
  EXPECT_EQ(removed, 2u);
  EXPECT_THAT(WordsOf(), ElementsAre("3", "4"));
  ASSERT_EQ(Host::ClearEventRecords("Log", std::nullopt, removed), 0u);
  EXPECT_EQ(removed, 2u);
  ReportSome(1);
  EXPECT_THAT(WordsOf(), ElementsAre("5"));
  ASSERT_EQ(Host::ClearEventRecords("None", std::nullopt, removed), 0u);
  EXPECT_EQ(removed, 0u);
}

TEST_F(EventHistory, ClearingUnderAFollowerIsNamed) {
  ReportSome(2);
  CEventLogReader reader = Opened();
  ReadToEnd(reader);
  ReportSome(2);
  std::uint64_t removed = 0;
  ASSERT_EQ(Host::ClearEventRecords("Log", std::nullopt, removed), 0u);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("missed 3-4"));
  ReportSome(1);
  EXPECT_THAT(WordsToEnd(reader), ElementsAre("5"));
}

TEST_F(EventHistory, AnImportKeepsNumbersThatRiseAndAllOrNothing) {
  CEventLogImport import;
  ASSERT_EQ(import.Open("Log"), 0u);
  std::vector<EventLogRecord> records(2);
  records[0].number = 7;
  records[1].number = 8;
  ASSERT_EQ(import.Add(records), 0u);
  EXPECT_THAT(WordsOf(), ElementsAre("7", "8"));
  records[0].number = 9;
  records[1].number = 8;
  EXPECT_EQ(import.Add(records), ERROR_INVALID_PARAMETER);
  EXPECT_THAT(WordsOf(), ElementsAre("7", "8"));
  records[0].strings = {std::string(40000, 'x')};
  records[1].number = 10;
  EXPECT_EQ(import.Add(records), ERROR_INSUFFICIENT_BUFFER);
}

TEST_F(EventHistory, AWaitEndsWithAReport) {
  ReportSome(1);
  CEventLogWait wait;
  ASSERT_EQ(wait.Open("Log"), 0u);
  EXPECT_FALSE(wait.Wait(milliseconds(0)));
  ReportSome(1);
  EXPECT_TRUE(wait.Wait(milliseconds(5000)));
  wait.Reset();
}

TEST_F(EventHistory, AWaitSeesAStoreThatIsCreatedAndOneThatIsReplaced) {
  CEventLogWait wait;
  ASSERT_EQ(wait.Open("Log"), 0u);
  ReportSome(1);
  EXPECT_TRUE(wait.Wait(milliseconds(5000)));
  while (wait.Wait(milliseconds(300))) {
  }
  std::filesystem::remove(Path());
  EXPECT_TRUE(wait.Wait(milliseconds(5000)));
}

TEST_F(EventHistory, AWaitSeesThatTheFolderWasMovedAway) {
  ReportSome(1);
  CEventLogWait wait;
  ASSERT_EQ(wait.Open("Log"), 0u);
  ASSERT_FALSE(wait.Wait(milliseconds(0)));
  const std::filesystem::path folder = std::filesystem::path(Path()).parent_path();
  const std::filesystem::path aside = folder.string() + ".aside";
  std::filesystem::rename(folder, aside);
  EXPECT_TRUE(wait.Wait(milliseconds(5000)));
  std::filesystem::rename(aside, folder);
}

TEST_F(EventHistory, AWaitIsNotEndedByOtherFilesOfTheFolder) {
  CEventLogWait wait;
  ASSERT_EQ(wait.Open("Log"), 0u);
  const std::string other = Path() + ".other";
  std::ofstream(other) << "text";
  std::filesystem::rename(other, other + "-wal");
  std::filesystem::remove(other + "-wal");
  EXPECT_FALSE(wait.Wait(milliseconds(0)));
}

TEST_F(EventHistory, WhatWritesALogAnnouncesItByTheFilesAttributes) {
  ReportSome(1);
  const Host::FileDescriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  ASSERT_GE(inotify_add_watch(watch.Number(), Path().c_str(), IN_ATTRIB), 0);
  const auto isAnnounced = [&] {
    inotify_event event;
    return read(watch.Number(), &event, sizeof event) == sizeof event;
  };
  ASSERT_FALSE(isAnnounced());
  ReportSome(1);
  EXPECT_TRUE(isAnnounced());

  CEventLogImport import;
  ASSERT_EQ(import.Open("Log"), 0u);
  while (isAnnounced()) {
  }
  ASSERT_EQ(import.Add(std::vector<EventLogRecord>(1)), 0u);
  EXPECT_TRUE(isAnnounced());

  while (isAnnounced()) {
  }
  std::uint64_t removed = 0;
  ASSERT_EQ(Host::ClearEventRecords("Log", std::nullopt, removed), 0u);
  EXPECT_TRUE(isAnnounced());
}

TEST_F(EventHistory, AWaitSeesWhatAWriterDidNotAnnounce) {
  ReportSome(1);
  CEventLogWait wait;
  ASSERT_EQ(wait.Open("Log"), 0u);
  RunSql(Path(), "UPDATE log SET last_sequence = last_sequence");
  EXPECT_TRUE(wait.Wait(milliseconds(5000)));
}

TEST_F(EventHistory, AWaitOfAFolderThatIsNotThereIsAFailure) {
  Host::UseEventStore(Folder().Path("missing/events.db"));
  CEventLogWait wait;
  EXPECT_EQ(wait.Open("Log"), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(wait.Handle(), -1);
}

}  // namespace
}  // namespace Ondrel
