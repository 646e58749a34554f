#include "Host/Linux/EventLog/EventStore.h"

#include "Host/Linux/EventLog/EventRecord.h"
#include "Host/Linux/EventLog/EventTables.h"
#include "Host/Linux/EventLog/StoreConnection.h"

#include <chrono>
#include <cstring>
#include <ctime>
#include <limits>
#include <new>
#include <optional>
#include <utility>

namespace Ondrel::Host {

namespace {

// How often a report follows a file that is replaced again and again.
constexpr int kReportTries = 3;

class StoredSource final : public RegisteredSource {
public:
  StoredSource(const EventStoreChoice& choice, std::string source)
      : m_choice(choice), m_source(std::move(source)) {
    Current();
  }

  ULong Report(const EventToWrite& event) override {
    return Answer([&]() -> ULong {
      std::vector<std::byte> image = Compose(event);
      for (int tries = 0; tries < kReportTries; ++tries) {
        Connection& connection = Current();
        // Without its write-ahead log the file lacks what was written last.
        if (!connection.file.IsWriteAheadLogInPlace()) return ERROR_EVENTLOG_FILE_CORRUPT;
        m_lastNumber = connection.tables.Append(image);
        connection.file.Announce();
        if (connection.file.IsInPlace()) return ERROR_SUCCESS;
      }
      return ERROR_IO_DEVICE;
    });
  }

  ULong LastNumber() const override { return m_lastNumber; }

private:
  using Connection = StoreConnection<RecordWriter>;

  Connection& Current() {
    if (m_connection && !m_connection->file.IsInPlace()) m_connection.reset();
    if (!m_connection)
      m_connection = std::make_unique<Connection>(m_choice.path, m_source, m_choice.capacity);
    m_connection->file.Connection().SetPatience(kPatience);
    return *m_connection;
  }

  std::vector<std::byte> Compose(const EventToWrite& event) const {
    EventRecord record;
    record.timeGenerated = static_cast<ULong>(std::time(nullptr));
    record.id = event.id;
    record.type = event.type;
    record.category = event.category;
    record.source = m_source;
    record.computer = ComputerName();
    record.strings = event.strings;
    record.data.assign(event.data.begin(), event.data.end());
    return ComposeEventRecord(record);
  }

  EventStoreChoice m_choice;
  std::string m_source;
  ULong m_lastNumber = 0;
  std::unique_ptr<Connection> m_connection;
};

class StoredLog final : public OpenedLog {
public:
  StoredLog(const EventStoreChoice& choice, std::string name)
      : m_path(choice.path), m_name(std::move(name)) {
    Current();
  }

  ULong Read(ULong flags, ULong recordOffset, std::span<std::byte> buffer, ULong& bytesRead,
             ULong& bytesNeeded) override {
    return Answer([&]() -> ULong {
      RecordReader& records = Current().tables;
      const bool isSeek = (flags & EVENTLOG_SEEK_READ) != 0;
      const bool upwards = (flags & EVENTLOG_FORWARDS_READ) != 0;
      const std::optional<ULong> first = isSeek ? recordOffset : NextNumber(upwards);
      if (!first) return ERROR_HANDLE_EOF;

      ULong outcome = isSeek ? ERROR_INVALID_PARAMETER : ERROR_HANDLE_EOF;
      std::optional<ULong> position = m_position;
      records.ForEachRecord(upwards, *first, [&](ULong number, std::span<const std::byte> image) {
        const bool isFirst = bytesRead == 0;
        if (isFirst && isSeek && number != recordOffset) return false;
        if (!IsWholeRecord(image) || RecordNumberOf(image) != number) {
          if (isFirst) outcome = ERROR_EVENTLOG_FILE_CORRUPT;
          return false;
        }
        if (image.size() > buffer.size() - bytesRead) {
          if (!isFirst) return false;
          bytesNeeded = static_cast<ULong>(image.size());
          outcome = ERROR_INSUFFICIENT_BUFFER;
          return false;
        }
        std::memcpy(buffer.data() + bytesRead, image.data(), image.size());
        bytesRead += static_cast<ULong>(image.size());
        position = number;
        outcome = ERROR_SUCCESS;
        return true;
      });
      m_position = position;
      return outcome;
    });
  }

private:
  using Connection = StoreConnection<RecordReader>;

  Connection& Current() {
    if (m_connection && !m_connection->file.IsInPlace()) {
      m_connection.reset();
      // Numbers of the earlier file say nothing about this one.
      m_position.reset();
    }
    if (!m_connection) m_connection = std::make_unique<Connection>(m_path, m_name);
    m_connection->file.Connection().SetPatience(kPatience);
    return *m_connection;
  }

  // Where a sequential read begins: beside the record handed out last, else at the end that the
  // direction starts from. Nothing where no number can follow.
  std::optional<ULong> NextNumber(bool upwards) const {
    constexpr ULong kLast = std::numeric_limits<ULong>::max();
    if (!m_position) return upwards ? 0 : kLast;
    if (*m_position == (upwards ? kLast : 0)) return std::nullopt;
    return upwards ? *m_position + 1 : *m_position - 1;
  }

  std::string m_path;
  std::string m_name;
  std::unique_ptr<Connection> m_connection;
  std::optional<ULong> m_position;
};

}  // namespace

std::unique_ptr<OpenedLog> OpenStoredLog(const EventStoreChoice& choice, const std::string& name,
                                         ULong& error) {
  std::unique_ptr<OpenedLog> log;
  error = Answer([&] {
    log = std::make_unique<StoredLog>(choice, name);
    return ERROR_SUCCESS;
  });
  return log;
}

std::unique_ptr<RegisteredSource> RegisterStoredSource(const EventStoreChoice& choice,
                                                       const std::string& source, ULong& error) {
  std::unique_ptr<RegisteredSource> registered;
  error = Answer([&] {
    registered = std::make_unique<StoredSource>(choice, source);
    return ERROR_SUCCESS;
  });
  return registered;
}

}  // namespace Ondrel::Host
