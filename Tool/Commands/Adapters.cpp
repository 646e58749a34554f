#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/ConfigManager.h>

#include <iostream>
#include <string>
#include <vector>

namespace Tool {

namespace {

Json JsonOfAdapter(const Ondrel::CDevNode& node) {
  return {{"vendorId", node.m_VendorId}, {"deviceId", node.m_DeviceId},
          {"segment", node.m_Segment},   {"bus", node.m_Bus},
          {"device", node.m_Device},     {"function", node.m_Function}};
}

int ShowAdapters(const GlobalOptions& globals) {
  // The first object takes the list from the host.
  const Ondrel::CConfigManager manager;
  const std::vector<Ondrel::CDevNode> adapters = Ondrel::StorageAdapters();
  if (globals.json) {
    Json rows = Json::array();
    for (const Ondrel::CDevNode& adapter : adapters) rows.push_back(JsonOfAdapter(adapter));
    PrintJson({{"adapters", rows}});
  } else {
    if (adapters.empty()) std::cout << "no storage adapters\n";
    for (const Ondrel::CDevNode& adapter : adapters) {
      std::cout << PciLocation(adapter.m_Segment, adapter.m_Bus, adapter.m_Device,
                               adapter.m_Function)
                << "  " << adapter.m_VendorId << ':' << adapter.m_DeviceId << '\n';
    }
  }
  return kDone;
}

}  // namespace

Work AddAdaptersCommand(CLI::App& app) {
  app.footer(
      "A line is segment:bus:device.function and vendor:device, all in hexadecimal; with --json "
      "the location is in decimal.\n");
  return ShowAdapters;
}

}  // namespace Tool
