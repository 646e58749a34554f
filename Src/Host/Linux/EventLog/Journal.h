#pragma once

#include "Host/Linux/EventLog/EventLogBackend.h"

#include <memory>
#include <string>

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

/// Opens the journal for reading. Null with the reason in `error` when that fails.
std::unique_ptr<OpenedLog> OpenJournal(ULong& error);

/// A source that writes to the journal under the identifier `source`.
std::unique_ptr<RegisteredSource> RegisterJournalSource(const std::string& source);

}  // namespace Ondrel::Host
