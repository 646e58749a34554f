#pragma once

#include <Pirsk/Exceptions.h>

#include <cstddef>
#include <deque>
#include <list>
#include <optional>

namespace Pirsk::Internals {

/// One error of a thread's chain.
struct ErrorRecord {
  Exceptions::CErrorReport report;
  int uncaughtAtStart = 0;  // Exceptions in flight on the thread when this one was started.
};

/// What one thread knows of its errors, and whether it has switched raising off.
///
/// The errors in flight stand in the order in which they were started: a destructor that runs while
/// an error passes may raise and end one of its own. An error that was caught stays there to be
/// read until the thread starts another.
class ThreadState final : public Threading::CThrowState {
public:
  /// The calling thread's state.
  static ThreadState& Current();

  ThreadState() : CThrowState(nullptr) {}

  void SwitchOff() { ++m_offDepth; }
  void SwitchOn() { --m_offDepth; }
  bool IsSwitchedOff() const { return m_offDepth != 0; }

  ErrorRecord& Start(std::uint32_t line);

  /// The error of the handler that is running, with the location of that handler added.
  ErrorRecord& InHandler(const Exceptions::SOURCE_INFO& source);

  /// Takes an error out of the chain whose raise came back.
  void Pass(ErrorRecord& record);

  /// Takes an error out of the chain that a handler ended.
  void End(ErrorRecord& record);

  /// Takes out the errors in flight that were caught by somebody else.
  void DropCaught();

  std::optional<Exceptions::CErrorReport> Last() const;
  const Exceptions::CErrorReport* Find(unsigned int number) const;
  std::vector<Exceptions::CErrorReport> Passed() const;
  void Forget();

private:
  static constexpr std::size_t kMostPassed = 64;

  unsigned int m_offDepth = 0;
  std::list<ErrorRecord> m_inFlight;
  std::deque<Exceptions::CErrorReport> m_passed;
  std::optional<Exceptions::CErrorReport> m_last;  // The latest that is not in flight any more.
};

}  // namespace Pirsk::Internals
