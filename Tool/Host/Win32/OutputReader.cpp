#include "Tool/Host/OutputReader.h"

namespace Tool {

bool IsStandardOutputRead() { return true; }

}  // namespace Tool
