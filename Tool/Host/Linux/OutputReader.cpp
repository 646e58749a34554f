#include "Tool/Host/OutputReader.h"

#include <poll.h>
#include <unistd.h>

namespace Tool {

bool IsStandardOutputRead() {
  pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
  return poll(&output, 1, 0) <= 0 || (output.revents & (POLLERR | POLLHUP)) == 0;
}

}  // namespace Tool
