#pragma once

#include "Host/Linux/FileDescriptor.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace Ondrel::Testing {

/// What a program left behind when it ended.
struct ProcessResult {
  int exitStatus = -1;  ///< -1 when a signal ended it.
  int signal = 0;       ///< The signal that ended it, else 0.
  std::string output;   ///< All of its standard output.
  std::string errors;   ///< All of its standard error.
};

/// A program run as a process of its own, without a shell in between.
///
/// Standard input is the text given; standard output and error are gathered. A process that is
/// still running when its object goes is killed and waited for. Waiting gives up after two minutes
/// by killing the process, so that a test fails rather than hangs.
class Process {
public:
  /// Starts `program` with `arguments`. Throws `std::system_error` when it cannot be started.
  Process(const std::string& program, const std::vector<std::string>& arguments,
          const std::string& input = "");
  ~Process();

  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t Id() const { return m_id; }

  /// What has been read of its standard output so far.
  const std::string& Output() const { return m_output.text; }

  /// Waits until standard output (or error) holds `text`. False when the process closed it first.
  bool WaitForOutput(const std::string& text);
  bool WaitForErrors(const std::string& text);

  /// Sends a signal to the process.
  void Signal(int number) const;

  /// Sends a signal that has to end the process, and waits for its end.
  ProcessResult EndBy(int number);

  /// Closes this end of its standard output: its next write there fails.
  void CloseOutput();

  /// Waits for the end of the process.
  ProcessResult Wait();

private:
  struct Stream {
    Host::FileDescriptor descriptor;
    std::string text;
  };

  bool WaitFor(const Stream& stream, const std::string& text);
  bool ReadSome();
  void Reap();

  pid_t m_id = -1;
  Stream m_output;
  Stream m_errors;
  bool m_isReaped = false;
  int m_status = 0;
};

/// Runs a program to its end.
ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input = "");

}  // namespace Ondrel::Testing
