#include "Tool/Host/Terminal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Tool {

namespace {

std::string_view Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

/// What has a reader: a pipe, a socket or a terminal.
bool HasReader() {
  struct stat status {};
  if (::fstat(STDOUT_FILENO, &status) != 0) return false;
  return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || S_ISCHR(status.st_mode);
}

}  // namespace

bool IsOutputTerminal() { return ::isatty(STDOUT_FILENO) != 0; }

bool IsErrorTerminal() { return ::isatty(STDERR_FILENO) != 0; }

bool IsInputTerminal() { return ::isatty(STDIN_FILENO) != 0; }

bool ShowsColours() {
  const std::string_view terminal = Variable("TERM");
  return IsOutputTerminal() && Variable("NO_COLOR").empty() && !terminal.empty() &&
         terminal != "dumb";
}

std::thread StartThread(std::function<void()> work) {
  sigset_t all;
  sigset_t earlier;
  sigfillset(&all);
  // A thread begins with the mask of the one that starts it.
  pthread_sigmask(SIG_SETMASK, &all, &earlier);
  std::thread thread(std::move(work));
  pthread_sigmask(SIG_SETMASK, &earlier, nullptr);
  return thread;
}

struct ReaderWatch::Watcher {
  explicit Watcher(std::function<void()> isGone) : stop(::eventfd(0, EFD_CLOEXEC)) {
    if (stop >= 0) thread = StartThread([this, call = std::move(isGone)] { Watch(call); });
  }

  ~Watcher() {
    const std::uint64_t one = 1;
    if (thread.joinable() && ::write(stop, &one, sizeof one) == sizeof one) thread.join();
    if (stop >= 0) ::close(stop);
  }

  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  void Watch(const std::function<void()>& isGone) const {
    std::array<pollfd, 2> files{};
    files[0] = {.fd = stop, .events = POLLIN, .revents = 0};
    // Without events: an error or a hang-up is reported all the same.
    files[1] = {.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    while (::poll(files.data(), files.size(), -1) < 0)
      if (errno != EINTR) return;
    if (files[0].revents == 0 && (files[1].revents & (POLLERR | POLLHUP)) != 0) isGone();
  }

  int stop;
  std::thread thread;
};

ReaderWatch::ReaderWatch(std::function<void()> isGone)
    : m_watcher(HasReader() ? std::make_unique<Watcher>(std::move(isGone)) : nullptr) {}

ReaderWatch::~ReaderWatch() = default;

}  // namespace Tool
