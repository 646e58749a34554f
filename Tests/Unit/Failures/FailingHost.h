#pragma once

#include "Host/Types.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Ondrel::Testing {

/// The last error that a call leaves which fails by plan.
inline constexpr ULong kPlannedError = 1117;

/// Which calls of the host fail in one run, and what was seen of them.
class FailurePlan {
public:
  FailurePlan() = default;

  /// Lets the calls of these numbers fail, counted from 0 over all operations.
  explicit FailurePlan(std::set<std::size_t> failing) : m_failing(std::move(failing)) {}

  /// Counts a call. True when it is to fail.
  bool Fails(const std::string& operation);

  void Open(void* handle) { m_open.insert(handle); }
  void Close(void* handle);
  void AddBlock(void* block) { m_blocks.insert(block); }
  void RemoveBlock(void* block) { m_blocks.erase(block); }

  std::size_t Calls() const { return m_calls; }

  /// Calls that failed, each with its number among those of its operation: "ReadEventLogA#2".
  const std::vector<std::string>& Failed() const { return m_failed; }

  std::size_t OpenHandles() const { return m_open.size(); }

  /// Handles that were given back and not open.
  std::size_t StrayCloses() const { return m_strayCloses; }

  /// Blocks of the host's heap that were not released.
  std::size_t BlocksLeft() const { return m_blocks.size(); }

  /// What the last error is after a planned failure, until a call fails by itself.
  std::optional<ULong> lastError;

private:
  std::set<std::size_t> m_failing;
  std::size_t m_calls = 0;
  std::map<std::string, int> m_callsOf;
  std::vector<std::string> m_failed;
  std::multiset<void*> m_open;
  std::set<void*> m_blocks;
  std::size_t m_strayCloses = 0;
};

/// Wraps all operations of the host as they stand: each can fail by plan, and what is opened and
/// allocated is watched. In force for one scope; there is one at a time.
class FailingHost {
public:
  explicit FailingHost(FailurePlan& plan);
  ~FailingHost();

  FailingHost(const FailingHost&) = delete;
  FailingHost& operator=(const FailingHost&) = delete;

private:
  class Tables;
  std::unique_ptr<Tables> m_tables;
};

/// Allocations by `new` of the calling thread, of which one can fail. Only those in a `Counted`
/// scope, and not in an `Uncounted` one within, are looked at.
namespace Allocations {

/// Lets the n-th counted allocation fail, from 1; 0 for none.
void FailAt(long number);

/// Whether it did.
bool HasFailed();

/// For the operator that the program replaces. True when this allocation is to fail.
bool Fails() noexcept;

/// The library is at work.
class Counted {
public:
  Counted();
  ~Counted();

  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
};

/// The host, or a test's own part, is at work.
class Uncounted {
public:
  Uncounted();
  ~Uncounted();

  Uncounted(const Uncounted&) = delete;
  Uncounted& operator=(const Uncounted&) = delete;

private:
  bool m_wasCounting;
};

}  // namespace Allocations

}  // namespace Ondrel::Testing
