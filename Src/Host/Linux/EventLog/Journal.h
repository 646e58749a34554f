#pragma once

#include "Host/EventHistory.h"
#include "Host/Linux/EventLog/EventLogBackend.h"

#include <memory>
#include <string>
#include <vector>

/// The system event log on a host with a systemd journal.
///
/// There is one journal, so that every log name opens the same: the entries of all programs of this
/// machine. An entry's source is its SYSLOG_IDENTIFIER, else its _COMM; its record number the low
/// 32 bits of its sequence number; its type follows from PRIORITY. Events written here carry their
/// id, type, category and insertion strings in fields of their own, and are read back from these.
///
/// Source of the formats: the manual pages sd_journal_sendv(3), systemd.journal-fields(7) and
/// sd_journal_get_cursor(3).
namespace Ondrel::Host {

/// True when the journal takes entries: its socket exists and somebody listens there.
bool JournalIsThere();

/// Opens the journal for reading, or journal files where `path` leads to them. Null with the reason
/// in `error` when that fails.
std::unique_ptr<OpenedLog> OpenJournal(const std::string& path, ULong& error);

/// A source that writes to the journal under the identifier `source`. Where `token` is not empty,
/// each entry has it in a field of its own, by which it can be found again.
std::unique_ptr<RegisteredSource> RegisterJournalSource(const std::string& source,
                                                        const std::string& token = "");

/// The records of the journal, or of journal files.
std::unique_ptr<EventHistory> OpenJournalHistory(const std::string& path,
                                                 const EventLogRange& range, ULong& error);

/// A source whose entries are read back.
std::unique_ptr<CheckedSource> OpenCheckedJournalSource(const std::string& source, ULong& error);

/// What stands in the journal, or in journal files, under the name "journal".
ULong SummarizeJournal(const std::string& path, std::vector<EventLogSummary>& logs);

/// True where this host has a journal, be it served at the moment or not.
bool JournalIsInstalled();

}  // namespace Ondrel::Host
