#pragma once

/// Call recording for tests of the call order between a module and the base library.
///
/// In the instrumented build each imported operation reports its name and arguments to the calling
/// thread's recorder; in the ordinary build `PIRSK_RECORD` is nothing and its arguments are not
/// computed.

#if defined(PIRSK_INSTRUMENTED)

#include <Pirsk/LanguageFile.h>

#include <cstddef>
#include <functional>
#include <string>

namespace Pirsk::Instrumentation {

using Recorder = std::function<void(const std::string& call)>;

/// Sets the calling thread's recorder; null for none. It has to outlive its use.
void SetRecorder(const Recorder* recorder);

void Record(const std::string& call);

/// A module's texts, and the rows of its error list, as they are recorded: "{first; second}" and
/// "{0x20010001: 1; 0x20010002: 0}".
std::string TextsOf(const char* const* texts, std::size_t count);
std::string RowsOf(const Language_Support::CLanguageSupport::ERROR_MSG_LIST* rows);

}  // namespace Pirsk::Instrumentation

#define PIRSK_RECORD(call) ::Pirsk::Instrumentation::Record(call)

#else

#define PIRSK_RECORD(call) static_cast<void>(0)

#endif
