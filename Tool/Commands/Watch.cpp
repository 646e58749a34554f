#include "Tool/Watch/Watch.h"

#include "Tool/Command.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Watch/Settings.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Tool {

namespace {

using Watch::WatchMode;
using Watch::WatchRequest;

int RunRequest(const GlobalOptions& globals, const WatchRequest& request) {
  try {
    const Watch::WatchAnswer answer = Watch::RunWatch(request);
    if (globals.json && !answer.json.empty()) PrintJson(answer.json);
    if (!globals.json) StandardOutputStream() << answer.text << std::flush;
    return answer.exitStatus;
  } catch (const Watch::SettingsError& error) {
    throw UsageError(error.what());
  } catch (const Watch::WatchError& error) {
    throw HostFailure(error.Task(), error.Reason());
  }
}

/// The numbers of mails on the line, which only some actions on the queue take.
std::vector<std::int64_t> MailsOf(const std::vector<std::string>& words,
                                  const std::string& action) {
  if (action == "list" && !words.empty())
    throw UsageError("--queue list takes no numbers: it shows every mail that waits");
  std::vector<std::int64_t> mails;
  for (const std::string& word : words) {
    const auto number = ParseNumber(word, 1, std::numeric_limits<std::int64_t>::max());
    if (!number) throw UsageError("\"" + OneLine(word) + "\" is not the number of a mail");
    mails.push_back(*number);
  }
  return mails;
}

/// What the global options say of the event log.
void TakeEventLog(const GlobalOptions& globals, WatchRequest& request) {
  if (!globals.journalFiles.empty())
    throw UsageError("--directory and --file are to read; watch writes to its event log");
  request.isJournalAsked = globals.isJournalAsked;
  request.store = globals.store;
  request.storeCapacity = globals.storeCapacity;
}

struct ModeRow {
  const char* option;
  WatchMode mode;
  const char* description;
};

constexpr ModeRow kModes[] = {
    {"--once", WatchMode::Once, "Look once: a table of all drives and arrays with their status"},
    {"--status", WatchMode::Status, "Show what the running service knows"},
    {"--check-config", WatchMode::CheckConfiguration,
     "Read the configuration, check its paths and say what it asks"},
    {"--test-mail", WatchMode::TestMail, "Send a test mail to each recipient"},
};

}  // namespace

Work AddWatchCommand(CLI::App& app) {
  app.footer(
      "Without an option the service runs in the foreground until SIGTERM; SIGHUP reads the "
      "configuration again. The service manager starts it now and with the machine after "
      "'systemctl enable --now ondrel-watch'.\n"
      "Exit status: 0 done, and with --once and --status all is well; 1 not all is well, a mail "
      "was not sent, or one that was named is not in the queue; 2 the configuration is wrong; 3 "
      "the service cannot run.\n");
  const auto request = std::make_shared<WatchRequest>();
  const auto mails = std::make_shared<std::vector<std::string>>();
  app.add_option("--config", request->configuration,
                 std::string("Configuration (default: ") + Watch::kDefaultConfiguration +
                     ", if there is one)")
      ->type_name("FILE");
  std::vector<CLI::Option*> modes;
  for (const ModeRow& row : kModes)
    modes.push_back(app.add_flag_callback(
        row.option, [request, &row] { request->mode = row.mode; }, row.description));
  modes.push_back(
      app.add_option("--queue", request->queueAction, "List, retry or drop mails that wait")
          ->type_name("list|retry|drop")
          ->check(IsOneOf({"list", "retry", "drop"})));
  for (CLI::Option* const mode : modes)
    for (CLI::Option* const other : modes)
      if (mode != other) mode->excludes(other);
  app.add_option("MAIL", *mails, "Numbers of mails to retry or drop (default: all)")
      ->type_name("")
      ->needs(modes.back());
  return [request, mails](const GlobalOptions& globals) {
    if (!request->queueAction.empty()) request->mode = WatchMode::Queue;
    request->mails = MailsOf(*mails, request->queueAction);
    TakeEventLog(globals, *request);
    return RunRequest(globals, *request);
  };
}

}  // namespace Tool
