#pragma once

#include "Unit/Failures/FailingHost.h"

#include <cstdio>
#include <functional>
#include <new>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel::Testing {

/// Exported operations over a prepared host, and what has to come of each failure.
struct Scenario {
  std::string name;
  std::string outcome;  ///< Without a failure.

  /// The outcome when one call fails: by its operation and number ("ReadEventLogA#2"), or for all
  /// calls of an operation that have no row of their own.
  std::vector<std::pair<std::string, std::string>> failures;

  /// Sets the host up, lets calls fail by the plan and yields the outcome as words.
  std::function<std::string(FailurePlan&)> run;

  std::size_t mostKept = 0;  ///< Blocks of the host's heap that stay, intentionally.
  /// Outcomes for want of memory, beside those in which one step alone says so.
  std::vector<std::string> withoutMemory = {};

  bool isStreamLeftOpen = false;  ///< Want of memory leaves a stream open, intentionally.
};

inline void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }

std::vector<Scenario> LogAndDeviceScenarios();
std::vector<Scenario> SystemScenarios();

inline std::vector<Scenario> AllScenarios() {
  std::vector<Scenario> scenarios = LogAndDeviceScenarios();
  for (Scenario& scenario : SystemScenarios()) scenarios.push_back(std::move(scenario));
  return scenarios;
}

/// What came of some calls: "open 1, report 0x20050007".
class Outcome {
public:
  /// Makes a call of the library whose allocations count. True when it returned.
  template <class Call>
  bool Add(const char* what, Call call) {
    if (!m_text.empty()) m_text += ", ";
    m_text += what;
    try {
      long long value = 0;
      {
        const Allocations::Counted counted;
        value = static_cast<long long>(call());
      }
      m_text += " " + std::to_string(value);
      return true;
    } catch (unsigned int number) {
      char text[16];
      std::snprintf(text, sizeof text, " 0x%08X", number);
      m_text += text;
    } catch (const std::bad_alloc&) {
      m_text += " no memory";
    }
    return false;
  }

  void Say(const std::string& text) { m_text += text; }

  const std::string& Text() const { return m_text; }

private:
  std::string m_text;
};

}  // namespace Ondrel::Testing
