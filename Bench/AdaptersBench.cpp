#include "Host/DeviceSetupOperations.h"
#include "Host/Linux/Devices/DeviceSetup.h"
#include "Support/TemporaryFolder.h"
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

/// Prepared devices, each tenth of them a RAID controller.
void LibraryOverPrepared(benchmark::State& state, int count) {
  const Ondrel::Testing::TemporaryFolder folder;
  for (int i = 0; i < count; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "%04x:%02x:00.0", static_cast<unsigned>(i / 256),
                  static_cast<unsigned>(i % 256));
    std::filesystem::create_directory(folder.Path(name));
    const auto write = [&](const char* file, const char* text) {
      folder.Write(std::string(name) + '/' + file, text);
    };
    write("class", i % 10 == 0 ? "0x010400\n" : "0x020000\n");
    write("vendor", "0x1000\n");
    write("device", "0x005d\n");
    write("subsystem_vendor", "0x1028\n");
    write("subsystem_device", "0x1f49\n");
    write("revision", "0x02\n");
  }
  Ondrel::Host::DeviceSetup() = Ondrel::Host::MakePciDeviceSetupOperations(folder.Path());
  Library(state);
  Ondrel::Host::DeviceSetup() = Ondrel::Host::MakeDeviceSetupOperations();
}

BENCHMARK_CAPTURE(LibraryOverPrepared, growth1, 10)
    ->Name("Growth/adapters among PCI devices, 10 and more/1");
BENCHMARK_CAPTURE(LibraryOverPrepared, growth10, 100)
    ->Name("Growth/adapters among PCI devices, 10 and more/10");
BENCHMARK_CAPTURE(LibraryOverPrepared, growth100, 1000)
    ->Name("Growth/adapters among PCI devices, 10 and more/100");

BENCHMARK(Library)->Name("Adapters/enumeration/library");
BENCHMARK(SysfsWalk)->Name("Adapters/enumeration/sysfs walk");
BENCHMARK(Lspci)->Name("Adapters/enumeration/lspci process")->UseRealTime();

}  // namespace
