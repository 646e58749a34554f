#include "Host/Linux/Volumes/VolumePicture.h"
#include "Support/OwnMounts.h"

#include <gtest/gtest.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace Ondrel::Host {
namespace {

constexpr int kWithoutMounts = 100;
constexpr int kWithoutDevices = 101;

// Any block device of this machine by its number; what it is does not matter.
std::optional<BlockDevice> AnyBlockDevice() {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/dev/block", error)) {
    const std::string number = entry.path().filename();
    const std::size_t colon = number.find(':');
    BlockDevice device;
    device.name = "none";
    std::from_chars(number.data(), number.data() + colon, device.number.first);
    std::from_chars(number.data() + colon + 1, number.data() + number.size(), device.number.second);
    return device;
  }
  return std::nullopt;
}

// In a process whose /run is its own: 0, or the number of what did not hold.
int CheckRecordOfTheDeviceManager() {
  const std::optional<BlockDevice> device = AnyBlockDevice();
  if (!device) return kWithoutDevices;
  if (!Testing::MountOwnFileSystem("/run")) return kWithoutMounts;
  std::filesystem::create_directories("/run/udev/data");
  std::ofstream("/run/udev/data/b" + std::to_string(device->number.first) + ":" +
                std::to_string(device->number.second))
      << "I:1\n"
         "E:ID_MODEL_ENC=A\\x20disk\\x2fB\\x2Fc\\x5x\\\n"
         "E:ID_FS_TYPE=ext4\nE:ID_FS_LABEL_ENC=My\\x20data\nE:ID_FS_UUID_ENC=1111-2222\n"
         "E:ID_PART_ENTRY_SCHEME=gpt\nE:ID_PART_ENTRY_TYPE=0fc63daf\n"
         "E:ID_PART_ENTRY_NAME=a\\x20name\nE:ID_PART_ENTRY_UUID=3333\n";
  const VolumeSources sources = HostVolumeSources();
  if (sources.property(*device, "ID_MODEL_ENC") != "A disk/B/c\\x5x\\") return 1;
  if (sources.property(*device, "ID_NOT_THERE")) return 2;
  const std::optional<FileSystem> content = sources.fileSystem(*device);
  if (!content || content->type != "ext4") return 3;
  if (content->label != "My data" || content->uuid != "1111-2222") return 4;
  const std::optional<PartitionEntry> entry = sources.partitionEntry(*device);
  if (!entry || entry->scheme != "gpt" || entry->type != "0fc63daf") return 5;
  if (entry->name != "a name" || entry->uuid != "3333") return 6;
  BlockDevice unknown;
  unknown.number = {4095, 4095};
  return sources.property(unknown, "ID_MODEL_ENC") ? 7 : 0;
}

TEST(VolumeSources, WhatTheDeviceManagerWroteDownIsReadAndDecoded) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(CheckRecordOfTheDeviceManager());
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == kWithoutMounts) GTEST_SKIP() << "takes the right to mount";
  if (WEXITSTATUS(status) == kWithoutDevices) GTEST_SKIP() << "takes a block device";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace Ondrel::Host
