#include "Tool/Host/StandardInput.h"

#include <cerrno>
#include <system_error>
#include <unistd.h>

namespace Tool {

std::size_t ReadStandardInput(char* bytes, std::size_t size) {
  while (true) {
    const ssize_t count = ::read(STDIN_FILENO, bytes, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) throw std::system_error(errno, std::generic_category());
  }
}

}  // namespace Tool
