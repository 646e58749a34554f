#include "Host/DeviceOperations.h"
#include "Host/MemoryOperations.h"
#include "Module.h"
#include "Windows/NVMeIfWindows/StorageQuery.h"

#include <Ondrel/NVMeQuery.h>

#include <cstddef>
#include <cstring>
#include <span>

// Five queries in two families. The families differ intentionally: in their buffers, in what they
// check and in what a failed check does.

namespace Ondrel {

namespace {

using StorageQuery::Request;

constexpr std::uint32_t kNamespaceOne = 1;
constexpr std::uint32_t kAllNamespaces = 0xFFFFFFFF;

// The identify structures (CNS) and the log pages asked for.
constexpr std::uint32_t kNamespaceStructure = 0;
constexpr std::uint32_t kControllerStructure = 1;
constexpr std::uint32_t kErrorInformationPage = 1;
constexpr std::uint32_t kHealthInformationPage = 2;

constexpr std::uint32_t kAnswerBytes = StorageQuery::kHeadBytes + StorageQuery::kIdentifyBytes;
constexpr std::uint32_t kErrorEntryPower = 6;
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY) == 1 << kErrorEntryPower);

void* OpenDevice(const char* deviceName) {
  return Host::Device().CreateFileA(deviceName, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
}

std::byte* AllocateZeroed(std::size_t size) {
  void* const block = Host::Memory().Allocate(size);
  if (block != nullptr) std::memset(block, 0, size);
  return static_cast<std::byte*>(block);
}

// Nothing releases this buffer, which is intentional: each query of the family leaves one.
std::byte* AllocateKeptAnswer() { return AllocateZeroed(kAnswerBytes); }

// The data of a checked answer. Where it stands is what the host's answer says; neither check holds
// an offset that is too large to the buffer, which is intentional.
const std::byte* DataOf(const std::byte* answer, const STORAGE_PROTOCOL_SPECIFIC_DATA& part) {
  return answer + StorageQuery::kProtocolPart + part.ProtocolDataOffset;
}

// The separate-buffer family. `take` gets the answer and the count of bytes returned, and yields
// the result.

template <class Take>
unsigned int AskInto(std::byte* answer, void* device, std::byte* query, const Take& take) {
  ULong returned = 0;
  if (Host::Device().DeviceIoControl(device, IOCTL_STORAGE_QUERY_PROPERTY, query,
                                     StorageQuery::kHeadBytes, answer, kAnswerBytes, &returned,
                                     nullptr) == 0) {
    return Host::Device().GetLastError();
  }
  return take(answer, returned);
}

template <class Take>
unsigned int AskWithSeparateBuffers(const char* deviceName, const Request& request,
                                    const Take& take) {
  void* const device = OpenDevice(deviceName);
  if (device == INVALID_HANDLE_VALUE) return Host::Device().GetLastError();

  unsigned int result = 0;
  // Without memory the result stays 0, which is intentional.
  std::byte* const query = AllocateZeroed(StorageQuery::kHeadBytes);
  if (query != nullptr) {
    std::byte* const answer = AllocateKeptAnswer();
    if (answer != nullptr) {
      StorageQuery::Write(request, {query, StorageQuery::kHeadBytes});
      result = AskInto(answer, device, query, take);
    }
  }
  Host::Device().CloseHandle(device);
  if (query != nullptr) Host::Memory().Free(query);
  return result;
}

unsigned int Identify(const char* deviceName, std::uint32_t structure, std::uint32_t nameSpace,
                      void* record) {
  const Request request{.property = StorageAdapterProtocolSpecificProperty,
                        .dataType = NVMeDataTypeIdentify,
                        .value = structure,
                        .subValue = nameSpace,
                        .length = StorageQuery::kIdentifyBytes};
  return AskWithSeparateBuffers(
      deviceName, request, [record](const std::byte* answer, ULong returned) -> unsigned int {
        const auto part = StorageQuery::ProtocolPart({answer, kAnswerBytes});
        if (!StorageQuery::IsWithin(part, returned) ||
            part.ProtocolDataLength < StorageQuery::kIdentifyBytes) {
          return ERROR_BAD_LENGTH;
        }
        std::memcpy(record, DataOf(answer, part), StorageQuery::kIdentifyBytes);
        return 0;
      });
}

// The shared-buffer family: one buffer is the query and the answer, and each failure has a trace
// line. A check that fails leaves the result 0, which is intentional.

struct SharedBufferQuery {
  const char* function;
  Request request;
  std::uint32_t bufferBytes;
  const char* openFailed;
  const char* noBuffer;
  const char* controlFailed;
  const char* headNotValid;
  const char* dataNotValid;
};

constexpr SharedBufferQuery kHealthQuery{
    .function = "Ondrel::NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo",
    .request = {.property = StorageDeviceProtocolSpecificProperty,
                .dataType = NVMeDataTypeLogPage,
                .value = kHealthInformationPage,
                .subValue = 0,
                .length = StorageQuery::kHealthLogBytes},
    // Larger than what is asked for, which is intentional: the size of the other family's answers.
    .bufferBytes = kAnswerBytes,
    .openFailed = "GetLogPageSMARTHealthInfo: allocate device handle failed.\n",
    .noBuffer = "GetLogPageSMARTHealthInfo: allocate buffer failed.\n",
    .controlFailed = "GetLogPageSMARTHealthInfo: DeviceIoControl failed. Error Code %d.\n",
    .headNotValid = "GetLogPageSMARTHealthInfo - data descriptor header not valid.\n",
    .dataNotValid = "GetLogPageSMARTHealthInfo - ProtocolData Offset/Length not valid.\n",
};

constexpr SharedBufferQuery VendorQuery(unsigned char logPageId) {
  return {
      .function = "Ondrel::NVMeStorageQueryPropertyGetVendorSpecificLogPage",
      .request = {.property = StorageDeviceProtocolSpecificProperty,
                  .dataType = NVMeDataTypeLogPage,
                  .value = logPageId,
                  .subValue = 0,
                  .length = StorageQuery::kVendorLogBytes},
      .bufferBytes = StorageQuery::kHeadBytes + StorageQuery::kVendorLogBytes,
      .openFailed = "GetVendorSpecificLogPage: allocate device handle failed.\n",
      .noBuffer = "GetVendorSpecificLogPage: allocate buffer failed.\n",
      .controlFailed = "GetVendorSpecificLogPage: DeviceIoControl failed. Error Code %d.\n",
      .headNotValid = "GetVendorSpecificLogPage - data descriptor header not valid.\n",
      .dataNotValid = "GetVendorSpecificLogPage - ProtocolData Offset/Length not valid.\n",
  };
}

unsigned int AskInPlace(void* device, std::byte* buffer, const SharedBufferQuery& query,
                        void* record) {
  StorageQuery::Write(query.request, {buffer, query.bufferBytes});
  ULong returned = 0;
  const int isAnswered = Host::Device().DeviceIoControl(device, IOCTL_STORAGE_QUERY_PROPERTY,
                                                        buffer, query.bufferBytes, buffer,
                                                        query.bufferBytes, &returned, nullptr);
  if (isAnswered == 0 || returned == 0) {
    ONDREL_TRACE(kTraceError, query.function, query.controlFailed, Host::Device().GetLastError());
    return Host::Device().GetLastError();
  }
  if (!StorageQuery::HasDescriptorHead({buffer, query.bufferBytes})) {
    ONDREL_TRACE(kTraceError, query.function, query.headNotValid);
    return 0;
  }
  const auto part = StorageQuery::ProtocolPart({buffer, query.bufferBytes});
  if (!StorageQuery::ReachesLeast(part, query.request.length)) {
    ONDREL_TRACE(kTraceError, query.function, query.dataNotValid);
    return 0;
  }
  std::memcpy(record, DataOf(buffer, part), query.request.length);
  return 0;
}

unsigned int AskWithSharedBuffer(const char* deviceName, const SharedBufferQuery& query,
                                 void* record) {
  void* const device = OpenDevice(deviceName);
  if (device == INVALID_HANDLE_VALUE) {
    ONDREL_TRACE(kTraceError, query.function, query.openFailed);
    return Host::Device().GetLastError();
  }
  unsigned int result = 0;
  std::byte* const buffer = AllocateZeroed(query.bufferBytes);
  if (buffer != nullptr)
    result = AskInPlace(device, buffer, query, record);
  else
    ONDREL_TRACE(kTraceError, query.function, query.noBuffer);
  Host::Device().CloseHandle(device);
  if (buffer != nullptr) Host::Memory().Free(buffer);
  return result;
}

}  // namespace

unsigned int NVMeStorageQueryPropertyIdentifyController(const char* sDeviceName,
                                                        NVME_IDENTIFY_CONTROLLER* controller) {
  ONDREL_TRACE(kTraceEntry, "Ondrel::NVMeStorageQueryPropertyIdentifyController",
               "ENTER NVMeStorageQueryPropertyIdentifyController (sDeviceName=\"%s\")",
               sDeviceName);
  const unsigned int result = Identify(sDeviceName, kControllerStructure, 0, controller);
  ONDREL_TRACE(kTraceEntry, "Ondrel::NVMeStorageQueryPropertyIdentifyController",
               "LEAVE NVMeStorageQueryPropertyIdentifyController (sDeviceName=\"%s\"), return: %d",
               sDeviceName, result);
  return result;
}

unsigned int NVMeStorageQueryPropertyIdentifyNamespace(const char* sDeviceName,
                                                       NVME_IDENTIFY_NAMESPACE* nameSpace) {
  ONDREL_TRACE(kTraceEntry, "Ondrel::NVMeStorageQueryPropertyIdentifyNamespace",
               "ENTER NVMeStorageQueryPropertyIdentifyNamespace (sDeviceName=\"%s\")", sDeviceName);
  const unsigned int result = Identify(sDeviceName, kNamespaceStructure, kNamespaceOne, nameSpace);
  ONDREL_TRACE(kTraceEntry, "Ondrel::NVMeStorageQueryPropertyIdentifyNamespace",
               "LEAVE NVMeStorageQueryPropertyIdentifyNamespace (sDeviceName=\"%s\"), return: %d",
               sDeviceName, result);
  return result;
}

unsigned int NVMeStorageQueryPropertyGetLogPageErrorInfo(
    const char* sDeviceName, ULong& entryCount, NVME_ERROR_INFORMATION_LOG_ENTRY* entries) {
  ONDREL_TRACE(kTraceEntry, "Ondrel::NVMeStorageQueryPropertyGetLogPageErrorInfo",
               "ENTER NVMeStorageQueryPropertyGetLogPageErrorInfo (sDeviceName=\"%s\")",
               sDeviceName);
  constexpr Request kRequest{.property = StorageAdapterProtocolSpecificProperty,
                             .dataType = NVMeDataTypeLogPage,
                             .value = kErrorInformationPage,
                             .subValue = kAllNamespaces,
                             .length = StorageQuery::kErrorLogBytes};
  const unsigned int result = AskWithSeparateBuffers(
      sDeviceName, kRequest, [&](const std::byte* answer, ULong returned) -> unsigned int {
        const auto part = StorageQuery::ProtocolPart({answer, kAnswerBytes});
        if (!StorageQuery::IsWithin(part, returned)) return ERROR_BAD_LENGTH;
        entryCount = part.ProtocolDataLength >> kErrorEntryPower;
        std::memcpy(static_cast<void*>(entries), DataOf(answer, part), part.ProtocolDataLength);
        return 0;
      });
  ONDREL_TRACE(kTraceEntry, "Ondrel::NVMeStorageQueryPropertyGetLogPageErrorInfo",
               "LEAVE NVMeStorageQueryPropertyGetLogPageErrorInfo (sDeviceName=\"%s\"), return: %d",
               sDeviceName, result);
  return result;
}

unsigned int NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo(
    const char* sDeviceName, NVME_SMART_HEALTH_INFORMATION_LOG* log) {
  ONDREL_TRACE(kTraceEntry, "Ondrel::NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo",
               "ENTER NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo (sDeviceName=\"%s\")",
               sDeviceName);
  const unsigned int result = AskWithSharedBuffer(sDeviceName, kHealthQuery, log);
  ONDREL_TRACE(
      kTraceEntry, "Ondrel::NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo",
      "LEAVE NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo (sDeviceName=\"%s\"), return: %d",
      sDeviceName, result);
  return result;
}

unsigned int NVMeStorageQueryPropertyGetVendorSpecificLogPage(const char* sDeviceName,
                                                              unsigned char logPageId,
                                                              unsigned char* page) {
  ONDREL_TRACE(kTraceEntry, "Ondrel::NVMeStorageQueryPropertyGetVendorSpecificLogPage",
               "ENTER NVMeStorageQueryPropertyGetVendorSpecificLogPage (sDeviceName=\"%s\")",
               sDeviceName);
  const unsigned int result = AskWithSharedBuffer(sDeviceName, VendorQuery(logPageId), page);
  ONDREL_TRACE(
      kTraceEntry, "Ondrel::NVMeStorageQueryPropertyGetVendorSpecificLogPage",
      "LEAVE NVMeStorageQueryPropertyGetVendorSpecificLogPage (sDeviceName=\"%s\"), return: %d",
      sDeviceName, result);
  return result;
}

}  // namespace Ondrel
