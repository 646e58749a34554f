#pragma once

#include "Tool/Watch/StateJson.h"

#include <string>

namespace Tool::Watch {

/// Whether all drives that are there or missed, and all arrays that are not stopped, are well.
bool AreAllWell(const WatchState& state);

/// A table of all drives and arrays with their statuses, for a person. Ends with a line end.
std::string TableOf(const WatchState& state);

/// {"drives":[...],"arrays":[...],"well"}.
Json JsonOfAll(const WatchState& state);

}  // namespace Tool::Watch
