#include "Tool/Command.h"
#include "Tool/Host/Checks.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"

#include <Ondrel/Host.h>
#include <Ondrel/ModuleError.h>
#include <Pirsk/LanguageState.h>

#include <CLI/App.hpp>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <vector>

namespace Tool {

namespace {

constexpr std::size_t kNameWidth = 14;
constexpr std::size_t kStateWidth = 9;

std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size() + 1), ' ');
  return text;
}

/// The event store that is, or would be, written to. This process opens no log any more.
std::string StorePath() {
  std::string path = Ondrel::Host::EventStorePath();
  if (path.empty() && Ondrel::Host::UseEventStore("")) path = Ondrel::Host::EventStorePath();
  return path;
}

/// Where the texts of the library's errors come from; the same on every host.
HostCheck Language() {
  const auto state = Pirsk::Language_Support::LanguageStateOf(Ondrel::kModuleNumber);
  std::string faults;
  for (const std::string& fault : state.faults) faults += (faults.empty() ? "" : "; ") + fault;
  const std::string inUse =
      state.path.empty() ? "the built-in English texts are in use" : state.path + " is in use";
  return {.name = "language",
          .isOk = faults.empty(),
          .finding = faults.empty() ? inUse : inUse + ", not " + faults,
          .remedy = faults.empty() ? "" : "correct or remove the file"};
}

/// The name as the list has it, whatever the case of its letters.
std::string CheckNamed(const std::string& name) {
  for (const char* const known : kCheckNames)
    if (IsSameWord(known, name)) return known;
  std::string names;
  for (const char* const known : kCheckNames)
    names += (names.empty() ? "" : ", ") + std::string(known);
  throw UsageError("there is no check \"" + OneLine(name) + "\": there are " + names);
}

HostCheck Checked(const std::string& name, const Ondrel::Host::EventLogPlace& place,
                  const std::string& storePath) {
  const Progress progress("checking " + name);
  return name == "language" ? Language() : CheckHost(name, place, storePath);
}

int Diagnose(const GlobalOptions& globals, const std::vector<std::string>& asked) {
  std::vector<std::string> names;
  names.reserve(asked.size());
  for (const std::string& name : asked) names.push_back(CheckNamed(name));
  if (names.empty()) names.assign(std::begin(kCheckNames), std::end(kCheckNames));

  // Before the store's path is asked for, which chooses the store.
  const Ondrel::Host::EventLogPlace place = Ondrel::Host::CurrentEventLog();
  const std::string storePath = StorePath();
  Json rows = Json::array();
  bool areAllOk = true;
  for (const std::string& name : names) {
    const HostCheck check = Checked(name, place, storePath);
    areAllOk = areAllOk && check.isOk;
    rows.push_back({{"name", check.name},
                    {"ok", check.isOk},
                    {"finding", check.finding},
                    {"remedy", check.remedy.empty() ? Json() : Json(check.remedy)}});
    if (globals.json) continue;
    std::cout << Padded(check.name, kNameWidth)
              << Coloured(Padded(check.isOk ? "ok" : "missing", kStateWidth),
                          check.isOk ? Colour::kGreen : Colour::kRed)
              << OneLine(check.finding) << '\n';
    if (!check.remedy.empty())
      std::cout << std::string(kNameWidth + kStateWidth, ' ') << "help: " << OneLine(check.remedy)
                << '\n';
  }
  if (globals.json) PrintJson({{"ok", areAllOk}, {"checks", rows}});
  // Nobody needs all of it: only what was asked for by name is missed.
  return asked.empty() || areAllOk ? kDone : kNegativeAnswer;
}

}  // namespace

Work AddDoctorCommand(CLI::App& app) {
  app.footer(
      "Without names all checks are made: rights, eventLog, journal, store, devices, timeZone, "
      "libraries, messageTable, language, speaker, pciNames. A store that the first report makes "
      "is "
      "not missing.\n"
      "Exit status: 0 done, 1 one of the checks that were named is missing.\n");
  const auto names = std::make_shared<std::vector<std::string>>();
  app.add_option("CHECK", *names, "What to look at, by its name; may be repeated")->type_name("");
  return [names](const GlobalOptions& globals) { return Diagnose(globals, *names); };
}

}  // namespace Tool
