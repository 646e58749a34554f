#include "ClassicFormat.h"
#include "Host/EventLogOperations.h"
#include "Host/MemoryOperations.h"
#include "Module.h"

#include <Ondrel/SystemLog.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace Ondrel {

namespace {

// Texts that a message may ask for (%1 to %99).
constexpr std::size_t kMostInserts = 99;

struct ReleaseOnHeap {
  void operator()(void* block) const { Host::Memory().Free(block); }
};

// The zero-terminated text that `bytes` begin with; none when its end is missing.
std::optional<std::string_view> TextAt(std::span<const char> bytes) {
  const auto end = std::find(bytes.begin(), bytes.end(), '\0');
  if (end == bytes.end()) return std::nullopt;
  return std::string_view(bytes.data(), static_cast<std::size_t>(end - bytes.begin()));
}

// The fixed part of the record that `bytes` begin with; none when they are too few for it. Copied,
// because a record may begin at any address.
std::optional<EVENTLOGRECORD> FixedPartAt(std::span<const char> bytes) {
  if (bytes.size() < sizeof(EVENTLOGRECORD)) return std::nullopt;
  EVENTLOGRECORD fields;
  std::memcpy(&fields, bytes.data(), sizeof fields);
  return fields;
}

// One whole record. Nothing outside `bytes` is looked at, whatever the fields say.
struct Record {
  EVENTLOGRECORD fields;
  std::span<char> bytes;

  // Where the insertion strings begin.
  std::span<char> Strings() const {
    return bytes.subspan(std::min<std::size_t>(fields.StringOffset, bytes.size()));
  }
};

// The record that `bytes` begin with; none when they do not hold the whole of it, or when it is
// shorter than its fixed part.
std::optional<Record> RecordAt(std::span<char> bytes) {
  const std::optional<EVENTLOGRECORD> fields = FixedPartAt(bytes);
  if (!fields || fields->Length < sizeof(EVENTLOGRECORD) || fields->Length > bytes.size())
    return std::nullopt;
  return Record{*fields, bytes.first(fields->Length)};
}

// Number of the first record of a read; 0 when the read gave none.
ULong FirstRecordNumber(std::span<const char> bytes) {
  const std::optional<EVENTLOGRECORD> fields = FixedPartAt(bytes);
  return fields ? fields->RecordNumber : 0;
}

// Adds the record's non-empty insertion strings to `args`. Returns how many strings the record
// holds, empty ones included: as many as it says, fewer when the last of them has no end.
ULong AddStrings(const Record& record, std::vector<std::string>& args) {
  std::span<const char> rest = record.Strings();
  ULong count = 0;
  while (count < record.fields.NumStrings) {
    const std::optional<std::string_view> text = TextAt(rest);
    if (!text) break;
    if (!text->empty()) args.emplace_back(*text);
    rest = rest.subspan(text->size() + 1);
    ++count;
  }
  return count;
}

// The bytes of a read that lie in the buffer, whatever count the host reported.
std::span<char> BytesInBuffer(char* buffer, ULong bytesRead, ULong bufferSize) {
  return {buffer, std::min(bytesRead, bufferSize)};
}

}  // namespace

const ULong CSystemLogReader_Win::MAX_RECORD_BUFFER_SIZE = 65536;
const ULong CSystemLogReader_Win::MIN_BYTES_TO_READ = 512;

CSystemLogReader_Win::CSystemLogReader_Win()
    : m_hEventLog(nullptr),
      m_hMessageModule(nullptr),
      m_pRecordBuffer(nullptr),
      m_BytesRead(0),
      m_BufferSize(0),
      m_LastRecordNumber(0) {
  Pirsk::Threading::CThrowState guard;
  try {
    m_pRecordBuffer = static_cast<char*>(Host::Memory().Allocate(MAX_RECORD_BUFFER_SIZE));
    if (m_pRecordBuffer == nullptr) Raise(guard, kOutOfMemory);
    m_BufferSize = m_pRecordBuffer != nullptr ? MAX_RECORD_BUFFER_SIZE : 0;
  } catch (unsigned int) {
    static constexpr Pirsk::Exceptions::SOURCE_INFO source = Here();
    guard.ThrowNext(source);
  }
}

// Copies share the handles and the buffer, which is intentional.
CSystemLogReader_Win::CSystemLogReader_Win(const CSystemLogReader_Win& other) = default;
CSystemLogReader_Win& CSystemLogReader_Win::operator=(const CSystemLogReader_Win& other) = default;

CSystemLogReader_Win::~CSystemLogReader_Win() {
  Pirsk::Threading::CThrowState guard;
  try {
    Close();
  } catch (unsigned int) {
    static constexpr Pirsk::Exceptions::SOURCE_INFO source = Here();
    guard.EndException(source);
  }
}

// A raise comes back when raising is switched off. Nothing returns after one: the caller who
// switched it off asked for the next step.
unsigned int CSystemLogReader_Win::Open(const std::string& name,
                                        const std::vector<std::string>& sources) {
  Pirsk::Threading::CThrowState guard;
  try {
    if (!m_LogName.empty()) Raise(guard, kSystemLogAlreadyOpened);
    if (name.empty()) Raise(guard, kInvalidParameter);

    // Taken now: once there is a handle, nothing may fail that leaves it without a name.
    std::string logName = name;
    std::vector<std::string> eventSources = sources;
    m_hEventLog = Host::EventLog().OpenEventLogA(nullptr, name.c_str());
    if (m_hEventLog == nullptr)
      Raise(guard, kCannotOpenSystemLog, SystemError(Host::EventLog().GetLastError()));

    m_LogName = std::move(logName);
    m_EventSources = std::move(eventSources);

    // From here on a failure leaves the name and the handle set, which is intentional.
    ReadEvents(EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ, 0, MIN_BYTES_TO_READ);
    m_LastRecordNumber =
        FirstRecordNumber(BytesInBuffer(m_pRecordBuffer, m_BytesRead, m_BufferSize));
    return 1;
  } catch (unsigned int) {
    static constexpr Pirsk::Exceptions::SOURCE_INFO source = Here();
    guard.ThrowNext(source);
    return 0;
  }
}

unsigned int CSystemLogReader_Win::Close() {
  m_LogName.clear();
  m_EventSources.clear();
  if (m_hEventLog != nullptr) Host::EventLog().CloseEventLog(m_hEventLog);
  m_hEventLog = nullptr;
  // The field keeps its value, which is intentional: a second closing gives the module back once
  // more.
  if (m_hMessageModule != nullptr) Host::EventLog().FreeLibrary(m_hMessageModule);
  if (m_pRecordBuffer != nullptr) Host::Memory().Free(m_pRecordBuffer);
  m_pRecordBuffer = nullptr;
  m_BufferSize = 0;
  m_BytesRead = 0;
  m_LastRecordNumber = 0;
  return 1;
}

void CSystemLogReader_Win::SetEventSources(const std::vector<std::string>& sources) {
  m_EventSources = sources;
}

// A module loaded before is not given back, which is intentional.
unsigned int CSystemLogReader_Win::GetMessageResources(const std::string& path) {
  m_hMessageModule = Host::EventLog().LoadLibraryExA(
      path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
  return m_hMessageModule != nullptr ? 1 : 0;
}

std::vector<CSystemEvent_Win> CSystemLogReader_Win::ReadEvents() {
  std::vector<CSystemEvent_Win> events;
  ReadEvents(EVENTLOG_SEEK_READ | EVENTLOG_FORWARDS_READ, static_cast<ULong>(m_LastRecordNumber),
             MAX_RECORD_BUFFER_SIZE);

  std::span<char> rest = BytesInBuffer(m_pRecordBuffer, m_BytesRead, m_BufferSize);
  const std::optional<Record> seen = RecordAt(rest);
  if (!seen) return events;
  rest = rest.subspan(seen->bytes.size());

  // Kept aside: records that memory runs out for come again with the next call.
  std::uint64_t lastRecordNumber = m_LastRecordNumber;
  while (const std::optional<Record> record = RecordAt(rest)) {
    const std::optional<std::string_view> origin =
        TextAt(record->bytes.subspan(sizeof(EVENTLOGRECORD)));
    // Goes on after a match, which is intentional: a source listed twice yields its records twice.
    for (const std::string& source : m_EventSources) {
      if (origin != source) continue;
      CSystemEvent_Win event;
      event.recordNumber = record->fields.RecordNumber;
      event.timeGenerated = record->fields.TimeGenerated;
      // The code alone, which is intentional; the message is looked up under the full id.
      event.eventID = record->fields.EventID & 0xFFFF;
      event.eventType = record->fields.EventType;
      const ULong stringCount = AddStrings(*record, event.args);
      if (m_hMessageModule != nullptr) {
        const std::unique_ptr<char, ReleaseOnHeap> message(
            GetMessageString(record->fields.EventID, stringCount, record->Strings().data()));
        if (message) event.message = message.get();
      }
      events.push_back(std::move(event));
    }
    lastRecordNumber = record->fields.RecordNumber;
    rest = rest.subspan(record->bytes.size());
  }
  m_LastRecordNumber = lastRecordNumber;
  return events;
}

int CSystemLogReader_Win::isOpened() const { return m_hEventLog != nullptr ? 1 : 0; }

unsigned int CSystemLogReader_Win::ReadEvents(ULong flags, ULong recordOffset, ULong bytesToRead) {
  Pirsk::Threading::CThrowState guard;
  try {
    m_BytesRead = 0;
    ULong needed = 0;

    // What a read asks for is not tied to the buffer's size, which a large record has replaced by
    // its own (below). So a block that is too small is grown before it is handed out.
    if (m_pRecordBuffer != nullptr && bytesToRead > m_BufferSize) {
      void* const grown = Host::Memory().Reallocate(m_pRecordBuffer, bytesToRead);
      if (grown != nullptr) {
        m_pRecordBuffer = static_cast<char*>(grown);
        m_BufferSize = bytesToRead;
      } else {
        Raise(guard, kOutOfMemory);
        bytesToRead = m_BufferSize;  // With raising switched off: what fits the block that is left.
      }
    }

    for (;;) {
      const bool isRead =
          Host::EventLog().ReadEventLogA(m_hEventLog, flags, recordOffset, m_pRecordBuffer,
                                         bytesToRead, &m_BytesRead, &needed) != 0;
      const ULong error = Host::EventLog().GetLastError();
      if (isRead) return 1;

      if (error == ERROR_INSUFFICIENT_BUFFER) {
        // Intentional: exactly what is needed, even where that makes the buffer smaller. No bytes
        // at all would free the block, and count as a failure here.
        void* const resized =
            needed != 0 ? Host::Memory().Reallocate(m_pRecordBuffer, needed) : nullptr;
        if (resized == nullptr) {
          Raise(guard, kOutOfMemory);
          // With raising switched off: the buffer is lost to this reader, so it goes back.
          if (m_pRecordBuffer != nullptr) Host::Memory().Free(m_pRecordBuffer);
        }
        m_pRecordBuffer = static_cast<char*>(resized);
        m_BufferSize = resized != nullptr ? needed : 0;
        bytesToRead = needed;
      } else {
        // With raising switched off this is tried again without end, which is intentional.
        Raise(guard, kSystemLogReadFailed,
              ClassicFormat("Failed to read Windows Log, errorCode (%d)") % error, error);
      }
    }
  } catch (unsigned int) {
    static constexpr Pirsk::Exceptions::SOURCE_INFO source = Here();
    guard.ThrowNext(source);
    return 0;
  }
}

ULong CSystemLogReader_Win::getRecordNumber() {
  ReadEvents(EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ, 0, MIN_BYTES_TO_READ);
  return FirstRecordNumber(BytesInBuffer(m_pRecordBuffer, m_BytesRead, m_BufferSize));
}

char* CSystemLogReader_Win::GetMessageString(ULong messageId, ULong stringCount, char* strings) {
  ULong flags =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM;

  std::unique_ptr<char*[], ReleaseOnHeap> inserts;
  if (stringCount != 0) {
    // Null entries follow the last string, so that a message that asks for more strings than
    // there are finds them and reads no further.
    const std::size_t entryCount = std::max<std::size_t>(stringCount, kMostInserts);
    inserts.reset(static_cast<char**>(Host::Memory().Allocate(entryCount * sizeof(char*))));
    if (inserts) {
      std::fill_n(inserts.get(), entryCount, nullptr);
      for (ULong index = 0; index < stringCount; ++index) {
        inserts[index] = strings;
        strings += std::strlen(strings) + 1;
      }
      flags |= FORMAT_MESSAGE_ARGUMENT_ARRAY;
    } else {
      flags |= FORMAT_MESSAGE_IGNORE_INSERTS;
      ONDREL_TRACE(kTraceDetail, "Ondrel::CSystemLogReader_Win::GetMessageString",
                   "GetMessageString(): Failed to allocate memory for the insert string array.");
    }
  }

  // With the allocate flag the host takes the place of a text pointer for its buffer.
  char* text = nullptr;
  const ULong length = Host::EventLog().FormatMessageA(
      flags, m_hMessageModule, messageId, 0, reinterpret_cast<char*>(&text), 0, inserts.get());
  if (length == 0)
    ONDREL_TRACE(kTraceDetail, "Ondrel::CSystemLogReader_Win::GetMessageString",
                 "GetMessageString(): Format message failed with %d",
                 Host::EventLog().GetLastError());
  return text;
}

}  // namespace Ondrel
