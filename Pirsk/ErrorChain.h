#pragma once

#include <Pirsk/Exceptions.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace Pirsk::Internals {

/// One error, from its raise to the end of what is remembered of it.
struct ErrorRecord {
  Exceptions::CErrorReport report;
  int uncaughtAtThrow = 0;  // Exceptions in flight on the thread when this one was thrown.
  bool isOver = false;      // Ended or let pass: it cannot be thrown on any more.
  std::unique_ptr<ErrorRecord> below;
};

using ErrorRecordPtr = std::unique_ptr<ErrorRecord>;

/// Errors on top of each other. Putting one on or taking one off allocates nothing.
class ErrorStack {
public:
  ErrorStack() = default;
  ~ErrorStack() { Clear(); }

  ErrorStack(const ErrorStack&) = delete;
  ErrorStack& operator=(const ErrorStack&) = delete;

  ErrorRecord* Top() const { return m_top.get(); }
  void Push(ErrorRecordPtr record) noexcept;
  ErrorRecordPtr Pop() noexcept;

  /// The uppermost error of this number that may still be thrown on, taken out; else null.
  ErrorRecordPtr TakeOpen(unsigned int number) noexcept;

  /// Keeps the uppermost `count` alone.
  void Trim(std::size_t count) noexcept;
  void Clear() noexcept { Trim(0); }

private:
  ErrorRecordPtr m_top;
};

/// What one thread knows of its errors, and whether it has switched raising off.
///
/// An error that is being raised or continued belongs to the object that does it. Once thrown it
/// stands in the stack of errors in flight: a destructor that runs while an error passes may raise
/// and end one of its own. Whether an error there has been caught meanwhile shows by the number of
/// exceptions in flight; such an error stays in its place to be read until the thread throws
/// another, and then goes to the earlier ones.
class ThreadState final : public Threading::CThrowState {
public:
  /// The calling thread's state. Usable until the very end of the thread, in the destructors of its
  /// thread-local objects and of static objects. It remembers nothing there, for nothing would free
  /// it: an error is then known by its number alone.
  static ThreadState& Current();

  ThreadState() : CThrowState(nullptr) {}

  /// The thread ends: forgets all errors and remembers none from now on.
  void EndThread() noexcept;

  void SwitchOff() { ++m_offDepth; }
  void SwitchOn() { --m_offDepth; }
  bool IsSwitchedOff() const { return m_offDepth != 0; }

  /// Puts an error in flight; the caller throws its number next. At the end of the thread the
  /// error stays the caller's.
  void PutInFlight(ErrorRecordPtr& record) noexcept;

  /// Takes the error of the handler that is running, with the location of that handler added.
  ErrorRecordPtr TakeCaught(const Exceptions::SOURCE_INFO& source);

  /// Remembers an error that raising switched off let pass.
  void Pass(ErrorRecordPtr record) noexcept;

  /// Remembers an error that a handler ended.
  void End(ErrorRecordPtr record) noexcept;

  /// Moves the errors that were caught by somebody else to the earlier ones.
  void RetireCaught() noexcept;

  const Exceptions::CErrorReport* Last();
  const Exceptions::CErrorReport* Find(unsigned int number) const;
  std::vector<Exceptions::CErrorReport> Passed() const;
  void Forget() noexcept;

private:
  static constexpr std::size_t kMostEarlier = 64;

  // Moves those in flight that were thrown below at least `depth` exceptions to the earlier ones.
  void RetireFrom(int depth) noexcept;
  void Remember(ErrorRecordPtr record) noexcept;

  // One state may stand in for several threads that have ended.
  std::atomic<unsigned int> m_offDepth = 0;
  bool m_isThreadEnding = false;
  ErrorStack m_inFlight;
  ErrorStack m_earlier;  // Not in flight any more.
};

}  // namespace Pirsk::Internals
