#include "Instrumentation.h"

#if defined(PIRSK_INSTRUMENTED)

namespace Pirsk::Instrumentation {

namespace {

thread_local const Recorder* t_recorder = nullptr;

}  // namespace

void SetRecorder(const Recorder* recorder) { t_recorder = recorder; }

void Record(const std::string& call) {
  if (t_recorder != nullptr) (*t_recorder)(call);
}

}  // namespace Pirsk::Instrumentation

#endif
