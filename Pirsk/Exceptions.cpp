#include "ErrorChain.h"
#include "Instrumentation.h"

#include <Pirsk/Exceptions.h>

#include <boost/format.hpp>

#include <cstdio>
#include <ostream>

namespace Pirsk::Internals {

constinit Threading::CSyncCounter CThrowStateData::m_DisableCnt;

}  // namespace Pirsk::Internals

namespace Pirsk::Exceptions {

using Internals::ThreadState;

#if defined(PIRSK_INSTRUMENTED)
namespace {

std::string Hexadecimal(std::uint32_t number) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(number));
  return text;
}

}  // namespace
#endif

CException::CException(Internals::ErrorRecord& record, bool raisingIsOff)
    : m_record(record), m_raisingIsOff(raisingIsOff) {}

CException::~CException() {
  PIRSK_RECORD("CException::~CException");
  if (m_raisingIsOff) ThreadState::Current().Pass(m_record);
}

CFormatStreamCurrExc CException::prepareThrow(std::uint32_t number) {
  PIRSK_RECORD("CException::prepareThrow(" + Hexadecimal(number) + ")");
  m_record.report.number = number;
  return {{m_record.report.detail, ""}, *this};
}

CFormatStreamCurrExc CException::prepareThrow(std::uint32_t number, const boost::format& detail) {
  PIRSK_RECORD("CException::prepareThrow(" + Hexadecimal(number) + ", format " + detail.str() +
               ")");
  m_record.report.number = number;
  m_record.report.detail = detail.str();
  return {{m_record.report.detail, ""}, *this};
}

CFormatStreamCurrExc CException::prepareThrow(std::uint32_t number, const NATIVE_ERROR& error,
                                              const char* detail) {
  PIRSK_RECORD("CException::prepareThrow(" + Hexadecimal(number) + ", native {" +
               std::to_string(error.kind) + ", " + std::to_string(error.code) + "}, " +
               (detail == nullptr ? "null" : detail) + ")");
  m_record.report.number = number;
  m_record.report.systemError = error;
  if (detail != nullptr) m_record.report.detail = detail;
  return {{m_record.report.detail, ""}, *this};
}

void CException::tryThrow() {
  PIRSK_RECORD("CException::tryThrow");
  if (m_raisingIsOff) return;
  m_record.report.wasRaised = true;
  throw static_cast<unsigned int>(m_record.report.number);
}

CExceptionLog::CExceptionLog(Internals::ErrorRecord& record, bool raisingIsOff)
    : m_record(record), m_raisingIsOff(raisingIsOff) {}

CExceptionLog::~CExceptionLog() {
  PIRSK_RECORD("CExceptionLog::~CExceptionLog");
  if (m_raisingIsOff) ThreadState::Current().Pass(m_record);
}

Output_Streams::CFormatStream CExceptionLog::Format(const char* format) {
  PIRSK_RECORD(std::string("CExceptionLog::Format(") + format + ")");
  return Output_Streams::CFormatStream(m_record.report.contextLines.emplace_back(), format);
}

unsigned int CExceptionLog::tryThrow() {
  PIRSK_RECORD("CExceptionLog::tryThrow");
  const unsigned int number = m_record.report.number;
  if (m_raisingIsOff) return number;
  throw number;
}

}  // namespace Pirsk::Exceptions

namespace Pirsk::Threading {

using Internals::ErrorRecord;
using Internals::ThreadState;

void CThrowState::Init() {
  PIRSK_RECORD("CThrowState::Init");
  ThreadState& state = ThreadState::Current();
  if (state.IsSwitchedOff()) m_state = &state;
}

void CThrowState::Restore() noexcept {
  PIRSK_RECORD("CThrowState::Restore");
  // The call that the guard stood for is over, and with it every error that it let pass.
  static_cast<ThreadState*>(this)->DropCaught();
}

Exceptions::CException CThrowState::StartException(std::uint32_t line) {
  PIRSK_RECORD("CThrowState::StartException");
  return Exceptions::CException(ThreadState::Current().Start(line), m_state != nullptr);
}

unsigned int CThrowState::ThrowNext(const Exceptions::SOURCE_INFO& source) {
  PIRSK_RECORD("CThrowState::ThrowNext");
  ThreadState& state = ThreadState::Current();
  ErrorRecord& record = state.InHandler(source);
  const unsigned int number = record.report.number;
  if (m_state == nullptr) throw number;
  state.Pass(record);
  return number;
}

Exceptions::CExceptionLog CThrowState::ContinueException(const Exceptions::SOURCE_INFO& source) {
  PIRSK_RECORD("CThrowState::ContinueException");
  return Exceptions::CExceptionLog(ThreadState::Current().InHandler(source), m_state != nullptr);
}

void CThrowState::EndException(const Exceptions::SOURCE_INFO& source) {
  PIRSK_RECORD("CThrowState::EndException");
  ThreadState& state = ThreadState::Current();
  state.End(state.InHandler(source));
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
  char numberText[32];
  std::snprintf(numberText, sizeof numberText, "error 0x%08X: ", static_cast<unsigned>(number));
  std::string shown = numberText + text + "\n";
  if (!detail.empty()) shown += "  detail: " + detail + "\n";
  if (systemError) shown += "  system error: " + std::to_string(systemError->code) + "\n";
  for (const std::string& line : contextLines) shown += "  in " + line + "\n";
  for (const Location& location : locations) {
    const std::string& file = location.file;
    shown += "  at " + file.substr(file.find_last_of("/\\") + 1) + ":" +
             std::to_string(location.line) + "\n";
  }
  return shown;
}

std::optional<CErrorReport> LastError() {
  std::optional<CErrorReport> report = ThreadState::Current().Last();
  if (report) report = WithText(std::move(*report));
  return report;
}

CErrorReport ReportOf(unsigned int number) {
  CErrorReport report;
  if (const CErrorReport* found = ThreadState::Current().Find(number)) report = *found;
  report.number = number;
  return WithText(std::move(report));
}

std::vector<CErrorReport> PassedErrors() {
  std::vector<CErrorReport> reports = ThreadState::Current().Passed();
  for (CErrorReport& report : reports) report = WithText(std::move(report));
  return reports;
}

void ForgetErrors() { ThreadState::Current().Forget(); }

void PrintError(std::ostream& out, unsigned int number) { out << ReportOf(number).str(); }

}  // namespace Pirsk::Exceptions
