#include "Tool/Failure.h"

#include "Tool/HostErrors.h"
#include "Tool/Output.h"

#include <array>
#include <cstdio>

namespace Tool {

namespace {

struct ModuleErrorName {
  std::uint32_t number;
  std::string_view name;
};

constexpr std::array kModuleErrorNames = {
    ModuleErrorName{0x20050001, "SYSTEM_LOG_ALREADY_OPENED"},
    ModuleErrorName{0x20050002, "INVALID_PARAMETER"},
    ModuleErrorName{0x20050003, "CANNOT_OPEN_SYSTEM_LOG"},
    ModuleErrorName{0x20050004, "SYSTEM_LOG_REGISTRATION_FAILED"},
    ModuleErrorName{0x20050005, "SYSTEM_LOG_DEREGISTRATION_FAILED"},
    ModuleErrorName{0x20050006, "CANNOT_CLOSE_SYSTEM_LOG"},
    ModuleErrorName{0x20050007, "SYSTEM_LOG_NOT_OPENED_FOR_WRITING"},
    ModuleErrorName{0x20050008, "TIME_SYSTEM_CALL_FAILED"},
    ModuleErrorName{0x2005000B, "OUT_OF_MEMORY"},
    ModuleErrorName{0x2005000C, "SYSTEM_LOG_READ_FAILED"},
};

std::string Hexadecimal(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned int>(number));
  return text;
}

Json DetailsOfHostError(const std::string& what, std::uint32_t number, const std::string& hint) {
  Json details = {{"kind", "host"}};
  details.update(JsonOfHostError(number));
  details["what"] = what;
  if (!hint.empty()) details["hint"] = hint;
  return details;
}

}  // namespace

std::string_view ModuleErrorNameOf(std::uint32_t number) {
  for (const ModuleErrorName& row : kModuleErrorNames)
    if (row.number == number) return row.name;
  return {};
}

UsageError::UsageError(const std::string& words)
    : Failure(kWrongUsage, words,
              {{"kind", "usage"}, {"number", 2}, {"name", "WRONG_USAGE"}, {"text", words}}) {}

HostFailure::HostFailure(const std::string& what, std::uint32_t number, const std::string& hint)
    : Failure(kFailed, what + ": " + HostErrorWords(number) + (hint.empty() ? "" : "; " + hint),
              DetailsOfHostError(what, number, hint)) {}

HostFailure::HostFailure(const std::string& what, const std::string& reason)
    : Failure(kFailed, what + ": " + reason,
              {{"kind", "host"},
               {"number", nullptr},
               {"name", "HOST_FAILURE"},
               {"text", reason},
               {"what", what}}) {}

ModuleFailure::ModuleFailure(unsigned int number, const std::string& touched)
    : ModuleFailure(Pirsk::Exceptions::ReportOf(number), touched) {}

ModuleFailure::ModuleFailure(Pirsk::Exceptions::CErrorReport report, const std::string& touched)
    : Failure(kFailed, WordsOfError(report, touched), JsonOfError(report, touched)),
      m_report(std::move(report)) {}

Json JsonOfError(const Pirsk::Exceptions::CErrorReport& report, const std::string& touched) {
  const std::string_view name = ModuleErrorNameOf(report.number);
  return {{"kind", "module"},
          {"number", report.number},
          {"hex", Hexadecimal(report.number)},
          {"name", name.empty() ? Json() : Json(name)},
          {"text", report.text},
          {"detail", report.detail},
          {"touched", touched.empty() ? Json() : Json(touched)},
          {"systemError", report.systemError ? JsonOfHostError(report.systemError->code) : Json()},
          {"context", report.contextLines}};
}

std::string WordsOfError(const Pirsk::Exceptions::CErrorReport& report,
                         const std::string& touched) {
  std::string words = touched.empty() ? "" : OneLine(touched) + ": ";
  words += OneLine(report.text) + " (error " + Hexadecimal(report.number);
  if (const std::string_view name = ModuleErrorNameOf(report.number); !name.empty())
    words.append(", ").append(name);
  words += ")";
  if (!report.detail.empty()) words += "\n  " + OneLine(report.detail);
  if (report.systemError) words += "\n  host: " + HostErrorWords(report.systemError->code);
  if (touched.empty())
    for (const std::string& line : report.contextLines) words += "\n  in " + OneLine(line);
  return words;
}

std::string OriginOfError(const Pirsk::Exceptions::CErrorReport& report) {
  std::string origin;
  for (const std::string& line : report.contextLines) origin += "  in " + OneLine(line) + '\n';
  for (const auto& location : report.locations)
    origin += "  at " + location.file + ':' + std::to_string(location.line) + '\n';
  return origin;
}

}  // namespace Tool
