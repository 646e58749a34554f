#include "Host/Linux/EventRecord.h"
#include "Host/Linux/Journal.h"
#include "Host/Linux/JournalFields.h"
#include "Host/Linux/LastError.h"

#include <systemd/sd-journal.h>

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>
#include <string_view>

namespace Ondrel::Host {

namespace {

// Where an entry stands: enough to find it again without reading through the journal.
struct Place {
  std::string sequenceId;      // Which numbering the sequence number belongs to, in hexadecimal.
  std::uint64_t sequence = 0;  // Number of the entry in it.
  std::uint64_t time = 0;      // Microseconds since 1 January 1970 UTC.

  ULong RecordNumber() const { return static_cast<ULong>(sequence); }

  bool operator==(const Place&) const = default;
};

// Places are kept for so many records that were handed out; older ones are found by a search.
constexpr std::size_t kMostPlaces = 16384;

std::optional<std::uint64_t> Hexadecimal(std::string_view text) {
  std::uint64_t number = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || rest != text.data() + text.size()) return std::nullopt;
  return number;
}

// Reads a cursor, "s=...;i=...;b=...;m=...;t=...;x=...", as far as it is needed.
std::optional<Place> PlaceOfCursor(std::string_view cursor) {
  Place place;
  bool hasNumber = false;
  while (!cursor.empty()) {
    const std::size_t end = std::min(cursor.find(';'), cursor.size());
    const std::string_view part = cursor.substr(0, end);
    cursor.remove_prefix(std::min(end + 1, cursor.size()));
    if (part.starts_with("s=")) place.sequenceId = part.substr(2);
    if (part.starts_with("i=") || part.starts_with("t=")) {
      const std::optional<std::uint64_t> number = Hexadecimal(part.substr(2));
      if (!number) return std::nullopt;
      (part.front() == 'i' ? place.sequence : place.time) = *number;
      hasNumber = hasNumber || part.front() == 'i';
    }
  }
  if (!hasNumber || place.sequenceId.empty()) return std::nullopt;
  return place;
}

class JournalLog final : public OpenedLog {
public:
  explicit JournalLog(sd_journal* journal) : m_journal(journal, &sd_journal_close) {
    sd_journal_set_data_threshold(journal, 0);
    sd_journal_get_fd(journal);  // From here on new files are noticed.
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

  std::optional<Place> PlaceHere() const;
  int GoTo(const Place& place, Direction direction);
  int GoToRecord(ULong number, Direction direction);
  int GoOn(Direction direction);
  int Search(ULong number);
  void Remember(const Place& place);

  std::optional<std::string_view> Field(const char* name) const;
  std::string Text(const char* name) const;
  ULong Number(const char* name, ULong otherwise) const;
  std::vector<std::byte> Record(const Place& place) const;

  std::unique_ptr<sd_journal, decltype(&sd_journal_close)> m_journal;
  std::optional<Place> m_position;  // Of the record handed out last.
  std::deque<Place> m_places;       // Of the records handed out, the latest at the end.
};

std::optional<Place> JournalLog::PlaceHere() const {
  char* cursor = nullptr;
  if (sd_journal_get_cursor(m_journal.get(), &cursor) < 0) return std::nullopt;
  const std::unique_ptr<char, decltype(&std::free)> owner(cursor, &std::free);
  return PlaceOfCursor(cursor);
}

// Goes to the entry at a place, or to the one that follows it in the direction when it is gone.
int JournalLog::GoTo(const Place& place, Direction direction) {
  char cursor[128];
  std::snprintf(cursor, sizeof cursor, "s=%s;i=%" PRIx64 ";t=%" PRIx64, place.sequenceId.c_str(),
                place.sequence, place.time);
  const int outcome = sd_journal_seek_cursor(m_journal.get(), cursor);
  return outcome < 0 ? outcome : Step(direction);
}

// Goes to the entry with this record number; 0 when there is none.
int JournalLog::GoToRecord(ULong number, Direction direction) {
  const auto known = std::find_if(m_places.rbegin(), m_places.rend(), [number](const Place& place) {
    return place.RecordNumber() == number;
  });
  if (known == m_places.rend()) return Search(number);

  int outcome = GoTo(*known, direction);
  while (outcome > 0) {
    const std::optional<Place> here = PlaceHere();
    if (here && *here == *known) return outcome;
    // Entries of other numberings may share the very moment.
    if (!here || here->time != known->time) return 0;
    outcome = Step(direction);
  }
  return outcome;
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

// Goes to the entry behind the one handed out last, or to the first one in the direction.
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

void JournalLog::Remember(const Place& place) {
  m_position = place;
  if (!m_places.empty() && m_places.back() == place) return;
  m_places.push_back(place);
  if (m_places.size() > kMostPlaces) m_places.pop_front();
}

std::optional<std::string_view> JournalLog::Field(const char* name) const {
  const void* data = nullptr;
  std::size_t length = 0;
  if (sd_journal_get_data(m_journal.get(), name, &data, &length) < 0) return std::nullopt;
  const std::size_t prefix = std::strlen(name) + 1;
  if (length < prefix) return std::nullopt;
  return std::string_view(static_cast<const char*>(data), length).substr(prefix);
}

// A field as zero-terminated text: up to its first zero byte.
std::string JournalLog::Text(const char* name) const {
  const std::string_view value = Field(name).value_or(std::string_view());
  return std::string(value.substr(0, value.find('\0')));
}

ULong JournalLog::Number(const char* name, ULong otherwise) const {
  const std::optional<std::string_view> text = Field(name);
  if (!text) return otherwise;
  ULong number = 0;
  const char* end = text->data() + text->size();
  const auto [rest, error] = std::from_chars(text->data(), end, number);
  return error == std::errc() && rest == end ? number : otherwise;
}

std::vector<std::byte> JournalLog::Record(const Place& place) const {
  EventRecord record;
  record.number = place.RecordNumber();
  record.timeGenerated = record.timeWritten = static_cast<ULong>(place.time / 1000000);
  record.type = TypeOfPriority(Number("PRIORITY", 6));
  record.source = Text("SYSLOG_IDENTIFIER");
  if (record.source.empty()) record.source = Text("_COMM");
  record.computer = Text("_HOSTNAME");

  if (!Field(kIdField)) {
    record.strings.push_back(Text("MESSAGE"));
    return ComposeEventRecord(record);
  }
  record.id = Number(kIdField, 0);
  record.type = static_cast<WORD>(Number(kTypeField, record.type));
  record.category = static_cast<WORD>(Number(kCategoryField, 0));
  for (int i = 1;; ++i) {
    const std::string name = kStringField + std::to_string(i);
    if (!Field(name.c_str())) break;
    record.strings.push_back(Text(name.c_str()));
  }
  if (const std::optional<std::string_view> data = Field(kDataField)) {
    const auto* bytes = reinterpret_cast<const std::byte*>(data->data());
    record.data.assign(bytes, bytes + data->size());
  }
  return ComposeEventRecord(record);
}

ULong JournalLog::Read(ULong flags, ULong recordOffset, std::span<std::byte> buffer,
                       ULong& bytesRead, ULong& bytesNeeded) {
  const bool isSeek = (flags & EVENTLOG_SEEK_READ) != 0;
  const Direction direction =
      (flags & EVENTLOG_FORWARDS_READ) != 0 ? Direction::kForwards : Direction::kBackwards;

  // Takes in files that were rotated, removed or begun since the last call.
  if (const int outcome = sd_journal_process(m_journal.get()); outcome < 0)
    return ErrorFromErrno(-outcome);

  int outcome = isSeek ? GoToRecord(recordOffset, direction) : GoOn(direction);
  if (outcome < 0) return ErrorFromErrno(-outcome);
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
      Remember(*place);
    }
    outcome = Step(direction);
  }
  // What was delivered counts; a failure behind it is met again by the next call.
  if (bytesRead > 0) return ERROR_SUCCESS;
  return outcome < 0 ? ErrorFromErrno(-outcome) : ERROR_HANDLE_EOF;
}

}  // namespace

std::unique_ptr<OpenedLog> OpenJournal(ULong& error) {
  sd_journal* journal = nullptr;
  const int outcome = sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY);
  if (outcome < 0) {
    error = ErrorFromErrno(-outcome);
    return nullptr;
  }
  return std::make_unique<JournalLog>(journal);
}

}  // namespace Ondrel::Host
