#include "Host/Linux/EventLog/EventStore.h"
#include "Support/EventStoreFixture.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace Ondrel {
namespace {

using Testing::kSeekBackwards;
using Testing::kSeekForwards;
using Testing::kSequentialBackwards;
using Testing::kSequentialForwards;
using Testing::LogHandle;
using Testing::NumbersIn;
using Testing::ReadOutcome;
using Testing::ReadRecord;
using Testing::RecordsIn;
using Testing::RunSql;
using Testing::SourceHandle;

using Numbers = std::vector<ULong>;

class EventStore : public Testing::EventStoreFixture {};

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

/// A wide umask for one scope.
class Umask {
public:
  explicit Umask(mode_t mask) : m_earlier(umask(mask)) {}
  ~Umask() { umask(m_earlier); }

  Umask(const Umask&) = delete;
  Umask& operator=(const Umask&) = delete;

private:
  mode_t m_earlier;
};

TEST_F(EventStore, ALogWithoutRecordsOpensAndItsReadsEnd) {
  const LogHandle log(Operations(), "Log");

  ASSERT_NE(log.Get(), nullptr);
  EXPECT_EQ(log.Read(kSequentialForwards).error, 38u);
  EXPECT_EQ(log.Read(kSequentialBackwards).error, 38u);
  EXPECT_EQ(log.Read(kSeekForwards, 1).error, 87u);
}

TEST_F(EventStore, OpeningForReadingCreatesTheFileForItsOwnerOnly) {
  const Umask open(0);
  const LogHandle log(Operations(), "Log");

  EXPECT_EQ(ModeOf(Path()), mode_t{0600});
  EXPECT_EQ(ModeOf(Path() + "-wal"), mode_t{0600});
  EXPECT_EQ(ModeOf(Path() + "-shm"), mode_t{0600});
}

TEST_F(EventStore, RegisteringCreatesTheFileForItsOwnerOnly) {
  const Umask open(0);
  const SourceHandle source(Operations(), "Log");

  EXPECT_EQ(ModeOf(Path()), mode_t{0600});
}

TEST_F(EventStore, WrongNamesAndServersAreRefused) {
  const Host::EventLogOperations& operations = Operations();
  struct Row {
    const char* what;
    const char* server;
    const char* name;
    ULong error;
  };
  constexpr std::array<Row, 5> kRows{{
      {"null name", nullptr, nullptr, 87},
      {"empty name", nullptr, "", 87},
      {"another machine", "\\\\elsewhere", "Log", 50},
      {"this machine by name", ".", "Log", 50},
      {"empty server", "", "Log", 50},
  }};
  for (const Row& row : kRows) {
    EXPECT_EQ(operations.OpenEventLogA(row.server, row.name), nullptr) << row.what;
    EXPECT_EQ(operations.GetLastError(), row.error) << row.what;
    EXPECT_EQ(operations.RegisterEventSourceA(row.server, row.name), nullptr) << row.what;
    EXPECT_EQ(operations.GetLastError(), row.error) << row.what;
  }
}

TEST_F(EventStore, AReportedEventIsReadBack) {
  const SourceHandle source(Operations(), "RAID Service");
  ASSERT_EQ(source.Report("PD 3 failed", 0x200028E7), 0u);

  const ReadOutcome outcome = LogHandle(Operations(), "RAID Service").Read(kSequentialForwards);

  EXPECT_EQ(RecordsIn(outcome.bytes),
            (std::vector<ReadRecord>{{1, 0x200028E7, "RAID Service", {"PD 3 failed"}}}));
}

TEST_F(EventStore, LogNamesCompareExactly) {
  Write("Log", {"a", "b"});

  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2}));
  for (const char* other : {"log", "Log ", "Lo", "Logs", "L\xC3\xB6g", "\xFF\xFE"})
    EXPECT_EQ(NumbersOf(other), Numbers{}) << other;
}

TEST_F(EventStore, NamesNeedNotBeUtf8) {
  Write("\xFF\xFE", {"a"});
  Write("\xFF\xFF", {"b", "c"});

  EXPECT_EQ(NumbersOf("\xFF\xFE"), (Numbers{1}));
  EXPECT_EQ(NumbersOf("\xFF\xFF"), (Numbers{1, 2}));
}

TEST_F(EventStore, EachLogCountsItsOwnRecordsFromOne) {
  const SourceHandle first(Operations(), "First");
  const SourceHandle second(Operations(), "Second");
  for (const SourceHandle* source : {&first, &second, &second, &first, &first})
    ASSERT_EQ(source->Report("text"), 0u);

  EXPECT_EQ(NumbersOf("First"), (Numbers{1, 2, 3}));
  EXPECT_EQ(NumbersOf("Second"), (Numbers{1, 2}));
}

TEST_F(EventStore, ASourceKnowsTheNumberOfItsLastReport) {
  ULong error = 0;
  const auto source = Host::RegisterStoredSource(
      {.path = Path(), .capacity = Host::kDefaultEventStoreCapacity}, "Log", error);
  ASSERT_NE(source, nullptr) << error;
  EXPECT_EQ(source->LastNumber(), 0u) << "nothing was reported yet";
  for (ULong number = 1; number <= 2; ++number) {
    ASSERT_EQ(source->Report({.type = 4, .category = 0, .id = 1, .strings = {}, .data = {}}), 0u);
    EXPECT_EQ(source->LastNumber(), number);
  }
}

TEST_F(EventStore, NumbersGoOnAfterAllHandlesWereClosed) {
  Write("Log", {"a", "b"});
  Write("Log", {"c"});

  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2, 3}));
}

TEST_F(EventStore, ANumberIsNotGivenAgainWhenItsRecordIsGone) {
  Write("Log", {"a", "b"});
  RunSql(Path(), "DELETE FROM record");
  Write("Log", {"c"});

  EXPECT_EQ(NumbersOf("Log"), (Numbers{3}));
}

TEST_F(EventStore, TheLastNumberIsGivenAndThenTheLogIsFull) {
  Write("Log", {"a"});
  RunSql(Path(), "UPDATE log SET last_number = 4294967294");
  const SourceHandle source(Operations(), "Log");

  EXPECT_EQ(source.Report("b"), 0u);
  EXPECT_EQ(source.Report("c"), 1502u);
  EXPECT_EQ(source.Report("d"), 1502u);

  const LogHandle log(Operations(), "Log");
  EXPECT_EQ(log.AllNumbers(), (Numbers{1, 4294967295}));
  EXPECT_EQ(log.Read(kSequentialForwards).error, 38u);
  EXPECT_EQ(NumbersIn(log.Read(kSeekForwards, 4294967295).bytes), (Numbers{4294967295}));
  EXPECT_EQ(NumbersIn(log.Read(kSequentialBackwards).bytes), (Numbers{1}));
}

TEST_F(EventStore, ReportsNeedTheirStringsAndData) {
  const SourceHandle source(Operations(), "Log");
  const auto& report = Operations().ReportEventA;
  const char* strings[] = {"a", nullptr, "c"};

  EXPECT_EQ(report(source.Get(), 1, 0, 1, nullptr, 1, 0, nullptr, nullptr), 0);
  EXPECT_EQ(Operations().GetLastError(), 87u);
  EXPECT_EQ(report(source.Get(), 1, 0, 1, nullptr, 0, 1, nullptr, nullptr), 0);
  EXPECT_EQ(Operations().GetLastError(), 87u);
  EXPECT_NE(report(source.Get(), 1, 0, 1, nullptr, 3, 0, strings, nullptr), 0);

  const std::vector<ReadRecord> records =
      RecordsIn(LogHandle(Operations(), "Log").Read(kSequentialForwards).bytes);
  EXPECT_EQ(records, (std::vector<ReadRecord>{{1, 1, "Log", {"a", "", "c"}}}));
}

TEST_F(EventStore, StaleHandlesAreRefused) {
  const Host::EventLogOperations& operations = Operations();
  void* const log = operations.OpenEventLogA(nullptr, "Log");
  void* const source = operations.RegisterEventSourceA(nullptr, "Log");
  ASSERT_NE(operations.CloseEventLog(log), 0);
  ASSERT_NE(operations.DeregisterEventSource(source), 0);
  std::array<char, 512> buffer{};
  ULong bytesRead = 1;
  ULong bytesNeeded = 1;
  const char* strings[] = {"text"};

  struct Row {
    const char* what;
    std::function<int()> operation;
  };
  const std::vector<Row> rows{
      {"close again", [&] { return operations.CloseEventLog(log); }},
      {"deregister again", [&] { return operations.DeregisterEventSource(source); }},
      {"close nothing", [&] { return operations.CloseEventLog(nullptr); }},
      {"deregister nothing", [&] { return operations.DeregisterEventSource(nullptr); }},
      {"read",
       [&] {
         return operations.ReadEventLogA(log, kSequentialForwards, 0, buffer.data(), 512,
                                         &bytesRead, &bytesNeeded);
       }},
      {"report",
       [&] { return operations.ReportEventA(source, 1, 0, 1, nullptr, 1, 0, strings, nullptr); }},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.operation(), 0) << row.what;
    EXPECT_EQ(operations.GetLastError(), 6u) << row.what;
  }
  EXPECT_EQ(bytesRead, 0u);
}

TEST_F(EventStore, AHandleIsOfOneKind) {
  const Host::EventLogOperations& operations = Operations();
  const LogHandle log(operations, "Log");
  const SourceHandle source(operations, "Log");

  EXPECT_EQ(operations.DeregisterEventSource(log.Get()), 0);
  EXPECT_EQ(operations.GetLastError(), 6u);
  EXPECT_EQ(operations.CloseEventLog(source.Get()), 0);
  EXPECT_EQ(operations.GetLastError(), 6u);
  EXPECT_EQ(source.Report("still registered"), 0u);
}

class EventStoreRead : public Testing::EventStoreFixture {
protected:
  void SetUp() override { Write("Log", {"one", "two", "three", "four", "five"}); }
};

TEST_F(EventStoreRead, SequentialReadsBeginAtTheOldestOrNewestRecord) {
  EXPECT_EQ(LogHandle(Operations(), "Log").AllNumbers(kSequentialForwards),
            (Numbers{1, 2, 3, 4, 5}));
  EXPECT_EQ(LogHandle(Operations(), "Log").AllNumbers(kSequentialBackwards),
            (Numbers{5, 4, 3, 2, 1}));
}

TEST_F(EventStoreRead, SeekBeginsWithTheNamedRecord) {
  const LogHandle log(Operations(), "Log");

  EXPECT_EQ(NumbersIn(log.Read(kSeekForwards, 3).bytes), (Numbers{3, 4, 5}));
  EXPECT_EQ(NumbersIn(log.Read(kSeekBackwards, 3).bytes), (Numbers{3, 2, 1}));
}

TEST_F(EventStoreRead, SeekOfARecordThatIsNotThereIsRefused) {
  RunSql(Path(), "DELETE FROM record WHERE id & 4294967295 = 3");
  const LogHandle log(Operations(), "Log");

  for (const ULong number : {0u, 3u, 6u, 4294967295u}) {
    EXPECT_EQ(log.Read(kSeekForwards, number).error, 87u) << number;
    EXPECT_EQ(log.Read(kSeekBackwards, number).error, 87u) << number;
  }
}

TEST_F(EventStoreRead, SequentialReadsGoOnAfterTheLastRecordOfASeek) {
  const LogHandle log(Operations(), "Log");
  const ULong roomForOne = static_cast<ULong>(log.Read(kSeekForwards, 5).bytes.size());

  ASSERT_EQ(NumbersIn(log.Read(kSeekForwards, 2, roomForOne).bytes), (Numbers{2}));
  EXPECT_EQ(NumbersIn(log.Read(kSequentialForwards).bytes), (Numbers{3, 4, 5}));

  ASSERT_EQ(NumbersIn(log.Read(kSeekBackwards, 4, roomForOne).bytes), (Numbers{4}));
  EXPECT_EQ(NumbersIn(log.Read(kSequentialBackwards).bytes), (Numbers{3, 2, 1}));

  ASSERT_EQ(NumbersIn(log.Read(kSeekForwards, 4).bytes), (Numbers{4, 5}));
  EXPECT_EQ(NumbersIn(log.Read(kSequentialBackwards).bytes), (Numbers{4, 3, 2, 1}));
  EXPECT_EQ(NumbersIn(log.Read(kSequentialForwards).bytes), (Numbers{2, 3, 4, 5}));
}

TEST_F(EventStoreRead, AReadTakesWholeRecordsOnly) {
  const LogHandle log(Operations(), "Log");
  const std::size_t firstTwo = log.Read(kSeekBackwards, 2).bytes.size();
  const std::size_t third = log.Read(kSeekBackwards, 3).bytes.size() - firstTwo;

  const LogHandle reader(Operations(), "Log");
  const ULong oneByteShort = static_cast<ULong>(firstTwo + third - 1);
  EXPECT_EQ(NumbersIn(reader.Read(kSequentialForwards, 0, oneByteShort).bytes), (Numbers{1, 2}));
  EXPECT_EQ(NumbersIn(reader.Read(kSequentialForwards, 0, static_cast<ULong>(third)).bytes),
            (Numbers{3}));
}

TEST_F(EventStoreRead, ABufferTooSmallForTheFirstRecordChangesNothing) {
  const LogHandle log(Operations(), "Log");
  const auto size = static_cast<ULong>(log.Read(kSeekBackwards, 1).bytes.size());
  const LogHandle reader(Operations(), "Log");

  std::vector<char> buffer(size, 'x');
  ULong bytesRead = 77;
  ULong bytesNeeded = 0;
  EXPECT_EQ(Operations().ReadEventLogA(reader.Get(), kSequentialForwards, 0, buffer.data(),
                                       size - 1, &bytesRead, &bytesNeeded),
            0);
  EXPECT_EQ(Operations().GetLastError(), 122u);
  EXPECT_EQ(bytesNeeded, size);
  EXPECT_EQ(bytesRead, 0u);
  EXPECT_EQ(buffer, std::vector<char>(size, 'x'));

  EXPECT_EQ(NumbersIn(reader.Read(kSequentialForwards, 0, size).bytes), (Numbers{1}));
}

TEST_F(EventStoreRead, ASeekTooLargeForTheBufferKeepsThePosition) {
  const LogHandle log(Operations(), "Log");
  ASSERT_EQ(NumbersIn(log.Read(kSeekForwards, 4).bytes), (Numbers{4, 5}));

  const ReadOutcome small = log.Read(kSeekForwards, 1, 16);
  EXPECT_EQ(small.error, 122u);
  EXPECT_GT(small.bytesNeeded, 60u);
  EXPECT_EQ(log.Read(kSeekForwards, 9).error, 87u);
  EXPECT_EQ(log.Read(kSequentialForwards).error, 38u);
  EXPECT_EQ(NumbersIn(log.Read(kSequentialBackwards).bytes), (Numbers{4, 3, 2, 1}));
}

TEST_F(EventStoreRead, ABufferOfNoBytesReportsTheSizeNeeded) {
  const LogHandle log(Operations(), "Log");
  const ReadOutcome outcome = log.Read(kSequentialBackwards, 0, 0);

  EXPECT_EQ(outcome.error, 122u);
  EXPECT_EQ(outcome.bytesNeeded, log.Read(kSeekForwards, 5).bytes.size());
}

TEST_F(EventStoreRead, RecordsThatArriveLaterAreSeenByTheSameHandle) {
  const LogHandle log(Operations(), "Log");
  const LogHandle unwritten(Operations(), "Later");
  ASSERT_EQ(log.AllNumbers(), (Numbers{1, 2, 3, 4, 5}));
  ASSERT_EQ(unwritten.Read(kSequentialForwards).error, 38u);

  Write("Log", {"six"});
  Write("Later", {"first"});

  EXPECT_EQ(NumbersIn(log.Read(kSequentialForwards).bytes), (Numbers{6}));
  EXPECT_EQ(NumbersIn(log.Read(kSeekForwards, 5).bytes), (Numbers{5, 6}));
  EXPECT_EQ(NumbersIn(unwritten.Read(kSequentialForwards).bytes), (Numbers{1}));
}

TEST_F(EventStoreRead, EachHandleHasItsOwnPosition) {
  const LogHandle first(Operations(), "Log");
  const LogHandle second(Operations(), "Log");
  ASSERT_EQ(first.AllNumbers(), (Numbers{1, 2, 3, 4, 5}));

  EXPECT_EQ(second.AllNumbers(), (Numbers{1, 2, 3, 4, 5}));
}

TEST_F(EventStoreRead, SequentialReadsStepOverRecordsThatAreGone) {
  const LogHandle log(Operations(), "Log");
  const ULong roomForOne = static_cast<ULong>(log.Read(kSeekForwards, 5).bytes.size());
  ASSERT_EQ(NumbersIn(log.Read(kSeekForwards, 1, roomForOne).bytes), (Numbers{1}));
  RunSql(Path(), "DELETE FROM record WHERE id & 4294967295 BETWEEN 1 AND 3");

  EXPECT_EQ(NumbersIn(log.Read(kSequentialForwards).bytes), (Numbers{4, 5}));
}

TEST_F(EventStoreRead, FlagsJoinOneKindAndOneDirection) {
  const LogHandle log(Operations(), "Log");
  for (ULong flags = 0; flags < 64; ++flags) {
    const bool isValid = flags == 5 || flags == 6 || flags == 9 || flags == 10;
    const ULong expected = isValid ? 0 : 87;
    EXPECT_EQ(LogHandle(Operations(), "Log").Read(flags, 1).error, expected) << flags;
  }
  EXPECT_EQ(log.Read(0x80000005).error, 87u);
}

TEST_F(EventStoreRead, ReadsNeedABufferAndBothResults) {
  const LogHandle log(Operations(), "Log");
  const auto& read = Operations().ReadEventLogA;
  std::array<char, 512> buffer{};
  ULong bytesRead = 77;
  ULong bytesNeeded = 77;

  EXPECT_EQ(read(log.Get(), 5, 0, nullptr, 512, &bytesRead, &bytesNeeded), 0);
  EXPECT_EQ(Operations().GetLastError(), 87u);
  EXPECT_EQ(bytesRead, 0u);
  EXPECT_EQ(read(log.Get(), 5, 0, buffer.data(), 512, nullptr, &bytesNeeded), 0);
  EXPECT_EQ(Operations().GetLastError(), 87u);
  EXPECT_EQ(read(log.Get(), 5, 0, buffer.data(), 512, &bytesRead, nullptr), 0);
  EXPECT_EQ(Operations().GetLastError(), 87u);
}

TEST_F(EventStoreRead, ADamagedRecordIsAFailureAndNotGarbage) {
  struct Row {
    const char* what;
    const char* image;
  };
  constexpr std::array<Row, 7> kRows{{
      {"shorter than its length", "substr(image, 1, length(image) - 4)"},
      {"longer than its length", "image || zeroblob(4)"},
      {"length of zero", "zeroblob(4) || substr(image, 5)"},
      {"another closing length", "substr(image, 1, length(image) - 4) || x'10000000'"},
      {"without the mark", "substr(image, 1, 4) || zeroblob(4) || substr(image, 9)"},
      {"with the number of another", "substr(image, 1, 8) || x'07000000' || substr(image, 13)"},
      {"empty", "x''"},
  }};
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.what);
    Write(row.what, {"whole", "damaged", "after it"});
    RunSql(Path(), std::string("UPDATE record SET image = CAST(") + row.image +
                       " AS BLOB) WHERE id & 4294967295 = 2 AND id >> 32 ="
                       " (SELECT id FROM log WHERE name = '" +
                       row.what + "')");

    const LogHandle log(Operations(), row.what);
    EXPECT_EQ(NumbersIn(log.Read(kSequentialForwards).bytes), (Numbers{1}));
    EXPECT_EQ(log.Read(kSequentialForwards).error, 1500u);
    EXPECT_EQ(log.Read(kSeekForwards, 2).error, 1500u);
    EXPECT_EQ(NumbersIn(log.Read(kSeekForwards, 3).bytes), (Numbers{3}));
  }
}

}  // namespace
}  // namespace Ondrel
