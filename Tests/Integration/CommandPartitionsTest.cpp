#include "CommandFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <string>

namespace Ondrel::Testing {

namespace {

using nlohmann::json;

// This machine has what disks it has: what is listed is held against sysfs. A machine without one
// says in the test's outcome that nothing was looked at.
class CommandPartitions : public CommandFixture {
protected:
  json Disks() const { return ParseAnswer(Run({"--json", "disks"}).output)["disks"]; }
};

std::string FirstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

TEST_F(CommandPartitions, EachDiskHasTheSizeThatTheKernelReports) {
  const ProcessResult result = Run({"--json", "disks"});
  const json disks = ParseAnswer(result.output)["disks"];
  EXPECT_EQ(result.exitStatus, disks.empty() ? 1 : 0);
  if (disks.empty()) GTEST_SKIP() << "no disk";
  std::size_t number = 0;
  for (const json& disk : disks) {
    const std::string device = disk["device"];
    ASSERT_TRUE(device.starts_with("/dev/"));
    const std::string size = FirstLine("/sys/class/block/" + device.substr(5) + "/size");
    EXPECT_EQ(disk["size"], std::stoull(size) * 512);
    EXPECT_EQ(disk["number"], number);
    EXPECT_EQ(disk["disk"], "Disk " + std::to_string(number));
    ++number;
  }
}

TEST_F(CommandPartitions, EveryPartitionLiesWithinItsDisk) {
  const json disks = Disks();
  if (disks.empty()) GTEST_SKIP() << "no disk";
  for (const json& disk : disks) {
    const json listed = ParseAnswer(Run({"--json", "partitions", disk["disk"]}).output);
    EXPECT_EQ(listed["device"], disk["disk"]);
    for (const json& partition : listed["partitions"]) {
      const std::uint64_t end = partition["startSector"].get<std::uint64_t>() +
                                partition["sectorCount"].get<std::uint64_t>();
      EXPECT_LE(end * 512, disk["size"].get<std::uint64_t>());
      EXPECT_EQ(partition["kind"], 1);
      EXPECT_EQ(partition["driveRoot"], "");
    }
  }
}

TEST_F(CommandPartitions, ADiskThatIsNotThereHasNone) {
  const ProcessResult result = Run({"partitions", "Disk 4000000"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, "there is no Disk 4000000\n");
  const json answer = ParseAnswer(Run({"--json", "partitions", "Disk 4000000"}).output);
  EXPECT_EQ(answer["found"], false);
  EXPECT_EQ(answer["partitions"], json::array());
  EXPECT_FALSE(answer.contains("error"));
}

TEST_F(CommandPartitions, AllDisksAreShownInOneCall) {
  const json disks = Disks();
  if (disks.empty()) GTEST_SKIP() << "no disk";
  const json all = ParseAnswer(Run({"--json", "partitions", "--all"}).output)["disks"];
  ASSERT_EQ(all.size(), disks.size());
  for (std::size_t index = 0; index < all.size(); ++index)
    EXPECT_EQ(all[index]["device"], disks[index]["disk"]);
}

TEST_F(CommandPartitions, OneDiskAndAllExcludeEachOther) {
  const ProcessResult result = Run({"partitions", "Disk 0", "--all"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.output, "");
}

TEST_F(CommandPartitions, ADiskMayBeNamedByItsNumberOrItsDevice) {
  EXPECT_EQ(ParseAnswer(Run({"--json", "partitions", "4000000"}).output)["device"], "Disk 4000000");
  const json disks = Disks();
  if (disks.empty()) GTEST_SKIP() << "no disk";
  for (const json& disk : disks) {
    EXPECT_EQ(ParseAnswer(Run({"--json", "partitions", disk["device"]}).output)["device"],
              disk["disk"]);
  }
}

TEST_F(CommandPartitions, WhatIsNotADiskIsRefused) {
  for (const char* const name :
       {"Disk", "Disk x", "Disk -1", "Disk ", "Disk 1 ", "0x0", "/dev/null", "disk 0", "/dev"}) {
    const ProcessResult result = Run({"partitions", name});
    EXPECT_EQ(result.exitStatus, 2) << name;
    EXPECT_THAT(result.errors, testing::HasSubstr("is not a disk")) << name;
  }
}

TEST_F(CommandPartitions, AHostWithoutADiskSaysSo) {
  // With mounts of its own: a kernel that has no disk.
  const std::string line = "mount -t tmpfs none /sys && mkdir /sys/block && \"$0\" ";
  const std::pair<std::string, std::string> kRows[] = {
      {"partitions --all", "there is no disk\n"},
      {"--json partitions --all", "{\"jsonVersion\":1,\"disks\":[]}\n"},
      {"disks", "there is no disk\n"},
  };
  for (const auto& [words, output] : kRows) {
    const ProcessResult result =
        RunProcess("/usr/bin/unshare", {"--mount", "/bin/sh", "-c", line + words, ONDREL_COMMAND});
    EXPECT_EQ(result.exitStatus, 1) << words;
    EXPECT_EQ(result.output, output) << words;
    EXPECT_EQ(result.errors, "") << words;
  }
}

TEST_F(CommandPartitions, AListThatMayLackDisksSaysWhy) {
  // One disk, in a folder that the real user may not read and the effective one does. Without the
  // search for leaks: it may not look at such a process.
  const std::string line = R"(mount -t tmpfs none /sys && mkdir -p /sys/block/sda/device &&
printf 'MAJOR=8\nMINOR=0\n' >/sys/block/sda/uevent && echo 2048 >/sys/block/sda/size &&
chmod 700 /sys/block && exec env ASAN_OPTIONS=detect_leaks=0 setpriv --ruid 65534 "$0" --json )";
  for (const char* const words : {"disks", "partitions --all", "partitions 0"}) {
    const ProcessResult result =
        RunProcess("/usr/bin/unshare", {"--mount", "/bin/sh", "-c", line + words, ONDREL_COMMAND});
    EXPECT_EQ(result.exitStatus, 3) << words;
    EXPECT_THAT(result.output, testing::HasSubstr("/dev/sda")) << words;
    EXPECT_EQ(ParseAnswer(result.output)["error"]["name"], "ERROR_ACCESS_DENIED") << words;
    EXPECT_THAT(result.errors,
                testing::StartsWith("ondrel: cannot see all disks: Access is denied. (error 5, "
                                    "ERROR_ACCESS_DENIED)\n"))
        << words;
  }
}

TEST_F(CommandPartitions, ADiskHasToBeNamed) {
  const ProcessResult result = Run({"partitions"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.output, "");
}

}  // namespace

}  // namespace Ondrel::Testing
