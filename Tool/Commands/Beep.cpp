#include "Tool/Command.h"
#include "Tool/Options.h"

#include <Ondrel/System.h>

#include <cstdint>
#include <limits>
#include <memory>

namespace Tool {

namespace {

constexpr std::int64_t kGreatest = std::numeric_limits<std::uint32_t>::max();

}  // namespace

Work AddBeepCommand(CLI::App& app) {
  struct Tone {
    unsigned int hertz = 0;
    unsigned int milliseconds = 0;
  };
  const auto tone = std::make_shared<Tone>();
  AddNumber(
      app, "HZ", 0, kGreatest,
      [tone](std::int64_t number) { tone->hertz = static_cast<unsigned int>(number); },
      "The frequency in hertz")
      ->required();
  AddNumber(
      app, "MS", 0, kGreatest,
      [tone](std::int64_t number) { tone->milliseconds = static_cast<unsigned int>(number); },
      "The duration in milliseconds")
      ->required();
  return [tone](const GlobalOptions&) {
    Ondrel::CSystem::Beep(tone->hertz, tone->milliseconds);
    return int{kDone};
  };
}

}  // namespace Tool
