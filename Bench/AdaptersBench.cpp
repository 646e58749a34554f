#include "Windows/DeviceList.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

// From nothing to the list of storage adapters of this machine, against a walk over the kernel's
// folder of PCI devices and against lspci as a process.

namespace {

void Library(benchmark::State& state) {
  for (auto _ : state) {
    Ondrel::CDeviceList::Devices().clear();
    benchmark::DoNotOptimize(Ondrel::CDeviceList::Enumerate());
  }
}

std::string FirstLine(const std::filesystem::path& file) {
  std::string line;
  std::ifstream stream(file);
  std::getline(stream, line);
  return line;
}

/// What a program would write that asks for no more than types and places.
void SysfsWalk(benchmark::State& state) {
  for (auto _ : state) {
    std::size_t found = 0;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/bus/pci/devices", missing)) {
      if (!FirstLine(entry.path() / "class").starts_with("0x01")) continue;
      std::string id = FirstLine(entry.path() / "vendor") + FirstLine(entry.path() / "device");
      benchmark::DoNotOptimize(id.data());
      ++found;
    }
    benchmark::DoNotOptimize(found);
  }
}

void Lspci(benchmark::State& state) {
  for (auto _ : state) {
    std::FILE* const output = popen("lspci -Dn", "r");
    char line[512];
    std::size_t lines = 0;
    while (output != nullptr && std::fgets(line, sizeof(line), output) != nullptr) ++lines;
    if (output == nullptr || pclose(output) != 0) {
      state.SkipWithError("lspci did not run");
      break;
    }
    benchmark::DoNotOptimize(lines);
  }
}

BENCHMARK(Library)->Name("Adapters/enumeration/library");
BENCHMARK(SysfsWalk)->Name("Adapters/enumeration/sysfs walk");
BENCHMARK(Lspci)->Name("Adapters/enumeration/lspci process")->UseRealTime();

}  // namespace
