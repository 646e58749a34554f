#include "Host/EventLogOperations.h"
#include "Module.h"
#include "Windows/SystemLogWindows/MessageId.h"

#include <Ondrel/SystemLog.h>

#include <string>
#include <utility>

namespace Ondrel {

CSystemLog_Win::CSystemLog_Win() : m_hEventSource(nullptr), m_hEventLog(nullptr) {}

// Copies share the handles, which is intentional.
CSystemLog_Win::CSystemLog_Win(const CSystemLog_Win& other) = default;
CSystemLog_Win& CSystemLog_Win::operator=(const CSystemLog_Win& other) = default;

CSystemLog_Win::~CSystemLog_Win() {
  Pirsk::Threading::CThrowState guard;
  try {
    Close();
  } catch (unsigned int) {
    static constexpr Pirsk::Exceptions::SOURCE_INFO source = Here();
    guard.EndException(source);
  }
}

// A raise comes back when raising is switched off. Nothing returns after one: the caller who
// switched it off asked for the next step.
unsigned int CSystemLog_Win::Open(const std::string& name) {
  Pirsk::Threading::CThrowState guard;
  try {
    if (!m_LogName.empty()) Raise(guard, kSystemLogAlreadyOpened);
    if (name.empty()) Raise(guard, kInvalidParameter);

    // Taken now: once there are handles, nothing may fail that leaves them without a name.
    std::string logName = name;
    m_hEventLog = Host::EventLog().OpenEventLogA(nullptr, name.c_str());
    if (m_hEventLog == nullptr)
      Raise(guard, kCannotOpenSystemLog, SystemError(Host::EventLog().GetLastError()));

    m_hEventSource = Host::EventLog().RegisterEventSourceA(nullptr, name.c_str());
    if (m_hEventSource == nullptr) {
      Host::EventLog().CloseEventLog(m_hEventLog);
      m_hEventLog = nullptr;
      // Only now, which is intentional: the error reported is the one that the closing left.
      Raise(guard, kSystemLogRegistrationFailed, SystemError(Host::EventLog().GetLastError()));
    }

    m_LogName = std::move(logName);
    return 1;
  } catch (unsigned int) {
    static constexpr Pirsk::Exceptions::SOURCE_INFO source = Here();
    Pirsk::Exceptions::CExceptionLog log = guard.ContinueException(source);
    log.Format("CSystemLog::Open (%s)") << name;
    return log.tryThrow();
  }
}

// The host's failures are not looked at, which is intentional: closing always succeeds.
unsigned int CSystemLog_Win::Close() {
  if (m_hEventSource != nullptr) Host::EventLog().DeregisterEventSource(m_hEventSource);
  m_hEventSource = nullptr;
  if (m_hEventLog != nullptr) Host::EventLog().CloseEventLog(m_hEventLog);
  m_hEventLog = nullptr;
  m_LogName.clear();
  return 1;
}

unsigned int CSystemLog_Win::Report(int eventID, int eventType, const std::string& text) {
  Pirsk::Threading::CThrowState guard;
  try {
    if (text.empty()) Raise(guard, kInvalidParameter);
    if (m_hEventSource == nullptr) Raise(guard, kSystemLogNotOpenedForWriting);

    const char* strings[] = {text.c_str()};
    Host::EventLog().ReportEventA(m_hEventSource, static_cast<WORD>(eventType), 0,
                                  MessageId(eventID), nullptr, 1, 0, strings, nullptr);
    return 1;
  } catch (unsigned int) {
    static constexpr Pirsk::Exceptions::SOURCE_INFO source = Here();
    Pirsk::Exceptions::CExceptionLog log = guard.ContinueException(source);
    log.Format("CSystemLog::Report ()");
    return log.tryThrow();
  }
}

}  // namespace Ondrel
