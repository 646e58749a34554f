#include "Tool/Watch/Linux/Child.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace Tool::Watch {

namespace {

constexpr std::size_t kMostOutput = std::size_t{64} * 1024;

// In the new process: nothing of the service's own is left but its standard streams and `output`.
void BecomeChild(pid_t parent, int output) {
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(1);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGPIPE}) std::signal(signal, SIG_DFL);
  if (output > 3) ::close_range(3, static_cast<unsigned>(output) - 1, 0);
  ::close_range(static_cast<unsigned>(output) + 1, ~0U, 0);
}

}  // namespace

Child::Child(const std::function<int(int output)>& work, Clock::time_point deadline)
    : m_deadline(deadline) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    throw std::system_error(errno, std::generic_category(), "pipe");
  const pid_t parent = ::getpid();
  m_id = ::fork();
  if (m_id < 0) {
    const int error = errno;
    ::close(ends[0]);
    ::close(ends[1]);
    throw std::system_error(error, std::generic_category(), "fork");
  }
  if (m_id == 0) {
    BecomeChild(parent, ends[1]);
    int status = 1;
    try {
      status = work(ends[1]);
    } catch (...) {
      // The parent learns it from the status.
    }
    ::_exit(status);
  }
  ::close(ends[1]);
  m_output = ends[0];
  ::fcntl(m_output, F_SETFL, O_NONBLOCK);
  // The C library's function of this name does not link from C++ everywhere.
  m_process = static_cast<int>(::syscall(SYS_pidfd_open, m_id, 0));
  if (m_process < 0) {
    const int error = errno;
    Kill();
    throw std::system_error(error, std::generic_category(), "pidfd_open");
  }
}

Child::~Child() { Kill(); }

Child::Child(Child&& other) noexcept
    : m_id(std::exchange(other.m_id, -1)),
      m_process(std::exchange(other.m_process, -1)),
      m_output(std::exchange(other.m_output, -1)),
      m_deadline(other.m_deadline),
      m_text(std::move(other.m_text)),
      m_exitStatus(other.m_exitStatus),
      m_isTimeOver(other.m_isTimeOver) {}

Child& Child::operator=(Child&& other) noexcept {
  std::swap(m_id, other.m_id);
  std::swap(m_process, other.m_process);
  std::swap(m_output, other.m_output);
  std::swap(m_deadline, other.m_deadline);
  std::swap(m_text, other.m_text);
  std::swap(m_exitStatus, other.m_exitStatus);
  std::swap(m_isTimeOver, other.m_isTimeOver);
  return *this;
}

// The end of its output does not count: a program that was run has closed it at once, and one that
// was left behind may keep it open.
bool Child::Advance(Clock::time_point now) {
  if (m_id < 0) return true;
  pollfd end{m_process, POLLIN, 0};
  const bool hasEnded = ::poll(&end, 1, 0) > 0;
  std::array<char, 4096> buffer;
  ssize_t size = 0;
  while ((size = ::read(m_output, buffer.data(), buffer.size())) > 0)
    if (m_text.size() < kMostOutput) m_text.append(buffer.data(), static_cast<std::size_t>(size));
  if (!hasEnded && now < m_deadline) return false;
  m_isTimeOver = !hasEnded;
  Reap();
  return true;
}

// It may have left processes behind, so the whole group goes.
void Child::Reap() {
  int status = 0;
  if (m_isTimeOver) ::kill(-m_id, SIGKILL);
  while (::waitpid(m_id, &status, 0) < 0 && errno == EINTR) {
  }
  ::kill(-m_id, SIGKILL);
  m_exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  m_id = -1;
  ::close(std::exchange(m_output, -1));
  if (m_process >= 0) ::close(std::exchange(m_process, -1));
}

void Child::Kill() {
  if (m_id < 0) return;
  m_isTimeOver = true;
  Reap();
}

int RunProgram(const std::string& program,
               const std::vector<std::pair<std::string, std::string>>& variables,
               const std::string& input) {
  const int file = ::memfd_create("event", MFD_CLOEXEC);
  if (file < 0) return 126;
  std::size_t written = 0;
  while (written < input.size()) {
    const ssize_t size = ::write(file, input.data() + written, input.size() - written);
    if (size < 0 && errno != EINTR) return 126;
    if (size > 0) written += static_cast<std::size_t>(size);
  }
  ::lseek(file, 0, SEEK_SET);
  ::dup2(file, STDIN_FILENO);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
  for (const auto& [name, value] : variables) ::setenv(name.c_str(), value.c_str(), 1);
  ::execl(program.c_str(), program.c_str(), nullptr);
  return 127;
}

}  // namespace Tool::Watch
