#pragma once

#include <Ondrel/Disks.h>
#include <Ondrel/NVMeDevices.h>

#include <vector>

namespace Ondrel::Host {

/// The NVMe devices among `disks`, by what each of them answers when it is asked: for a host that
/// does not list them.
NVMeDevices NVMeDevicesAmong(const std::vector<Disk>& disks);

}  // namespace Ondrel::Host
