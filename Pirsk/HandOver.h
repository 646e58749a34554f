#pragma once

#include <Pirsk/Trace.h>

namespace Pirsk::Trace {

/// Hands a finished line to the sink, if there is one.
void HandOver(const Line& line);

}  // namespace Pirsk::Trace
