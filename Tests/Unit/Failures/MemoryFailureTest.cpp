#include "Unit/Failures/Scenario.h"

#include <Pirsk/Exceptions.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

// Every allocation of an exported operation fails in turn: it ends with `std::bad_alloc` or with a
// documented outcome, what was opened and allocated is given back, and the next call works.

namespace {

std::atomic<long> g_blocks{0};

void* Allocate(std::size_t size, std::size_t alignment) noexcept {
  if (Ondrel::Testing::Allocations::Fails()) return nullptr;
  void* const block =
      alignment > alignof(std::max_align_t)
          ? std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment)
          : std::malloc(size != 0 ? size : 1);
  if (block != nullptr) g_blocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void* AllocateOrThrow(std::size_t size, std::size_t alignment = 0) {
  void* const block = Allocate(size, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void Release(void* block) noexcept {
  if (block != nullptr) g_blocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return AllocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return AllocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size, 0); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size, 0); }
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t) noexcept { Release(block); }
void operator delete(void* block, std::align_val_t) noexcept { Release(block); }
void operator delete[](void* block, std::align_val_t) noexcept { Release(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { Release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Release(block); }

namespace Ondrel::Testing {

namespace {

constexpr std::uint32_t kModuleNumber = 5;
constexpr std::uint32_t kAllLevels = 0xFFFFFFFF;

class MemoryFailure : public testing::TestWithParam<Scenario> {
protected:
  // Lets each allocation fail in turn while the calls of these numbers fail too. Returns how many
  // there were.
  long FailEach(const std::set<std::size_t>& calls) {
    RunWith(calls, 0);  // What is made once, at the first use, stays.
    const std::string undisturbed = RunWith(calls, 0);
    for (long number = 1;; ++number) {
      const std::string outcome = RunWith(calls, number);
      if (!Allocations::HasFailed()) {
        EXPECT_EQ(outcome, undisturbed);
        return number - 1;
      }
      EXPECT_TRUE(outcome == undisturbed || SaysSo(outcome, undisturbed) || !calls.empty() ||
                  IsListed(outcome))
          << "allocation " << number << ": " << outcome;
      if (HasFailure()) {
        ADD_FAILURE() << "allocation " << number << ": " << outcome;
        return 0;
      }
    }
  }

private:
  // Whether one step, and no other, says that there was no memory; the steps may end with it.
  static bool SaysSo(const std::string& outcome, const std::string& undisturbed) {
    const std::vector<std::string> steps = StepsOf(outcome);
    const std::vector<std::string> expected = StepsOf(undisturbed);
    std::size_t without = 0;
    for (std::size_t step = 0; step < steps.size() && step < expected.size(); ++step) {
      if (steps[step] == expected[step]) continue;
      if (steps[step].find(" no memory") == std::string::npos) return false;
      ++without;
    }
    const bool isWhole = steps.size() == expected.size();
    return without == 1 && (isWhole || steps.back().find(" no memory") != std::string::npos);
  }

  static std::vector<std::string> StepsOf(const std::string& outcome) {
    std::vector<std::string> steps;
    for (std::size_t begin = 0; begin != std::string::npos;) {
      const std::size_t end = outcome.find(", ", begin);
      steps.push_back(outcome.substr(begin, end - begin));
      begin = end == std::string::npos ? end : end + 2;
    }
    return steps;
  }

  static bool IsListed(const std::string& outcome) {
    const auto& listed = GetParam().withoutMemory;
    return std::find(listed.begin(), listed.end(), outcome) != listed.end();
  }

  std::string RunWith(const std::set<std::size_t>& calls, long number) {
    const long blocksBefore = g_blocks.load();
    std::string outcome;
    {
      FailurePlan plan(calls);
      Allocations::FailAt(number);
      outcome = GetParam().run(plan);
      Pirsk::Exceptions::ForgetErrors();
      const bool isLeftOpen = GetParam().isStreamLeftOpen && Allocations::HasFailed();
      EXPECT_LE(plan.OpenHandles(), isLeftOpen ? 1U : 0U);
      EXPECT_EQ(plan.StrayCloses(), 0U);
      EXPECT_LE(plan.BlocksLeft(), GetParam().mostKept);
    }
    const bool isOnHeap = outcome.capacity() > std::string().capacity();
    const long blocksLeft = g_blocks.load() - blocksBefore - (isOnHeap ? 1 : 0);
    EXPECT_TRUE(!m_isWarm || blocksLeft == 0) << blocksLeft << " blocks left: " << outcome;
    m_isWarm = true;
    return outcome;
  }

  bool m_isWarm = false;
};

TEST_P(MemoryFailure, OfEachAllocationIsReportedAndLeavesNothing) { EXPECT_GE(FailEach({}), 0); }

TEST_P(MemoryFailure, OfEachAllocationWhileAHostCallFails) {
  Allocations::FailAt(0);
  FailurePlan none;
  GetParam().run(none);
  ASSERT_GT(none.Calls(), 0U);
  for (std::size_t call = 0; call < none.Calls(); ++call) {
    FailEach({call});
    ASSERT_FALSE(HasFailure()) << "call " << call;
  }
}

// A line that there is no memory for is lost, and nothing else.
TEST_P(MemoryFailure, OfATraceLineChangesNothing) {
  const std::uint32_t earlierMask = Pirsk::Misc::GetTraceMask(kModuleNumber);
  Pirsk::Trace::SetSink([](const Pirsk::Trace::Line&) {});
  Allocations::FailAt(0);
  FailurePlan untraced;
  GetParam().run(untraced);
  const long allocations = FailEach({});
  Pirsk::Misc::SetTraceMask(kModuleNumber, kAllLevels);
  EXPECT_GE(FailEach({}), allocations);
  for (std::size_t call = 0; call < untraced.Calls() && !HasFailure(); ++call) FailEach({call});
  Pirsk::Misc::SetTraceMask(kModuleNumber, earlierMask);
  Pirsk::Trace::SetSink(nullptr);
}

INSTANTIATE_TEST_SUITE_P(, MemoryFailure, testing::ValuesIn(AllScenarios()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace Ondrel::Testing
