#include "Drives/DriveStatus.h"

#include <algorithm>
#include <array>
#include <vector>

namespace Ondrel::Host {

namespace {

struct SmartRow {
  std::int32_t status;
  std::int32_t withSmart;
};

constexpr std::array kSmartRows = {
    SmartRow{kStatusOperational, kStatusOperationalSmart},
    SmartRow{kStatusRebuilding, kStatusRebuildingSmart},
    SmartRow{kStatusGlobalHotspare, kStatusGlobalHotspareSmart},
    SmartRow{kStatusDedicatedHotspare, kStatusDedicatedHotspareSmart},
    SmartRow{kStatusAvailable, kStatusAvailableSmart},
    SmartRow{kStatusFailed, kStatusFailedSmart},
    SmartRow{kStatusSystem, kStatusSystemSmart},
};

// From the best to the worst; a hot spare's drive that works for another array as well is not free.
constexpr std::array<std::int32_t, 7> kByBadness = {
    kStatusAvailable,   kStatusSystem,     kStatusGlobalHotspare, kStatusDedicatedHotspare,
    kStatusOperational, kStatusRebuilding, kStatusFailed,
};

std::int32_t WithoutSmart(std::int32_t status) {
  for (const SmartRow& row : kSmartRows)
    if (row.withSmart == status) return row.status;
  return status;
}

std::int32_t StatusOfLosses(std::size_t lost, std::size_t survivable) {
  if (lost == 0) return kStatusOperational;
  if (lost < survivable) return kStatusPartiallyDegraded;
  return lost == survivable ? kStatusDegraded : kStatusFailed;
}

// Fewest working copies that any stripe of a raid10 has. The layout's number holds the near copies,
// the far copies, whether those lie at an offset (which changes nothing here), and how the devices
// of far copies are grouped.
std::size_t FewestCopies(std::uint64_t layout, std::span<const char> isLost) {
  const std::size_t places = isLost.size();
  const std::size_t nearCopies = std::clamp<std::size_t>(layout & 0xFF, 1, places);
  const std::size_t farCopies = std::clamp<std::size_t>(layout >> 8 & 0xFF, 1, places);
  std::size_t farSet = places;
  if (layout >> 17 == 1) farSet = places / farCopies;
  if (layout >> 17 == 2) farSet = farCopies * nearCopies;
  farSet = std::clamp<std::size_t>(farSet, 1, places);
  const std::size_t lastSetStart = (places / farSet - 1) * farSet;
  const std::size_t lastSetSize = farSet + places % farSet;

  std::size_t fewest = places;
  for (std::size_t stripe = 0; stripe < places; ++stripe) {
    std::vector<char> isHolder(places, 0);
    for (std::size_t copy = 0; copy < nearCopies; ++copy) {
      std::size_t device = (stripe * nearCopies + copy) % places;
      isHolder[device] = 1;
      for (std::size_t far = 1; far < farCopies; ++far) {
        const std::size_t start = device >= lastSetStart ? lastSetStart : device / farSet * farSet;
        const std::size_t size = device >= lastSetStart ? lastSetSize : farSet;
        device = start + (device - start + nearCopies) % size;
        isHolder[device] = 1;
      }
    }
    std::size_t working = 0;
    for (std::size_t place = 0; place < places; ++place)
      working += isHolder[place] != 0 && isLost[place] == 0 ? 1u : 0u;
    fewest = std::min(fewest, working);
  }
  return fewest;
}

}  // namespace

std::int32_t WithSmart(std::int32_t status) {
  for (const SmartRow& row : kSmartRows)
    if (row.status == status) return row.withSmart;
  return status;
}

bool HasWarning(const DriveHealth& health) {
  return health.criticalWarning != 0 || (health.availableSpareThreshold != 0 &&
                                         health.availableSpare < health.availableSpareThreshold);
}

std::int32_t Worse(std::int32_t left, std::int32_t right) {
  const auto badness = [](std::int32_t status) {
    return std::ranges::find(kByBadness, WithoutSmart(status)) - kByBadness.begin();
  };
  const std::int32_t worse = badness(left) < badness(right) ? right : left;
  const bool hasSmart = left != WithoutSmart(left) || right != WithoutSmart(right);
  return hasSmart ? WithSmart(worse) : worse;
}

std::int32_t ArrayStatus(std::string_view level, std::uint64_t layout,
                         std::span<const char> isLost) {
  const auto lost =
      static_cast<std::size_t>(std::ranges::count_if(isLost, [](char is) { return is != 0; }));
  if (level == "raid1") return StatusOfLosses(lost, isLost.empty() ? 0 : isLost.size() - 1);
  if (level == "raid4" || level == "raid5") return StatusOfLosses(lost, 1);
  if (level == "raid6") return StatusOfLosses(lost, 2);
  if (level == "raid10" && lost != 0) {
    const std::size_t copies = FewestCopies(layout, isLost);
    if (copies == 0) return kStatusFailed;
    return copies == 1 ? kStatusDegraded : kStatusPartiallyDegraded;
  }
  return StatusOfLosses(lost, 0);
}

}  // namespace Ondrel::Host
