#include "Watch/World.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tool::Watch {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

TEST(StepDrives, AWellMachineHasNoEventsAtTheFirstLookEver) {
  World world;
  world.AddDrive("FREE", "sdx");
  world.AddDrive("USED", "sdy", Ondrel::kStatusSystem);
  world.AddDrive("S0", "sda");
  world.AddDrive("S1", "sdb");
  world.AddDrive("HS", "sdc");
  world.AddArray("A", "md0", "raid1", 2);
  world.AddMember("A", "S0", 0);
  world.AddMember("A", "S1", 1);
  world.AddMember("A", "HS", -1);
  world.MakeSpare("A", "HS", -1);
  EXPECT_THAT(world.Look(), IsEmpty());
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepDrives, WhatIsNotWellAtTheFirstLookEverCountsAsAChangeFromOperational) {
  World world = WorldWithArray("raid1", 2);
  world.state.reset();
  world.Fail("A", "S1");
  world.Array("A").status = Ondrel::kStatusDegraded;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10471, 4), Pair(10412, 4)));
  EXPECT_EQ("Drive S1 (sdb): status changed from OPERATIONAL to FAILED (given up by md0)",
            world.events[0].text);
  EXPECT_EQ("Array md0 (A): status changed from OPERATIONAL to DEGRADED", world.events[1].text);
}

TEST(StepDrives, ALaterStartComparesWithTheKeptState) {
  World world = WorldWithArray("raid1", 2);
  world.Fail("A", "S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10471, 4)));
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepDrives, AReallyFaultyMemberIsFailed) {
  World world = WorldWithArray("raid5", 3);
  world.Fail("A", "S2");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10471, 4)));
  EXPECT_EQ(Ondrel::kStatusFailed, world.StatusOf("S2"));
}

TEST(StepDrives, AFailedDriveThatIsRemovedStaysFailedSilently) {
  World world = WorldWithArray("raid1", 2);
  world.Fail("A", "S1");
  world.Look();
  world.Remove("A", "S1");
  EXPECT_THAT(world.Look(), IsEmpty());
  EXPECT_EQ(Ondrel::kStatusFailed, world.StatusOf("S1"));
}

TEST(StepDrives, AFailedDriveThatIsPulledAndComesBackIsStillFailed) {
  World world = WorldWithArray("raid1", 2);
  world.Fail("A", "S1");
  world.Look();
  world.Remove("A", "S1");
  world.Look();
  world.Pull("S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10033, 3)));
  world.AddDrive("S1", "sdk");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10032, 2)));
  EXPECT_EQ(Ondrel::kStatusFailed, world.StatusOf("S1"));
}

TEST(StepDrives, AFailedDriveThatIsAddedAgainIsRebuilt) {
  World world = WorldWithArray("raid1", 2);
  world.Fail("A", "S1");
  world.Look();
  world.MakeSpare("A", "S1", 1);
  world.Array("A").action = Ondrel::Host::ArrayAction::Rebuild;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10458, 2), Pair(10055, 2)));
  world.Sync("A", "S1");
  world.Array("A").action = Ondrel::Host::ArrayAction::None;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10469, 2), Pair(10056, 2)));
  EXPECT_TRUE(world.events[0].isRecovery);
}

TEST(StepDrives, AMemberThatVanishedIsFailed) {
  World world = WorldWithArray("raid1", 2);
  world.Remove("A", "S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10471, 4)));
  EXPECT_THAT(world.events[0].text, HasSubstr("no longer a member of md0"));
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepDrives, ADiskThatIsPulledFromAnIdleArrayIsFailedAndGone) {
  World world = WorldWithArray("raid1", 2);
  world.Pull("S1");
  world.Array("A").status = Ondrel::kStatusDegraded;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10033, 3), Pair(10471, 4), Pair(10412, 4)));
  EXPECT_THAT(world.Look(), IsEmpty());
  // The array notices later, at its next write.
  world.now.arrays[0].members[1].isFaulty = true;
  world.now.arrays[0].members[1].isInSync = false;
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepDrives, AControllerThatOutlivesItsPulledDiskIsFailedAtOnceAndGoneLater) {
  World world = WorldWithArray("raid1", 2);
  const Ondrel::Host::Drive controller = world.Drive("S1");
  world.Pull("S1");
  world.now.drives.push_back(controller);
  world.Drive("S1").status = Ondrel::kStatusAvailable;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10471, 4)));
  world.Pull("S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10033, 3)));
  EXPECT_EQ("Drive S1 (sdb): the disk is gone", world.events[0].text);
}

TEST(StepDrives, ADiskThatWasPulledHealthyIsAvailableWhenItComesBack) {
  World world = WorldWithArray("raid1", 2);
  world.Pull("S1");
  world.Look();
  std::erase_if(world.now.arrays[0].members, [](const auto& member) { return member.isGone; });
  EXPECT_THAT(world.Look(), IsEmpty());
  world.AddDrive("S1", "sdb");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10032, 2)));
  EXPECT_EQ(Ondrel::kStatusAvailable, world.StatusOf("S1"));
}

TEST(StepDrives, ALostMemberThatNobodyKnowsIsReportedByItsPlace) {
  World world = WorldWithArray("raid1", 2);
  world.state.reset();
  world.Pull("S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10033, 3), Pair(10471, 4)));
  EXPECT_EQ("Drive member sdb of A (sdb): the disk is gone", world.events[0].text);
}

TEST(StepDrives, AFreeDiskThatIsPulledIsFailedAndForgotten) {
  World world;
  world.AddDrive("FREE", "sdx");
  world.Look();
  world.Pull("FREE");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10033, 3), Pair(10451, 4)));
  EXPECT_THAT(world.state->drives, IsEmpty());
}

TEST(StepDrives, ADiskThatIsPluggedInIsAnEvent) {
  World world = WorldWithArray("raid1", 2);
  world.AddDrive("NEW", "sdx");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10032, 2)));
  EXPECT_EQ("Drive NEW (sdx): the disk was plugged in", world.events[0].text);
}

TEST(StepDrives, AFreeDriveThatIsAddedIsAHotSpareAndAvailableWhenRemoved) {
  World world = WorldWithArray("raid1", 2);
  world.AddDrive("HS", "sdx");
  world.Look();
  world.AddMember("A", "HS", -1);
  world.MakeSpare("A", "HS", -1);
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10452, 2)));
  world.Remove("A", "HS");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10460, 2)));
  EXPECT_EQ(Ondrel::kStatusAvailable, world.StatusOf("HS"));
}

TEST(StepDrives, AHotSpareWithASpareGroupIsGlobal) {
  World world = WorldWithArray("raid1", 2);
  world.AddDrive("HS", "sdx");
  world.AddMember("A", "HS", -1);
  world.MakeSpare("A", "HS", -1);
  world.Look();
  world.Drive("HS").status = Ondrel::kStatusGlobalHotspare;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10462, 2)));
}

TEST(StepDrives, AHotSpareTakesTheFailedOnesPlace) {
  World world = WorldWithArray("raid1", 2);
  world.AddDrive("HS", "sdx");
  world.AddMember("A", "HS", -1);
  world.MakeSpare("A", "HS", -1);
  world.Look();
  world.Fail("A", "S1");
  world.MakeSpare("A", "HS", 1);
  world.Array("A").action = Ondrel::Host::ArrayAction::Rebuild;
  EXPECT_THAT(world.Look(), UnorderedElementsAre(Pair(10471, 4), Pair(10463, 2), Pair(10055, 2)));
}

World WorldWithReplacement() {
  World world = WorldWithArray("raid1", 2);
  world.AddDrive("NEW", "sdx");
  world.AddMember("A", "NEW", -1);
  world.MakeSpare("A", "NEW", -1);
  world.Look();
  world.Member("A", "S1").isReplacementWanted = true;
  world.MakeSpare("A", "NEW", 1);
  world.Member("A", "NEW").isReplacement = true;
  world.Array("A").action = Ondrel::Host::ArrayAction::Rebuild;
  world.Look();
  return world;
}

TEST(StepDrives, AHealthyDriveThatWasReplacedOnRequestIsAvailable) {
  World world = WorldWithReplacement();
  world.Sync("A", "NEW");
  world.Fail("A", "S1");
  world.Array("A").action = Ondrel::Host::ArrayAction::None;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10469, 2), Pair(10470, 2), Pair(10056, 2)));
  EXPECT_EQ(Ondrel::kStatusAvailable, world.StatusOf("S1"));
  // The array calls it faulty as long as it is a member.
  EXPECT_THAT(world.Look(), IsEmpty());
  world.Remove("A", "S1");
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepDrives, ADriveThatFailsWhileItIsReplacedIsFailed) {
  World world = WorldWithReplacement();
  world.Fail("A", "S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10471, 4)));
}

TEST(StepDrives, ADriveWithAWriteErrorThatWasReplacedIsFailed) {
  World world = WorldWithReplacement();
  world.Member("A", "S1").hasWriteError = true;
  world.Look();
  world.Sync("A", "NEW");
  world.Fail("A", "S1");
  world.Look();
  EXPECT_EQ(Ondrel::kStatusFailedSmart, world.StatusOf("S1"));
}

TEST(StepDrives, AWriteErrorIsTheSmartVariantAndABadBlock) {
  World world = WorldWithArray("raid1", 2);
  world.Member("A", "S1").hasWriteError = true;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10031, 3)));
  EXPECT_EQ(Ondrel::kStatusOperationalSmart, world.StatusOf("S1"));
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepDrives, MoreBadBlocksAreAnEvent) {
  World world = WorldWithArray("raid1", 2);
  world.Member("A", "S1").badSectors = 8;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10031, 3)));
  EXPECT_THAT(world.events[0].text, HasSubstr("8 sectors"));
  world.Member("A", "S1").badSectors = 16;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10031, 3)));
}

TEST(StepDrives, CorrectedReadErrorsThatGrowAreAnEventAndTheirFirstCountIsNot) {
  World world = WorldWithArray("raid1", 2);
  world.Member("A", "S1").errors = 3;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10157, 2)));
  // A restart of the array counts from zero again.
  world.Member("A", "S1").errors = 0;
  EXPECT_THAT(world.Look(), IsEmpty());
  world.state.reset();
  world.Member("A", "S1").errors = 7;
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepDrives, AChangeOfNamesIsNotAnEvent) {
  World world = WorldWithArray("raid1", 2);
  std::swap(world.Drive("S0").name, world.Drive("S1").name);
  std::swap(world.Member("A", "S0").name, world.Member("A", "S1").name);
  world.Array("A").name = "md127";
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepDrives, AUsedDriveIsOfTheSystem) {
  World world;
  world.AddDrive("D", "sda");
  world.Look();
  world.Drive("D").status = Ondrel::kStatusSystem;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10745, 2)));
}

TEST(StepDrives, AMirrorOfTwoPartitionsOfOneDriveKeepsThemApart) {
  World world = WorldWithArray("raid1", 2);
  world.now.arrays[0].members[0].drive = world.now.arrays[0].members[1].drive = "S0";
  world.now.arrays[0].members[0].id = "S0-part1";
  world.now.arrays[0].members[1].id = "S0-part2";
  world.state.reset();
  world.Look();
  world.now.arrays[0].members[1].isFaulty = true;
  world.now.arrays[0].members[1].isInSync = false;
  world.Drive("S0").status = Ondrel::kStatusFailed;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10471, 4)));
}

}  // namespace
}  // namespace Tool::Watch
