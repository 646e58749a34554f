#include "Drives/NVMeDevices.h"
#include "Host/DeviceOperations.h"
#include "Host/DrivesOperations.h"
#include "Host/MemoryOperations.h"
#include "Support/PreparedOperations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

namespace Ondrel::Host {
namespace {

using testing::ElementsAre;
using Testing::PreparedOperations;

/// A host of devices that answer with identify data, or with an error.
class PreparedDisks {
public:
  struct Answer {
    std::string serial;
    ULong openError = 0;
    ULong error = 0;
  };

  explicit PreparedDisks(std::map<std::string, Answer> answers)
      : m_answers(std::move(answers)), m_device(Device(), Operations()) {}

  std::vector<Disk> Disks() const {
    std::vector<Disk> disks;
    for (const auto& [name, answer] : m_answers)
      disks.push_back({static_cast<ULong>(disks.size()), name, 1000 * (disks.size() + 1)});
    return disks;
  }

private:
  DeviceOperations Operations() {
    return {
        .CreateFileA = [this](const char* name, ULong, ULong, void*, ULong, ULong, void*) -> void* {
          m_open = &m_answers.at(name);
          m_lastError = m_open->openError;
          return m_lastError == 0 ? m_open : INVALID_HANDLE_VALUE;
        },
        .DeviceIoControl =
            [this](void* device, ULong, void* input, ULong, void* output, ULong outputSize,
                   ULong* returned, void*) {
              const Answer& answer = *static_cast<const Answer*>(device);
              m_lastError = answer.error;
              if (answer.error != 0) return 0;
              NVME_IDENTIFY_CONTROLLER data;
              std::memset(static_cast<void*>(&data), 0, sizeof data);
              std::memcpy(data.SN, answer.serial.data(), answer.serial.size());
              std::memcpy(data.MN, " Mod~l \x01\x7F ", 10);
              std::memcpy(data.FR, "1.2     ", 8);
              std::array<std::uint32_t, 12> head{};
              std::memcpy(head.data(), input, sizeof head);
              head[0] = head[1] = sizeof head;
              std::memcpy(output, head.data(), sizeof head);
              std::memcpy(static_cast<char*>(output) + sizeof head, &data, sizeof data);
              *returned = outputSize;
              return 1;
            },
        .CloseHandle = [](void*) { return 1; },
        .GetLastError = [this] { return m_lastError; },
    };
  }

  std::map<std::string, Answer> m_answers;
  Answer* m_open = nullptr;
  ULong m_lastError = 0;
  PreparedOperations<DeviceOperations> m_device;
};

TEST(NVMeDevicesAmong, DiskThatAnswersIsAControllerWithANamespace) {
  const PreparedDisks host({{"disk0", {"S1  "}}, {"disk1", {"", 0, 1}}});

  const NVMeDevices devices = NVMeDevicesAmong(host.Disks());

  ASSERT_EQ(devices.controllers.size(), 1U);
  EXPECT_EQ(devices.controllers[0].device, "disk0");
  EXPECT_EQ(devices.controllers[0].serial, "S1");
  EXPECT_EQ(devices.controllers[0].model, "Mod~l ??");
  EXPECT_EQ(devices.controllers[0].firmware, "1.2");
  EXPECT_EQ(devices.controllers[0].state, "");
  ASSERT_EQ(devices.namespaces.size(), 1U);
  EXPECT_EQ(devices.namespaces[0].device, "disk0");
  EXPECT_EQ(devices.namespaces[0].sizeInBytes, 1000U);
  EXPECT_EQ(devices.namespaces[0].id, 0U);
  EXPECT_EQ(devices.error, 0U);
}

TEST(NVMeDevicesAmong, DiskWhoseRecordWasNotWrittenIsLeftOut) {
  const PreparedDisks host({{"disk0", {"S1"}}, {"disk1", {"S2"}}});
  MemoryOperations withoutMemory = Memory();
  withoutMemory.Allocate = [](std::size_t) -> void* { return nullptr; };
  const PreparedOperations<MemoryOperations> memory(Memory(), withoutMemory);

  const NVMeDevices devices = NVMeDevicesAmong(host.Disks());

  EXPECT_TRUE(devices.controllers.empty());
  EXPECT_TRUE(devices.namespaces.empty());
}

TEST(NVMeDevicesAmong, DisksOfOneControllerAreItsNamespaces) {
  const PreparedDisks host({{"disk0", {"S1"}}, {"disk1", {"S1"}}, {"disk2", {"S2"}}});

  const NVMeDevices devices = NVMeDevicesAmong(host.Disks());

  ASSERT_EQ(devices.controllers.size(), 2U);
  ASSERT_EQ(devices.namespaces.size(), 3U);
  EXPECT_THAT(devices.namespaces[1].controllers, ElementsAre("disk0"));
  EXPECT_THAT(devices.namespaces[2].controllers, ElementsAre("disk2"));
}

TEST(NVMeDevicesAmong, DiskThatMayNotBeAskedIsSaid) {
  const PreparedDisks host({{"disk0", {"", 5}}, {"disk1", {"S1"}}});

  const NVMeDevices devices = NVMeDevicesAmong(host.Disks());

  EXPECT_EQ(devices.controllers.size(), 1U);
  EXPECT_EQ(devices.error, 5U);
}

TEST(NVMeDevices, HostThatDoesNotNumberItsNamespacesSaysSo) {
  const PreparedOperations<DrivesOperations> drives(Drives(), {});
  ULong id = 7;

  EXPECT_EQ(FindNVMeNamespaceId("disk", id), 50U);
  EXPECT_EQ(id, 7U);
}

TEST(NVMeDevices, HostThatListsThemIsAsked) {
  DrivesOperations operations;
  operations.ListNVMeDevices = [] {
    NVMeDevices devices;
    devices.error = 8;
    return devices;
  };
  operations.FindNVMeNamespaceId = [](const char* device, ULong& id) -> ULong {
    EXPECT_STREQ(device, "disk");
    id = 200;
    return 0;
  };
  const PreparedOperations<DrivesOperations> drives(Drives(), operations);
  ULong id = 0;

  EXPECT_EQ(ListNVMeDevices().error, 8U);
  EXPECT_EQ(FindNVMeNamespaceId("disk", id), 0U);
  EXPECT_EQ(id, 200U);
}

TEST(NVMeDevices, RefusalIsTheHostsLastStatusWithoutAPhase) {
  DeviceOperations operations;
  std::uint16_t status = 0;
  operations.LastNVMeStatus = [&status] { return status; };
  const PreparedOperations<DeviceOperations> device(Device(), operations);
  EXPECT_FALSE(LastNVMeRefusal().has_value());

  status = 0x6109;
  const auto refusal = LastNVMeRefusal();

  ASSERT_TRUE(refusal.has_value());
  EXPECT_EQ(refusal->P, 0);
  EXPECT_EQ(refusal->SC, 9);
  EXPECT_EQ(refusal->SCT, 1);
  EXPECT_EQ(refusal->M, 1);
  EXPECT_EQ(refusal->DNR, 1);
  Device().LastNVMeStatus = nullptr;
  EXPECT_FALSE(LastNVMeRefusal().has_value());
}

}  // namespace
}  // namespace Ondrel::Host
