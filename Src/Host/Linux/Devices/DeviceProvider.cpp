#include "Host/DeviceOperations.h"
#include "Host/Immortal.h"
#include "Host/Linux/Devices/NVMeAdmin.h"
#include "Host/Linux/HandleTable.h"
#include "Host/Linux/LastError.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/nvme_ioctl.h>
#include <memory>
#include <new>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace Ondrel::Host {

namespace {

/// An open device node.
class DeviceNode {
public:
  explicit DeviceNode(int descriptor) : m_descriptor(descriptor) {}
  ~DeviceNode() { ::close(m_descriptor); }

  DeviceNode(const DeviceNode&) = delete;
  DeviceNode& operator=(const DeviceNode&) = delete;

  NVMeAdminResult Submit(const NVMeAdminCommand& command, std::span<std::byte> data) const {
    nvme_admin_cmd passed{};
    passed.opcode = command.opcode;
    passed.nsid = command.nameSpace;
    passed.cdw10 = command.dword10;
    passed.cdw11 = command.dword11;
    passed.addr = reinterpret_cast<std::uintptr_t>(data.data());
    passed.data_len = static_cast<std::uint32_t>(data.size());
    const int outcome = ::ioctl(m_descriptor, NVME_IOCTL_ADMIN_CMD, &passed);
    if (outcome < 0) return {.errnoValue = errno};
    return {.status = static_cast<std::uint16_t>(outcome), .value = passed.result};
  }

private:
  int m_descriptor;
};

using DeviceTable = HandleTable<DeviceNode>;

DeviceTable& Nodes() {
  static Immortal<DeviceTable> nodes;
  return nodes.Get();
}

int AccessModeOf(ULong access) {
  if ((access & GENERIC_WRITE) == 0) return O_RDONLY;
  return (access & GENERIC_READ) != 0 ? O_RDWR : O_WRONLY;
}

void* Failed(ULong error) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

void* OpenNode(const char* name, ULong access, ULong disposition) {
  if (name == nullptr || disposition != OPEN_EXISTING) return Failed(ERROR_INVALID_PARAMETER);
  // A name that is no device's must not keep the caller waiting, or become its terminal.
  const int descriptor = ::open(name, AccessModeOf(access) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (descriptor < 0) return Failed(ErrorFromErrno(errno));
  try {
    return Nodes().Add(std::make_shared<DeviceNode>(descriptor));
  } catch (const std::bad_alloc&) {
    return Failed(ERROR_NOT_ENOUGH_MEMORY);
  }
}

int Control(const void* device, ULong controlCode, std::span<const std::byte> input,
            std::span<std::byte> output, ULong& bytesReturned) {
  const std::shared_ptr<DeviceNode> node = Nodes().Find(device);
  if (node == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
  }
  if (controlCode != IOCTL_STORAGE_QUERY_PROPERTY) {
    SetLastError(ERROR_INVALID_FUNCTION);
    return 0;
  }
  const ULong error =
      AnswerStorageQuery(input, output, bytesReturned,
                         [&](const NVMeAdminCommand& command, std::span<std::byte> data) {
                           return node->Submit(command, data);
                         });
  if (error == ERROR_SUCCESS) return 1;
  SetLastError(error);
  return 0;
}

}  // namespace

DeviceOperations MakeDeviceOperations() {
  return DeviceOperations{
      .CreateFileA = [](const char* name, ULong access, ULong, void*, ULong disposition, ULong,
                        void*) { return OpenNode(name, access, disposition); },
      .DeviceIoControl =
          [](void* device, ULong controlCode, void* input, ULong inputSize, void* output,
             ULong outputSize, ULong* bytesReturned, void*) {
            return Control(device, controlCode, {static_cast<const std::byte*>(input), inputSize},
                           {static_cast<std::byte*>(output), outputSize}, *bytesReturned);
          },
      .CloseHandle =
          [](void* handle) {
            if (Nodes().Remove(handle) != nullptr) return 1;
            SetLastError(ERROR_INVALID_HANDLE);
            return 0;
          },
      .GetLastError = LastError,
  };
}

}  // namespace Ondrel::Host
