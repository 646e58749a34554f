#include "Host/Linux/EventStore.h"

#include "Host/Linux/EventRecord.h"
#include "Host/Linux/EventStoreFile.h"
#include "Host/Linux/LastError.h"

#include <climits>

#include <cstring>
#include <ctime>
#include <limits>
#include <new>
#include <optional>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

std::string ComputerName() {
  char name[HOST_NAME_MAX + 1] = {};
  return gethostname(name, HOST_NAME_MAX) == 0 ? name : "";
}

// The answer of a host operation over the store: what `operation` throws becomes its Win32 number.
template <class Operation>
ULong Answer(Operation operation) {
  try {
    return operation();
  } catch (const DatabaseError& failure) {
    return failure.error;
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

// A store that is opened anew when its file was removed or replaced: what is written to a file that
// no path leads to would be lost.
class OpenedStore {
public:
  explicit OpenedStore(const EventStoreChoice& choice) : m_choice(choice) {
    m_file.emplace(m_choice.path);
  }

  EventStoreFile& File() {
    if (m_file && m_file->HasMoved()) m_file.reset();
    if (!m_file) m_file.emplace(m_choice.path);
    return *m_file;
  }

  std::uint64_t Capacity() const { return m_choice.capacity; }

private:
  EventStoreChoice m_choice;
  std::optional<EventStoreFile> m_file;
};

class StoredSource final : public RegisteredSource {
public:
  StoredSource(const EventStoreChoice& choice, const std::string& source)
      : m_store(choice), m_source(source) {
    if (m_store.File().IsReadOnly()) throw DatabaseError{ERROR_ACCESS_DENIED};
  }

  ULong Report(const EventToWrite& event) override {
    return Answer([&] {
      EventRecord record;
      record.timeGenerated = record.timeWritten = static_cast<ULong>(std::time(nullptr));
      record.id = event.id;
      record.type = event.type;
      record.category = event.category;
      record.source = m_source;
      record.computer = ComputerName();
      record.strings = event.strings;
      record.data.assign(event.data.begin(), event.data.end());
      std::vector<std::byte> image = ComposeEventRecord(record);
      m_store.File().Append(m_source, image, m_store.Capacity());
      return ERROR_SUCCESS;
    });
  }

private:
  OpenedStore m_store;
  std::string m_source;
};

class StoredLog final : public OpenedLog {
public:
  StoredLog(const EventStoreChoice& choice, const std::string& name)
      : m_store(choice), m_name(name) {}

  ULong Read(ULong flags, ULong recordOffset, std::span<std::byte> buffer, ULong& bytesRead,
             ULong& bytesNeeded) override {
    return Answer([&] {
      const bool isSeek = (flags & EVENTLOG_SEEK_READ) != 0;
      const bool upwards = (flags & EVENTLOG_FORWARDS_READ) != 0;
      EventStoreFile& file = m_store.File();
      const std::int64_t log = file.FindLog(m_name);

      ULong outcome = isSeek ? ERROR_INVALID_PARAMETER : ERROR_HANDLE_EOF;
      std::optional<ULong> position = m_position;
      const std::int64_t first = isSeek ? recordOffset : NextNumber(upwards);
      file.ForEachRecord(log, upwards, first, [&](ULong number, std::span<const std::byte> image) {
        if (isSeek && bytesRead == 0 && number != recordOffset) return false;
        if (!IsWholeRecord(image)) {
          if (bytesRead == 0) outcome = ERROR_EVENTLOG_FILE_CORRUPT;
          return false;
        }
        if (image.size() > buffer.size() - bytesRead) {
          if (bytesRead > 0) return false;
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
  // Where a sequential read begins: beside the record handed out last, else at the end that the
  // direction starts from.
  std::int64_t NextNumber(bool upwards) const {
    if (!m_position) return upwards ? 0 : std::numeric_limits<std::int64_t>::max();
    return upwards ? std::int64_t{*m_position} + 1 : std::int64_t{*m_position} - 1;
  }

  OpenedStore m_store;
  std::string m_name;
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
