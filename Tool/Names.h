#pragma once

#include "Tool/Output.h"

#include <Ondrel/CodeNames.h>

#include <cstdint>
#include <string>

namespace Tool {

/// "10471 (PD_STATE_CHANGE_OP_TO_FAIL)", or the number alone when the vocabulary has no name for
/// it.
std::string NumberAndName(const Ondrel::CCodeNames& names, std::int32_t code);

/// The name as JSON, null when there is none.
Json JsonOfName(const Ondrel::CCodeNames& names, std::int32_t code);

/// The event code that an event's full id, or the code itself, stands for.
std::int32_t EventCodeOf(std::int32_t id);

}  // namespace Tool
