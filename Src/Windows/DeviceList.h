#pragma once

#include <Ondrel/ConfigManager.h>

#include <string>
#include <vector>

namespace Ondrel {

/// Takes vendor and device out of a hardware id such as
/// "PCI\VEN_8086&DEV_2922&SUBSYS_00000000&REV_02". Where the id does not name both it returns false
/// and leaves the node as it was.
bool ParseHardwareId(CDevNode& node, const std::string& hardwareId);

/// Sorts by segment, bus, device and function.
void SortByLocation(std::vector<CDevNode>& devices);

/// The list that every `CConfigManager` reads, for what stands beside the class.
class CDeviceList {
public:
  static std::vector<CDevNode>& Devices() { return CConfigManager::m_Devices; }
  static bool Enumerate() { return CConfigManager::Enumerate(); }
};

}  // namespace Ondrel
