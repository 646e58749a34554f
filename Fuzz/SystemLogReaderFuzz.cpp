#include "Host/EventLogOperations.h"

#include <Ondrel/SystemLog.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

// Reads a log whose host answers with arbitrary bytes, counts and needed sizes.
//
// The input is a series of answers: one byte of options, two bytes that lie about the count read,
// two that say how much follows, and the bytes themselves.

namespace {

using Ondrel::ULong;

class Input {
public:
  Input(const std::uint8_t* data, std::size_t size)
      : m_rest(reinterpret_cast<const char*>(data), size) {}

  bool IsEmpty() const { return m_rest.empty(); }

  std::string_view Take(std::size_t count) {
    const std::string_view taken = m_rest.substr(0, count);
    m_rest.remove_prefix(taken.size());
    return taken;
  }

  ULong TakeNumber(std::size_t byteCount) {
    ULong number = 0;
    for (const char byte : Take(byteCount)) number = number << 8 | static_cast<unsigned char>(byte);
    return number;
  }

private:
  std::string_view m_rest;
};

constexpr ULong kAnswerIsTooSmallABuffer = 1;
constexpr ULong kCountIsALie = 2;

Input* g_input = nullptr;
ULong g_lastError = 0;

int Read(void*, ULong, ULong, void* buffer, ULong bytesToRead, ULong* bytesRead,
         ULong* bytesNeeded) {
  if (g_input->IsEmpty()) {
    g_lastError = Ondrel::ERROR_HANDLE_EOF;
    return 0;
  }
  const ULong options = g_input->TakeNumber(1);
  const ULong reported = g_input->TakeNumber(2);
  if (options & kAnswerIsTooSmallABuffer) {
    *bytesNeeded = reported;
    g_lastError = Ondrel::ERROR_INSUFFICIENT_BUFFER;
    return 0;
  }
  const std::string_view bytes = g_input->Take(g_input->TakeNumber(2));
  const std::size_t count = std::min<std::size_t>(bytes.size(), bytesToRead);
  if (buffer != nullptr) {
    std::memset(buffer, 0, bytesToRead);
    std::memcpy(buffer, bytes.data(), count);
  }
  *bytesRead = options & kCountIsALie ? reported << 8 : static_cast<ULong>(count);
  return 1;
}

// Reads every text that a message could ask for.
ULong Format(ULong flags, const void*, ULong messageId, ULong, char* buffer, ULong,
             char** arguments) {
  std::string text = std::to_string(messageId);
  if (flags & Ondrel::FORMAT_MESSAGE_ARGUMENT_ARRAY)
    for (int index = 0; index < 99; ++index)
      if (arguments[index] != nullptr) text += arguments[index];
  if (messageId % 2 != 0) return 0;
  char* const copy = static_cast<char*>(std::malloc(text.size() + 1));
  std::memcpy(copy, text.c_str(), text.size() + 1);
  std::memcpy(buffer, &copy, sizeof copy);
  return static_cast<ULong>(text.size());
}

void UsePreparedOperations() {
  Ondrel::Host::EventLogOperations& operations = Ondrel::Host::EventLog();
  static char handle;
  operations.OpenEventLogA = [](const char*, const char*) -> void* { return &handle; };
  operations.CloseEventLog = [](void*) { return 1; };
  operations.ReadEventLogA = Read;
  operations.LoadLibraryExA = [](const char*, void*, ULong) -> void* { return &handle; };
  operations.FreeLibrary = [](void*) { return 1; };
  operations.FormatMessageA = Format;
  operations.GetLastError = [] { return g_lastError; };
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool isPrepared = (UsePreparedOperations(), true);
  static_cast<void>(isPrepared);
  Input input(data, size);
  g_input = &input;

  Ondrel::CSystemLogReader_Win reader;
  reader.GetMessageResources("messages");
  try {
    reader.Open("Fuzz", {"ondrel", "", "ondrel"});
  } catch (unsigned int) {
    // The reader counts as opened.
  }
  try {
    while (!input.IsEmpty())
      for (const Ondrel::CSystemEvent_Win& event : reader.ReadEvents()) {
        const std::string line = event.str();
        if (line.size() < event.message.size()) std::abort();
      }
  } catch (unsigned int) {
    // Out of answers, or of memory.
  }
  return 0;
}
