#include "Tool/Watch/Codes.h"

#include <algorithm>
#include <array>

namespace Tool::Watch {

namespace {

struct SmartRow {
  std::int32_t status;
  std::int32_t withSmart;
};

constexpr std::array kSmartRows = {
    SmartRow{Ondrel::kStatusOperational, Ondrel::kStatusOperationalSmart},
    SmartRow{Ondrel::kStatusRebuilding, Ondrel::kStatusRebuildingSmart},
    SmartRow{Ondrel::kStatusGlobalHotspare, Ondrel::kStatusGlobalHotspareSmart},
    SmartRow{Ondrel::kStatusDedicatedHotspare, Ondrel::kStatusDedicatedHotspareSmart},
    SmartRow{Ondrel::kStatusAvailable, Ondrel::kStatusAvailableSmart},
    SmartRow{Ondrel::kStatusFailed, Ondrel::kStatusFailedSmart},
    SmartRow{Ondrel::kStatusSystem, Ondrel::kStatusSystemSmart},
};

constexpr std::array<std::int32_t, 5> kWell = {
    Ondrel::kStatusOperational, Ondrel::kStatusGlobalHotspare, Ondrel::kStatusDedicatedHotspare,
    Ondrel::kStatusAvailable,   Ondrel::kStatusSystem,
};

}  // namespace

std::int32_t WithoutSmart(std::int32_t status) {
  for (const SmartRow& row : kSmartRows)
    if (row.withSmart == status) return row.status;
  return status;
}

std::int32_t WithSmart(std::int32_t status, bool hasMark) {
  const std::int32_t plain = WithoutSmart(status);
  for (const SmartRow& row : kSmartRows)
    if (hasMark && row.status == plain) return row.withSmart;
  return plain;
}

bool IsWell(std::int32_t status) { return std::ranges::find(kWell, status) != kWell.end(); }

}  // namespace Tool::Watch
