#include <Ondrel/SystemLog.h>

#include <string>

namespace Ondrel {

std::string CSystemEvent_Win::str() const {
  std::string line = "Event: record number (" + std::to_string(recordNumber) + ") eventID (" +
                     std::to_string(eventID) + ") eventType (" + std::to_string(eventType) +
                     ") args: ";
  for (const std::string& argument : args) line.append(argument).append(" ");
  line.append("message: '").append(message).append("'");
  return line;
}

}  // namespace Ondrel
