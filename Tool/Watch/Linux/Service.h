#pragma once

#include "Tool/Watch/Linux/Child.h"
#include "Tool/Watch/Linux/ServiceLock.h"
#include "Tool/Watch/Linux/Store.h"
#include "Tool/Watch/Settings.h"

#include <Ondrel/Drives.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Tool::Watch {

/// The service: looks, commits, writes to the event log, sends, until a signal ends it.
///
/// One thread does it all. What can take long, sending a mail and running a program, has a process
/// of its own. All that is still to be done stands in the state file, so that the service may end
/// at any moment.
class Service {
public:
  /// `readSettings` reads the configuration, at the start and again when asked to.
  explicit Service(std::function<Settings()> readSettings);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// Comes back after SIGTERM or SIGINT.
  void Run();

private:
  using Clock = std::chrono::steady_clock;

  struct Sender {
    StoredMail mail;
    Child child;
  };
  struct Program {
    std::int64_t event;
    Child child;
  };

  Clock::time_point NextMoment() const;
  void Wait();
  void TakeSignals();
  void Reload();
  void PlanLooks(Clock::time_point now);
  void LookIfDue(Clock::time_point now);
  void Look(bool isForHealth);
  void WriteEvents(Clock::time_point now);
  void TendSenders(Clock::time_point now);
  void StartSenders();
  void TendProgram(Clock::time_point now);
  void WriteMetrics();
  void FeedWatchdog(Clock::time_point now);
  void FinishSenders();

  /// Runs a step on the state file; what fails is said once until it works again.
  template <class Work>
  bool Guard(const char* what, std::string& said, Work work);

  std::function<Settings()> m_readSettings;
  Settings m_settings;
  ServiceLock m_lock;
  Store m_store;
  Ondrel::Host::CDriveMonitor m_monitor;
  std::optional<WatchState> m_state;
  std::string m_keptText;  // The state as it was committed last.
  std::string m_host;
  int m_signals = -1;
  bool m_isEnding = false;
  bool m_isReady = false;
  Clock::time_point m_nextLook;
  Clock::time_point m_nextHealth;
  std::vector<Clock::time_point> m_burst;  // The looks that a notification asks for.
  Clock::time_point m_nextLogTry;
  Clock::time_point m_nextQueueLook;
  Clock::time_point m_nextPrune;
  Clock::time_point m_nextWatchdog;
  std::int64_t m_lastLook = 0;
  std::vector<Sender> m_senders;
  std::optional<Program> m_program;
  bool m_hasSaidOfPlace = false;
  std::string m_saidOfStore;
  std::string m_saidOfDrives;
  std::string m_saidOfLog;
  std::string m_saidOfMetrics;
  std::string m_saidOfSenders;
};

}  // namespace Tool::Watch
