#pragma once

#include <Ondrel/Export.h>
#include <Ondrel/Types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Ondrel::Host {

/// Largest size of an event store that `UseEventStore` sets when it is not given another, in bytes.
inline constexpr std::uint64_t kDefaultEventStoreCapacity = std::uint64_t{64} * 1024 * 1024;

/// Smallest size that an event store can be held to, in bytes.
inline constexpr std::uint64_t kMinEventStoreCapacity = std::uint64_t{256} * 1024;

/// Chooses the event store for the logs opened from now on.
///
/// On a host without a system event log of its own, events are kept in one database file, the event
/// store. `path` is that file; it is created with mode 0600 when the first log is opened, and its
/// folder must exist. A relative `path` counts from the folder that is current now; an empty one
/// means the host's default, `/var/lib/ondrel/events.db`. `capacity` is the size in bytes at which
/// the oldest records make room for new ones.
///
/// Returns false, and changes nothing, when `capacity` is below `kMinEventStoreCapacity` or when
/// the host has an event log of another kind only (Windows). Logs that are open stay where they
/// are. Safe to call from any thread, as the operations below.
ONDREL_API bool UseEventStore(const std::string& path,
                              std::uint64_t capacity = kDefaultEventStoreCapacity);

/// Chooses the systemd journal for the logs opened from now on. There is one journal: every log
/// name opens it. Returns false, and changes nothing, when no journal takes entries on this host.
ONDREL_API bool UseJournal();

/// Chooses a journal that other programs wrote, to read only, for the logs opened from now on: all
/// journal files below the folder `path`, or the one file that `path` leads to. This is how a
/// collector filled by systemd-journal-remote is read; a record's computer is the machine that the
/// entry came from. A source cannot be registered there (error 50).
///
/// Yields false, and changes nothing, when `path` leads to neither, or on a host that has no
/// journal. Opening a log shows whether the files can be read.
ONDREL_API bool UseJournalFiles(const std::string& path);

/// Goes back to the host's own choice, which is also the one at the start: the journal where
/// one takes entries, else the event store at its default path.
ONDREL_API void UseHostEventLog();

/// Path of the event store that a log opened now would use. Empty when it would use another kind of
/// event log.
ONDREL_API std::string EventStorePath();

/// Kinds of system event log.
enum class EventLogKind {
  kStore,         ///< The event store, one database file.
  kJournal,       ///< The journal of this machine.
  kJournalFiles,  ///< Journal files that other programs wrote, to read only.
  kWindows,       ///< The event log of Windows.
};

/// Where the logs opened now live.
struct EventLogPlace {
  EventLogKind kind = EventLogKind::kStore;  ///< Which of the kinds.
  /// The store's file, or the folder or file of the journal files; else empty.
  std::string path;
  /// True when this host has a journal that nobody serves at the moment, and the host's own choice
  /// therefore falls on the event store.
  bool isJournalAway = false;
};

/// Where a log opened now would live. Safe to call from any thread.
ONDREL_API EventLogPlace CurrentEventLog();

/// Words for an error number of the operations below (and for a `NATIVE_ERROR` of the event log),
/// such as "the disk is full". Never empty.
ONDREL_API std::string EventLogErrorText(ULong error);

/// One record of a system event log with all that it says.
struct EventLogRecord {
  std::uint64_t number = 0;          ///< Its number in the log; in a journal the sequence number.
  ULong timeGenerated = 0;           ///< Seconds since 1 January 1970 UTC.
  ULong timeWritten = 0;             ///< Seconds since 1 January 1970 UTC.
  ULong eventID = 0;                 ///< Full id: severity, customer bit, facility and code.
  ULong eventType = 0;               ///< 1 error, 2 warning, 4 information.
  ULong category = 0;                ///< Category of the source's own.
  std::string source;                ///< Event source.
  std::string computer;              ///< Machine that the event comes from.
  std::vector<std::string> strings;  ///< Insertion strings, empty ones included.
  std::string data;                  ///< Raw bytes.
  /// Formatted text, where `CEventLogReader::GetMessageResources` has loaded a message file.
  std::string message;
};

/// What a reader comes upon in a log.
enum class EventLogItemKind {
  kRecord,  ///< A record.
  kMissed,  ///< The records `first` to `last` went away before they were read.
  /// The records `first` to `last` cannot be read any more; where `file` is not empty, this file
  /// of the journal or of the store, whose records nobody can number.
  kDamaged,
  /// The log is another one than before: its file was replaced, or its numbers went back. The
  /// reader goes on with the oldest record of what is there now, so that records may come again.
  kReplaced,
};

/// One item of a log. `record` is filled for a record alone, the numbers for what is missing.
struct EventLogItem {
  EventLogItemKind kind = EventLogItemKind::kRecord;  ///< What it is.
  EventLogRecord record;                              ///< The record.
  std::uint64_t first = 0;                            ///< First number that is missing or damaged.
  std::uint64_t last = 0;                             ///< Last number that is missing or damaged.
  std::string file;                                   ///< File that is damaged, else empty.
};

/// Which records a reader is to give, and in which order. Without any choice: all, oldest first.
struct EventLogRange {
  std::optional<std::uint64_t> firstNumber;  ///< Not those with a smaller number.
  std::optional<std::uint64_t> lastNumber;   ///< Not those with a larger number.
  std::optional<ULong> since;                ///< Not those generated before this time.
  std::optional<ULong> until;                ///< Not those generated after this time.
  std::vector<std::string> sources;          ///< Only those of these sources; empty: of all.
  std::string computer;                      ///< Only those of this machine; empty: of all.
  /// Goes on after the item at which another reader's `Position` was this text.
  std::string after;
  bool isNewOnly = false;      ///< Only those that come after the opening.
  bool isNewestFirst = false;  ///< From the newest to the oldest.
};

/// Reads the records that stand in a system event log and, oldest first, those that come after
/// them. The required reader (`CSystemLogReader_Win`) begins at its opening; this one begins where
/// its range says, reads logs without records too, and names what it could not give.
///
/// All operations report failures by the host's error number (see `EventLogErrorText`) and raise
/// nothing. One object is used by one thread at a time.
class ONDREL_API CEventLogReader {
public:
  CEventLogReader();
  ~CEventLogReader();
  CEventLogReader(CEventLogReader&& other) noexcept;
  CEventLogReader& operator=(CEventLogReader&& other) noexcept;

  /// Opens the log `name`. Yields 0, or the error: 87 when `name` or the range is none that can be
  /// served. A reader that is open already is closed first.
  ULong Open(const std::string& name, const EventLogRange& range = {});

  /// Replaces `items` with the next ones, about `most` of them at most. Yields 0, or the error.
  ///
  /// No items mean the end of the range; oldest first, later calls give what has come since. After
  /// an error the next call tries again at the same place. A store that was there and is gone is
  /// error 2, until there is one again.
  ULong Read(std::vector<EventLogItem>& items, std::size_t most = 256);

  /// The place after the last item that was read or, before the first, where reading begins, as
  /// text for `EventLogRange::after`; it is good for this log in this store or journal. Empty where
  /// the range alone says where that is.
  std::string Position() const;

  /// Distinguishes this store from every other one, as 32 hexadecimal digits; of a journal, the
  /// numbering that the last record belongs to. Empty while it is not known, and on Windows.
  std::string Identity() const;

  /// Loads the file whose message table gives records their `message`. Yields 0, or the error.
  ULong GetMessageResources(const std::string& path);

private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

/// Says when something has come into a log, so that nobody has to look in vain: open it, read the
/// log to its end, wait, read again. It serves `CEventLogReader` and `CSystemLogReader_Win` alike.
/// It speaks up too often rather than too rarely.
class ONDREL_API CEventLogWait {
public:
  CEventLogWait();
  ~CEventLogWait();
  CEventLogWait(CEventLogWait&& other) noexcept;
  CEventLogWait& operator=(CEventLogWait&& other) noexcept;

  /// Begins to watch the log `name`. Yields 0, or the error.
  ULong Open(const std::string& name);

  /// What a program adds to its own waiting: on Linux a file descriptor that is readable, on
  /// Windows an event that is set, once something has come. It stays this object's. -1 when it is
  /// not open. On Linux a journal's daemon takes up to 250 ms to say that something came; Windows
  /// sets the event at most every 5 seconds.
  std::intptr_t Handle() const;

  /// Takes back what `Handle` says, before the log is read.
  void Reset();

  /// Waits until something has come, a signal came in between, or `patience` is over; takes back
  /// what `Handle` says. True when something may have come.
  bool Wait(std::chrono::milliseconds patience);

private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

/// What became of a report.
struct EventLogReport {
  ULong error = 0;           ///< 0 when the event was taken; else why it was not kept.
  std::uint64_t number = 0;  ///< The record's number, 0 where the host does not say it.
  /// True when the record is known to be in the log. A journal that may not be read leaves open
  /// whether it kept what it took.
  bool isChecked = false;
};

/// Writes events as `CSystemLog_Win` does, and says whether they were kept.
///
/// The store and Windows answer for themselves; from a journal the entry is read back, for which it
/// gets two seconds. Nothing is raised. One object is used by one thread at a time.
class ONDREL_API CEventLogWriter {
public:
  CEventLogWriter();
  ~CEventLogWriter();
  CEventLogWriter(CEventLogWriter&& other) noexcept;
  CEventLogWriter& operator=(CEventLogWriter&& other) noexcept;

  /// Registers the source `name`, which writes into the log of its name. Yields 0, or the error.
  ULong Open(const std::string& name);

  /// Writes one event, with the ids and types of `CSystemLog_Win::Report`. An empty text is
  /// error 87.
  EventLogReport Report(int eventID, int eventType, const std::string& text);

private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

/// One log with what stands in it.
struct EventLogSummary {
  std::string name;           ///< The log's name.
  std::uint64_t records = 0;  ///< How many there are.
  std::uint64_t bytes = 0;    ///< Bytes of its records; of a journal and on Windows, of its files.
  std::uint64_t firstNumber = 0;  ///< Number of the oldest record.
  std::uint64_t lastNumber = 0;   ///< Number of the newest record.
  ULong firstTime = 0;            ///< Time of the oldest record. 0 without records, as the next.
  ULong lastTime = 0;             ///< Time of the newest record.
};

/// Lists the logs that there are. A journal is one log. Yields 0, or the error.
ONDREL_API ULong ListEventLogs(std::vector<EventLogSummary>& logs);

/// Removes the records of the log `name` that were generated before `time` (nothing: all), and
/// gives their count in `removed`. The numbers of removed records are not given again. Yields 0, or
/// the error: 50 where the host cannot do this (a journal; on Windows a part of a log).
ONDREL_API ULong ClearEventRecords(const std::string& name, std::optional<ULong> time,
                                   std::uint64_t& removed);

/// Puts records from elsewhere into the event store, as they are.
class ONDREL_API CEventLogImport {
public:
  CEventLogImport();
  ~CEventLogImport();
  CEventLogImport(CEventLogImport&& other) noexcept;
  CEventLogImport& operator=(CEventLogImport&& other) noexcept;

  /// Begins to add to the log `name`. Yields 0, or the error: 50 where events are kept elsewhere
  /// than in a store.
  ULong Open(const std::string& name);

  /// Adds records in one step: all of them are kept, or none. A record keeps its number, and the
  /// numbers have to rise above the log's last (else 87); 0 takes the next. Yields 0, or the error.
  ULong Add(const std::vector<EventLogRecord>& records);

  /// How many records, of all logs, the store has dropped to keep within its capacity since `Open`.
  std::uint64_t Dropped() const;

private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

/// Path of this library's own file, which is the message file of the events it writes: what
/// `CSystemLogReader_Win::GetMessageResources` takes. Empty when the host does not report it.
ONDREL_API std::string LibraryPath();

/// Restarts this machine at once and says why it does not: what `CSystem::Reboot` does, for a
/// program that has to report a refusal.
///
/// On Linux the login manager is asked; it shows `message` to the users and in the journal. Only
/// when it does not restart the machine and `isForced` holds, the restart call of the kernel is
/// made, which stops no service and shows nothing. On Windows `message` is shown to the users and
/// `isForced` makes no difference.
///
/// Yields an empty text once the machine restarts, else why it does not.
ONDREL_API std::string Restart(const std::string& message, bool isForced);

}  // namespace Ondrel::Host
