#include "Host/Linux/EventLog/EventTables.h"

#include "Host/Linux/EventLog/EventRecord.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <map>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr std::int64_t kMaxCapacityPages = std::numeric_limits<ULong>::max() - 1;

// Beside the record itself an append may take new pages for the tables' nodes and for a new log.
constexpr std::int64_t kPagesForNodes = 8;

// When room is made, this part of the capacity is made free, so that not every append pays.
constexpr std::int64_t kRoomPart = 32;

// Oldest records that are looked up at a time in each log.
constexpr std::size_t kOldestAtOnce = 64;

// What a record takes beside its image, about.
constexpr std::int64_t kRowOverhead = 16;

// The write-ahead log is moved into the file at this part of the capacity, within these bounds.
constexpr std::int64_t kCheckpointPart = 4;
constexpr std::int64_t kMinCheckpointPages = 64;
constexpr std::int64_t kMaxCheckpointPages = 1000;

// Readers that follow each other without a gap can keep the write-ahead log from starting over. At
// this many times its size the writer waits for such a gap, but not long.
constexpr int kOverdueFactor = 4;
constexpr std::chrono::milliseconds kCheckpointPatience{20};

constexpr char kFindLog[] = "SELECT id FROM log WHERE name=?1";

}  // namespace

RecordReader::RecordReader(Database& database, std::string logName)
    : m_logName(std::move(logName)),
      m_findLog(database, kFindLog),
      m_selectUpwards(database,
                      "SELECT id & 4294967295, image FROM record WHERE id BETWEEN ?1 AND ?2"
                      " ORDER BY id"),
      m_selectDownwards(database,
                        "SELECT id & 4294967295, image FROM record WHERE id BETWEEN ?1 AND ?2"
                        " ORDER BY id DESC") {}

std::optional<RecordIds> RecordReader::FindLog() {
  if (m_ids) return m_ids;
  const StatementUse use(m_findLog);
  if (m_findLog.Bind(1, m_logName).Step()) m_ids = RecordIds{m_findLog.Integer(0)};
  return m_ids;
}

RecordWriter::RecordWriter(Database& database, std::string logName, std::uint64_t capacity)
    : m_database(database),
      m_logName(std::move(logName)),
      m_pageSize(database.Integer("PRAGMA page_size")),
      m_capacityPages(static_cast<std::int64_t>(std::min<std::uint64_t>(
          capacity / static_cast<std::uint64_t>(m_pageSize), std::uint64_t{kMaxCapacityPages}))),
      m_checkpointPages(static_cast<int>(
          std::clamp(m_capacityPages / kCheckpointPart, kMinCheckpointPages, kMaxCheckpointPages))),
      m_overduePages(kOverdueFactor * m_checkpointPages),
      m_transaction(database),
      m_findLog(database, kFindLog),
      m_addLog(database,
               "INSERT INTO log(name, last_number, last_sequence, dropped) VALUES(?1, 0, 0, 0)"),
      m_checkLog(database, "UPDATE log SET checksum=?2 WHERE id=?1"),
      m_nextPlace(database,
                  "UPDATE log SET last_number = last_number + 1,"
                  " last_sequence = (SELECT max(last_sequence) FROM log) + 1"
                  " WHERE id=?1 AND last_number < 4294967295"
                  " RETURNING last_number, last_sequence"),
      m_setBaseline(database, "UPDATE log SET dropped=?2 WHERE id=?1 AND last_sequence=0"),
      m_skipTo(database, "UPDATE log SET last_number = ?2 WHERE id=?1 AND last_number < ?2"),
      m_insert(database,
               "INSERT INTO record(id, sequence, image, checksum) VALUES(?1, ?2, ?3, ?4)"),
      m_pageCount(database, "PRAGMA page_count"),
      m_freePages(database, "PRAGMA freelist_count"),
      m_logs(database, "SELECT id FROM log"),
      m_oldest(database,
               "SELECT id, sequence, length(image) FROM record WHERE id BETWEEN ?1 AND ?2"
               " ORDER BY id LIMIT ?3"),
      m_delete(database, "DELETE FROM record WHERE id=?1"),
      m_noteDropped(database, "UPDATE log SET dropped=?2 WHERE id=?1") {
  database.Execute(
      ("PRAGMA journal_size_limit=" + std::to_string(m_checkpointPages * m_pageSize)).c_str());
}

ULong RecordWriter::Append(std::span<std::byte> record) {
  std::int64_t log = 0;
  Place place{};
  {
    Transaction transaction(m_transaction);
    MakeRoom(record.size());
    log = FindOrAddLog();
    place = NextPlace(log);
    StampEventRecord(record, static_cast<ULong>(place.number),
                     static_cast<ULong>(std::time(nullptr)));
    Insert(log, place, record);
    transaction.Commit();
  }
  m_log = log;
  BoundWriteAheadLog();
  return static_cast<ULong>(place.number);
}

void RecordWriter::Import(std::span<std::vector<std::byte>> records) {
  const std::uint64_t droppedBefore = m_dropped;
  std::int64_t log = 0;
  try {
    Transaction transaction(m_transaction);
    log = FindOrAddLog();
    for (std::vector<std::byte>& record : records) {
      MakeRoom(record.size());
      const ULong number = RecordNumberOf(record);
      if (number > 0) {
        m_skipTo.Bind(1, log).Bind(2, std::int64_t{number} - 1).Run();
        // A log whose first record comes with a number has none below it to miss.
        m_setBaseline.Bind(1, log).Bind(2, std::int64_t{number} - 1).Run();
      }
      const Place place = NextPlace(log);
      if (number > 0 && place.number != number) throw DatabaseError{ERROR_INVALID_PARAMETER};
      SetRecordNumber(record, static_cast<ULong>(place.number));
      Insert(log, place, record);
    }
    transaction.Commit();
  } catch (...) {
    m_dropped = droppedBefore;
    throw;
  }
  m_log = log;
  BoundWriteAheadLog();
}

std::uint64_t RecordWriter::Clear(std::optional<ULong> before) {
  std::uint64_t removed = 0;
  Transaction transaction(m_transaction);
  if (!HasLog()) return 0;
  const std::int64_t log = FindOrAddLog();
  const RecordIds ids{log};
  std::vector<std::int64_t> going;
  bool isFromOldest = true;
  std::int64_t last = 0;
  {
    Statement all(m_database,
                  "SELECT id, substr(image, 13, 4) FROM record WHERE id BETWEEN ?1 AND ?2"
                  " ORDER BY id");
    all.Bind(1, ids.First()).Bind(2, ids.Last());
    while (all.Step()) {
      ULong time = 0;
      const std::span<const std::byte> bytes = all.Bytes(1);
      std::memcpy(&time, bytes.data(), std::min(bytes.size(), sizeof time));
      const bool isGoing = !before || time < *before;
      if (isGoing) going.push_back(all.Integer(0));
      isFromOldest = isFromOldest && isGoing;
      if (isFromOldest) last = all.Integer(0) - ids.First();
    }
  }
  for (const std::int64_t id : going) {
    m_delete.Bind(1, id).Run();
    ++removed;
  }
  if (last > 0) m_noteDropped.Bind(1, log).Bind(2, last).Run();
  transaction.Commit();
  BoundWriteAheadLog();
  return removed;
}

bool RecordWriter::HasLog() {
  const StatementUse use(m_findLog);
  return m_findLog.Bind(1, m_logName).Step();
}

std::int64_t RecordWriter::FindOrAddLog() {
  if (m_log) return *m_log;
  {
    const StatementUse use(m_findLog);
    if (m_findLog.Bind(1, m_logName).Step()) return m_findLog.Integer(0);
  }
  m_addLog.Bind(1, m_logName).Run();
  const std::int64_t id = sqlite3_last_insert_rowid(m_database.Handle());
  m_checkLog.Bind(1, id).Bind(2, LogChecksum(id, m_logName)).Run();
  return id;
}

RecordWriter::Place RecordWriter::NextPlace(std::int64_t log) {
  const StatementUse use(m_nextPlace);
  if (!m_nextPlace.Bind(1, log).Step()) throw DatabaseError{ERROR_LOG_FILE_FULL};
  const Place place{.number = m_nextPlace.Integer(0), .sequence = m_nextPlace.Integer(1)};
  m_nextPlace.Step();
  return place;
}

void RecordWriter::Insert(std::int64_t log, const Place& place, std::span<const std::byte> record) {
  m_insert.Bind(1, RecordIds{log}.Of(static_cast<ULong>(place.number)))
      .Bind(2, place.sequence)
      .Bind(3, record)
      .Bind(4, RecordChecksum(record))
      .Run();
}

std::int64_t RecordWriter::Pages(Statement& pragma) {
  const StatementUse use(pragma);
  pragma.Step();
  return pragma.Integer(0);
}

std::int64_t RecordWriter::PagesInUse() { return Pages(m_pageCount) - Pages(m_freePages); }

void RecordWriter::MakeRoom(std::size_t recordSize) {
  const std::int64_t needed =
      static_cast<std::int64_t>(recordSize) / (m_pageSize - 4) + kPagesForNodes;
  if (needed > m_capacityPages) throw DatabaseError{ERROR_LOG_FILE_FULL};
  if (Pages(m_pageCount) + needed <= m_capacityPages) return;
  std::int64_t used = PagesInUse();
  if (used + needed <= m_capacityPages) return;

  const std::int64_t target =
      std::max<std::int64_t>(m_capacityPages - m_capacityPages / kRoomPart - needed, 0);
  while (used > target && DropOldest((used - target) * m_pageSize)) used = PagesInUse();
  // The transaction brings the dropped ones back.
  if (used + needed > m_capacityPages) throw DatabaseError{ERROR_LOG_FILE_FULL};
}

std::vector<RecordWriter::OldRecord> RecordWriter::OldestRecords() {
  std::vector<std::int64_t> logs;
  {
    const StatementUse use(m_logs);
    while (m_logs.Step()) logs.push_back(m_logs.Integer(0));
  }

  std::vector<OldRecord> records;
  for (const std::int64_t log : logs) {
    const RecordIds ids{log};
    const StatementUse use(m_oldest);
    m_oldest.Bind(1, ids.First()).Bind(2, ids.Last()).Bind(3, std::int64_t{kOldestAtOnce});
    while (m_oldest.Step())
      records.push_back({m_oldest.Integer(0), m_oldest.Integer(1), m_oldest.Integer(2)});
  }
  std::sort(records.begin(), records.end(), [](const OldRecord& left, const OldRecord& right) {
    return left.sequence < right.sequence;
  });
  // Further on, older ones that were not looked up may come between.
  records.resize(std::min(records.size(), kOldestAtOnce));
  return records;
}

// Drops oldest records until they make up so many bytes, or a good number of them. False when there
// are none.
bool RecordWriter::DropOldest(std::int64_t bytes) {
  const std::vector<OldRecord> records = OldestRecords();
  std::map<std::int64_t, std::int64_t> lastOfLog;
  std::int64_t dropped = 0;
  for (const OldRecord& record : records) {
    if (dropped >= bytes) break;
    m_delete.Bind(1, record.id).Run();
    dropped += record.size + kRowOverhead;
    ++m_dropped;
    std::int64_t& last = lastOfLog[record.id >> 32];
    last = std::max(last, record.id & std::numeric_limits<ULong>::max());
  }
  for (const auto& [log, last] : lastOfLog) m_noteDropped.Bind(1, log).Bind(2, last).Run();
  return !records.empty();
}

// In place of SQLite's own automatic checkpoint, which never waits for readers. A failure is none
// of the record's, which is safe in the write-ahead log.
void RecordWriter::BoundWriteAheadLog() {
  const int pages = m_database.WriteAheadLogPages();
  const int usualOverdue = kOverdueFactor * m_checkpointPages;
  if (pages < m_checkpointPages) {
    m_overduePages = usualOverdue;
    return;
  }
  if (pages < m_overduePages) {
    sqlite3_wal_checkpoint_v2(m_database.Handle(), "main", SQLITE_CHECKPOINT_PASSIVE, nullptr,
                              nullptr);
    return;
  }
  m_database.SetPatience(kCheckpointPatience);
  sqlite3_wal_checkpoint_v2(m_database.Handle(), "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr,
                            nullptr);
  // A reader that stays is waited for now and then, not at every report.
  m_overduePages = pages + usualOverdue;
}

}  // namespace Ondrel::Host
