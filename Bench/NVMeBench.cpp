#include "Host/DeviceOperations.h"

#include <Ondrel/NVMe.h>
#include <Ondrel/NVMeQuery.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

// What a query costs beside the device itself, against copying its answer; reading a controller;
// and showing a saved one, against nvme-cli, whose device answers with the same file.

namespace {

using namespace Ondrel;

char g_handle;

// A device that answers at once.
Host::DeviceOperations InstantDevice() {
  return {
      .CreateFileA = [](const char*, ULong, ULong, void*, ULong, ULong, void*) -> void* {
        return &g_handle;
      },
      .DeviceIoControl =
          [](void*, ULong, void*, ULong, void* output, ULong outputSize, ULong* returned, void*) {
            const std::uint32_t head[12] = {48, 48, 3, 2, 2, 0, 40, outputSize - 48};
            std::memcpy(output, head, sizeof head);
            *returned = outputSize;
            return 1;
          },
      .CloseHandle = [](void*) { return 1; },
      .GetLastError = [] { return ULong{0}; },
  };
}

void QueryHealth(benchmark::State& state) {
  Host::Device() = InstantDevice();
  NVME_SMART_HEALTH_INFORMATION_LOG log;
  for (auto iteration : state)
    benchmark::DoNotOptimize(NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo("disk", &log));
}

void CopyHealth(benchmark::State& state) {
  const auto answer = std::make_unique<unsigned char[]>(4144);
  NVME_SMART_HEALTH_INFORMATION_LOG log;
  for (auto iteration : state) {
    const auto buffer = std::make_unique<unsigned char[]>(4144);
    benchmark::DoNotOptimize(buffer.get());
    std::memcpy(static_cast<void*>(&log), answer.get() + 48, sizeof log);
    benchmark::DoNotOptimize(&log);
  }
}

void ReadController(benchmark::State& state) {
  const auto controller = std::make_unique<NVME_IDENTIFY_CONTROLLER>();
  std::memset(static_cast<void*>(controller.get()), ' ', sizeof *controller);
  for (auto iteration : state) {
    benchmark::DoNotOptimize(controller->sSerialNumber());
    benchmark::DoNotOptimize(controller->sModelNumber());
    benchmark::DoNotOptimize(controller->sFirmwareRevision());
    benchmark::DoNotOptimize(controller->Capacity(nullptr));
  }
}

void CopyTexts(benchmark::State& state) {
  const auto controller = std::make_unique<NVME_IDENTIFY_CONTROLLER>();
  std::memset(static_cast<void*>(controller.get()), ' ', sizeof *controller);
  for (auto iteration : state) {
    benchmark::DoNotOptimize(std::string(controller->SN, sizeof controller->SN));
    benchmark::DoNotOptimize(std::string(controller->MN, sizeof controller->MN));
    benchmark::DoNotOptimize(std::string(controller->FR, sizeof controller->FR));
    benchmark::DoNotOptimize(std::uint64_t{controller->TNVMCAP[0]});
  }
}

// A controller saved to a file, for as long as the object lives.
class SavedController {
public:
  SavedController()
      : m_path(std::filesystem::temp_directory_path() /
               ("controller-" + std::to_string(getpid()))) {
    const auto controller = std::make_unique<NVME_IDENTIFY_CONTROLLER>();
    std::memset(static_cast<void*>(controller.get()), 0, sizeof *controller);
    std::memset(controller->SN, 'S', sizeof controller->SN);
    std::memset(controller->MN, 'M', sizeof controller->MN);
    std::memset(controller->FR, 'F', sizeof controller->FR);
    std::ofstream(m_path, std::ios::binary)
        .write(reinterpret_cast<const char*>(controller.get()), sizeof *controller);
  }
  ~SavedController() { std::filesystem::remove(m_path); }

  SavedController(const SavedController&) = delete;
  SavedController& operator=(const SavedController&) = delete;

  std::string Path() const { return m_path.string(); }

private:
  std::filesystem::path m_path;
};

void RunProcess(benchmark::State& state, const std::string& command) {
  for (auto iteration : state)
    if (std::system(command.c_str()) != 0) state.SkipWithError("it failed");
}

void ShowSaved(benchmark::State& state) {
  const SavedController saved;
  RunProcess(state, "exec " ONDREL_COMMAND " nvme id-ctrl --raw " + saved.Path() + " >/dev/null");
}

void ShowSavedWithNVMeCli(benchmark::State& state) {
  const SavedController saved;
  RunProcess(state, "SAVED_CONTROLLER=" + saved.Path() +
                        " LD_PRELOAD=" SAVED_CONTROLLER_DEVICE
                        " exec nvme id-ctrl /dev/zero >/dev/null");
}

BENCHMARK(QueryHealth)->Name("NVMe/health query without its device/ondrel");
BENCHMARK(CopyHealth)->Name("NVMe/health query without its device/buffer and copy");
BENCHMARK(ReadController)->Name("NVMe/texts of a controller/ondrel");
BENCHMARK(CopyTexts)->Name("NVMe/texts of a controller/std::string");
BENCHMARK(ShowSaved)->Name("NVMe/showing a saved controller, process/ondrel")->UseRealTime();
BENCHMARK(ShowSavedWithNVMeCli)
    ->Name("NVMe/showing a saved controller, process/nvme-cli")
    ->UseRealTime();

}  // namespace
