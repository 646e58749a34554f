#include "Tool/NVMeCheck.h"

#include <gtest/gtest.h>

#include <limits>

namespace Tool {
namespace {

constexpr Watch::Thresholds kThresholds;

CheckedDrive DriveWith(const Ondrel::Host::DriveHealth& health) {
  CheckedDrive checked;
  checked.drive.id = checked.drive.serial = "S1";
  checked.drive.name = "nvme0";
  checked.drive.isNVMe = true;
  checked.drive.health = health;
  checked.isIdentified = true;
  return checked;
}

CheckedDrive Unreadable(bool isIdentified) {
  CheckedDrive checked = DriveWith({});
  checked.drive.health.reset();
  checked.drive.healthError = 5;
  checked.isIdentified = isIdentified;
  return checked;
}

Ondrel::Host::DriveHealth Good() {
  Ondrel::Host::DriveHealth health;
  health.temperature = 273 + 40;
  health.warningTemperature = 273 + 70;
  health.criticalTemperature = 273 + 80;
  health.availableSpare = 100;
  health.availableSpareThreshold = 10;
  health.percentageUsed = 89;
  health.errorLogEntries = 3;
  return health;
}

struct HealthRow {
  const char* name;
  void (*change)(Ondrel::Host::DriveHealth& health);
  int bits;
  const char* verdict;
  const char* finding;
};

TEST(NVMeCheck, EachFindingHasItsBitAndWords) {
  const HealthRow kRows[] = {
      {"well", [](auto&) {}, 0, "well", ""},
      {"reliability", [](auto& health) { health.criticalWarning = 4; }, 8, "failing",
       "reliability is degraded"},
      {"read only", [](auto& health) { health.criticalWarning = 8; }, 8, "failing",
       "media are in read-only mode"},
      {"spare, by the controller",
       [](auto& health) {
         health.criticalWarning = 1;
         health.availableSpare = 9;
       },
       8, "failing", "available spare is below its threshold"},
      {"spare, by its numbers", [](auto& health) { health.availableSpare = 9; }, 16, "warning",
       "available spare is below its threshold"},
      {"spare at its threshold", [](auto& health) { health.availableSpare = 10; }, 0, "well", ""},
      {"temperature, by the controller", [](auto& health) { health.criticalWarning = 2; }, 24,
       "failing", "temperature is high (40 C)"},
      {"high temperature", [](auto& health) { health.temperature = 273 + 70; }, 16, "warning",
       "temperature is high (70 C)"},
      {"just below it", [](auto& health) { health.temperature = 273 + 69; }, 0, "well", ""},
      {"critical temperature", [](auto& health) { health.temperature = 273 + 80; }, 16, "warning",
       "temperature is critical (80 C)"},
      {"worn", [](auto& health) { health.percentageUsed = 90; }, 16, "warning",
       "90 % of the expected life is used"},
      {"at its end", [](auto& health) { health.percentageUsed = 255; }, 16, "warning",
       "255 % of the expected life is used"},
      {"was critical", [](auto& health) { health.criticalTemperatureTime = 7; }, 32, "warning",
       "temperature was critical for 7 min in all"},
      {"media errors", [](auto& health) { health.mediaErrors = 2; }, 64, "warning",
       "2 media errors are recorded"},
  };
  for (const HealthRow& row : kRows) {
    Ondrel::Host::DriveHealth health = Good();
    row.change(health);
    CheckedDrive checked = DriveWith(health);
    Judge(checked, kThresholds, nullptr);
    EXPECT_EQ(checked.Bits(), row.bits) << row.name;
    EXPECT_EQ(checked.Verdict(), row.verdict) << row.name;
    ASSERT_EQ(checked.findings.size(), row.bits == 0 ? 0U : 1U) << row.name;
    if (row.bits != 0) {
      EXPECT_EQ(checked.findings[0].text, row.finding) << row.name;
    }
  }
}

TEST(NVMeCheck, AllFindingsAreShown) {
  Ondrel::Host::DriveHealth health = Good();
  health.criticalWarning = 0x14;
  health.percentageUsed = 120;
  health.mediaErrors = std::numeric_limits<std::uint64_t>::max();
  CheckedDrive checked = DriveWith(health);

  Judge(checked, kThresholds, nullptr);

  EXPECT_EQ(checked.Bits(), 8 + 16 + 64);
  EXPECT_EQ(checked.findings.size(), 4U);
  EXPECT_EQ(checked.events.size(), 3U);
}

TEST(NVMeCheck, ThresholdsOfTheLineTakeThePlaceOfTheDrives) {
  CheckedDrive checked = DriveWith(Good());
  Judge(checked,
        {.usedWarning = 50,
         .usedCritical = 60,
         .warningTemperature = 273 + 35,
         .criticalTemperature = 273 + 40},
        nullptr);

  ASSERT_EQ(checked.findings.size(), 2U);
  EXPECT_EQ(checked.findings[0].text, "temperature is critical (40 C)");
  EXPECT_EQ(checked.findings[1].text, "89 % of the expected life is used");
  EXPECT_EQ(checked.events[1].code, 11028);
}

TEST(NVMeCheck, EventsAreThoseOfTheWatchService) {
  Ondrel::Host::DriveHealth health = Good();
  health.criticalWarning = 4;
  CheckedDrive checked = DriveWith(health);

  Judge(checked, kThresholds, nullptr);

  ASSERT_EQ(checked.events.size(), 1U);
  EXPECT_EQ(checked.events[0].code, 10045);
  EXPECT_EQ(checked.events[0].severity, 4);
  EXPECT_EQ(checked.events[0].text, "Drive S1 (nvme0): reliability is degraded");
}

TEST(NVMeCheck, DriveThatDoesNotAnswerIsAnEventAtOnce) {
  for (const bool isIdentified : {false, true}) {
    CheckedDrive checked = Unreadable(isIdentified);
    Judge(checked, kThresholds, nullptr);
    EXPECT_EQ(checked.Bits(), isIdentified ? 4 : 2);
    EXPECT_EQ(checked.Verdict(), "cannot be read");
    ASSERT_EQ(checked.events.size(), 1U);
    EXPECT_EQ(checked.events[0].text,
              "Drive S1 (nvme0): health cannot be read, error 5, access denied");
  }
}

TEST(NVMeCheck, MemoryLeavesOnlyWhatIsNew) {
  CheckMemory memory;
  Ondrel::Host::DriveHealth health = Good();
  health.criticalWarning = 4;
  health.mediaErrors = 2;
  CheckedDrive first = DriveWith(health);
  Judge(first, kThresholds, &memory);
  EXPECT_EQ(first.events.size(), 1U);

  memory = MemoryOfText(TextOfMemory(memory));
  CheckedDrive second = DriveWith(health);
  Judge(second, kThresholds, &memory);
  EXPECT_TRUE(second.events.empty());
  // What is not well is found all the same.
  EXPECT_EQ(second.Bits(), 8 + 64);

  health.mediaErrors = 5;
  health.errorLogEntries = 4;
  memory = MemoryOfText(TextOfMemory(memory));
  CheckedDrive third = DriveWith(health);
  Judge(third, kThresholds, &memory);
  ASSERT_EQ(third.events.size(), 1U);
  EXPECT_EQ(third.events[0].text, "Drive S1 (nvme0): media errors grew from 2 to 5");
  EXPECT_EQ(third.findings.back().text, "entries of the error log grew from 3 to 4");
}

TEST(NVMeCheck, NewEntriesOfTheErrorLogAreAFindingAgainstAMemoryAlone) {
  CheckedDrive checked = DriveWith(Good());
  Judge(checked, kThresholds, nullptr);
  EXPECT_EQ(checked.Bits(), 0);

  CheckMemory memory;
  CheckedDrive first = DriveWith(Good());
  Judge(first, kThresholds, &memory);
  EXPECT_EQ(first.Bits(), 0);
  Ondrel::Host::DriveHealth health = Good();
  health.errorLogEntries = 5;
  CheckedDrive second = DriveWith(health);
  Judge(second, kThresholds, &memory);
  EXPECT_EQ(second.Bits(), 64);
  CheckedDrive third = DriveWith(health);
  Judge(third, kThresholds, &memory);
  EXPECT_EQ(third.Bits(), 0);
}

TEST(NVMeCheck, WhatIsWellAgainIsAnEventWithoutAFinding) {
  CheckMemory memory;
  Ondrel::Host::DriveHealth health = Good();
  health.temperature = 273 + 75;
  CheckedDrive hot = DriveWith(health);
  Judge(hot, kThresholds, &memory);
  CheckedDrive cool = DriveWith(Good());
  Judge(cool, kThresholds, &memory);

  EXPECT_EQ(cool.Bits(), 0);
  ASSERT_EQ(cool.events.size(), 1U);
  EXPECT_TRUE(cool.events[0].isRecovery);
}

TEST(NVMeCheck, DriveThatStaysSilentIsNewsOnceAndAgainAfterItAnswered) {
  CheckMemory memory;
  for (const std::size_t events : {1U, 0U}) {
    CheckedDrive checked = Unreadable(true);
    Judge(checked, kThresholds, &memory);
    EXPECT_EQ(checked.events.size(), events);
  }
  CheckedDrive well = DriveWith(Good());
  Judge(well, kThresholds, &memory);
  CheckedDrive again = Unreadable(true);
  Judge(again, kThresholds, &memory);
  EXPECT_EQ(again.events.size(), 1U);
}

TEST(NVMeCheck, ControllersOfOneSerialNumberAreRememberedApart) {
  CheckMemory memory;
  for (int time = 0; time < 2; ++time) {
    for (std::uint16_t id = 1; id <= 2; ++id) {
      Ondrel::Host::DriveHealth health = Good();
      health.errorLogEntries = id;
      health.mediaErrors = 0;
      CheckedDrive checked = DriveWith(health);
      checked.hasSiblings = true;
      checked.controllerId = id;
      Judge(checked, kThresholds, &memory);
      EXPECT_EQ(checked.Bits(), 0) << id;
      memory = MemoryOfText(TextOfMemory(memory));
    }
  }
  EXPECT_EQ(memory.state.drives.size(), 2U);
  Ondrel::Host::DriveHealth health = Good();
  health.mediaErrors = 1;
  CheckedDrive checked = DriveWith(health);
  checked.hasSiblings = true;
  checked.controllerId = 2;
  Judge(checked, kThresholds, &memory);
  ASSERT_EQ(checked.events.size(), 1U);
  EXPECT_EQ(checked.events[0].text, "Drive S1 (nvme0): media errors grew from 0 to 1");
}

TEST(NVMeCheck, DriveThatIsAwayASecondTimeIsNewsAgain) {
  CheckMemory memory;
  for (int time = 0; time < 2; ++time) {
    for (const std::size_t events : {1U, 0U}) {
      CheckedDrive away = Unreadable(false);
      away.drive.device = away.drive.id = "/dev/nvme0";
      away.drive.serial = "";
      Judge(away, kThresholds, &memory);
      EXPECT_EQ(away.events.size(), events) << time;
    }
    CheckedDrive back = DriveWith(Good());
    back.drive.device = "/dev/nvme0";
    Judge(back, kThresholds, &memory);
    EXPECT_EQ(memory.state.drives.size(), 1U);
  }
}

TEST(NVMeCheck, TextOfAnotherFormIsNotAMemory) {
  for (const char* const text : {"", "{}", "[]", "nothing", R"({"layout":2,"drives":[]})",
                                 R"({"layout":1,"drives":[],"arrays":[]})"})
    EXPECT_THROW(MemoryOfText(text), nlohmann::json::exception) << text;
}

}  // namespace
}  // namespace Tool
