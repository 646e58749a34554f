#pragma once

#include "Host/Types.h"

#include <cstddef>
#include <vector>

namespace Ondrel::Host {

/// What a file's message section held.
struct MessageSection {
  ULong error = ERROR_SUCCESS;   ///< Why the section could not be read, or 0.
  std::vector<std::byte> bytes;  ///< The section's bytes; empty when the file has none.
};

/// Reads the section `.msgtable` of the ELF file open as `fileDescriptor`, of either word size and
/// byte order. 193 for what is not a regular file, not ELF, damaged, or has a message section of
/// more than 16 MiB. The file may hold anything; it is read, never mapped, so that another program
/// that shortens it meanwhile does no harm.
MessageSection ReadMessageSection(int fileDescriptor);

}  // namespace Ondrel::Host
