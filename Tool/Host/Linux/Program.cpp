#include "Tool/Host/Program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;  // NOLINT(readability-redundant-declaration)

namespace Tool {

namespace {

using Clock = std::chrono::steady_clock;

class File {
public:
  explicit File(int number = -1) : m_number(number) {}
  ~File() { Close(); }

  File(const File&) = delete;
  File& operator=(const File&) = delete;

  int Number() const { return m_number; }
  bool IsOpen() const { return m_number >= 0; }

  void Set(int number) {
    Close();
    m_number = number;
  }

  void Close() {
    if (m_number >= 0) ::close(m_number);
    m_number = -1;
  }

private:
  int m_number;
};

constexpr std::array kPassedOn = {SIGTERM, SIGHUP, SIGINT, SIGQUIT};

/// Holds signals back from this thread, to be read from a file, until the object goes.
class HeldSignals {
public:
  HeldSignals() {
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGCHLD);
    for (const int signal : kPassedOn) sigaddset(&held, signal);
    // With SIGCHLD ignored no child could be waited for.
    m_earlierChild = std::signal(SIGCHLD, SIG_DFL);
    pthread_sigmask(SIG_BLOCK, &held, &m_earlier);
    m_file.Set(::signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK));
  }

  ~HeldSignals() {
    pthread_sigmask(SIG_SETMASK, &m_earlier, nullptr);
    std::signal(SIGCHLD, m_earlierChild);
  }

  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

  int Number() const { return m_file.Number(); }
  const sigset_t& Earlier() const { return m_earlier; }

private:
  sigset_t m_earlier{};
  sighandler_t m_earlierChild = SIG_DFL;
  File m_file;
};

ProgramEnd HostFailure(const char* what, int error) {
  return {.kind = ProgramEnd::Kind::kHostFailure,
          .reason = std::string(what) + ": " + std::strerror(error)};
}

struct StartError {
  int error;
  std::uint32_t published;
};

constexpr StartError kStartErrors[] = {
    {ENOENT, 2},                  // ERROR_FILE_NOT_FOUND
    {ENOTDIR, 3},                 // ERROR_PATH_NOT_FOUND
    {EMFILE, 4},                  // ERROR_TOO_MANY_OPEN_FILES
    {EACCES, 5},                  // ERROR_ACCESS_DENIED
    {EPERM, 5},     {ENOMEM, 8},  // ERROR_NOT_ENOUGH_MEMORY
    {ETXTBSY, 32},                // ERROR_SHARING_VIOLATION
    {ENOEXEC, 193},               // ERROR_BAD_EXE_FORMAT
};

ProgramEnd StartFailure(const std::string& program, int error) {
  const bool isMissing = error == ENOENT || error == ENOTDIR;
  const auto* const known = std::ranges::find(kStartErrors, error, &StartError::error);
  return {.kind = isMissing ? ProgramEnd::Kind::kNotFound : ProgramEnd::Kind::kNotRunnable,
          .reason = program + ": " + std::strerror(error),
          .hostError = known != std::end(kStartErrors) ? known->published : 0};
}

std::string SignalName(int signal) {
  const char* const name = ::sigabbrev_np(signal);
  if (name != nullptr) return std::string("SIG") + name;
  return "signal " + std::to_string(signal);
}

ProgramEnd EndOf(int status) {
  if (WIFSIGNALED(status)) {
    constexpr int kSignalBase = 128;
    const int signal = WTERMSIG(status);
    return {.kind = ProgramEnd::Kind::kSignalled,
            .number = static_cast<unsigned int>(kSignalBase + signal),
            .name = SignalName(signal)};
  }
  return {.kind = ProgramEnd::Kind::kExited,
          .number = static_cast<unsigned int>(WEXITSTATUS(status))};
}

/// Starts the program; yields 0 or the error number of the host.
int Spawn(const ProgramCall& call, const sigset_t& mask, int output, pid_t& process) {
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t actions;
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_init(&actions);

  // What was ignored at the start of the command stays so, as after nohup; a pipe's end that the
  // command itself ignores is the program's to die of.
  sigset_t byDefault;
  sigemptyset(&byDefault);
  sigaddset(&byDefault, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &byDefault);
  posix_spawnattr_setsigmask(&attributes, &mask);
  short flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
  if (call.timeout) {
    posix_spawnattr_setpgroup(&attributes, 0);
    flags = static_cast<short>(flags | POSIX_SPAWN_SETPGROUP);
  }
  posix_spawnattr_setflags(&attributes, flags);
  if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);

  std::vector<char*> words;
  words.push_back(const_cast<char*>(call.program.c_str()));
  for (const std::string& argument : call.arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  const int error =
      ::posix_spawnp(&process, call.program.c_str(), &actions, &attributes, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  return error;
}

/// A program that runs, from its start to its end.
class RunningProgram {
public:
  RunningProgram(const ProgramCall& call, const HeldSignals& signals, pid_t process, int output)
      : m_call(call), m_signals(signals), m_process(process), m_output(output) {
    if (call.timeout) m_deadline = Clock::now() + *call.timeout;
  }

  ProgramEnd Await() {
    while (IsAnythingLeft()) {
      std::array<pollfd, 3> files{};
      files[0] = {.fd = m_signals.Number(), .events = POLLIN, .revents = 0};
      files[1] = {.fd = m_output.Number(), .events = POLLIN, .revents = 0};
      // Without events: that its reader has gone is reported all the same.
      files[2] = {.fd = STDOUT_FILENO, .events = 0, .revents = 0};
      if (::poll(files.data(), m_output.IsOpen() ? 3 : 1, PollTime()) < 0 && errno != EINTR)
        return HostFailure("cannot wait for the program", errno);
      if (files[0].revents != 0) TakeSignals();
      if (files[1].revents != 0) TakeOutput();
      if ((files[2].revents & (POLLERR | POLLHUP)) != 0) EndUnread();
      if (m_deadline && Clock::now() >= *m_deadline && !TakeTimeOut()) break;
    }
    if (m_isUnread) return {.kind = ProgramEnd::Kind::kUnread};
    if (m_isTimedOut) return {.kind = ProgramEnd::Kind::kTimedOut};
    return EndOf(m_status.value_or(0));
  }

private:
  // What the program has started and left behind is ended with it when the time is over.
  bool IsAnythingLeft() const {
    if (!m_status || m_output.IsOpen()) return true;
    return m_isTimedOut && !m_isKilled && ::kill(-m_process, 0) == 0;
  }

  int PollTime() const {
    if (!m_deadline) return -1;
    // Nothing reports the end of a process that is not this one's child.
    constexpr int kLook = 50;
    if (m_status && m_isTimedOut) return kLook;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*m_deadline - Clock::now());
    constexpr long long kLongest = 1000LL * 1000;
    return static_cast<int>(std::clamp<long long>(left.count(), 0, kLongest));
  }

  void TakeSignals() {
    signalfd_siginfo signal{};
    while (::read(m_signals.Number(), &signal, sizeof signal) == sizeof signal) {
      if (static_cast<int>(signal.ssi_signo) == SIGCHLD) continue;
      // A terminal sends its signal to the program too, if they share a process group.
      const bool isFromTerminal = signal.ssi_code == SI_KERNEL;
      if (!isFromTerminal || m_call.timeout) Send(static_cast<int>(signal.ssi_signo));
    }
    int status = 0;
    if (!m_status && ::waitpid(m_process, &status, WNOHANG) == m_process) m_status = status;
  }

  void TakeOutput() {
    char bytes[16384];
    const ssize_t size = ::read(m_output.Number(), bytes, sizeof bytes);
    if (size > 0) {
      if (!m_call.takeOutput({bytes, static_cast<std::size_t>(size)})) EndUnread();
    } else if (size == 0 || (errno != EINTR && errno != EAGAIN)) {
      m_output.Close();
    }
  }

  /// Ends the program as one that writes to a pipe whose reader has gone, and with a question.
  void EndUnread() {
    if (m_isUnread) return;
    m_isUnread = true;
    m_output.Close();
    m_isAsked = true;
    m_deadline = Clock::now() + kProgramGrace;
    Send(SIGTERM);
    Send(SIGCONT);
  }

  /// Ends the program, at first with a question. False when nothing is left to wait for.
  bool TakeTimeOut() {
    m_isTimedOut = true;
    if (m_isKilled) return false;  // Someone else holds the output open.
    const int signal = m_isAsked ? SIGKILL : SIGTERM;
    m_isKilled = m_isAsked;
    m_isAsked = true;
    m_deadline = Clock::now() + kProgramGrace;
    Send(signal);
    if (signal == SIGTERM) Send(SIGCONT);
    return true;
  }

  // A process group lives on while any of its processes does.
  void Send(int signal) const {
    if (m_call.timeout)
      ::kill(-m_process, signal);
    else if (!m_status)
      ::kill(m_process, signal);
  }

  const ProgramCall& m_call;
  const HeldSignals& m_signals;
  pid_t m_process;
  File m_output;
  std::optional<int> m_status;
  std::optional<Clock::time_point> m_deadline;
  bool m_isTimedOut = false;
  bool m_isUnread = false;
  bool m_isAsked = false;
  bool m_isKilled = false;
};

}  // namespace

ProgramEnd RunProgram(const ProgramCall& call) {
  int ends[2] = {-1, -1};
  if (call.takeOutput && ::pipe2(ends, O_CLOEXEC) != 0) return HostFailure("pipe", errno);
  File writeEnd(ends[1]);

  const HeldSignals signals;
  if (signals.Number() < 0) {
    const int error = errno;
    if (ends[0] >= 0) ::close(ends[0]);
    return HostFailure("signalfd", error);
  }
  pid_t process = -1;
  const int error = Spawn(call, signals.Earlier(), writeEnd.Number(), process);
  writeEnd.Close();
  if (error != 0) {
    if (ends[0] >= 0) ::close(ends[0]);
    return StartFailure(call.program, error);
  }
  return RunningProgram(call, signals, process, ends[0]).Await();
}

}  // namespace Tool
