#include "Host/Linux/EventLog/HistoryTables.h"

#include "Host/Linux/EventLog/EventRecord.h"

#include <algorithm>
#include <set>
#include <utility>

namespace Ondrel::Host {

namespace {

std::string Select(bool hasChecks, const char* rest) {
  return std::string("SELECT id & 4294967295, image, ") + (hasChecks ? "checksum" : "NULL") +
         " FROM record WHERE " + rest;
}

}  // namespace

HistoryTables::HistoryTables(Database& database, std::string logName)
    : HistoryTables(database, std::move(logName), EventStoreFile::HasChecks(database)) {}

HistoryTables::HistoryTables(Database& database, std::string logName, bool hasChecks)
    : m_database(database),
      m_logName(std::move(logName)),
      m_hasChecks(hasChecks),
      m_begin(database, "BEGIN"),
      m_end(database, "ROLLBACK"),
      // By the table alone: the index of names may be damaged by itself.
      m_findLog(database, "SELECT id FROM log NOT INDEXED WHERE name=?1"),
      m_state(database, hasChecks ? "SELECT last_number, dropped FROM log WHERE id=?1"
                                  : "SELECT last_number, NULL FROM log WHERE id=?1"),
      m_largest(database, "SELECT max(id) FROM record WHERE id BETWEEN ?1 AND ?2"),
      m_upwards(database, Select(hasChecks, "id BETWEEN ?1 AND ?2 ORDER BY id")),
      m_downwards(database, Select(hasChecks, "id BETWEEN ?1 AND ?2 ORDER BY id DESC")),
      m_one(database, Select(hasChecks, "id=?1")) {}

HistoryTables::Picture::~Picture() {
  if (sqlite3_get_autocommit(m_tables.m_database.Handle()) != 0) return;
  try {
    m_tables.m_end.Run();
  } catch (const DatabaseError&) {
    // Nothing was written that could be lost.
  }
}

std::optional<LogState> HistoryTables::State() {
  if (!m_id) {
    const StatementUse use(m_findLog);
    if (m_findLog.Bind(1, m_logName).Step()) m_id = m_findLog.Integer(0);
  }
  if (!m_id) {
    ExpectAllLogs();
    return std::nullopt;
  }
  const StatementUse use(m_state);
  if (!m_state.Bind(1, *m_id).Step()) {
    m_id.reset();
    ExpectAllLogs();
    return std::nullopt;
  }
  LogState state{.ids = {*m_id}, .lastNumber = m_state.Integer(0), .dropped = {}};
  if (!m_state.IsNull(1)) state.dropped = m_state.Integer(1);
  state.lastNumber = std::max(state.lastNumber, LargestNumber(state.ids));
  return state;
}

// A count that was damaged must not make what is there look as if it came from elsewhere.
std::int64_t HistoryTables::LargestNumber(const RecordIds& ids) {
  try {
    const StatementUse use(m_largest);
    m_largest.Bind(1, ids.First()).Bind(2, ids.Last());
    return m_largest.Step() && !m_largest.IsNull(0) ? m_largest.Integer(0) - ids.First() : 0;
  } catch (const DatabaseError& failure) {
    if (failure.error != ERROR_EVENTLOG_FILE_CORRUPT) throw;
    return 0;
  }
}

// A log that is not found may be one whose name or id was damaged. So each name has to be what its
// checksum says, and each record has to be of a log that is there.
void HistoryTables::ExpectAllLogs() {
  std::set<std::int64_t> ids;
  Statement logs(m_database, m_hasChecks ? "SELECT id, name, checksum FROM log NOT INDEXED"
                                         : "SELECT id, name, NULL FROM log NOT INDEXED");
  while (logs.Step()) {
    ids.insert(logs.Integer(0));
    if (!logs.IsNull(2) && logs.Integer(2) != LogChecksum(logs.Integer(0), logs.Text(1)))
      throw DatabaseError{ERROR_EVENTLOG_FILE_CORRUPT};
  }
  Statement next(m_database, "SELECT id >> 32 FROM record WHERE id >= ?1 ORDER BY id LIMIT 1");
  for (std::int64_t from = 0;;) {
    const StatementUse use(next);
    if (!next.Bind(1, RecordIds{from}.First()).Step()) return;
    const std::int64_t log = next.Integer(0);
    if (!ids.contains(log)) throw DatabaseError{ERROR_EVENTLOG_FILE_CORRUPT};
    from = log + 1;
  }
}

StoredRecord HistoryTables::Row(const Statement& row) {
  StoredRecord record{
      .number = row.Integer(0), .image = row.Bytes(1), .isSound = false, .checksum = 0};
  record.checksum = RecordChecksum(record.image);
  record.isSound = IsWholeRecord(record.image) && RecordNumberOf(record.image) == record.number &&
                   (row.IsNull(2) || row.Integer(2) == record.checksum);
  return record;
}

}  // namespace Ondrel::Host
