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

constexpr std::int64_t kGreatest = std::numeric_limits<std::uint32_t>::max();

int ShowModuleVersion(const GlobalOptions& globals, const std::string& module) {
  std::string version;
  Ondrel::CSystem::GetModuleVersion(module, version);
  if (globals.json)
    PrintJson({{"module", module}, {"version", version}});
  else if (version.empty())
    std::cout << "no module " << OneLine(module) << " is loaded that tells a version\n";
  else
    std::cout << version << '\n';
  return version.empty() ? kNegativeAnswer : kDone;
}

void AddModuleVersionCommand(CLI::App& app, Work& chosen) {
  CLI::App* const command =
      AddSubcommand(app, "module-version", "Show the version of a loaded driver",
                    "Exit status: 0 there is one, 1 it is not loaded or tells none.\n");
  const auto module = std::make_shared<std::string>();
  command->add_option("NAME", *module, "The driver's name without its extension")
      ->required()
      ->type_name("");
  command->callback([module, &chosen] {
    chosen = [module](const GlobalOptions& globals) { return ShowModuleVersion(globals, *module); };
  });
}

void AddRebootCommand(CLI::App& app, Work& chosen) {
  CLI::App* const reboot = AddSubcommand(app, "reboot", "Restart the machine at once",
                                         "There is no report of a failure: who has no right to "
                                         "restart the machine finds it running.\n");
  const auto isSure = std::make_shared<bool>(false);
  reboot->add_flag("--yes", *isSure, "Yes, this machine, now")->required();
  reboot->callback([isSure, &chosen] {
    chosen = [](const GlobalOptions&) {
      Ondrel::CSystem::Reboot();
      return int{kDone};
    };
  });
}

void AddBeepCommand(CLI::App& app, Work& chosen) {
  struct Tone {
    unsigned int hertz = 0;
    unsigned int milliseconds = 0;
  };
  CLI::App* const beep = AddSubcommand(app, "beep", "Sound the host's speaker", "");
  const auto tone = std::make_shared<Tone>();
  AddNumber(
      *beep, "HZ", 0, kGreatest,
      [tone](std::int64_t number) { tone->hertz = static_cast<unsigned int>(number); },
      "The frequency in hertz")
      ->required();
  AddNumber(
      *beep, "MS", 0, kGreatest,
      [tone](std::int64_t number) { tone->milliseconds = static_cast<unsigned int>(number); },
      "The duration in milliseconds")
      ->required();
  beep->callback([tone, &chosen] {
    chosen = [tone](const GlobalOptions&) {
      Ondrel::CSystem::Beep(tone->hertz, tone->milliseconds);
      return int{kDone};
    };
  });
}

}  // namespace

void AddHostCommands(CLI::App& app, Work& chosen) {
  AddModuleVersionCommand(app, chosen);
  AddRebootCommand(app, chosen);
  AddBeepCommand(app, chosen);
}

}  // namespace Tool
