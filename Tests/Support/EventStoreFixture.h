#pragma once

#include "Host/EventLogOperations.h"
#include "Support/TemporaryFolder.h"

#include <Ondrel/Host.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ondrel::Testing {

inline constexpr ULong kSequentialForwards = EVENTLOG_SEQUENTIAL_READ | EVENTLOG_FORWARDS_READ;
inline constexpr ULong kSequentialBackwards = EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ;
inline constexpr ULong kSeekForwards = EVENTLOG_SEEK_READ | EVENTLOG_FORWARDS_READ;
inline constexpr ULong kSeekBackwards = EVENTLOG_SEEK_READ | EVENTLOG_BACKWARDS_READ;

/// What a test looks at in a record that was read.
struct ReadRecord {
  ULong number = 0;
  ULong eventId = 0;
  std::string source;
  std::vector<std::string> strings;

  bool operator==(const ReadRecord&) const = default;
};

/// The records that stand one after the other in `bytes`.
inline std::vector<ReadRecord> RecordsIn(const std::vector<char>& bytes) {
  std::vector<ReadRecord> records;
  for (std::size_t at = 0; at < bytes.size();) {
    EVENTLOGRECORD header{};
    if (bytes.size() - at < sizeof header) throw std::runtime_error("part of a record");
    std::memcpy(&header, bytes.data() + at, sizeof header);
    if (header.Length < sizeof header || header.Length > bytes.size() - at)
      throw std::runtime_error("a record's length is wrong");
    ReadRecord record{header.RecordNumber, header.EventID, bytes.data() + at + sizeof header, {}};
    const char* text = bytes.data() + at + header.StringOffset;
    for (WORD i = 0; i < header.NumStrings; ++i) {
      record.strings.emplace_back(text);
      text += record.strings.back().size() + 1;
    }
    records.push_back(std::move(record));
    at += header.Length;
  }
  return records;
}

/// Numbers of the records that stand in `bytes`.
inline std::vector<ULong> NumbersIn(const std::vector<char>& bytes) {
  std::vector<ULong> numbers;
  for (const ReadRecord& record : RecordsIn(bytes)) numbers.push_back(record.number);
  return numbers;
}

/// A failed read's error, or a read's bytes.
struct ReadOutcome {
  ULong error = 0;
  ULong bytesNeeded = 0;
  std::vector<char> bytes;
};

/// An opened log, closed with the object.
class LogHandle {
public:
  LogHandle(const Host::EventLogOperations& operations, const char* name)
      : m_operations(operations), m_handle(operations.OpenEventLogA(nullptr, name)) {}
  ~LogHandle() {
    if (m_handle != nullptr) m_operations.CloseEventLog(m_handle);
  }

  LogHandle(const LogHandle&) = delete;
  LogHandle& operator=(const LogHandle&) = delete;

  void* Get() const { return m_handle; }

  ReadOutcome Read(ULong flags, ULong recordOffset = 0, ULong size = 65536) const {
    std::vector<char> buffer(size);
    char none = 0;
    ULong bytesRead = 0;
    ReadOutcome outcome;
    const int result =
        m_operations.ReadEventLogA(m_handle, flags, recordOffset, size > 0 ? buffer.data() : &none,
                                   size, &bytesRead, &outcome.bytesNeeded);
    if (result == 0) outcome.error = m_operations.GetLastError();
    buffer.resize(bytesRead);
    outcome.bytes = std::move(buffer);
    return outcome;
  }

  /// Numbers of all records from the beginning or the end, read piece by piece.
  std::vector<ULong> AllNumbers(ULong flags = kSequentialForwards) const {
    std::vector<ULong> all;
    for (;;) {
      const ReadOutcome outcome = Read(flags);
      if (outcome.error == ERROR_HANDLE_EOF) return all;
      if (outcome.error != 0)
        throw std::runtime_error("read failed with " + std::to_string(outcome.error));
      for (const ULong number : NumbersIn(outcome.bytes)) all.push_back(number);
    }
  }

private:
  const Host::EventLogOperations& m_operations;
  void* m_handle;
};

/// A registered source, given back with the object.
class SourceHandle {
public:
  SourceHandle(const Host::EventLogOperations& operations, const char* name)
      : m_operations(operations), m_handle(operations.RegisterEventSourceA(nullptr, name)) {}
  ~SourceHandle() {
    if (m_handle != nullptr) m_operations.DeregisterEventSource(m_handle);
  }

  SourceHandle(const SourceHandle&) = delete;
  SourceHandle& operator=(const SourceHandle&) = delete;

  void* Get() const { return m_handle; }

  /// Reports an event with one string. Yields 0, or the error.
  ULong Report(const std::string& text, ULong eventId = 0x20002711) const {
    const char* strings[] = {text.c_str()};
    const int result =
        m_operations.ReportEventA(m_handle, 4, 0, eventId, nullptr, 1, 0, strings, nullptr);
    return result != 0 ? 0 : m_operations.GetLastError();
  }

private:
  const Host::EventLogOperations& m_operations;
  void* m_handle;
};

/// Runs statements on a database file over a connection of its own, as an administrator would.
/// Yields the first column of the last row.
inline std::string RunSql(const std::string& path, const std::string& sql) {
  sqlite3* connection = nullptr;
  std::string last;
  char* message = nullptr;
  sqlite3_open(path.c_str(), &connection);
  sqlite3_exec(
      connection, sql.c_str(),
      [](void* result, int, char** values, char**) {
        *static_cast<std::string*>(result) = values[0] != nullptr ? values[0] : "";
        return 0;
      },
      &last, &message);
  const std::string failure = message != nullptr ? message : "";
  sqlite3_free(message);
  sqlite3_close(connection);
  if (!failure.empty()) throw std::runtime_error(sql + ": " + failure);
  return last;
}

/// An event store in a folder of the test's own.
class EventStoreFixture : public ::testing::Test {
protected:
  explicit EventStoreFixture(const std::string& parentFolder = ::testing::TempDir())
      : m_folder(parentFolder) {
    Host::UseEventStore(m_path);
  }
  ~EventStoreFixture() override { Host::UseEventStore(""); }

  const std::string& Path() const { return m_path; }
  const TemporaryFolder& Folder() const { return m_folder; }
  const Host::EventLogOperations& Operations() const { return m_operations; }

  /// Writes one record for each text over a handle of its own.
  void Write(const char* source, std::initializer_list<std::string> texts) {
    const SourceHandle handle(m_operations, source);
    for (const std::string& text : texts) ASSERT_EQ(handle.Report(text), 0u);
  }

  /// Numbers of the records that a log has now, oldest first.
  std::vector<ULong> NumbersOf(const char* log) {
    return LogHandle(m_operations, log).AllNumbers();
  }

  /// The error with which a log cannot be opened for reading; 0 when it can.
  ULong OpenError(const char* log = "Log") {
    const LogHandle handle(m_operations, log);
    return handle.Get() != nullptr ? 0 : m_operations.GetLastError();
  }

  /// The error with which a source cannot be registered; 0 when it can.
  ULong RegisterError(const char* source = "Log") {
    const SourceHandle handle(m_operations, source);
    return handle.Get() != nullptr ? 0 : m_operations.GetLastError();
  }

private:
  TemporaryFolder m_folder;
  std::string m_path = m_folder.Path("events.db");
  Host::EventLogOperations m_operations = Host::MakeEventLogOperations();
};

}  // namespace Ondrel::Testing
