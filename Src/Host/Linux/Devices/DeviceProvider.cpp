#include "Host/DeviceOperations.h"
#include "Host/Immortal.h"
#include "Host/Linux/Devices/NVMeAdmin.h"
#include "Host/Linux/FileDescriptor.h"
#include "Host/Linux/HandleTable.h"
#include "Host/Linux/LastError.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/nvme_ioctl.h>
#include <memory>
#include <new>
#include <sys/ioctl.h>
#include <utility>

namespace Ondrel::Host {

namespace {

/// An open device node.
class DeviceNode {
public:
  explicit DeviceNode(FileDescriptor file) : m_file(std::move(file)) {}

  NVMeAdminResult Submit(const NVMeAdminCommand& command, std::span<std::byte> data) const {
    nvme_admin_cmd passed{};
    passed.opcode = command.opcode;
    passed.nsid = command.nameSpace;
    passed.cdw10 = command.dword10;
    passed.addr = reinterpret_cast<std::uintptr_t>(data.data());
    passed.data_len = static_cast<std::uint32_t>(data.size());
    const int outcome =
        Uninterrupted([&] { return ::ioctl(m_file.Number(), NVME_IOCTL_ADMIN_CMD, &passed); });
    if (outcome < 0) return {.errnoValue = errno};
    return {.status = static_cast<std::uint16_t>(outcome), .value = passed.result};
  }

private:
  FileDescriptor m_file;
};

using DeviceTable = HandleTable<DeviceNode>;

thread_local std::uint16_t t_lastStatus = 0;

DeviceTable& Nodes() {
  static Immortal<DeviceTable> nodes;
  return nodes.Get();
}

int AccessModeOf(ULong access) {
  if ((access & GENERIC_WRITE) == 0) return O_RDONLY;
  return (access & GENERIC_READ) != 0 ? O_RDWR : O_WRONLY;
}

void* OpenNode(const char* name, ULong access, ULong disposition) {
  t_lastStatus = 0;
  if (name == nullptr || disposition != OPEN_EXISTING)
    return Fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
  // A name that is not a device's must not keep the caller waiting, or become its terminal.
  FileDescriptor file(Uninterrupted(
      [&] { return ::open(name, AccessModeOf(access) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
  if (!file.IsOpen()) return Fail(ErrorFromErrno(errno), INVALID_HANDLE_VALUE);
  try {
    return Nodes().Add(std::make_shared<DeviceNode>(std::move(file)));
  } catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY, INVALID_HANDLE_VALUE);
  }
}

int Control(const void* device, ULong controlCode, std::span<const std::byte> input,
            std::span<std::byte> output, ULong& bytesReturned) {
  t_lastStatus = 0;
  const std::shared_ptr<DeviceNode> node = Nodes().Find(device);
  if (node == nullptr) return Fail(ERROR_INVALID_HANDLE);
  if (controlCode != IOCTL_STORAGE_QUERY_PROPERTY) return Fail(ERROR_INVALID_FUNCTION);
  const ULong error =
      AnswerStorageQuery(input, output, bytesReturned,
                         [&](const NVMeAdminCommand& command, std::span<std::byte> data) {
                           const NVMeAdminResult result = node->Submit(command, data);
                           t_lastStatus = result.status;
                           return result;
                         });
  return error == ERROR_SUCCESS ? 1 : Fail(error);
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
            return Nodes().Remove(handle) != nullptr ? 1 : Fail(ERROR_INVALID_HANDLE);
          },
      .GetLastError = LastError,
      .LastNVMeStatus = [] { return t_lastStatus; },
  };
}

}  // namespace Ondrel::Host
