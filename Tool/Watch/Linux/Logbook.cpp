#include "Tool/Watch/Linux/Logbook.h"

#include "Tool/Watch/Watch.h"

#include <Ondrel/Host.h>
#include <Ondrel/ModuleError.h>
#include <Ondrel/SystemLog.h>
#include <Pirsk/Exceptions.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace Tool::Watch {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kReadBackPatience{2};
constexpr std::chrono::milliseconds kReadBackInterval{20};
constexpr const char* kEndOfLog = "errorCode (38)";

int TypeOf(int severity) {
  if (severity >= 4) return Ondrel::kEventTypeError;
  return severity == 3 ? Ondrel::kEventTypeWarning : Ondrel::kEventTypeInformation;
}

// Null for a log without records: a reader delivers only what comes after a record.
std::unique_ptr<Ondrel::CSystemLogReader_Win> OpenReader(const std::string& log) {
  auto reader = std::make_unique<Ondrel::CSystemLogReader_Win>();
  try {
    reader->Open(log, {log});
  } catch (unsigned int number) {
    const std::string detail = Pirsk::Exceptions::ReportOf(number).detail;
    if (number == Ondrel::kSystemLogReadFailed && detail.find(kEndOfLog) != std::string::npos)
      return nullptr;
    throw;
  }
  return reader;
}

bool Arrives(Ondrel::CSystemLogReader_Win& reader, const WatchEvent& event) {
  const Clock::time_point deadline = Clock::now() + kReadBackPatience;
  do {
    for (const Ondrel::CSystemEvent_Win& record : reader.ReadEvents())
      if (record.eventID == static_cast<Ondrel::ULong>(event.code) &&
          record.args == std::vector<std::string>{event.text})
        return true;
    std::this_thread::sleep_for(kReadBackInterval);
  } while (Clock::now() < deadline);
  return false;
}

}  // namespace

void UseEventLog(const LogSettings& settings) {
  if (settings.isJournal) {
    if (!Ondrel::Host::UseJournal()) throw WatchError("no journal takes entries on this host", 1);
  } else if (!settings.store.empty()) {
    Ondrel::Host::UseEventStore(settings.store);
  } else {
    Ondrel::Host::UseHostEventLog();
  }
}

// The library's report gives no sign of an event that the host did not take, so it is read back.
std::string WriteEvent(const std::string& log, const StoredEvent& stored) {
  const WatchEvent& event = stored.event;
  try {
    const auto reader = OpenReader(log);
    Ondrel::CSystemLog_Win writer;
    writer.Open(log);
    writer.Report(event.code, TypeOf(event.severity), event.text);
    const bool isThere = reader ? Arrives(*reader, event) : OpenReader(log) != nullptr;
    return isThere ? "" : "an event that was reported is not there";
  } catch (unsigned int number) {
    return Pirsk::Exceptions::ReportOf(number).str();
  }
}

// A reader gives nothing of the past, so an event whose report was cut off is written again.
bool IsInLog(const std::string&, const StoredEvent&) { return false; }

}  // namespace Tool::Watch
