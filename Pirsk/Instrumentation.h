#pragma once

/// Call recording for tests of the call order between a module and the base library.
///
/// In the instrumented build each imported operation reports its name and arguments to the calling
/// thread's recorder; in the ordinary build `PIRSK_RECORD` is nothing and its arguments are not
/// computed.

#if defined(PIRSK_INSTRUMENTED)

#include <functional>
#include <string>

namespace Pirsk::Instrumentation {

using Recorder = std::function<void(const std::string& call)>;

/// Sets the calling thread's recorder; null for none. It has to outlive its use.
void SetRecorder(const Recorder* recorder);

void Record(const std::string& call);

}  // namespace Pirsk::Instrumentation

#define PIRSK_RECORD(call) ::Pirsk::Instrumentation::Record(call)

#else

#define PIRSK_RECORD(call) static_cast<void>(0)

#endif
