#include "Host/Linux/EventLog/EventRecord.h"
#include "Host/Linux/EventLog/Journal.h"
#include "Host/Linux/EventLog/JournalEntry.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel::Host {

namespace {

class JournalLog final : public OpenedLog {
public:
  JournalLog(JournalHandle journal, bool isOfThisMachine)
      : m_journal(std::move(journal)), m_isOfThisMachine(isOfThisMachine) {
    // No more of a field fits into a record.
    sd_journal_set_data_threshold(m_journal.get(), kLongestRecord);
    sd_journal_get_fd(m_journal.get());  // From here on new files are noticed.
  }

  ULong Read(ULong flags, ULong recordOffset, std::span<std::byte> buffer, ULong& bytesRead,
             ULong& bytesNeeded) override;

private:
  enum class Direction { kForwards, kBackwards };

  // Steps to the next entry; 0 at the end, negative on failure.
  int Step(Direction direction) {
    return direction == Direction::kForwards ? sd_journal_next(m_journal.get())
                                             : sd_journal_previous(m_journal.get());
  }

  std::optional<Place> PlaceHere() const { return JournalEntry(m_journal.get()).Where(); }
  int GoTo(const Place& place, Direction direction);
  int GoToRecord(ULong number);
  int GoOn(Direction direction);
  int Search(ULong number);

  std::vector<std::byte> Record(const Place& place) const;

  JournalHandle m_journal;
  std::optional<Place> m_position;  // Of the record handed out last.
  // All records are this machine's, or each says whose it is.
  bool m_isOfThisMachine;
  std::string m_computer = ComputerName();
};

// Goes to the entry at a place, or to the one that follows it in the direction when it is gone.
int JournalLog::GoTo(const Place& place, Direction direction) {
  char cursor[128];
  std::snprintf(cursor, sizeof cursor, "s=%.*s;i=%" PRIx64 ";t=%" PRIx64,
                static_cast<int>(place.numbering.size()), place.numbering.data(), place.sequence,
                place.time);
  const int outcome = sd_journal_seek_cursor(m_journal.get(), cursor);
  return outcome < 0 ? outcome : Step(direction);
}

// Goes to the entry with this record number; 0 when there is none. A reader asks for one that it
// was given before, which lies in the same numbering as what was given last: the journal finds it
// by that without reading what lies between. What is of another numbering is searched for.
int JournalLog::GoToRecord(ULong number) {
  if (!m_position) return Search(number);
  Place place = *m_position;
  place.sequence += static_cast<std::uint64_t>(
      std::int64_t{static_cast<std::int32_t>(number - place.RecordNumber())});

  int outcome = GoTo(place, Direction::kForwards);
  while (outcome > 0) {
    const std::optional<Place> here = PlaceHere();
    if (!here) break;
    if (here->IsOf(place)) return outcome;
    if (here->numbering == place.numbering && here->sequence > place.sequence) break;
    // Entries of other numberings may stand between.
    if (place == *m_position && here->time > place.time) return 0;
    outcome = Step(Direction::kForwards);
  }
  return outcome < 0 ? outcome : Search(number);
}

int JournalLog::Search(ULong number) {
  int outcome = sd_journal_seek_head(m_journal.get());
  if (outcome < 0) return outcome;
  while ((outcome = Step(Direction::kForwards)) > 0) {
    const std::optional<Place> here = PlaceHere();
    if (here && here->RecordNumber() == number) return outcome;
  }
  return outcome;
}

// Goes to the entry after the one handed out last, or to the first one in the direction.
int JournalLog::GoOn(Direction direction) {
  if (!m_position) {
    const int outcome = direction == Direction::kForwards ? sd_journal_seek_head(m_journal.get())
                                                          : sd_journal_seek_tail(m_journal.get());
    return outcome < 0 ? outcome : Step(direction);
  }
  int outcome = GoTo(*m_position, direction);
  if (outcome > 0 && PlaceHere() == m_position) outcome = Step(direction);
  return outcome;
}

std::vector<std::byte> JournalLog::Record(const Place& place) const {
  const JournalEntry entry(m_journal.get());
  JournalEvent event;
  entry.Read(event);
  EventRecord record;
  record.number = place.RecordNumber();
  record.timeGenerated = record.timeWritten = static_cast<ULong>(place.time / 1000000);
  record.source = entry.Source();
  record.computer = m_isOfThisMachine ? m_computer : entry.Computer();
  record.id = event.id;
  record.type = event.type;
  record.category = event.category;
  record.strings = std::move(event.strings);
  const auto* bytes = reinterpret_cast<const std::byte*>(event.data.data());
  record.data.assign(bytes, bytes + event.data.size());
  return ComposeEventRecord(record);
}

ULong JournalLog::Read(ULong flags, ULong recordOffset, std::span<std::byte> buffer,
                       ULong& bytesRead, ULong& bytesNeeded) {
  const bool isSeek = (flags & EVENTLOG_SEEK_READ) != 0;
  const Direction direction =
      (flags & EVENTLOG_FORWARDS_READ) != 0 ? Direction::kForwards : Direction::kBackwards;

  // Takes in files that were rotated, removed or begun since the last call.
  if (const int outcome = sd_journal_process(m_journal.get()); outcome < 0)
    return ErrorFromJournal(-outcome);

  int outcome = isSeek ? GoToRecord(recordOffset) : GoOn(direction);
  if (outcome < 0) return ErrorFromJournal(-outcome);
  if (outcome == 0) return isSeek ? ERROR_INVALID_PARAMETER : ERROR_HANDLE_EOF;

  while (outcome > 0) {
    const std::optional<Place> place = PlaceHere();
    if (place) {
      const std::vector<std::byte> record = Record(*place);
      if (record.size() > buffer.size() - bytesRead) {
        if (bytesRead > 0) break;
        bytesNeeded = static_cast<ULong>(record.size());
        return ERROR_INSUFFICIENT_BUFFER;
      }
      std::memcpy(buffer.data() + bytesRead, record.data(), record.size());
      bytesRead += static_cast<ULong>(record.size());
      m_position = place;
    }
    outcome = Step(direction);
  }
  // What was delivered counts; a failure after it is met again by the next call.
  if (bytesRead > 0) return ERROR_SUCCESS;
  return outcome < 0 ? ErrorFromJournal(-outcome) : ERROR_HANDLE_EOF;
}

}  // namespace

std::unique_ptr<OpenedLog> OpenJournal(const std::string& path, ULong& error) {
  JournalHandle journal;
  const int outcome = OpenJournalAt(path, journal);
  if (outcome < 0) {
    error = ErrorFromJournal(-outcome);
    return nullptr;
  }
  return std::make_unique<JournalLog>(std::move(journal), path.empty());
}

}  // namespace Ondrel::Host
