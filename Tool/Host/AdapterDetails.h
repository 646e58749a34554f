#pragma once

#include <Ondrel/ConfigManager.h>

#include <string>
#include <vector>

namespace Tool {

/// What the host knows of an adapter besides its place and type. Texts are empty where it does not.
struct AdapterDetails {
  std::string vendor;              ///< "Intel Corporation"
  std::string device;              ///< "82801IR/IO/IH (ICH9R/DO/DH) 6 port SATA Controller"
  std::string className;           ///< "SATA controller (AHCI 1.0)"
  std::string driver;              ///< "ahci"
  std::vector<std::string> disks;  ///< "/dev/sda", in order; none where the host does not say.
};

/// The details of each of the adapters, in their order.
std::vector<AdapterDetails> DetailsOf(const std::vector<Ondrel::CDevNode>& adapters);

}  // namespace Tool
