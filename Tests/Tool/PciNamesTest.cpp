#include "Tool/PciNames.h"

#include <gtest/gtest.h>

namespace Tool {
namespace {

const PciNames kNames(R"(# A comment
1000  First Vendor, Inc.
	0001  Controller one
		1000 1000  Its board
	0011  Controller eleven
1b36  Second Vendor
	0010  Controller ten
# Another
	0001  Other one

C 01  Mass storage controller
	06  SATA controller
		01  AHCI 1.0
	07  Serial Attached SCSI controller
C 1b  Third class
)");

TEST(PciNames, VendorsAndDevicesHaveNames) {
  EXPECT_EQ(kNames.Vendor("1000"), "First Vendor, Inc.");
  EXPECT_EQ(kNames.Vendor("1B36"), "Second Vendor");
  EXPECT_EQ(kNames.Device("1000", "0011"), "Controller eleven");
  EXPECT_EQ(kNames.Device("1B36", "0001"), "Other one");
}

TEST(PciNames, DeviceOfAnotherVendorIsNotTaken) {
  EXPECT_EQ(kNames.Device("1000", "0010"), "");
  EXPECT_EQ(kNames.Device("1b36", "1000"), "");
}

TEST(PciNames, WhatTheListDoesNotHaveHasNoName) {
  EXPECT_EQ(kNames.Vendor("FFFF"), "");
  EXPECT_EQ(kNames.Vendor(""), "");
  EXPECT_EQ(kNames.Device("FFFF", "0001"), "");
  EXPECT_EQ(PciNames("").Vendor("1000"), "");
}

TEST(PciNames, ClassHasTheNameOfItsNearestEntry) {
  EXPECT_EQ(kNames.Class("010601"), "SATA controller (AHCI 1.0)");
  EXPECT_EQ(kNames.Class("010600"), "SATA controller");
  EXPECT_EQ(kNames.Class("010700"), "Serial Attached SCSI controller");
  EXPECT_EQ(kNames.Class("01ff00"), "Mass storage controller");
  EXPECT_EQ(kNames.Class("020000"), "");
  EXPECT_EQ(kNames.Class("01"), "");
}

}  // namespace
}  // namespace Tool
