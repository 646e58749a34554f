#include "Tool/Command.h"
#include "Tool/Options.h"

#include <Ondrel/System.h>

#include <memory>

namespace Tool {

Work AddRebootCommand(CLI::App& app) {
  app.footer(
      "There is no report of a failure: who has no right to restart the machine finds it "
      "running.\n");
  const auto isSure = std::make_shared<bool>(false);
  AddFlag(app, "--yes", *isSure, "Yes, this machine, now")->required();
  return [](const GlobalOptions&) {
    Ondrel::CSystem::Reboot();
    return int{kDone};
  };
}

}  // namespace Tool
