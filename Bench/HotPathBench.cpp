#include "Module.h"

#include <Ondrel/StatusTransition.h>

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <random>
#include <unordered_map>
#include <vector>

// What stands in the way of every status change: the lookup of its event, and a trace line that
// nobody asked for.

namespace {

using Ondrel::CStateChange;
using Ondrel::CStateChangeEvent;
using Ondrel::FindStatusTransitionLD;
using Ondrel::FindStatusTransitionPD;

constexpr std::size_t kQuestions = 4096;

struct LogicalDrive {
  static constexpr auto& kStatuses = Ondrel::kLogicalDriveStatuses;

  static bool Find(const CStateChange& change, CStateChangeEvent& event) {
    return FindStatusTransitionLD(change, event);
  }
};

struct PhysicalDrive {
  static constexpr auto& kStatuses = Ondrel::kPhysicalDriveStatuses;

  static bool Find(const CStateChange& change, CStateChangeEvent& event) {
    return FindStatusTransitionPD(change, event);
  }
};

template <class Drive>
std::vector<CStateChange> Changes() {
  std::mt19937 random(1);
  std::vector<CStateChange> changes;
  while (changes.size() < kQuestions) {
    const CStateChange change{Drive::kStatuses[random() % std::size(Drive::kStatuses)],
                              Drive::kStatuses[random() % std::size(Drive::kStatuses)]};
    if (change.OldStatus != change.NewStatus) changes.push_back(change);
  }
  return changes;
}

constexpr std::int64_t Key(const CStateChange& change) {
  return std::int64_t{change.OldStatus} << 32 | change.NewStatus;
}

template <class Drive, class Container>
struct StandardMap {
  StandardMap() {
    for (const CStateChange& change : Changes<Drive>()) {
      CStateChangeEvent event{};
      if (Drive::Find(change, event)) events[Key(change)] = event;
    }
  }
  bool Find(const CStateChange& change, CStateChangeEvent& event) const {
    const auto found = events.find(Key(change));
    if (found == events.end()) return false;
    event = found->second;
    return true;
  }

  Container events;
};

template <class Drive>
using Map = StandardMap<Drive, std::map<std::int64_t, CStateChangeEvent>>;
template <class Drive>
using UnorderedMap = StandardMap<Drive, std::unordered_map<std::int64_t, CStateChangeEvent>>;

struct Switch {
  // In a function that is called, as the library's is.
  [[gnu::noinline]] static bool Look(const CStateChange& change, CStateChangeEvent& event) {
    switch (Key(change)) {
      case Key({Ondrel::kStatusOperational, Ondrel::kStatusPartiallyDegraded}):
        event = {10413, 3};
        return true;
      case Key({Ondrel::kStatusOperational, Ondrel::kStatusDegraded}):
        event = {10412, 4};
        return true;
      case Key({Ondrel::kStatusOperational, Ondrel::kStatusFailed}):
        event = {10414, 4};
        return true;
      case Key({Ondrel::kStatusDegraded, Ondrel::kStatusOperational}):
        event = {10415, 2};
        return true;
      case Key({Ondrel::kStatusDegraded, Ondrel::kStatusPartiallyDegraded}):
        event = {10417, 3};
        return true;
      case Key({Ondrel::kStatusDegraded, Ondrel::kStatusFailed}):
        event = {10418, 4};
        return true;
      case Key({Ondrel::kStatusPartiallyDegraded, Ondrel::kStatusOperational}):
        event = {10419, 2};
        return true;
      case Key({Ondrel::kStatusPartiallyDegraded, Ondrel::kStatusDegraded}):
        event = {10420, 3};
        return true;
      case Key({Ondrel::kStatusPartiallyDegraded, Ondrel::kStatusFailed}):
        event = {10422, 4};
        return true;
      case Key({Ondrel::kStatusFailed, Ondrel::kStatusOperational}):
        event = {10423, 2};
        return true;
      case Key({Ondrel::kStatusFailed, Ondrel::kStatusDegraded}):
        event = {10424, 3};
        return true;
      case Key({Ondrel::kStatusFailed, Ondrel::kStatusPartiallyDegraded}):
        event = {10425, 3};
        return true;
      default:
        return false;
    }
  }
  bool Find(const CStateChange& change, CStateChangeEvent& event) const {
    return Look(change, event);
  }
};

template <class Drive, class Contender>
void FindStatus(benchmark::State& state) {
  const Contender contender;
  const std::vector<CStateChange> changes = Changes<Drive>();
  for (const CStateChange& change : changes) {
    CStateChangeEvent expected{};
    CStateChangeEvent found{};
    if (contender.Find(change, found) != Drive::Find(change, expected) ||
        found.EventCode != expected.EventCode || found.Severity != expected.Severity)
      state.SkipWithError("a wrong event");
  }
  std::size_t question = 0;
  for (auto _ : state) {
    CStateChangeEvent event{};
    benchmark::DoNotOptimize(contender.Find(changes[question++ % kQuestions], event));
    benchmark::DoNotOptimize(event);
  }
}
BENCHMARK(FindStatus<LogicalDrive, LogicalDrive>)->Name("Status/logical drive/ondrel");
BENCHMARK(FindStatus<LogicalDrive, Map<LogicalDrive>>)->Name("Status/logical drive/std::map");
BENCHMARK(FindStatus<LogicalDrive, UnorderedMap<LogicalDrive>>)
    ->Name("Status/logical drive/std::unordered_map");
BENCHMARK(FindStatus<LogicalDrive, Switch>)->Name("Status/logical drive/switch");
BENCHMARK(FindStatus<PhysicalDrive, PhysicalDrive>)->Name("Status/physical drive/ondrel");
BENCHMARK(FindStatus<PhysicalDrive, Map<PhysicalDrive>>)->Name("Status/physical drive/std::map");
BENCHMARK(FindStatus<PhysicalDrive, UnorderedMap<PhysicalDrive>>)
    ->Name("Status/physical drive/std::unordered_map");

void TraceSite(benchmark::State& state) {
  int value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(++value);
    ONDREL_TRACE(Ondrel::kTraceDetail, "Bench", "value %d", value);
  }
}
BENCHMARK(TraceSite)->Name("Trace/a site with its bit clear/ondrel");

void EmptyLoop(benchmark::State& state) {
  int value = 0;
  for (auto _ : state) benchmark::DoNotOptimize(++value);
}
BENCHMARK(EmptyLoop)->Name("Trace/a site with its bit clear/empty loop");

}  // namespace
