#include "Support/TemporaryFolder.h"
#include "Tool/Host/Linux/AdapterDetails.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace Tool {
namespace {

namespace fs = std::filesystem;
using Ondrel::CDevNode;
using Ondrel::Testing::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kRoot = "devices/pci0000:00/";

class Details : public testing::Test {
protected:
  Details() {
    for (const char* const folder : {"bus/pci/devices", "bus/pci/drivers/ahci", "block"})
      fs::create_directories(Path(folder));
  }

  fs::path Path(const std::string& name) const { return m_folder.Path(name); }

  void AddAdapter(const std::string& location, const std::string& classCode) {
    fs::create_directories(Path(kRoot + location));
    m_folder.Write(kRoot + location + "/class", classCode + "\n");
    fs::create_symlink(Path(kRoot + location), Path("bus/pci/devices/" + location));
  }

  void AddDisk(const std::string& folder, const std::string& name) {
    fs::create_directories(Path(folder + "/" + name));
    fs::create_symlink(Path(folder + "/" + name), Path("block/" + name));
  }

  std::vector<AdapterDetails> DetailsOfBoth() const {
    const CDevNode sata{"", "8086", "2922", 0, 0, 31, 2};
    const CDevNode nvme{"", "1B36", "0010", 0, 0, 4, 0};
    return DetailsFrom(m_folder.Path(), m_folder.Path("pci.ids"), {nvme, sata});
  }

  TemporaryFolder m_folder;
};

TEST_F(Details, NamesClassAndDriverAreFound) {
  m_folder.Write("pci.ids",
                 "8086  Intel Corporation\n\t2922  ICH9 SATA\n1b36  Other\n"
                 "C 01  Mass storage controller\n\t06  SATA controller\n\t\t01  AHCI 1.0\n");
  AddAdapter("0000:00:1f.2", "0x010601");
  fs::create_symlink(Path("bus/pci/drivers/ahci"),
                     Path(std::string(kRoot) + "0000:00:1f.2/driver"));
  const std::vector<AdapterDetails> details = DetailsOfBoth();

  EXPECT_EQ(details[0].vendor, "Other");
  EXPECT_EQ(details[0].device, "");
  EXPECT_EQ(details[0].className, "");
  EXPECT_EQ(details[0].driver, "");
  EXPECT_EQ(details[1].vendor, "Intel Corporation");
  EXPECT_EQ(details[1].device, "ICH9 SATA");
  EXPECT_EQ(details[1].className, "SATA controller (AHCI 1.0)");
  EXPECT_EQ(details[1].driver, "ahci");
}

TEST_F(Details, DisksAreThoseOnWhoseWayTheAdapterLies) {
  AddAdapter("0000:00:1f.2", "0x010601");
  const std::string below =
      std::string(kRoot) + "0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block";
  AddDisk(below, "sdb");
  AddDisk(below, "sda");
  AddDisk(below, "sdaa");
  AddDisk("devices/virtual/block", "loop0");
  const std::vector<AdapterDetails> details = DetailsOfBoth();

  EXPECT_THAT(details[0].disks, IsEmpty());
  EXPECT_THAT(details[1].disks, ElementsAre("/dev/sda", "/dev/sdb", "/dev/sdaa"));
}

TEST_F(Details, DiskOfSeveralControllersIsBehindEach) {
  const std::string subsystem = "devices/virtual/nvme-subsystem/nvme-subsys0";
  for (const auto& [location, controller] :
       {std::pair("0000:00:04.0", "nvme0"), std::pair("0000:00:1f.2", "nvme1")}) {
    AddAdapter(location, "0x010802");
    const std::string folder = std::string(kRoot) + location + "/nvme/" + controller;
    fs::create_directories(Path(folder));
    fs::create_directories(Path(subsystem));
    fs::create_symlink(Path(folder), Path(subsystem + "/" + controller));
  }
  AddDisk(subsystem, "nvme0n1");
  AddDisk(std::string(kRoot) + "0000:00:04.0/nvme/nvme0", "nvme0c0n1");
  m_folder.Write("block/nvme0c0n1/hidden", "1\n");
  const std::vector<AdapterDetails> details = DetailsOfBoth();

  EXPECT_THAT(details[0].disks, ElementsAre("/dev/nvme0n1"));
  EXPECT_THAT(details[1].disks, ElementsAre("/dev/nvme0n1"));
}

}  // namespace
}  // namespace Tool
