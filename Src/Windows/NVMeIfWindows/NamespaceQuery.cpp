#include "Host/DeviceOperations.h"
#include "Module.h"
#include "Windows/NVMeIfWindows/StorageQuery.h"

#include <Ondrel/NVMeDevices.h>

#include <array>
#include <cstddef>
#include <cstring>

namespace Ondrel::Host {

namespace {

constexpr std::uint32_t kNamespaceStructure = 0;
constexpr std::uint32_t kAnswerBytes = StorageQuery::kHeadBytes + StorageQuery::kIdentifyBytes;

ULong Ask(void* device, ULong id, NVME_IDENTIFY_NAMESPACE* nameSpace) {
  std::array<std::byte, StorageQuery::kHeadBytes> query{};
  std::array<std::byte, kAnswerBytes> answer{};
  StorageQuery::Write({.property = StorageAdapterProtocolSpecificProperty,
                       .dataType = NVMeDataTypeIdentify,
                       .value = kNamespaceStructure,
                       .subValue = id,
                       .length = StorageQuery::kIdentifyBytes},
                      query);
  ULong returned = 0;
  if (Device().DeviceIoControl(device, IOCTL_STORAGE_QUERY_PROPERTY, query.data(), query.size(),
                               answer.data(), answer.size(), &returned, nullptr) == 0)
    return Device().GetLastError();
  // Nothing else than the whole structure right after the descriptor fits into the buffer.
  const STORAGE_PROTOCOL_SPECIFIC_DATA part = StorageQuery::ProtocolPart(answer);
  if (returned != kAnswerBytes || part.ProtocolDataLength != StorageQuery::kIdentifyBytes ||
      part.ProtocolDataOffset != sizeof part)
    return ERROR_BAD_LENGTH;
  std::memcpy(static_cast<void*>(nameSpace), answer.data() + StorageQuery::kHeadBytes,
              StorageQuery::kIdentifyBytes);
  return ERROR_SUCCESS;
}

}  // namespace

ULong IdentifyNVMeNamespace(const char* device, ULong id, NVME_IDENTIFY_NAMESPACE* nameSpace) {
  ONDREL_TRACE(kTraceEntry, "Ondrel::Host::IdentifyNVMeNamespace",
               "ENTER IdentifyNVMeNamespace (device=\"%s\", id: %d)", device, id);
  void* const handle = Device().CreateFileA(device, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                            nullptr, OPEN_EXISTING, 0, nullptr);
  ULong error = ERROR_SUCCESS;
  if (handle == INVALID_HANDLE_VALUE) {
    error = Device().GetLastError();
  } else {
    error = Ask(handle, id, nameSpace);
    Device().CloseHandle(handle);
  }
  ONDREL_TRACE(kTraceEntry, "Ondrel::Host::IdentifyNVMeNamespace",
               "LEAVE IdentifyNVMeNamespace (device=\"%s\", id: %d), return: %d", device, id,
               error);
  return error;
}

}  // namespace Ondrel::Host
