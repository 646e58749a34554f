#pragma once

#include "Host/Types.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace Ondrel::Host {

/// The definition of message `id` in `table`, the bytes of a message table in its published layout,
/// as UTF-8 or in the narrow form that it has there. None when the table does not hold it.
///
/// The bytes may hold anything: nothing outside them is read, and what leads outside is not found.
/// The first block whose range has the id decides.
std::optional<std::string> FindMessage(std::span<const std::byte> table, ULong id);

}  // namespace Ondrel::Host
