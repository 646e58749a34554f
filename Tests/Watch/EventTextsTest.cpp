#include "Watch/World.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tool::Watch {
namespace {

using Ondrel::Host::ArrayAction;
using testing::ElementsAre;

// The texts of what a look shows, in their order.
std::vector<std::string> TextsOf(World& world) {
  world.Look();
  std::vector<std::string> texts;
  for (const WatchEvent& event : world.events) texts.push_back(event.text);
  return texts;
}

World RebuildingWorld() {
  World world = WorldWithArray("raid1", 2);
  world.Fail("A", "S1");
  world.Look();
  world.MakeSpare("A", "S1", 1);
  world.Array("A").action = ArrayAction::Rebuild;
  EXPECT_THAT(TextsOf(world),
              ElementsAre("Drive S1 (sdb): status changed from FAILED to REBUILDING",
                          "Array md0 (A): rebuild of drive S1 (sdb) started"));
  return world;
}

TEST(EventTexts, RebuildNamesItsDriveAndItsEnd) {
  World finished = RebuildingWorld();
  finished.Sync("A", "S1");
  EXPECT_THAT(TextsOf(finished),
              ElementsAre("Drive S1 (sdb): status changed from REBUILDING to OPERATIONAL",
                          "Array md0 (A): rebuild of drive S1 (sdb) finished"));
  World failed = RebuildingWorld();
  failed.Fail("A", "S1");
  EXPECT_THAT(
      TextsOf(failed),
      ElementsAre("Drive S1 (sdb): status changed from REBUILDING to FAILED (given up by md0)",
                  "Array md0 (A): rebuild of drive S1 (sdb) failed"));
  World removed = RebuildingWorld();
  removed.Remove("A", "S1");
  EXPECT_THAT(TextsOf(removed), ElementsAre("Drive S1 (sdb): status changed from REBUILDING to "
                                            "FAILED (no longer a member of md0)",
                                            "Array md0 (A): rebuild of drive S1 failed"));
  World cancelled = RebuildingWorld();
  cancelled.Array("A").action = ArrayAction::None;
  EXPECT_THAT(TextsOf(cancelled),
              ElementsAre("Array md0 (A): rebuild of drive S1 (sdb) was cancelled"));
}

TEST(EventTexts, ActionOfAnArrayHasItsNameAndItsEnd) {
  struct Row {
    ArrayAction action;
    std::string name;
  };
  for (const Row& row : {Row{ArrayAction::Check, "check"}, Row{ArrayAction::Resync, "resync"},
                         Row{ArrayAction::Reshape, "reshape"}}) {
    World world = WorldWithArray("raid5", 3);
    const auto during = [&](ArrayAction action) {
      world.Array("A").action = action;
      return TextsOf(world);
    };
    EXPECT_THAT(during(row.action), ElementsAre("Array md0 (A): " + row.name + " started"));
    EXPECT_THAT(during(ArrayAction::None), ElementsAre("Array md0 (A): " + row.name + " finished"));
    world.Array("A").isCheckCut = world.Array("A").isResyncUnfinished =
        world.Array("A").isReshapeUnfinished = true;
    during(row.action);
    EXPECT_THAT(during(ArrayAction::None),
                ElementsAre("Array md0 (A): " + row.name + " was cancelled"));
  }
}

TEST(EventTexts, ArrayThatDiffersOrIsStoppedSaysSo) {
  World world = WorldWithArray("raid1", 2);
  world.Array("A").action = ArrayAction::Check;
  world.Look();
  world.Array("A").action = ArrayAction::None;
  world.Array("A").mismatches = 384;
  EXPECT_THAT(TextsOf(world),
              ElementsAre("Array md0 (A): check finished",
                          "Array md0 (A): the check found 384 sectors that differ"));
  world.Stop("A");
  EXPECT_EQ(TextsOf(world).back(), "Array md0 (A): the array was stopped");
}

TEST(EventTexts, ErrorsOfAMemberAreCounted) {
  World world = WorldWithArray("raid1", 2);
  world.Member("A", "S1").badSectors = 8;
  EXPECT_THAT(TextsOf(world), ElementsAre("Drive S1 (sdb): bad blocks in md0, 8 sectors"));
  world.Member("A", "S1").badSectors = 16;
  world.Member("A", "S1").hasWriteError = true;
  EXPECT_EQ(TextsOf(world).back(), "Drive S1 (sdb): bad blocks in md0, 16 sectors, a write failed");
  world.Member("A", "S0").errors = 3;
  EXPECT_THAT(TextsOf(world),
              ElementsAre("Drive S0 (sda): read errors corrected by md0 grew from 0 to 3"));
}

TEST(EventTexts, HealthOfADriveIsSaidInWords) {
  World world;
  world.AddDrive("N", "nvme0n1");
  world.AskHealth("N").criticalWarning = 0x0C;
  EXPECT_THAT(TextsOf(world), ElementsAre("Drive N (nvme0n1): reliability is degraded, media are "
                                          "in read-only mode"));
  world.Drive("N").health->criticalWarning = 0xFD;
  EXPECT_THAT(
      TextsOf(world),
      ElementsAre("Drive N (nvme0n1): available spare is below its threshold, backup of "
                  "volatile memory failed, persistent memory region is unreliable, reserved "
                  "warning bit 6, reserved warning bit 7"));
  world.AskHealth("N").temperature = 353;
  EXPECT_THAT(TextsOf(world), ElementsAre("Drive N (nvme0n1): temperature is critical (80 C)"));
  world.AskHealth("N").temperature = 300;
  EXPECT_THAT(TextsOf(world), ElementsAre("Drive N (nvme0n1): temperature is normal again (27 C)"));
  world.AskHealth("N").temperature = 343;
  EXPECT_THAT(TextsOf(world), ElementsAre("Drive N (nvme0n1): temperature is high (70 C)"));

  world.AskHealth("N").percentageUsed = 255;
  EXPECT_EQ(TextsOf(world).back(), "Drive N (nvme0n1): 255 % of the expected life is used");
  world.Drive("N").health->mediaErrors = 7;
  EXPECT_THAT(TextsOf(world), ElementsAre("Drive N (nvme0n1): media errors grew from 0 to 7"));
  world.Drive("N").health.reset();
  world.Drive("N").healthError = 5;
  world.Look();
  EXPECT_THAT(TextsOf(world),
              ElementsAre("Drive N (nvme0n1): health cannot be read, error 5, access denied"));
}

}  // namespace
}  // namespace Tool::Watch
