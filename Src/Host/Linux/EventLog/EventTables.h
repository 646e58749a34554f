#pragma once

#include "Host/Linux/EventLog/EventStoreFile.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Ondrel::Host {

/// The ids that the records of one log have in the table of records: the log's id in the upper 32
/// bits, the record's number in the lower ones.
struct RecordIds {
  std::int64_t log;

  std::int64_t Of(ULong number) const { return log * (std::int64_t{1} << 32) + number; }
  std::int64_t First() const { return Of(0); }
  std::int64_t Last() const { return Of(std::numeric_limits<ULong>::max()); }
};

/// The records of one log, for reading over one connection. No read transaction outlives a call.
/// All operations throw `DatabaseError`.
class RecordReader {
public:
  static constexpr EventStoreFile::Purpose kPurpose = EventStoreFile::Purpose::kReadingAndWriting;
  static Database& Prepared(EventStoreFile& file) { return file.Connection(); }

  RecordReader(Database& database, std::string logName);

  /// Hands records to `take` from number `first` on, upwards or downwards, until it answers false.
  template <class Take>
  void ForEachRecord(bool upwards, ULong first, Take take) {
    const std::optional<RecordIds> ids = FindLog();
    if (!ids) return;
    Statement& select = upwards ? m_selectUpwards : m_selectDownwards;
    const StatementUse use(select);
    select.Bind(1, upwards ? ids->Of(first) : ids->First());
    select.Bind(2, upwards ? ids->Last() : ids->Of(first));
    while (select.Step() && take(static_cast<ULong>(select.Integer(0)), select.Bytes(1))) {
    }
  }

private:
  std::optional<RecordIds> FindLog();

  std::string m_logName;
  std::optional<RecordIds> m_ids;
  Statement m_findLog;
  Statement m_selectUpwards;
  Statement m_selectDownwards;
};

/// Adds records to one log over one connection. All operations throw `DatabaseError`.
class RecordWriter {
public:
  static constexpr EventStoreFile::Purpose kPurpose = EventStoreFile::Purpose::kReadingAndWriting;
  /// The file's connection, for the constructor: it may be written, and has all columns.
  static Database& Prepared(EventStoreFile& file) {
    if (file.Connection().IsReadOnly()) throw DatabaseError{ERROR_ACCESS_DENIED};
    file.AddColumns();
    return file.Connection();
  }

  /// Oldest records of all logs go when the file would become larger than `capacity` bytes.
  RecordWriter(Database& database, std::string logName, std::uint64_t capacity);

  /// Adds a composed record and stamps it with the log's next number and the time of writing. It is
  /// on disk when this returns. Yields the number.
  ULong Append(std::span<std::byte> record);

  /// Adds composed records as they are, all or none. Where a record has a number, it has to be
  /// above the log's last; 0 takes the next.
  void Import(std::span<std::vector<std::byte>> records);

  /// Removes the log's records that were generated before a time (nothing: all). Yields how many.
  std::uint64_t Clear(std::optional<ULong> before);

  /// How many records of all logs had to make room since the object was made.
  std::uint64_t Dropped() const { return m_dropped; }

private:
  struct Place {
    std::int64_t number;
    std::int64_t sequence;
  };
  struct OldRecord {
    std::int64_t id;
    std::int64_t sequence;
    std::int64_t size;
  };

  bool HasLog();
  std::int64_t FindOrAddLog();
  Place NextPlace(std::int64_t log);
  void Insert(std::int64_t log, const Place& place, std::span<const std::byte> record);

  std::int64_t Pages(Statement& pragma);
  std::int64_t PagesInUse();
  void MakeRoom(std::size_t recordSize);
  std::vector<OldRecord> OldestRecords();
  bool DropOldest(std::int64_t bytes);

  void BoundWriteAheadLog();

  Database& m_database;
  std::string m_logName;
  std::int64_t m_pageSize;
  std::int64_t m_capacityPages;
  int m_checkpointPages;
  int m_overduePages;
  std::optional<std::int64_t> m_log;
  std::uint64_t m_dropped = 0;

  Transaction::Statements m_transaction;
  Statement m_findLog;
  Statement m_addLog;
  Statement m_checkLog;
  Statement m_nextPlace;
  Statement m_setBaseline;
  Statement m_skipTo;
  Statement m_insert;
  Statement m_pageCount;
  Statement m_freePages;
  Statement m_logs;
  Statement m_oldest;
  Statement m_delete;
  Statement m_noteDropped;
};

}  // namespace Ondrel::Host
