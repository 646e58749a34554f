#include "Support/TraceCapture.h"

#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

namespace Ondrel::Testing {

namespace {

constexpr std::uint32_t kModuleNumber = 5;

}  // namespace

TraceCapture::TraceCapture(std::uint32_t mask)
    : m_earlierMask(Pirsk::Misc::GetTraceMask(kModuleNumber)) {
  Pirsk::Trace::SetSink([this](const Pirsk::Trace::Line& line) {
    m_lines.push_back({line.level, line.function, line.text});
  });
  Pirsk::Misc::SetTraceMask(kModuleNumber, mask);
}

TraceCapture::~TraceCapture() {
  Pirsk::Misc::SetTraceMask(kModuleNumber, m_earlierMask);
  Pirsk::Trace::SetSink(nullptr);
}

std::vector<std::string> TraceCapture::Texts() const {
  std::vector<std::string> texts;
  for (const CapturedLine& line : m_lines) texts.push_back(line.text);
  return texts;
}

}  // namespace Ondrel::Testing
