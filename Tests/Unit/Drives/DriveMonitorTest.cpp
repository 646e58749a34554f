#include "Drives/DriveStatus.h"
#include "Host/DeviceOperations.h"
#include "Host/DrivesOperations.h"
#include "Support/PreparedOperations.h"

#include <Ondrel/Drives.h>
#include <Ondrel/NVMe.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace Ondrel::Host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Testing::PreparedOperations;

constexpr std::uint32_t kIdentify = 1;
constexpr ULong kNotFound = 2;
constexpr ULong kDenied = 5;

char g_watch;
char g_device;

/// A host with the drives that a test names, and one controller behind every device node.
class PreparedDrives {
public:
  PreparedDrives() : m_drives(Drives(), Operations()), m_device(Device(), DeviceTable()) {
    std::memset(static_cast<void*>(&controller), 0, sizeof controller);
    std::memset(static_cast<void*>(&log), 0, sizeof log);
  }

  DriveSnapshot snapshot;
  NVME_IDENTIFY_CONTROLLER controller;
  NVME_SMART_HEALTH_INFORMATION_LOG log;
  bool isIdentifyAnswered = true;
  bool isLogWritten = true;  ///< False for an answer whose data are not where they should be.
  ULong openError = 0;
  std::vector<std::string> calls;
  int identifies = 0;

private:
  DrivesOperations Operations() {
    return {
        .Open = [this]() -> void* {
          calls.emplace_back("Open");
          return &g_watch;
        },
        .Look =
            [this](void* watch) {
              calls.emplace_back(watch == &g_watch ? "Look" : "Look at another");
              return snapshot;
            },
        .Descriptor = [](void* watch) { return watch == &g_watch ? 77 : 0; },
        .TakeNotifications = [](void* watch) { return watch != &g_watch; },
        .ArmHealthEvents =
            [this](const std::string& device) {
              calls.push_back("Arm " + device);
              return ULong{0};
            },
        .Close =
            [this](void* watch) {
              calls.emplace_back(watch == &g_watch ? "Close" : "Close another");
            },
    };
  }

  DeviceOperations DeviceTable() {
    return {
        .CreateFileA = [this](const char* name, ULong, ULong, void*, ULong, ULong, void*) -> void* {
          calls.push_back(std::string("Ask ") + name);
          return openError == 0 ? &g_device : INVALID_HANDLE_VALUE;
        },
        .DeviceIoControl = [this](void*, ULong, void* input, ULong, void* output, ULong outputSize,
                                  ULong* returned,
                                  void*) { return Answer(input, output, outputSize, returned); },
        .CloseHandle = [](void*) { return 1; },
        .GetLastError = [this] { return openError != 0 ? openError : kNotFound; },
    };
  }

  int Answer(const void* input, void* output, ULong outputSize, ULong* returned) {
    std::uint32_t words[12];
    std::memcpy(words, input, sizeof words);
    const bool isIdentify = words[3] == kIdentify;
    if (isIdentify) ++identifies;
    if (isIdentify && !isIdentifyAnswered) return 0;
    words[0] = words[1] = isIdentify || isLogWritten ? 48 : 0;
    words[2] = 3;
    words[6] = 40;
    words[7] = isIdentify ? 4096 : 512;
    std::memset(output, 0, outputSize);
    std::memcpy(output, words, 40);
    void* const data = static_cast<char*>(output) + 48;
    if (isIdentify)
      std::memcpy(data, &controller, 4096);
    else
      std::memcpy(data, &log, 512);
    *returned = outputSize;
    return 1;
  }

  PreparedOperations<DrivesOperations> m_drives;
  PreparedOperations<DeviceOperations> m_device;
};

Drive NVMeDrive(const std::string& name) {
  Drive drive;
  drive.id = "serial of " + name;
  drive.name = name;
  drive.device = "/dev/" + name;
  drive.status = kStatusAvailable;
  drive.isNVMe = true;
  return drive;
}

TEST(DriveMonitor, AHostWithoutDriveStatusesHasNothingToReport) {
  const PreparedOperations<DrivesOperations> none(Drives(), {});
  EXPECT_FALSE(CDriveMonitor::IsSupported());
  CDriveMonitor monitor;
  EXPECT_THAT(monitor.Look({.readHealth = true, .armHealthEvents = true}).drives, IsEmpty());
  EXPECT_EQ(-1, monitor.Descriptor());
  EXPECT_TRUE(monitor.TakeNotifications());
}

TEST(DriveMonitor, OneWatchServesTheMonitorsLife) {
  PreparedDrives host;
  EXPECT_TRUE(CDriveMonitor::IsSupported());
  {
    CDriveMonitor monitor;
    monitor.Look();
    EXPECT_EQ(77, monitor.Descriptor());
    EXPECT_FALSE(monitor.TakeNotifications());
  }
  EXPECT_THAT(host.calls, ElementsAre("Open", "Look", "Close"));
}

TEST(DriveMonitor, OnlyNVMeDrivesThatAreThereAreAskedAndOnlyForWhatIsWanted) {
  PreparedDrives host;
  Drive gone = NVMeDrive("nvme1");
  gone.isPresent = false;
  Drive other = NVMeDrive("sda");
  other.isNVMe = false;
  host.snapshot.drives = {NVMeDrive("nvme0"), gone, other};
  CDriveMonitor monitor;
  host.calls.clear();
  const DriveSnapshot unasked = monitor.Look();
  ASSERT_EQ(unasked.drives.size(), 3U);
  for (const Drive& drive : unasked.drives) {
    EXPECT_FALSE(drive.isHealthAsked) << drive.name;
    EXPECT_FALSE(drive.health.has_value()) << drive.name;
  }
  EXPECT_THAT(host.calls, ElementsAre("Look"));

  host.calls.clear();
  EXPECT_FALSE(
      monitor.Look({.readHealth = false, .armHealthEvents = true}).drives[0].isHealthAsked);
  EXPECT_THAT(host.calls, ElementsAre("Look", "Arm /dev/nvme0"));

  host.calls.clear();
  const DriveSnapshot asked = monitor.Look({.readHealth = true, .armHealthEvents = false});
  EXPECT_THAT(host.calls, ElementsAre("Look", "Ask /dev/nvme0", "Ask /dev/nvme0"));
  EXPECT_TRUE(asked.drives[0].isHealthAsked);
  EXPECT_FALSE(asked.drives[1].isHealthAsked);
  EXPECT_FALSE(asked.drives[2].isHealthAsked);
}

TEST(DriveMonitor, EachValueOfTheHealthRecordHasItsPlace) {
  PreparedDrives host;
  host.snapshot.drives = {NVMeDrive("nvme0")};
  host.controller.WCTEMP = 343;
  host.controller.CCTEMP = 353;
  host.log.CompositeTemperature = 311;
  host.log.AvailableSpare = 90;
  host.log.AvailableSpareThreshold = 10;
  host.log.PercentageUsed = 7;
  host.log.DataUnitsRead[0] = 1001;
  host.log.DataUnitsWritten[0] = 1002;
  host.log.PowerOnHours[0] = 1003;
  host.log.UnsafeShutdowns[0] = 1004;
  host.log.MediaErrors[0] = 1005;
  CDriveMonitor monitor;
  const Drive drive = monitor.Look({.readHealth = true, .armHealthEvents = false}).drives.at(0);
  ASSERT_TRUE(drive.health.has_value());
  EXPECT_EQ(0u, drive.healthError);
  EXPECT_EQ(kStatusAvailable, drive.status);
  EXPECT_EQ(0, drive.health->criticalWarning);
  EXPECT_EQ(311, drive.health->temperature);
  EXPECT_EQ(343, drive.health->warningTemperature);
  EXPECT_EQ(353, drive.health->criticalTemperature);
  EXPECT_EQ(90, drive.health->availableSpare);
  EXPECT_EQ(10, drive.health->availableSpareThreshold);
  EXPECT_EQ(7, drive.health->percentageUsed);
  EXPECT_EQ(1001u, drive.health->dataUnitsRead);
  EXPECT_EQ(1002u, drive.health->dataUnitsWritten);
  EXPECT_EQ(1003u, drive.health->powerOnHours);
  EXPECT_EQ(1004u, drive.health->unsafeShutdowns);
  EXPECT_EQ(1005u, drive.health->mediaErrors);
}

TEST(DriveMonitor, ACriticalWarningIsPartOfTheStatus) {
  PreparedDrives host;
  host.snapshot.drives = {NVMeDrive("nvme0")};
  const unsigned char warning = 0x04;
  std::memcpy(static_cast<void*>(&host.log), &warning, 1);
  CDriveMonitor monitor;
  const Drive drive = monitor.Look({.readHealth = true, .armHealthEvents = false}).drives.at(0);
  EXPECT_EQ(0x04, drive.health.value().criticalWarning);
  EXPECT_EQ(kStatusAvailableSmart, drive.status);
}

TEST(DriveMonitor, IdentifyDataAreAskedForOncePerDrive) {
  PreparedDrives host;
  host.snapshot.drives = {NVMeDrive("nvme0")};
  host.controller.WCTEMP = 343;
  CDriveMonitor monitor;
  monitor.Look({.readHealth = true, .armHealthEvents = false});
  EXPECT_EQ(1, host.identifies);
  const Drive again = monitor.Look({.readHealth = true, .armHealthEvents = false}).drives.at(0);
  EXPECT_EQ(1, host.identifies);
  EXPECT_EQ(343, again.health.value().warningTemperature);
}

TEST(DriveMonitor, ADriveThatHidesItsIdentifyDataHasHealthWithoutThresholds) {
  PreparedDrives host;
  host.snapshot.drives = {NVMeDrive("nvme0")};
  host.isIdentifyAnswered = false;
  host.log.CompositeTemperature = 311;
  CDriveMonitor monitor;
  const Drive drive = monitor.Look({.readHealth = true, .armHealthEvents = false}).drives.at(0);
  ASSERT_TRUE(drive.health.has_value());
  EXPECT_EQ(311, drive.health->temperature);
  EXPECT_EQ(0, drive.health->warningTemperature);
  EXPECT_EQ(0, drive.health->criticalTemperature);
}

TEST(DriveMonitor, HealthThatCannotBeReadHasItsError) {
  PreparedDrives host;
  host.snapshot.drives = {NVMeDrive("nvme0")};
  host.openError = kDenied;
  CDriveMonitor monitor;
  const Drive drive = monitor.Look({.readHealth = true, .armHealthEvents = false}).drives.at(0);
  EXPECT_TRUE(drive.isHealthAsked);
  EXPECT_FALSE(drive.health.has_value());
  EXPECT_EQ(kDenied, drive.healthError);
  EXPECT_EQ(0, host.identifies);
}

TEST(ReadDriveHealth, HasTheLogAndTheThresholds) {
  PreparedDrives host;
  host.controller.WCTEMP = 343;
  host.controller.CCTEMP = 353;
  host.log.CompositeTemperature = 310;
  host.log.MediaErrors[0] = 4;
  host.log.ErrorLogEntries[0] = 9;
  host.log.CriticalTemperatureTime = 7;
  DriveHealth health;

  EXPECT_EQ(0u, ReadDriveHealth("/dev/nvme0", health));

  EXPECT_EQ(310, health.temperature);
  EXPECT_EQ(343, health.warningTemperature);
  EXPECT_EQ(353, health.criticalTemperature);
  EXPECT_EQ(4u, health.mediaErrors);
  EXPECT_EQ(9u, health.errorLogEntries);
  EXPECT_EQ(7u, health.criticalTemperatureTime);
}

TEST(ReadDriveHealth, LeavesTheHealthOfADriveThatRefuses) {
  PreparedDrives host;
  host.openError = kDenied;
  DriveHealth health;
  health.temperature = 77;

  EXPECT_EQ(kDenied, ReadDriveHealth("/dev/nvme0", health));

  EXPECT_EQ(77, health.temperature);
}

TEST(DriveMonitor, AnAnswerWithoutARecordIsInvalidData) {
  PreparedDrives host;
  host.snapshot.drives = {NVMeDrive("nvme0")};
  host.isLogWritten = false;
  CDriveMonitor monitor;
  const Drive drive = monitor.Look({.readHealth = true, .armHealthEvents = false}).drives.at(0);
  EXPECT_FALSE(drive.health.has_value());
  EXPECT_EQ(13u, drive.healthError);
  EXPECT_EQ(kStatusAvailable, drive.status);

  // One of the two places alone may hold anything.
  host.isLogWritten = true;
  host.log.Reserved6[0] = 0xEE;
  EXPECT_TRUE(
      monitor.Look({.readHealth = true, .armHealthEvents = false}).drives.at(0).health.has_value());
  host.log.Reserved6[0] = 0;
  host.log.Reserved232[0] = 0xEE;
  EXPECT_TRUE(
      monitor.Look({.readHealth = true, .armHealthEvents = false}).drives.at(0).health.has_value());
}

}  // namespace
}  // namespace Ondrel::Host
