#pragma once

#include "Host/Linux/EventLog/EventStoreFile.h"
#include "Host/Linux/EventLog/EventTables.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace Ondrel::Host {

/// What the table of logs says of one log.
struct LogState {
  RecordIds ids;
  std::int64_t lastNumber;              // Given last, or of the newest record where that is larger.
  std::optional<std::int64_t> dropped;  // Largest number whose record was removed.
};

/// A record as it stands in its table.
struct StoredRecord {
  std::int64_t number;
  std::span<const std::byte> image;  // Until the next step.
  bool isSound;                      // Whole, with its own number and its checksum.
  std::int64_t checksum;             // Of the image as it is.
};

/// One log's records and what is known of the log, over one connection. Operations throw
/// `DatabaseError`.
class HistoryTables {
public:
  static constexpr EventStoreFile::Purpose kPurpose = EventStoreFile::Purpose::kReading;
  static Database& Prepared(EventStoreFile& file) { return file.Connection(); }

  HistoryTables(Database& database, std::string logName);

  /// One picture of the store for all that is read while the object lives.
  class Picture {
  public:
    explicit Picture(HistoryTables& tables) : m_tables(tables) { tables.m_begin.Run(); }
    ~Picture();

    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

  private:
    HistoryTables& m_tables;
  };

  /// Nothing where there is no such log. Throws 1500 where there may have been one.
  std::optional<LogState> State();

  /// Hands records with the numbers `first` to `last` to `take`, in this order, until it answers
  /// false. True when it was the last.
  template <class Take>
  bool ForEach(const RecordIds& ids, std::int64_t first, std::int64_t last, Take take) {
    const bool upwards = first <= last;
    Statement& select = upwards ? m_upwards : m_downwards;
    const StatementUse use(select);
    select.Bind(1, ids.First() + (upwards ? first : last));
    select.Bind(2, ids.First() + (upwards ? last : first));
    while (select.Step())
      if (!take(Row(select))) return false;
    return true;
  }

  enum class Found { kRecord, kNothing, kDamage };

  /// Looks for one record and hands it to `take`.
  template <class Take>
  Found One(const RecordIds& ids, std::int64_t number, Take take) {
    try {
      const StatementUse use(m_one);
      m_one.Bind(1, ids.First() + number);
      if (!m_one.Step()) return Found::kNothing;
      take(Row(m_one));
      return Found::kRecord;
    } catch (const DatabaseError& failure) {
      if (failure.error != ERROR_EVENTLOG_FILE_CORRUPT) throw;
      return Found::kDamage;
    }
  }

private:
  HistoryTables(Database& database, std::string logName, bool hasChecks);

  static StoredRecord Row(const Statement& row);
  std::int64_t LargestNumber(const RecordIds& ids);
  void ExpectAllLogs();

  Database& m_database;
  std::string m_logName;
  bool m_hasChecks;
  std::optional<std::int64_t> m_id;
  Statement m_begin;
  Statement m_end;
  Statement m_findLog;
  Statement m_state;
  Statement m_largest;
  Statement m_upwards;
  Statement m_downwards;
  Statement m_one;
};

}  // namespace Ondrel::Host
