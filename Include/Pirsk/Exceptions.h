#pragma once

#include <Pirsk/Export.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

/// Module errors: how they are raised, handed on and ended inside a module, and how the program
/// that catches one reads it.
///
/// A module error is an `unsigned int` of the form 0x2mmmnnnn, module number and running number,
/// thrown as such. What else is known of it stands in an error chain that each thread has of its
/// own: the detail and system error given at the raise, and the locations and context lines of the
/// handlers it passed. `Exceptions::LastError` reads it.

namespace boost {
template <class Ch, class Tr, class Alloc>
class basic_format;
typedef basic_format<char, std::char_traits<char>, std::allocator<char>> format;
}  // namespace boost

namespace Pirsk::Threading {

/// A counter that any thread may read without a lock.
class CSyncCounter {
public:
  std::uint32_t Value() const noexcept { return m_value.load(std::memory_order_relaxed); }
  void Increment() noexcept { m_value.fetch_add(1, std::memory_order_relaxed); }
  void Decrement() noexcept { m_value.fetch_sub(1, std::memory_order_relaxed); }

private:
  std::atomic<std::uint32_t> m_value{0};
};

class CThrowState;

}  // namespace Pirsk::Threading

namespace Pirsk::Internals {

struct ErrorRecord;

/// What all threads share about raising.
struct CThrowStateData {
  /// Non-zero while some thread has switched raising off.
  PIRSK_API static Threading::CSyncCounter m_DisableCnt;
};

}  // namespace Pirsk::Internals

namespace Pirsk::Exceptions {

/// An error of the system beneath: kind 2 and the host's last-error number.
struct NATIVE_ERROR {
  std::uint32_t kind;
  std::uint32_t code;
};

/// Where an error was handled. Static records, one for each handler.
struct SOURCE_INFO {
  const Misc::CModuleInfo* moduleInfo;
  const char* file;
  std::uint32_t line;
};

class CException;

/// The stream for an error's detail, together with the error it belongs to.
struct CFormatStreamCurrExc {
  Output_Streams::CFormatStream stream;
  CException& exception;
};

/// An error that is being raised.
class CException {
public:
  PIRSK_API virtual ~CException();

  CException(const CException&) = delete;
  CException& operator=(const CException&) = delete;

  /// Fixes the number and opens the stream for the detail.
  PIRSK_API CFormatStreamCurrExc prepareThrow(std::uint32_t number);

  /// The same with a formatted detail.
  PIRSK_API CFormatStreamCurrExc prepareThrow(std::uint32_t number, const boost::format& detail);

  /// The same with the system's error and a detail, which may be null.
  PIRSK_API CFormatStreamCurrExc prepareThrow(std::uint32_t number, const NATIVE_ERROR& error,
                                              const char* detail);

  /// Throws the number as an `unsigned int`. Returns when raising is switched off.
  PIRSK_API void tryThrow();

private:
  friend class Threading::CThrowState;

  CException(Internals::ErrorRecord& record, bool raisingIsOff);

  Internals::ErrorRecord& m_record;
  bool m_raisingIsOff;
};

/// An error that a handler hands on with a line of its own.
class CExceptionLog {
public:
  PIRSK_API virtual ~CExceptionLog();

  CExceptionLog(const CExceptionLog&) = delete;
  CExceptionLog& operator=(const CExceptionLog&) = delete;

  /// Adds a context line to the error.
  PIRSK_API virtual Output_Streams::CFormatStream Format(const char* format);

  /// Throws the error on; with raising switched off yields its number.
  PIRSK_API unsigned int tryThrow();

private:
  friend class Threading::CThrowState;

  CExceptionLog(Internals::ErrorRecord& record, bool raisingIsOff);

  Internals::ErrorRecord& m_record;
  bool m_raisingIsOff;
};

}  // namespace Pirsk::Exceptions

namespace Pirsk::Threading {

/// The guard of a function that can raise or continue a module error; its first statement.
///
/// The guard decides once, when the function is entered, whether raising is switched off for this
/// call: if it is, raises come back and the function goes on.
class CThrowState {
public:
  CThrowState() noexcept(false) : m_state(nullptr) {
    if (Internals::CThrowStateData::m_DisableCnt.Value() != 0) Init();
  }
  ~CThrowState() {
    if (m_state != nullptr) m_state->Restore();
  }

  CThrowState(const CThrowState&) = delete;
  CThrowState& operator=(const CThrowState&) = delete;

  /// Points the guard to the thread's state if it is this thread that switched raising off.
  PIRSK_API void Init();

  /// Ends what `Init` began. Called on the state that the guard points to.
  PIRSK_API void Restore() noexcept;

  /// Starts a new error at this line of the calling function's file.
  PIRSK_API Exceptions::CException StartException(std::uint32_t line);

  /// Within a handler: adds the location to the error in flight and throws it on. With raising
  /// switched off yields its number.
  PIRSK_API unsigned int ThrowNext(const Exceptions::SOURCE_INFO& source);

  /// Within a handler: as `ThrowNext`, but lets the handler add a context line first.
  PIRSK_API Exceptions::CExceptionLog ContinueException(const Exceptions::SOURCE_INFO& source);

  /// Within a handler: adds the location and ends the error in flight.
  PIRSK_API void EndException(const Exceptions::SOURCE_INFO& source);

protected:
  /// A guard that points nowhere, whatever the counter says; the base of a thread's state.
  explicit CThrowState(CThrowState* state) noexcept : m_state(state) {}

private:
  CThrowState* m_state;  // The thread's state while raising is off for this call, else null.
};

/// Switches raising off for the calling thread while it lives; others keep raising. May be nested.
/// Lives and dies on one thread. A library call that is running is not affected.
class CRaisingSwitchedOff {
public:
  PIRSK_API CRaisingSwitchedOff();
  PIRSK_API ~CRaisingSwitchedOff();

  CRaisingSwitchedOff(const CRaisingSwitchedOff&) = delete;
  CRaisingSwitchedOff& operator=(const CRaisingSwitchedOff&) = delete;
};

}  // namespace Pirsk::Threading

namespace Pirsk::Exceptions {

/// All that is known of one module error.
struct CErrorReport {
  /// A place that the error came from or passed through.
  struct Location {
    std::string module;  ///< Name of the module; empty when not known.
    std::string file;    ///< Path of the source file; empty when not known.
    std::uint32_t line;  ///< Line in that file.
  };

  std::uint32_t number = 0;                 ///< The value that was thrown.
  std::string text;                         ///< Its catalogue text.
  std::string detail;                       ///< What the raise added; may be empty.
  std::optional<NATIVE_ERROR> systemError;  ///< The system's error, if one was the reason.
  std::vector<Location> locations;          ///< The raise, then the handlers in order.
  std::vector<std::string> contextLines;    ///< What handlers added, in order.
  bool wasRaised = false;                   ///< False for one that raising switched off let pass.

  /// The report as lines of text, each with a line end: number and text, detail, system error,
  /// context lines, locations.
  PIRSK_API std::string str() const;
};

/// The module error that the calling thread raised last, if there was one since `ForgetErrors`.
///
/// Also holds for an error that raising switched off let pass (the last one of the last call), and
/// for one that a destructor ended.
PIRSK_API std::optional<CErrorReport> LastError();

/// The module error of this number that the calling thread raised last; what a handler that caught
/// `number` asks. A report of the number and its text alone when the thread's chain has none.
PIRSK_API CErrorReport ReportOf(unsigned int number);

/// The errors that raising switched off let pass on this thread since `ForgetErrors`, oldest first;
/// the latest 64 of them.
PIRSK_API std::vector<CErrorReport> PassedErrors();

/// Empties the calling thread's error chain.
PIRSK_API void ForgetErrors();

/// Prints the report of `number`, as `CErrorReport::str`.
PIRSK_API void PrintError(std::ostream& out, unsigned int number);

}  // namespace Pirsk::Exceptions
