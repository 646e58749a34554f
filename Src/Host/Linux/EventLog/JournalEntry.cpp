#include "Host/Linux/EventLog/JournalEntry.h"

#include "Host/Linux/EventLog/JournalFields.h"
#include "Host/Linux/LastError.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sys/stat.h>

namespace Ondrel::Host {

namespace {

std::optional<std::uint64_t> Hexadecimal(std::string_view text) {
  std::uint64_t number = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || rest != text.data() + text.size()) return std::nullopt;
  return number;
}

// A whole number in plain decimal, or what stands for any other text.
ULong Number(std::optional<std::string_view> text, ULong otherwise) {
  if (!text) return otherwise;
  ULong number = 0;
  const char* const end = text->data() + text->size();
  const auto [rest, error] = std::from_chars(text->data(), end, number);
  return error == std::errc() && rest == end ? number : otherwise;
}

}  // namespace

ULong ErrorFromJournal(int errnoValue) {
  switch (errnoValue) {
    case EBADMSG:          // Damaged.
    case ENODATA:          // Shorter than a journal file can be.
    case EPROTONOSUPPORT:  // Of a later version.
      return ERROR_EVENTLOG_FILE_CORRUPT;
    default:
      return ErrorFromErrno(errnoValue);
  }
}

int OpenJournalAt(const std::string& path, JournalHandle& journal) {
  sd_journal* opened = nullptr;
  int outcome = 0;
  if (path.empty()) {
    outcome = sd_journal_open(&opened, SD_JOURNAL_LOCAL_ONLY);
  } else {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return -errno;
    const char* files[] = {path.c_str(), nullptr};
    outcome = S_ISDIR(status.st_mode) ? sd_journal_open_directory(&opened, path.c_str(), 0)
                                      : sd_journal_open_files(&opened, files, 0);
  }
  if (outcome >= 0) journal.reset(opened);
  return outcome;
}

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

// What the fields of an event of ours say beside its texts and data.
struct JournalEntry::Head {
  ULong id = 0;
  WORD type = 0;
  WORD category = 0;
  ULong strings = 0;
  ULong dataLength = 0;
};

std::optional<Place> JournalEntry::Where() const {
  char* cursor = nullptr;
  if (sd_journal_get_cursor(m_journal, &cursor) < 0) return std::nullopt;
  const std::unique_ptr<char, decltype(&std::free)> owner(cursor, &std::free);
  return PlaceOfCursor(cursor);
}

std::string JournalEntry::Cursor() const {
  char* cursor = nullptr;
  if (sd_journal_get_cursor(m_journal, &cursor) < 0) return {};
  const std::unique_ptr<char, decltype(&std::free)> owner(cursor, &std::free);
  return cursor;
}

std::string JournalEntry::Source() const {
  std::string source = Text("SYSLOG_IDENTIFIER");
  return source.empty() ? Text("_COMM") : source;
}

std::optional<std::string_view> JournalEntry::Field(const char* name) const {
  const void* data = nullptr;
  std::size_t length = 0;
  if (sd_journal_get_data(m_journal, name, &data, &length) < 0) return std::nullopt;
  const std::size_t prefix = std::strlen(name) + 1;
  if (length < prefix) return std::nullopt;
  return std::string_view(static_cast<const char*>(data), length).substr(prefix);
}

// A field as zero-terminated text: up to its first zero byte.
std::string JournalEntry::Text(const char* name) const {
  const std::string_view value = Field(name).value_or(std::string_view());
  return std::string(value.substr(0, value.find('\0')));
}

// Reads the field that has it all: five numbers with a space between them.
std::optional<JournalEntry::Head> JournalEntry::HeadOfText(std::string_view text) {
  constexpr ULong kNone = std::numeric_limits<ULong>::max();
  std::array<ULong, 5> numbers{};
  for (ULong& number : numbers) {
    const std::size_t end = std::min(text.find(' '), text.size());
    number = Number(text.substr(0, end), kNone);
    if (number == kNone) return std::nullopt;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (!text.empty()) return std::nullopt;
  return Head{numbers[0], static_cast<WORD>(numbers[1]), static_cast<WORD>(numbers[2]), numbers[3],
              numbers[4]};
}

// What an event of ours says; nothing of an entry that is not. A field that is not there
// costs a look at all that are, so that one which covers all is asked for before them.
std::optional<JournalEntry::Head> JournalEntry::FindHead() const {
  if (const std::optional<std::string_view> all = Field(kHeadField))
    if (const std::optional<JournalEntry::Head> head = HeadOfText(*all)) return head;

  const std::optional<std::string_view> id = Field(kIdField);
  if (!id) return std::nullopt;
  Head head;
  head.id = Number(id, 0);
  // A field is valid until the next is asked for, so that one is read before the other.
  const WORD ofPriority = TypeOfPriority(Number(Field("PRIORITY"), 6));
  head.type = static_cast<WORD>(Number(Field(kTypeField), ofPriority));
  head.category = static_cast<WORD>(Number(Field(kCategoryField), 0));
  head.strings = head.dataLength = std::numeric_limits<ULong>::max();
  return head;
}

void JournalEntry::Read(JournalEvent& event) const {
  event.strings.clear();
  event.data.clear();
  const std::optional<Head> head = FindHead();
  if (!head) {
    event.id = kForeignEntryId;
    event.type = TypeOfPriority(Number(Field("PRIORITY"), 6));
    event.category = 0;
    event.strings.push_back(Text("MESSAGE"));
    return;
  }
  event.id = head->id;
  event.type = head->type;
  event.category = head->category;
  for (ULong i = 1; i <= head->strings; ++i) {
    const std::optional<std::string_view> text = Field((kStringField + std::to_string(i)).c_str());
    if (!text) break;
    event.strings.emplace_back(text->substr(0, text->find('\0')));
  }
  if (head->dataLength == 0) return;
  if (const std::optional<std::string_view> data = Field(kDataField)) event.data = *data;
}

}  // namespace Ondrel::Host
