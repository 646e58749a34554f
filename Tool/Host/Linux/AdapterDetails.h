#pragma once

#include "Tool/Host/AdapterDetails.h"

#include <string>

namespace Tool {

/// `DetailsOf` over a sysfs at `sysfs`, such as "/sys", and a list of names.
std::vector<AdapterDetails> DetailsFrom(const std::string& sysfs, const std::string& namesList,
                                        const std::vector<Ondrel::CDevNode>& adapters);

/// The list of PCI names that this host has; empty without one.
std::string PciNamesFile();

}  // namespace Tool
