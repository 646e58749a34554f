#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/System.h>

#include <iostream>
#include <memory>

namespace Tool {

namespace {

int ShowModuleVersion(const GlobalOptions& globals, const std::string& module) {
  std::string version;
  Ondrel::CSystem::GetModuleVersion(module, version);
  if (globals.json)
    PrintJson({{"module", module}, {"version", version}});
  else if (version.empty())
    std::cout << "no module " << OneLine(module) << " is loaded that gives a version\n";
  else
    std::cout << version << '\n';
  return version.empty() ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddModuleVersionCommand(CLI::App& app) {
  app.footer("Exit status: 0 there is one, 1 it is not loaded or gives none.\n");
  const auto module = std::make_shared<std::string>();
  app.add_option("NAME", *module, "The driver's name without its extension")
      ->required()
      ->type_name("");
  return [module](const GlobalOptions& globals) { return ShowModuleVersion(globals, *module); };
}

}  // namespace Tool
