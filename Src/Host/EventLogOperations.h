#pragma once

#include "Host/Types.h"

#include <functional>

namespace Ondrel::Host {

/// The host operations of the system event log and of message files.
///
/// Names, argument orders and meanings are those of the Win32 functions; what is written here is
/// what a provider has to keep. Every operation that fails sets the calling thread's last error,
/// in the published Win32 numbering; one that succeeds may leave it as it was. Different handles
/// may be used by different threads at the same time. A handle that is not (or no longer) open is a
/// failure with 6, never a crash.
struct EventLogOperations {
  /// Opens the log `logName` of the machine `server` (null: this one). Yields a handle for reading,
  /// or null. A log that has no records yet can be opened.
  std::function<void*(const char* server, const char* logName)> OpenEventLogA;

  /// Gives a log's handle back. Non-zero on success.
  std::function<int(void* eventLog)> CloseEventLog;

  /// Registers the event source `source` at the machine `server` (null: this one). Yields a handle
  /// under which events are written, or null.
  std::function<void*(const char* server, const char* source)> RegisterEventSourceA;

  /// Gives a source's handle back. Non-zero on success.
  std::function<int(void* eventSource)> DeregisterEventSource;

  /// Writes one event with `stringCount` insertion strings and `dataSize` bytes of raw data.
  /// Non-zero when the record is kept safely; it may be read by then.
  std::function<int(void* eventSource, WORD type, WORD category, ULong eventId, void* userSid,
                    WORD stringCount, ULong dataSize, const char** strings, void* rawData)>
      ReportEventA;

  /// Fills `buffer` with whole records, as many as fit into `bytesToRead` bytes, and puts in
  /// `bytesRead` how many bytes they take. Non-zero on success.
  ///
  /// `flags` joins one of sequential (1: goes on where the last read of this handle ended, or
  /// begins at the end that the direction starts from) and seek (2: begins with the record numbered
  /// `recordOffset`) with one of forwards (4) and backwards (8). Fails with 122 and the size of the
  /// first record in `bytesNeeded` when that does not fit, 38 when there is no record in that
  /// direction, 87 for a record that is not there, other flags or a null buffer; the position stays
  /// where it was.
  std::function<int(void* eventLog, ULong flags, ULong recordOffset, void* buffer,
                    ULong bytesToRead, ULong* bytesRead, ULong* bytesNeeded)>
      ReadEventLogA;

  /// Loads a module for its resources only; none of its code is run. `file` is null, `flags` the
  /// two data file flags (0x22). Yields a handle, or null.
  std::function<void*(const char* path, void* file, ULong flags)> LoadLibraryExA;

  /// Gives a module back. Non-zero on success. Giving the same handle back again is a failure.
  std::function<int(void* module)> FreeLibrary;

  /// Formats message `messageId` of the module `source`.
  ///
  /// With the allocate flag `buffer` points to a `char*` that receives the text, zero-terminated,
  /// which the caller releases with the C library's `free`; it is left alone on failure.
  /// `arguments` is an array of text pointers (argument-array flag) or null; a null entry reads
  /// "(null)". Yields the text's length without its end, 0 on failure: 317 when neither the module
  /// nor the system has the message.
  std::function<ULong(ULong flags, const void* source, ULong messageId, ULong languageId,
                      char* buffer, ULong size, char** arguments)>
      FormatMessageA;

  /// Reason of the calling thread's last failed operation.
  std::function<ULong()> GetLastError;

  /// Number of the oldest record, and the count of records. Non-zero on success. Empty, as the one
  /// below, on a host without the event log of Windows.
  std::function<int(void* eventLog, ULong* number)> GetOldestEventLogRecord;
  std::function<int(void* eventLog, ULong* count)> GetNumberOfEventLogRecords;

  /// Removes all records; `backupFile` is null. Non-zero on success.
  std::function<int(void* eventLog, const char* backupFile)> ClearEventLogA;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
EventLogOperations& EventLog();

/// The operations as this host's provider gives them: `Linux/EventLog/EventLogProvider.cpp` or
/// `Win32/EventLogProvider.cpp`.
EventLogOperations MakeEventLogOperations();

}  // namespace Ondrel::Host
