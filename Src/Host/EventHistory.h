#pragma once

#include "Host/Types.h"

#include <Ondrel/Host.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// What each host's event log does beyond the operations that the required classes need: reading
/// past records, saying when one came, writing with an answer, adding records from elsewhere. The
/// classes of `Ondrel/Host.h` stand on these. Failures are Win32 error numbers; nothing is thrown
/// but `std::bad_alloc`. An object is used by one thread at a time.
namespace Ondrel::Host {

/// Items of one read, whose texts reuse the memory of earlier ones.
class ItemList {
public:
  explicit ItemList(std::vector<EventLogItem>& items, std::size_t most = 256)
      : m_items(items), m_most(most) {}
  ~ItemList() { m_items.resize(m_count); }

  ItemList(const ItemList&) = delete;
  ItemList& operator=(const ItemList&) = delete;

  bool IsEmpty() const { return m_count == 0; }
  bool IsFull() const { return m_count >= m_most; }

  /// The record of a new item; `Drop` takes it back.
  EventLogRecord& AddRecord() { return Add(EventLogItemKind::kRecord).record; }
  void Drop() { --m_count; }

  /// Adds what is not a record. Numbers that go on those of the item before join it.
  void AddNote(EventLogItemKind kind, std::uint64_t first = 0, std::uint64_t last = 0) {
    if (m_count > 0 && kind != EventLogItemKind::kReplaced) {
      EventLogItem& before = m_items[m_count - 1];
      if (before.kind == kind && before.file.empty() && before.last + 1 == first) {
        before.last = last;
        return;
      }
      if (before.kind == kind && before.file.empty() && last + 1 == before.first) {
        before.first = first;
        return;
      }
    }
    EventLogItem& item = Add(kind);
    item.record = {};
    item.first = first;
    item.last = last;
  }

  /// Adds a file that cannot be read.
  void AddDamagedFile(const std::string& file) {
    EventLogItem& item = Add(EventLogItemKind::kDamaged);
    item.record = {};
    item.file = file;
  }

private:
  EventLogItem& Add(EventLogItemKind kind) {
    if (m_count == m_items.size()) m_items.emplace_back();
    EventLogItem& item = m_items[m_count++];
    item.kind = kind;
    item.first = item.last = 0;
    item.file.clear();
    return item;
  }

  std::vector<EventLogItem>& m_items;
  std::size_t m_most;
  std::size_t m_count = 0;
};

/// The records of one log over a range.
class EventHistory {
public:
  virtual ~EventHistory() = default;

  /// As `CEventLogReader::Read`; `items` is empty at first.
  virtual ULong Read(ItemList& items) = 0;
  virtual std::string Position() const = 0;
  virtual std::string Identity() const = 0;
};

/// Says when something came into a log; see `CEventLogWait`.
class EventSignal {
public:
  virtual ~EventSignal() = default;

  virtual std::intptr_t Handle() const = 0;
  virtual void Reset() = 0;
  virtual bool Wait(std::chrono::milliseconds patience) = 0;
};

/// A source whose reports are answered; see `CEventLogWriter`.
class CheckedSource {
public:
  virtual ~CheckedSource() = default;

  virtual EventLogReport Report(WORD type, ULong id, const std::string& text) = 0;
};

/// Adds records from elsewhere to a log; see `CEventLogImport`.
class RecordImport {
public:
  virtual ~RecordImport() = default;

  virtual ULong Add(const std::vector<EventLogRecord>& records) = 0;
  virtual std::uint64_t Dropped() const = 0;
};

/// Null with the reason in `error` when it fails; so do the others.
std::unique_ptr<EventHistory> OpenHistory(const std::string& log, const EventLogRange& range,
                                          ULong& error);
std::unique_ptr<EventSignal> OpenSignal(const std::string& log, ULong& error);
std::unique_ptr<CheckedSource> OpenCheckedSource(const std::string& source, ULong& error);
std::unique_ptr<RecordImport> OpenImport(const std::string& log, ULong& error);

/// True when the record's source is one of those of the range, or the range names none.
bool IsWantedSource(const EventLogRange& range, const char* source);

/// True when times, number, source and computer of a record lie in the range.
bool IsInRange(const EventLogRange& range, const EventLogRecord& record);

/// Takes a whole record of the published layout apart. False when a text or an offset leaves it.
bool ReadEventRecord(const std::byte* bytes, std::size_t size, EventLogRecord& record);

}  // namespace Ondrel::Host
