#pragma once

#include "Host/Linux/Database.h"

#include <cstdint>
#include <span>
#include <string>

namespace Ondrel::Host {

/// One connection to an event store, with its prepared statements. All operations throw
/// `DatabaseError`.
class EventStoreFile {
public:
  /// Opens the store, and creates it when it is missing: with mode 0600, in a folder that exists.
  /// The host's own state folder is created as well, with mode 0700.
  explicit EventStoreFile(const std::string& path);

  bool IsReadOnly() const { return m_database.IsReadOnly(); }
  bool HasMoved() const { return m_database.HasMoved(); }

  /// Number of the log with this name; 0 when the store has none.
  std::int64_t FindLog(const std::string& name);

  /// Adds a composed record to a log and gives it the log's next number. On disk when it returns.
  /// Oldest records of all logs go when the store would become larger than `capacity` bytes.
  void Append(const std::string& logName, std::span<std::byte> record, std::uint64_t capacity);

  /// Reads the records of a log from a number on, upwards or downwards, until `take` answers false.
  template <class Take>
  void ForEachRecord(std::int64_t log, bool upwards, std::int64_t first, Take take) {
    Statement& select = upwards ? m_selectUpwards : m_selectDownwards;
    const StatementUse use(select);
    select.Bind(1, log).Bind(2, first);
    while (select.Step() && take(static_cast<ULong>(select.Integer(0)), select.Bytes(1))) {
    }
  }

private:
  static Database Open(const std::string& path);

  std::uint64_t BytesInUse();
  void MakeRoom(std::uint64_t bytes, std::uint64_t capacity);

  Database m_database;
  Statement m_findLog;
  Statement m_addLog;
  Statement m_nextNumber;
  Statement m_nextSequence;
  Statement m_insert;
  Statement m_selectUpwards;
  Statement m_selectDownwards;
  Statement m_deleteOldest;
  Statement m_pageCount;
  Statement m_freePages;
  std::int64_t m_pageSize;
};

}  // namespace Ondrel::Host
