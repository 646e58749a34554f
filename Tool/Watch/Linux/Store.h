#pragma once

#include "Tool/Watch/Linux/Database.h"
#include "Tool/Watch/MailText.h"
#include "Tool/Watch/Metrics.h"
#include "Tool/Watch/Settings.h"
#include "Tool/Watch/Step.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Tool::Watch {

/// Where an event is on its way to the event log.
enum class LogState : int {
  Waiting = 0,
  Tried = 1,  ///< A report was begun; whether it got there is not known.
  Kept = 2,
};

/// Where an event is on its way to the administrator's program.
enum class ExecState : int { None = 0, Waiting = 1, Started = 2, Done = 3 };

/// Where a mail is. A mail that was being sent when the service ended is queued again.
enum class MailState : int { Queued = 0, Sending = 1, Sent = 2, GivenUp = 3, Dropped = 4 };

struct StoredEvent {
  std::int64_t id = 0;
  std::int64_t time = 0;  ///< Seconds since 1 January 1970 UTC.
  WatchEvent event;
  LogState logState = LogState::Waiting;
};

struct StoredMail {
  std::int64_t id = 0;
  std::int64_t event = 0;
  std::string recipient;
  std::string messageId;
  std::string subject;
  std::string body;
  int severity = 0;
  MailState state = MailState::Queued;
  std::int64_t created = 0;
  std::int64_t due = 0;  ///< When it is to be tried next.
  int tries = 0;
  bool isRepeat = false;  ///< An earlier attempt may have reached its receiver.
  std::string error;
};

/// The service's state file: the statuses, the events and the mails, in one SQLite database. What
/// belongs together is committed together, and nothing is reported before it is committed.
///
/// All operations throw `DatabaseError`. Times are seconds since 1 January 1970 UTC.
class Store {
public:
  /// Opens the file, and creates it with mode 0600 where `isCreated`. Throws for a file of another
  /// kind or of a later layout.
  Store(const std::string& path, bool isCreated);

  /// What was known when it was committed last; nothing in a new file.
  std::optional<WatchState> State();

  /// Commits a step with the mails about its events: one for each recipient of each event that is
  /// severe enough or a recovery.
  void Commit(const WatchState& state, const std::vector<WatchEvent>& events,
              const Settings& settings, const std::string& host, std::int64_t now);

  /// At the start: mails that were being sent may have been sent; programs that ran are run again.
  void RecoverFromEnd(std::int64_t now);

  std::vector<StoredEvent> UnloggedEvents();
  void SetLogState(std::int64_t event, LogState state);

  std::optional<StoredEvent> NextExec();
  void SetExecState(std::int64_t event, ExecState state);

  std::vector<StoredMail> DueMails(std::int64_t now, int most);
  /// When the next queued mail is due; nothing without one.
  std::optional<std::int64_t> NextDue();
  void SetSending(const StoredMail& mail);
  void SetSent(std::int64_t mail, std::int64_t now);
  /// Queues a mail again, or gives it up and reports so in an event. Yields whether it was given
  /// up.
  bool SetFailed(const StoredMail& mail, const std::string& error, bool mayHaveArrived,
                 std::int64_t now);

  std::vector<StoredMail> Mails();
  /// Has queued mails tried at once, or leaves them unsent; all of them where `mails` is empty.
  /// Yields how many.
  int Retry(const std::vector<std::int64_t>& mails, std::int64_t now);
  int Drop(const std::vector<std::int64_t>& mails, std::int64_t now);

  ServiceCounts Counts();

  /// Whether the file is still where it was opened. What is committed to a file that was removed
  /// or replaced is gone with the process.
  bool IsInPlace() const;

  /// Removes what was finished long ago.
  void Prune(std::int64_t now);

private:
  std::int64_t AddEvent(const WatchEvent& event, bool hasProgram, std::int64_t now);
  int ChangeQueued(const char* sql, const std::vector<std::int64_t>& mails, std::int64_t now);

  std::string m_path;
  Database m_database;
  std::uint64_t m_device = 0;
  std::uint64_t m_inode = 0;
};

/// Seconds until a mail that failed `tries` times is tried again: from a minute, doubled, to an
/// hour.
std::int64_t BackOff(int tries);

/// A mail is given up when it is older than this, in seconds, and was tried this often.
inline constexpr std::int64_t kMailPatience = std::int64_t{4} * 24 * 3600;
inline constexpr int kLeastTries = 24;

}  // namespace Tool::Watch
