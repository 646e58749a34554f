#include "Tool/Command.h"
#include "Tool/Host/Speaker.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"

#include <CLI/App.hpp>
#include <CLI/Error.hpp>

#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

namespace Tool {

namespace {

// What the operation takes.
constexpr std::int64_t kLowest = 37;
constexpr std::int64_t kHighest = 32767;
constexpr std::chrono::milliseconds kLongest{std::numeric_limits<std::uint32_t>::max()};

struct Tone {
  unsigned int hertz = 0;
  unsigned int milliseconds = 0;
};

int SoundSpeaker(const GlobalOptions& globals, const Tone& tone) {
  const Progress progress("sounding the speaker");
  const std::string problem = SoundTone(tone.hertz, tone.milliseconds);
  if (!problem.empty()) throw HostFailure("cannot sound the speaker", problem);
  if (globals.json)
    PrintJson({{"sounded", true}, {"hertz", tone.hertz}, {"milliseconds", tone.milliseconds}});
  return kDone;
}

}  // namespace

Work AddBeepCommand(CLI::App& app) {
  app.footer("Exit status: 0 the speaker has sounded, 3 it cannot, and why is said.\n");
  const auto tone = std::make_shared<Tone>();
  AddNumber(
      app, "HZ", kLowest, kHighest,
      [tone](std::int64_t number) { tone->hertz = static_cast<unsigned int>(number); },
      "The frequency in hertz")
      ->required();
  AddDuration(
      app, "DURATION",
      [tone](std::chrono::milliseconds duration) {
        if (duration > kLongest)
          throw CLI::ValidationError("DURATION",
                                     "is longer than " + std::to_string(kLongest.count()) + " ms");
        tone->milliseconds = static_cast<unsigned int>(duration.count());
      },
      "How long: milliseconds, unless another unit follows", "ms")
      ->required();
  return [tone](const GlobalOptions& globals) { return SoundSpeaker(globals, *tone); };
}

}  // namespace Tool
