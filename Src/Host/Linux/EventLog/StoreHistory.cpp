#include "Host/Linux/EventLog/StoreHistory.h"

#include "Host/Linux/EventLog/EventRecord.h"
#include "Host/Linux/EventLog/HistoryTables.h"
#include "Host/Linux/EventLog/StoreConnection.h"
#include "Host/Linux/EventLog/WriteAheadLog.h"
#include "Host/Linux/LastError.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <limits>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr std::int64_t kLargestNumber = std::numeric_limits<ULong>::max();
constexpr std::string_view kPositionMark = "store:";

// Whether there is no store yet at a path, which is an empty log. Throws where that cannot be seen:
// a store that cannot be reached is not an empty one. The folder has to be there, as for those who
// write.
bool IsMissing(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) return false;
  if (errno != ENOENT) throw DatabaseError{ErrorFromErrno(errno)};
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == path.npos ? "." : path.substr(0, slash + 1);
  if (stat(folder.c_str(), &status) != 0 && folder != ONDREL_STATE_DIRECTORY "/")
    throw DatabaseError{ERROR_PATH_NOT_FOUND};
  return true;
}

// Where a reader stands: the last number it has dealt with and, where that was a record that it
// could read, its checksum, by which the record is known again.
struct Mark {
  std::int64_t number = 0;
  std::optional<std::int64_t> checksum;
  bool isRead = false;  // It comes from the log, not from where the range begins.
};

struct SavedPosition {
  std::string identity;
  Mark mark;
};

std::string PositionText(const SavedPosition& position) {
  char numbers[64];
  std::snprintf(numbers, sizeof numbers, ":%lld:%llx", static_cast<long long>(position.mark.number),
                static_cast<unsigned long long>(position.mark.checksum.value_or(0)));
  const char* const sort = position.mark.checksum ? "" : position.mark.isRead ? "?" : "-";
  return std::string(kPositionMark) + position.identity + numbers + sort;
}

std::optional<SavedPosition> PositionOfText(std::string_view text) {
  if (!text.starts_with(kPositionMark)) return std::nullopt;
  text.remove_prefix(kPositionMark.size());
  const std::size_t identity = text.find(':');
  if (identity == text.npos) return std::nullopt;
  const std::size_t number = text.find(':', identity + 1);
  if (number == text.npos) return std::nullopt;
  const bool isRead = !text.ends_with('-');
  const bool isUnknown = !isRead || text.ends_with('?');
  if (isUnknown) text.remove_suffix(1);

  SavedPosition position{.identity = std::string(text.substr(0, identity)), .mark = {}};
  std::uint64_t checksum = 0;
  const auto first =
      std::from_chars(text.data() + identity + 1, text.data() + number, position.mark.number);
  const auto second =
      std::from_chars(text.data() + number + 1, text.data() + text.size(), checksum, 16);
  if (first.ec != std::errc() || first.ptr != text.data() + number || second.ec != std::errc() ||
      second.ptr != text.data() + text.size() || position.mark.number < 0 ||
      position.mark.number > kLargestNumber)
    return std::nullopt;
  if (!isUnknown) position.mark.checksum = static_cast<std::int64_t>(checksum);
  position.mark.isRead = isRead;
  return position;
}

class StoredHistory final : public EventHistory {
public:
  StoredHistory(const EventStoreChoice& choice, std::string log, const EventLogRange& range)
      : m_path(choice.path), m_log(std::move(log)), m_range(range) {
    if (!range.after.empty()) {
      const std::optional<SavedPosition> position = PositionOfText(range.after);
      if (!position) throw DatabaseError{ERROR_INVALID_PARAMETER};
      m_identity = position->identity;
      m_mark = position->mark;
      m_isKnown = m_mark.isRead || !m_identity.empty();
      m_isStarted = true;
    } else if (range.firstNumber && !range.isNewestFirst) {
      m_mark.number =
          static_cast<std::int64_t>(std::min<std::uint64_t>(*range.firstNumber, kLargestNumber)) -
          1;
      m_mark.number = std::max<std::int64_t>(m_mark.number, 0);
      m_isStarted = true;
    }
    Connect();
    if (range.isNewOnly || !(m_isStarted || range.isNewestFirst)) Begin();
  }

  ULong Read(ItemList& items) override {
    return Answer([&]() -> ULong {
      for (int files = 0; files < kMostFiles; ++files) {
        if (m_connection && m_connection->file.IsInPlace() && m_connection->file.IsOverwritten()) {
          m_connection->file.Forget();
          m_connection.reset();
          Connect();
        }
        // The file that was read so far is read to its end also when the path leads to another.
        const bool isInPlace = !m_connection || m_connection->file.IsInPlace();
        if (m_connection) {
          m_connection->file.Connection().SetPatience(kPatience);
          ReadConnection(items);
        }
        if (!items.IsEmpty() || (isInPlace && m_connection)) return ERROR_SUCCESS;
        m_connection.reset();
        Connect();
        // A store that was there and is gone is not an empty log.
        if (!m_connection) return m_isKnown ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
      }
      return ERROR_SUCCESS;
    });
  }

  std::string Position() const override {
    if (m_range.isNewestFirst || !m_isStarted) return {};
    return PositionText({.identity = m_identity, .mark = m_mark});
  }

  std::string Identity() const override { return m_identity; }

private:
  using Connection = StoreConnection<HistoryTables>;

  // How often one read follows a file that is replaced again and again.
  static constexpr int kMostFiles = 3;

  void Connect() {
    if (IsMissing(m_path)) return;
    m_connection = std::make_unique<Connection>(m_path, m_log);
    LookForDamage();
    const std::string identity = m_connection->file.Identity();
    // Known from an earlier connection, or from the position that the reader began with. A store of
    // an earlier version has none until it is written.
    if (m_isKnown && !m_identity.empty() && identity != m_identity) m_isReplaced = true;
    m_identity = identity;
    m_isKnown = true;
  }

  void LookForDamage() {
    const std::string log = m_connection->file.WriteAheadLogPath();
    if (!LooksWriteAheadLogDamaged(log)) return;
    try {
      Transaction::Statements statements(m_connection->file.Connection());
      const Transaction noWriter(statements);
      if (LooksWriteAheadLogDamaged(log)) m_damagedLog = log;
    } catch (const DatabaseError&) {
      // Who may not write cannot keep writers away, and would name what is only being written.
    }
  }

  // Where the range begins, as of now: what comes from here on and goes away before it is read is
  // missed.
  void Begin() {
    m_isStarted = true;
    if (!m_connection) return;
    const HistoryTables::Picture picture(tables());
    std::optional<LogState> state;
    try {
      state = tables().State();
    } catch (const DatabaseError& failure) {
      // The read will say it.
      if (m_range.isNewOnly || failure.error != ERROR_EVENTLOG_FILE_CORRUPT) throw;
      m_isStarted = false;
    }
    if (!state) return;
    if (m_range.isNewOnly) {
      m_mark.number = state->lastNumber;
      tables().One(state->ids, state->lastNumber,
                   [this](const StoredRecord& record) { m_mark.checksum = record.checksum; });
      m_mark.isRead = true;
    } else if (state->dropped) {
      m_mark.number = *state->dropped;
    } else {
      m_isStarted = false;
    }
  }

  // Begins anew with what is there now.
  void Restart(ItemList& items) {
    items.AddNote(EventLogItemKind::kReplaced);
    m_mark = {};
    m_isStarted = m_isReplaced = false;
    // It was meant for the store that is gone.
    m_range.firstNumber.reset();
  }

  void ReadConnection(ItemList& items) {
    HistoryTables& tables = m_connection->tables;
    const HistoryTables::Picture picture(tables);
    if (!m_damagedLog.empty()) items.AddDamagedFile(std::exchange(m_damagedLog, {}));
    if (m_isReplaced) Restart(items);
    const std::optional<LogState> state = tables.State();
    if (!state) {
      if (m_mark.isRead && m_mark.number > 0) Restart(items);
      return;
    }
    if (m_range.isNewestFirst)
      ReadDownwards(items, *state);
    else
      ReadUpwards(items, *state);
  }

  void ReadUpwards(ItemList& items, const LogState& state) {
    if (m_mark.isRead && m_mark.number > state.lastNumber) Restart(items);
    const std::int64_t last = Limit(kLargestNumber);
    bool isBaselineKnown = m_isStarted;
    if (!m_isStarted) {
      m_mark = {};
      m_expected = 1;
      m_isStarted = true;
      if (state.dropped) {
        m_expected = *state.dropped + 1;
        isBaselineKnown = true;
      }
    } else {
      m_expected = m_mark.number + 1;
    }

    bool isOther = false;
    const auto take = [&](const StoredRecord& record) {
      if (record.number == m_mark.number) {
        isOther = record.isSound && record.checksum != m_mark.checksum;
        return !isOther;
      }
      // The number itself may be what is damaged: it says nothing of those below it.
      if (!record.isSound && record.number != m_expected) {
        Take(items, record);
        if (!items.IsFull()) return true;
        SetMark(record);
        return false;
      }
      if (isBaselineKnown && record.number > m_expected)
        items.AddNote(EventLogItemKind::kMissed, Number(m_expected), Number(record.number - 1));
      isBaselineKnown = true;
      Take(items, record);
      SetMark(record);
      m_expected = std::max(m_expected, record.number + 1);
      return !items.IsFull();
    };
    bool isAtEnd = false;
    while (!items.IsFull() && !isAtEnd && !isOther) {
      const std::int64_t first = m_mark.checksum ? m_mark.number : m_mark.number + 1;
      if (first > last) return;
      try {
        isAtEnd = tables().ForEach(state.ids, first, last, take);
      } catch (const DatabaseError& failure) {
        if (failure.error != ERROR_EVENTLOG_FILE_CORRUPT) throw;
        if (!PassDamage(items, state, std::min(last, state.lastNumber), 1)) isAtEnd = true;
      }
    }
    if (isOther) {
      Restart(items);
      ReadUpwards(items, state);
      return;
    }
    const std::int64_t end = std::min(last, state.lastNumber);
    if (!isAtEnd || m_expected > end) return;
    if (isBaselineKnown) items.AddNote(EventLogItemKind::kMissed, Number(m_expected), Number(end));
    m_mark = {.number = end, .checksum = {}, .isRead = true};
  }

  void SetMark(const StoredRecord& record) {
    m_mark = {.number = record.number, .checksum = {}, .isRead = true};
    if (record.isSound) m_mark.checksum = record.checksum;
  }

  void ReadDownwards(ItemList& items, const LogState& state) {
    if (!m_isStarted) {
      m_isStarted = true;
      m_expected = Limit(state.lastNumber);
      m_next = Limit(kLargestNumber);
    }
    const std::int64_t lowest = static_cast<std::int64_t>(
        std::min<std::uint64_t>(m_range.firstNumber.value_or(1), kLargestNumber));
    const auto take = [&](const StoredRecord& record) {
      if (!record.isSound && record.number != m_expected && !items.IsFull()) {
        Take(items, record);
        return true;
      }
      if (record.number < m_expected)
        items.AddNote(EventLogItemKind::kMissed, Number(record.number + 1), Number(m_expected));
      Take(items, record);
      m_next = m_expected = record.number - 1;
      return !items.IsFull();
    };
    bool isAtEnd = false;
    while (!items.IsFull() && !isAtEnd && m_next >= lowest) {
      try {
        isAtEnd = tables().ForEach(state.ids, m_next, lowest, take);
      } catch (const DatabaseError& failure) {
        if (failure.error != ERROR_EVENTLOG_FILE_CORRUPT) throw;
        m_next = std::min(m_next, state.lastNumber);
        m_mark.number = m_next + 1;
        const std::int64_t end = std::max(lowest, state.dropped.value_or(0) + 1);
        if (!PassDamage(items, state, end, -1)) isAtEnd = true;
        m_next = m_expected = m_mark.number - 1;
      }
    }
    if (!isAtEnd) return;
    const std::int64_t baseline = std::max(lowest, state.dropped.value_or(m_expected) + 1);
    if (m_expected >= baseline)
      items.AddNote(EventLogItemKind::kMissed, Number(baseline), Number(m_expected));
    m_next = m_expected = 0;
  }

  // Steps over the numbers after (or before) the mark that cannot be read, up to `end`, and names
  // them. False when none beyond them can.
  bool PassDamage(ItemList& items, const LogState& state, std::int64_t end, int step) {
    const std::int64_t first = m_mark.number + step;
    std::int64_t number = first;
    bool isFound = false;
    for (; step > 0 ? number <= end : number >= end; number += step) {
      const auto found = tables().One(state.ids, number, [&](const StoredRecord& record) {
        const std::int64_t last = number - step;
        NameDamage(items, step > 0 ? first : last, step > 0 ? last : first);
        Take(items, record);
        SetMark(record);
      });
      isFound = found == HistoryTables::Found::kRecord;
      if (isFound) break;
    }
    if (!isFound) {
      NameDamage(items, step > 0 ? first : end, step > 0 ? end : first);
      m_mark = {.number = step > 0 ? std::max(m_mark.number, end) : std::min(m_mark.number, end),
                .checksum = {},
                .isRead = true};
    }
    m_expected = m_mark.number + step;
    return isFound;
  }

  static void NameDamage(ItemList& items, std::int64_t first, std::int64_t last) {
    if (first > last) return;
    items.AddNote(EventLogItemKind::kDamaged, Number(first), Number(last));
  }

  void Take(ItemList& items, const StoredRecord& record) {
    if (!record.isSound) {
      items.AddNote(EventLogItemKind::kDamaged, Number(record.number), Number(record.number));
      return;
    }
    EventLogRecord& taken = items.AddRecord();
    const bool isTaken = ReadEventRecord(record.image.data(), record.image.size(), taken);
    if (isTaken && IsInRange(m_range, taken)) return;
    items.Drop();
    if (!isTaken)
      items.AddNote(EventLogItemKind::kDamaged, Number(record.number), Number(record.number));
  }

  static std::uint64_t Number(std::int64_t number) { return static_cast<std::uint64_t>(number); }

  std::int64_t Limit(std::int64_t otherwise) const {
    if (!m_range.lastNumber) return otherwise;
    return static_cast<std::int64_t>(
        std::min<std::uint64_t>(*m_range.lastNumber, static_cast<std::uint64_t>(otherwise)));
  }

  HistoryTables& tables() { return m_connection->tables; }

  std::string m_path;
  std::string m_log;
  EventLogRange m_range;
  std::unique_ptr<Connection> m_connection;
  std::string m_identity;
  bool m_isKnown = false;     // The identity is that of a store that was there.
  bool m_isStarted = false;   // The mark says where to go on.
  bool m_isReplaced = false;  // Another store has taken the place, which is still to be said.
  std::string m_damagedLog;   // Holds what nobody can read; still to be said.
  Mark m_mark;
  std::int64_t m_expected = 1;  // The number that comes next where none is missing.
  std::int64_t m_next = 0;      // Downwards: where the next read begins.
};

class StoredImport final : public RecordImport {
public:
  StoredImport(const EventStoreChoice& choice, const std::string& log)
      : m_connection(choice.path, log, choice.capacity) {}

  ULong Add(const std::vector<EventLogRecord>& records) override {
    return Answer([&]() -> ULong {
      std::vector<std::vector<std::byte>> images;
      images.reserve(records.size());
      for (const EventLogRecord& record : records) {
        images.push_back(Compose(record));
        // Nothing is cut in silence.
        EventLogRecord back;
        if (!ReadEventRecord(images.back().data(), images.back().size(), back) ||
            back.strings != record.strings || back.data != record.data ||
            back.source != record.source || back.computer != record.computer)
          return ERROR_INSUFFICIENT_BUFFER;
      }
      if (!m_connection.file.IsInPlace()) return ERROR_FILE_NOT_FOUND;
      m_connection.file.Connection().SetPatience(kPatience);
      m_connection.tables.Import(images);
      m_connection.file.Announce();
      return m_connection.file.IsInPlace() ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
    });
  }

  std::uint64_t Dropped() const override { return m_connection.tables.Dropped(); }

private:
  static std::vector<std::byte> Compose(const EventLogRecord& record) {
    EventRecord composed;
    composed.number = static_cast<ULong>(record.number);
    composed.timeGenerated = record.timeGenerated;
    composed.timeWritten = record.timeWritten;
    composed.id = record.eventID;
    composed.type = static_cast<WORD>(record.eventType);
    composed.category = static_cast<WORD>(record.category);
    composed.source = record.source;
    composed.computer = record.computer;
    composed.strings = record.strings;
    const auto* bytes = reinterpret_cast<const std::byte*>(record.data.data());
    composed.data.assign(bytes, bytes + record.data.size());
    return ComposeEventRecord(composed);
  }

  StoreConnection<RecordWriter> m_connection;
};

}  // namespace

std::unique_ptr<EventHistory> OpenStoreHistory(const EventStoreChoice& choice,
                                               const std::string& log, const EventLogRange& range,
                                               ULong& error) {
  std::unique_ptr<EventHistory> history;
  error = Answer([&] {
    history = std::make_unique<StoredHistory>(choice, log, range);
    return ERROR_SUCCESS;
  });
  return history;
}

std::unique_ptr<RecordImport> OpenStoreImport(const EventStoreChoice& choice,
                                              const std::string& log, ULong& error) {
  std::unique_ptr<RecordImport> import;
  error = Answer([&] {
    import = std::make_unique<StoredImport>(choice, log);
    return ERROR_SUCCESS;
  });
  return import;
}

ULong ListStoredLogs(const EventStoreChoice& choice, std::vector<EventLogSummary>& logs) {
  return Answer([&]() -> ULong {
    if (IsMissing(choice.path)) return ERROR_SUCCESS;
    EventStoreFile file(choice.path, EventStoreFile::Purpose::kReading);
    Database& database = file.Connection();
    const bool hasChecks = file.HasChecks();
    Statement all(database, hasChecks ? "SELECT id, name, checksum FROM log ORDER BY name"
                                      : "SELECT id, name, NULL FROM log ORDER BY name");
    Statement sizes(database,
                    "SELECT count(*), coalesce(sum(length(image)), 0), coalesce(min(id), ?1),"
                    " coalesce(max(id), ?1) FROM record WHERE id BETWEEN ?1 AND ?2");
    Statement one(database, "SELECT image FROM record WHERE id=?1");
    const auto timeOf = [&](std::int64_t id) -> ULong {
      const StatementUse use(one);
      EventLogRecord record;
      if (!one.Bind(1, id).Step()) return 0;
      const std::span<const std::byte> image = one.Bytes(0);
      return ReadEventRecord(image.data(), image.size(), record) ? record.timeGenerated : 0;
    };
    while (all.Step()) {
      const RecordIds ids{all.Integer(0)};
      EventLogSummary summary;
      summary.name = all.Text(1);
      if (!all.IsNull(2) && all.Integer(2) != LogChecksum(ids.log, summary.name))
        return ERROR_EVENTLOG_FILE_CORRUPT;
      const StatementUse use(sizes);
      sizes.Bind(1, ids.First()).Bind(2, ids.Last()).Step();
      summary.records = static_cast<std::uint64_t>(sizes.Integer(0));
      summary.bytes = static_cast<std::uint64_t>(sizes.Integer(1));
      summary.firstNumber = static_cast<std::uint64_t>(sizes.Integer(2) - ids.First());
      summary.lastNumber = static_cast<std::uint64_t>(sizes.Integer(3) - ids.First());
      if (summary.records > 0) {
        summary.firstTime = timeOf(sizes.Integer(2));
        summary.lastTime = timeOf(sizes.Integer(3));
      }
      logs.push_back(std::move(summary));
    }
    return ERROR_SUCCESS;
  });
}

ULong ClearStoredLog(const EventStoreChoice& choice, const std::string& log,
                     std::optional<ULong> time, std::uint64_t& removed) {
  return Answer([&]() -> ULong {
    removed = 0;
    if (IsMissing(choice.path)) return ERROR_SUCCESS;
    StoreConnection<RecordWriter> connection(choice.path, log, choice.capacity);
    removed = connection.tables.Clear(time);
    connection.file.Announce();
    return ERROR_SUCCESS;
  });
}

}  // namespace Ondrel::Host
