#include "Tool/Watch/Linux/Service.h"

#include "Tool/Watch/Linux/Logbook.h"
#include "Tool/Watch/Linux/Looking.h"
#include "Tool/Watch/Linux/Notify.h"
#include "Tool/Watch/Linux/Sending.h"
#include "Tool/Watch/Metrics.h"
#include "Tool/Watch/StateJson.h"
#include "Tool/Watch/View.h"
#include "Tool/Watch/Watch.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Tool::Watch {

namespace {

using namespace std::chrono_literals;

constexpr auto kSettle = 200ms;
constexpr auto kLookAgain = 300ms;
constexpr int kLooksAgain = 3;
constexpr auto kFullLook = 10s;
constexpr auto kLogPatience = 30s;
constexpr auto kQueueLook = 5s;
constexpr auto kSenderPatience = 180s;
constexpr auto kEndPatience = 1500ms;
constexpr auto kPruneInterval = 24h;
constexpr std::size_t kMostSenders = 4;

std::int64_t Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::string HostName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return "localhost";
  return name.data();
}

// To the journal, where a service manager started this, else to the terminal.
void Say(const std::string& text) { std::fprintf(stderr, "ondrel: %s\n", text.c_str()); }

int OpenSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) ::sigaddset(&signals, signal);
  ::sigprocmask(SIG_BLOCK, &signals, nullptr);
  return ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

void Keep(const std::string& path, const std::string& text) {
  const std::string aside = path + ".new";
  const int file = ::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (file < 0) throw std::system_error(errno, std::generic_category(), aside);
  // The collector is another user, whatever the mask of the service.
  ::fchmod(file, 0644);
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t size = ::write(file, text.data() + written, text.size() - written);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) {
      const int error = errno;
      ::close(file);
      ::unlink(aside.c_str());
      throw std::system_error(error, std::generic_category(), aside);
    }
    written += static_cast<std::size_t>(size);
  }
  ::close(file);
  if (std::rename(aside.c_str(), path.c_str()) != 0)
    throw std::system_error(errno, std::generic_category(), path);
}

std::vector<std::pair<std::string, std::string>> VariablesOf(const StoredEvent& stored,
                                                             const std::string& host) {
  const WatchEvent& event = stored.event;
  const char* const object = event.objectId.empty() ? "service" : event.isArray ? "array" : "drive";
  return {{"ONDREL_EVENT", std::to_string(event.code)},
          {"ONDREL_EVENT_NAME", NameOfEvent(event.code)},
          {"ONDREL_SEVERITY", std::to_string(event.severity)},
          {"ONDREL_OBJECT", object},
          {"ONDREL_ID", event.objectId},
          {"ONDREL_NAME", event.objectName},
          {"ONDREL_TEXT", event.text},
          {"ONDREL_HOST", host},
          {"ONDREL_TIME", std::to_string(stored.time)}};
}

}  // namespace

Service::Service(std::function<Settings()> readSettings)
    : m_readSettings(std::move(readSettings)),
      m_settings(m_readSettings()),
      m_lock(m_settings.stateFile),
      m_store(m_settings.stateFile, true),
      m_state(m_store.State()),
      m_host(HostName()),
      m_signals(OpenSignals()) {
  UseEventLog(m_settings.log);
  m_store.RecoverFromEnd(Now());
  if (m_state) m_keptText = TextOfState(EssenceOf(*m_state));
}

Service::~Service() { ::close(m_signals); }

template <class Work>
bool Service::Guard(const char* what, std::string& said, Work work) {
  std::string failure;
  try {
    work();
  } catch (const std::exception& error) {
    failure = std::string(what) + ": " + error.what();
  }
  if (failure != said && !failure.empty()) Say(failure);
  if (failure.empty() && !said.empty()) Say(std::string(what) + ": works again");
  said = failure;
  return failure.empty();
}

void Service::Run() {
  Say("watching; events go to " + PlaceOfEvents(m_settings.log));
  m_nextPrune = Clock::now();
  while (!m_isEnding) {
    const Clock::time_point now = Clock::now();
    LookIfDue(now);
    Guard("state file", m_saidOfStore, [&] {
      TendSenders(now);
      TendProgram(now);
      WriteEvents(now);
      if (now >= m_nextPrune) {
        m_store.Prune(Now());
        m_nextPrune = now + kPruneInterval;
      }
    });
    FeedWatchdog(now);
    Wait();
  }
  NotifyManager("STOPPING=1");
  FinishSenders();
}

Service::Clock::time_point Service::NextMoment() const {
  Clock::time_point next = std::min(m_nextLook, m_nextHealth);
  for (const Clock::time_point look : m_burst) next = std::min(next, look);
  for (const Sender& sender : m_senders) next = std::min(next, sender.child.Deadline());
  if (m_program) next = std::min(next, m_program->child.Deadline());
  next = std::min(next, m_nextQueueLook);
  if (WatchdogInterval()) next = std::min(next, m_nextWatchdog);
  return next;
}

void Service::Wait() {
  std::vector<pollfd> waits = {{m_signals, POLLIN, 0}, {m_monitor.Descriptor(), POLLIN, 0}};
  for (const Sender& sender : m_senders) waits.push_back({sender.child.Descriptor(), POLLIN, 0});
  if (m_program) waits.push_back({m_program->child.Descriptor(), POLLIN, 0});
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(NextMoment() - Clock::now());
  const int patience = static_cast<int>(std::clamp<long long>(left.count(), 0, 60000));
  if (::poll(waits.data(), waits.size(), patience) <= 0) return;
  if ((waits[0].revents & POLLIN) != 0) TakeSignals();
  if ((waits[1].revents & POLLIN) != 0) {
    if (!m_monitor.TakeNotifications()) {
      Say("notices of the kernel were lost; looking at all drives and arrays");
      m_nextLook = Clock::now();
    }
    PlanLooks(Clock::now());
  }
}

void Service::TakeSignals() {
  signalfd_siginfo signal{};
  while (::read(m_signals, &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal)) {
    if (signal.ssi_signo == SIGHUP)
      Reload();
    else
      m_isEnding = true;
  }
}

void Service::Reload() {
  try {
    Settings settings = m_readSettings();
    if (settings.stateFile != m_settings.stateFile) {
      Say("another state file is taken at the next start only");
      settings.stateFile = m_settings.stateFile;
    }
    UseEventLog(settings.log);
    m_settings = std::move(settings);
    m_nextHealth = Clock::now();
    Say("the configuration was read again; events go to " + PlaceOfEvents(m_settings.log));
  } catch (const std::exception& error) {
    Say(std::string("the configuration stays as it was: ") + error.what());
  }
}

// A failure wakes several times, and what it does to the array takes some time to show.
void Service::PlanLooks(Clock::time_point now) {
  const Clock::time_point first =
      m_burst.empty() ? now + kSettle : std::min(m_burst.front(), now + kSettle);
  m_burst = {first};
  for (int again = 1; again <= kLooksAgain; ++again)
    m_burst.push_back(now + kSettle + again * kLookAgain);
}

void Service::LookIfDue(Clock::time_point now) {
  const bool isOfBurst = !m_burst.empty() && m_burst.front() <= now;
  // An armed drive has said that its health changed.
  const bool isForHealth = m_nextHealth <= now || (isOfBurst && m_settings.health.armEvents);
  if (!isOfBurst && !isForHealth && m_nextLook > now) return;
  while (!m_burst.empty() && m_burst.front() <= now) m_burst.erase(m_burst.begin());
  m_nextLook = now + kFullLook;
  if (isForHealth) m_nextHealth = now + std::chrono::seconds(m_settings.health.interval);
  Look(isForHealth);
}

void Service::Look(bool isForHealth) {
  const bool isArming = isForHealth && m_settings.health.armEvents;
  Ondrel::Host::DriveSnapshot seen;
  const bool isWhole = Guard("drives", m_saidOfDrives, [&] {
    seen = LookAtAll(m_monitor, {.readHealth = isForHealth, .armHealthEvents = isArming});
  });
  if (!isWhole) return;
  StepResult step = Step(m_state, seen, m_settings.health.thresholds);
  const std::string text = TextOfState(EssenceOf(step.state));
  // What cannot be committed is not known yet: the next look finds the same events.
  const bool isKept = Guard("state file", m_saidOfStore, [&] {
    if (text != m_keptText || !step.events.empty())
      m_store.Commit(step.state, step.events, m_settings, m_host, Now());
  });
  if (!isKept) return;
  for (const WatchEvent& event : step.events)
    Say(std::to_string(event.code) + " " + NameOfEvent(event.code) + ": " + event.text);
  if (!step.events.empty()) {
    m_nextLogTry = m_nextQueueLook = Clock::time_point();
  }
  m_keptText = text;
  m_state = std::move(step.state);
  m_lastLook = Now();
  m_lock.Sign(m_lastLook);
  if (!m_store.IsInPlace() && !std::exchange(m_hasSaidOfPlace, true))
    Say("the state file " + m_settings.stateFile +
        " was removed or replaced; what is kept now is lost at the end: start the service again");
  WriteMetrics();
  if (!m_isReady) NotifyManager("READY=1");
  m_isReady = true;
}

void Service::WriteEvents(Clock::time_point now) {
  if (now < m_nextLogTry) return;
  m_nextLogTry = now + kLogPatience;
  std::string failure;
  for (const StoredEvent& event : m_store.UnloggedEvents()) {
    // A report that was begun before may have got there.
    if (event.logState == LogState::Tried && IsInLog(m_settings.log.name, event)) {
      m_store.SetLogState(event.id, LogState::Kept);
      continue;
    }
    m_store.SetLogState(event.id, LogState::Tried);
    failure = WriteEvent(m_settings.log.name, event);
    if (!failure.empty()) break;
    m_store.SetLogState(event.id, LogState::Kept);
  }
  if (failure != m_saidOfLog)
    Say(failure.empty() ? "event log: works again" : "event log: " + failure);
  m_saidOfLog = failure;
}

void Service::TendSenders(Clock::time_point now) {
  for (auto sender = m_senders.begin(); sender != m_senders.end();) {
    if (!sender->child.Advance(now)) {
      ++sender;
      continue;
    }
    SendOutcome outcome = OutcomeOfText(sender->child.Output());
    if (sender->child.IsTimeOver()) outcome.error = "the sender was ended after 3 minutes";
    if (outcome.isSent) {
      m_store.SetSent(sender->mail.id, Now());
    } else {
      Say("mail " + std::to_string(sender->mail.id) + " to " + sender->mail.recipient + ": " +
          outcome.error);
      m_store.SetFailed(sender->mail, outcome.error, outcome.mayHaveArrived, Now());
    }
    sender = m_senders.erase(sender);
    m_nextQueueLook = Clock::time_point();
  }
  if (now >= m_nextQueueLook) {
    StartSenders();
    m_nextQueueLook = now + kQueueLook;
  }
}

void Service::StartSenders() {
  if (m_settings.mail.server.empty() || m_senders.size() >= kMostSenders) return;
  const int room = static_cast<int>(kMostSenders - m_senders.size());
  for (const StoredMail& mail : m_store.DueMails(Now(), room)) {
    m_store.SetSending(mail);
    const bool isStarted = Guard("sender", m_saidOfSenders, [&] {
      m_senders.push_back({mail, Child(
                                     [&](int output) {
                                       ::alarm(static_cast<unsigned>(kSenderPatience.count()) + 10);
                                       const std::string text =
                                           TextOfOutcome(Send(m_settings.mail, mail));
                                       return ::write(output, text.data(), text.size()) < 0 ? 1 : 0;
                                     },
                                     Clock::now() + kSenderPatience)});
    });
    if (!isStarted) m_store.SetFailed(mail, m_saidOfSenders, false, Now());
  }
}

void Service::TendProgram(Clock::time_point now) {
  if (m_program) {
    if (!m_program->child.Advance(now)) return;
    const Child& child = m_program->child;
    if (child.IsTimeOver())
      Say("program: ended after its time limit");
    else if (child.ExitStatus() != 0)
      Say("program: " + m_settings.exec.program + " ended with " +
          std::to_string(child.ExitStatus()));
    m_store.SetExecState(m_program->event, ExecState::Done);
    m_program.reset();
  }
  if (m_settings.exec.program.empty()) return;
  const std::optional<StoredEvent> event = m_store.NextExec();
  if (!event) return;
  m_store.SetExecState(event->id, ExecState::Started);
  Json json = JsonOfWatchEvent(event->event);
  json["host"] = m_host;
  json["timeSeconds"] = event->time;
  const std::string input = json.dump() + "\n";
  const auto variables = VariablesOf(*event, m_host);
  m_program.emplace(Program{
      event->id, Child([&](int) { return RunProgram(m_settings.exec.program, variables, input); },
                       Clock::now() + std::chrono::seconds(m_settings.exec.timeLimit))});
}

void Service::WriteMetrics() {
  if (m_settings.metricsFile.empty()) return;
  Guard("metrics", m_saidOfMetrics, [&] {
    ServiceCounts counts = m_store.Counts();
    counts.lastLook = m_lastLook;
    Keep(m_settings.metricsFile, MetricsText(*m_state, counts));
  });
}

void Service::FeedWatchdog(Clock::time_point now) {
  const auto interval = WatchdogInterval();
  if (!interval || now < m_nextWatchdog) return;
  NotifyManager("WATCHDOG=1");
  m_nextWatchdog = now + std::chrono::duration_cast<Clock::duration>(*interval) / 3;
}

// Mails that are on their way get a moment to arrive; the others are repeated at the next start.
void Service::FinishSenders() {
  const Clock::time_point deadline = Clock::now() + kEndPatience;
  m_nextQueueLook = Clock::time_point::max();
  while (!m_senders.empty() && Clock::now() < deadline) {
    std::vector<pollfd> waits;
    for (const Sender& sender : m_senders) waits.push_back({sender.child.Descriptor(), POLLIN, 0});
    ::poll(waits.data(), waits.size(), 50);
    if (!Guard("state file", m_saidOfStore, [&] {
          for (auto sender = m_senders.begin(); sender != m_senders.end();) {
            if (!sender->child.Advance(Clock::now())) {
              ++sender;
              continue;
            }
            const SendOutcome outcome = OutcomeOfText(sender->child.Output());
            if (outcome.isSent)
              m_store.SetSent(sender->mail.id, Now());
            else
              m_store.SetFailed(sender->mail, outcome.error, outcome.mayHaveArrived, Now());
            sender = m_senders.erase(sender);
          }
        }))
      return;
  }
}

}  // namespace Tool::Watch
