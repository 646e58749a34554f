#include "Support/TemporaryFolder.h"
#include "Tool/Host/Linux/Driver.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Tool {
namespace {

using Kind = DriverState::Kind;
using Ondrel::Testing::TemporaryFolder;
using namespace std::string_literals;

class Drivers : public testing::Test {
protected:
  Drivers() {
    std::filesystem::create_directories(m_folder.Path("proc"));
    std::filesystem::create_directories(m_folder.Path("lib/modules/6.1.0"));
    std::filesystem::create_directories(m_folder.Path("sys/module/printk"));
    std::filesystem::create_directories(m_folder.Path("sys/module/virtio_blk"));
    m_folder.Write("proc/modules", "nvme_core 139264 1 nvme, Live 0x0\nnvme 45056 0 - Live 0x0\n");
    m_folder.Write("lib/modules/6.1.0/modules.builtin",
                   "kernel/drivers/block/virtio-blk.ko\nkernel/drivers/md/md-mod.ko\n");
    m_folder.Write("lib/modules/6.1.0/modules.builtin.modinfo",
                   "md_mod.license=GPL\0md_mod.version=1.2 beta\0x.version=9\0"s);
    m_folder.Write("lib/modules/6.1.0/modules.dep",
                   "kernel/net/8021q.ko.xz: kernel/llc.ko.xz\n"
                   "kernel/drivers/nvme/host/nvme-core.ko:\n");
    m_folder.Write("sys/module/printk/version", "3.4\n");
  }

  DriverState State(const std::string& name) const {
    return DriverStateFrom(m_folder.Path(), "6.1.0", name);
  }

  TemporaryFolder m_folder;
};

TEST_F(Drivers, LoadedDriverIsFoundByEitherSpelling) {
  for (const char* const name : {"nvme_core", "nvme-core", "NVMe-Core"}) {
    EXPECT_EQ(State(name).kind, Kind::kLoaded) << name;
    EXPECT_EQ(State(name).name, "nvme_core") << name;
  }
}

TEST_F(Drivers, BuiltInDriverIsFoundInTheKernelsList) {
  EXPECT_EQ(State("virtio_blk").kind, Kind::kBuiltIn);
  EXPECT_EQ(State("virtio-blk").name, "virtio_blk");
  EXPECT_EQ(State("virtio-blk").version, "");
}

TEST_F(Drivers, VersionOfABuiltInDriverComesFromItsTexts) {
  EXPECT_EQ(State("md-mod").kind, Kind::kBuiltIn);
  EXPECT_EQ(State("md-mod").version, "1.2 beta");
}

TEST_F(Drivers, FileSystemOfAKernelWithoutListsIsBuiltIn) {
  m_folder.Write("proc/filesystems", "nodev\tsysfs\n\text4\nnodev\tmqueue\n");
  EXPECT_EQ(State("ext4").kind, Kind::kUnknown);  // The list of this kernel does not have it.

  std::filesystem::remove(m_folder.Path("lib/modules/6.1.0/modules.builtin"));
  EXPECT_EQ(State("ext4").kind, Kind::kBuiltIn);
  EXPECT_EQ(State("EXT4").name, "ext4");
  EXPECT_EQ(State("sysfs").kind, Kind::kBuiltIn);
  EXPECT_EQ(State("nodev").kind, Kind::kUnknown);
}

TEST_F(Drivers, BuiltInDriverWithoutAListHasItsOwnFolder) {
  EXPECT_EQ(State("printk").kind, Kind::kBuiltIn);
  EXPECT_EQ(State("printk").version, "3.4");
}

TEST_F(Drivers, InstalledDriverIsNotLoaded) {
  EXPECT_EQ(State("8021q").kind, Kind::kNotLoaded);
  EXPECT_EQ(State("8021q").version, "");
}

TEST_F(Drivers, OthersAreUnknown) {
  for (const char* const name : {"no_such", "", "nvme_cor", "nvme_core.ko", "../etc", "x"})
    EXPECT_EQ(State(name).kind, Kind::kUnknown) << name;
}

TEST_F(Drivers, HostWithoutAnyListHasNone) {
  const TemporaryFolder empty;

  EXPECT_EQ(DriverStateFrom(empty.Path(), "6.1.0", "nvme").kind, Kind::kUnknown);
}

}  // namespace
}  // namespace Tool
