#include "Host/DrivesOperations.h"
#include "Host/Linux/Drives/DrivePicture.h"
#include "Host/Linux/Drives/NVMeList.h"
#include "Host/Linux/Drives/Notifications.h"
#include "Host/Linux/FileDescriptor.h"
#include "Host/Linux/LastError.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

struct Watch {
  DriveSources sources;
  DriveNotifications notifications;
};

// Set Features, Asynchronous Event Configuration. Source: NVM Express 1.3, 5.21.1.11.
constexpr std::uint8_t kSetFeatures = 0x09;
constexpr std::uint32_t kAsynchronousEvents = 0x0B;
// All critical warnings, and the notice of changed namespaces that the kernel itself asks for.
constexpr std::uint32_t kWantedEvents = 0x11F;

ULong ArmHealthEvents(const std::string& device) {
  const FileDescriptor file(
      Uninterrupted([&] { return ::open(device.c_str(), O_RDONLY | O_CLOEXEC); }));
  if (!file.IsOpen()) return ErrorFromErrno(errno);
  nvme_admin_cmd command{};
  command.opcode = kSetFeatures;
  command.cdw10 = kAsynchronousEvents;
  command.cdw11 = kWantedEvents;
  const int result =
      Uninterrupted([&] { return ::ioctl(file.Number(), NVME_IOCTL_ADMIN_CMD, &command); });
  return result < 0 ? ErrorFromErrno(errno) : result > 0 ? ERROR_IO_DEVICE : ERROR_SUCCESS;
}

ULong FindNamespaceId(const char* device, ULong& id) {
  // A name that is not a device's must not keep the caller waiting, or become its terminal.
  const FileDescriptor file(
      Uninterrupted([&] { return ::open(device, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
  if (!file.IsOpen()) return ErrorFromErrno(errno);
  const int result = Uninterrupted([&] { return ::ioctl(file.Number(), NVME_IOCTL_ID); });
  if (result < 0) return ErrorFromErrno(errno);
  id = static_cast<ULong>(result);
  return ERROR_SUCCESS;
}

Watch& WatchOf(void* watch) { return *static_cast<Watch*>(watch); }

}  // namespace

DrivesOperations MakeDrivesOperations() {
  return {
      .Open = []() -> void* {
        return new Watch{HostDriveSources(), DriveNotifications(HostDriveSources())};
      },
      .Look =
          [](void* watch) {
            WatchOf(watch).notifications.FollowArrays();
            return ReadDrives(WatchOf(watch).sources);
          },
      .Descriptor = [](void* watch) { return WatchOf(watch).notifications.Descriptor(); },
      .TakeNotifications = [](void* watch) { return WatchOf(watch).notifications.Take(); },
      .ArmHealthEvents = ArmHealthEvents,
      .Close = [](void* watch) { delete static_cast<Watch*>(watch); },
      .ListNVMeDevices = [] { return ReadNVMeDevices(HostDriveSources().sysfs); },
      .FindNVMeNamespaceId = FindNamespaceId,
  };
}

}  // namespace Ondrel::Host
