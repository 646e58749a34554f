#include "Pirsk/Instrumentation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

// What the module asks of the base library while it is loaded, before anything else runs.

namespace Ondrel {
namespace {

// Made before the module's own static objects.
class StartRecorder {
public:
  StartRecorder() { Pirsk::Instrumentation::SetRecorder(&m_recorder); }

  const std::vector<std::string>& Calls() const { return m_calls; }

private:
  std::vector<std::string> m_calls;
  Pirsk::Instrumentation::Recorder m_recorder = [this](const std::string& call) {
    if (call.starts_with("CLngFile::") || call.starts_with("CModuleInfo::"))
      m_calls.push_back(call);
  };
};

constexpr int kFirst = 101;
[[gnu::init_priority(kFirst)]] StartRecorder g_start;

TEST(ModuleStart, BindsTheLanguageFileAndThenRegistersWithTheErrorList) {
  EXPECT_THAT(
      g_start.Calls(),
      testing::ElementsAre(
          "CLngFile::CLngFile(ondrel.nls, 25966, utf-8, 1, {System log already opened; Cannot "
          "close system log; System log deregistration failed; Invalid parameter; System log not "
          "opened for writing; Cannot open system log; System log registration failed; Time "
          "system call failed; No information available for this error})",
          "CModuleInfo::CModuleInfo(5, ondrel, P:7.10.2 F:7.10.2, {0x20050001: 0; 0x20050006: 1; "
          "0x20050005: 2; 0x20050002: 3; 0x20050007: 4; 0x20050003: 5; 0x20050004: 6; "
          "0x20050008: 7})"));
}

}  // namespace
}  // namespace Ondrel
