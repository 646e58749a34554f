#include "Host/Linux/Drives/Notifications.h"

#include "Host/Linux/Drives/DriveFiles.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <linux/netlink.h>
#include <set>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr int kKernelEvents = 1;  // The group of the kernel's own messages.
constexpr int kEventBuffer = 1 << 20;
// array_state is not among them: it changes with every burst of writes.
constexpr const char* kArrayAttributes[] = {"degraded", "sync_action"};

void Add(const FileDescriptor& poll, const FileDescriptor& file, std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.fd = file.Number();
  ::epoll_ctl(poll.Number(), EPOLL_CTL_ADD, file.Number(), &event);
}

}  // namespace

DriveNotifications::DriveNotifications(const DriveSources& sources)
    : m_disks(sources.sysfs + "/block/"),
      m_stateFile(sources.processes + "/mdstat"),
      m_poll(::epoll_create1(EPOLL_CLOEXEC)) {
  OpenDeviceEvents();
  FollowArrays();
}

void DriveNotifications::OpenDeviceEvents() {
  m_deviceEvents = FileDescriptor(
      ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_KOBJECT_UEVENT));
  if (!m_deviceEvents.IsOpen()) return;
  ::setsockopt(m_deviceEvents.Number(), SOL_SOCKET, SO_RCVBUF, &kEventBuffer, sizeof kEventBuffer);
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = kKernelEvents;
  if (::bind(m_deviceEvents.Number(), reinterpret_cast<const sockaddr*>(&address),
             sizeof address) != 0)
    return m_deviceEvents.Close();
  Add(m_poll, m_deviceEvents, EPOLLIN);
}

void DriveNotifications::Rearm(const FileDescriptor& file) {
  std::array<char, 4096> buffer;
  ::lseek(file.Number(), 0, SEEK_SET);
  while (Uninterrupted([&] { return ::read(file.Number(), buffer.data(), buffer.size()); }) > 0) {
  }
}

void DriveNotifications::Follow(const std::string& path) {
  if (m_files.contains(path)) return;
  FileDescriptor file(
      Uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
  if (!file.IsOpen()) return;
  Rearm(file);
  Add(m_poll, file, EPOLLPRI);
  m_files.emplace(path, std::move(file));
}

void DriveNotifications::FollowArrays() {
  std::set<std::string> wanted = {m_stateFile};
  for (const std::string& name : SysfsEntries(m_disks)) {
    const std::string folder = m_disks + name + "/md/";
    for (const std::string& entry : SysfsEntries(folder)) {
      if (!entry.starts_with("dev-")) continue;
      std::string file = folder;
      wanted.insert(file.append(entry).append("/state"));
    }
    for (const char* const attribute : kArrayAttributes) wanted.insert(folder + attribute);
  }
  // A folder that went and came again has new files under the old paths: those that are gone fail.
  std::erase_if(m_files, [&](const auto& known) {
    char byte = 0;
    return !wanted.contains(known.first) ||
           (::pread(known.second.Number(), &byte, 1, 0) < 0 && errno == ENODEV);
  });
  for (const std::string& path : wanted) Follow(path);
}

bool DriveNotifications::Take() {
  bool isWhole = true;
  if (m_deviceEvents.IsOpen()) {
    std::array<char, 8192> message;
    while (true) {
      const ssize_t size = ::recv(m_deviceEvents.Number(), message.data(), message.size(), 0);
      if (size >= 0) continue;
      if (errno == ENOBUFS) isWhole = false;
      if (errno != ENOBUFS && errno != EINTR) break;
    }
  }
  for (const auto& [path, file] : m_files) Rearm(file);
  return isWhole;
}

}  // namespace Ondrel::Host
