#include "Host/EventHistory.h"
#include "Host/EventLogOperations.h"
#include "Windows/SystemLogWindows/RecordHistory.h"

#include <Ondrel/SystemLog.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Reads a log whose host answers with arbitrary bytes, counts and needed sizes, by the reader of
// new events and by the history of the log.
//
// The input is a series of answers: one byte of options, two bytes that lie about the count read or
// are the error, two that say how much follows, and the bytes themselves. Its last byte says which
// history is asked for (kIsNewOnly, ...). The numbers of records are answers of their own.

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
constexpr ULong kAnswerIsAnError = 4;

constexpr unsigned kIsNewOnly = 1;
constexpr unsigned kIsNewestFirst = 2;
constexpr unsigned kIsAfterPosition = 4;
constexpr unsigned kIsOfSource = 8;
constexpr unsigned kHasFirstNumber = 16;
constexpr unsigned kIsSummary = 32;
constexpr unsigned kIsOfFewItems = 64;

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
    *bytesNeeded = options & kCountIsALie ? reported << 2 : reported;
    g_lastError = Ondrel::ERROR_INSUFFICIENT_BUFFER;
    return 0;
  }
  if (options & kAnswerIsAnError) {
    g_lastError = reported;
    return 0;
  }
  const std::string_view bytes = g_input->Take(g_input->TakeNumber(2));
  const std::size_t count = std::min<std::size_t>(bytes.size(), bytesToRead);
  if (buffer != nullptr) {
    // What is said to be read beyond the answer.
    if (options & kCountIsALie) std::memset(buffer, 0, bytesToRead);
    std::memcpy(buffer, bytes.data(), count);
  }
  *bytesRead = options & kCountIsALie ? reported << 8 : static_cast<ULong>(count);
  return 1;
}

class Reader : public Ondrel::CSystemLogReader_Win {
public:
  using CSystemLogReader_Win::getRecordNumber;
};

// One byte that says whether it succeeds, and the number in as many bytes.
int TakeAnswer(ULong* number, std::size_t byteCount) {
  g_lastError = Ondrel::ERROR_INVALID_HANDLE;
  if (g_input->TakeNumber(1) % 4 == 3) return 0;
  *number = g_input->TakeNumber(byteCount);
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
  operations.GetOldestEventLogRecord = [](void*, ULong* number) { return TakeAnswer(number, 4); };
  // A log has no more records than it has read: the walk over damaged ones asks for each.
  operations.GetNumberOfEventLogRecords = [](void*, ULong* count) { return TakeAnswer(count, 1); };
  operations.CloseEventLog = [](void*) { return 1; };
  operations.ReadEventLogA = Read;
  operations.LoadLibraryExA = [](const char*, void*, ULong) -> void* { return &handle; };
  operations.FreeLibrary = [](void*) { return 1; };
  operations.FormatMessageA = Format;
  operations.GetLastError = [] { return g_lastError; };
}

void Require(bool holds) {
  if (!holds) std::abort();
}

void ReadNewEvents() {
  Reader reader;
  reader.GetMessageResources("messages");
  try {
    reader.Open("Fuzz", {"ondrel", "", "ondrel"});
  } catch (unsigned int) {
    // The reader counts as opened.
  }
  try {
    while (!g_input->IsEmpty())
      for (const Ondrel::CSystemEvent_Win& event : reader.ReadEvents())
        Require(event.str().size() >= event.message.size());
    reader.getRecordNumber();
  } catch (unsigned int) {
    // Out of answers, or of memory.
  }
}

Ondrel::Host::EventLogRange RangeOf(unsigned choice, std::string_view text) {
  Ondrel::Host::EventLogRange range;
  range.isNewestFirst = (choice & kIsNewestFirst) != 0;
  range.isNewOnly = (choice & kIsNewOnly) != 0 && !range.isNewestFirst;
  if ((choice & kIsAfterPosition) != 0 && !range.isNewestFirst)
    range.after = text.substr(0, text.find('\0'));
  if ((choice & kIsOfSource) != 0) range.sources = {"ondrel"};
  if ((choice & kHasFirstNumber) != 0) range.firstNumber = 2;
  return range;
}

void ReadHistory(unsigned choice, std::string_view text) {
  using namespace Ondrel::Host;
  if ((choice & kIsSummary) != 0) {
    EventLogSummary summary;
    if (SummarizeLog("Fuzz", summary) == Ondrel::ERROR_SUCCESS && summary.records != 0)
      Require(summary.lastNumber - summary.firstNumber + 1 == summary.records);
    return;
  }
  const EventLogRange range = RangeOf(choice, text);
  ULong error = Ondrel::ERROR_SUCCESS;
  const auto history = OpenRecordHistory("Fuzz", range, error);
  Require((history == nullptr) == (error != Ondrel::ERROR_SUCCESS));
  if (!history) return;
  do {
    std::vector<EventLogItem> items;
    {
      ItemList list(items, (choice & kIsOfFewItems) != 0 ? 1 : 256);
      history->Read(list);
    }
    for (const EventLogItem& item : items) {
      if (item.kind != EventLogItemKind::kRecord) continue;
      Require(IsInRange({.sources = range.sources}, item.record));
      Require(item.record.source.find('\0') == std::string::npos);
    }
  } while (!g_input->IsEmpty());
  // Where it stands is a place to go on from.
  if (const std::string position = history->Position(); !position.empty()) {
    Input none(nullptr, 0);
    Input* const rest = std::exchange(g_input, &none);
    ULong outcome = Ondrel::ERROR_SUCCESS;
    Require(OpenRecordHistory("Fuzz", {.after = position}, outcome) != nullptr);
    g_input = rest;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool isPrepared = (UsePreparedOperations(), true);
  static_cast<void>(isPrepared);
  Input forReader(data, size);
  g_input = &forReader;
  ReadNewEvents();

  Input forHistory(data, size);
  g_input = &forHistory;
  // A position stands in front of the answers, up to a zero byte.
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const unsigned choice = size != 0 ? data[size - 1] : 0U;
  if ((choice & kIsAfterPosition) != 0) forHistory.Take(std::min(text.find('\0'), size - 1) + 1);
  ReadHistory(choice, text);
  return 0;
}
