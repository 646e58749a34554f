#include "Host/EventLogOperations.h"
#include "Host/Immortal.h"
#include "Host/Linux/EventLog/EventLogBackend.h"
#include "Host/Linux/EventLog/EventRecord.h"
#include "Host/Linux/EventLog/EventStore.h"
#include "Host/Linux/EventLog/HostChoice.h"
#include "Host/Linux/EventLog/Journal.h"
#include "Host/Linux/HandleTable.h"
#include "Host/Linux/LastError.h"
#include "Host/Linux/Messages/MessageModules.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

namespace Ondrel::Host {

namespace {

// What a handle stands for, kept to one thread at a time.
template <class Object>
struct Guarded {
  std::mutex mutex;
  std::unique_ptr<Object> object;
};

using OpenedLogs = HandleTable<Guarded<OpenedLog>>;
using RegisteredSources = HandleTable<Guarded<RegisteredSource>>;

OpenedLogs& Logs() {
  static Immortal<OpenedLogs> table;
  return table.Get();
}

RegisteredSources& Sources() {
  static Immortal<RegisteredSources> table;
  return table.Get();
}

// The result of an operation that answers with a Win32 number: the last error is set on failure.
int Outcome(ULong error) { return error == ERROR_SUCCESS ? 1 : Fail(error); }

// Runs an operation; where memory runs out in it, that is its answer.
template <class Operation>
ULong Answered(Operation operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

ULong CheckNames(const char* server, const char* name) {
  // There is no way to the event log of another machine.
  if (server != nullptr) return ERROR_NOT_SUPPORTED;
  if (name == nullptr || *name == '\0' || std::strlen(name) > kLongestName)
    return ERROR_INVALID_PARAMETER;
  return ERROR_SUCCESS;
}

template <class Object>
void* NewHandle(HandleTable<Guarded<Object>>& table, std::unique_ptr<Object> object) {
  auto guarded = std::make_shared<Guarded<Object>>();
  guarded->object = std::move(object);
  return table.Add(std::move(guarded));
}

template <class Object>
int GiveBack(HandleTable<Guarded<Object>>& table, void* handle) {
  return Outcome(table.Remove(handle) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}

void* OpenLog(const char* server, const char* logName) {
  void* handle = nullptr;
  Outcome(Answered([&]() -> ULong {
    ULong error = CheckNames(server, logName);
    if (error != ERROR_SUCCESS) return error;
    const EventLogChoice choice = ChosenEventLog();
    std::unique_ptr<OpenedLog> log = choice.kind == EventLogKind::kStore
                                         ? OpenStoredLog(choice.store, logName, error)
                                         : OpenJournal(choice.files, error);
    if (log) handle = NewHandle(Logs(), std::move(log));
    return error;
  }));
  return handle;
}

void* RegisterSource(const char* server, const char* source) {
  void* handle = nullptr;
  Outcome(Answered([&]() -> ULong {
    ULong error = CheckNames(server, source);
    if (error != ERROR_SUCCESS) return error;
    const EventLogChoice choice = ChosenEventLog();
    // Other programs write these files.
    if (choice.kind == EventLogKind::kJournalFiles) return ERROR_NOT_SUPPORTED;
    std::unique_ptr<RegisteredSource> registered =
        choice.kind == EventLogKind::kStore ? RegisterStoredSource(choice.store, source, error)
                                            : RegisterJournalSource(source);
    if (registered) handle = NewHandle(Sources(), std::move(registered));
    return error;
  }));
  return handle;
}

int Report(void* eventSource, WORD type, WORD category, ULong eventId, void* /*userSid*/,
           WORD stringCount, ULong dataSize, const char** strings, void* rawData) {
  return Outcome(Answered([&]() -> ULong {
    const auto source = Sources().Find(eventSource);
    if (!source) return ERROR_INVALID_HANDLE;
    if ((stringCount > 0 && strings == nullptr) || (dataSize > 0 && rawData == nullptr))
      return ERROR_INVALID_PARAMETER;

    EventToWrite event{
        .type = type, .category = category, .id = eventId, .strings = {}, .data = {}};
    for (WORD i = 0; i < stringCount; ++i)
      event.strings.emplace_back(strings[i] != nullptr ? strings[i] : "");
    if (dataSize > 0) event.data = {static_cast<const std::byte*>(rawData), dataSize};
    const std::lock_guard lock(source->mutex);
    return source->object->Report(event);
  }));
}

bool AreReadFlags(ULong flags) {
  constexpr ULong kKinds = EVENTLOG_SEQUENTIAL_READ | EVENTLOG_SEEK_READ;
  constexpr ULong kDirections = EVENTLOG_FORWARDS_READ | EVENTLOG_BACKWARDS_READ;
  const ULong kind = flags & kKinds;
  const ULong direction = flags & kDirections;
  return (flags & ~(kKinds | kDirections)) == 0 && (kind != kKinds && kind != 0) &&
         (direction != kDirections && direction != 0);
}

int Read(void* eventLog, ULong flags, ULong recordOffset, void* buffer, ULong bytesToRead,
         ULong* bytesRead, ULong* bytesNeeded) {
  if (bytesRead == nullptr || bytesNeeded == nullptr) return Outcome(ERROR_INVALID_PARAMETER);
  *bytesRead = 0;
  *bytesNeeded = 0;
  const ULong error = Answered([&]() -> ULong {
    const auto log = Logs().Find(eventLog);
    if (!log) return ERROR_INVALID_HANDLE;
    if (buffer == nullptr || !AreReadFlags(flags)) return ERROR_INVALID_PARAMETER;
    const std::lock_guard lock(log->mutex);
    return log->object->Read(flags, recordOffset, {static_cast<std::byte*>(buffer), bytesToRead},
                             *bytesRead, *bytesNeeded);
  });
  if (error != ERROR_SUCCESS) *bytesRead = 0;
  return Outcome(error);
}

}  // namespace

EventLogOperations MakeEventLogOperations() {
  // What only the Windows event log has stays empty.
  return EventLogOperations{
      .OpenEventLogA = OpenLog,
      .CloseEventLog = [](void* eventLog) { return GiveBack(Logs(), eventLog); },
      .RegisterEventSourceA = RegisterSource,
      .DeregisterEventSource = [](void* eventSource) { return GiveBack(Sources(), eventSource); },
      .ReportEventA = Report,
      .ReadEventLogA = Read,
      .LoadLibraryExA = LoadMessageModule,
      .FreeLibrary = FreeMessageModule,
      .FormatMessageA = FormatMessageText,
      .GetLastError = LastError,
      .GetOldestEventLogRecord = {},
      .GetNumberOfEventLogRecords = {},
      .ClearEventLogA = {},
  };
}

}  // namespace Ondrel::Host
