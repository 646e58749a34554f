#pragma once

#include "Pirsk/Instrumentation.h"
#include "Support/PreparedEventLog.h"

#include <functional>
#include <string>

namespace Ondrel::Testing {

/// Prepared host operations whose record also holds the calling thread's calls into the base
/// library, in one order.
class RecordedFrame : public PreparedEventLog {
public:
  RecordedFrame() : m_recorder([this](const std::string& call) { Record(call); }) {
    Pirsk::Instrumentation::SetRecorder(&m_recorder);
  }
  ~RecordedFrame() { Pirsk::Instrumentation::SetRecorder(nullptr); }

private:
  Pirsk::Instrumentation::Recorder m_recorder;
};

}  // namespace Ondrel::Testing
