#include "Windows/SystemLogWindows/RecordHistory.h"

#include "Host/EventLogOperations.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr std::size_t kBufferSize = 65536;
constexpr std::string_view kPositionMark = "windows:";
constexpr ULong kForwards = EVENTLOG_FORWARDS_READ;
constexpr ULong kBackwards = EVENTLOG_BACKWARDS_READ;

/// An opened log, given back with the object.
class Log {
public:
  explicit Log(const std::string& name)
      : m_handle(EventLog().OpenEventLogA(nullptr, name.c_str())) {}
  ~Log() {
    if (m_handle != nullptr) EventLog().CloseEventLog(m_handle);
  }

  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  void* Handle() const { return m_handle; }

private:
  void* m_handle;
};

class RecordHistory final : public EventHistory {
public:
  RecordHistory(std::string log, const EventLogRange& range)
      : m_name(std::move(log)), m_range(range), m_buffer(kBufferSize) {}

  ULong Begin() {
    const bool isNewOnly = m_range.isNewOnly;
    if (!m_range.after.empty() && !TakePosition()) return ERROR_INVALID_PARAMETER;
    const ULong error = Reopen();
    if (error != ERROR_SUCCESS || !isNewOnly) return error;
    const ULong outcome = ReadBuffer(EVENTLOG_SEQUENTIAL_READ | kBackwards, 0);
    if (outcome == ERROR_HANDLE_EOF) {
      m_range.firstNumber = 1;  // What comes and goes before it is read is missed.
      return Reopen();
    }
    if (outcome != ERROR_SUCCESS) return outcome;
    if (const std::optional<EVENTLOGRECORD> newest = RecordAt(0)) SetMark(*newest);
    return Reopen();
  }

  ULong Read(ItemList& items) override {
    return m_range.isNewestFirst ? ReadBackwards(items) : ReadForwards(items);
  }

  std::string Position() const override {
    if (m_range.isNewestFirst) return {};
    // Of a log without records, its beginning: nothing of what comes is old.
    if (!m_mark) return m_range.isNewOnly ? std::string(kPositionMark) + "0:0" : std::string();
    return std::string(kPositionMark) + std::to_string(m_mark->number) + ":" +
           std::to_string(m_mark->time.value_or(0));
  }

  std::string Identity() const override { return {}; }

private:
  // The record that was read last; its time says whether it is still the same.
  struct Mark {
    ULong number;
    std::optional<ULong> time;
  };

  bool TakePosition() {
    std::string_view text = m_range.after;
    if (!text.starts_with(kPositionMark)) return false;
    text.remove_prefix(kPositionMark.size());
    ULong number = 0;
    ULong time = 0;
    const char* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, number);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != ':') return false;
    const auto second = std::from_chars(first.ptr + 1, end, time);
    if (second.ec != std::errc() || second.ptr != end) return false;
    if (number > 0) {
      m_mark = Mark{number, time};
    } else {
      m_range.isNewOnly = true;
      m_range.firstNumber = 1;
    }
    return true;
  }

  ULong Reopen() {
    m_log = std::make_unique<Log>(m_name);
    m_isSequential = false;
    return m_log->Handle() != nullptr ? ERROR_SUCCESS : EventLog().GetLastError();
  }

  void SetMark(const EVENTLOGRECORD& record) {
    m_mark = Mark{record.RecordNumber, record.TimeGenerated};
  }

  // Reads once, with as large a buffer as it takes.
  ULong ReadBuffer(ULong flags, ULong number) {
    for (;;) {
      m_bytesRead = 0;
      ULong needed = 0;
      if (EventLog().ReadEventLogA(m_log->Handle(), flags, number, m_buffer.data(),
                                   static_cast<ULong>(m_buffer.size()), &m_bytesRead,
                                   &needed) != 0) {
        m_bytesRead = std::min<ULong>(m_bytesRead, static_cast<ULong>(m_buffer.size()));
        return ERROR_SUCCESS;
      }
      const ULong error = EventLog().GetLastError();
      m_bytesRead = 0;
      if (error != ERROR_INSUFFICIENT_BUFFER || needed <= m_buffer.size()) return error;
      m_buffer.resize(needed);
    }
  }

  // The fixed part of the whole record at a place of the buffer.
  std::optional<EVENTLOGRECORD> RecordAt(std::size_t at) const {
    EVENTLOGRECORD fields;
    if (m_bytesRead - at < sizeof fields) return std::nullopt;
    std::memcpy(&fields, m_buffer.data() + at, sizeof fields);
    if (fields.Length < sizeof fields || fields.Length > m_bytesRead - at) return std::nullopt;
    return fields;
  }

  ULong ReadForwards(ItemList& items) {
    for (int tries = 0; tries < kMostTries; ++tries) {
      const bool isSeek = !m_isSequential && m_mark;
      const ULong error = isSeek ? ReadBuffer(EVENTLOG_SEEK_READ | kForwards, m_mark->number)
                                 : ReadBuffer(EVENTLOG_SEQUENTIAL_READ | kForwards, 0);
      if (error == ERROR_HANDLE_EOF) return ERROR_SUCCESS;
      if (error == ERROR_SUCCESS) {
        if (isSeek && IsOther()) {
          Restart(items);
          continue;
        }
        TakeForwards(items, isSeek);
        if (!items.IsEmpty()) return ERROR_SUCCESS;
        tries = 0;  // All that was read lies outside the range.
        continue;
      }
      if (error == ERROR_EVENTLOG_FILE_CHANGED) {
        const ULong outcome = Reopen();
        if (outcome != ERROR_SUCCESS) return outcome;
        if (m_mark) Restart(items);
        continue;
      }
      if (error == ERROR_INVALID_PARAMETER && isSeek) {
        if (!PassGap(items)) return error;
        continue;
      }
      if (error == ERROR_EVENTLOG_FILE_CORRUPT && m_mark) return PassDamage(items);
      return error;
    }
    return ERROR_SUCCESS;
  }

  // Whether the record with the mark's number is another than the one that was read.
  bool IsOther() const {
    const std::optional<EVENTLOGRECORD> first = RecordAt(0);
    return first && m_mark->time && first->RecordNumber == m_mark->number &&
           first->TimeGenerated != *m_mark->time;
  }

  void Restart(ItemList& items) {
    items.AddNote(EventLogItemKind::kReplaced);
    m_mark.reset();
    m_range.firstNumber.reset();
    Reopen();
  }

  // The mark's record is gone: the oldest says what went with it. False when that is not known.
  bool PassGap(ItemList& items) {
    ULong oldest = 0;
    if (!EventLog().GetOldestEventLogRecord ||
        EventLog().GetOldestEventLogRecord(m_log->Handle(), &oldest) == 0)
      return false;
    if (oldest <= m_mark->number) {
      Restart(items);
      return true;
    }
    if (oldest > m_mark->number + 1)
      items.AddNote(EventLogItemKind::kMissed, m_mark->number + 1, oldest - 1);
    m_mark = Mark{oldest - 1, std::nullopt};
    m_isSequential = true;  // From the oldest on.
    return true;
  }

  // The record after the mark cannot be read: it is named, and reading goes on after it.
  ULong PassDamage(ItemList& items) {
    ULong oldest = 0;
    ULong count = 0;
    if (!EventLog().GetOldestEventLogRecord || !EventLog().GetNumberOfEventLogRecords ||
        EventLog().GetOldestEventLogRecord(m_log->Handle(), &oldest) == 0 ||
        EventLog().GetNumberOfEventLogRecords(m_log->Handle(), &count) == 0 || count == 0)
      return ERROR_EVENTLOG_FILE_CORRUPT;
    if (m_mark->number + 1 < oldest) {
      // These are gone, however many: none of them is asked for.
      items.AddNote(EventLogItemKind::kMissed, m_mark->number + 1, oldest - 1);
      m_mark = Mark{oldest - 1, std::nullopt};
    }
    for (ULong number = m_mark->number + 1; number - oldest < count; ++number) {
      if (ReadBuffer(EVENTLOG_SEEK_READ | kForwards, number) == ERROR_SUCCESS) {
        TakeForwards(items, false);
        return ERROR_SUCCESS;
      }
      items.AddNote(EventLogItemKind::kDamaged, number, number);
      m_mark = Mark{number, std::nullopt};
    }
    return ERROR_SUCCESS;
  }

  // Takes the records of the buffer; the first is the mark's own after a seek.
  void TakeForwards(ItemList& items, bool isFirstKnown) {
    std::size_t at = 0;
    m_isSequential = true;
    while (const std::optional<EVENTLOGRECORD> fields = RecordAt(at)) {
      if (items.IsFull()) {
        m_isSequential = false;  // The rest is read again from the mark on.
        return;
      }
      const bool isKnown = isFirstKnown && at == 0 && fields->RecordNumber == m_mark->number;
      if (!isKnown) {
        if (m_mark && fields->RecordNumber > m_mark->number + 1)
          items.AddNote(EventLogItemKind::kMissed, m_mark->number + 1, fields->RecordNumber - 1);
        // Numbers that were asked for and are gone by now.
        if (!m_mark && m_range.firstNumber && fields->RecordNumber > *m_range.firstNumber)
          items.AddNote(EventLogItemKind::kMissed, *m_range.firstNumber, fields->RecordNumber - 1);
        Take(items, at, *fields);
        SetMark(*fields);
      }
      at += fields->Length;
    }
  }

  ULong ReadBackwards(ItemList& items) {
    while (items.IsEmpty()) {
      const ULong error = ReadBuffer(EVENTLOG_SEQUENTIAL_READ | kBackwards, 0);
      if (error == ERROR_HANDLE_EOF) return ERROR_SUCCESS;
      if (error != ERROR_SUCCESS) return error;
      std::size_t at = 0;
      while (const std::optional<EVENTLOGRECORD> fields = RecordAt(at)) {
        if (m_mark && fields->RecordNumber + 1 < m_mark->number)
          items.AddNote(EventLogItemKind::kMissed, fields->RecordNumber + 1, m_mark->number - 1);
        Take(items, at, *fields);
        SetMark(*fields);
        at += fields->Length;
      }
      if (at == 0) return ERROR_SUCCESS;
    }
    return ERROR_SUCCESS;
  }

  void Take(ItemList& items, std::size_t at, const EVENTLOGRECORD& fields) {
    EventLogRecord& record = items.AddRecord();
    const bool isWhole = ReadEventRecord(m_buffer.data() + at, fields.Length, record);
    if (isWhole && IsInRange(m_range, record)) return;
    items.Drop();
    if (!isWhole)
      items.AddNote(EventLogItemKind::kDamaged, fields.RecordNumber, fields.RecordNumber);
  }

  // How often one read begins anew where the log changes under it.
  static constexpr int kMostTries = 5;

  std::string m_name;
  EventLogRange m_range;
  std::vector<std::byte> m_buffer;
  ULong m_bytesRead = 0;
  std::unique_ptr<Log> m_log;
  std::optional<Mark> m_mark;
  bool m_isSequential = false;  // The handle stands after the mark.
};

class AnsweredSource final : public CheckedSource {
public:
  explicit AnsweredSource(const std::string& source)
      : m_handle(EventLog().RegisterEventSourceA(nullptr, source.c_str())) {}
  ~AnsweredSource() override {
    if (m_handle != nullptr) EventLog().DeregisterEventSource(m_handle);
  }

  AnsweredSource(const AnsweredSource&) = delete;
  AnsweredSource& operator=(const AnsweredSource&) = delete;

  bool IsOpen() const { return m_handle != nullptr; }

  EventLogReport Report(WORD type, ULong id, const std::string& text) override {
    const char* strings[] = {text.c_str()};
    EventLogReport report;
    if (EventLog().ReportEventA(m_handle, type, 0, id, nullptr, 1, 0, strings, nullptr) == 0)
      report.error = EventLog().GetLastError();
    report.isChecked = report.error == ERROR_SUCCESS;
    return report;
  }

private:
  void* m_handle;
};

}  // namespace

std::unique_ptr<EventHistory> OpenRecordHistory(const std::string& log, const EventLogRange& range,
                                                ULong& error) {
  auto history = std::make_unique<RecordHistory>(log, range);
  error = history->Begin();
  if (error != ERROR_SUCCESS) return nullptr;
  return history;
}

std::unique_ptr<CheckedSource> OpenAnsweredSource(const std::string& source, ULong& error) {
  auto answered = std::make_unique<AnsweredSource>(source);
  if (answered->IsOpen()) return answered;
  error = EventLog().GetLastError();
  return nullptr;
}

ULong SummarizeLog(const std::string& log, EventLogSummary& summary) {
  summary = {};
  summary.name = log;
  const Log opened(log);
  if (opened.Handle() == nullptr) return EventLog().GetLastError();
  ULong count = 0;
  ULong oldest = 0;
  if (EventLog().GetNumberOfEventLogRecords(opened.Handle(), &count) == 0)
    return EventLog().GetLastError();
  if (count == 0) return ERROR_SUCCESS;
  if (EventLog().GetOldestEventLogRecord(opened.Handle(), &oldest) == 0)
    return EventLog().GetLastError();
  summary.records = count;
  summary.firstNumber = oldest;
  summary.lastNumber = std::uint64_t{oldest} + count - 1;
  for (const bool isNewest : {false, true}) {
    EventLogRange range;
    range.isNewestFirst = isNewest;
    ULong error = ERROR_SUCCESS;
    const auto history = OpenRecordHistory(log, range, error);
    std::vector<EventLogItem> items;
    if (history) {
      ItemList list(items);
      error = history->Read(list);
    }
    if (error != ERROR_SUCCESS) return error;
    if (items.empty()) continue;
    (isNewest ? summary.lastTime : summary.firstTime) = items.front().record.timeGenerated;
  }
  return ERROR_SUCCESS;
}

ULong ClearWholeLog(const std::string& log, bool isPart, std::uint64_t& removed) {
  removed = 0;
  if (isPart) return ERROR_NOT_SUPPORTED;
  const Log opened(log);
  if (opened.Handle() == nullptr) return EventLog().GetLastError();
  ULong count = 0;
  EventLog().GetNumberOfEventLogRecords(opened.Handle(), &count);
  if (EventLog().ClearEventLogA(opened.Handle(), nullptr) == 0) return EventLog().GetLastError();
  removed = count;
  return ERROR_SUCCESS;
}

}  // namespace Ondrel::Host
