#include "DriveTree.h"
#include "Host/DrivesOperations.h"
#include "Host/Linux/Drives/NVMeList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

namespace Ondrel::Host {
namespace {

using testing::ElementsAre;

class NVMeList : public testing::Test {
protected:
  void AddController(const std::string& name, const std::string& serial) const {
    const std::string folder = "sys/devices/" + name;
    m_tree.Write(folder + "/model", "Model  \n");
    m_tree.Write(folder + "/serial", serial + "\n");
    m_tree.Write(folder + "/firmware_rev", "1.2\n");
    m_tree.Write(folder + "/state", "live\n");
    m_tree.Write(folder + "/transport", "pcie\n");
    m_tree.Write(folder + "/address", "0000:00:04.0\n");
    m_tree.Write(folder + "/subsysnqn", "nqn.2014-08.org:one\n");
    m_tree.Write(folder + "/hwmon1/name", "nvme\n");
    m_tree.Write(folder + "/ng0n1/dev", "1:1\n");
    m_tree.Link("sys/class/nvme/" + name, folder);
  }

  void AddNamespace(const std::string& folder, const std::string& name, int id) const {
    m_tree.Write(folder + "/nsid", std::to_string(id) + "\n");
    m_tree.Write(folder + "/size", "2048\n");
    m_tree.Write(folder + "/queue/logical_block_size", "4096\n");
    m_tree.Link("sys/block/" + name, folder);
  }

  NVMeDevices Read() const { return ReadNVMeDevices(m_tree.Path("sys")); }

  DriveTree m_tree;
};

struct EntryRow {
  const char* entry;
  std::optional<std::string> disk;
};

TEST(NVMeDiskOf, KnowsDisksAndWaysToThem) {
  const EntryRow kRows[] = {
      {"nvme0n1", "nvme0n1"},        {"nvme12n34", "nvme12n34"}, {"nvme0c1n1", "nvme0n1"},
      {"nvme10c20n30", "nvme10n30"}, {"nvme0", std::nullopt},    {"nvme0n", std::nullopt},
      {"nvmen1", std::nullopt},      {"nvme0cn1", std::nullopt}, {"nvme0n1p1", std::nullopt},
      {"ng0n1", std::nullopt},       {"hwmon1", std::nullopt},   {"", std::nullopt},
      {"nvme0c1", std::nullopt},     {"nvme", std::nullopt}};
  for (const EntryRow& row : kRows) EXPECT_EQ(NVMeDiskOf(row.entry), row.disk) << row.entry;
}

TEST_F(NVMeList, ControllerAndNamespaceAreShownWithTheirNumbers) {
  AddController("nvme0", "S\x01 1");
  AddNamespace("sys/devices/nvme0/nvme0n1", "nvme0n1", 200);

  const NVMeDevices devices = Read();

  ASSERT_EQ(devices.controllers.size(), 1U);
  const NVMeController& controller = devices.controllers[0];
  EXPECT_EQ(controller.name, "nvme0");
  EXPECT_EQ(controller.device, "/dev/nvme0");
  EXPECT_EQ(controller.model, "Model");
  EXPECT_EQ(controller.serial, "S? 1");
  EXPECT_EQ(controller.firmware, "1.2");
  EXPECT_EQ(controller.state, "live");
  EXPECT_EQ(controller.transport, "pcie");
  EXPECT_EQ(controller.address, "0000:00:04.0");
  EXPECT_EQ(controller.subsystem, "nqn.2014-08.org:one");
  ASSERT_EQ(devices.namespaces.size(), 1U);
  const NVMeNamespace& nameSpace = devices.namespaces[0];
  EXPECT_EQ(nameSpace.name, "nvme0n1");
  EXPECT_EQ(nameSpace.device, "/dev/nvme0n1");
  EXPECT_EQ(nameSpace.id, 200U);
  EXPECT_EQ(nameSpace.sizeInBytes, 2048U * 512);
  EXPECT_EQ(nameSpace.blockSize, 4096U);
  EXPECT_THAT(nameSpace.controllers, ElementsAre("nvme0"));
  EXPECT_EQ(devices.error, 0U);
}

TEST_F(NVMeList, NamespaceOfTwoControllersIsThereOnceByItsSharedDisk) {
  AddController("nvme0", "S1");
  AddController("nvme1", "S1");
  AddNamespace("sys/devices/nvme-subsys0/nvme0n1", "nvme0n1", 2);
  // The ways have numbers of their own, which must not be taken.
  AddNamespace("sys/devices/nvme0/nvme0c0n1", "nvme0c0n1", 2);
  AddNamespace("sys/devices/nvme1/nvme0c1n1", "nvme0c1n1", 2);
  m_tree.Write("sys/devices/nvme0/nvme0c0n1/size", "1\n");
  m_tree.Write("sys/devices/nvme1/nvme0c1n1/size", "1\n");

  const NVMeDevices devices = Read();

  ASSERT_EQ(devices.namespaces.size(), 1U);
  EXPECT_EQ(devices.namespaces[0].name, "nvme0n1");
  EXPECT_EQ(devices.namespaces[0].sizeInBytes, 2048U * 512);
  EXPECT_THAT(devices.namespaces[0].controllers, ElementsAre("nvme0", "nvme1"));
}

TEST_F(NVMeList, ControllerWithoutANamespaceIsListed) {
  AddController("nvme3", "S3");

  const NVMeDevices devices = Read();

  EXPECT_EQ(devices.controllers.size(), 1U);
  EXPECT_TRUE(devices.namespaces.empty());
}

TEST_F(NVMeList, NamesAreInTheOrderOfTheirNumbers) {
  for (const char* const name : {"nvme10", "nvme2", "nvme0"}) {
    AddController(name, name);
    AddNamespace(std::string("sys/devices/") + name + "/" + name + "n1", name + std::string("n1"),
                 1);
  }

  const NVMeDevices devices = Read();

  ASSERT_EQ(devices.controllers.size(), 3U);
  EXPECT_EQ(devices.controllers[1].name, "nvme2");
  EXPECT_EQ(devices.namespaces[2].name, "nvme10n1");
}

TEST_F(NVMeList, WantOfDescriptorsIsAnError) {
  AddController("nvme0", "S");
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const std::uint32_t error = Read().error;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(error, 4U);
}

TEST_F(NVMeList, HostWithoutNVMeHasNone) {
  const NVMeDevices devices = Read();

  EXPECT_TRUE(devices.controllers.empty());
  EXPECT_TRUE(devices.namespaces.empty());
  EXPECT_EQ(devices.error, 0U);
}

TEST(NVMeNodes, WhatIsNotThereOrAnotherDeviceGivesItsErrorAndNoNumber) {
  const DrivesOperations drives = MakeDrivesOperations();
  const DriveTree tree;
  ULong id = 4711;
  EXPECT_EQ(drives.ArmHealthEvents(tree.Path("none")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(drives.ArmHealthEvents("/dev/null"), 1U);
  EXPECT_EQ(drives.FindNVMeNamespaceId(tree.Path("none").c_str(), id), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(drives.FindNVMeNamespaceId("/dev/null", id), 1U);
  EXPECT_EQ(id, 4711U);
}

}  // namespace
}  // namespace Ondrel::Host
