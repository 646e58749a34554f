#include "Watch/World.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tool::Watch {
namespace {

using Ondrel::Host::ArrayAction;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

struct StatusRow {
  std::int32_t from;
  std::int32_t to;
  int code;
  int severity;
};

TEST(StepArrays, EveryChangeOfStatusIsTheTablesEvent) {
  const StatusRow rows[] = {
      {Ondrel::kStatusOperational, Ondrel::kStatusPartiallyDegraded, 10413, 3},
      {Ondrel::kStatusPartiallyDegraded, Ondrel::kStatusDegraded, 10420, 3},
      {Ondrel::kStatusDegraded, Ondrel::kStatusFailed, 10418, 4},
      {Ondrel::kStatusOperational, Ondrel::kStatusDegraded, 10412, 4},
      {Ondrel::kStatusOperational, Ondrel::kStatusFailed, 10414, 4},
      {Ondrel::kStatusDegraded, Ondrel::kStatusOperational, 10415, 2},
      {Ondrel::kStatusFailed, Ondrel::kStatusOperational, 10423, 2},
      {Ondrel::kStatusDegraded, Ondrel::kStatusPartiallyDegraded, 10417, 3},
  };
  for (const StatusRow& row : rows) {
    World world = WorldWithArray("raid6", 4);
    world.Array("A").status = row.from;
    world.Look();
    world.Array("A").status = row.to;
    EXPECT_THAT(world.Look(), ElementsAre(Pair(row.code, row.severity)));
    EXPECT_EQ(row.to == Ondrel::kStatusOperational, world.events[0].isRecovery);
  }
}

TEST(StepArrays, AnArrayThatIsMadeLaterIsWatched) {
  World world;
  world.AddDrive("S0", "sda");
  world.AddDrive("S1", "sdb");
  world.Look();
  world.AddArray("A", "md0", "raid1", 2).action = ArrayAction::Resync;
  world.AddMember("A", "S0", 0);
  world.AddMember("A", "S1", 1);
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10454, 2), Pair(10454, 2), Pair(10087, 2)));
  world.Array("A").action = ArrayAction::None;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10088, 2)));
}

TEST(StepArrays, AnArrayThatIsStoppedIsReportedOnceAndItsDrivesAreFree) {
  World world = WorldWithArray("raid1", 2);
  world.Stop("A");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10470, 2), Pair(10470, 2), Pair(10809, 3)));
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepArrays, AnArrayThatComesBackIsComparedWithWhatItWas) {
  World world = WorldWithArray("raid1", 2);
  const Ondrel::Host::DriveSnapshot running = world.now;
  world.Stop("A");
  world.Look();
  world.now = running;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10454, 2), Pair(10454, 2)));
  world.Stop("A");
  world.Look();
  world.now = running;
  world.Remove("A", "S1");
  world.Array("A").status = Ondrel::kStatusDegraded;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10454, 2), Pair(10412, 4)));
}

World RebuildingWorld() {
  World world = WorldWithArray("raid1", 2);
  world.Fail("A", "S1");
  world.Look();
  world.MakeSpare("A", "S1", 1);
  world.Array("A").action = ArrayAction::Rebuild;
  world.Look();
  return world;
}

TEST(StepArrays, ARebuildWhoseTargetIsInSyncIsFinished) {
  World world = RebuildingWorld();
  world.Sync("A", "S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10469, 2), Pair(10056, 2)));
}

TEST(StepArrays, ARebuildWhoseTargetFailsIsFailed) {
  World world = RebuildingWorld();
  world.Fail("A", "S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10466, 4), Pair(10057, 4)));
}

TEST(StepArrays, ARebuildWhoseTargetIsPulledIsFailed) {
  World world = RebuildingWorld();
  world.Pull("S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10033, 3), Pair(10466, 4), Pair(10057, 4)));
}

TEST(StepArrays, ARebuildWhoseTargetFailedAndWasRemovedIsFailed) {
  World world = RebuildingWorld();
  world.Remove("A", "S1");
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10466, 4), Pair(10057, 4)));
}

TEST(StepArrays, ARebuildThatStopsOtherwiseIsCancelled) {
  World world = RebuildingWorld();
  world.Array("A").action = ArrayAction::None;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10058, 3)));
  world.Array("A").action = ArrayAction::Rebuild;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10055, 2)));
}

TEST(StepArrays, ARebuildThatWaitsForAWriteHasNotBegun) {
  World world = WorldWithArray("raid1", 2);
  world.Fail("A", "S1");
  world.Look();
  world.MakeSpare("A", "S1", 1);
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10458, 2)));
  world.Array("A").action = ArrayAction::Rebuild;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10055, 2)));
}

TEST(StepArrays, ARebuildBetweenTwoLooksIsReportedWhole) {
  World world = WorldWithArray("raid1", 2);
  world.Fail("A", "S1");
  world.Look();
  world.Sync("A", "S1");
  world.Member("A", "S1").slot = 1;
  world.Array("A").lastAction = ArrayAction::Rebuild;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10459, 2), Pair(10055, 2), Pair(10056, 2)));
}

TEST(StepArrays, ARebuildThatWasUnderWayAtTheStartIsNotReportedAgain) {
  World world = RebuildingWorld();
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepArrays, ACheckThatEnds) {
  World world = WorldWithArray("raid1", 2);
  world.Array("A").action = ArrayAction::Check;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10060, 2)));
  world.Array("A").action = ArrayAction::None;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10061, 2)));
}

TEST(StepArrays, ACheckThatIsCancelledLeavesItsPosition) {
  World world = WorldWithArray("raid1", 2);
  world.Array("A").action = ArrayAction::Check;
  world.Look();
  world.Array("A").action = ArrayAction::None;
  world.Array("A").isCheckCut = true;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10063, 2)));
}

TEST(StepArrays, ACheckThatFindsDifferencesReportsTheirCount) {
  World world = WorldWithArray("raid1", 2);
  world.Array("A").action = ArrayAction::Check;
  world.Look();
  world.Array("A").action = ArrayAction::None;
  world.Array("A").mismatches = 384;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10061, 2), Pair(10066, 3)));
  EXPECT_THAT(world.events[1].text, HasSubstr("384 sectors"));
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepArrays, ACheckBetweenTwoLooksIsReportedWhole) {
  World world = WorldWithArray("raid1", 2);
  world.Array("A").lastAction = ArrayAction::Check;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10060, 2), Pair(10061, 2)));
  // A restart of the array forgets what was done last.
  world.Array("A").lastAction = ArrayAction::None;
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepArrays, AResyncAndAReshape) {
  World world = WorldWithArray("raid5", 3);
  world.Array("A").action = ArrayAction::Resync;
  world.Array("A").isResyncUnfinished = true;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10087, 2)));
  world.Array("A").action = ArrayAction::None;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10089, 2)));
  world.Array("A").isResyncUnfinished = false;
  world.Array("A").action = ArrayAction::Reshape;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10068, 2)));
  world.Array("A").action = ArrayAction::None;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10069, 2)));
}

TEST(StepArrays, AnActionUnderWayAtTheFirstLookEverIsReportedAtItsEnd) {
  World world = WorldWithArray("raid1", 2);
  world.state.reset();
  world.Array("A").action = ArrayAction::Check;
  EXPECT_THAT(world.Look(), IsEmpty());
  world.Array("A").action = ArrayAction::None;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10061, 2)));
}

TEST(StepArrays, AnArrayThatGrowsSmallerDoesNotFailItsDrives) {
  World world = WorldWithArray("raid5", 4);
  world.Remove("A", "S3");
  world.Array("A").places = 3;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10470, 2)));
}

}  // namespace
}  // namespace Tool::Watch
