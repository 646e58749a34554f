#include <Ondrel/CodeNames.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

// From code to name, against the structures that one would take otherwise. Every contender yields
// the same: a text, or nothing. The codes asked for stand in random order.

namespace {

using Ondrel::CCodeNames;
using Name = std::optional<std::string_view>;

struct Vocabulary {
  const CCodeNames& names;

  explicit Vocabulary(const CCodeNames& source) : names(source) {}
  Name Find(std::int32_t code) const { return names.Name(code); }
};

template <class Container>
struct StandardMap {
  Container names;

  explicit StandardMap(const CCodeNames& source) {
    for (const auto [code, name] : source) names.emplace(code, name);
  }
  Name Find(std::int32_t code) const {
    const auto found = names.find(code);
    if (found == names.end()) return std::nullopt;
    return found->second;
  }
};

using Map = StandardMap<std::map<std::int32_t, std::string>>;
using UnorderedMap = StandardMap<std::unordered_map<std::int32_t, std::string>>;

struct SortedArray {
  std::vector<std::pair<std::int32_t, std::string_view>> rows;

  explicit SortedArray(const CCodeNames& source) : rows(source.begin(), source.end()) {}
  Name Find(std::int32_t code) const {
    const auto found =
        std::lower_bound(rows.begin(), rows.end(), code,
                         [](const auto& row, std::int32_t wanted) { return row.first < wanted; });
    if (found == rows.end() || found->first != code) return std::nullopt;
    return found->second;
  }
};

/// Hash and displace: the upper bits of the hash choose a bucket, the bucket's displacement and the
/// hash choose a slot, and no two codes come to the same slot.
struct PerfectHash {
  struct Slot {
    std::int32_t code = 0;
    std::string_view name;
    bool taken = false;
  };
  std::vector<std::uint32_t> displacements;
  std::vector<Slot> slots;
  std::uint32_t bucketShift = 32;

  explicit PerfectHash(const CCodeNames& source) {
    std::uint32_t bucketBits = 1;
    while ((std::size_t{4} << bucketBits) < source.size()) ++bucketBits;
    std::size_t slotCount = 1;
    while (slotCount * 3 < source.size() * 4) slotCount *= 2;
    bucketShift = 32 - bucketBits;
    displacements.resize(std::size_t{1} << bucketBits);
    slots.resize(slotCount);

    std::vector<std::vector<std::pair<std::int32_t, std::string_view>>> buckets(
        displacements.size());
    for (const auto row : source) buckets[Hash(row.first) >> bucketShift].push_back(row);
    std::vector<std::size_t> order(buckets.size());
    for (std::size_t bucket = 0; bucket < order.size(); ++bucket) order[bucket] = bucket;
    std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
      return buckets[left].size() > buckets[right].size();
    });
    for (const std::size_t bucket : order) {
      while (!Place(buckets[bucket], displacements[bucket])) ++displacements[bucket];
    }
  }

  bool Place(const std::vector<std::pair<std::int32_t, std::string_view>>& rows,
             std::uint32_t displacement) {
    std::vector<std::size_t> taken;
    for (const auto& [code, name] : rows) {
      const std::size_t slot = SlotOf(Hash(code), displacement);
      if (slots[slot].taken || std::find(taken.begin(), taken.end(), slot) != taken.end()) {
        return false;
      }
      taken.push_back(slot);
    }
    for (std::size_t row = 0; row < rows.size(); ++row) {
      slots[taken[row]] = {rows[row].first, rows[row].second, true};
    }
    return true;
  }

  static std::uint32_t Hash(std::int32_t code) {
    return static_cast<std::uint32_t>(code) * 0x9e3779b1U;
  }
  std::size_t SlotOf(std::uint32_t hash, std::uint32_t displacement) const {
    return ((hash ^ displacement * 0x85ebca6bU) >> 8U) & (slots.size() - 1);
  }

  Name Find(std::int32_t code) const {
    const std::uint32_t hash = Hash(code);
    const Slot& slot = slots[SlotOf(hash, displacements[hash >> bucketShift])];
    if (slot.code != code || !slot.taken) return std::nullopt;
    return slot.name;
  }
};

constexpr std::size_t kQuestions = 4096;

std::vector<std::int32_t> ListedCodes(const CCodeNames& names) {
  std::vector<std::int32_t> listed;
  for (const auto [code, name] : names) listed.push_back(code);
  std::mt19937 random(1);
  std::vector<std::int32_t> codes;
  while (codes.size() < kQuestions) codes.push_back(listed[random() % listed.size()]);
  return codes;
}

std::vector<std::int32_t> UnlistedCodes(const CCodeNames& names) {
  std::mt19937 random(1);
  std::vector<std::int32_t> codes;
  while (codes.size() < kQuestions) {
    const auto code = static_cast<std::int32_t>(random() % 60000);
    if (names.count(code) == 0) codes.push_back(code);
  }
  return codes;
}

template <class Contender>
void Lookup(benchmark::State& state, const CCodeNames& names,
            const std::vector<std::int32_t>& codes) {
  const Contender contender(names);
  for (const std::int32_t code : codes) {
    if (contender.Find(code) != names.Name(code)) state.SkipWithError("a wrong name");
  }
  std::size_t question = 0;
  for (auto _ : state) {
    const Name name = contender.Find(codes[question++ % kQuestions]);
    benchmark::DoNotOptimize(name ? name->data() : nullptr);
  }
}

template <class Contender>
void RegisterLookups(const char* title, const CCodeNames& names, const char* contender) {
  const std::string prefix = std::string("Lookup/") + title;
  benchmark::RegisterBenchmark((prefix + ", listed/" + contender).c_str(), Lookup<Contender>,
                               std::cref(names), ListedCodes(names));
  benchmark::RegisterBenchmark((prefix + ", not listed/" + contender).c_str(), Lookup<Contender>,
                               std::cref(names), UnlistedCodes(names));
}

void RegisterContenders(const char* title, const CCodeNames& names) {
  RegisterLookups<Vocabulary>(title, names, "vocabulary");
  RegisterLookups<Map>(title, names, "std::map");
  RegisterLookups<UnorderedMap>(title, names, "std::unordered_map");
  RegisterLookups<SortedArray>(title, names, "sorted array");
  RegisterLookups<PerfectHash>(title, names, "perfect hash");
}

}  // namespace

int main(int argumentCount, char** arguments) {
  RegisterContenders("errors", Ondrel::ErrorCodeNames);
  RegisterContenders("operations", Ondrel::OperationCodeNames);
  RegisterContenders("events", Ondrel::EventCodeNames);
  RegisterContenders("properties", Ondrel::PropertyCodeNames);
  RegisterContenders("values", Ondrel::ValueCodeNames);
  benchmark::Initialize(&argumentCount, arguments);
  if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
