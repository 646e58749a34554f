#include "Host/Types.h"
#include "Windows/RestartRequest.h"

#include <Ondrel/Host.h>

namespace Ondrel::Host {

std::string Restart(const std::string& message, bool) {
  const ULong error = RequestRestart(message);
  if (error == ERROR_SUCCESS) return "";
  char text[512];
  DWORD length = ::FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, error, 0, text, sizeof text, nullptr);
  while (length > 0 &&
         (static_cast<unsigned char>(text[length - 1]) <= ' ' || text[length - 1] == '.'))
    --length;
  return "the host refuses: " + std::string(text, length) + " (" + std::to_string(error) + ")";
}

}  // namespace Ondrel::Host
