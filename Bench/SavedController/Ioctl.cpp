// Loaded in front of nvme-cli, which reads devices only: an admin command sent to any device is
// answered with the bytes of the file that SAVED_CONTROLLER names.

#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <unistd.h>

extern "C" __attribute__((visibility("default"))) int ioctl(int, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  // The address and length of the data stand at the same place in both forms of the command.
  const auto* const command = va_arg(arguments, const nvme_admin_cmd*);
  va_end(arguments);
  if (request != NVME_IOCTL_ADMIN_CMD && request != NVME_IOCTL_ADMIN64_CMD) return -1;

  const char* const path = std::getenv("SAVED_CONTROLLER");
  const int file = path != nullptr ? open(path, O_RDONLY | O_CLOEXEC) : -1;
  if (file < 0) return -1;
  void* const data = reinterpret_cast<void*>(static_cast<std::uintptr_t>(command->addr));
  const bool isWhole = read(file, data, command->data_len) == ssize_t{command->data_len};
  close(file);
  return isWhole ? 0 : -1;
}
