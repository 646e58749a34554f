#include "Watch/World.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tool::Watch {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

World WorldWithDrive() {
  World world;
  world.AddDrive("N", "nvme0");
  world.AskHealth("N");
  world.Look();
  return world;
}

TEST(StepHealth, EachBitOfTheCriticalWarningIsItsEvent) {
  struct Row {
    std::uint8_t bits;
    int code;
    int severity;
  };
  const Row rows[] = {{0x01, 10044, 3}, {0x02, 11021, 3}, {0x04, 10045, 4}, {0x08, 10045, 4},
                      {0x10, 10044, 3}, {0x20, 10044, 3}, {0x40, 10044, 3}, {0x80, 10044, 3}};
  for (const Row& row : rows) {
    World world = WorldWithDrive();
    world.AskHealth("N").criticalWarning = row.bits;
    EXPECT_THAT(world.Look(), ElementsAre(Pair(row.code, row.severity))) << int{row.bits};
    EXPECT_EQ(Ondrel::kStatusAvailableSmart, world.StatusOf("N"));
    EXPECT_THAT(world.Look(), IsEmpty());
  }
}

TEST(StepHealth, AWarningAtTheFirstLookEverIsReported) {
  World world = WorldWithDrive();
  world.state.reset();
  world.AskHealth("N").criticalWarning = 0x0C;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10045, 4)));
  EXPECT_THAT(world.events[0].text, HasSubstr("reliability is degraded, media are in read-only"));
}

TEST(StepHealth, TheMarkStaysBetweenTwoLooksThatAskForHealth) {
  World world = WorldWithDrive();
  world.AskHealth("N").criticalWarning = 0x04;
  world.Look();
  world.Drive("N").isHealthAsked = false;
  world.Drive("N").health.reset();
  EXPECT_THAT(world.Look(), IsEmpty());
  EXPECT_EQ(Ondrel::kStatusAvailableSmart, world.StatusOf("N"));
  world.AskHealth("N");
  world.Look();
  EXPECT_EQ(Ondrel::kStatusAvailable, world.StatusOf("N"));
}

TEST(StepHealth, SpareIsLowOnlyBelowAThresholdThatIsNotZero) {
  World world = WorldWithDrive();
  EXPECT_THAT(world.Look(), IsEmpty());  // 0 of 0.
  world.AskHealth("N").availableSpareThreshold = 10;
  world.AskHealth("N").availableSpareThreshold = 10;
  world.Drive("N").health->availableSpare = 10;
  EXPECT_THAT(world.Look(), IsEmpty());
  world.Drive("N").health->availableSpare = 9;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10044, 3)));
}

TEST(StepHealth, TemperatureRisesAndFalls) {
  World world = WorldWithDrive();
  const auto at = [&](std::uint16_t kelvin) {
    world.AskHealth("N").temperature = kelvin;
    return world.Look();
  };
  EXPECT_THAT(at(342), IsEmpty());
  EXPECT_THAT(at(343), ElementsAre(Pair(11021, 3)));
  EXPECT_THAT(world.events[0].text, HasSubstr("(70 C)"));
  EXPECT_THAT(at(342), IsEmpty());  // Not far enough below.
  EXPECT_THAT(at(353), ElementsAre(Pair(11022, 4)));
  EXPECT_THAT(at(345), IsEmpty());
  EXPECT_THAT(at(341), ElementsAre(Pair(11023, 2)));
  EXPECT_TRUE(world.events[0].isRecovery);
  EXPECT_THAT(at(360), ElementsAre(Pair(11022, 4)));
}

TEST(StepHealth, ADriveWithoutThresholdsIsNeverHot) {
  World world = WorldWithDrive();
  Ondrel::Host::DriveHealth& health = world.AskHealth("N");
  health.warningTemperature = health.criticalTemperature = 0;
  health.temperature = 400;
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepHealth, TheAdministratorsTemperaturesGoFirst) {
  World world = WorldWithDrive();
  world.thresholds.warningTemperature = 320;
  world.AskHealth("N").temperature = 321;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(11021, 3)));
}

TEST(StepHealth, LifeThatIsUsed) {
  World world = WorldWithDrive();
  const auto at = [&](std::uint8_t used) {
    world.AskHealth("N").percentageUsed = used;
    return world.Look();
  };
  EXPECT_THAT(at(89), IsEmpty());
  EXPECT_THAT(at(90), ElementsAre(Pair(11027, 3)));
  EXPECT_THAT(at(99), IsEmpty());
  EXPECT_THAT(at(100), ElementsAre(Pair(11028, 4)));
  EXPECT_THAT(at(255), IsEmpty());
}

TEST(StepHealth, MediaErrorsThatGrow) {
  World world = WorldWithDrive();
  world.AskHealth("N").mediaErrors = 2;
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10043, 3)));
  EXPECT_THAT(world.Look(), IsEmpty());
  world.state.reset();
  EXPECT_THAT(world.Look(), IsEmpty());
}

TEST(StepHealth, HealthThatIsUnreadableTwice) {
  World world = WorldWithDrive();
  world.Drive("N").health.reset();
  world.Drive("N").healthError = 5;
  EXPECT_THAT(world.Look(), IsEmpty());
  EXPECT_THAT(world.Look(), ElementsAre(Pair(10713, 3)));
  EXPECT_THAT(world.events[0].text, HasSubstr("error 5, access denied"));
  EXPECT_THAT(world.Look(), IsEmpty());
  world.AskHealth("N");
  EXPECT_THAT(world.Look(), IsEmpty());
  world.Drive("N").health.reset();
  EXPECT_THAT(world.Look(), IsEmpty());
}

}  // namespace
}  // namespace Tool::Watch
