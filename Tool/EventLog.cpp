#include "Tool/EventLog.h"

#include "Tool/Names.h"

#include <Pirsk/Exceptions.h>

namespace Tool {

namespace {

constexpr std::uint32_t kEndOfLog = 38;  // The host's number for a log without records.

}  // namespace

std::unique_ptr<Ondrel::CSystemLogReader_Win> OpenReader(const std::string& name,
                                                         const std::vector<std::string>& sources) {
  auto reader = std::make_unique<Ondrel::CSystemLogReader_Win>();
  try {
    reader->Open(name, sources);
  } catch (unsigned int number) {
    if (number == Ondrel::kSystemLogReadFailed &&
        Pirsk::Exceptions::ReportOf(number).hostError == kEndOfLog)
      return nullptr;
    throw;
  }
  return reader;
}

Json JsonOfEvent(const Ondrel::CSystemEvent_Win& event) {
  return {
      {"recordNumber", event.recordNumber},
      {"timeGenerated", event.timeGenerated},
      {"eventID", event.eventID},
      {"eventName", JsonOfName(Ondrel::EventCodeNames, static_cast<std::int32_t>(event.eventID))},
      {"eventType", event.eventType},
      {"args", event.args},
      {"message", event.message}};
}

std::string EventLine(const Ondrel::CSystemEvent_Win& event) {
  Ondrel::CSystemEvent_Win shown = event;
  shown.message = OneLine(event.message);
  std::string line = TimeText(event.timeGenerated) + " ";
  const auto name = Ondrel::EventCodeNames.Name(static_cast<std::int32_t>(event.eventID));
  if (name) line.append(*name).append(" ");
  return line + OneLine(shown.str());
}

}  // namespace Tool
