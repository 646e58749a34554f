#include "Tool/Watch/Linux/Store.h"

#include "Tool/Watch/Codes.h"
#include "Tool/Watch/StateJson.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tool::Watch {

namespace {

constexpr std::int64_t kLayout = 1;
constexpr std::int64_t kMark = 0x6F6E6477;  // "ondw", what tells the file from other databases.
constexpr std::int64_t kFirstDelay = 60;
constexpr std::int64_t kLongestDelay = 3600;
constexpr std::int64_t kKeptFor = std::int64_t{90} * 24 * 3600;

constexpr const char* kSchema = R"(
CREATE TABLE state(id INTEGER PRIMARY KEY CHECK(id = 1), time INTEGER NOT NULL, text TEXT NOT NULL);
CREATE TABLE counts(name TEXT PRIMARY KEY, number INTEGER NOT NULL);
CREATE TABLE events(
  id INTEGER PRIMARY KEY AUTOINCREMENT, time INTEGER NOT NULL, code INTEGER NOT NULL,
  severity INTEGER NOT NULL, is_array INTEGER NOT NULL, object_id TEXT NOT NULL,
  object_name TEXT NOT NULL, text TEXT NOT NULL, old_status INTEGER NOT NULL,
  new_status INTEGER NOT NULL, is_recovery INTEGER NOT NULL, log_state INTEGER NOT NULL,
  exec_state INTEGER NOT NULL);
CREATE INDEX events_to_log ON events(id) WHERE log_state < 2;
CREATE INDEX events_to_run ON events(id) WHERE exec_state IN (1, 2);
CREATE TABLE mails(
  id INTEGER PRIMARY KEY AUTOINCREMENT, event INTEGER NOT NULL, recipient TEXT NOT NULL,
  message_id TEXT NOT NULL, subject TEXT NOT NULL, body TEXT NOT NULL, severity INTEGER NOT NULL,
  state INTEGER NOT NULL, created INTEGER NOT NULL, due INTEGER NOT NULL, tries INTEGER NOT NULL,
  is_repeat INTEGER NOT NULL, error TEXT NOT NULL, finished INTEGER NOT NULL);
CREATE INDEX mails_to_send ON mails(due) WHERE state < 2;
)";

// SQLite would give the file the mode that the process's mask leaves.
void CreateFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (file < 0) throw DatabaseError(std::strerror(errno));
  ::close(file);
}

Database Open(const std::string& path, bool isCreated) {
  if (isCreated) CreateFile(path);
  return Database(path, Database::Access::ReadWrite);
}

constexpr const char* kEventColumns =
    "SELECT id, time, code, severity, is_array, object_id, object_name, text, old_status, "
    "new_status, is_recovery, log_state FROM events ";

StoredEvent EventOf(const Query& row) {
  StoredEvent stored;
  stored.id = row.Integer(0);
  stored.time = row.Integer(1);
  stored.event.code = row.Int(2);
  stored.event.severity = row.Int(3);
  stored.event.isArray = row.Integer(4) != 0;
  stored.event.objectId = row.Text(5);
  stored.event.objectName = row.Text(6);
  stored.event.text = row.Text(7);
  stored.event.oldStatus = row.Int(8);
  stored.event.newStatus = row.Int(9);
  stored.event.isRecovery = row.Integer(10) != 0;
  stored.logState = static_cast<LogState>(row.Int(11));
  return stored;
}

constexpr const char* kMailColumns =
    "SELECT id, event, recipient, message_id, subject, body, severity, state, created, due, tries, "
    "is_repeat, error FROM mails ";

StoredMail MailOf(const Query& row) {
  StoredMail mail;
  mail.id = row.Integer(0);
  mail.event = row.Integer(1);
  mail.recipient = row.Text(2);
  mail.messageId = row.Text(3);
  mail.subject = row.Text(4);
  mail.body = row.Text(5);
  mail.severity = row.Int(6);
  mail.state = static_cast<MailState>(row.Int(7));
  mail.created = row.Integer(8);
  mail.due = row.Integer(9);
  mail.tries = row.Int(10);
  mail.isRepeat = row.Integer(11) != 0;
  mail.error = row.Text(12);
  return mail;
}

void Count(Database& database, const std::string& name) {
  Query(database,
        "INSERT INTO counts(name, number) VALUES(?1, 1) "
        "ON CONFLICT(name) DO UPDATE SET number = number + 1")
      .With(name)
      .Run();
}

std::string NewMessageId(const std::string& from) {
  const std::size_t at = from.find('@');
  return boost::uuids::to_string(boost::uuids::random_generator()()) +
         (at == std::string::npos ? "@localhost" : from.substr(at));
}

}  // namespace

std::int64_t BackOff(int tries) {
  std::int64_t delay = kFirstDelay;
  for (int doubled = 1; doubled < tries && delay < kLongestDelay; ++doubled) delay *= 2;
  return std::min(delay, kLongestDelay);
}

Store::Store(const std::string& path, bool isCreated)
    : m_path(path), m_database(Open(path, isCreated)) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) {
    m_device = status.st_dev;
    m_inode = status.st_ino;
  }
  const std::int64_t layout = m_database.Integer("PRAGMA user_version");
  const std::int64_t mark = m_database.Integer("PRAGMA application_id");
  if (layout > kLayout && mark == kMark) throw DatabaseError("the file is of a later version");
  m_database.Execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;");
  if (layout == kLayout && mark == kMark) return;
  if (m_database.Integer("SELECT count(*) FROM sqlite_master") != 0)
    throw DatabaseError("the file is a database of another kind");
  Change change(m_database);
  m_database.Execute(kSchema);
  m_database.Execute(("PRAGMA application_id = " + std::to_string(kMark)).c_str());
  m_database.Execute(("PRAGMA user_version = " + std::to_string(kLayout)).c_str());
  change.Commit();
}

std::optional<WatchState> Store::State() {
  Query query(m_database, "SELECT text FROM state");
  if (!query.Step()) return std::nullopt;
  try {
    return StateOfText(query.Text(0));
  } catch (const nlohmann::json::exception& error) {
    throw DatabaseError(std::string("the kept statuses cannot be read: ") + error.what());
  }
}

std::int64_t Store::AddEvent(const WatchEvent& event, bool hasProgram, std::int64_t now) {
  Query(m_database,
        "INSERT INTO events(time, code, severity, is_array, object_id, object_name, text, "
        "old_status, new_status, is_recovery, log_state, exec_state) "
        "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, 0, ?11)")
      .With(now, event.code, event.severity, event.isArray, event.objectId, event.objectName,
            event.text, event.oldStatus, event.newStatus, event.isRecovery, hasProgram)
      .Run();
  const std::int64_t id = m_database.LastRow();
  Count(m_database, "events" + std::to_string(event.severity));
  return id;
}

void Store::Commit(const WatchState& state, const std::vector<WatchEvent>& events,
                   const Settings& settings, const std::string& host, std::int64_t now) {
  Change change(m_database);
  for (const WatchEvent& event : events) {
    const std::int64_t id = AddEvent(event, !settings.exec.program.empty(), now);
    if (settings.mail.server.empty()) continue;
    if (event.severity < settings.mail.minSeverity && !event.isRecovery) continue;
    const MailText text = MailAbout(event, host, now, settings.log.name);
    for (const std::string& recipient : settings.mail.to)
      Query(m_database,
            "INSERT INTO mails(event, recipient, message_id, subject, body, severity, state, "
            "created, due, tries, is_repeat, error, finished) "
            "VALUES(?1, ?2, ?3, ?4, ?5, ?6, 0, ?7, ?7, 0, 0, '', 0)")
          .With(id, recipient, NewMessageId(settings.mail.from), text.subject, text.body,
                event.severity, now)
          .Run();
  }
  Query(m_database,
        "INSERT INTO state(id, time, text) VALUES(1, ?1, ?2) "
        "ON CONFLICT(id) DO UPDATE SET time = excluded.time, text = excluded.text")
      .With(now, TextOfState(state))
      .Run();
  change.Commit();
}

void Store::RecoverFromEnd(std::int64_t now) {
  Change change(m_database);
  Query(m_database,
        "UPDATE mails SET state = 0, is_repeat = 1, due = ?1, "
        "error = 'the service ended while it was being sent' WHERE state = 1")
      .With(now)
      .Run();
  m_database.Execute("UPDATE events SET exec_state = 1 WHERE exec_state = 2");
  change.Commit();
}

std::vector<StoredEvent> Store::UnloggedEvents() {
  std::vector<StoredEvent> events;
  const std::string sql = std::string(kEventColumns) + "WHERE log_state < 2 ORDER BY id LIMIT 100";
  Query query(m_database, sql.c_str());
  while (query.Step()) events.push_back(EventOf(query));
  return events;
}

void Store::SetLogState(std::int64_t event, LogState state) {
  Query(m_database, "UPDATE events SET log_state = ?2 WHERE id = ?1")
      .With(event, static_cast<int>(state))
      .Run();
}

std::optional<StoredEvent> Store::NextExec() {
  const std::string sql = std::string(kEventColumns) + "WHERE exec_state = 1 ORDER BY id LIMIT 1";
  Query query(m_database, sql.c_str());
  if (!query.Step()) return std::nullopt;
  return EventOf(query);
}

void Store::SetExecState(std::int64_t event, ExecState state) {
  Query(m_database, "UPDATE events SET exec_state = ?2 WHERE id = ?1")
      .With(event, static_cast<int>(state))
      .Run();
}

std::vector<StoredMail> Store::DueMails(std::int64_t now, int most) {
  std::vector<StoredMail> mails;
  const std::string sql =
      std::string(kMailColumns) +
      "WHERE state = 0 AND (due <= ?1 OR due > ?1 + ?3) ORDER BY due, id LIMIT ?2";
  Query query(m_database, sql.c_str());
  // No mail waits longer: the clock was set back since.
  query.With(now, most, kLongestDelay);
  while (query.Step()) mails.push_back(MailOf(query));
  return mails;
}

std::optional<std::int64_t> Store::NextDue() {
  Query query(m_database, "SELECT due FROM mails WHERE state = 0 ORDER BY due LIMIT 1");
  if (!query.Step()) return std::nullopt;
  return query.Integer(0);
}

void Store::SetSending(const StoredMail& mail) {
  Query(m_database, "UPDATE mails SET state = 1, tries = tries + 1 WHERE id = ?1")
      .With(mail.id)
      .Run();
}

void Store::SetSent(std::int64_t mail, std::int64_t now) {
  Change change(m_database);
  Query(m_database, "UPDATE mails SET state = 2, finished = ?2, error = '' WHERE id = ?1")
      .With(mail, now)
      .Run();
  Count(m_database, "sent");
  change.Commit();
}

bool Store::SetFailed(const StoredMail& mail, const std::string& error, bool mayHaveArrived,
                      std::int64_t now) {
  // The clock may have been wrong when the mail was made, or the machine off for days since.
  const bool isGivenUp = now - mail.created >= kMailPatience && mail.tries + 1 >= kLeastTries;
  Change change(m_database);
  Query(m_database,
        "UPDATE mails SET state = ?2, due = ?3, error = ?4, is_repeat = is_repeat OR ?5, "
        "finished = ?6 WHERE id = ?1")
      .With(mail.id, static_cast<int>(isGivenUp ? MailState::GivenUp : MailState::Queued),
            now + BackOff(mail.tries + 1), error, mayHaveArrived, isGivenUp ? now : std::int64_t{0})
      .Run();
  if (isGivenUp) {
    Count(m_database, "given up");
    WatchEvent event;
    event.code = EventCode::kTaskError;
    event.severity = Ondrel::kSeverityWarning;
    event.text =
        "Mail to " + mail.recipient + " was given up after 4 days (" + error + "): " + mail.subject;
    AddEvent(event, false, now);
  }
  change.Commit();
  return isGivenUp;
}

std::vector<StoredMail> Store::Mails() {
  std::vector<StoredMail> mails;
  const std::string sql = std::string(kMailColumns) + "WHERE state < 2 OR state = 3 ORDER BY id";
  Query query(m_database, sql.c_str());
  while (query.Step()) mails.push_back(MailOf(query));
  return mails;
}

int Store::ChangeQueued(const char* sql, const std::vector<std::int64_t>& mails, std::int64_t now) {
  int changed = 0;
  Change change(m_database);
  const std::vector<std::int64_t> all = {-1};
  for (const std::int64_t mail : mails.empty() ? all : mails) {
    Query(m_database, sql).With(mail, now).Run();
    changed += m_database.Changes();
  }
  change.Commit();
  return changed;
}

// A mail that was given up begins its four days anew.
int Store::Retry(const std::vector<std::int64_t>& mails, std::int64_t now) {
  return ChangeQueued(
      "UPDATE mails SET due = ?2, created = CASE state WHEN 3 THEN ?2 ELSE created END, state = 0 "
      "WHERE state IN (0, 3) AND (?1 = -1 OR id = ?1)",
      mails, now);
}

int Store::Drop(const std::vector<std::int64_t>& mails, std::int64_t now) {
  return ChangeQueued(
      "UPDATE mails SET state = 4, finished = ?2 WHERE state IN (0, 3) AND (?1 = -1 OR id = ?1)",
      mails, now);
}

ServiceCounts Store::Counts() {
  ServiceCounts counts;
  Query query(m_database, "SELECT name, number FROM counts");
  while (query.Step()) {
    const std::string name = query.Text(0);
    const auto number = static_cast<std::uint64_t>(query.Integer(1));
    for (int severity = 2; severity <= 4; ++severity)
      if (name == "events" + std::to_string(severity)) counts.events[severity - 2] = number;
    if (name == "sent") counts.mailsSent = number;
    if (name == "given up") counts.mailsGivenUp = number;
  }
  counts.mailsQueued =
      static_cast<std::uint64_t>(m_database.Integer("SELECT count(*) FROM mails WHERE state < 2"));
  counts.eventsUnlogged = static_cast<std::uint64_t>(
      m_database.Integer("SELECT count(*) FROM events WHERE log_state < 2"));
  return counts;
}

bool Store::IsInPlace() const {
  struct stat status {};
  return ::stat(m_path.c_str(), &status) == 0 && status.st_dev == m_device &&
         status.st_ino == m_inode;
}

void Store::Prune(std::int64_t now) {
  Change change(m_database);
  Query(m_database, "DELETE FROM mails WHERE state >= 2 AND finished < ?1")
      .With(now - kKeptFor)
      .Run();
  Query(m_database,
        "DELETE FROM events WHERE time < ?1 AND log_state = 2 AND exec_state IN (0, 3) "
        "AND NOT EXISTS(SELECT 1 FROM mails WHERE mails.event = events.id)")
      .With(now - kKeptFor)
      .Run();
  change.Commit();
}

}  // namespace Tool::Watch
