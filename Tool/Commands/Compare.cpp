#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/System.h>

#include <CLI/App.hpp>

#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>

namespace Tool {

namespace {

struct CompareOptions {
  std::string first;
  std::string second;
  std::size_t parts = 0;
};

int CompareVersions(const GlobalOptions& globals, const CompareOptions& options) {
  const int result = Ondrel::CSystem::VersionCompare(options.first, options.second, options.parts);
  if (globals.json) {
    PrintJson({{"result", result}});
  } else {
    const char* const relation = result < 0 ? " < " : result > 0 ? " > " : " = ";
    std::cout << options.first << relation << options.second << '\n';
  }
  return kDone;
}

}  // namespace

Work AddCompareCommand(CLI::App& app) {
  app.footer("The result is below 0, 0 or above 0.\n");
  const auto options = std::make_shared<CompareOptions>();
  app.add_option("A", options->first, "A version, such as 7.10.2")->required()->type_name("");
  app.add_option("B", options->second, "Another")->required()->type_name("");
  AddNumber(
      app, "--parts", 0, std::numeric_limits<std::int32_t>::max(),
      [options](std::int64_t parts) { options->parts = static_cast<std::size_t>(parts); },
      "Compare only so many leading parts (0: all)");
  return [options](const GlobalOptions& globals) { return CompareVersions(globals, *options); };
}

}  // namespace Tool
