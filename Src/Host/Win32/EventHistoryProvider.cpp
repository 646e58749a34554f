#include "Host/EventHistory.h"
#include "Windows/SystemLogWindows/RecordHistory.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel::Host {

namespace {

constexpr char kLogsKey[] = "SYSTEM\\CurrentControlSet\\Services\\EventLog";

/// An event that the host sets when something came into a log.
class LogSignal final : public EventSignal {
public:
  explicit LogSignal(const std::string& log)
      : m_log(::OpenEventLogA(nullptr, log.c_str())),
        m_event(::CreateEventA(nullptr, FALSE, FALSE, nullptr)) {}
  ~LogSignal() override {
    if (m_log != nullptr) ::CloseEventLog(m_log);
    if (m_event != nullptr) ::CloseHandle(m_event);
  }

  LogSignal(const LogSignal&) = delete;
  LogSignal& operator=(const LogSignal&) = delete;

  bool Begin() const {
    return m_log != nullptr && m_event != nullptr && ::NotifyChangeEventLog(m_log, m_event) != 0;
  }

  std::intptr_t Handle() const override { return reinterpret_cast<std::intptr_t>(m_event); }

  void Reset() override { ::ResetEvent(m_event); }

  bool Wait(std::chrono::milliseconds patience) override {
    const auto limit = std::clamp<long long>(patience.count(), 0, INFINITE - 1);
    return ::WaitForSingleObject(m_event, static_cast<DWORD>(limit)) == WAIT_OBJECT_0;
  }

private:
  HANDLE m_log;
  HANDLE m_event;
};

std::vector<std::string> LogNames(ULong& error) {
  std::vector<std::string> names;
  HKEY key = nullptr;
  error = static_cast<ULong>(
      ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, kLogsKey, 0, KEY_ENUMERATE_SUB_KEYS, &key));
  if (error != ERROR_SUCCESS) return names;
  for (DWORD index = 0;; ++index) {
    std::array<char, 256> name{};
    DWORD size = static_cast<DWORD>(name.size());
    const LSTATUS outcome =
        ::RegEnumKeyExA(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    if (outcome != ERROR_SUCCESS) break;
    names.emplace_back(name.data(), size);
  }
  ::RegCloseKey(key);
  return names;
}

// Bytes of the file that the registry names for a log; 0 where it names none.
std::uint64_t FileSize(const std::string& log) {
  const std::string key = std::string(kLogsKey) + "\\" + log;
  std::array<char, 1024> path{};
  DWORD size = static_cast<DWORD>(path.size());
  if (::RegGetValueA(HKEY_LOCAL_MACHINE, key.c_str(), "File", RRF_RT_REG_SZ, nullptr, path.data(),
                     &size) != ERROR_SUCCESS)
    return 0;
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (::GetFileAttributesExA(path.data(), GetFileExInfoStandard, &data) == 0) return 0;
  return std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
}

}  // namespace

std::unique_ptr<EventHistory> OpenHistory(const std::string& log, const EventLogRange& range,
                                          ULong& error) {
  return OpenRecordHistory(log, range, error);
}

std::unique_ptr<EventSignal> OpenSignal(const std::string& log, ULong& error) {
  auto signal = std::make_unique<LogSignal>(log);
  if (signal->Begin()) return signal;
  error = ::GetLastError();
  return nullptr;
}

std::unique_ptr<CheckedSource> OpenCheckedSource(const std::string& source, ULong& error) {
  return OpenAnsweredSource(source, error);
}

// Records get their time and number from the host.
std::unique_ptr<RecordImport> OpenImport(const std::string&, ULong& error) {
  error = ERROR_NOT_SUPPORTED;
  return nullptr;
}

ULong ListEventLogs(std::vector<EventLogSummary>& logs) {
  logs.clear();
  ULong error = ERROR_SUCCESS;
  for (const std::string& name : LogNames(error)) {
    EventLogSummary summary;
    const ULong outcome = SummarizeLog(name, summary);
    if (outcome != ERROR_SUCCESS) error = outcome;
    summary.bytes = FileSize(name);
    logs.push_back(std::move(summary));
  }
  return error;
}

ULong ClearEventRecords(const std::string& name, std::optional<ULong> time,
                        std::uint64_t& removed) {
  return ClearWholeLog(name, time.has_value(), removed);
}

EventLogPlace CurrentEventLog() {
  return {.kind = EventLogKind::kWindows, .path = {}, .isJournalAway = false};
}

std::string EventLogErrorText(ULong error) {
  char* text = nullptr;
  const DWORD length = ::FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, error, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  std::string words = length > 0 ? std::string(text, length) : "error " + std::to_string(error);
  ::LocalFree(text);
  while (!words.empty() && (words.back() == '\n' || words.back() == '\r' || words.back() == '.'))
    words.pop_back();
  return words;
}

}  // namespace Ondrel::Host
