#include "Tool/Command.h"
#include "Tool/EventLog.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/Host.h>

#include <chrono>
#include <csignal>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <thread>

namespace Tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPollInterval{100};
constexpr std::int64_t kMaxTimeoutSeconds = std::int64_t{366} * 24 * 60 * 60;

volatile std::sig_atomic_t isInterrupted = 0;

extern "C" void NoteInterrupt(int) { isInterrupted = 1; }

struct FollowOptions {
  std::string log;
  std::vector<std::string> sources;
  std::string messages;
  std::optional<std::int64_t> count;
  std::optional<std::int64_t> timeoutSeconds;
};

class Follower {
public:
  Follower(const GlobalOptions& globals, const FollowOptions& options)
      : m_globals(globals), m_options(options) {
    if (options.timeoutSeconds)
      m_deadline = Clock::now() + std::chrono::seconds(*options.timeoutSeconds);
    if (m_options.sources.empty()) m_options.sources = {options.log};
  }

  int Run() {
    std::unique_ptr<Ondrel::CSystemLogReader_Win> reader = WaitForReader();
    if (reader) {
      if (!LoadMessages(*reader)) return kNegativeAnswer;
      Say("following " + m_options.log);
      while (IsWanted()) {
        ShowNewEvents(*reader);
        if (IsWanted()) std::this_thread::sleep_for(kPollInterval);
      }
    }
    const bool isCountMissed = m_options.count && m_shown < *m_options.count;
    return isCountMissed && isInterrupted == 0 ? kNegativeAnswer : kDone;
  }

private:
  bool IsWanted() const {
    return isInterrupted == 0 && std::cout.good() && !(m_deadline && Clock::now() >= *m_deadline) &&
           !(m_options.count && m_shown >= *m_options.count);
  }

  std::unique_ptr<Ondrel::CSystemLogReader_Win> WaitForReader() const {
    auto reader = OpenReader(m_options.log, m_options.sources);
    if (!reader) Say(m_options.log + " has no records yet; following starts after its first");
    while (!reader && IsWanted()) {
      std::this_thread::sleep_for(kPollInterval);
      reader = OpenReader(m_options.log, m_options.sources);
    }
    return reader;
  }

  /// False when the file that the command line names has no messages; the library's own may fail.
  bool LoadMessages(Ondrel::CSystemLogReader_Win& reader) const {
    const bool isNamed = !m_options.messages.empty();
    const std::string path = isNamed ? m_options.messages : Ondrel::Host::LibraryPath();
    if (reader.GetMessageResources(path) != 0) return true;
    Say("cannot load messages from " + path);
    return !isNamed;
  }

  void ShowNewEvents(Ondrel::CSystemLogReader_Win& reader) {
    for (const Ondrel::CSystemEvent_Win& event : reader.ReadEvents()) {
      if (m_options.count && m_shown >= *m_options.count) return;
      if (m_globals.json)
        PrintJson(JsonOfEvent(event));
      else
        std::cout << EventLine(event) << std::endl;
      ++m_shown;
    }
  }

  const GlobalOptions& m_globals;
  FollowOptions m_options;
  std::optional<Clock::time_point> m_deadline;
  std::int64_t m_shown = 0;
};

int FollowLog(const GlobalOptions& globals, const FollowOptions& options) {
  std::signal(SIGINT, NoteInterrupt);
  std::signal(SIGTERM, NoteInterrupt);
  return Follower(globals, options).Run();
}

}  // namespace

Work AddLogFollowCommand(CLI::App& app) {
  app.footer(
      "Events that stand in the log already are not shown; while the log has none at all, its "
      "first is waited for and counts as standing there. An interrupt ends the command with "
      "0.\nWith --count, --timeout passing first ends it with 1.\n");
  const auto options = std::make_shared<FollowOptions>();
  app.add_option("LOG", options->log, "Log to follow")->required();
  AddRepeated(app, "--source", options->sources,
              "Show events of this source; may be repeated (default: the log's name)");
  app.add_option("--messages", options->messages,
                 "File whose message table gives events their text (default: the library)")
      ->type_name("FILE");
  AddNumber(
      app, "--count", 1, std::numeric_limits<std::int64_t>::max(),
      [options](std::int64_t count) { options->count = count; }, "End after this many events");
  AddNumber(
      app, "--timeout", 0, kMaxTimeoutSeconds,
      [options](std::int64_t seconds) { options->timeoutSeconds = seconds; }, "End after this time")
      ->type_name("SECONDS");
  return [options](const GlobalOptions& globals) { return FollowLog(globals, *options); };
}

}  // namespace Tool
