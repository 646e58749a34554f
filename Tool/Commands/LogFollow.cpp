#include "Tool/Command.h"
#include "Tool/Host/KeptFile.h"
#include "Tool/LogRecords.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/StandardOutput.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

namespace Tool {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Ondrel::Host::CEventLogReader;
using Ondrel::Host::CEventLogWait;
using Ondrel::Host::EventLogItem;
using Ondrel::Host::EventLogItemKind;
using Ondrel::Host::EventLogKind;
using Ondrel::Host::EventLogPlace;

// A signal that comes just before the wait is noticed this much later at most.
constexpr milliseconds kLongestWait{1000};

// The journal's daemon says only after up to 250 ms that something came, and Windows after up to
// five seconds: there the log itself is looked at in between.
constexpr milliseconds kLook{40};

// Before another try where a log cannot be read.
constexpr milliseconds kPause{1000};

volatile std::sig_atomic_t isInterrupted = 0;

extern "C" void NoteInterrupt(int) { isInterrupted = 1; }

struct FollowOptions {
  RecordChoice choice;
  std::optional<std::int64_t> count;
  std::optional<milliseconds> timeout;
  bool isFromStart = false;
  bool isStrict = false;
  std::string state;
};

/// Keeps where to go on in a file: written as a whole, so that a command that is killed leaves the
/// earlier place or the later one.
class StateFile {
public:
  StateFile(std::string path, std::string log) : m_path(std::move(path)), m_log(std::move(log)) {}

  bool IsAsked() const { return !m_path.empty(); }

  /// The position; empty where there is no file yet. Throws `UsageError` for a file of anything
  /// else.
  std::string Read() const {
    std::error_code failure;
    const std::filesystem::file_type type = std::filesystem::status(m_path, failure).type();
    if (type == std::filesystem::file_type::not_found) return {};
    errno = 0;
    std::ifstream file;
    if (!failure && type == std::filesystem::file_type::regular) {
      file.open(m_path, std::ios::binary);
      file.peek();
    } else if (!failure) {
      throw UsageError("--state: " + m_path + " is not a file");
    }
    if (failure || !file.is_open() || file.bad())
      throw UsageError(
          "--state: cannot read " + m_path + ": " +
          (failure ? failure : std::error_code(errno, std::generic_category())).message());
    const ReadJson state = ReadJson::parse(file, nullptr, false);
    const bool isState = state.is_object() && state.contains("log") && state["log"].is_string() &&
                         state.contains("position") && state["position"].is_string();
    if (!isState) throw UsageError("--state: " + m_path + " is not a state file");
    if (state["log"].get<std::string>() != m_log)
      throw UsageError("--state: " + m_path + " is of the log " + state["log"].get<std::string>());
    return state["position"].get<std::string>();
  }

  void Write(const std::string& position) {
    m_lastLook = Clock::now();
    if (m_written == position) return;
    const Json state = {{"log", m_log}, {"position", position}};
    try {
      KeepInFile(m_path, state.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
    } catch (const std::system_error& failure) {
      throw HostFailure("--state: cannot write " + m_path, failure.code().message());
    }
    m_written = position;
  }

  /// Whether it is time to write although more is to be read at once: the disk is waited for.
  bool IsDue() const { return Clock::now() - m_lastLook >= kInterval; }

private:
  static constexpr milliseconds kInterval{200};

  std::string m_path;
  std::string m_log;
  std::optional<std::string> m_written;
  Clock::time_point m_lastLook;
};

class Follower {
public:
  Follower(const GlobalOptions& globals, const FollowOptions& options)
      : m_options(options),
        m_filter(options.choice),
        m_place(KnownPlace()),
        m_state(options.state, options.choice.log),
        m_printer(options.choice.log, globals.json) {
    if (!options.timeout) return;
    m_deadline = Clock::now() + *options.timeout;
    m_lastSecond =
        std::chrono::system_clock::to_time_t(std::chrono::system_clock::now() + *options.timeout);
  }

  int Run() {
    const std::string& log = m_options.choice.log;
    const std::string what = "cannot follow the log " + log + " in " + PlaceText(m_place);
    CheckLog(m_wait.Open(log), what);
    Open(what);
    LoadMessages(m_reader, m_options.choice);
    Say("following " + log + " in " + PlaceText(m_place));
    bool isFirst = true;
    for (;;) {
      const bool isLast = IsOver();
      if (!ReadAll() || isLast || !IsWanted()) break;
      if (std::exchange(isFirst, false) && m_printer.Records() == 0 && m_failure == 0) NoteNoLog();
      m_wait.Wait(LengthOfWait());
    }
    if (m_isBroken) return kNegativeAnswer;
    const bool isCountMissed = m_options.count && m_printer.Records() < *m_options.count;
    if (!isCountMissed || isInterrupted != 0) return kDone;
    const std::string words = "the time is over after " + std::to_string(m_printer.Records()) +
                              " of " + std::to_string(*m_options.count) + " events";
    throw Failure(
        kNegativeAnswer, words,
        {{"kind", "answer"}, {"number", nullptr}, {"name", "TIME_IS_OVER"}, {"text", words}});
  }

private:
  void Open(const std::string& what) {
    auto range = RangeOf(m_options.choice, m_place);
    std::string position;
    if (m_state.IsAsked()) position = m_state.Read();
    if (!position.empty()) {
      range.after = position;
      range.firstNumber.reset();
      range.since.reset();
    } else {
      range.isNewOnly = !m_options.isFromStart && !range.firstNumber && !range.since;
    }
    CheckLog(m_reader.Open(m_options.choice.log, range), what);
    // Before the first record comes: so it is known that it can be kept, and a command that ends
    // before that goes on here.
    KeepState();
  }

  // It may come yet; who has misspelt it would wait in vain.
  void NoteNoLog() const {
    if (const auto words = NoSuchLog(m_options.choice.log, m_place))
      Say(*words + "; waiting for it");
  }

  void KeepState() {
    if (m_state.IsAsked()) m_state.Write(m_reader.Position());
  }

  bool IsWanted() const { return isInterrupted == 0 && std::cout.good() && Rest() > 0; }

  bool IsOver() const { return m_deadline && Clock::now() >= *m_deadline; }

  std::int64_t Rest() const {
    return m_options.count ? *m_options.count - m_printer.Records()
                           : std::numeric_limits<std::int64_t>::max();
  }

  milliseconds LengthOfWait() const {
    const bool isStore = m_place.kind == EventLogKind::kStore;
    milliseconds length = m_isFailing ? kPause : isStore ? kLongestWait : kLook;
    if (m_deadline)
      length = std::min(length, std::chrono::ceil<milliseconds>(*m_deadline - Clock::now()));
    return std::max(length, milliseconds(0));
  }

  /// Shows what there is, to the end also when the time is over: only what came after that may stay
  /// where it is. False when no more can or is to be written.
  bool ReadAll() {
    while (isInterrupted == 0 && Rest() > 0) {
      const Ondrel::ULong error = m_reader.Read(
          m_items, static_cast<std::size_t>(std::min<std::int64_t>(Rest(), kItemsAtOnce)));
      NoteFailure(error);
      // What stands before a place that cannot be read is shown all the same.
      for (const EventLogItem& item : m_items) Show(item);
      if (!m_printer.Flush()) return false;
      if (m_items.empty() || error != 0 || m_state.IsDue() || isInterrupted != 0 || Rest() <= 0)
        KeepState();
      if (m_options.isStrict && m_printer.IsAnythingMissing()) {
        KeepState();
        m_isBroken = true;
        return false;
      }
      if (error != 0 || m_items.empty()) break;
      if (IsOver() && m_items.back().record.timeGenerated > m_lastSecond) {
        KeepState();
        break;
      }
    }
    return true;
  }

  void Show(const EventLogItem& item) {
    if (item.kind == EventLogItemKind::kRecord && !m_filter.Wants(item.record)) return;
    m_printer.Add(item);
  }

  // A failure is reported when it begins and when it ends.
  void NoteFailure(Ondrel::ULong error) {
    if (error != m_failure) {
      const std::string& log = m_options.choice.log;
      if (error != 0)
        Say("cannot read the log " + log + ": " + Ondrel::Host::EventLogErrorText(error) +
            " (error " + std::to_string(error) + "); trying again");
      else
        Say("the log " + log + " can be read again");
      if (error != 0 && m_options.isStrict) throw LogError("cannot read the log " + log, error);
    }
    m_failure = error;
    m_isFailing = error != 0;
  }

  static constexpr std::int64_t kItemsAtOnce = 256;

  const FollowOptions& m_options;
  RecordFilter m_filter;
  EventLogPlace m_place;
  StateFile m_state;
  RecordPrinter m_printer;
  CEventLogWait m_wait;
  CEventLogReader m_reader;
  std::vector<EventLogItem> m_items;
  std::optional<Clock::time_point> m_deadline;
  std::int64_t m_lastSecond = 0;  // Of the deadline, as records have it.
  Ondrel::ULong m_failure = 0;
  bool m_isFailing = false;
  bool m_isBroken = false;
};

int FollowLog(const GlobalOptions& globals, const FollowOptions& options) {
  std::signal(SIGINT, NoteInterrupt);
  std::signal(SIGTERM, NoteInterrupt);
  // The file of --state stays as it is then: what was not written out comes again.
  const EndsWithReader end;
  return Follower(globals, options).Run();
}

}  // namespace

Work AddLogFollowCommand(CLI::App& app) {
  app.footer(
      "Without --from-start, --first-record, --since or a state file that exists, only events "
      "that come from now on are shown. What cannot be shown is named: records that went away "
      "before "
      "they were read, damaged ones, and a log that is another one than before. An interrupt ends "
      "the command with 0.\n"
      "Exit status: 1 --timeout passed before --count was reached, or with --strict something was "
      "missing; 3 with --strict: the log cannot be read.\n");
  const auto options = std::make_shared<FollowOptions>();
  AddRecordChoice(app, options->choice);
  app.add_flag("--from-start", options->isFromStart, "Show what stands in the log first");
  AddNumber(
      app, "--first-record", 1, std::numeric_limits<std::int64_t>::max(),
      [options](std::int64_t number) {
        options->choice.range.firstNumber = static_cast<std::uint64_t>(number);
      },
      "Begin with this record");
  app.add_option("--state", options->state,
                 "Go on where this file says; it is kept up with what was written out")
      ->type_name("FILE");
  app.add_flag("--strict", options->isStrict,
               "End when a record was missed or damaged, the log replaced, or not readable");
  AddNumber(
      app, "--count", 1, std::numeric_limits<std::int64_t>::max(),
      [options](std::int64_t count) { options->count = count; }, "End after this many events");
  AddDuration(
      app, "--timeout", [options](milliseconds time) { options->timeout = time; },
      "End after this time");
  return [options](const GlobalOptions& globals) { return FollowLog(globals, *options); };
}

}  // namespace Tool
