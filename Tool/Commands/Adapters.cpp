#include "Tool/Command.h"
#include "Tool/Host/AdapterDetails.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"

#include <Ondrel/ConfigManager.h>

#include <iostream>
#include <string>
#include <vector>

namespace Tool {

namespace {

Json JsonOfAdapter(const Ondrel::CDevNode& node, const AdapterDetails& details) {
  const auto orNull = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
  return {{"vendorId", node.m_VendorId},
          {"deviceId", node.m_DeviceId},
          {"segment", node.m_Segment},
          {"bus", node.m_Bus},
          {"device", node.m_Device},
          {"function", node.m_Function},
          {"location", PciLocation(node.m_Segment, node.m_Bus, node.m_Device, node.m_Function)},
          {"vendorName", orNull(details.vendor)},
          {"deviceName", orNull(details.device)},
          {"className", orNull(details.className)},
          {"driver", orNull(details.driver)},
          {"disks", details.disks}};
}

/// "0000:00:1f.2  8086:2922  SATA controller: Intel Corporation ..., driver ahci, /dev/sda".
std::string LineOf(const Ondrel::CDevNode& node, const AdapterDetails& details) {
  std::string line = PciLocation(node.m_Segment, node.m_Bus, node.m_Device, node.m_Function) +
                     "  " + node.m_VendorId + ":" + node.m_DeviceId;
  std::string names = details.className;
  if (!details.vendor.empty()) names += (names.empty() ? "" : ": ") + details.vendor;
  if (!details.device.empty())
    names += (details.vendor.empty() && !names.empty() ? ": "
              : names.empty()                          ? ""
                                                       : " ") +
             details.device;
  if (!details.driver.empty()) names += (names.empty() ? "driver " : ", driver ") + details.driver;
  for (const std::string& disk : details.disks) names += (names.empty() ? "" : ", ") + disk;
  return names.empty() ? line : line + "  " + OneLine(names);
}

int ShowAdapters(const GlobalOptions& globals) {
  const Progress progress("asking the host");
  // The first object takes the list from the host.
  const Ondrel::CConfigManager manager;
  const std::vector<Ondrel::CDevNode> adapters = Ondrel::StorageAdapters();
  const std::vector<AdapterDetails> details = DetailsOf(adapters);
  if (globals.json) {
    Json rows = Json::array();
    for (std::size_t i = 0; i < adapters.size(); ++i)
      rows.push_back(JsonOfAdapter(adapters[i], details[i]));
    PrintJson({{"adapters", rows}});
    return kDone;
  }
  if (adapters.empty()) std::cout << "no storage adapters\n";
  for (std::size_t i = 0; i < adapters.size(); ++i)
    std::cout << LineOf(adapters[i], details[i]) << '\n';
  return kDone;
}

}  // namespace

Work AddAdaptersCommand(CLI::App& app) {
  app.footer(
      "A line is segment:bus:device.function and vendor:device, all in hexadecimal, then class, "
      "vendor, device, driver and disks as far as the host knows them. On Linux the names come "
      "from the package pci.ids. 'ondrel locate' takes either of the first two words.\n");
  return ShowAdapters;
}

}  // namespace Tool
