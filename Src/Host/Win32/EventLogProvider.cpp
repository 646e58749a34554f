#include "Host/EventLogOperations.h"

#include <cstdlib>
#include <cstring>

namespace Ondrel::Host {

namespace {

// As the host's own, but with the allocate flag the text comes from the C library's heap. The
// host's comes from its local heap, which `free` cannot release.
ULong FormatMessageForFree(ULong flags, const void* source, ULong messageId, ULong languageId,
                           char* buffer, ULong size, char** arguments) {
  va_list* const hostArguments = reinterpret_cast<va_list*>(arguments);
  if ((flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) == 0)
    return ::FormatMessageA(flags, source, messageId, languageId, buffer, size, hostArguments);

  char* hostText = nullptr;
  const ULong length = ::FormatMessageA(flags, source, messageId, languageId,
                                        reinterpret_cast<char*>(&hostText), size, hostArguments);
  if (length == 0) return 0;

  const std::size_t bytes = std::size_t{length} + 1;
  char* const text = static_cast<char*>(std::malloc(bytes));
  if (text != nullptr) std::memcpy(text, hostText, bytes);
  ::LocalFree(hostText);
  if (text == nullptr) {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  std::memcpy(buffer, &text, sizeof text);
  return length;
}

}  // namespace

EventLogOperations MakeEventLogOperations() {
  return EventLogOperations{
      .OpenEventLogA = ::OpenEventLogA,
      .CloseEventLog = ::CloseEventLog,
      .RegisterEventSourceA = ::RegisterEventSourceA,
      .DeregisterEventSource = ::DeregisterEventSource,
      .ReportEventA = ::ReportEventA,
      .ReadEventLogA = ::ReadEventLogA,
      .LoadLibraryExA = [](const char* path, void* file, ULong flags) -> void* {
        return ::LoadLibraryExA(path, file, flags);
      },
      .FreeLibrary = [](void* module) { return ::FreeLibrary(static_cast<HMODULE>(module)); },
      .FormatMessageA = FormatMessageForFree,
      .GetLastError = ::GetLastError,
      .GetOldestEventLogRecord = ::GetOldestEventLogRecord,
      .GetNumberOfEventLogRecords = ::GetNumberOfEventLogRecords,
      .ClearEventLogA = ::ClearEventLogA,
  };
}

}  // namespace Ondrel::Host
