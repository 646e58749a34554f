#include "Host/ClockOperations.h"
#include "Host/CurlOperations.h"
#include "Host/DeviceOperations.h"
#include "Host/DeviceSetupOperations.h"
#include "Host/DrivesOperations.h"
#include "Host/EventLogOperations.h"
#include "Host/Immortal.h"
#include "Host/MemoryOperations.h"
#include "Host/ProcessOperations.h"
#include "Host/ServiceOperations.h"
#include "Host/SystemFactsOperations.h"
#include "Host/TimeOperations.h"
#include "Host/VolumeOperations.h"

#include <cstdlib>

/// The table of host operations in force for each family. These are the only global state of the
/// seam. Each is filled by the host's provider at its first use and never destroyed.
namespace Ondrel::Host {

namespace {

template <class Operations, Operations (*make)()>
Operations& Table() {
  static Immortal<Operations> table(make());
  return table.Get();
}

// The C library's heap is the same on every host.
MemoryOperations MakeMemoryOperations() {
  return {
      .Allocate = [](std::size_t size) { return std::malloc(size); },
      .Reallocate = [](void* block, std::size_t size) { return std::realloc(block, size); },
      .Free = [](void* block) { std::free(block); },
  };
}

}  // namespace

ClockOperations& Clock() { return Table<ClockOperations, MakeClockOperations>(); }

CurlOperations& Curl() { return Table<CurlOperations, MakeCurlOperations>(); }

DeviceOperations& Device() { return Table<DeviceOperations, MakeDeviceOperations>(); }

DeviceSetupOperations& DeviceSetup() {
  return Table<DeviceSetupOperations, MakeDeviceSetupOperations>();
}

DrivesOperations& Drives() { return Table<DrivesOperations, MakeDrivesOperations>(); }

EventLogOperations& EventLog() { return Table<EventLogOperations, MakeEventLogOperations>(); }

MemoryOperations& Memory() { return Table<MemoryOperations, MakeMemoryOperations>(); }

ProcessOperations& Process() { return Table<ProcessOperations, MakeProcessOperations>(); }

ServiceOperations& Service() { return Table<ServiceOperations, MakeServiceOperations>(); }

SystemFactsOperations& SystemFacts() {
  return Table<SystemFactsOperations, MakeSystemFactsOperations>();
}

TimeOperations& Time() { return Table<TimeOperations, MakeTimeOperations>(); }

VolumeOperations& Volume() { return Table<VolumeOperations, MakeVolumeOperations>(); }

}  // namespace Ondrel::Host
