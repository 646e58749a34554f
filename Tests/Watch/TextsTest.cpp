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
