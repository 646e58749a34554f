#include "Host/Linux/Devices/NVMeAdmin.h"

#include "Host/Linux/LastError.h"
#include "Module.h"

#include <Ondrel/NVMe.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

namespace Ondrel::Host {

namespace {

constexpr std::uint8_t kGetLogPage = 0x02;
constexpr std::uint8_t kIdentify = 0x06;
constexpr std::uint32_t kAllNamespaces = 0xFFFFFFFF;
constexpr std::uint32_t kIdentifyBytes = 4096;
constexpr std::uint32_t kShortLogBytes = 512;
constexpr std::uint32_t kErrorLogBytes = 4096;
constexpr std::uint32_t kHeadBytes = sizeof(STORAGE_PROTOCOL_DATA_DESCRIPTOR);

struct Query {
  STORAGE_PROPERTY_ID property;
  STORAGE_QUERY_TYPE type;
  STORAGE_PROTOCOL_SPECIFIC_DATA part;
};

static_assert(sizeof(Query) == kHeadBytes);
static_assert(offsetof(Query, part) == offsetof(STORAGE_PROPERTY_QUERY, AdditionalParameters));

bool IsOfNVMe(const Query& query) {
  const bool isProtocolProperty = query.property == StorageAdapterProtocolSpecificProperty ||
                                  query.property == StorageDeviceProtocolSpecificProperty;
  const bool isKnownData =
      query.part.DataType == NVMeDataTypeIdentify || query.part.DataType == NVMeDataTypeLogPage;
  return isProtocolProperty && query.part.ProtocolType == ProtocolTypeNvme && isKnownData;
}

bool HasLengthOfCommand(const STORAGE_PROTOCOL_SPECIFIC_DATA& part) {
  if (part.DataType == NVMeDataTypeIdentify) return part.ProtocolDataLength == kIdentifyBytes;
  return part.ProtocolDataLength == kShortLogBytes || part.ProtocolDataLength == kErrorLogBytes;
}

NVMeAdminCommand CommandOf(const STORAGE_PROTOCOL_SPECIFIC_DATA& part) {
  if (part.DataType == NVMeDataTypeIdentify) {
    return {.opcode = kIdentify,
            .nameSpace = part.ProtocolDataRequestSubValue,
            .dword10 = part.ProtocolDataRequestValue & 0xFF};
  }
  // The page of the whole controller is asked for; some controllers know it under this number
  // alone.
  const std::uint32_t lastWord = part.ProtocolDataLength / 4 - 1;
  return {.opcode = kGetLogPage,
          .nameSpace = part.ProtocolDataRequestSubValue != 0 ? part.ProtocolDataRequestSubValue
                                                             : kAllNamespaces,
          .dword10 = (part.ProtocolDataRequestValue & 0xFF) | lastWord << 16};
}

struct RefusalRow {
  std::uint16_t type;
  std::uint16_t code;
  ULong error;
};

constexpr std::array kRefusals = {
    RefusalRow{0, 0x01, ERROR_INVALID_FUNCTION},   // Invalid command opcode.
    RefusalRow{0, 0x02, ERROR_INVALID_PARAMETER},  // Invalid field in command.
    RefusalRow{0, 0x0B, ERROR_INVALID_PARAMETER},  // Invalid namespace or format.
    RefusalRow{1, 0x09, ERROR_INVALID_PARAMETER},  // Invalid log page.
};

ULong ErrorOfRefusal(std::uint16_t statusWithoutPhase) {
  const auto withPhase = static_cast<std::uint16_t>(statusWithoutPhase << 1);
  NVME_STATUS_FIELD status;
  std::memcpy(static_cast<void*>(&status), &withPhase, sizeof status);
  ONDREL_TRACE(kTraceDetail, "Ondrel::Host::AnswerStorageQuery",
               "DeviceIoControl(): controller refused the command, status type %d, code %d: %s",
               unsigned{status.SCT}, unsigned{status.SC}, status.sStatusCode());
  const auto row = std::find_if(kRefusals.begin(), kRefusals.end(), [&](const RefusalRow& known) {
    return known.type == status.SCT && known.code == status.SC;
  });
  return row != kRefusals.end() ? row->error : ERROR_IO_DEVICE;
}

void WriteAnswer(const STORAGE_PROTOCOL_SPECIFIC_DATA& asked, std::uint32_t value,
                 std::span<const std::byte> data, std::span<std::byte> output) {
  STORAGE_PROTOCOL_DATA_DESCRIPTOR head{};
  head.Version = kHeadBytes;
  head.Size = kHeadBytes;
  head.ProtocolSpecificData = asked;
  head.ProtocolSpecificData.ProtocolDataOffset = sizeof asked;
  head.ProtocolSpecificData.FixedProtocolReturnData = value;
  std::memcpy(output.data(), &head, sizeof head);
  std::memcpy(output.data() + sizeof head, data.data(), data.size());
}

}  // namespace

ULong AnswerStorageQuery(std::span<const std::byte> input, std::span<std::byte> output,
                         ULong& bytesReturned, const NVMeSubmit& submit) {
  bytesReturned = 0;
  Query query;
  if (input.size() < sizeof query) return ERROR_INVALID_PARAMETER;
  std::memcpy(&query, input.data(), sizeof query);
  if (query.type != PropertyStandardQuery) return ERROR_INVALID_PARAMETER;
  if (!IsOfNVMe(query)) return ERROR_NOT_SUPPORTED;
  if (!HasLengthOfCommand(query.part)) return ERROR_INVALID_PARAMETER;
  if (output.size() < kHeadBytes || output.size() - kHeadBytes < query.part.ProtocolDataLength)
    return ERROR_INSUFFICIENT_BUFFER;

  const std::uint32_t length = query.part.ProtocolDataLength;
  const std::unique_ptr<std::byte[]> memory(new (std::nothrow) std::byte[length]());
  if (memory == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  const std::span<std::byte> data(memory.get(), length);
  const NVMeAdminResult result = submit(CommandOf(query.part), data);
  if (result.errnoValue != 0) return ErrorFromErrno(result.errnoValue);
  if (result.status != 0) return ErrorOfRefusal(result.status);

  WriteAnswer(query.part, result.value, data, output);
  bytesReturned = kHeadBytes + length;
  return ERROR_SUCCESS;
}

}  // namespace Ondrel::Host
