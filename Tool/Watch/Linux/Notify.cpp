#include "Tool/Watch/Linux/Notify.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Tool::Watch {

void NotifyManager(const std::string& state) {
  const char* const path = std::getenv("NOTIFY_SOCKET");
  if (path == nullptr || (path[0] != '/' && path[0] != '@')) return;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::size_t length = std::strlen(path);
  if (length >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, path, length);
  if (path[0] == '@') address.sun_path[0] = '\0';
  const int file = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (file < 0) return;
  ::sendto(file, state.data(), state.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address),
           static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
  ::close(file);
}

std::optional<std::chrono::microseconds> WatchdogInterval() {
  const char* const interval = std::getenv("WATCHDOG_USEC");
  const char* const process = std::getenv("WATCHDOG_PID");
  if (interval == nullptr) return std::nullopt;
  if (process != nullptr && std::strtoll(process, nullptr, 10) != ::getpid()) return std::nullopt;
  const long long microseconds = std::strtoll(interval, nullptr, 10);
  if (microseconds <= 0) return std::nullopt;
  return std::chrono::microseconds(microseconds);
}

}  // namespace Tool::Watch
