#include "Host/Linux/EventLog/EventRecord.h"
#include "Host/Linux/EventLog/Journal.h"
#include "Host/Linux/EventLog/JournalFields.h"
#include "Host/Linux/LastError.h"

#include <systemd/sd-journal.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ondrel::Host {

namespace {

// Which numbering a sequence number belongs to: an id of 128 bits in hexadecimal.
using Numbering = std::array<char, 32>;

// Where an entry stands: enough to find it again without reading through the journal.
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

std::optional<std::uint64_t> Hexadecimal(std::string_view text) {
  std::uint64_t number = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || rest != text.data() + text.size()) return std::nullopt;
  return number;
}

// Reads a cursor, "s=...;i=...;b=...;m=...;t=...;x=...", as far as it is needed.
std::optional<Place> PlaceOfCursor(std::string_view cursor) {
  Place place;
  bool hasNumbering = false;
  bool hasNumber = false;
  while (!cursor.empty()) {
    const std::size_t end = std::min(cursor.find(';'), cursor.size());
    const std::string_view part = cursor.substr(0, end);
    cursor.remove_prefix(std::min(end + 1, cursor.size()));
    if (part.starts_with("s=") && part.size() == 2 + place.numbering.size()) {
      std::ranges::copy(part.substr(2), place.numbering.begin());
      hasNumbering = true;
    }
    if (part.starts_with("i=") || part.starts_with("t=")) {
      const std::optional<std::uint64_t> number = Hexadecimal(part.substr(2));
      if (!number) return std::nullopt;
      (part.front() == 'i' ? place.sequence : place.time) = *number;
      hasNumber = hasNumber || part.front() == 'i';
    }
  }
  if (!hasNumber || !hasNumbering) return std::nullopt;
  return place;
}

// The places of the records that were handed out, in the order of their numbers. Of very many only
// some are kept: the others follow one that is, in the same numbering.
class Places {
public:
  void Add(const Place& place) {
    const ULong number = place.RecordNumber();
    if (m_places.empty() || m_places.back().RecordNumber() < number)
      m_places.push_back(place);
    else if (const auto known = Find(number); !known || !known->first.IsOf(place))
      m_places.insert(Without(number), place);
    if (m_places.size() > kMost) Thin();
  }

  // The place of this record; where it is not kept, the one it has if it is of the same numbering
  // as the one before it, with the time of that. The flag says that it is the very place.
  std::optional<std::pair<Place, bool>> Find(ULong number) {
    const auto next = FirstNotBelow(number);
    if (next != m_places.end() && next->RecordNumber() == number) return std::pair(*next, true);
    if (next == m_places.begin()) return std::nullopt;
    Place place = *std::prev(next);
    place.sequence += number - place.RecordNumber();
    return std::pair(place, false);
  }

private:
  static constexpr std::size_t kMost = 16384;

  std::vector<Place>::iterator FirstNotBelow(ULong number) {
    return std::ranges::lower_bound(m_places, number, {}, &Place::RecordNumber);
  }

  // Where a record stands in the list, which is not there any more.
  std::vector<Place>::iterator Without(ULong number) {
    const auto at = FirstNotBelow(number);
    const bool isThere = at != m_places.end() && at->RecordNumber() == number;
    return isThere ? m_places.erase(at) : at;
  }

  void Thin() {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_places.size(); i += 2) m_places[kept++] = m_places[i];
    m_places.resize(kept);
  }

  std::vector<Place> m_places;
};

// A whole number in plain decimal, or what stands for any other text.
ULong Number(std::optional<std::string_view> text, ULong otherwise) {
  if (!text) return otherwise;
  ULong number = 0;
  const char* const end = text->data() + text->size();
  const auto [rest, error] = std::from_chars(text->data(), end, number);
  return error == std::errc() && rest == end ? number : otherwise;
}

// What the fields of an event of ours say beside its texts and data.
struct EventHead {
  ULong id = 0;
  WORD type = 0;
  WORD category = 0;
  ULong strings = 0;
  ULong dataLength = 0;
};

// Reads the field that has it all: five numbers with a space between them.
std::optional<EventHead> HeadOfText(std::string_view text) {
  constexpr ULong kNone = std::numeric_limits<ULong>::max();
  std::array<ULong, 5> numbers{};
  for (ULong& number : numbers) {
    const std::size_t end = std::min(text.find(' '), text.size());
    number = Number(text.substr(0, end), kNone);
    if (number == kNone) return std::nullopt;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (!text.empty()) return std::nullopt;
  return EventHead{numbers[0], static_cast<WORD>(numbers[1]), static_cast<WORD>(numbers[2]),
                   numbers[3], numbers[4]};
}

class JournalLog final : public OpenedLog {
public:
  explicit JournalLog(sd_journal* journal) : m_journal(journal, &sd_journal_close) {
    // No more of a field fits into a record.
    sd_journal_set_data_threshold(journal, kLongestRecord);
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
  int GoToRecord(ULong number);
  int GoOn(Direction direction);
  int Search(ULong number);

  std::optional<std::string_view> Field(const char* name) const;
  std::string Text(const char* name) const;
  std::vector<std::byte> Record(const Place& place) const;
  std::optional<EventHead> Head() const;
  void AddEvent(const EventHead& head, EventRecord& record) const;

  std::unique_ptr<sd_journal, decltype(&sd_journal_close)> m_journal;
  std::optional<Place> m_position;          // Of the record handed out last.
  Places m_places;                          // Of the records handed out.
  std::string m_computer = ComputerName();  // Only this machine's entries are opened.
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
  std::snprintf(cursor, sizeof cursor, "s=%.*s;i=%" PRIx64 ";t=%" PRIx64,
                static_cast<int>(place.numbering.size()), place.numbering.data(), place.sequence,
                place.time);
  const int outcome = sd_journal_seek_cursor(m_journal.get(), cursor);
  return outcome < 0 ? outcome : Step(direction);
}

// Goes to the entry with this record number; 0 when there is none.
int JournalLog::GoToRecord(ULong number) {
  const auto known = m_places.Find(number);
  if (!known) return Search(number);
  const auto& [place, isCertain] = *known;

  int outcome = GoTo(place, Direction::kForwards);
  while (outcome > 0) {
    const std::optional<Place> here = PlaceHere();
    if (!here) break;
    if (here->IsOf(place)) return outcome;
    if (here->numbering == place.numbering && here->sequence > place.sequence) break;
    // Entries of other numberings may stand between.
    if (isCertain && here->time > place.time) break;
    outcome = Step(Direction::kForwards);
  }
  if (outcome < 0) return outcome;
  return isCertain ? 0 : Search(number);
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

std::vector<std::byte> JournalLog::Record(const Place& place) const {
  EventRecord record;
  record.number = place.RecordNumber();
  record.timeGenerated = record.timeWritten = static_cast<ULong>(place.time / 1000000);
  record.source = Text("SYSLOG_IDENTIFIER");
  if (record.source.empty()) record.source = Text("_COMM");
  record.computer = m_computer;

  if (const std::optional<EventHead> head = Head()) {
    AddEvent(*head, record);
  } else {
    record.type = TypeOfPriority(Number(Field("PRIORITY"), 6));
    record.strings.push_back(Text("MESSAGE"));
  }
  return ComposeEventRecord(record);
}

// What an event of ours says of itself; nothing for another entry. A field that is not there
// costs a look at all that are, so that one which has all of it is asked for before them.
std::optional<EventHead> JournalLog::Head() const {
  if (const std::optional<std::string_view> all = Field(kHeadField))
    if (const std::optional<EventHead> head = HeadOfText(*all)) return head;

  const std::optional<std::string_view> id = Field(kIdField);
  if (!id) return std::nullopt;
  EventHead head;
  head.id = Number(id, 0);
  head.type =
      static_cast<WORD>(Number(Field(kTypeField), TypeOfPriority(Number(Field("PRIORITY"), 6))));
  head.category = static_cast<WORD>(Number(Field(kCategoryField), 0));
  head.strings = head.dataLength = std::numeric_limits<ULong>::max();
  return head;
}

void JournalLog::AddEvent(const EventHead& head, EventRecord& record) const {
  record.id = head.id;
  record.type = head.type;
  record.category = head.category;
  for (ULong i = 1; i <= head.strings; ++i) {
    const std::optional<std::string_view> text = Field((kStringField + std::to_string(i)).c_str());
    if (!text) break;
    record.strings.emplace_back(text->substr(0, text->find('\0')));
  }
  if (head.dataLength == 0) return;
  if (const std::optional<std::string_view> data = Field(kDataField)) {
    const auto* bytes = reinterpret_cast<const std::byte*>(data->data());
    record.data.assign(bytes, bytes + data->size());
  }
}

ULong JournalLog::Read(ULong flags, ULong recordOffset, std::span<std::byte> buffer,
                       ULong& bytesRead, ULong& bytesNeeded) {
  const bool isSeek = (flags & EVENTLOG_SEEK_READ) != 0;
  const Direction direction =
      (flags & EVENTLOG_FORWARDS_READ) != 0 ? Direction::kForwards : Direction::kBackwards;

  // Takes in files that were rotated, removed or begun since the last call.
  if (const int outcome = sd_journal_process(m_journal.get()); outcome < 0)
    return ErrorFromErrno(-outcome);

  int outcome = isSeek ? GoToRecord(recordOffset) : GoOn(direction);
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
      m_places.Add(*place);
      m_position = place;
    }
    outcome = Step(direction);
  }
  // What was delivered counts; a failure after it is met again by the next call.
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
