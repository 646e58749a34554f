#include "CommandFixture.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

class CommandHost : public CommandFixture {
protected:
  json Shown(const std::vector<std::string>& arguments, int exitStatus) const {
    const ProcessResult result = Run(arguments);
    EXPECT_EQ(result.exitStatus, exitStatus) << result.output << result.errors;
    return ParseAnswer(result.output);
  }
};

TEST_F(CommandHost, DoctorMakesAllChecksAndMissesNothingThatNobodyAskedFor) {
  const json shown = Shown({"--json", "doctor"}, 0);

  std::set<std::string> names;
  bool areAllOk = true;
  for (const json& check : shown["checks"]) {
    names.insert(check["name"]);
    areAllOk = areAllOk && check["ok"].get<bool>();
    EXPECT_NE(check["finding"], "") << check;
    EXPECT_EQ(check["remedy"].is_null(), check["ok"].get<bool>()) << check;
  }
  EXPECT_EQ(names, (std::set<std::string>{"rights", "eventLog", "journal", "store", "devices",
                                          "timeZone", "libraries", "messageTable", "language",
                                          "speaker", "pciNames"}));
  EXPECT_EQ(shown["ok"], areAllOk);
}

TEST_F(CommandHost, DoctorEndsWithOneWhenWhatWasNamedIsMissing) {
  const std::string missing = Path("missing/events.db");
  const ProcessResult result =
      RunProcess(ONDREL_COMMAND, {"--store", missing, "--json", "doctor", "store"});

  EXPECT_EQ(result.exitStatus, 1);
  const json shown = ParseAnswer(result.output);
  EXPECT_EQ(shown["ok"], false);
  EXPECT_EQ(shown["checks"][0]["finding"], Path("missing") + ": No such file or directory");
  EXPECT_EQ(shown["checks"][0]["remedy"], "make the folder: mkdir -p -m 700 " + Path("missing"));
}

TEST_F(CommandHost, DoctorEndsWithZeroWhenWhatWasNamedIsThere) {
  const json shown = Shown({"--json", "doctor", "store", "MESSAGETABLE", "libraries"}, 0);

  EXPECT_EQ(shown["ok"], true);
  EXPECT_EQ(shown["checks"].size(), 3U);
  EXPECT_EQ(shown["checks"][1]["name"], "messageTable");
}

TEST_F(CommandHost, DoctorMissesNoStoreThatTheFirstReportMakes) {
  // With mounts of its own: a host that has not kept an event yet.
  const std::string store = "/var/lib/ondrel/events.db";
  const std::string line =
      "mount -t tmpfs none /var/lib && \"$0\" --json doctor store && \"$0\" --store " + store +
      " log report Test 10000 information text >/dev/null && \"$0\" --json doctor store && "
      "stat -c '%a' /var/lib/ondrel";
  const ProcessResult result =
      RunProcess("/usr/bin/unshare", {"--mount", "/bin/sh", "-c", line, ONDREL_COMMAND});

  ASSERT_EQ(result.exitStatus, 0) << result.output << result.errors;
  std::istringstream lines(result.output);
  std::string fresh;
  std::string used;
  std::string mode;
  std::getline(lines, fresh);
  std::getline(lines, used);
  std::getline(lines, mode);
  EXPECT_EQ(ParseAnswer(fresh)["checks"][0]["finding"],
            "the first report makes " + store + " and its folder");
  EXPECT_EQ(ParseAnswer(fresh)["checks"][0]["remedy"], nullptr);
  EXPECT_EQ(ParseAnswer(used)["checks"][0]["finding"], store + " can be written");
  EXPECT_EQ(mode, "700");
}

TEST_F(CommandHost, DoctorSaysThatTheFirstReportMakesTheStoreThatWasNamed) {
  const json shown = Shown({"--json", "doctor", "store"}, 0);

  EXPECT_EQ(shown["checks"][0]["finding"], "the first report makes " + Path("events.db"));
}

TEST_F(CommandHost, DoctorMissesAStoreThatIsALinkToNothing) {
  std::filesystem::create_symlink("nowhere", Path("events.db"));

  const json shown = Shown({"--json", "doctor", "store"}, 1);

  EXPECT_EQ(shown["checks"][0]["remedy"], "remove the link");
}

TEST_F(CommandHost, DoctorMissesAStoreThatCannotBeOne) {
  std::filesystem::create_directory(Path("folder"));
  std::filesystem::create_symlink("loop", Path("loop"));
  std::ofstream(Path("text")) << "what a person writes";
  const std::pair<std::string, std::string> rows[] = {
      {Path("folder"), Path("folder") + " is a folder"},
      {"/dev/null", "/dev/null is not a file"},
      {Path("text"), Path("text") + " is not an event store"},
      {Path("text") + "/events.db", Path("text") + " is not a folder"},
      {Path("loop"), Path("loop") + ": Too many levels of symbolic links"},
      {Path(std::string(300, 'x')), Path(std::string(300, 'x')) + ": File name too long"},
  };
  for (const auto& [store, finding] : rows) {
    const ProcessResult result =
        RunProcess(ONDREL_COMMAND, {"--store", store, "--json", "doctor", "store"});

    EXPECT_EQ(result.exitStatus, 1) << store;
    EXPECT_EQ(ParseAnswer(result.output)["checks"][0]["finding"], finding);
    EXPECT_THAT(ParseAnswer(result.output)["checks"][0]["remedy"].get<std::string>(),
                MatchesRegex("name (a|another) file with --store"));
  }
}

TEST_F(CommandHost, DoctorPromisesNoStoreThatTheLibraryDoesNotMake) {
  const std::string line =
      "mount -t tmpfs none /var/lib && ! \"$0\" --store /var/lib//ondrel/x.db doctor store && "
      "ln -s /nowhere /var/lib/ondrel && ! \"$0\" --store /var/lib/ondrel/x.db doctor store";
  const ProcessResult result =
      RunProcess("/usr/bin/unshare", {"--mount", "/bin/sh", "-c", line, ONDREL_COMMAND});

  EXPECT_EQ(result.exitStatus, 0) << result.output << result.errors;
}

TEST_F(CommandHost, DoctorShowsALineThatAShellTakes) {
  const json shown = ParseAnswer(
      RunProcess(ONDREL_COMMAND, {"--store", "/no where/it's/x.db", "--json", "doctor", "store"})
          .output);

  EXPECT_EQ(shown["checks"][0]["remedy"], "make the folder: mkdir -p -m 700 '/no where/it'\\''s'");
}

TEST_F(CommandHost, DoctorChangesNothing) {
  Run({"doctor"});

  EXPECT_FALSE(std::filesystem::exists(Path("events.db")));
}

TEST_F(CommandHost, DoctorShowsATable) {
  const ProcessResult result =
      RunProcess(ONDREL_COMMAND, {"--store", Path("missing/events.db"), "doctor", "store"});

  EXPECT_EQ(result.output, "store         missing  " + Path("missing") +
                               ": No such file or directory\n                       help: make the "
                               "folder: mkdir -p -m 700 " +
                               Path("missing") + "\n");
}

TEST_F(CommandHost, DoctorNamesTheZoneThatIsNotThere) {
  const ProcessResult result = RunProcess(
      "/usr/bin/env", {"TZ=Nowhere/Land", ONDREL_COMMAND, "--json", "doctor", "timeZone"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(ParseAnswer(result.output)["checks"][0]["finding"].get<std::string>(),
              HasSubstr("/usr/share/zoneinfo/Nowhere/Land"));
}

TEST_F(CommandHost, DoctorKnowsNoOtherChecks) {
  const ProcessResult result = Run({"doctor", "weather"});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.errors, HasSubstr("there is no check \"weather\""));
}

TEST_F(CommandHost, DriverThatIsNotThereIsSaidToBeSo) {
  const json shown = Shown({"--json", "module-version", "no-such-driver"}, 1);
  EXPECT_EQ(shown["state"], "unknown");
  EXPECT_EQ(shown["version"], nullptr);

  EXPECT_EQ(Run({"module-version", "no-such-driver"}).output,
            "there is no driver no-such-driver\n");
}

TEST_F(CommandHost, DriverThatIsAPartOfTheKernelIsBuiltIn) {
  // Every kernel has it, and none as a module.
  ASSERT_TRUE(std::filesystem::exists("/sys/module/printk"));

  EXPECT_EQ(Shown({"--json", "module-version", "printk"}, 1)["state"], "builtIn");
  EXPECT_EQ(Run({"module-version", "printk"}).output,
            "printk is built into the kernel and has no version\n");
}

TEST_F(CommandHost, DriverOfTheRunningKernelThatIsNotLoadedIsInstalled) {
  if (!std::filesystem::exists("/lib/modules")) GTEST_SKIP() << "there is no folder for modules";
  // With mounts of its own: a host with one module.
  const std::string line =
      "mount -t tmpfs none /lib/modules && folder=/lib/modules/$(uname -r) && mkdir $folder && "
      "echo kernel/net/test-only.ko: >$folder/modules.dep && "
      "\"$0\" --json module-version test_only";
  const ProcessResult result =
      RunProcess("/usr/bin/unshare", {"--mount", "/bin/sh", "-c", line, ONDREL_COMMAND});

  EXPECT_EQ(result.exitStatus, 1) << result.errors;
  EXPECT_EQ(ParseAnswer(result.output)["state"], "notLoaded");
}

TEST_F(CommandHost, BeepOutsideTheSpeakersRangeIsWrongUsage) {
  EXPECT_EQ(Run({"beep", "36", "10"}).exitStatus, 2);
  EXPECT_EQ(Run({"beep", "32768", "10"}).exitStatus, 2);
  EXPECT_EQ(Run({"beep", "440", "-1"}).exitStatus, 2);
}

TEST_F(CommandHost, BeepSaysWhyTheSpeakerCannotSound) {
  // With mounts of its own: a host without a device that sounds, then one without a node for it,
  // then one with either console.
  const std::string line = R"(mount -t tmpfs none /sys; "$0" beep 440 10 2>&1; echo $?
folder=/sys/class/input/input0/capabilities; mkdir -p $folder && echo 6 >$folder/snd
mount -t tmpfs none /dev; "$0" beep 440 10 2>&1; echo $?
touch /dev/tty0; "$0" beep 440 10 2>&1; echo $?
mv /dev/tty0 /dev/console; "$0" beep 440 10 2>&1; echo $?)";
  const ProcessResult result =
      RunProcess("/usr/bin/unshare", {"--mount", "/bin/sh", "-c", line, ONDREL_COMMAND});

  EXPECT_EQ(result.output,
            "ondrel: cannot sound the speaker: there is no speaker: no input device of this host "
            "sounds a tone; on a machine that has one, load its driver with modprobe pcspkr\n3\n"
            "ondrel: cannot sound the speaker: it may not be used: "
            "/dev/input/by-path/platform-pcspkr-event-spkr: No such file or directory; run it as "
            "root or as a member of the group input\n3\n"
            "0\n0\n");
}

TEST_F(CommandHost, UptimeIsShownInMillisecondsAndInDaysAndTheTimeOfDay) {
  const std::string shown = Run({"uptime"}).output;
  unsigned long long milliseconds = 0;
  ASSERT_EQ(std::sscanf(shown.c_str(), "%llu", &milliseconds), 1) << shown;
  ASSERT_GT(milliseconds, 0U);

  const unsigned long long seconds = milliseconds / 1000;
  char expected[96];
  std::snprintf(expected, sizeof expected, "%llums (%llu d %02llu:%02llu:%02llu)\n", milliseconds,
                seconds / 86400, seconds % 86400 / 3600, seconds % 3600 / 60, seconds % 60);
  EXPECT_EQ(shown, expected);
}

}  // namespace
}  // namespace Ondrel::Testing
