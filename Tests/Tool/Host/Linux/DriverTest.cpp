#include "Support/OwnMounts.h"
#include "Support/TemporaryFolder.h"
#include "Tool/CommandLine.h"
#include "Tool/Host/Linux/Driver.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

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

constexpr int kWithoutMounts = 100;

// In a process whose /proc and /sys are its own, with its answers in a file: 0 when each ended as
// it has to.
int ShowLoadedDriver(int answers) {
  if (!Ondrel::Testing::MountOwnFileSystem("/proc") ||
      mount("tmpfs", "/sys", "tmpfs", 0, "size=1m") != 0)
    return kWithoutMounts;
  std::ofstream("/proc/modules") << "test_only 45056 0 - Live 0x0\n";
  std::filesystem::create_directories("/sys/module/test_only");
  std::ofstream("/sys/module/test_only/version") << "1.2 beta\n";
  dup2(answers, STDOUT_FILENO);
  if (RunLine({"--json", "module-version", "test-only"}) != 0) return 1;
  std::filesystem::remove("/sys/module/test_only/version");
  return RunLine({"module-version", "test-only"}) == 1 ? 0 : 2;
}

TEST(DriverOfTheHost, LoadedOneHasTheVersionThatTheKernelReports) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> answers(std::tmpfile(), std::fclose);
  ASSERT_NE(answers, nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(ShowLoadedDriver(fileno(answers.get())));
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == kWithoutMounts) GTEST_SKIP() << "takes the right to mount";
  EXPECT_EQ(WEXITSTATUS(status), 0);

  std::rewind(answers.get());
  char text[1000];
  const std::size_t size = std::fread(text, 1, sizeof text, answers.get());
  EXPECT_EQ(
      std::string(text, size),
      "{\"jsonVersion\":1,\"module\":\"test_only\",\"state\":\"loaded\",\"version\":\"1.2\"}\n"
      "test_only is loaded and has no version\n");
}

}  // namespace
}  // namespace Tool
