#pragma once

#include "Host/Types.h"

#include <systemd/sd-journal.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the readers of a journal share: opening it, and what the entry at which it stands says.
namespace Ondrel::Host {

struct CloseJournal {
  void operator()(sd_journal* journal) const { sd_journal_close(journal); }
};
using JournalHandle = std::unique_ptr<sd_journal, CloseJournal>;

/// Opens the journal of this machine or, where `path` is not empty, the journal files below that
/// folder, or that one file. Negative on failure, with the errno.
int OpenJournalAt(const std::string& path, JournalHandle& journal);

/// The Win32 number for the errno with which the journal failed.
ULong ErrorFromJournal(int errnoValue);

/// Which numbering a sequence number belongs to: an id of 128 bits in hexadecimal.
using Numbering = std::array<char, 32>;

/// Where an entry stands: enough to find it again without reading through the journal.
struct Place {
  Numbering numbering{};
  std::uint64_t sequence = 0;  // Number of the entry in it.
  std::uint64_t time = 0;      // Microseconds since 1 January 1970 UTC.

  ULong RecordNumber() const { return static_cast<ULong>(sequence); }

  bool IsOf(const Place& other) const {
    return sequence == other.sequence && numbering == other.numbering;
  }

  bool operator==(const Place&) const = default;
};

/// Reads a cursor, "s=...;i=...;b=...;m=...;t=...;x=...", as far as it is needed.
std::optional<Place> PlaceOfCursor(std::string_view cursor);

/// The full id of an entry that another program wrote: code 0, and a message of its own.
inline constexpr ULong kForeignEntryId = 0x20000000;

/// What the fields of an entry say.
struct JournalEvent {
  ULong id = 0;
  WORD type = 0;
  WORD category = 0;
  std::string source;
  std::string computer;
  std::vector<std::string> strings;
  std::string data;
};

/// The entry at which a journal stands.
class JournalEntry {
public:
  explicit JournalEntry(sd_journal* journal) : m_journal(journal) {}

  std::optional<Place> Where() const;
  std::string Cursor() const;

  /// The source: SYSLOG_IDENTIFIER, else _COMM.
  std::string Source() const;
  std::string Computer() const { return Text("_HOSTNAME"); }

  /// Fills in all but source and computer.
  void Read(JournalEvent& event) const;

private:
  struct Head;

  std::optional<std::string_view> Field(const char* name) const;
  std::string Text(const char* name) const;
  static std::optional<Head> HeadOfText(std::string_view text);
  std::optional<Head> FindHead() const;

  sd_journal* m_journal;
};

}  // namespace Ondrel::Host
