#include "Host/Linux/EventRecord.h"

#include <cstring>

namespace Ondrel::Host {

namespace {

constexpr DWORD kRecordMark = 0x654C664C;  // "LfLe"
constexpr std::size_t kAlignment = sizeof(DWORD);

void AppendText(std::vector<std::byte>& image, const std::string& text) {
  const std::size_t length = std::strlen(text.c_str()) + 1;
  const auto* bytes = reinterpret_cast<const std::byte*>(text.c_str());
  image.insert(image.end(), bytes, bytes + length);
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
  std::vector<std::byte> image(sizeof(EVENTLOGRECORD));
  EVENTLOGRECORD header{};
  header.Reserved = kRecordMark;
  header.RecordNumber = record.number;
  header.TimeGenerated = record.timeGenerated;
  header.TimeWritten = record.timeWritten;
  header.EventID = record.id;
  header.EventType = record.type;
  header.EventCategory = record.category;
  header.NumStrings = static_cast<WORD>(record.strings.size());

  AppendText(image, record.source);
  AppendText(image, record.computer);
  Align(image);
  header.UserSidOffset = static_cast<DWORD>(image.size());
  header.StringOffset = static_cast<DWORD>(image.size());
  for (const std::string& text : record.strings) AppendText(image, text);
  header.DataOffset = static_cast<DWORD>(image.size());
  header.DataLength = static_cast<DWORD>(record.data.size());
  image.insert(image.end(), record.data.begin(), record.data.end());
  Align(image);

  header.Length = static_cast<DWORD>(image.size() + sizeof(DWORD));
  image.resize(header.Length);
  PutAt(image, header.Length - sizeof(DWORD), header.Length);
  std::memcpy(image.data(), &header, sizeof header);
  return image;
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

ULong RecordNumberOf(std::span<const std::byte> image) {
  return ValueAt(image, offsetof(EVENTLOGRECORD, RecordNumber));
}

}  // namespace Ondrel::Host
