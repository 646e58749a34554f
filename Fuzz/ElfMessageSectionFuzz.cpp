#include "Host/Linux/Messages/ElfMessageSection.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

// Reads the message section of a file of any bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int file = memfd_create("elf", MFD_CLOEXEC);
  if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size))
    std::abort();

  const Ondrel::Host::MessageSection section = Ondrel::Host::ReadMessageSection(file);
  if (section.bytes.size() > size) std::abort();
  return 0;
}
