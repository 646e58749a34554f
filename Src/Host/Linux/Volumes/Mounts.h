#pragma once

#include "Host/Linux/Volumes/BlockDevices.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace Ondrel::Host {

/// Where devices are mounted, by their kernel names.
using MountPaths = std::unordered_map<std::string, std::vector<std::string>>;

/// The mounts of a table in the form of /proc/self/mountinfo: whole file systems first, then parts
/// of them, both from the oldest to the newest. A mount is that of the device whose number it has;
/// the source that it names counts for btrfs alone, whose mounts have numbers of their own. Such a
/// mount is one of all devices of the file system.
MountPaths ReadMounts(const std::string& table, const BlockDevices& devices);

}  // namespace Ondrel::Host
