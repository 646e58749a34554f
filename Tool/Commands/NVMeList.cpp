#include "Tool/Command.h"
#include "Tool/HostErrors.h"
#include "Tool/NVMeFields.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"
#include "Tool/Table.h"

#include <Ondrel/NVMeDevices.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

namespace Tool {

namespace {

using Ondrel::NVME_IDENTIFY_NAMESPACE;
using Ondrel::Host::NVMeController;
using Ondrel::Host::NVMeDevices;
using Ondrel::Host::NVMeNamespace;

/// A namespace with what its device says of it.
struct ListedNamespace {
  NVMeNamespace known;
  Ondrel::ULong error = 0;      ///< Why it was not asked for more; 0 when it was.
  std::uint64_t size = 0;       ///< Bytes.
  std::uint64_t used = 0;       ///< Bytes.
  std::uint64_t blockSize = 0;  ///< Bytes; 0 when it is not known.
  unsigned format = 0;          ///< The index of the format in use.
  unsigned metadata = 0;        ///< Bytes for each block.
  bool isMetadataAtEnd = false;
};

ListedNamespace Ask(const NVMeNamespace& known) {
  ListedNamespace listed;
  listed.known = known;
  listed.size = known.sizeInBytes;
  listed.blockSize = known.blockSize;
  // A host that does not number its namespaces does not say which of them to ask for.
  if (known.id == 0) {
    listed.error = Ondrel::Host::FindNVMeNamespaceId(known.device.c_str(), listed.known.id);
    if (listed.error != 0) return listed;
  }
  NVME_IDENTIFY_NAMESPACE data;
  listed.error = Ondrel::Host::IdentifyNVMeNamespace(known.device.c_str(), listed.known.id, &data);
  if (listed.error != 0) return listed;
  if (data.LBASize() != 0) listed.blockSize = data.LBASize();
  listed.size = data.NSZE * data.LBASize();
  listed.used = data.NUSE * data.LBASize();
  listed.format = unsigned{data.FLBAS.Format};
  listed.metadata = unsigned{data.LBAF[data.FLBAS.Format].MS};
  listed.isMetadataAtEnd = data.FLBAS.MetadataAtEnd != 0;
  return listed;
}

std::vector<ListedNamespace> AskAll(const NVMeDevices& devices) {
  std::vector<ListedNamespace> all;
  for (const NVMeNamespace& nameSpace : devices.namespaces) all.push_back(Ask(nameSpace));
  return all;
}

std::string FormatText(const ListedNamespace& listed) {
  if (listed.blockSize == 0) return "-";
  std::string text = std::to_string(listed.blockSize) + " bytes";
  if (listed.metadata != 0) text += " + " + std::to_string(listed.metadata) + " of metadata";
  // A format that the kernel cannot read or write has a disk of no size.
  if (listed.size != 0 && listed.known.sizeInBytes == 0) text += ", no disk";
  return text;
}

/// "67.11 MB", or "512 bytes" of less than a thousand.
std::string ShortSize(std::uint64_t bytes) {
  const std::string text = SizeText(bytes);
  const std::size_t open = text.find('(');
  return open == std::string::npos ? text : text.substr(open + 1, text.size() - open - 2);
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string OrDash(const std::string& text) { return text.empty() ? "-" : text; }

Json JsonOfAll(const NVMeDevices& devices, const std::vector<ListedNamespace>& namespaces) {
  Json controllers = Json::array();
  for (const NVMeController& controller : devices.controllers) {
    Json names = Json::array();
    for (const ListedNamespace& listed : namespaces)
      if (std::ranges::count(listed.known.controllers, controller.name) != 0)
        names.push_back(listed.known.name);
    controllers.push_back({{"name", controller.name},
                           {"device", controller.device},
                           {"model", controller.model},
                           {"serial", controller.serial},
                           {"firmware", controller.firmware},
                           {"state", controller.state},
                           {"transport", controller.transport},
                           {"address", controller.address},
                           {"subsystem", controller.subsystem},
                           {"namespaces", names}});
  }
  Json list = Json::array();
  for (const ListedNamespace& listed : namespaces) {
    const NVMeNamespace& known = listed.known;
    const auto asked = [&](const Json& value) { return listed.error == 0 ? value : Json(nullptr); };
    list.push_back({{"name", known.name},
                    {"device", known.device},
                    {"id", known.id == 0 ? Json(nullptr) : Json(known.id)},
                    {"size", listed.size},
                    {"diskSize", known.sizeInBytes},
                    {"used", asked(listed.used)},
                    {"blockSize", listed.blockSize == 0 ? Json(nullptr) : Json(listed.blockSize)},
                    {"metadataSize", asked(listed.metadata)},
                    {"metadataAtEnd", asked(listed.isMetadataAtEnd)},
                    {"format", asked(listed.format)},
                    {"controllers", known.controllers},
                    {"error", listed.error == 0 ? Json(nullptr) : JsonOfHostError(listed.error)}});
  }
  Json json = {{"controllers", controllers}, {"namespaces", list}};
  if (devices.error != 0) json["error"] = JsonOfHostError(devices.error);
  return json;
}

void PrintAll(const NVMeDevices& devices, const std::vector<ListedNamespace>& namespaces) {
  if (devices.controllers.empty()) {
    std::cout << "there is no NVMe device\n";
    return;
  }
  std::vector<Row> rows = {{"controller", "model", "serial", "firmware", "state", "at"}};
  for (const NVMeController& controller : devices.controllers)
    rows.push_back({controller.device, OrDash(controller.model), OrDash(controller.serial),
                    OrDash(controller.firmware), OrDash(controller.state),
                    OrDash(controller.transport +
                           (controller.address.empty() ? "" : " " + controller.address))});
  PrintTable(std::cout, rows, 0);
  if (namespaces.empty()) {
    std::cout << "\nthere is no namespace\n";
    return;
  }
  rows = {{"id", "namespace", "size", "in use", "format", "controllers"}};
  for (const ListedNamespace& listed : namespaces)
    rows.push_back({listed.known.id == 0 ? "-" : std::to_string(listed.known.id),
                    listed.known.device, ShortSize(listed.size),
                    listed.error == 0 ? ShortSize(listed.used) : "-", FormatText(listed),
                    Joined(listed.known.controllers)});
  std::cout << '\n';
  PrintTable(std::cout, rows, 1);
}

/// Says once why columns have no value, and why something may be missing altogether.
void SayWhatIsMissing(const NVMeDevices& devices, const std::vector<ListedNamespace>& namespaces) {
  if (devices.error != 0)
    Say("not all NVMe devices may be listed: " + HostErrorWords(devices.error));
  for (const ListedNamespace& listed : namespaces) {
    if (listed.error == 0) continue;
    Say("cannot ask " + OneLine(listed.known.device) +
        " for its use and metadata: " + HostErrorWords(listed.error));
    return;
  }
}

int ShowList(const GlobalOptions& globals) {
  NVMeDevices devices;
  std::vector<ListedNamespace> namespaces;
  {
    const Progress progress("asking the NVMe devices");
    devices = Ondrel::Host::ListNVMeDevices();
    namespaces = AskAll(devices);
  }
  if (devices.controllers.empty() && devices.error != 0)
    throw HostFailure("cannot see the NVMe devices", devices.error);
  if (globals.json) {
    PrintJson(JsonOfAll(devices, namespaces));
  } else {
    PrintAll(devices, namespaces);
    std::cout << std::flush;
    SayWhatIsMissing(devices, namespaces);
  }
  return devices.controllers.empty() ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddNVMeListCommand(CLI::App& app) {
  app.footer("Exit status: 0 there are NVMe devices, 1 there are none, 3 they cannot be seen.\n");
  return ShowList;
}

}  // namespace Tool
