#pragma once

#include <Pirsk/Exceptions.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <cstdint>
#include <string>
#include <vector>

/// A module of the tests' own, and the functions of one: they raise, hand on and end errors in the
/// order of calls that modules keep.
namespace Pirsk::Testing {

inline constexpr std::uint32_t kModuleNumber = 0x0A1;
inline constexpr unsigned int kFirstError = 0x20A10001;     // "First failed"
inline constexpr unsigned int kSecondError = 0x20A10002;    // "Second failed"
inline constexpr unsigned int kUnlistedError = 0x20A10009;  // "Nothing is known"

/// Registered as number 0x0A1, "testmodule", "1.2".
extern Misc::CModuleInfo g_module;

/// Raises within a guarded function.
inline void Raise(Threading::CThrowState& guard, unsigned int number, std::uint32_t line = 100) {
  Exceptions::CException exception = guard.StartException(line);
  const Exceptions::CFormatStreamCurrExc stream = exception.prepareThrow(number);
  stream.exception.tryThrow();
}

/// A guarded function that hands errors of `body` on; 0 when there was none.
template <class Body>
unsigned int HandOn(Body body, std::uint32_t line = 200) {
  Threading::CThrowState guard;
  try {
    body(guard);
  } catch (unsigned int) {
    const Exceptions::SOURCE_INFO here{&g_module, "Src/HandOn.cpp", line};
    return guard.ThrowNext(here);
  }
  return 0;
}

/// A guarded function that hands errors on with "Context (<value>)".
template <class Body>
unsigned int HandOnWithLine(const std::string& value, Body body) {
  Threading::CThrowState guard;
  try {
    body(guard);
  } catch (unsigned int) {
    const Exceptions::SOURCE_INFO here{&g_module, "Src/HandOnWithLine.cpp", 300};
    Exceptions::CExceptionLog log = guard.ContinueException(here);
    log.Format("Context (%s)") << value;
    return log.tryThrow();
  }
  return 0;
}

/// A guarded function that ends errors, as destructors do.
template <class Body>
void EndHere(Body body) noexcept {
  Threading::CThrowState guard;
  try {
    body(guard);
  } catch (unsigned int) {
    const Exceptions::SOURCE_INFO here{&g_module, "Src/EndHere.cpp", 400};
    guard.EndException(here);
  }
}

/// Raises `number` in a function that hands it on; yields what the caller caught, 0 for nothing.
inline unsigned int RaiseAndCatch(unsigned int number) {
  try {
    HandOn([number](Threading::CThrowState& guard) { Raise(guard, number); });
  } catch (unsigned int caught) {
    return caught;
  }
  return 0;
}

/// Traces one line at Src/Traced.cpp:42 in "Testing::Traced".
template <class... Values>
void TraceLine(std::uint32_t level, const char* format, const Values&... values) {
  Internals::CTraceStreamBuffer buffer(level, g_module, "Src/Traced.cpp", "Testing::Traced", 42);
  Output_Streams::CFormatStream stream = buffer.Format(format);
  (void)(stream << ... << values);
}

/// "<file>:<line>" of each location of a report.
std::vector<std::string> Places(const Exceptions::CErrorReport& report);

/// Runs an action when it is destroyed.
template <class Action>
class AtEnd {
public:
  explicit AtEnd(Action action) : m_action(action) {}
  ~AtEnd() { m_action(); }

  AtEnd(const AtEnd&) = delete;
  AtEnd& operator=(const AtEnd&) = delete;

private:
  Action m_action;
};

/// A folder that lives as long as the object.
class TemporaryFolder {
public:
  TemporaryFolder();
  ~TemporaryFolder();

  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& Path() const { return m_path; }
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
  std::string m_path;
};

/// Writes a whole file; reads a whole file, which has to exist.
void WriteFile(const std::string& path, const std::string& content);
std::string ReadFile(const std::string& path);

}  // namespace Pirsk::Testing
