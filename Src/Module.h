#pragma once

#include <Ondrel/ModuleError.h>
#include <Pirsk/Exceptions.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <boost/format.hpp>

#include <concepts>
#include <cstdint>
#include <string>

/// The frame of the module: its identity, how it traces and how it raises.
namespace Ondrel {

/// Identity of this module; carries the trace mask.
extern Pirsk::Misc::CModuleInfo g_moduleInfo;

namespace Detail {

// Starts the message through the buffer's virtual operation, in a file of its own so that the call
// stays virtual.
Pirsk::Output_Streams::CFormatStream StartMessage(Pirsk::Internals::CTraceStreamBuffer& buffer,
                                                  const char* format);

inline void Feed(Pirsk::Output_Streams::CFormatStream& stream, const char* text) { stream << text; }

inline void Feed(Pirsk::Output_Streams::CFormatStream& stream, const std::string& text) {
  stream << text;
}

inline void Feed(Pirsk::Output_Streams::CFormatStream& stream, std::integral auto number) {
  stream.FormatInt(static_cast<std::uint32_t>(number));
}

template <class... Values>
void TraceLine(std::uint32_t level, const char* file, const char* function, std::uint32_t line,
               const char* format, const Values&... values) {
  Pirsk::Internals::CTraceStreamBuffer buffer(level, g_moduleInfo, file, function, line);
  [[maybe_unused]] Pirsk::Output_Streams::CFormatStream stream = StartMessage(buffer, format);
  (Feed(stream, values), ...);
}

}  // namespace Detail

/// Writes one trace line of `level` for `function` (the name with its namespace): a literal format
/// with %s and %d, and one value for each. With the level's bit clear nothing is computed.
#define ONDREL_TRACE(level, function, ...)                                               \
  do {                                                                                   \
    if ((::Ondrel::g_moduleInfo.TraceMask() & (level)) != 0)                             \
      ::Ondrel::Detail::TraceLine((level), __FILE__, (function), __LINE__, __VA_ARGS__); \
  } while (false)

using Pirsk::Misc::kTraceDetail;
using Pirsk::Misc::kTraceEntry;
using Pirsk::Misc::kTraceError;

/// A place in the sources, taken where a function with a default argument of this kind is called.
struct CallSite {
  const char* file;
  std::uint32_t line;

  static constexpr CallSite Current(const char* file = __builtin_FILE(),
                                    std::uint32_t line = __builtin_LINE()) {
    return {file, line};
  }
};

/// Raises a module error at the caller's line, with a formatted detail and the host's error number,
/// or with the system's error, where one is given. Returns when raising is switched off: the caller
/// then goes on with its next statement as though no error had been found.
inline void Raise(Pirsk::Threading::CThrowState& guard, ModuleError number,
                  CallSite where = CallSite::Current()) {
  Pirsk::Exceptions::CException exception = guard.StartException(where.line);
  const Pirsk::Exceptions::CFormatStreamCurrExc stream = exception.prepareThrow(number);
  stream.exception.tryThrow();
}

inline void Raise(Pirsk::Threading::CThrowState& guard, ModuleError number,
                  const boost::format& detail, std::uint32_t hostError,
                  CallSite where = CallSite::Current()) {
  Pirsk::Exceptions::CException exception = guard.StartException(where.line);
  const Pirsk::Exceptions::CFormatStreamCurrExc stream = exception.prepareThrow(number, detail);
  stream.exception.SetHostError(hostError);
  stream.exception.tryThrow();
}

inline void Raise(Pirsk::Threading::CThrowState& guard, ModuleError number,
                  const Pirsk::Exceptions::NATIVE_ERROR& error,
                  CallSite where = CallSite::Current()) {
  Pirsk::Exceptions::CException exception = guard.StartException(where.line);
  const Pirsk::Exceptions::CFormatStreamCurrExc stream =
      exception.prepareThrow(number, error, nullptr);
  stream.exception.tryThrow();
}

/// The system's error as a raise takes it: kind 2 and the host's last-error number.
constexpr Pirsk::Exceptions::NATIVE_ERROR SystemError(std::uint32_t lastError) {
  return {.kind = 2, .code = lastError};
}

/// The place of the handler that asks; kept in a static record of its own by each handler.
constexpr Pirsk::Exceptions::SOURCE_INFO Here(CallSite where = CallSite::Current()) {
  return {.moduleInfo = &g_moduleInfo, .file = where.file, .line = where.line};
}

}  // namespace Ondrel
