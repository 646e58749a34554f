#include "Host/EventHistory.h"
#include "Host/Linux/EventLog/EventRecord.h"
#include "Host/Linux/EventLog/EventSignals.h"
#include "Host/Linux/EventLog/EventStore.h"
#include "Host/Linux/EventLog/HostChoice.h"
#include "Host/Linux/EventLog/Journal.h"
#include "Host/Linux/EventLog/StoreHistory.h"

#include <new>
#include <string>
#include <utility>

namespace Ondrel::Host {

namespace {

bool IsName(const std::string& name) {
  return !name.empty() && name.size() <= kLongestName && name.find('\0') == name.npos;
}

/// A source of the store: its report answers for itself.
class CheckedStoreSource final : public CheckedSource {
public:
  explicit CheckedStoreSource(std::unique_ptr<RegisteredSource> source)
      : m_source(std::move(source)) {}

  EventLogReport Report(WORD type, ULong id, const std::string& text) override {
    EventLogReport report;
    report.error =
        m_source->Report({.type = type, .category = 0, .id = id, .strings = {text}, .data = {}});
    report.isChecked = report.error == ERROR_SUCCESS;
    if (report.isChecked) report.number = m_source->LastNumber();
    return report;
  }

private:
  std::unique_ptr<RegisteredSource> m_source;
};

struct ErrorWords {
  ULong error;
  const char* words;
};

constexpr ErrorWords kErrorWords[] = {
    {ERROR_SUCCESS, "done"},
    {ERROR_FILE_NOT_FOUND, "the file is not there, or a link that leads nowhere"},
    {ERROR_PATH_NOT_FOUND, "the folder does not exist"},
    {ERROR_TOO_MANY_OPEN_FILES, "too many files are open"},
    {ERROR_ACCESS_DENIED, "access is denied"},
    {ERROR_INVALID_HANDLE, "the log is not open"},
    {ERROR_NOT_ENOUGH_MEMORY, "there is not enough memory"},
    {ERROR_WRITE_PROTECT, "the file system may only be read"},
    {ERROR_GEN_FAILURE, "the host failed for a reason that it does not say"},
    {ERROR_SHARING_VIOLATION, "the file is in use"},
    {ERROR_LOCK_VIOLATION, "another program kept the store locked for too long"},
    {ERROR_HANDLE_EOF, "the log has no further records"},
    {ERROR_NOT_SUPPORTED, "this kind of event log cannot do that"},
    {ERROR_FILE_EXISTS, "the file is there already"},
    {ERROR_INVALID_PARAMETER, "a wrong argument, or a record that is not there"},
    {ERROR_DISK_FULL, "the disk is full, or a quota or file size limit is reached"},
    {ERROR_INSUFFICIENT_BUFFER, "the record is too large"},
    {ERROR_IO_DEVICE, "the disk fails to read or write"},
    {ERROR_EVENTLOG_FILE_CORRUPT, "damaged, or not an event log, or one of a later version"},
    {ERROR_EVENTLOG_CANT_START, "the journal took the event and did not keep it"},
    {ERROR_LOG_FILE_FULL, "the record cannot fit, or the log has given out its last number"},
    {ERROR_EVENTLOG_FILE_CHANGED, "the log was cleared while it was read"},
};

}  // namespace

std::string EventLogErrorText(ULong error) {
  if (error == ERROR_FILE_NOT_FOUND && ChosenEventLog().kind == EventLogKind::kJournal)
    return "nobody takes entries at the journal's socket";
  for (const ErrorWords& row : kErrorWords)
    if (row.error == error) return row.words;
  return "error " + std::to_string(error);
}

std::unique_ptr<EventHistory> OpenHistory(const std::string& log, const EventLogRange& range,
                                          ULong& error) {
  error = ERROR_INVALID_PARAMETER;
  if (!IsName(log)) return nullptr;
  const EventLogChoice choice = ChosenEventLog();
  return choice.kind == EventLogKind::kStore ? OpenStoreHistory(choice.store, log, range, error)
                                             : OpenJournalHistory(choice.files, range, error);
}

std::unique_ptr<EventSignal> OpenSignal(const std::string& log, ULong& error) {
  error = ERROR_INVALID_PARAMETER;
  if (!IsName(log)) return nullptr;
  error = ERROR_SUCCESS;
  const EventLogChoice choice = ChosenEventLog();
  return choice.kind == EventLogKind::kStore ? WatchStore(choice.store.path, error)
                                             : WatchJournal(choice.files, error);
}

std::unique_ptr<CheckedSource> OpenCheckedSource(const std::string& source, ULong& error) {
  error = ERROR_INVALID_PARAMETER;
  if (!IsName(source)) return nullptr;
  const EventLogChoice choice = ChosenEventLog();
  if (choice.kind == EventLogKind::kJournal) return OpenCheckedJournalSource(source, error);
  error = ERROR_NOT_SUPPORTED;
  if (choice.kind == EventLogKind::kJournalFiles) return nullptr;
  auto registered = RegisterStoredSource(choice.store, source, error);
  if (!registered) return nullptr;
  return std::make_unique<CheckedStoreSource>(std::move(registered));
}

std::unique_ptr<RecordImport> OpenImport(const std::string& log, ULong& error) {
  error = ERROR_INVALID_PARAMETER;
  if (!IsName(log)) return nullptr;
  const EventLogChoice choice = ChosenEventLog();
  error = ERROR_NOT_SUPPORTED;
  if (choice.kind != EventLogKind::kStore) return nullptr;
  return OpenStoreImport(choice.store, log, error);
}

ULong ListEventLogs(std::vector<EventLogSummary>& logs) {
  logs.clear();
  const EventLogChoice choice = ChosenEventLog();
  return choice.kind == EventLogKind::kStore ? ListStoredLogs(choice.store, logs)
                                             : SummarizeJournal(choice.files, logs);
}

ULong ClearEventRecords(const std::string& name, std::optional<ULong> time,
                        std::uint64_t& removed) {
  removed = 0;
  if (!IsName(name)) return ERROR_INVALID_PARAMETER;
  const EventLogChoice choice = ChosenEventLog();
  if (choice.kind != EventLogKind::kStore) return ERROR_NOT_SUPPORTED;
  return ClearStoredLog(choice.store, name, time, removed);
}

}  // namespace Ondrel::Host
