#include "Windows/NVMeIfWindows/StorageQuery.h"

#include <Ondrel/NVMe.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

using namespace Ondrel;

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

// A record on the heap, of exactly its size, with the first bytes of `data`.
template <class Record>
std::unique_ptr<Record> RecordOf(const std::uint8_t* data, std::size_t size) {
  auto record = std::make_unique<Record>();
  std::memcpy(static_cast<void*>(record.get()), data,
              size < sizeof(Record) ? size : sizeof(Record));
  return record;
}

void RequireText(const char* text, std::size_t mostBytes) {
  const std::string_view view(text);
  Require(view.size() <= mostBytes);
  for (const char character : view)
    Require(character >= 0x20 && character < 0x7F && character != '"');
}

void DriveStatus(NVME_STATUS_FIELD& status) {
  Require(*status.sStatusCode() != '\0');
  Require(*status.sStatusCodeType() != '\0');
  Require(status.SuccessfulCompletion() == (status.SC == 0 && status.SCT == 0));
}

void DriveRecords(const std::uint8_t* data, std::size_t size) {
  const auto controller = RecordOf<NVME_IDENTIFY_CONTROLLER>(data, size);
  const auto nameSpace = RecordOf<NVME_IDENTIFY_NAMESPACE>(data, size);
  RequireText(controller->sSerialNumber(), 20);
  RequireText(controller->sModelNumber(), 40);
  RequireText(controller->sFirmwareRevision(), 8);
  RequireText(controller->sNVMSubsystemNVMeQualifiedName(), 256);
  Require(controller->Capacity(nullptr) == controller->TNVMCAP[0]);
  if (controller->TNVMCAP[0] == 0)
    Require(controller->Capacity(nameSpace.get()) == nameSpace->Capacity());

  const std::uint64_t blockSize = nameSpace->LBASize();
  Require((blockSize & (blockSize - 1)) == 0);
  for (NVME_IDENTIFY_LBA_FORMAT_DATA& format : nameSpace->LBAF) {
    Require(*format.sRelativePerformance() != '\0');
    Require(format.LBADS >= 9 || format.LBASize() == 0);
  }
  const auto log = RecordOf<NVME_SMART_HEALTH_INFORMATION_LOG>(data, size);
  Require(log->CriticalWarning() == (size > 0 ? data[0] : 0));
  const auto entry = RecordOf<NVME_ERROR_INFORMATION_LOG_ENTRY>(data, size);
  DriveStatus(entry->StatusField);

  auto copy = std::make_unique<NVME_IDENTIFY_CONTROLLER>();
  *copy = *controller;
  Require(std::memcmp(copy.get(), controller.get(), sizeof *copy) == 0);
}

// The checks of an answer of any bytes. What passes lies inside its buffer, but for the sums that
// wrap and the offsets without an upper bound.
void DriveAnswer(const std::uint8_t* data, std::size_t size) {
  if (size < 4 + StorageQuery::kHeadBytes) return;
  std::uint32_t returned = 0;
  std::memcpy(&returned, data, sizeof returned);
  const auto answer = std::make_unique<std::byte[]>(StorageQuery::kHeadBytes);
  std::memcpy(answer.get(), data + sizeof returned, StorageQuery::kHeadBytes);
  const std::span<const std::byte> bytes(answer.get(), StorageQuery::kHeadBytes);

  const auto part = StorageQuery::ProtocolPart(bytes);
  const std::uint64_t end =
      std::uint64_t{part.ProtocolDataOffset} + std::uint64_t{part.ProtocolDataLength};
  if (StorageQuery::IsWithin(part, returned)) {
    Require(returned >= 48 && returned <= 4144);
    Require(part.ProtocolDataOffset >= 40);
    Require(end + 8 <= returned || end > 0xFFFFFFFF);
  }
  if (StorageQuery::ReachesLeast(part, 512))
    Require(part.ProtocolDataOffset >= 40 && part.ProtocolDataLength >= 512);
  if (StorageQuery::HasDescriptorHead(bytes)) Require(bytes[0] == std::byte{48});
}

// A query of any numbers has them at their places, and nothing is written after it.
void WriteQuery(const std::uint8_t* data, std::size_t size) {
  std::uint32_t numbers[5] = {};
  std::memcpy(numbers, data, size < sizeof numbers ? size : sizeof numbers);
  std::byte query[StorageQuery::kHeadBytes + 1];
  std::memset(query, 0xEE, sizeof query);
  StorageQuery::Write({.property = static_cast<STORAGE_PROPERTY_ID>(numbers[0]),
                       .dataType = static_cast<STORAGE_PROTOCOL_NVME_DATA_TYPE>(numbers[1]),
                       .value = numbers[2],
                       .subValue = numbers[3],
                       .length = numbers[4]},
                      query);
  const auto part = StorageQuery::ProtocolPart(query);
  Require(part.ProtocolDataRequestValue == numbers[2] &&
          part.ProtocolDataRequestSubValue == numbers[3]);
  Require(part.ProtocolDataLength == numbers[4] && part.ProtocolDataOffset == sizeof part);
  Require(query[StorageQuery::kHeadBytes] == std::byte{0xEE});
}

}  // namespace

/// Any bytes as each of the records, through all operations on them, and as the head of a device's
/// answer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  DriveRecords(data, size);
  DriveAnswer(data, size);
  WriteQuery(data, size);
  return 0;
}
