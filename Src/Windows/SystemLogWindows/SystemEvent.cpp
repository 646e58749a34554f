#include <Ondrel/SystemLog.h>

#include <locale>
#include <sstream>

namespace Ondrel {

std::string CSystemEvent_Win::str() const {
  std::ostringstream line;
  // A program's own locale may group digits.
  line.imbue(std::locale::classic());
  line << "Event: record number (" << recordNumber << ") eventID (" << eventID << ") eventType ("
       << eventType << ") args: ";
  for (const std::string& argument : args) line << argument << ' ';
  line << "message: '" << message << "'";
  return line.str();
}

}  // namespace Ondrel
