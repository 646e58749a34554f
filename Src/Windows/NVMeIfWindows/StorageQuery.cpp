#include "Windows/NVMeIfWindows/StorageQuery.h"

#include <cstring>

namespace Ondrel::StorageQuery {

namespace {

constexpr std::uint32_t kProtocolPartBytes = sizeof(STORAGE_PROTOCOL_SPECIFIC_DATA);
constexpr std::uint32_t kMostDataBytes = 4096;

static_assert(kProtocolPart == offsetof(STORAGE_PROPERTY_QUERY, AdditionalParameters));
static_assert(kProtocolPart == offsetof(STORAGE_PROTOCOL_DATA_DESCRIPTOR, ProtocolSpecificData));

template <class Record>
Record ReadAt(std::span<const std::byte> bytes, std::size_t offset) {
  Record record;
  std::memcpy(&record, bytes.subspan(offset, sizeof record).data(), sizeof record);
  return record;
}

template <class Record>
void WriteAt(std::span<std::byte> bytes, std::size_t offset, const Record& record) {
  std::memcpy(bytes.subspan(offset, sizeof record).data(), &record, sizeof record);
}

}  // namespace

void Write(const Request& request, std::span<std::byte> query) {
  STORAGE_PROTOCOL_SPECIFIC_DATA part{};
  part.ProtocolType = ProtocolTypeNvme;
  part.DataType = request.dataType;
  part.ProtocolDataRequestValue = request.value;
  part.ProtocolDataRequestSubValue = request.subValue;
  part.ProtocolDataOffset = kProtocolPartBytes;
  part.ProtocolDataLength = request.length;
  WriteAt(query, offsetof(STORAGE_PROPERTY_QUERY, PropertyId), request.property);
  WriteAt(query, offsetof(STORAGE_PROPERTY_QUERY, QueryType), PropertyStandardQuery);
  WriteAt(query, kProtocolPart, part);
}

STORAGE_PROTOCOL_SPECIFIC_DATA ProtocolPart(std::span<const std::byte> answer) {
  return ReadAt<STORAGE_PROTOCOL_SPECIFIC_DATA>(answer, kProtocolPart);
}

bool IsWithin(const STORAGE_PROTOCOL_SPECIFIC_DATA& part, std::uint32_t returned) {
  if (returned - kHeadBytes > kMostDataBytes) return false;
  if (part.ProtocolDataOffset < kProtocolPartBytes) return false;
  const std::uint32_t end = part.ProtocolDataOffset + part.ProtocolDataLength;
  return end <= returned - kProtocolPart;
}

bool HasDescriptorHead(std::span<const std::byte> answer) {
  const auto head = ReadAt<STORAGE_PROTOCOL_DATA_DESCRIPTOR>(answer, 0);
  return head.Version == kHeadBytes && head.Size == kHeadBytes;
}

bool ReachesLeast(const STORAGE_PROTOCOL_SPECIFIC_DATA& part, std::uint32_t length) {
  return part.ProtocolDataOffset >= kProtocolPartBytes && part.ProtocolDataLength >= length;
}

}  // namespace Ondrel::StorageQuery
