#pragma once

#include "Tool/Failure.h"

#include <cstdint>
#include <string>
#include <string_view>

/// The host's last-error numbers in words. The numbers are the published Win32 ones on every host,
/// and so are their names and texts.

namespace Tool {

/// The name of a last-error number, such as "ERROR_ACCESS_DENIED"; empty when it is not in the
/// table.
std::string_view HostErrorName(std::uint32_t number);

/// Its published text, such as "Access is denied."; "Unknown error." for a number that is not in
/// the table.
std::string HostErrorText(std::uint32_t number);

/// "Access is denied. (error 5, ERROR_ACCESS_DENIED)".
std::string HostErrorWords(std::uint32_t number);

/// {"number","name","text"}; the name is null when it is not known.
Json JsonOfHostError(std::uint32_t number);

}  // namespace Tool
