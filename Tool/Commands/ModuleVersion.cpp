#include "Tool/Command.h"
#include "Tool/Host/Driver.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <CLI/App.hpp>

#include <iostream>
#include <memory>
#include <string>

namespace Tool {

namespace {

const char* NameOf(DriverState::Kind kind) {
  switch (kind) {
    case DriverState::Kind::kLoaded:
      return "loaded";
    case DriverState::Kind::kBuiltIn:
      return "builtIn";
    case DriverState::Kind::kNotLoaded:
      return "notLoaded";
    case DriverState::Kind::kUnknown:
      break;
  }
  return "unknown";
}

std::string WordsOf(const DriverState& driver) {
  const std::string name = OneLine(driver.name);
  switch (driver.kind) {
    case DriverState::Kind::kLoaded:
      return name + " is loaded and has no version";
    case DriverState::Kind::kBuiltIn:
      return name + " is built into the kernel and has no version";
    case DriverState::Kind::kNotLoaded:
      return name + " is not loaded";
    case DriverState::Kind::kUnknown:
      break;
  }
  return "there is no driver " + name;
}

int ShowModuleVersion(const GlobalOptions& globals, const std::string& module) {
  const DriverState driver = StateOfDriver(module);
  if (globals.json)
    PrintJson({{"module", driver.name},
               {"state", NameOf(driver.kind)},
               {"version", driver.version.empty() ? Json() : Json(driver.version)}});
  else if (driver.version.empty())
    std::cout << WordsOf(driver) << '\n';
  else
    std::cout << OneLine(driver.version) << '\n';
  return driver.version.empty() ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddModuleVersionCommand(CLI::App& app) {
  app.footer(
      "Exit status: 0 there is one; 1 the driver has none, is not loaded or is not there.\n");
  const auto module = std::make_shared<std::string>();
  app.add_option("NAME", *module,
                 "The driver's name without its extension; on Linux - and _ are alike in it")
      ->required()
      ->type_name("");
  return [module](const GlobalOptions& globals) { return ShowModuleVersion(globals, *module); };
}

}  // namespace Tool
