#include "Host/ProcessOperations.h"

namespace Ondrel::Host {

ProcessOperations MakeProcessOperations() {
  return ProcessOperations{
      ._popen = ::_popen,
      .fgets = [](char* buffer, int size,
                  std::FILE* stream) { return std::fgets(buffer, size, stream); },
      ._pclose = ::_pclose,
  };
}

}  // namespace Ondrel::Host
