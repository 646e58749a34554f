#pragma once

#include <Ondrel/Drives.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Ondrel::Host {

// How drives and arrays are read.
//
// A drive is what the `device` link leads to of one or more disks of /sys/block: a controller
// with all its namespaces, a disk of a bus. Disks of removable media, optical ones and those that
// the kernel makes of others (loop, dm, md) are drives only where an array takes them as a member.
// An array is a disk with a folder `md` that runs; containers and arrays that wait for members do
// not.

/// Where drives are read from.
struct DriveSources {
  std::string sysfs;                             ///< "/sys"
  std::string processes;                         ///< "/proc"
  std::vector<std::string> arrayConfigurations;  ///< The files that may name spare groups.
};

/// The sources of this machine.
DriveSources HostDriveSources();

/// The drives and arrays as the sources show them now, without health.
DriveSnapshot ReadDrives(const DriveSources& sources);

/// The names and UUIDs of the arrays that an array configuration gives a spare group. A UUID is
/// there as 32 small hexadecimal digits, a name without "/dev/".
std::set<std::string> ArraysWithSpareGroup(std::string_view configuration);

/// The 32 small hexadecimal digits of a UUID in any of its forms; empty for another text, and for
/// a UUID of zeros.
std::string DigitsOfUuid(std::string_view text);

}  // namespace Ondrel::Host
