#include "Tool/Host/HostName.h"

namespace Tool {

std::optional<HostName> NameOfHost() { return std::nullopt; }

}  // namespace Tool
