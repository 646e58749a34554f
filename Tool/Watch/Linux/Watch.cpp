#include "Tool/Watch/Watch.h"

#include "Tool/Watch/Linux/Logbook.h"
#include "Tool/Watch/Linux/Looking.h"
#include "Tool/Watch/Linux/PathChecks.h"
#include "Tool/Watch/Linux/Sending.h"
#include "Tool/Watch/Linux/Service.h"
#include "Tool/Watch/View.h"

#include <Ondrel/Host.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tool::Watch {

namespace {

constexpr int kNegative = 1;
constexpr const char* kDefaultFolder = "/var/lib/ondrel";

std::int64_t Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

/// A configuration with the text that it was read from, for errors that name its lines.
struct Configuration {
  std::string path;
  std::string text;
  Settings settings;
};

/// Reads a whole file into `text`. Yields 0 or the error.
int ReadFile(const std::string& path, std::string& text) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return errno;
  std::array<char, 4096> buffer;
  ssize_t size = 0;
  while ((size = ::read(file, buffer.data(), buffer.size())) > 0)
    text.append(buffer.data(), static_cast<std::size_t>(size));
  const int error = size < 0 ? errno : 0;
  ::close(file);
  return error;
}

// The command line goes before the configuration.
void TakeEventLog(const WatchRequest& request, LogSettings& log) {
  if (!request.isJournalAsked && request.store.empty() && !request.storeCapacity) return;
  log.isJournal = request.isJournalAsked;
  if (request.isJournalAsked || !request.store.empty()) log.store = request.store;
  log.storeCapacity = request.storeCapacity;
}

Configuration ReadConfiguration(const WatchRequest& request) {
  const bool isNamed = !request.configuration.empty();
  Configuration read;
  read.path = isNamed ? request.configuration : kDefaultConfiguration;
  const int error = ReadFile(read.path, read.text);
  if (error != 0 && (isNamed || error != ENOENT))
    throw SettingsError("cannot read " + read.path + ": " + std::strerror(error));
  read.settings = ReadSettings(read.text, read.path);
  TakeEventLog(request, read.settings.log);
  return read;
}

Settings SettingsOf(const WatchRequest& request) { return ReadConfiguration(request).settings; }

// A file that took the number of a closed standard stream would get what is said there.
void OpenStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
    if (::fcntl(stream, F_GETFD) < 0 && errno == EBADF) (void)::open("/dev/null", O_RDWR);
}

std::string HostName() {
  char name[256] = {};
  return ::gethostname(name, sizeof name - 1) == 0 ? name : "localhost";
}

WatchAnswer RunService(const WatchRequest& request) {
  OpenStandardStreams();
  const auto read = [request] { return SettingsOf(request); };
  const Settings settings = read();
  // Only the default folder is made: elsewhere, a folder that is not there is a mistake.
  if (settings.stateFile.starts_with(std::string(kDefaultFolder) + "/"))
    ::mkdir(kDefaultFolder, 0700);
  try {
    Service(read).Run();
  } catch (const DatabaseError& error) {
    throw WatchError("cannot use the state file " + settings.stateFile, error.what());
  }
  return {};
}

WatchAnswer LookOnce(const WatchRequest& request) {
  const Settings settings = SettingsOf(request);
  Ondrel::Host::CDriveMonitor monitor;
  const StepResult step =
      Step(std::nullopt, LookAtAll(monitor, {.readHealth = true}), settings.health.thresholds);
  WatchAnswer answer;
  answer.json = JsonOfAll(step.state);
  answer.text = TableOf(step.state);
  answer.exitStatus = AreAllWell(step.state) ? 0 : kNegative;
  return answer;
}

Store OpenStore(const Settings& settings) {
  if (::access(settings.stateFile.c_str(), R_OK | W_OK) != 0)
    throw WatchError(
        "cannot open the state file " + settings.stateFile,
        std::string(std::strerror(errno)) + (errno == ENOENT ? " (has watch run yet?)" : ""));
  try {
    return Store(settings.stateFile, false);
  } catch (const DatabaseError& error) {
    throw WatchError("cannot use the state file " + settings.stateFile, error.what());
  }
}

WatchAnswer ShowStatus(const WatchRequest& request) {
  const Settings settings = SettingsOf(request);
  Store store = OpenStore(settings);
  const auto sign = ServiceLock::Read(settings.stateFile);
  const ServiceCounts counts = store.Counts();
  WatchState state = store.State().value_or(WatchState());
  // What the service keeps, brought up to this moment: the progress of a rebuild is not kept.
  Ondrel::Host::CDriveMonitor monitor;
  if (store.State()) state = Step(state, LookAtAll(monitor), settings.health.thresholds).state;

  WatchAnswer answer;
  answer.json = {{"running", sign.has_value()},
                 {"process", sign ? Json(sign->process) : Json(nullptr)},
                 {"lastLookSeconds", sign ? Json(sign->lastLook) : Json(nullptr)},
                 {"mailsQueued", counts.mailsQueued},
                 {"mailsSent", counts.mailsSent},
                 {"mailsGivenUp", counts.mailsGivenUp},
                 {"eventsUnlogged", counts.eventsUnlogged}};
  answer.json.update(JsonOfAll(state));
  answer.text = sign ? "The service is running (process " + std::to_string(sign->process) +
                           "), its last look was at " + UtcText(sign->lastLook) + "\n"
                     : "The service is not running; this is what it knew last\n";
  answer.text += "Mails queued: " + std::to_string(counts.mailsQueued) +
                 ", sent: " + std::to_string(counts.mailsSent) +
                 ", given up: " + std::to_string(counts.mailsGivenUp) +
                 "; events not yet in the log: " + std::to_string(counts.eventsUnlogged) + "\n\n";
  answer.text += TableOf(state);
  answer.exitStatus = sign && AreAllWell(state) ? 0 : kNegative;
  return answer;
}

WatchAnswer CheckConfiguration(const WatchRequest& request) {
  const Configuration read = ReadConfiguration(request);
  const Settings& s = read.settings;
  CheckPaths(s, read.text, read.path);
  UseEventLog(s.log);
  const Ondrel::Host::EventLogPlace place = Ondrel::Host::CurrentEventLog();
  const bool isStore = place.kind == Ondrel::Host::EventLogKind::kStore && !place.isJournalAway;
  WatchAnswer answer;
  answer.json = {{"ok", true},
                 {"log", s.log.name},
                 {"logKind", isStore ? "store" : "journal"},
                 {"logFile", isStore ? Json(place.path) : Json(nullptr)},
                 {"logAway", place.isJournalAway},
                 {"mailServer", s.mail.server.empty() ? Json(nullptr) : Json(s.mail.server)},
                 {"mailTo", s.mail.to},
                 {"stateFile", s.stateFile}};
  answer.text = "The configuration is good: events go to " + PlaceOfEvents(s.log);
  if (s.mail.server.empty()) {
    answer.text += ", nothing is mailed\n";
  } else {
    answer.text +=
        ", mail through " + s.mail.server + " port " + std::to_string(s.mail.port) + " to";
    for (const std::string& to : s.mail.to) answer.text += " " + to;
    answer.text += "\n";
  }
  return answer;
}

WatchAnswer TestMail(const WatchRequest& request) {
  const Settings settings = SettingsOf(request);
  if (settings.mail.server.empty()) throw SettingsError("the configuration names no mail server");
  WatchAnswer answer;
  answer.json = {{"mails", Json::array()}};
  for (const std::string& recipient : settings.mail.to) {
    StoredMail mail;
    mail.recipient = recipient;
    mail.severity = 2;
    mail.subject = HostName() + ": test mail of the drive watch";
    mail.body = "This is a test mail. Events of drives and arrays of " + HostName() +
                " reach you this way.\nTime: " + UtcText(Now()) + "\n";
    const SendOutcome outcome = Send(settings.mail, mail);
    answer.json["mails"].push_back(
        {{"to", recipient},
         {"sent", outcome.isSent},
         {"error", outcome.isSent ? Json(nullptr) : Json(outcome.error)}});
    answer.text +=
        recipient + ": " + (outcome.isSent ? "sent" : "not sent, " + outcome.error) + "\n";
    if (!outcome.isSent) answer.exitStatus = kNegative;
  }
  return answer;
}

const char* NameOfMailState(const StoredMail& mail) {
  switch (mail.state) {
    case MailState::Queued:
      return "queued";
    case MailState::Sending:
      return "sending";
    case MailState::GivenUp:
      return "given up";
    default:
      return "done";
  }
}

WatchAnswer ListQueue(Store& store) {
  WatchAnswer answer;
  answer.json = {{"mails", Json::array()}};
  for (const StoredMail& mail : store.Mails()) {
    answer.json["mails"].push_back({{"id", mail.id},
                                    {"to", mail.recipient},
                                    {"subject", mail.subject},
                                    {"state", NameOfMailState(mail)},
                                    {"createdSeconds", mail.created},
                                    {"dueSeconds", mail.due},
                                    {"tries", mail.tries},
                                    {"error", mail.error},
                                    {"messageId", mail.messageId}});
    answer.text += std::to_string(mail.id) + "  " + NameOfMailState(mail) + "  " +
                   UtcText(mail.created) + "  " + mail.recipient +
                   "  tries: " + std::to_string(mail.tries) + "  " + mail.subject +
                   (mail.error.empty() ? "" : "\n    " + mail.error) + "\n";
  }
  if (answer.text.empty()) answer.text = "the queue is empty\n";
  return answer;
}

WatchAnswer WorkOnQueue(const WatchRequest& request) {
  Store store = OpenStore(SettingsOf(request));
  if (request.queueAction == "list") return ListQueue(store);
  const bool isRetry = request.queueAction == "retry";
  const auto change = [&](const std::vector<std::int64_t>& mails) {
    return isRetry ? store.Retry(mails, Now()) : store.Drop(mails, Now());
  };
  int changed = request.mails.empty() ? change({}) : 0;
  WatchAnswer answer;
  Json others = Json::array();
  for (const std::int64_t mail : request.mails) {
    if (change({mail}) != 0) {
      ++changed;
      continue;
    }
    others.push_back(mail);
    answer.text += "mail " + std::to_string(mail) + " does not wait\n";
  }
  answer.json = {{"changed", changed}, {"notWaiting", others}};
  answer.text += std::to_string(changed) + (changed == 1 ? " mail is " : " mails are ") +
                 (isRetry ? "due now\n" : "dropped\n");
  answer.exitStatus = others.empty() ? 0 : kNegative;
  return answer;
}

}  // namespace

WatchAnswer RunWatch(const WatchRequest& request) {
  try {
    switch (request.mode) {
      case WatchMode::Once:
        return LookOnce(request);
      case WatchMode::Status:
        return ShowStatus(request);
      case WatchMode::CheckConfiguration:
        return CheckConfiguration(request);
      case WatchMode::TestMail:
        return TestMail(request);
      case WatchMode::Queue:
        return WorkOnQueue(request);
      default:
        return RunService(request);
    }
  } catch (const DatabaseError& error) {
    throw WatchError("cannot use the state file", error.what());
  }
}

}  // namespace Tool::Watch
