#pragma once

#include <Ondrel/NVMeDevices.h>

#include <optional>
#include <string>
#include <string_view>

namespace Ondrel::Host {

/// The disk of an entry in a controller's folder: "nvme0n1" of "nvme0n1", and of "nvme0c1n1", which
/// is the way through one controller to a disk that several lead to. Nothing for another entry.
std::optional<std::string> NVMeDiskOf(std::string_view entry);

/// The controllers and namespaces below one sysfs.
NVMeDevices ReadNVMeDevices(const std::string& sysfs);

}  // namespace Ondrel::Host
