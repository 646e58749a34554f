#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/ConfigManager.h>

#include <CLI/App.hpp>

#include <algorithm>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace Tool {

namespace {

constexpr std::size_t kIdDigits = 4;

struct LocateOptions {
  std::string vendor;
  std::string device;
  std::vector<std::string> ids;
  std::optional<std::size_t> index;
};

bool AreDigits(std::string_view text, std::size_t count) {
  return text.size() == count && std::ranges::all_of(text, [](char character) {
           return (character >= '0' && character <= '9') ||
                  (character >= 'a' && character <= 'f') || (character >= 'A' && character <= 'F');
         });
}

void RequireDigits(const std::string& text, const char* name, std::size_t count) {
  if (!AreDigits(text, count))
    throw UsageError(std::string(name) + ": \"" + OneLine(text) + "\" is not " +
                     std::to_string(count) + " hexadecimal digits");
}

/// Takes "8086:2922", as `adapters` prints it, apart.
void SplitType(LocateOptions& options) {
  const std::size_t colon = options.vendor.find(':');
  if (!options.device.empty() || colon == std::string::npos) return;
  options.device = options.vendor.substr(colon + 1);
  options.vendor.resize(colon);
}

/// "0000:00:1f.2", as `adapters` prints it.
bool IsLocation(std::string_view text) {
  constexpr std::size_t kSize = 12;
  return text.size() == kSize && AreDigits(text.substr(0, 4), 4) && text[4] == ':' &&
         AreDigits(text.substr(5, 2), 2) && text[7] == ':' && AreDigits(text.substr(8, 2), 2) &&
         text[10] == '.' && AreDigits(text.substr(11), 1);
}

/// The adapter at a place; nothing when there is none.
std::optional<Ondrel::CDevNode> AdapterAt(const std::string& location) {
  for (const Ondrel::CDevNode& node : Ondrel::StorageAdapters())
    if (IsSameWord(PciLocation(node.m_Segment, node.m_Bus, node.m_Device, node.m_Function),
                   location))
      return node;
  return std::nullopt;
}

/// The adapter that the options name; its numbers are those of the library when there is none.
bool Find(LocateOptions options, Ondrel::CDevNode& node) {
  Ondrel::CConfigManager manager;
  if (IsLocation(options.vendor)) {
    if (!options.device.empty() || options.index)
      throw UsageError("a location stands alone: neither DEVICE nor --index goes with it");
    const auto found = AdapterAt(options.vendor);
    node = found.value_or(Ondrel::CDevNode{});
    if (!found) node.m_Bus = node.m_Device = node.m_Function = -1;
    return found.has_value();
  }
  const std::size_t index = options.index.value_or(1);
  if (!options.ids.empty()) {
    for (std::string& id : options.ids) {
      // "8086:2922", as `adapters` prints it.
      if (id.size() == 2 * kIdDigits + 1 && id[kIdDigits] == ':') id.erase(kIdDigits, 1);
      RequireDigits(id, "--id", 2 * kIdDigits);
    }
    return manager.GetLocation(options.ids, index, node.m_Segment, node.m_Bus, node.m_Device,
                               node.m_Function);
  }
  SplitType(options);
  if (options.device.empty()) throw UsageError("VENDOR and DEVICE are required, or --id");
  RequireDigits(options.vendor, "VENDOR", kIdDigits);
  RequireDigits(options.device, "DEVICE", kIdDigits);
  return manager.GetLocation(options.vendor, options.device, index, node.m_Segment, node.m_Bus,
                             node.m_Device, node.m_Function);
}

int Locate(const GlobalOptions& globals, const LocateOptions& options) {
  Ondrel::CDevNode node;
  const bool isFound = Find(options, node);
  if (globals.json) {
    PrintJson({{"found", isFound},
               {"segment", node.m_Segment},
               {"bus", node.m_Bus},
               {"device", node.m_Device},
               {"function", node.m_Function}});
  } else if (isFound) {
    std::cout << PciLocation(node.m_Segment, node.m_Bus, node.m_Device, node.m_Function) << '\n';
  } else {
    std::cout << "there is no such adapter\n";
  }
  return isFound ? kDone : kNegativeAnswer;
}

}  // namespace

Work AddLocateCommand(CLI::App& app) {
  app.footer(
      "VENDOR may be both, as 8086:2922, or a location, as 0000:00:1f.2, which is then looked "
      "for.\n"
      "Exit status: 0 it is there, 1 it is not.\n");
  const auto options = std::make_shared<LocateOptions>();
  CLI::Option* const vendor =
      app.add_option("VENDOR", options->vendor, "Four hexadecimal digits in any case")
          ->type_name("");
  CLI::Option* const device =
      app.add_option("DEVICE", options->device, "Four hexadecimal digits in any case")
          ->type_name("");
  AddRepeated(
      app, "--id", options->ids,
      "Count adapters of this type, vendor and device as 8086:2922 or 80862922; may be repeated")
      ->type_name("VENDOR:DEVICE")
      ->excludes(vendor)
      ->excludes(device);
  AddNumber(
      app, "--index", 0, std::numeric_limits<std::int32_t>::max(),
      [options](std::int64_t index) { options->index = static_cast<std::size_t>(index); },
      "Which of them in the order of location, from 1 on (the first if not given)");
  return [options](const GlobalOptions& globals) { return Locate(globals, *options); };
}

}  // namespace Tool
