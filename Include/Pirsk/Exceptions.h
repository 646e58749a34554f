#pragma once

#include <Pirsk/Export.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Module errors: how they are raised, handed on and ended inside a module, and how the program
/// that catches one reads it.
///
/// A module error is an `unsigned int` of the form 0x2mmmnnnn, module number and running number,
/// thrown as such. What else is known of it stands in an error chain that each thread has of its
/// own: the detail and system error given at the raise, and the locations and context lines of the
/// handlers it passed. `Exceptions::LastError` reads it. Raising works until the end of a thread
/// and of the program; in the destructors of thread-local and static objects the number and its
/// text are all that is known of an error.

namespace boost {
template <class Ch, class Tr, class Alloc>
class basic_format;
typedef basic_format<char, std::char_traits<char>, std::allocator<char>> format;
}  // namespace boost

namespace Pirsk::Threading {

/// A counter that any thread may read and change without a lock.
class CSyncCounter {
public:
  /// What it stands at.
  std::uint32_t Value() const noexcept { return m_value.load(std::memory_order_relaxed); }

  /// Counts one up or down. Only the base library does.
  void Increment() noexcept { m_value.fetch_add(1, std::memory_order_relaxed); }
  void Decrement() noexcept { m_value.fetch_sub(1, std::memory_order_relaxed); }  ///< One down.

private:
  std::atomic<std::uint32_t> m_value{0};
};

class CThrowState;

}  // namespace Pirsk::Threading

namespace Pirsk::Internals {

struct ErrorRecord;

/// What all threads share about raising.
struct CThrowStateData {
  /// Non-zero while some thread has switched raising off. Modules read it, only the base library
  /// writes it.
  PIRSK_API static Threading::CSyncCounter m_DisableCnt;
};

}  // namespace Pirsk::Internals

namespace Pirsk::Exceptions {

/// An error of the system beneath: kind 2 and the host's last-error number.
struct NATIVE_ERROR {
  std::uint32_t kind;  ///< 2, the host's.
  std::uint32_t code;  ///< The host's number.
};

/// Where an error was handled. Static records, one for each handler.
struct SOURCE_INFO {
  const Misc::CModuleInfo* moduleInfo;  ///< The module of the handler.
  const char* file;                     ///< Path of its source file.
  std::uint32_t line;                   ///< Line of the handler's own statement.
};

class CException;

/// The stream for an error's detail, together with the error it belongs to. Destroyed before it.
struct CFormatStreamCurrExc {
  Output_Streams::CFormatStream stream;  ///< What is fed to it is added to the detail.
  CException& exception;                 ///< The error that is to be thrown.
};

/// An error that is being raised. Belongs to the thread that started it.
///
/// Until it is thrown, other errors may come and go on the thread; an error that is given up before
/// `tryThrow` leaves no trace.
class CException {
public:
  PIRSK_API virtual ~CException();

  CException(const CException&) = delete;
  CException& operator=(const CException&) = delete;

  /// Fixes the number and opens the stream for the detail.
  PIRSK_API CFormatStreamCurrExc prepareThrow(std::uint32_t number);

  /// The same with a formatted detail. A format that is not completely fed throws what
  /// `boost::format` throws.
  PIRSK_API CFormatStreamCurrExc prepareThrow(std::uint32_t number, const boost::format& detail);

  /// The same with the system's error and a detail, which may be null.
  PIRSK_API CFormatStreamCurrExc prepareThrow(std::uint32_t number, const NATIVE_ERROR& error,
                                              const char* detail);

  /// Gives the host's error number to an error whose detail is a formatted text. One that is raised
  /// with a system error of kind 2 has it from there.
  void SetHostError(std::uint32_t number) noexcept { m_hostError = number; }

  /// Throws the number as an `unsigned int`. Returns when raising is switched off. Called once,
  /// last.
  PIRSK_API void tryThrow();

private:
  friend class Threading::CThrowState;

  CException(std::unique_ptr<Internals::ErrorRecord> record, bool raisingIsOff);

  std::unique_ptr<Internals::ErrorRecord> m_record;  // Null once the error is on its way.
  std::optional<std::uint32_t> m_hostError;
  bool m_raisingIsOff;
  bool m_wasLetPass = false;
};

/// An error that a handler hands on with a line of its own. Belongs to the thread of the handler.
class CExceptionLog {
public:
  PIRSK_API virtual ~CExceptionLog();

  CExceptionLog(const CExceptionLog&) = delete;
  CExceptionLog& operator=(const CExceptionLog&) = delete;

  /// Adds a context line to the error. The stream is destroyed before the next line is begun.
  PIRSK_API virtual Output_Streams::CFormatStream Format(const char* format);

  /// Throws the error on; with raising switched off returns its number. Called once, last.
  PIRSK_API unsigned int tryThrow();

private:
  friend class Threading::CThrowState;

  CExceptionLog(std::unique_ptr<Internals::ErrorRecord> record, bool raisingIsOff);

  std::unique_ptr<Internals::ErrorRecord> m_record;  // Null once the error is on its way again.
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
  /// Enters the function.
  CThrowState() : m_state(nullptr) {
    if (Internals::CThrowStateData::m_DisableCnt.Value() != 0) Init();
  }

  /// Leaves the function, by whatever path.
  ~CThrowState() {
    if (m_state != nullptr) m_state->Restore();
  }

  CThrowState(const CThrowState&) = delete;
  CThrowState& operator=(const CThrowState&) = delete;

  /// Points the guard to the thread's state if it is this thread that switched raising off.
  PIRSK_API void Init();

  /// Ends what `Init` began. Called on the state that the guard points to.
  PIRSK_API void Restore() noexcept;

  /// Starts a new error at this line of the calling function's file. The error is the caller's own
  /// until it is thrown.
  PIRSK_API Exceptions::CException StartException(std::uint32_t line);

  /// Within a handler for `unsigned int`: adds the location to the error in flight and throws it
  /// on. With raising switched off returns its number. A number that was not raised here but thrown
  /// by other means is an error of which nothing else is known.
  PIRSK_API unsigned int ThrowNext(const Exceptions::SOURCE_INFO& source);

  /// Within a handler: as `ThrowNext`, but lets the handler add a context line first.
  PIRSK_API Exceptions::CExceptionLog ContinueException(const Exceptions::SOURCE_INFO& source);

  /// Within a handler: adds the location and ends the error in flight. Throws nothing.
  PIRSK_API void EndException(const Exceptions::SOURCE_INFO& source);

protected:
  /// A guard that points nowhere, whatever the counter says; the base of a thread's state.
  explicit CThrowState(CThrowState* state) noexcept : m_state(state) {}

private:
  CThrowState* m_state;  // The thread's state while raising is off for this call, else null.
};

/// Switches raising off for the calling thread while it lives; others keep raising. May be nested.
/// Lives and dies on one thread. A library call that is running is not affected.
///
/// A call then returns where it would have raised: it goes on as though no error had been found,
/// and `Exceptions::PassedErrors` reports what it met.
class CRaisingSwitchedOff {
public:
  PIRSK_API CRaisingSwitchedOff();
  PIRSK_API ~CRaisingSwitchedOff();

  CRaisingSwitchedOff(const CRaisingSwitchedOff&) = delete;
  CRaisingSwitchedOff& operator=(const CRaisingSwitchedOff&) = delete;
};

}  // namespace Pirsk::Threading

namespace Pirsk::Exceptions {

/// All that is known of one module error. Holds nothing of the module: it may be read and kept
/// after the module was unloaded.
struct CErrorReport {
  /// A place that the error came from or passed through.
  struct Location {
    std::string module;  ///< Name of the module; empty when not known.
    std::string file;    ///< Path of the source file; empty when not known.
    std::uint32_t line;  ///< Line in that file.
  };

  std::uint32_t number = 0;                 ///< The value that was thrown.
  std::string text;                         ///< Its catalogue text, UTF-8.
  std::string detail;                       ///< What the raise added; may be empty.
  std::optional<NATIVE_ERROR> systemError;  ///< The system's error, if the raise handed one over.
  std::optional<std::uint32_t> hostError;   ///< The host's error number, if one was the reason.
  std::vector<Location> locations;          ///< The raise, then the handlers in order.
  std::vector<std::string> contextLines;    ///< What handlers added, in order.
  bool wasRaised = false;                   ///< False for one that raising switched off let pass.

  /// The report as lines of text, each with a line end: number and text, detail, system error,
  /// context lines, locations. Control characters within are shown escaped.
  PIRSK_API std::string str() const;
};

/// The module error that the calling thread met last, if there was one since `ForgetErrors`.
///
/// In a handler that is the error caught; after it, the error that was caught, ended by a
/// destructor or let pass last. The catalogue text is looked up when asked for: with the module
/// unloaded it is the stand-in text.
PIRSK_API std::optional<CErrorReport> LastError();

/// The module error of this number that the calling thread met last, among its latest 64; what a
/// handler that caught `number` asks. A report of the number and its text alone when there is none.
PIRSK_API CErrorReport ReportOf(unsigned int number);

/// The errors that raising switched off let pass on this thread since `ForgetErrors`, oldest first;
/// those among the latest 64 errors of the thread.
PIRSK_API std::vector<CErrorReport> PassedErrors();

/// Empties the calling thread's error chain.
PIRSK_API void ForgetErrors();

/// Prints the report of `number`, as `CErrorReport::str`.
PIRSK_API void PrintError(std::ostream& out, unsigned int number);

}  // namespace Pirsk::Exceptions
