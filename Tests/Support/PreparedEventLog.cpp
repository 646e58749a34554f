#include "Support/PreparedEventLog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace Ondrel::Testing {

namespace {

std::string Named(const void* handle) {
  if (handle == nullptr) return "null";
  if (handle == kLogHandle) return "log";
  if (handle == kSourceHandle) return "source";
  if (handle == kModuleHandle) return "module";
  return "block";
}

std::string Named(const char* text) { return text == nullptr ? "null" : text; }

std::string Hexadecimal(ULong number) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(number));
  return text;
}

std::string Call(const std::string& operation, const std::vector<std::string>& arguments) {
  std::string call = operation + "(";
  for (const std::string& argument : arguments) {
    if (call.back() != '(') call += ", ";
    call += argument;
  }
  return call + ")";
}

// The insert texts up to the first null entry; a message can ask for 99 at most.
std::string InsertsUpToNull(char** arguments) {
  if (arguments == nullptr) return "none";
  std::string shown = "[";
  for (std::size_t index = 0; index < 99 && arguments[index] != nullptr; ++index) {
    if (index != 0) shown += '|';
    shown += arguments[index];
  }
  return shown + "]";
}

}  // namespace

PreparedEventLog::PreparedEventLog()
    : m_eventLog(Host::EventLog(), Operations()), m_memory(Host::Memory(), MemoryOperations()) {}

std::vector<std::string> PreparedEventLog::TakeCalls() { return std::exchange(m_calls, {}); }

std::vector<std::string> PreparedEventLog::TakeCallsOf(const std::string& operation) {
  std::vector<std::string> calls = TakeCalls();
  std::erase_if(calls, [&](const std::string& call) { return !call.starts_with(operation + "("); });
  return calls;
}

Host::EventLogOperations PreparedEventLog::Operations() {
  Host::EventLogOperations operations;
  operations.OpenEventLogA = [this](const char* server, const char* logName) {
    Record(Call("OpenEventLogA", {Named(server), Named(logName)}));
    lastError = openError.value_or(lastError);
    return openedLog;
  };
  operations.CloseEventLog = [this](void* eventLog) {
    Record(Call("CloseEventLog", {Named(eventLog)}));
    lastError = closeError.value_or(lastError);
    if (atClose) atClose();
    return closingResult;
  };
  operations.RegisterEventSourceA = [this](const char* server, const char* source) {
    Record(Call("RegisterEventSourceA", {Named(server), Named(source)}));
    lastError = registerError.value_or(lastError);
    return registeredSource;
  };
  operations.DeregisterEventSource = [this](void* eventSource) {
    Record(Call("DeregisterEventSource", {Named(eventSource)}));
    return closingResult;
  };
  operations.ReportEventA = [this](void* eventSource, WORD type, WORD category, ULong eventId,
                                   void* userSid, WORD stringCount, ULong dataSize,
                                   const char** strings, void* rawData) {
    std::vector<std::string> arguments = {Named(eventSource),       std::to_string(type),
                                          std::to_string(category), Hexadecimal(eventId),
                                          Named(userSid),           std::to_string(stringCount),
                                          std::to_string(dataSize)};
    for (WORD index = 0; index < stringCount; ++index) arguments.emplace_back(strings[index]);
    arguments.push_back(Named(rawData));
    Record(Call("ReportEventA", arguments));
    return reportResult;
  };
  operations.ReadEventLogA = [this](void* eventLog, ULong flags, ULong offset, void* buffer,
                                    ULong bytesToRead, ULong* bytesRead, ULong* bytesNeeded) {
    return Read(eventLog, flags, offset, buffer, bytesToRead, bytesRead, bytesNeeded);
  };
  operations.LoadLibraryExA = [this](const char* path, void* file, ULong flags) {
    Record(Call("LoadLibraryExA", {Named(path), Named(file), Hexadecimal(flags)}));
    return loadedModule;
  };
  operations.FreeLibrary = [this](void* module) {
    Record(Call("FreeLibrary", {Named(module)}));
    return closingResult;
  };
  operations.FormatMessageA = [this](ULong flags, const void* source, ULong messageId,
                                     ULong languageId, char* buffer, ULong size, char** arguments) {
    return Format(flags, source, messageId, languageId, buffer, size, arguments);
  };
  operations.GetLastError = [this] {
    Record("GetLastError()");
    return lastError;
  };
  return operations;
}

Host::MemoryOperations PreparedEventLog::MemoryOperations() {
  return {
      .Allocate = [this](std::size_t size) -> void* {
        Record(Call("Allocate", {std::to_string(size)}));
        return memoryIsShort && memoryIsShort(size) ? nullptr : std::malloc(size);
      },
      .Reallocate = [this](void* block, std::size_t size) -> void* {
        Record(Call("Reallocate", {Named(block), std::to_string(size)}));
        return memoryIsShort && memoryIsShort(size) ? nullptr : std::realloc(block, size);
      },
      .Free =
          [this](void* block) {
            Record(Call("Free", {Named(block)}));
            std::free(block);
          },
  };
}

int PreparedEventLog::Read(void* eventLog, ULong flags, ULong offset, void* buffer,
                           ULong bytesToRead, ULong* bytesRead, ULong* bytesNeeded) {
  Record(Call("ReadEventLogA", {Named(eventLog), std::to_string(flags), std::to_string(offset),
                                Named(buffer), std::to_string(bytesToRead)}));
  if (reads.empty()) throw std::logic_error("no answer is prepared for this read");
  const ReadAnswer answer = reads.front();
  reads.pop_front();
  lastError = answer.error;
  *bytesNeeded = answer.needed;
  const std::size_t count = std::min<std::size_t>(answer.bytes.size(), bytesToRead);
  if (buffer != nullptr) {
    // The whole of what may be written is, so that a block that is too small shows.
    std::memset(buffer, 0xEE, bytesToRead);
    std::memcpy(buffer, answer.bytes.data(), count);
  }
  *bytesRead = answer.toldBytesRead.value_or(static_cast<ULong>(count));
  return answer.succeeds ? 1 : 0;
}

ULong PreparedEventLog::Format(ULong flags, const void* source, ULong messageId, ULong languageId,
                               char* buffer, ULong size, char** arguments) {
  Record(Call("FormatMessageA",
              {Hexadecimal(flags), Named(source), Hexadecimal(messageId),
               std::to_string(languageId), std::to_string(size), InsertsUpToNull(arguments)}));
  if (atFormat) atFormat(arguments);
  lastError = formatError.value_or(lastError);
  if (!message) return 0;
  char* const text = static_cast<char*>(std::malloc(message->size() + 1));
  std::memcpy(text, message->c_str(), message->size() + 1);
  std::memcpy(buffer, &text, sizeof text);
  return static_cast<ULong>(message->size());
}

std::string RecordBytes(const RecordSpec& spec) {
  const std::string computer = "localhost";
  std::string tail = spec.source + '\0' + computer + '\0';
  while (tail.size() % 4 != 0) tail += '\0';

  EVENTLOGRECORD fields{};
  fields.Reserved = 0x654C664C;
  fields.RecordNumber = spec.number;
  fields.TimeGenerated = spec.time;
  fields.TimeWritten = spec.time;
  fields.EventID = spec.eventId;
  fields.EventType = spec.eventType;
  fields.NumStrings = static_cast<WORD>(spec.strings.size());
  fields.StringOffset = static_cast<ULong>(sizeof fields + tail.size());
  fields.UserSidOffset = fields.StringOffset;
  for (const std::string& text : spec.strings) tail += text + '\0';
  fields.DataOffset = static_cast<ULong>(sizeof fields + tail.size());
  while (tail.size() % 4 != 0) tail += '\0';
  fields.Length = static_cast<ULong>(sizeof fields + tail.size() + sizeof fields.Length);

  std::string bytes(reinterpret_cast<const char*>(&fields), sizeof fields);
  bytes += tail;
  bytes.append(reinterpret_cast<const char*>(&fields.Length), sizeof fields.Length);
  return bytes;
}

std::string WithFields(std::string bytes, const std::function<void(EVENTLOGRECORD&)>& change) {
  EVENTLOGRECORD fields;
  std::memcpy(&fields, bytes.data(), sizeof fields);
  change(fields);
  std::memcpy(bytes.data(), &fields, sizeof fields);
  return bytes;
}

std::optional<unsigned int> RaisedBy(const std::function<void()>& call) {
  try {
    call();
  } catch (unsigned int number) {
    return number;
  }
  return std::nullopt;
}

}  // namespace Ondrel::Testing
