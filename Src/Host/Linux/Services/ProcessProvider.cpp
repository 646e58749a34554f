#include "Host/ProcessOperations.h"

namespace Ondrel::Host {

ProcessOperations MakeProcessOperations() {
  return ProcessOperations{
      ._popen =
          [](const char* commandLine, const char* mode) {
            // The stream is not inherited by the processes of other threads.
            return ::popen(commandLine, mode[0] == 'r' ? "re" : "we");
          },
      // A stream serves the one call that started it.
      .fgets = ::fgets_unlocked,
      ._pclose = ::pclose,
  };
}

}  // namespace Ondrel::Host
