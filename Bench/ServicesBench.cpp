#include <Ondrel/System.h>
#include <Ondrel/SystemTime.h>

#include <benchmark/benchmark.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

// What the services of the host cost: 100 MB of a program's output against fread from the same
// pipe, versions against a comparator by hand and dpkg's, dates against the C library's calls.

namespace {

using Ondrel::CSystem;
using Ondrel::CSystemDate_Win;
using Ondrel::CSystemTime_Win;

constexpr std::size_t kOutputSize = 100'000'000;

// A file of lines that is removed at the program's end.
const std::string& OutputFile() {
  struct File {
    File() : path("/tmp/ondrel-output-" + std::to_string(getpid())) {
      const std::string line = "PD 3 (slot 7): status changed from OPERATIONAL to FAILED, again\n";
      std::string block;
      while (block.size() < (1 << 20)) block += line;
      std::ofstream file(path, std::ios::binary);
      for (std::size_t size = 0; size < kOutputSize; size += block.size()) file << block;
    }
    ~File() { std::remove(path.c_str()); }

    std::string path;
  };
  static const File file;
  return file.path;
}

void OutputAsText(benchmark::State& state) {
  const std::string& path = OutputFile();
  std::string output;
  for (auto _ : state) {
    if (CSystem::ExecuteCommand("cat", path, output) != 1 || output.size() < kOutputSize / 2)
      state.SkipWithError("not read");
  }
}
BENCHMARK(OutputAsText)->Name("Services/100 MB as text/ondrel")->UseRealTime();

void PartOfOutput(benchmark::State& state, std::size_t size) {
  const std::string arguments = std::string("-c ") + std::to_string(size) + " " + OutputFile();
  std::string output;
  for (auto _ : state)
    if (CSystem::ExecuteCommand("head", arguments, output) != 1 || output.size() < size / 2)
      state.SkipWithError("not read");
}
BENCHMARK_CAPTURE(PartOfOutput, growth1, 1'000'000)
    ->Name("Growth/output of a program read, 1 MB and more/1")
    ->UseRealTime();
BENCHMARK_CAPTURE(PartOfOutput, growth10, 10'000'000)
    ->Name("Growth/output of a program read, 1 MB and more/10")
    ->UseRealTime();
BENCHMARK_CAPTURE(PartOfOutput, growth100, 100'000'000)
    ->Name("Growth/output of a program read, 1 MB and more/100")
    ->UseRealTime();

void OutputAsLines(benchmark::State& state) {
  const std::string& path = OutputFile();
  std::vector<std::string> lines;
  for (auto _ : state) {
    if (CSystem::ExecuteCommand("cat", path, lines) != 1 || lines.size() < kOutputSize / 100)
      state.SkipWithError("not read");
  }
}
BENCHMARK(OutputAsLines)->Name("Services/100 MB as lines/ondrel")->UseRealTime();

void OutputByFread(benchmark::State& state) {
  const std::string command = "cat " + OutputFile();
  std::string output;
  for (auto _ : state) {
    output.clear();
    std::FILE* const stream = popen(command.c_str(), "r");
    char piece[4096];
    for (std::size_t count = 0; (count = std::fread(piece, 1, sizeof piece, stream)) > 0;)
      output.append(piece, count);
    if (pclose(stream) != 0 || output.size() < kOutputSize) state.SkipWithError("not read");
  }
}
BENCHMARK(OutputByFread)->Name("Services/100 MB as text/fread")->UseRealTime();

// Splitting into lines is part of what is asked for.
void LinesByGetline(benchmark::State& state) {
  const std::string command = "cat " + OutputFile();
  for (auto _ : state) {
    std::vector<std::string> lines;
    std::FILE* const stream = popen(command.c_str(), "r");
    char* line = nullptr;
    std::size_t capacity = 0;
    for (ssize_t length = 0; (length = getline(&line, &capacity, stream)) > 0;)
      lines.emplace_back(line, static_cast<std::size_t>(length));
    std::free(line);
    if (pclose(stream) != 0 || lines.size() < kOutputSize / 100) state.SkipWithError("not read");
  }
}
BENCHMARK(LinesByGetline)->Name("Services/100 MB as lines/getline")->UseRealTime();

std::vector<std::pair<std::string, std::string>> Versions() {
  std::mt19937 random(1);
  const auto version = [&random] {
    return "7." + std::to_string(random() % 3) + "." + std::to_string(random() % 100) + "-" +
           std::to_string(random() % 4);
  };
  std::vector<std::pair<std::string, std::string>> pairs;
  for (int i = 0; i < 1024; ++i) pairs.emplace_back(version(), version());
  return pairs;
}

template <class Compare>
void CompareVersions(benchmark::State& state, Compare compare) {
  const auto pairs = Versions();
  std::size_t i = 0;
  for (auto _ : state) {
    const auto& [first, second] = pairs[i++ % pairs.size()];
    benchmark::DoNotOptimize(compare(first, second));
  }
}

int CompareByHand(std::string_view first, std::string_view second) {
  const auto next = [](std::string_view& rest) {
    const std::size_t end = std::min(rest.find_first_of(".-"), rest.size());
    std::int32_t number = 0;
    std::from_chars(rest.data(), rest.data() + end, number);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return number;
  };
  while (!first.empty() || !second.empty()) {
    const std::int32_t left = next(first);
    const std::int32_t right = next(second);
    if (left != right) return left < right ? -1 : 1;
  }
  return 0;
}

void Compare(benchmark::State& state) {
  CompareVersions(state, [](const std::string& first, const std::string& second) {
    return CSystem::VersionCompare(first, second, 0);
  });
}
BENCHMARK(Compare)->Name("Services/comparing versions/ondrel");

void CompareLong(benchmark::State& state, int parts) {
  std::string version = "7";
  for (int part = 1; part < parts; ++part) version.append(".").append(std::to_string(part % 100));
  // They differ in their last part alone.
  const std::string first = version + ".1";
  const std::string second = version + ".2";
  for (auto _ : state) benchmark::DoNotOptimize(CSystem::VersionCompare(first, second, 0));
}
BENCHMARK_CAPTURE(CompareLong, growth1, 10)->Name("Growth/parts of a version, 10 and more/1");
BENCHMARK_CAPTURE(CompareLong, growth10, 100)->Name("Growth/parts of a version, 10 and more/10");
BENCHMARK_CAPTURE(CompareLong, growth100, 1000)->Name("Growth/parts of a version, 10 and more/100");

void CompareWithOwnLoop(benchmark::State& state) { CompareVersions(state, CompareByHand); }
BENCHMARK(CompareWithOwnLoop)->Name("Services/comparing versions/by hand");

void CompareWithDpkg(benchmark::State& state) {
  for (auto _ : state)
    if (std::system("dpkg --compare-versions 7.10.2 gt 7.9.14") != 0)
      state.SkipWithError("dpkg failed");
}
BENCHMARK(CompareWithDpkg)->Name("Services/comparing versions/dpkg, a process")->UseRealTime();

// A moment every 37 days of a century.
std::vector<std::time_t> Moments() {
  std::vector<std::time_t> moments;
  for (std::time_t moment = 0; moment < 3'155'760'000; moment += 37 * 86400 + 3601)
    moments.push_back(moment);
  return moments;
}

void UseZone() {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
}

void DateOfStamp(benchmark::State& state) {
  UseZone();
  const auto moments = Moments();
  std::size_t i = 0;
  CSystemDate_Win date{};
  for (auto _ : state) {
    CSystemTime_Win::GetDate(static_cast<unsigned long long>(moments[i++ % moments.size()]) * 1000,
                             date);
    benchmark::DoNotOptimize(date);
  }
}
BENCHMARK(DateOfStamp)->Name("Services/date of a time stamp/ondrel");

void DateByLocaltime(benchmark::State& state) {
  UseZone();
  const auto moments = Moments();
  std::size_t i = 0;
  std::tm date{};
  for (auto _ : state) {
    localtime_r(&moments[i++ % moments.size()], &date);
    benchmark::DoNotOptimize(date);
  }
}
BENCHMARK(DateByLocaltime)->Name("Services/date of a time stamp/C library");

void TextOfStamp(benchmark::State& state) {
  UseZone();
  const auto moments = Moments();
  std::size_t i = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(Ondrel::timeStampToStrDateTime(
        static_cast<unsigned long long>(moments[i++ % moments.size()]) * 1000));
}
BENCHMARK(TextOfStamp)->Name("Services/text of a time stamp/ondrel");

void TextByStrftime(benchmark::State& state) {
  UseZone();
  const auto moments = Moments();
  std::size_t i = 0;
  for (auto _ : state) {
    std::tm date{};
    char text[64];
    localtime_r(&moments[i++ % moments.size()], &date);
    const std::size_t length = std::strftime(text, sizeof text, "%m/%d/%Y %H:%M:%S", &date);
    benchmark::DoNotOptimize(std::string(text, length));
  }
}
BENCHMARK(TextByStrftime)->Name("Services/text of a time stamp/C library");

void StampOfDate(benchmark::State& state) {
  UseZone();
  std::vector<CSystemDate_Win> dates;
  for (const std::time_t moment : Moments())
    CSystemTime_Win::GetDate(static_cast<unsigned long long>(moment) * 1000, dates.emplace_back());
  std::size_t i = 0;
  for (auto _ : state) {
    unsigned long long stamp = 0;
    CSystemTime_Win::GetTime(dates[i++ % dates.size()], stamp);
    benchmark::DoNotOptimize(stamp);
  }
}
BENCHMARK(StampOfDate)->Name("Services/time stamp of a date/ondrel");

void StampByMktime(benchmark::State& state) {
  UseZone();
  std::vector<std::tm> dates;
  for (const std::time_t moment : Moments()) localtime_r(&moment, &dates.emplace_back());
  std::size_t i = 0;
  for (auto _ : state) {
    std::tm date = dates[i++ % dates.size()];
    date.tm_isdst = -1;
    benchmark::DoNotOptimize(std::mktime(&date));
  }
}
BENCHMARK(StampByMktime)->Name("Services/time stamp of a date/C library");

}  // namespace
