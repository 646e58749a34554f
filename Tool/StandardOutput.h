#pragma once

#include "Tool/Host/Terminal.h"

#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

/// Standard output that notices when it cannot be written.

namespace Tool {

/// Nobody reads standard output any more. Ends the command at once, without a word.
class ReaderGone : public std::exception {};

/// Standard output cannot be written, as on a full disk; `what` says why.
class OutputFailure : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// Takes the place of the buffer of `std::cout` for its own life. What is printed is written in
/// blocks of 64 KiB or more, on `std::flush` and, on a terminal, after each line. A write that
/// fails throws `ReaderGone` or `OutputFailure` out of the statement that printed, once; everything
/// printed afterwards is dropped. One thread prints at a time.
class StandardOutput : public std::streambuf {
public:
  StandardOutput();
  ~StandardOutput() override;

  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  /// Writes what is left, and throws as a failing write does, also for one that failed while the
  /// work came first.
  void Finish();

protected:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int sync() override;

private:
  friend class WorkComesFirst;

  void Write();
  void Fail(int errorNumber);
  void Throw() const;

  std::streambuf* m_replaced;
  std::vector<char> m_block;
  bool m_isTerminal;
  bool m_isReaderGone = false;
  bool m_isThrown = false;
  std::string m_failure;  ///< Why writing failed; empty while it has not.
};

/// While one lives, printing does not throw: the work goes on whatever becomes of its output, and
/// the failure is reported when the command ends.
class WorkComesFirst {
public:
  WorkComesFirst();
  ~WorkComesFirst();

  WorkComesFirst(const WorkComesFirst&) = delete;
  WorkComesFirst& operator=(const WorkComesFirst&) = delete;
};

/// While one lives, the command ends at once with `kReaderGone` when nobody reads standard output
/// any more, also while it waits for something else. For commands that answer one input after the
/// other and have nothing to put in order; on Windows the next write notices it.
class EndsWithReader {
public:
  EndsWithReader();

private:
  ReaderWatch m_watch;
};

}  // namespace Tool
