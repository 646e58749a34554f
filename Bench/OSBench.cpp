#include <Ondrel/OSInfo.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

// Naming an operating system: all eight texts of a record, and one predicate against testing the
// fields by hand. Records from lines are named by the command as a process, beside the library's
// own cost for these.

namespace {

using namespace Ondrel;

OS_FACTS Server2019() {
  OS_FACTS facts{};
  facts.underlying.platform = 4;
  facts.underlying.major = 10;
  facts.underlying.build = 17763;
  facts.underlying.processor = 6;
  facts.osType = 2;
  facts.suite1 = OSFlags::Datacenter.mask | OSFlags::HyperVTools.mask | OSFlags::ServerCore.mask;
  return facts;
}

using Names = std::array<std::string, 8>;

void NameAll(const COSInfo_Win& info, Names& texts) {
  texts[2].clear();
  info.GetOSVendor(texts[0]);
  info.GetOSProduct(texts[1]);
  info.GetOSEdition(texts[2]);
  info.GetOSServicePack(texts[3]);
  info.GetOSVersion(texts[4]);
  info.GetOSBuildNumber(texts[5]);
  info.GetProcessorArchitecture(texts[6]);
  info.GetOSFeatures(texts[7]);
  benchmark::DoNotOptimize(texts);
}

void AllNames(benchmark::State& state) {
  const COSInfo_Win info(Server2019());
  Names texts;
  for (auto _ : state) NameAll(info, texts);
}
BENCHMARK(AllNames)->Name("Operating system/all eight names/ondrel");

// A server, a domain controller and a workstation in turn.
std::vector<OS_FACTS> Records() {
  std::vector<OS_FACTS> records(64, Server2019());
  for (std::size_t i = 0; i < records.size(); ++i)
    records[i].osType = static_cast<std::uint32_t>(i * 7 % 4);
  return records;
}

void Predicate(benchmark::State& state) {
  const std::vector<OS_FACTS> records = Records();
  const COSProbe probe;
  std::size_t i = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(probe.IsDatacenterServer2019(records[i++ % records.size()], 1));
}
BENCHMARK(Predicate)->Name("Operating system/one predicate/ondrel");

// In a function that is called, as the library's is.
[[gnu::noinline]] int IsDatacenterServer2019(const OS_FACTS& facts) {
  const OS_VERSION_HALF& half = facts.underlying;
  const bool isModern =
      half.platform == 4 && (half.major >= 7 || (half.major == 6 && half.minor >= 4));
  return isModern && half.build >= 17600 && half.build <= 20297 &&
                 (facts.osType == 2 || facts.osType == 3) && (facts.suite1 & 0x20) != 0
             ? 1
             : 0;
}

void ByHand(benchmark::State& state) {
  const std::vector<OS_FACTS> records = Records();
  std::size_t i = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(IsDatacenterServer2019(records[i++ % records.size()]));
}
BENCHMARK(ByHand)->Name("Operating system/one predicate/by hand");

// What a record of the file for the command has that differs from one to the next.
struct Varying {
  int build, servicePack, suite, osType;

  explicit Varying(int i)
      : build(10240 + i % 10000), servicePack(i % 4), suite(i % 1024), osType(i % 4) {}
};

// A file of so many records, one in a line, for the command.
class RecordFile {
public:
  explicit RecordFile(int count)
      : m_path(std::filesystem::temp_directory_path() /
               (std::string("ondrel-records-") + std::to_string(getpid()) + "-" +
                std::to_string(count))) {
    std::ofstream file(m_path);
    for (int i = 0; i < count; ++i) {
      const Varying varying(i);
      file << R"({"kind":"windows","reported":{"major":6,"minor":2,"build":9200,"platform":2},)"
           << R"("underlying":{"major":10,"minor":0,"build":)" << varying.build
           << R"(,"platform":4,"processor":6,"csdVersion":"Service Pack )" << varying.servicePack
           << R"("},"suite1":)" << varying.suite << R"(,"osType":)" << varying.osType << "}\n";
    }
  }
  ~RecordFile() { std::filesystem::remove(m_path); }

  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  const std::string& Path() const { return m_path; }

private:
  std::string m_path;
};

void NameLines(benchmark::State& state, int count, const char* options) {
  const RecordFile file(count);
  const std::string command =
      std::string(ONDREL_COMMAND " os --from - ") + options + " <" + file.Path() + " >/dev/null";
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) state.SkipWithError("the command failed");
}

// The library's own cost for the same records: it reads no lines.
void NameRecords(benchmark::State& state, int count) {
  OS_FACTS facts{};
  facts.reported.major = 6;
  facts.reported.minor = 2;
  facts.reported.build = 9200;
  facts.reported.platform = 2;
  facts.underlying.major = 10;
  facts.underlying.platform = 4;
  facts.underlying.processor = 6;
  const std::string servicePack = "Service Pack ";
  char* const digit =
      std::copy(servicePack.begin(), servicePack.end(), facts.underlying.csdVersion);
  Names texts;
  for (auto _ : state) {
    for (int i = 0; i < count; ++i) {
      const Varying varying(i);
      facts.underlying.build = static_cast<std::uint32_t>(varying.build);
      *digit = static_cast<char>('0' + varying.servicePack);
      facts.suite1 = static_cast<std::uint32_t>(varying.suite);
      facts.osType = static_cast<std::uint32_t>(varying.osType);
      NameAll(COSInfo_Win(facts), texts);
    }
  }
}

constexpr int kManyRecords = 1'000'000;
BENCHMARK_CAPTURE(NameLines, names, kManyRecords, "")
    ->Name("Operating system/1000000 records from lines, names/ondrel")
    ->UseRealTime();
BENCHMARK_CAPTURE(NameRecords, names, kManyRecords)
    ->Name("Operating system/1000000 records from lines, names/library")
    ->UseRealTime();
BENCHMARK_CAPTURE(NameLines, facts, kManyRecords, "--facts")
    ->Name("Operating system/1000000 records from lines, facts/ondrel")
    ->UseRealTime();
BENCHMARK_CAPTURE(NameLines, predicates, kManyRecords, "--predicates")
    ->Name("Operating system/1000000 records from lines, names and predicates/ondrel")
    ->UseRealTime();
BENCHMARK_CAPTURE(NameLines, growth1, 1'000, "")
    ->Name("Growth/records of systems named, a process, 1000 and more/1")
    ->UseRealTime();
BENCHMARK_CAPTURE(NameLines, growth10, 10'000, "")
    ->Name("Growth/records of systems named, a process, 1000 and more/10")
    ->UseRealTime();
BENCHMARK_CAPTURE(NameLines, growth100, 100'000, "")
    ->Name("Growth/records of systems named, a process, 1000 and more/100")
    ->UseRealTime();

}  // namespace
