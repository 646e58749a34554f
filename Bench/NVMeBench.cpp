#include "Host/DeviceOperations.h"

#include <Ondrel/NVMe.h>
#include <Ondrel/NVMeQuery.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

// What a query costs beside the device itself, against copying its answer; and reading a
// controller.

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

BENCHMARK(QueryHealth)->Name("NVMe/health query without its device/ondrel");
BENCHMARK(CopyHealth)->Name("NVMe/health query without its device/buffer and copy");
BENCHMARK(ReadController)->Name("NVMe/texts of a controller/ondrel");
BENCHMARK(CopyTexts)->Name("NVMe/texts of a controller/std::string");

}  // namespace
