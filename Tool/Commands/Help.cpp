#include "Tool/CommandLine.h"

#include <memory>

namespace Tool {

Work AddHelpCommand(CLI::App& app) {
  const auto names = std::make_shared<std::vector<std::string>>();
  app.add_option("SUBCOMMAND", *names, "Subcommand, such as log report")->type_name("");
  return [names](const GlobalOptions& globals) { return ShowHelp(globals, *names); };
}

}  // namespace Tool
