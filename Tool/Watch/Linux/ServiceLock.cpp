#include "Tool/Watch/Linux/ServiceLock.h"

#include "Tool/Watch/Watch.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace Tool::Watch {

namespace {

// A service that was killed a moment ago, a child of it that has not ended yet, and somebody who
// asks for the status have the lock for a moment too.
constexpr std::chrono::milliseconds kPatience(2000);
constexpr std::chrono::milliseconds kPause(20);

std::string LockFile(const std::string& stateFile) { return stateFile + ".lock"; }

}  // namespace

ServiceLock::ServiceLock(const std::string& stateFile) {
  const std::string path = LockFile(stateFile);
  m_file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (m_file < 0) throw WatchError("cannot open " + path, std::strerror(errno));
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (::flock(m_file, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    if (error == EINTR) continue;
    if (error == EWOULDBLOCK && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(kPause);
      continue;
    }
    ::close(m_file);
    throw WatchError("cannot lock " + path,
                     error == EWOULDBLOCK ? "a service is running already" : std::strerror(error));
  }
}

ServiceLock::~ServiceLock() { ::close(m_file); }

void ServiceLock::Sign(std::int64_t lastLook) const {
  std::array<char, 64> text{};
  const int size =
      std::snprintf(text.data(), text.size(), "%-20lld %-20lld\n",
                    static_cast<long long>(::getpid()), static_cast<long long>(lastLook));
  // Of one length always, so that no reader meets half of it.
  if (::pwrite(m_file, text.data(), static_cast<std::size_t>(size), 0) != size) return;
}

std::optional<ServiceSign> ServiceLock::Read(const std::string& stateFile) {
  const int file = ::open(LockFile(stateFile).c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return std::nullopt;
  std::optional<ServiceSign> sign;
  if (::flock(file, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    std::array<char, 64> text{};
    const ssize_t size = ::pread(file, text.data(), text.size() - 1, 0);
    sign.emplace();
    if (size > 0) {
      char* end = nullptr;
      const long long process = std::strtoll(text.data(), &end, 10);
      const char* const second = end;
      const long long lastLook = std::strtoll(second, &end, 10);
      if (second != text.data() && end != second) sign = ServiceSign{process, lastLook};
    }
  }
  ::close(file);
  return sign;
}

}  // namespace Tool::Watch
