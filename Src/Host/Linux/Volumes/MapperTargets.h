#pragma once

#include "Host/Linux/Volumes/BlockDevices.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ondrel::Host {

// What the lines of a device mapper table say of where the data lies. Which parameters a target has
// is published with the kernel, in its folder Documentation/admin-guide/device-mapper.

/// One line of a device mapper table. Positions are in sectors of 512 bytes.
struct MapperTarget {
  std::uint64_t start;
  std::uint64_t count;
  std::string type;        ///< "linear", "striped", "crypt", ...
  std::string parameters;  ///< As `ParametersToKeep` leaves them.
};

/// What of a target's parameters is kept: the words that say where it lies. Each other word of a
/// target that is known is "-", and of one that is not known nothing is kept: there may be keys.
std::string ParametersToKeep(std::string_view type, std::string_view parameters);

/// A part of what lies beneath a target.
struct PartBeneath {
  DeviceNumber device;
  std::uint64_t start;
  std::optional<std::uint64_t> count;  ///< Nothing for all of the device.
};

/// Whether it is known how targets of this type lie on what is beneath them.
bool IsKnownTarget(std::string_view type);

/// What lies beneath `count` sectors of a known target, counted from its start: where one sector
/// may lie anywhere on a device, all of that device. Nothing for parameters of another form.
std::optional<std::vector<PartBeneath>> PartsBeneath(const MapperTarget& target,
                                                     std::uint64_t start, std::uint64_t count);

}  // namespace Ondrel::Host
