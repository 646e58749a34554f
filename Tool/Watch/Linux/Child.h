#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace Tool::Watch {

/// A process that works for the service. It dies with the service, and when its time is over.
///
/// What it writes to its descriptor is gathered, up to 64 KiB; its end is the end of its output.
class Child {
public:
  using Clock = std::chrono::steady_clock;

  /// Runs `work` in a process of its own, without what the service has open; it is given the
  /// descriptor to write to, and the process ends with its result. Throws `std::system_error`.
  Child(const std::function<int(int output)>& work, Clock::time_point deadline);
  ~Child();
  Child(Child&& other) noexcept;
  Child& operator=(Child&& other) noexcept;

  /// Readable when the process has ended.
  int Descriptor() const { return m_process; }
  Clock::time_point Deadline() const { return m_deadline; }

  /// Takes what was written and kills the process after its deadline. True when it has ended.
  bool Advance(Clock::time_point now);

  /// Ends it at once.
  void Kill();

  const std::string& Output() const { return m_text; }
  /// Of a process that has ended: its exit status, or -1 when a signal ended it.
  int ExitStatus() const { return m_exitStatus; }
  bool IsTimeOver() const { return m_isTimeOver; }

private:
  void Reap();

  pid_t m_id = -1;
  int m_process = -1;  // A descriptor of the process itself.
  int m_output = -1;
  Clock::time_point m_deadline;
  std::string m_text;
  int m_exitStatus = -1;
  bool m_isTimeOver = false;
};

/// The work that runs a program with these further variables and this standard input. What it
/// prints goes to the service's standard error.
int RunProgram(const std::string& program,
               const std::vector<std::pair<std::string, std::string>>& variables,
               const std::string& input);

}  // namespace Tool::Watch
