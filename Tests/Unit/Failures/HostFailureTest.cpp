#include "Unit/Failures/Scenario.h"

#include <Pirsk/Exceptions.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

// Every call that an exported operation makes of the host fails in turn, alone and together with
// every other one. The outcome is the documented one, and what was opened and allocated is given
// back.

namespace Ondrel::Testing {

namespace {

class HostFailure : public testing::TestWithParam<Scenario> {
protected:
  // Runs the operations and checks that nothing is left.
  std::string Run(FailurePlan& plan) {
    std::string outcome = GetParam().run(plan);
    EXPECT_EQ(plan.OpenHandles(), 0U);
    EXPECT_EQ(plan.StrayCloses(), 0U);
    EXPECT_LE(plan.BlocksLeft(), GetParam().mostKept);
    Pirsk::Exceptions::ForgetErrors();
    return outcome;
  }

  // The row for the call "ReadEventLogA#2", or for all calls of its operation.
  const std::pair<std::string, std::string>* RowOf(const std::string& call) {
    const auto& rows = GetParam().failures;
    for (const std::string& key : {call, call.substr(0, call.find('#'))})
      for (const auto& row : rows)
        if (row.first == key) return &row;
    return nullptr;
  }
};

TEST_P(HostFailure, OfEachCallHasItsOutcome) {
  FailurePlan none;
  ASSERT_EQ(Run(none), GetParam().outcome);
  ASSERT_GT(none.Calls(), 0U);

  std::set<std::string> used;
  for (std::size_t call = 0; call < none.Calls(); ++call) {
    FailurePlan plan({call});
    const std::string outcome = Run(plan);
    ASSERT_EQ(plan.Failed().size(), 1U);
    const auto* const row = RowOf(plan.Failed().front());
    ASSERT_NE(row, nullptr) << plan.Failed().front() << ": " << outcome;
    EXPECT_EQ(outcome, row->second) << plan.Failed().front();
    used.insert(row->first);
  }
  for (const auto& row : GetParam().failures) EXPECT_TRUE(used.contains(row.first)) << row.first;
}

TEST_P(HostFailure, OfTwoCallsLeavesNothing) {
  FailurePlan none;
  Run(none);
  ASSERT_GT(none.Calls(), 0U);
  for (std::size_t first = 0; first < none.Calls(); ++first) {
    // The first failure may bring further calls, or end them.
    FailurePlan alone({first});
    Run(alone);
    for (std::size_t second = first + 1; second < alone.Calls(); ++second) {
      FailurePlan plan({first, second});
      Run(plan);
      ASSERT_EQ(plan.Failed().size(), 2U);
      ASSERT_FALSE(HasFailure()) << plan.Failed().front() << " and " << plan.Failed().back();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, HostFailure, testing::ValuesIn(AllScenarios()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace Ondrel::Testing
