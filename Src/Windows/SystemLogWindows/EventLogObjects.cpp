#include "Host/EventHistory.h"
#include "Host/EventLogOperations.h"
#include "Host/MemoryOperations.h"
#include "Windows/SystemLogWindows/MessageId.h"

#include <Ondrel/Host.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <unordered_map>
#include <utility>

/// The classes of `Ondrel/Host.h` over what the host's event log gives.
namespace Ondrel::Host {

namespace {

// Runs an operation; where memory runs out in it, that is its answer.
template <class Operation>
ULong Answered(Operation operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

struct ReleaseOnHeap {
  void operator()(void* block) const { Memory().Free(block); }
};

/// The messages of one file.
class Messages {
public:
  ~Messages() { GiveBack(); }

  ULong Load(const std::string& path) {
    void* const module = EventLog().LoadLibraryExA(
        path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    if (module == nullptr) return EventLog().GetLastError();
    GiveBack();
    m_module = module;
    m_isFirstText.clear();
    return ERROR_SUCCESS;
  }

  // A record that there is no memory to format goes without its message: it has been read.
  void Fill(EventLogRecord& record) {
    record.message.clear();
    if (m_module == nullptr) return;
    try {
      FormatMessage(record);
    } catch (const std::bad_alloc&) {
      record.message.clear();
    }
  }

private:
  // Texts that a message may ask for (%1 to %99).
  static constexpr std::size_t kMostInserts = 99;

  void FormatMessage(EventLogRecord& record) {
    if (!record.strings.empty() && IsFirstText(record.eventID))
      record.message.append(record.strings.front()).append("\r\n");
    else
      Format(record.eventID, record.strings, record.message);
  }

  void GiveBack() {
    if (m_module != nullptr) EventLog().FreeLibrary(std::exchange(m_module, nullptr));
  }

  // Whether a message is its first insertion string alone, as those of this library are. Asked once
  // for each id: the host's own formatting takes longer than reading the record.
  bool IsFirstText(ULong id) {
    const auto known = m_isFirstText.find(id);
    if (known != m_isFirstText.end()) return known->second;
    std::string definition;
    Take(FORMAT_MESSAGE_IGNORE_INSERTS, id, nullptr, definition);
    return m_isFirstText[id] = definition == "%1\r\n";
  }

  void Format(ULong id, const std::vector<std::string>& strings, std::string& text) {
    if (strings.empty()) return Take(0, id, nullptr, text);
    // Null entries after the last string, so that a message that asks for more reads no further.
    std::vector<char*> inserts(std::max(strings.size(), kMostInserts), nullptr);
    std::ranges::transform(strings, inserts.begin(), [](const std::string& insert) {
      return const_cast<char*>(insert.c_str());
    });
    Take(FORMAT_MESSAGE_ARGUMENT_ARRAY, id, inserts.data(), text);
  }

  void Take(ULong flags, ULong id, char** inserts, std::string& text) {
    char* formatted = nullptr;
    const ULong length =
        EventLog().FormatMessageA(flags | FORMAT_MESSAGE_ALLOCATE_BUFFER |
                                      FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM,
                                  m_module, id, 0, reinterpret_cast<char*>(&formatted), 0, inserts);
    const std::unique_ptr<char, ReleaseOnHeap> owner(formatted);
    if (length > 0) text.assign(formatted, length);
  }

  void* m_module = nullptr;
  std::unordered_map<ULong, bool> m_isFirstText;
};

}  // namespace

class CEventLogReader::Impl {
public:
  std::unique_ptr<EventHistory> history;
  Messages messages;
};

CEventLogReader::CEventLogReader() : m_impl(std::make_unique<Impl>()) {}
CEventLogReader::~CEventLogReader() = default;
CEventLogReader::CEventLogReader(CEventLogReader&& other) noexcept = default;
CEventLogReader& CEventLogReader::operator=(CEventLogReader&& other) noexcept = default;

ULong CEventLogReader::Open(const std::string& name, const EventLogRange& range) {
  m_impl->history.reset();
  if (name.empty() || (range.isNewestFirst && (range.isNewOnly || !range.after.empty())))
    return ERROR_INVALID_PARAMETER;
  return Answered([&] {
    ULong error = ERROR_SUCCESS;
    m_impl->history = OpenHistory(name, range, error);
    return error;
  });
}

ULong CEventLogReader::Read(std::vector<EventLogItem>& items, std::size_t most) {
  if (!m_impl->history) {
    items.clear();
    return ERROR_INVALID_HANDLE;
  }
  const ULong error = Answered([&] {
    ItemList list(items, most);
    return m_impl->history->Read(list);
  });
  for (EventLogItem& item : items)
    if (item.kind == EventLogItemKind::kRecord) m_impl->messages.Fill(item.record);
  return error;
}

std::string CEventLogReader::Position() const {
  return m_impl->history ? m_impl->history->Position() : std::string();
}

std::string CEventLogReader::Identity() const {
  return m_impl->history ? m_impl->history->Identity() : std::string();
}

ULong CEventLogReader::GetMessageResources(const std::string& path) {
  return Answered([&] { return m_impl->messages.Load(path); });
}

class CEventLogWait::Impl {
public:
  std::unique_ptr<EventSignal> signal;
};

CEventLogWait::CEventLogWait() : m_impl(std::make_unique<Impl>()) {}
CEventLogWait::~CEventLogWait() = default;
CEventLogWait::CEventLogWait(CEventLogWait&& other) noexcept = default;
CEventLogWait& CEventLogWait::operator=(CEventLogWait&& other) noexcept = default;

ULong CEventLogWait::Open(const std::string& name) {
  if (name.empty()) return ERROR_INVALID_PARAMETER;
  return Answered([&] {
    ULong error = ERROR_SUCCESS;
    m_impl->signal = OpenSignal(name, error);
    return error;
  });
}

std::intptr_t CEventLogWait::Handle() const {
  return m_impl->signal ? m_impl->signal->Handle() : -1;
}

void CEventLogWait::Reset() {
  if (m_impl->signal) m_impl->signal->Reset();
}

bool CEventLogWait::Wait(std::chrono::milliseconds patience) {
  return m_impl->signal && m_impl->signal->Wait(patience);
}

class CEventLogWriter::Impl {
public:
  std::unique_ptr<CheckedSource> source;
};

CEventLogWriter::CEventLogWriter() : m_impl(std::make_unique<Impl>()) {}
CEventLogWriter::~CEventLogWriter() = default;
CEventLogWriter::CEventLogWriter(CEventLogWriter&& other) noexcept = default;
CEventLogWriter& CEventLogWriter::operator=(CEventLogWriter&& other) noexcept = default;

ULong CEventLogWriter::Open(const std::string& name) {
  if (name.empty()) return ERROR_INVALID_PARAMETER;
  return Answered([&] {
    ULong error = ERROR_SUCCESS;
    m_impl->source = OpenCheckedSource(name, error);
    return error;
  });
}

EventLogReport CEventLogWriter::Report(int eventID, int eventType, const std::string& text) {
  EventLogReport report;
  report.error = Answered([&]() -> ULong {
    if (!m_impl->source) return ERROR_INVALID_HANDLE;
    if (text.empty()) return ERROR_INVALID_PARAMETER;
    report = m_impl->source->Report(static_cast<WORD>(eventType), MessageId(eventID), text);
    return report.error;
  });
  return report;
}

class CEventLogImport::Impl {
public:
  std::unique_ptr<RecordImport> import;
};

CEventLogImport::CEventLogImport() : m_impl(std::make_unique<Impl>()) {}
CEventLogImport::~CEventLogImport() = default;
CEventLogImport::CEventLogImport(CEventLogImport&& other) noexcept = default;
CEventLogImport& CEventLogImport::operator=(CEventLogImport&& other) noexcept = default;

ULong CEventLogImport::Open(const std::string& name) {
  if (name.empty()) return ERROR_INVALID_PARAMETER;
  return Answered([&] {
    ULong error = ERROR_SUCCESS;
    m_impl->import = OpenImport(name, error);
    return error;
  });
}

ULong CEventLogImport::Add(const std::vector<EventLogRecord>& records) {
  if (!m_impl->import) return ERROR_INVALID_HANDLE;
  return Answered([&] { return m_impl->import->Add(records); });
}

std::uint64_t CEventLogImport::Dropped() const {
  return m_impl->import ? m_impl->import->Dropped() : 0;
}

}  // namespace Ondrel::Host
