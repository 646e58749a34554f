#pragma once

#include <Pirsk/Exceptions.h>

#include <atomic>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

namespace Pirsk::Internals {

/// One error, from its raise to the end of what is remembered of it.
struct ErrorRecord {
  Exceptions::CErrorReport report;
  std::exception_ptr thrown;  // What was thrown for it; null when it cannot be thrown on any more.
  int uncaughtAtThrow = 0;    // Exceptions in flight on the thread when this one was thrown.
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

  /// The error that this exception object was thrown for, taken out; null when there is none.
  ErrorRecordPtr Take(const std::exception_ptr& thrown) noexcept;

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
/// and end one of its own.
///
/// Which error a handler has caught is not guessed: a record holds the exception object that was
/// thrown for it, and the handler's own is compared with that. `throw;` and a kept `exception_ptr`
/// throw the same object again, whatever was raised in between. No other object can be taken for
/// it, since the record keeps it from being freed.
///
/// When an error has been caught by the calling program nobody reports it here. What decides which
/// error is the last one is the number of exceptions in flight. Exceptions of a thread nest: what a
/// destructor throws while k others pass is caught before any of the k is. So an error that was
/// thrown while k were in flight has been caught once k or fewer are. The reverse does not hold, as
/// another exception may have taken its place: such an error is read as the last a little longer,
/// until the thread throws or ends one. It stays in its place until then, and goes to the earlier
/// ones, which a handler's error is looked for in as well.
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

  /// Puts an error in flight and throws its number. At the end of the thread the error stays the
  /// caller's.
  [[noreturn]] void Throw(ErrorRecordPtr& record);

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

  // Moves those in flight that were thrown while at least `depth` exceptions were in flight to the
  // earlier ones.
  void RetireFrom(int depth) noexcept;
  void Remember(ErrorRecordPtr record) noexcept;

  // One state may stand in for several threads that have ended.
  std::atomic<unsigned int> m_offDepth = 0;
  bool m_isThreadEnding = false;
  ErrorStack m_inFlight;
  ErrorStack m_earlier;  // Not in flight any more.
};

}  // namespace Pirsk::Internals
