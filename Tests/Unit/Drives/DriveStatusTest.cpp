#include "Drives/DriveStatus.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Ondrel::Host {
namespace {

// One character for each place: "x" for a lost one.
std::int32_t StatusOf(const char* level, std::uint64_t layout, const std::string& places) {
  std::vector<char> isLost;
  for (const char place : places) isLost.push_back(place == 'x' ? 1 : 0);
  return ArrayStatus(level, layout, isLost);
}

struct StatusRow {
  const char* level;
  std::uint64_t layout;
  const char* places;
  std::int32_t status;
};

TEST(ArrayStatus, FollowsFromWhatIsLostAndWhatAFurtherLossWouldMean) {
  const StatusRow rows[] = {
      {"raid0", 0, "..", kStatusOperational},
      {"raid0", 0, ".x", kStatusFailed},
      {"linear", 0, "x", kStatusFailed},
      {"raid1", 0, "..", kStatusOperational},
      {"raid1", 0, ".x", kStatusDegraded},
      {"raid1", 0, "xx", kStatusFailed},
      {"raid1", 0, "..x", kStatusPartiallyDegraded},
      {"raid1", 0, "x.x", kStatusDegraded},
      {"raid4", 0, "..x", kStatusDegraded},
      {"raid5", 2, "...", kStatusOperational},
      {"raid5", 2, ".x.", kStatusDegraded},
      {"raid5", 2, "xx.", kStatusFailed},
      {"raid6", 2, "...x", kStatusPartiallyDegraded},
      {"raid6", 2, "x..x", kStatusDegraded},
      {"raid6", 2, "xx.x", kStatusFailed},
      // Two near copies: neighbours mirror each other.
      {"raid10", 0x102, "....", kStatusOperational},
      {"raid10", 0x102, "x...", kStatusDegraded},
      {"raid10", 0x102, "x.x.", kStatusDegraded},
      {"raid10", 0x102, "xx..", kStatusFailed},
      {"raid10", 0x102, ".xx.", kStatusDegraded},
      // Three near copies on an odd number of places.
      {"raid10", 0x103, "x....", kStatusPartiallyDegraded},
      {"raid10", 0x103, "xx...", kStatusDegraded},
      {"raid10", 0x103, "xxx..", kStatusFailed},
      // Two near copies on three places: each pair of neighbours holds something alone.
      {"raid10", 0x102, "x..", kStatusDegraded},
      {"raid10", 0x102, "x.x", kStatusFailed},
      // Two far copies: each place mirrors the next.
      {"raid10", 0x201, "x.x.", kStatusDegraded},
      {"raid10", 0x201, ".xx.", kStatusFailed},
      {"raid10", 0x201, "x..x", kStatusFailed},
      // The same at an offset.
      {"raid10", 0x10201, "x.x.", kStatusDegraded},
      {"raid10", 0x10201, "xx..", kStatusFailed},
      // Far copies within as many sets as there are copies.
      {"raid10", 0x20201, "..xx..", kStatusDegraded},
      {"raid10", 0x20201, "x.x...", kStatusFailed},
      // Far copies within sets of two.
      {"raid10", 0x40201, ".xx.", kStatusDegraded},
      {"raid10", 0x40201, "xx..", kStatusFailed},
      {"something", 0, "..", kStatusOperational},
      {"something", 0, "x.", kStatusFailed},
  };
  for (const StatusRow& row : rows)
    EXPECT_EQ(row.status, StatusOf(row.level, row.layout, row.places))
        << row.level << ' ' << std::hex << row.layout << ' ' << row.places;
}

TEST(ArrayStatus, NonsenseOfTheLayoutIsSurvived) {
  for (const std::uint64_t layout :
       {0ull, 0xFFFFull, 0xFFFFFFFFFFFFFFFFull, 0x20000ull, 0x60000ull})
    EXPECT_EQ(kStatusFailed, StatusOf("raid10", layout, "xx")) << layout;
  EXPECT_EQ(kStatusOperational, StatusOf("raid10", 0x102, ""));
}

TEST(DriveStatus, SmartVariantsOfTheStatuses) {
  EXPECT_EQ(kStatusOperationalSmart, WithSmart(kStatusOperational));
  EXPECT_EQ(kStatusRebuildingSmart, WithSmart(kStatusRebuilding));
  EXPECT_EQ(kStatusGlobalHotspareSmart, WithSmart(kStatusGlobalHotspare));
  EXPECT_EQ(kStatusDedicatedHotspareSmart, WithSmart(kStatusDedicatedHotspare));
  EXPECT_EQ(kStatusAvailableSmart, WithSmart(kStatusAvailable));
  EXPECT_EQ(kStatusFailedSmart, WithSmart(kStatusFailed));
  EXPECT_EQ(kStatusSystemSmart, WithSmart(kStatusSystem));
  EXPECT_EQ(kStatusSystemSmart, WithSmart(kStatusSystemSmart));
  EXPECT_EQ(kStatusDegraded, WithSmart(kStatusDegraded));
}

TEST(DriveStatus, HealthWarnsByACriticalWarningOrASpareBelowItsThreshold) {
  EXPECT_FALSE(HasWarning({}));
  EXPECT_TRUE(HasWarning({.criticalWarning = 0x10}));
  EXPECT_TRUE(HasWarning({.availableSpare = 9, .availableSpareThreshold = 10}));
  EXPECT_FALSE(HasWarning({.availableSpare = 10, .availableSpareThreshold = 10}));
}

TEST(DriveStatus, TheWorseOfTwoPartsIsTheDrives) {
  EXPECT_EQ(kStatusFailed, Worse(kStatusOperational, kStatusFailed));
  EXPECT_EQ(kStatusRebuilding, Worse(kStatusRebuilding, kStatusOperational));
  EXPECT_EQ(kStatusOperational, Worse(kStatusDedicatedHotspare, kStatusOperational));
  EXPECT_EQ(kStatusFailedSmart, Worse(kStatusOperationalSmart, kStatusFailed));
  EXPECT_EQ(kStatusFailedSmart, Worse(kStatusFailed, kStatusOperationalSmart));
  EXPECT_EQ(kStatusSystem, Worse(kStatusAvailable, kStatusSystem));
  EXPECT_EQ(kStatusGlobalHotspare, Worse(kStatusGlobalHotspare, kStatusSystem));
  EXPECT_EQ(kStatusDedicatedHotspare, Worse(kStatusGlobalHotspare, kStatusDedicatedHotspare));
  EXPECT_EQ(kStatusFailed, Worse(kStatusFailed, kStatusRebuilding));
}

}  // namespace
}  // namespace Ondrel::Host
