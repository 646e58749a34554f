#include "Tool/Watch/MailText.h"
#include "Tool/Watch/Metrics.h"
#include "Tool/Watch/StateJson.h"
#include "Tool/Watch/View.h"
#include "Watch/World.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tool::Watch {
namespace {

using testing::HasSubstr;
using testing::Not;

World FullWorld() {
  World world = WorldWithArray("raid1", 2);
  world.AddDrive("N \"1\"", "nvme0").model = "M\\x";
  world.AskHealth("N \"1\"").criticalWarning = 4;
  world.Fail("A", "S1");
  world.Array("A").status = Ondrel::kStatusDegraded;
  world.Array("A").lostPlaces = 1;
  world.Array("A").action = Ondrel::Host::ArrayAction::Check;
  world.Array("A").actionDone = 25;
  world.Array("A").actionTotal = 100;
  world.Look();
  return world;
}

TEST(StateJson, AStateComesBackAsItWas) {
  const World world = FullWorld();
  const std::string text = TextOfState(*world.state);
  const WatchState again = StateOfText(text);
  EXPECT_EQ(text, TextOfState(again));
  EXPECT_EQ(world.state->drives.size(), again.drives.size());
  EXPECT_TRUE(again.drives.back().isGivenUp);
  EXPECT_EQ(4, again.drives.front().health.last->criticalWarning);
  EXPECT_THROW(StateOfText("{\"layout\":2,\"drives\":[],\"arrays\":[]}"),
               nlohmann::json::exception);
  EXPECT_THROW(StateOfText("[]"), nlohmann::json::exception);
}

TEST(StateJson, TheEssenceIsWithoutWhatChangesWithEveryLook) {
  World world = FullWorld();
  Ondrel::Host::DriveHealth& health = world.AskHealth("N \"1\"");
  health.criticalWarning = 4;
  health.mediaErrors = 6;
  health.percentageUsed = 50;
  health.powerOnHours = 2;
  world.Look();
  const WatchState essence = EssenceOf(*world.state);
  ASSERT_TRUE(essence.drives.front().health.last);
  const Ondrel::Host::DriveHealth& kept = *essence.drives.front().health.last;
  EXPECT_EQ(4, kept.criticalWarning);
  EXPECT_EQ(6u, kept.mediaErrors);
  EXPECT_EQ(50, kept.percentageUsed);
  EXPECT_EQ(0u, kept.powerOnHours);
  EXPECT_EQ(0u, kept.temperature);
  EXPECT_FALSE(essence.drives.back().health.last) << "it was not asked for its health";
  EXPECT_EQ(0u, essence.arrays.front().array.actionDone);
  EXPECT_EQ(0u, essence.arrays.front().array.actionTotal);
  EXPECT_EQ(Ondrel::Host::ArrayAction::Check, essence.arrays.front().array.action);
}

TEST(StateJson, ANumberThatIsNotWholeIsRefused) {
  WatchState state;
  state.drives.emplace_back().status = 7;
  const std::string text = TextOfState(state);
  const std::size_t place = text.find("\"status\":7");
  ASSERT_NE(place, std::string::npos);
  ASSERT_EQ(StateOfText(text).drives.size(), 1u);
  for (const char* const number : {"7.5", "4e99", "99999999999999999999"}) {
    std::string other = text;
    other.replace(place, std::string("\"status\":7").size(), std::string("\"status\":") + number);
    EXPECT_THROW(StateOfText(other), nlohmann::json::exception) << number;
  }
}

TEST(StateJson, AnEventThatIsNotAChangeOfStatusHasNullForBoth) {
  WatchEvent event;
  EXPECT_TRUE(JsonOfWatchEvent(event)["oldStatus"].is_null());
  EXPECT_TRUE(JsonOfWatchEvent(event)["newStatus"].is_null());
  event.oldStatus = 1;
  event.newStatus = Ondrel::kStatusDegraded;
  EXPECT_EQ(JsonOfWatchEvent(event)["oldStatus"], NameOfStatus(1));
  EXPECT_EQ(JsonOfWatchEvent(event)["newStatus"], "DEGRADED");
}

TEST(View, TheTableNamesEachDriveAndArrayWithItsStatus) {
  const World world = FullWorld();
  const std::string table = TableOf(*world.state);
  EXPECT_THAT(table, HasSubstr("S1     sdb    FAILED"));
  EXPECT_THAT(table, HasSubstr("AVAILABLE_SMART"));
  EXPECT_THAT(table, HasSubstr("27 C, 0 % used, warning 0x04"));
  EXPECT_THAT(table, HasSubstr("DEGRADED"));
  EXPECT_THAT(table, HasSubstr("check 25.0 %"));
  EXPECT_FALSE(AreAllWell(*world.state));
  EXPECT_TRUE(AreAllWell(*WorldWithArray("raid1", 2).state));
  EXPECT_EQ(false, JsonOfAll(*world.state)["well"]);
}

TEST(View, TheJsonOfDrivesAndArraysHasEachOfTheirFields) {
  World world = FullWorld();
  Ondrel::Host::DriveHealth& health = world.AskHealth("N \"1\"");
  health.criticalWarning = 4;
  health.availableSpare = 75;
  health.availableSpareThreshold = 10;
  health.percentageUsed = 50;
  health.mediaErrors = 6;
  health.powerOnHours = 2;
  health.unsafeShutdowns = 9;
  world.Array("A").size = 4096;
  world.Array("A").mismatches = 128;
  world.Look();
  const Json json = JsonOfAll(*world.state);
  ASSERT_EQ(3u, json["drives"].size());
  EXPECT_EQ(Json::parse(R"({"id":"N \"1\"","name":"nvme0","model":"M\\x","nvme":true,)"
                        R"("present":true,"status":40180,"statusName":"AVAILABLE_SMART",)"
                        R"("well":false,"health":{"criticalWarning":4,"temperatureKelvin":300,)"
                        R"("warningTemperatureKelvin":343,"criticalTemperatureKelvin":353,)"
                        R"("availableSparePercent":75,"availableSpareThresholdPercent":10,)"
                        R"("percentageUsed":50,"mediaErrors":6,"powerOnHours":2,)"
                        R"("unsafeShutdowns":9}})")
                .dump(),
            json["drives"][0].dump());
  EXPECT_EQ("null", json["drives"][1]["health"].dump());
  ASSERT_EQ(1u, json["arrays"].size());
  EXPECT_EQ(Json::parse(R"({"id":"A","name":"md0","level":"raid1","status":40094,"statusName":)"
                        R"("DEGRADED","well":false,"size":4096,"places":2,"lostPlaces":1,)"
                        R"("action":"check","progress":0.25,"mismatches":128,"stopped":false,)"
                        R"("members":[{"drive":"S0","name":"sda","slot":0,"status":40093,)"
                        R"("statusName":"OPERATIONAL"},{"drive":"S1","name":"sdb","slot":null,)"
                        R"("status":40095,"statusName":"FAILED"}]})")
                .dump(),
            json["arrays"][0].dump());
}

TEST(View, SizesOfArraysHaveTheLargestUnitThatFits) {
  World world = WorldWithArray("raid1", 2);
  struct Row {
    std::uint64_t bytes;
    const char* text;
  };
  for (const Row& row :
       {Row{1023, "1023 B"}, Row{1024, "1.0 KiB"}, Row{1536, "1.5 KiB"},
        Row{std::uint64_t{1} << 20, "1.0 MiB"}, Row{std::uint64_t{1} << 50, "1.0 PiB"},
        Row{std::uint64_t{1} << 62, "4096.0 PiB"}}) {
    world.state->arrays.at(0).array.size = row.bytes;
    EXPECT_THAT(TableOf(*world.state), HasSubstr(row.text));
  }
}

TEST(Metrics, HoldTheStatusesAndEscapeLabels) {
  const World world = FullWorld();
  ServiceCounts counts;
  counts.mailsQueued = 3;
  counts.lastLook = 1700000000;
  const std::string text = MetricsText(*world.state, counts);
  EXPECT_THAT(text, HasSubstr("ondrel_drive_status{drive=\"S1\",status=\"FAILED\"} 1\n"));
  EXPECT_THAT(
      text,
      HasSubstr("ondrel_drive_info{drive=\"N \\\"1\\\"\",name=\"nvme0\",model=\"M\\\\x\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("ondrel_drive_temperature_celsius{drive=\"N \\\"1\\\"\"} 27\n"));
  EXPECT_THAT(text, HasSubstr("ondrel_array_degraded_members{array=\"A\"} 1\n"));
  EXPECT_THAT(text,
              HasSubstr("ondrel_array_action_progress_ratio{array=\"A\",action=\"check\"} 0.25\n"));
  EXPECT_THAT(text, HasSubstr("ondrel_watch_mails_queued 3\n"));
  EXPECT_THAT(text, HasSubstr("ondrel_watch_last_look_timestamp_seconds 1700000000\n"));
}

TEST(Metrics, EachHealthValueHasItsSeriesInItsUnit) {
  World world = FullWorld();
  Ondrel::Host::DriveHealth& health = world.AskHealth("N \"1\"");
  health.criticalWarning = 4;
  health.availableSpare = 75;
  health.percentageUsed = 50;
  health.mediaErrors = 6;
  health.powerOnHours = 2;
  health.unsafeShutdowns = 9;
  world.Look();
  const std::string text = MetricsText(*world.state, {});
  struct Row {
    const char* name;
    const char* type;
    const char* help;
    const char* value;
  };
  for (const Row& row : {
           Row{"critical_warning", "gauge", "Bits of the critical warning.", "4"},
           Row{"available_spare_ratio", "gauge", "Spare capacity that is left.", "0.75"},
           Row{"life_used_ratio", "gauge", "Part of the expected life that is used.", "0.5"},
           Row{"media_errors_total", "counter", "Media and data integrity errors.", "6"},
           Row{"power_on_seconds_total", "counter", "Time that the drive was powered.", "7200"},
           Row{"unsafe_shutdowns_total", "counter", "Losses of power without notice.", "9"},
       }) {
    const std::string name = std::string("ondrel_drive_") + row.name;
    EXPECT_THAT(text,
                HasSubstr("# HELP " + name + " " + row.help + "\n# TYPE " + name + " " + row.type +
                          "\n" + name + "{drive=\"N \\\"1\\\"\"} " + row.value + "\n"));
  }
}

TEST(MailText, SaysWhatHappenedWhereAndWhen) {
  WatchEvent event;
  event.code = 10471;
  event.severity = 4;
  event.text = "Drive S1 (sdb): status changed from OPERATIONAL to FAILED";
  const MailText mail = MailAbout(event, "host", 1700000000, "RAID");
  EXPECT_EQ("host: Drive S1 (sdb): status changed from OPERATIONAL to FAILED", mail.subject);
  EXPECT_THAT(mail.body, HasSubstr("Time: 2023-11-14 22:13:20 UTC\n"));
  EXPECT_THAT(mail.body,
              HasSubstr("Event: 10471 (PD_STATE_CHANGE_OP_TO_FAIL), severity 4 (error)\n"));
  EXPECT_THAT(mail.body, HasSubstr("Event log: RAID\n"));
  // Empty lines do not reach a mail.
  EXPECT_THAT(mail.body, Not(HasSubstr("\n\n")));
}

}  // namespace
}  // namespace Tool::Watch
