#pragma once

#include "Tool/Host/Driver.h"

#include <string>

namespace Tool {

/// `StateOfDriver` over the folder `root` that stands for "/" and the modules of the kernel
/// `release`. The version of a loaded driver is left empty: the library knows it.
DriverState DriverStateFrom(const std::string& root, const std::string& release,
                            const std::string& name);

}  // namespace Tool
