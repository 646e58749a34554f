#pragma once

#include "Host/EventLogOperations.h"
#include "Host/MemoryOperations.h"
#include "Support/PreparedOperations.h"

#include <Ondrel/SystemLog.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel::Testing {

/// Handles that the prepared operations give out; calls are recorded with the names log, source and
/// module.
inline char g_handles[3];
inline void* const kLogHandle = &g_handles[0];
inline void* const kSourceHandle = &g_handles[1];
inline void* const kModuleHandle = &g_handles[2];

/// What one `ReadEventLogA` answers.
struct ReadAnswer {
  bool succeeds = true;
  std::string bytes = {};                   ///< What goes into the buffer.
  ULong error = 0;                          ///< The last error that it leaves.
  ULong needed = 0;                         ///< The size that it says it needs.
  std::optional<ULong> toldBytesRead = {};  ///< The count that it reports, if not that of `bytes`.
};

/// Event log and memory operations that record their calls and answer as a test sets them; in force
/// for one scope.
///
/// Calls read like "OpenEventLogA(null, Alerts)", "Reallocate(block, 600)", "GetLastError()". The
/// blocks are real ones of the heap.
class PreparedEventLog {
public:
  PreparedEventLog();

  PreparedEventLog(const PreparedEventLog&) = delete;
  PreparedEventLog& operator=(const PreparedEventLog&) = delete;

  /// Adds a call to the record: what else a test watches, in one order with the host's operations.
  void Record(std::string call) { m_calls.push_back(std::move(call)); }

  /// The calls since the last time it was asked.
  std::vector<std::string> TakeCalls();

  /// Those of the calls that begin with `operation`, since the last time calls were taken.
  std::vector<std::string> TakeCallsOf(const std::string& operation);

  /// Appends an answer that fills the buffer with records.
  void AnswerRead(const std::string& records) { reads.push_back({.bytes = records}); }

  /// Appends a failure.
  void FailRead(ULong error, ULong needed = 0) {
    reads.push_back({.succeeds = false, .error = error, .needed = needed});
  }

  void* openedLog = kLogHandle;            ///< What `OpenEventLogA` yields.
  void* registeredSource = kSourceHandle;  ///< What `RegisterEventSourceA` yields.
  void* loadedModule = kModuleHandle;      ///< What `LoadLibraryExA` yields.
  int reportResult = 1;                    ///< What `ReportEventA` yields.
  int closingResult = 1;                   ///< What the operations that give a handle up yield.
  ULong lastError = 0;                     ///< The thread's last error as it stands.
  std::optional<ULong> openError;          ///< What `OpenEventLogA` leaves there.
  std::optional<ULong> registerError;      ///< What `RegisterEventSourceA` leaves there.
  std::optional<ULong> closeError;         ///< What `CloseEventLog` leaves there.
  std::optional<ULong> formatError;        ///< What `FormatMessageA` leaves there.
  std::deque<ReadAnswer> reads;            ///< Answers of `ReadEventLogA`; none left throws.
  std::optional<std::string> message;      ///< What `FormatMessageA` yields; nothing fails it.
  std::function<void(char** arguments)> atFormat;       ///< Sees the insert array.
  std::function<void()> atClose;                        ///< Runs within `CloseEventLog`.
  std::function<bool(std::size_t size)> memoryIsShort;  ///< True lets an allocation fail.

private:
  Host::EventLogOperations Operations();
  Host::MemoryOperations MemoryOperations();
  int Read(void* eventLog, ULong flags, ULong offset, void* buffer, ULong bytesToRead,
           ULong* bytesRead, ULong* bytesNeeded);
  ULong Format(ULong flags, const void* source, ULong messageId, ULong languageId, char* buffer,
               ULong size, char** arguments);

  std::vector<std::string> m_calls;
  PreparedOperations<Host::EventLogOperations> m_eventLog;
  PreparedOperations<Host::MemoryOperations> m_memory;
};

/// A record as it is to be laid out.
struct RecordSpec {
  ULong number = 1;
  std::string source = "ondrel";
  std::vector<std::string> strings = {};
  ULong eventId = 0x20002712;
  WORD eventType = 4;
  ULong time = 1700000000;
};

/// The bytes of a whole record in the published layout.
std::string RecordBytes(const RecordSpec& spec);

/// The fields of a record at the beginning of `bytes`, changed by `change`.
std::string WithFields(std::string bytes, const std::function<void(EVENTLOGRECORD&)>& change);

/// The module error that `call` raises, or nothing.
std::optional<unsigned int> RaisedBy(const std::function<void()>& call);

/// A reader whose protected operations can be called.
class OpenedUpReader : public CSystemLogReader_Win {
public:
  using CSystemLogReader_Win::GetMessageString;
  using CSystemLogReader_Win::getRecordNumber;
  using CSystemLogReader_Win::ReadEvents;
};

}  // namespace Ondrel::Testing
