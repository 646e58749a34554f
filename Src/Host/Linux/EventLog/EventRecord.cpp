#include "Host/Linux/EventLog/EventRecord.h"

#include <climits>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

constexpr DWORD kRecordMark = 0x654C664C;  // "LfLe"
constexpr std::size_t kAlignment = sizeof(DWORD);

// The text up to its first zero byte, cut to `limit` bytes.
std::string_view Cut(const std::string& text, std::size_t limit) {
  std::string_view cut = text.c_str();
  if (cut.size() <= limit) return cut;
  std::size_t length = limit;
  // The bytes that go on a character begin with the bits 10; a character has at most three of them.
  for (int i = 0; i < 3 && length > 0 && (static_cast<unsigned char>(cut[length]) & 0xC0) == 0x80;
       ++i)
    --length;
  return cut.substr(0, length);
}

void AppendText(std::vector<std::byte>& image, std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::byte*>(text.data());
  image.insert(image.end(), bytes, bytes + text.size());
  image.push_back(std::byte{0});
}

// Bytes left for texts and data after what the record holds already.
std::size_t Room(const std::vector<std::byte>& image) {
  constexpr std::size_t kEnd = kAlignment + sizeof(DWORD);
  return image.size() + kEnd < kLongestRecord ? kLongestRecord - kEnd - image.size() : 0;
}

void Align(std::vector<std::byte>& image) {
  image.resize((image.size() + kAlignment - 1) / kAlignment * kAlignment);
}

DWORD ValueAt(std::span<const std::byte> image, std::size_t offset) {
  DWORD value = 0;
  std::memcpy(&value, image.data() + offset, sizeof value);
  return value;
}

void PutAt(std::span<std::byte> image, std::size_t offset, DWORD value) {
  std::memcpy(image.data() + offset, &value, sizeof value);
}

}  // namespace

std::vector<std::byte> ComposeEventRecord(const EventRecord& record) {
  constexpr std::size_t kUsualRecord = 512;
  std::vector<std::byte> image;
  image.reserve(kUsualRecord);
  image.resize(sizeof(EVENTLOGRECORD));
  EVENTLOGRECORD header{};
  header.Reserved = kRecordMark;
  header.RecordNumber = record.number;
  header.TimeGenerated = record.timeGenerated;
  header.TimeWritten = record.timeWritten;
  header.EventID = record.id;
  header.EventType = record.type;
  header.EventCategory = record.category;

  AppendText(image, Cut(record.source, kLongestName));
  AppendText(image, Cut(record.computer, kLongestName));
  Align(image);
  header.UserSidOffset = static_cast<DWORD>(image.size());
  header.StringOffset = static_cast<DWORD>(image.size());
  for (const std::string& text : record.strings) {
    const std::size_t room = Room(image);
    if (room == 0) break;
    AppendText(image, Cut(text, std::min(kLongestString, room - 1)));
    ++header.NumStrings;
  }
  header.DataOffset = static_cast<DWORD>(image.size());
  header.DataLength = static_cast<DWORD>(std::min(record.data.size(), Room(image)));
  image.insert(image.end(), record.data.begin(),
               record.data.begin() + static_cast<std::ptrdiff_t>(header.DataLength));
  Align(image);

  header.Length = static_cast<DWORD>(image.size() + sizeof(DWORD));
  image.resize(header.Length);
  PutAt(image, header.Length - sizeof(DWORD), header.Length);
  std::memcpy(image.data(), &header, sizeof header);
  return image;
}

std::string ComputerName() {
  char name[HOST_NAME_MAX + 1] = {};
  return gethostname(name, HOST_NAME_MAX) == 0 ? name : "";
}

void SetRecordNumber(std::span<std::byte> image, ULong number) {
  PutAt(image, offsetof(EVENTLOGRECORD, RecordNumber), number);
}

void StampEventRecord(std::span<std::byte> image, ULong number, ULong timeWritten) {
  SetRecordNumber(image, number);
  PutAt(image, offsetof(EVENTLOGRECORD, TimeWritten), timeWritten);
}

bool IsWholeRecord(std::span<const std::byte> image) {
  return image.size() >= sizeof(EVENTLOGRECORD) + sizeof(DWORD) &&
         ValueAt(image, offsetof(EVENTLOGRECORD, Reserved)) == kRecordMark &&
         ValueAt(image, offsetof(EVENTLOGRECORD, Length)) == image.size() &&
         ValueAt(image, image.size() - sizeof(DWORD)) == image.size();
}

std::int64_t RecordChecksum(std::span<const std::byte> image) {
  // Each step maps distinct values to distinct ones, for any value of what it is mixed with.
  constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
  std::uint64_t sum = image.size() * kOdd;
  while (!image.empty()) {
    std::uint64_t word = 0;
    const std::size_t size = std::min(image.size(), sizeof word);
    std::memcpy(&word, image.data(), size);
    sum = (std::rotl(sum, 23) ^ word) * kOdd;
    image = image.subspan(size);
  }
  return static_cast<std::int64_t>(sum ^ sum >> 32);
}

std::int64_t LogChecksum(std::int64_t id, std::string_view name) {
  const auto number = static_cast<std::uint64_t>(id);
  return static_cast<std::int64_t>(
      static_cast<std::uint64_t>(RecordChecksum(std::as_bytes(std::span(name)))) ^
      std::rotl(number * 0x9E3779B97F4A7C15, 7));
}

ULong RecordNumberOf(std::span<const std::byte> image) {
  return ValueAt(image, offsetof(EVENTLOGRECORD, RecordNumber));
}

}  // namespace Ondrel::Host
