#include "ErrorChain.h"
#include "FileName.h"
#include "Instrumentation.h"

#include <Pirsk/Exceptions.h>
#include <Pirsk/Strings.h>

#include <boost/format.hpp>

#include <cstdio>
#include <new>
#include <ostream>
#include <utility>

namespace Pirsk::Internals {

constinit Threading::CSyncCounter CThrowStateData::m_DisableCnt;

}  // namespace Pirsk::Internals

namespace Pirsk::Exceptions {

using Internals::ThreadState;

namespace {

constexpr std::uint32_t kHostError =
    2;  // The kind of a system error that is the host's last error.

}  // namespace

#if defined(PIRSK_INSTRUMENTED)
namespace {

std::string Hexadecimal(std::uint32_t number) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(number));
  return text;
}

}  // namespace
#endif

CException::CException(std::unique_ptr<Internals::ErrorRecord> record, bool raisingIsOff)
    : m_record(std::move(record)), m_raisingIsOff(raisingIsOff) {}

CException::~CException() {
  PIRSK_RECORD("CException::~CException");
  if (m_wasLetPass) ThreadState::Current().Pass(std::move(m_record));
}

CFormatStreamCurrExc CException::prepareThrow(std::uint32_t number) {
  PIRSK_RECORD("CException::prepareThrow(" + Hexadecimal(number) + ")");
  m_record->report.number = number;
  return {{m_record->report.detail, ""}, *this};
}

CFormatStreamCurrExc CException::prepareThrow(std::uint32_t number, const boost::format& detail) {
  PIRSK_RECORD("CException::prepareThrow(" + Hexadecimal(number) + ", format " + detail.str() +
               ")");
  m_record->report.number = number;
  m_record->report.detail = detail.str();
  return {{m_record->report.detail, ""}, *this};
}

CFormatStreamCurrExc CException::prepareThrow(std::uint32_t number, const NATIVE_ERROR& error,
                                              const char* detail) {
  PIRSK_RECORD("CException::prepareThrow(" + Hexadecimal(number) + ", native {" +
               std::to_string(error.kind) + ", " + std::to_string(error.code) + "}, " +
               (detail == nullptr ? "null" : detail) + ")");
  m_record->report.number = number;
  m_record->report.systemError = error;
  if (error.kind == kHostError) m_record->report.hostError = error.code;
  if (detail != nullptr) m_record->report.detail = detail;
  return {{m_record->report.detail, ""}, *this};
}

void CException::tryThrow() {
  PIRSK_RECORD("CException::tryThrow");
  if (m_hostError) m_record->report.hostError = m_hostError;
  if (m_raisingIsOff) {
    // The stream for the detail is still open: the record leaves with this object.
    m_wasLetPass = true;
    return;
  }
  ThreadState::Current().Throw(m_record);
}

CExceptionLog::CExceptionLog(std::unique_ptr<Internals::ErrorRecord> record, bool raisingIsOff)
    : m_record(std::move(record)), m_raisingIsOff(raisingIsOff) {}

CExceptionLog::~CExceptionLog() {
  PIRSK_RECORD("CExceptionLog::~CExceptionLog");
  if (!m_record) return;
  if (m_raisingIsOff) {
    ThreadState::Current().Pass(std::move(m_record));
  } else {
    // Something else was thrown before the error could be handed on.
    ThreadState::Current().End(std::move(m_record));
  }
}

Output_Streams::CFormatStream CExceptionLog::Format(const char* format) {
  PIRSK_RECORD(std::string("CExceptionLog::Format(") + format + ")");
  return Output_Streams::CFormatStream(m_record->report.contextLines.emplace_back(), format);
}

unsigned int CExceptionLog::tryThrow() {
  PIRSK_RECORD("CExceptionLog::tryThrow");
  if (m_raisingIsOff) return m_record->report.number;
  ThreadState::Current().Throw(m_record);
}

}  // namespace Pirsk::Exceptions

namespace Pirsk::Threading {

using Internals::ErrorRecord;
using Internals::ErrorRecordPtr;
using Internals::ThreadState;

void CThrowState::Init() {
  PIRSK_RECORD("CThrowState::Init");
  ThreadState& state = ThreadState::Current();
  if (state.IsSwitchedOff()) m_state = &state;
}

void CThrowState::Restore() noexcept {
  PIRSK_RECORD("CThrowState::Restore");
  // Nothing that was caught during the call can be thrown on after it.
  static_cast<ThreadState*>(this)->RetireCaught();
}

Exceptions::CException CThrowState::StartException(std::uint32_t line) {
  PIRSK_RECORD("CThrowState::StartException");
  ErrorRecordPtr record = std::make_unique<ErrorRecord>();
  record->report.locations.push_back({{}, {}, line});
  return Exceptions::CException(std::move(record), m_state != nullptr);
}

unsigned int CThrowState::ThrowNext(const Exceptions::SOURCE_INFO& source) {
  PIRSK_RECORD("CThrowState::ThrowNext");
  ThreadState& state = ThreadState::Current();
  ErrorRecordPtr record = state.TakeCaught(source);
  if (m_state == nullptr) state.Throw(record);
  const unsigned int number = record->report.number;
  state.Pass(std::move(record));
  return number;
}

Exceptions::CExceptionLog CThrowState::ContinueException(const Exceptions::SOURCE_INFO& source) {
  PIRSK_RECORD("CThrowState::ContinueException");
  return Exceptions::CExceptionLog(ThreadState::Current().TakeCaught(source), m_state != nullptr);
}

void CThrowState::EndException(const Exceptions::SOURCE_INFO& source) {
  PIRSK_RECORD("CThrowState::EndException");
  ThreadState& state = ThreadState::Current();
  try {
    state.End(state.TakeCaught(source));
  } catch (const std::bad_alloc&) {
    // Destructors end errors here. One that there is no memory to remember is over all the same.
  }
}

CRaisingSwitchedOff::CRaisingSwitchedOff() {
  ThreadState::Current().SwitchOff();
  Internals::CThrowStateData::m_DisableCnt.Increment();
}

CRaisingSwitchedOff::~CRaisingSwitchedOff() {
  Internals::CThrowStateData::m_DisableCnt.Decrement();
  ThreadState::Current().SwitchOn();
}

}  // namespace Pirsk::Threading

namespace Pirsk::Exceptions {

namespace {

CErrorReport WithText(CErrorReport report) {
  report.text = Misc::ErrorText(report.number);
  return report;
}

}  // namespace

std::string CErrorReport::str() const {
  using Strings::Printable;
  char numberText[32];
  std::snprintf(numberText, sizeof numberText, "error 0x%08X: ", static_cast<unsigned>(number));
  std::string shown = numberText + Printable(text) + "\n";
  if (!detail.empty()) shown += "  detail: " + Printable(detail) + "\n";
  if (systemError) shown += "  system error: " + std::to_string(systemError->code) + "\n";
  for (const std::string& line : contextLines) shown += "  in " + Printable(line) + "\n";
  for (const Location& location : locations) {
    shown += "  at ";
    if (!location.file.empty())
      shown += std::string(Internals::FileName(location.file)) + ":";
    else
      shown += "line ";
    shown += std::to_string(location.line) + "\n";
  }
  return shown;
}

std::optional<CErrorReport> LastError() {
  const CErrorReport* last = ThreadState::Current().Last();
  if (last == nullptr) return std::nullopt;
  return WithText(*last);
}

CErrorReport ReportOf(unsigned int number) {
  CErrorReport report;
  if (const CErrorReport* found = ThreadState::Current().Find(number)) report = *found;
  report.number = number;
  return WithText(std::move(report));
}

std::vector<CErrorReport> PassedErrors() {
  std::vector<CErrorReport> reports = ThreadState::Current().Passed();
  for (CErrorReport& report : reports) report.text = Misc::ErrorText(report.number);
  return reports;
}

void ForgetErrors() { ThreadState::Current().Forget(); }

void PrintError(std::ostream& out, unsigned int number) { out << ReportOf(number).str(); }

}  // namespace Pirsk::Exceptions
