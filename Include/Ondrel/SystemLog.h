#pragma once

#include <Ondrel/Export.h>
#include <Ondrel/ModuleError.h>
#include <Ondrel/Types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Ondrel {

/// The type of an event, as the published event log numbers it.
enum EventType : std::uint16_t {
  kEventTypeSuccess = 0,
  kEventTypeError = 1,
  kEventTypeWarning = 2,
  kEventTypeInformation = 4,
  kEventTypeAuditSuccess = 8,
  kEventTypeAuditFailure = 16,
};

/// Writes one text message at a time into a named system event log of this machine.
///
/// Failures are raised as an `unsigned int` that is a `ModuleError` (see `Pirsk/Exceptions.h` for
/// reading what was raised, and for switching raising off). The results below are what a caller
/// gets when nothing is raised.
///
/// One object belongs to one thread at a time; different objects may work at the same time. A copy
/// holds the same two handles as its source: only one of the two may be closed or destroyed while
/// the other is in use.
class ONDREL_API CSystemLog_Win {
public:
  /// A closed log.
  CSystemLog_Win();
  CSystemLog_Win(const CSystemLog_Win& other);
  CSystemLog_Win& operator=(const CSystemLog_Win& other);

  /// Closes the log. Never lets an error out.
  ~CSystemLog_Win();

  /// Opens the log `name` for writing; `name` is also the source of the events written. Returns 1.
  ///
  /// Raises `kSystemLogAlreadyOpened` when the object is open already, `kInvalidParameter` when
  /// `name` is empty, `kCannotOpenSystemLog` when the host cannot open the log and
  /// `kSystemLogRegistrationFailed` when it cannot register the source, both with the host's error
  /// number. After a failure the object is closed and `Open` may be tried again.
  unsigned int Open(const std::string& name);

  /// Gives both handles back and forgets the name. Always returns 1, even on a closed object.
  unsigned int Close();

  /// Writes one event whose displayed message is `text`. Returns 1, even when the host did not take
  /// the event.
  ///
  /// `eventID` is the plain event code (10002) or the full message id (0x20002712); a number
  /// outside 0x20002712..0x20002B64 becomes the catch-all event 0x20002710. Of `eventType`, an
  /// `EventType`, the low 16 bits reach the host.
  ///
  /// Raises `kInvalidParameter` when `text` is empty, then `kSystemLogNotOpenedForWriting` when the
  /// object is closed.
  unsigned int Report(int eventID, int eventType, const std::string& text);

private:
  std::string m_LogName;  // Empty means closed; this is what Open tests.
  void* m_hEventSource;
  void* m_hEventLog;
};

/// One record of a system event log.
struct ONDREL_API CSystemEvent_Win {
  ULong recordNumber = 0;         ///< Number of the record in its log.
  ULong timeGenerated = 0;        ///< Seconds since 1 January 1970 UTC.
  ULong eventID = 0;              ///< Low 16 bits of the event's id.
  ULong eventType = 0;            ///< An `EventType`.
  std::vector<std::string> args;  ///< The non-empty insertion strings, in record order.
  std::string message;            ///< Formatted text; empty without a message module.

  /// The record as one line without a line end. The time is not shown.
  std::string str() const;
};

/// Follows a named system event log from the moment it is opened.
///
/// Failures are raised as by `CSystemLog_Win`. A reader is opened once in its life: `Close`
/// gives its buffer up for good. One object belongs to one thread at a time. A copy shares the
/// handles and the buffer with its source: only one of the two may then be closed or destroyed.
class ONDREL_API CSystemLogReader_Win {
public:
  /// Size of the buffer at construction, and the bytes that each incremental read asks for.
  static const ULong MAX_RECORD_BUFFER_SIZE;

  /// Bytes asked for when only the newest record is wanted.
  static const ULong MIN_BYTES_TO_READ;

  /// A closed reader with its buffer. Raises `kOutOfMemory` when there is no memory for it.
  CSystemLogReader_Win();
  CSystemLogReader_Win(const CSystemLogReader_Win& other);
  CSystemLogReader_Win& operator=(const CSystemLogReader_Win& other);

  /// Closes the reader. Never lets an error out.
  ~CSystemLogReader_Win();

  /// Opens the log `name`; all that it holds at this moment counts as seen. Returns 1, or 0 after
  /// an error that was not raised.
  ///
  /// `sources` are the event sources that `ReadEvents` lets through. Raises
  /// `kSystemLogAlreadyOpened` when the reader was opened before, `kInvalidParameter` when `name`
  /// is empty, `kCannotOpenSystemLog` with the host's error number when the host cannot open the
  /// log, `kSystemLogReadFailed` with the host's error number when its newest record cannot be
  /// read. A log without records is such a case, with the number 38; the reader then counts as
  /// opened.
  unsigned int Open(const std::string& name, const std::vector<std::string>& sources);

  /// Gives everything back. Always returns 1. The reader cannot be opened again.
  unsigned int Close();

  /// Replaces the list of event sources. Allowed at any time.
  void SetEventSources(const std::vector<std::string>& sources);

  /// Loads the file whose message table gives events their text. Returns 1 when it loaded, else 0.
  /// The log need not be open. A file loaded before stays loaded.
  unsigned int GetMessageResources(const std::string& path);

  /// The records that arrived since the last call (or since `Open`) from one of the event sources.
  ///
  /// Reads at most `MAX_RECORD_BUFFER_SIZE` bytes of records; more follow with the next call.
  /// Source names are compared exactly; a name listed twice gives its records twice. Records of
  /// other sources are passed over for good. Raises `kSystemLogReadFailed` with the host's error
  /// number when the log cannot be read; 87 means that the last record seen is no longer in the
  /// log.
  std::vector<CSystemEvent_Win> ReadEvents();

  /// Non-zero when the log's handle is held.
  int isOpened() const;

protected:
  /// Reads records into the buffer, growing it when the first does not fit. Returns 1, or 0 after
  /// an error that was not raised.
  unsigned int ReadEvents(ULong flags, ULong recordOffset, ULong bytesToRead);

  /// Number of the newest record that the host gives; does not change what counts as seen.
  ULong getRecordNumber();

  /// The message of one event, or null. The caller releases it with `free`.
  ///
  /// `strings` points to `stringCount` zero-terminated texts, one after the other.
  char* GetMessageString(ULong messageId, ULong stringCount, char* strings);

private:
  std::string m_LogName;
  std::vector<std::string> m_EventSources;
  void* m_hEventLog;
  void* m_hMessageModule;
  char* m_pRecordBuffer;
  ULong m_BytesRead;
  ULong m_BufferSize;  // Bytes that the buffer has room for.
  std::uint64_t m_LastRecordNumber;
};

}  // namespace Ondrel
