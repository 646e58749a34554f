#pragma once

#include <Ondrel/Drives.h>
#include <Ondrel/StatusTransition.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace Ondrel::Host {

/// The `_SMART` variant of a drive's status; any other status as it is.
std::int32_t WithSmart(std::int32_t status);

/// Whether health data hold a critical warning, or a spare below a threshold that is not 0.
bool HasWarning(const DriveHealth& health);

/// The worse of two statuses that parts of one drive have.
std::int32_t Worse(std::int32_t left, std::int32_t right);

/// Status of an array by the places that have no working member.
///
/// `isLost` has one entry for each place. `layout` is the md driver's number, which of raid10 says
/// where the copies lie. PARTIALLY_DEGRADED while the loss of any one further member would be
/// survived, DEGRADED while there is one whose loss would not. An unknown level survives nothing.
std::int32_t ArrayStatus(std::string_view level, std::uint64_t layout,
                         std::span<const char> isLost);

}  // namespace Ondrel::Host
