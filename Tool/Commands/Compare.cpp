#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/System.h>

#include <cstdint>
#include <limits>
#include <memory>

namespace Tool {

namespace {

struct CompareOptions {
  std::string first;
  std::string second;
  std::size_t parts = 0;
  std::string relation;
};

bool Holds(const std::string& relation, int result) {
  if (relation == "lt") return result < 0;
  if (relation == "le") return result <= 0;
  if (relation == "eq") return result == 0;
  if (relation == "ne") return result != 0;
  if (relation == "ge") return result >= 0;
  return result > 0;
}

int CompareVersions(const GlobalOptions& globals, const CompareOptions& options) {
  const int result = Ondrel::CSystem::VersionCompare(options.first, options.second, options.parts);
  const bool isNegative = !options.relation.empty() && !Holds(options.relation, result);
  Json json = {{"result", result}};
  if (!options.relation.empty()) json["holds"] = !isNegative;
  const char* const sign = result < 0 ? " < " : result > 0 ? " > " : " = ";
  Answer(globals, json, OneLine(options.first) + sign + OneLine(options.second));
  return isNegative ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddCompareCommand(CLI::App& app) {
  app.footer(
      "The result is below 0, 0 or above 0.\n"
      "Exit status: 0 done, or with --is the relation holds; 1 with --is: it does not.\n");
  const auto options = std::make_shared<CompareOptions>();
  app.add_option("A", options->first, "A version, such as 7.10.2")->required()->type_name("");
  app.add_option("B", options->second, "Another")->required()->type_name("");
  app.add_option("--is", options->relation,
                 "Ask whether A is lower (lt), at most (le), equal (eq), not equal (ne), at least "
                 "(ge) or higher (gt)")
      ->type_name("RELATION")
      ->check(IsOneOf({"lt", "le", "eq", "ne", "ge", "gt"}));
  AddNumber(
      app, "--parts", 0, std::numeric_limits<std::int32_t>::max(),
      [options](std::int64_t parts) { options->parts = static_cast<std::size_t>(parts); },
      "Compare only so many leading parts (0: all)");
  return [options](const GlobalOptions& globals) { return CompareVersions(globals, *options); };
}

}  // namespace Tool
