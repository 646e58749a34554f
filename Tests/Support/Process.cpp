#include "Support/Process.h"

#include "Support/Pipe.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace Ondrel::Testing {

namespace {

// What says nothing for so long hangs: with a sanitizer, on a busy machine, two minutes are not
// enough to gather 16 MB.
constexpr int kPatienceMilliseconds = 600'000;

void Check(int error, const char* what) {
  if (error != 0) throw std::system_error(error, std::generic_category(), what);
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// A file rather than a pipe: a program that reads late or never cannot hold the test up.
File FileWith(const std::string& text) {
  File file(std::tmpfile(), std::fclose);
  if (!file || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
      std::fflush(file.get()) != 0) {
    Check(errno, "tmpfile");
  }
  std::rewind(file.get());
  return file;
}

#ifdef __SANITIZE_THREAD__
bool IsRunning(pid_t process) {
  siginfo_t ended{};
  return ::waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         ended.si_pid == 0;
}
#endif

}  // namespace

Process::Process(const std::string& program, const std::vector<std::string>& arguments,
                 const std::string& input) {
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  const File inputFile = FileWith(input);
  Pipe output;
  Pipe errors;
  posix_spawn_file_actions_t actions;
  Check(::posix_spawn_file_actions_init(&actions), "posix_spawn_file_actions_init");
  int error = ::posix_spawn_file_actions_adddup2(&actions, ::fileno(inputFile.get()), 0);
  if (error == 0) error = ::posix_spawn_file_actions_adddup2(&actions, output.writing.Number(), 1);
  if (error == 0) error = ::posix_spawn_file_actions_adddup2(&actions, errors.writing.Number(), 2);
  if (error == 0)
    error = ::posix_spawn(&m_id, program.c_str(), &actions, nullptr, argv.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  Check(error, program.c_str());

  m_output.descriptor = std::move(output.reading);
  m_errors.descriptor = std::move(errors.reading);
}

Process::~Process() {
  if (!m_isReaped) {
    ::kill(m_id, SIGKILL);
    Reap();
  }
}

bool Process::WaitForOutput(const std::string& text) { return WaitFor(m_output, text); }

bool Process::WaitForErrors(const std::string& text) { return WaitFor(m_errors, text); }

bool Process::WaitFor(const Stream& stream, const std::string& text) {
  while (stream.text.find(text) == std::string::npos) {
    if (!stream.descriptor.IsOpen() || !ReadSome()) return false;
  }
  return true;
}

void Process::Signal(int number) const { ::kill(m_id, number); }

ProcessResult Process::EndBy(int number) {
  Signal(number);
#ifdef __SANITIZE_THREAD__
  // The runtime of GCC 12's thread sanitizer loses a signal that comes while a thread makes its
  // first blocking call: there the signal is sent until the process has ended.
  for (int waited = 0; waited < kPatienceMilliseconds && IsRunning(m_id); waited += 100) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    Signal(number);
  }
#endif
  return Wait();
}

void Process::CloseOutput() { m_output.descriptor.Close(); }

ProcessResult Process::Wait() {
  while (ReadSome()) {
  }
  Reap();
  ProcessResult result;
  if (WIFEXITED(m_status)) result.exitStatus = WEXITSTATUS(m_status);
  if (WIFSIGNALED(m_status)) result.signal = WTERMSIG(m_status);
  result.output = m_output.text;
  result.errors = m_errors.text;
  return result;
}

/// Reads what is there from both streams, waiting for some. False when both have ended.
bool Process::ReadSome() {
  Stream* const streams[] = {&m_output, &m_errors};
  std::vector<pollfd> waited;
  std::vector<Stream*> open;
  for (Stream* const stream : streams) {
    if (!stream->descriptor.IsOpen()) continue;
    waited.push_back({stream->descriptor.Number(), POLLIN, 0});
    open.push_back(stream);
  }
  if (open.empty()) return false;

  if (::poll(waited.data(), waited.size(), kPatienceMilliseconds) == 0) {
    ::kill(m_id, SIGKILL);
    return true;
  }
  for (std::size_t i = 0; i < open.size(); ++i) {
    if (waited[i].revents == 0) continue;
    char bytes[4096];
    const ssize_t count = ::read(open[i]->descriptor.Number(), bytes, sizeof bytes);
    if (count > 0) {
      open[i]->text.append(bytes, static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      open[i]->descriptor.Close();
    }
  }
  return true;
}

void Process::Reap() {
  if (m_isReaped) return;
  while (::waitpid(m_id, &m_status, 0) < 0 && errno == EINTR) {
  }
  m_isReaped = true;
}

ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input) {
  Process process(program, arguments, input);
  return process.Wait();
}

}  // namespace Ondrel::Testing
