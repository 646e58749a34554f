#include "Instrumentation.h"

#if defined(PIRSK_INSTRUMENTED)

#include <cstdio>

namespace Pirsk::Instrumentation {

namespace {

thread_local const Recorder* t_recorder = nullptr;

}  // namespace

void SetRecorder(const Recorder* recorder) { t_recorder = recorder; }

void Record(const std::string& call) {
  if (t_recorder != nullptr) (*t_recorder)(call);
}

std::string TextsOf(const char* const* texts, std::size_t count) {
  std::string list;
  for (std::size_t index = 0; index < count; ++index)
    list.append(index == 0 ? "{" : "; ").append(texts[index]);
  return list + "}";
}

std::string RowsOf(const Language_Support::CLanguageSupport::ERROR_MSG_LIST* rows) {
  std::string list = "{";
  for (const auto* row = rows; row->errorNumber != 0; ++row) {
    char number[sizeof "0x00000000"];
    std::snprintf(number, sizeof number, "0x%08x", row->errorNumber);
    list.append(row == rows ? "" : "; ").append(number).append(": ");
    list.append(std::to_string(row->messageIndex));
  }
  return list + "}";
}

}  // namespace Pirsk::Instrumentation

#endif
