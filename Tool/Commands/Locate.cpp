#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/ConfigManager.h>

#include <CLI/App.hpp>

#include <iostream>
#include <limits>
#include <memory>
#include <vector>

namespace Tool {

namespace {

struct LocateOptions {
  std::string vendor;
  std::string device;
  std::vector<std::string> ids;
  std::size_t index = 1;
};

int Locate(const GlobalOptions& globals, const LocateOptions& options) {
  if (options.ids.empty() && options.device.empty())
    throw UsageError("VENDOR and DEVICE are required, or --id");

  Ondrel::CConfigManager manager;
  int segment = 0;
  int bus = 0;
  int device = 0;
  int function = 0;
  const bool isFound =
      options.ids.empty()
          ? manager.GetLocation(options.vendor, options.device, options.index, segment, bus, device,
                                function)
          : manager.GetLocation(options.ids, options.index, segment, bus, device, function);
  if (globals.json) {
    PrintJson({{"found", isFound},
               {"segment", segment},
               {"bus", bus},
               {"device", device},
               {"function", function}});
  } else if (isFound) {
    std::cout << PciLocation(segment, bus, device, function) << '\n';
  } else {
    std::cout << "there is no such adapter\n";
  }
  return isFound ? kDone : kNegativeAnswer;
}

}  // namespace

Work AddLocateCommand(CLI::App& app) {
  app.footer("Exit status: 0 it is there, 1 it is not.\n");
  const auto options = std::make_shared<LocateOptions>();
  CLI::Option* const vendor =
      app.add_option("VENDOR", options->vendor, "Four hexadecimal digits in any case")
          ->type_name("");
  CLI::Option* const device =
      app.add_option("DEVICE", options->device, "Four hexadecimal digits in any case")
          ->type_name("");
  vendor->needs(device);
  AddRepeated(app, "--id", options->ids,
              "Count adapters of this type, eight digits of vendor and device; may be repeated")
      ->type_name("VVVVDDDD")
      ->excludes(vendor)
      ->excludes(device);
  AddNumber(
      app, "--index", 0, std::numeric_limits<std::int32_t>::max(),
      [options](std::int64_t index) { options->index = static_cast<std::size_t>(index); },
      "Which of them in the order of location, from 1 on (the first if not given)");
  return [options](const GlobalOptions& globals) { return Locate(globals, *options); };
}

}  // namespace Tool
