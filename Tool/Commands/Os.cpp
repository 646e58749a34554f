#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/OSInfo.h>

#include <CLI/App.hpp>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

namespace Tool {

namespace {

using Ondrel::COSInfo_Win;
using Ondrel::OS_FACTS;
using Ondrel::OS_VERSION_HALF;

// Facts in JSON that cannot be used.
class BadFacts : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// ---- Records and JSON

template <class Number>
struct HalfField {
  const char* name;
  Number OS_VERSION_HALF::*field;
};

constexpr HalfField<std::uint32_t> kHalfNumbers[] = {{"major", &OS_VERSION_HALF::major},
                                                     {"minor", &OS_VERSION_HALF::minor},
                                                     {"build", &OS_VERSION_HALF::build},
                                                     {"platform", &OS_VERSION_HALF::platform},
                                                     {"processor", &OS_VERSION_HALF::processor}};
constexpr HalfField<std::uint16_t> kServicePackNumbers[] = {{"spMajor", &OS_VERSION_HALF::spMajor},
                                                            {"spMinor", &OS_VERSION_HALF::spMinor}};

struct FactsField {
  const char* name;
  std::uint32_t OS_FACTS::*field;
};

constexpr FactsField kFactsBefore[] = {
    {"suite1", &OS_FACTS::suite1},           {"suite2", &OS_FACTS::suite2},
    {"suite3", &OS_FACTS::suite3},           {"suite4", &OS_FACTS::suite4},
    {"osType", &OS_FACTS::osType},           {"ubr", &OS_FACTS::ubr},
    {"productInfo", &OS_FACTS::productInfo}, {"semiAnnual", &OS_FACTS::semiAnnual}};
constexpr FactsField kFactsBehind[] = {{"deviceFamily", &OS_FACTS::deviceFamily},
                                       {"deviceForm", &OS_FACTS::deviceForm}};

Json JsonOf(const OS_VERSION_HALF& half) {
  Json json = Json::object();
  for (const auto& row : kHalfNumbers) json[row.name] = half.*row.field;
  json["csdVersion"] = half.csdVersion;
  for (const auto& row : kServicePackNumbers) json[row.name] = half.*row.field;
  return json;
}

Json JsonOf(const OS_FACTS& facts) {
  Json json = {{"reported", JsonOf(facts.reported)}, {"underlying", JsonOf(facts.underlying)}};
  for (const FactsField& row : kFactsBefore) json[row.name] = facts.*row.field;
  json["deviceFamilyVersion"] = facts.deviceFamilyVersion;
  for (const FactsField& row : kFactsBehind) json[row.name] = facts.*row.field;
  return json;
}

template <class Number>
void Take(const Json& json, const char* name, Number& target) {
  if (!json.contains(name)) return;
  const Json& value = json[name];
  if (!value.is_number_unsigned() ||
      value.get<std::uint64_t>() > std::numeric_limits<Number>::max())
    throw BadFacts(std::string("\"") + name + "\" is no number of its range");
  target = static_cast<Number>(value.get<std::uint64_t>());
}

void TakeHalf(const Json& json, const char* name, OS_VERSION_HALF& half) {
  if (!json.contains(name)) return;
  const Json& value = json[name];
  if (!value.is_object()) throw BadFacts(std::string("\"") + name + "\" is no object");
  for (const auto& row : kHalfNumbers) Take(value, row.name, half.*row.field);
  for (const auto& row : kServicePackNumbers) Take(value, row.name, half.*row.field);
  if (!value.contains("csdVersion")) return;
  const Json& csdVersion = value["csdVersion"];
  if (!csdVersion.is_string() || csdVersion.get<std::string>().size() >= sizeof half.csdVersion)
    throw BadFacts("\"csdVersion\" is no text of at most 127 bytes");
  const std::string text = csdVersion.get<std::string>();
  std::copy(text.begin(), text.end(), half.csdVersion);
}

// Fields that are not there are 0.
OS_FACTS FactsOf(const std::string& text) {
  const Json json = Json::parse(text, nullptr, false);
  if (!json.is_object()) throw BadFacts("the facts are no JSON object");
  OS_FACTS facts{};
  TakeHalf(json, "reported", facts.reported);
  TakeHalf(json, "underlying", facts.underlying);
  for (const FactsField& row : kFactsBefore) Take(json, row.name, facts.*row.field);
  Take(json, "deviceFamilyVersion", facts.deviceFamilyVersion);
  for (const FactsField& row : kFactsBehind) Take(json, row.name, facts.*row.field);
  return facts;
}

// ---- Names

struct OsOptions {
  bool facts = false;
  bool predicates = false;
  bool reported = false;
  std::string from;
};

template <bool (COSInfo_Win::*Get)(std::string&) const>
std::string NameOf(const COSInfo_Win& info) {
  std::string text;
  (info.*Get)(text);
  return text;
}

Json NamesOf(const COSInfo_Win& info) {
  return {{"vendor", NameOf<&COSInfo_Win::GetOSVendor>(info)},
          {"product", NameOf<&COSInfo_Win::GetOSProduct>(info)},
          {"edition", NameOf<&COSInfo_Win::GetOSEdition>(info)},
          {"servicePack", NameOf<&COSInfo_Win::GetOSServicePack>(info)},
          {"version", NameOf<&COSInfo_Win::GetOSVersion>(info)},
          {"build", NameOf<&COSInfo_Win::GetOSBuildNumber>(info)},
          {"architecture", NameOf<&COSInfo_Win::GetProcessorArchitecture>(info)},
          {"features", NameOf<&COSInfo_Win::GetOSFeatures>(info)}};
}

std::vector<std::string> PredicatesOf(const OS_FACTS& facts, bool isReported) {
  std::size_t count = 0;
  const Ondrel::OSPredicate* const predicates = Ondrel::OSPredicates(count);
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i)
    if (predicates[i].holds(facts, isReported ? 0 : 1) != 0) names.emplace_back(predicates[i].name);
  return names;
}

Json AnswerOf(const COSInfo_Win& info, const OsOptions& options) {
  Json json = options.facts ? JsonOf(info.Facts()) : NamesOf(info);
  if (options.predicates) json["predicates"] = PredicatesOf(info.Facts(), options.reported);
  return json;
}

// ---- Text

void PrintLine(const std::string& name, const std::string& value) {
  constexpr std::size_t kWidth = 22;
  std::cout << name << std::string(name.size() < kWidth ? kWidth - name.size() : 1, ' ') << value
            << '\n';
}

void PrintMembers(const Json& json, const std::string& prefix) {
  for (const auto& [name, value] : json.items()) {
    if (value.is_object())
      PrintMembers(value, prefix + name + ".");
    else if (value.is_string())
      PrintLine(prefix + name, value.get<std::string>());
    else if (!value.is_array())
      PrintLine(prefix + name, value.dump());
  }
}

void PrintFlags(const OS_FACTS& facts) {
  std::string names;
  for (const Ondrel::OSFlag& flag : Ondrel::OSFlags::kAll)
    if (OSFlagIsSet(facts, flag)) names += (names.empty() ? "" : ", ") + std::string(flag.name);
  PrintLine("flags", names);
}

bool IsUnknown(const OS_FACTS& facts) {
  const OS_FACTS zero{};
  return std::memcmp(&facts, &zero, sizeof facts) == 0;
}

void PrintText(const COSInfo_Win& info, const OsOptions& options) {
  if (IsUnknown(info.Facts())) std::cout << "The facts of this operating system are not known.\n";
  PrintMembers(AnswerOf(info, options), "");
  if (options.facts) PrintFlags(info.Facts());
  if (options.predicates)
    for (const std::string& name : PredicatesOf(info.Facts(), options.reported))
      std::cout << name << '\n';
}

void Show(const GlobalOptions& globals, const COSInfo_Win& info, const OsOptions& options) {
  if (globals.json)
    PrintJson(AnswerOf(info, options));
  else
    PrintText(info, options);
}

// One object a line, one answer a line.
int NameLines(const OsOptions& options) {
  bool isClean = true;
  for (std::string line; std::getline(std::cin, line);) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    try {
      std::cout << JsonLine(AnswerOf(COSInfo_Win(FactsOf(line)), options)) << '\n';
    } catch (const BadFacts& bad) {
      isClean = false;
      std::cout << JsonLine({{"error", bad.what()}}) << '\n';
    }
    if (std::cin.rdbuf()->in_avail() <= 0) std::cout.flush();
  }
  return isClean ? kDone : kWrongUsage;
}

OS_FACTS ReadFacts(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!file || !(text << file.rdbuf())) throw UsageError("cannot read " + path);
  try {
    return FactsOf(text.str());
  } catch (const BadFacts& bad) {
    throw UsageError(path + ": " + bad.what());
  }
}

int NameSystem(const GlobalOptions& globals, const OsOptions& options) {
  if (options.from == "-") return NameLines(options);
  if (options.from.empty())
    Show(globals, COSInfo_Win(), options);
  else
    Show(globals, COSInfo_Win(ReadFacts(options.from)), options);
  return kDone;
}

}  // namespace

Work AddOsCommand(CLI::App& app) {
  app.footer(
      "With --from - each line of standard input is one object, and each is answered with one line "
      "of JSON.\n");
  const auto options = std::make_shared<OsOptions>();
  app.add_flag("--facts", options->facts, "Show the record that the names come from");
  app.add_flag("--predicates", options->predicates, "Add the names of the predicates that hold");
  app.add_flag("--reported", options->reported,
               "Ask the predicates about the reported half, not the underlying one");
  app.add_option("--from", options->from,
                 "Name facts from a file as --facts --json shows them, not those of this host")
      ->type_name("FILE");
  return [options](const GlobalOptions& globals) { return NameSystem(globals, *options); };
}

}  // namespace Tool
