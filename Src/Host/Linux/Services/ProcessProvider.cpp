#include "Host/ProcessOperations.h"

#include <cerrno>

namespace Ondrel::Host {

namespace {

// `fgets` that goes on where a signal interrupts the reading. The C library's own ends there and
// loses what it has of the line. A stream serves the one call that started it: no lock is needed.
char* ReadPiece(char* buffer, int size, std::FILE* stream) {
  int length = 0;
  while (length < size - 1) {
    const int character = ::getc_unlocked(stream);
    if (character == EOF) {
      if (!::ferror_unlocked(stream) || errno != EINTR) break;
      ::clearerr_unlocked(stream);
      continue;
    }
    buffer[length++] = static_cast<char>(character);
    if (character == '\n') break;
  }
  if (length == 0) return nullptr;
  buffer[length] = '\0';
  return buffer;
}

}  // namespace

ProcessOperations MakeProcessOperations() {
  return ProcessOperations{
      ._popen =
          [](const char* commandLine, const char* mode) {
            // The stream is not inherited by the processes of other threads.
            return ::popen(commandLine, mode[0] == 'r' ? "re" : "we");
          },
      .fgets = ReadPiece,
      ._pclose = ::pclose,
  };
}

}  // namespace Ondrel::Host
