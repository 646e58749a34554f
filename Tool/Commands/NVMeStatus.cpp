#include "Tool/Command.h"
#include "Tool/NVMeDevice.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/NVMe.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

namespace Tool {

namespace {

using Ondrel::NVME_STATUS_FIELD;

constexpr std::uint16_t kLastCode = 0xFF;
constexpr std::uint16_t kLastWord = 0x7FFF;

struct StatusOptions {
  std::uint16_t code = 0;
  std::optional<std::uint8_t> type;
  bool hasPhase = false;
};

/// A word with the phase tag, as an entry of the error log has it.
NVME_STATUS_FIELD FieldOf(std::uint16_t word) {
  NVME_STATUS_FIELD field;
  std::memcpy(static_cast<void*>(&field), &word, sizeof field);
  return field;
}

NVME_STATUS_FIELD StatusAskedFor(const StatusOptions& options) {
  if (options.type) {
    if (options.hasPhase) throw UsageError("--with-phase takes a whole word, and no SCT");
    if (options.code > kLastCode)
      throw UsageError("SC: \"" + std::to_string(options.code) +
                       "\" is not a number of 0 to 255; with SCT after it, it is the code alone");
    NVME_STATUS_FIELD status{};
    status.SC = static_cast<std::uint8_t>(options.code);
    status.SCT = static_cast<std::uint16_t>(*options.type & 7);
    return status;
  }
  if (options.hasPhase) return FieldOf(options.code);
  if (options.code > kLastWord)
    throw UsageError("SC: \"" + std::to_string(options.code) +
                     "\" is not a number of 0 to 32767; a word with its phase tag takes "
                     "--with-phase");
  return FieldOf(static_cast<std::uint16_t>(options.code << 1));
}

int ShowStatus(const GlobalOptions& globals, const StatusOptions& options) {
  NVME_STATUS_FIELD status = StatusAskedFor(options);
  const std::string text = status.sStatusCode();
  Answer(globals,
         {{"SC", unsigned{status.SC}},
          {"SCT", unsigned{status.SCT}},
          {"M", status.M != 0},
          {"DNR", status.DNR != 0},
          {"type", status.sStatusCodeType()},
          {"text", text},
          {"success", status.SuccessfulCompletion()}},
         StatusWords(status));
  return text == "?" ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddNVMeStatusCommand(CLI::App& app) {
  app.footer(
      "SC alone is the whole status as the kernel and other tools print it, such as 0x4002: code, "
      "type, more and do not retry, without the phase tag.\n"
      "Exit status: 0 it is known, 1 it is not.\n");
  const auto options = std::make_shared<StatusOptions>();
  AddNumber(
      app, "SC", 0, 0xFFFF,
      [options](std::int64_t code) { options->code = static_cast<std::uint16_t>(code); },
      "Status code, or a whole status")
      ->required();
  AddNumber(
      app, "SCT", 0, 7,
      [options](std::int64_t type) { options->type = static_cast<std::uint8_t>(type); },
      "Status code type");
  AddFlag(app, "--with-phase", options->hasPhase,
          "The whole status has its phase tag in bit 0, as in an entry of the error log");
  return [options](const GlobalOptions& globals) { return ShowStatus(globals, *options); };
}

}  // namespace Tool
