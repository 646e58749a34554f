#include "Host/DeviceOperations.h"
#include "Host/DrivesOperations.h"
#include "Host/EventLogOperations.h"
#include "Host/Linux/Sysfs.h"
#include "Support/EventStoreFixture.h"
#include "Unit/Host/Linux/Drives/DriveTree.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <linux/nvme_ioctl.h>
#include <map>
#include <string>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

// A signal between any two steps, without signals: this program has calls of its own in place of
// the C library's, of which each first one that the library's code makes is interrupted and each
// second one goes through. What an operation yields is what it yields undisturbed.

// NOLINTBEGIN(clang-diagnostic-reserved-identifier,bugprone-reserved-identifier): the linker's and
// the C library's own names.

extern "C" {
extern const char __executable_start[];
extern const char etext[];
}

namespace {

thread_local bool t_isStormy = false;
thread_local bool t_wasInterrupted = false;
thread_local std::map<std::string, int>* t_interrupted = nullptr;
thread_local int* t_inherited = nullptr;
thread_local std::function<int(nvme_admin_cmd&)>* t_controller = nullptr;

// The libraries of others keep their undisturbed calls.
bool IsOwn(const void* caller) {
  const auto* const place = static_cast<const char*>(caller);
  return place >= __executable_start && place < etext;
}

bool Interrupts(const char* call, const void* caller) {
  if (!t_isStormy || !IsOwn(caller)) return false;
  t_wasInterrupted = !t_wasInterrupted;
  if (!t_wasInterrupted) return false;
  t_isStormy = false;
  ++(*t_interrupted)[call];
  t_isStormy = true;
  errno = EINTR;
  return true;
}

void CountIfInherited(int flags, const void* caller) {
  if (t_isStormy && IsOwn(caller) && (flags & O_CLOEXEC) == 0) ++*t_inherited;
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const unsigned mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, unsigned) : 0;
  va_end(arguments);
  CountIfInherited(flags, __builtin_return_address(0));
  if (Interrupts("open", __builtin_return_address(0))) return -1;
  return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

[[gnu::visibility("default")]] int __open_2(const char* path, int flags) {
  CountIfInherited(flags, __builtin_return_address(0));
  if (Interrupts("open", __builtin_return_address(0))) return -1;
  return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, 0));
}

[[gnu::visibility("default")]] ssize_t read(int file, void* buffer, std::size_t size) {
  if (Interrupts("read", __builtin_return_address(0))) return -1;
  return ::syscall(SYS_read, file, buffer, size);
}

[[gnu::visibility("default")]] ssize_t __read_chk(int file, void* buffer, std::size_t size,
                                                  std::size_t) {
  if (Interrupts("read", __builtin_return_address(0))) return -1;
  return ::syscall(SYS_read, file, buffer, size);
}

[[gnu::visibility("default")]] ssize_t recv(int socket, void* buffer, std::size_t size, int flags) {
  if (Interrupts("recv", __builtin_return_address(0))) return -1;
  return ::syscall(SYS_recvfrom, socket, buffer, size, flags, nullptr, nullptr);
}

[[gnu::visibility("default")]] ssize_t __recv_chk(int socket, void* buffer, std::size_t size,
                                                  std::size_t, int flags) {
  if (Interrupts("recv", __builtin_return_address(0))) return -1;
  return ::syscall(SYS_recvfrom, socket, buffer, size, flags, nullptr, nullptr);
}

[[gnu::visibility("default")]] int ioctl(int file, unsigned long request, ...) {
  std::va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (Interrupts("ioctl", __builtin_return_address(0))) return -1;
  if (t_controller != nullptr && request == NVME_IOCTL_ADMIN_CMD)
    return (*t_controller)(*static_cast<nvme_admin_cmd*>(argument));
  return static_cast<int>(::syscall(SYS_ioctl, file, request, argument));
}

[[gnu::visibility("default")]] int flock(int file, int operation) {
  if (Interrupts("flock", __builtin_return_address(0))) return -1;
  return static_cast<int>(::syscall(SYS_flock, file, operation));
}

}  // extern "C"

// NOLINTEND(clang-diagnostic-reserved-identifier,bugprone-reserved-identifier)

namespace Ondrel::Testing {
namespace {

/// Interrupts the calls of this thread for one scope.
class Storm {
public:
  Storm() {
    t_interrupted = &m_interrupted;
    t_inherited = &m_inherited;
    t_wasInterrupted = false;
    t_isStormy = true;
  }
  ~Storm() { End(); }

  Storm(const Storm&) = delete;
  Storm& operator=(const Storm&) = delete;

  void End() { t_isStormy = false; }

  /// How often each call was interrupted.
  std::map<std::string, int> m_interrupted;

  /// How many files were asked for that a program which is started then would have too.
  int m_inherited = 0;
};

/// Answers the NVMe commands of this thread for one scope, in the place of a controller.
class Controller {
public:
  Controller() { t_controller = &m_answer; }
  ~Controller() { t_controller = nullptr; }

  Controller(const Controller&) = delete;
  Controller& operator=(const Controller&) = delete;

  nvme_admin_cmd m_taken{};   ///< The last command.
  int m_status = 0;           ///< What it ends with.
  std::string m_data;         ///< What is transferred then.
  std::uint32_t m_value = 0;  ///< The first word of its completion.

private:
  std::function<int(nvme_admin_cmd&)> m_answer = [this](nvme_admin_cmd& command) {
    m_taken = command;
    command.result = m_value;
    if (!m_data.empty())
      std::memcpy(reinterpret_cast<void*>(static_cast<std::uintptr_t>(command.addr)), m_data.data(),
                  m_data.size());
    return m_status;
  };
};

TEST(Interruptions, AFileOfTheKernelIsReadWhole) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("attribute", std::string(10000, 'x'));
  Storm storm;
  const std::optional<std::string> text = Host::ReadSysfsText(path);
  storm.End();
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(text->size(), 10000U);
  EXPECT_EQ(storm.m_interrupted["open"], 1);
  EXPECT_EQ(storm.m_interrupted["read"], 4);
  EXPECT_EQ(storm.m_inherited, 0);
}

TEST(Interruptions, NoDriveAndNoMemberIsMissed) {
  const Host::DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDisk("sdb", "B", "8:16");
  tree.AddArray("md0", "raid1", 2);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.AddDiskMember("md0", "sdb", "faulty", "none");
  const Host::DriveSnapshot calm = tree.Read();
  ASSERT_EQ(calm.drives.size(), 2U);
  ASSERT_EQ(calm.arrays.size(), 1U);
  Storm storm;
  const Host::DriveSnapshot stormy = tree.Read();
  storm.End();
  EXPECT_GT(storm.m_interrupted["open"], 10);
  EXPECT_GT(storm.m_interrupted["read"], 10);
  EXPECT_EQ(storm.m_inherited, 0);
  ASSERT_EQ(stormy.drives.size(), 2U);
  ASSERT_EQ(stormy.arrays.size(), 1U);
  for (std::size_t drive = 0; drive < 2; ++drive) {
    EXPECT_EQ(stormy.drives[drive].id, calm.drives[drive].id);
    EXPECT_EQ(stormy.drives[drive].status, calm.drives[drive].status);
  }
  EXPECT_EQ(stormy.arrays[0].status, calm.arrays[0].status);
  EXPECT_EQ(stormy.arrays[0].members.size(), 2U);
}

TEST(Interruptions, NotificationsOfTheKernelAreTaken) {
  const Host::DrivesOperations host = Host::MakeDrivesOperations();
  Storm storm;
  void* const watch = host.Open();
  const bool isWhole = host.TakeNotifications(watch);
  storm.End();
  host.Close(watch);
  EXPECT_TRUE(isWhole);
}

// The error is the device's, not that of a signal.
TEST(Interruptions, ADeviceIsAskedToItsAnswer) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("node", "not a device");
  const Host::DeviceOperations host = Host::MakeDeviceOperations();
  const Host::DrivesOperations drives = Host::MakeDrivesOperations();
  ULong id = 0;
  const ULong idError = drives.FindNVMeNamespaceId(path.c_str(), id);
  const ULong armError = drives.ArmHealthEvents(path);
  ASSERT_NE(idError, 0U);
  ASSERT_NE(armError, 0U);

  Storm storm;
  void* const device = host.CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, 0, nullptr);
  EXPECT_EQ(drives.FindNVMeNamespaceId(path.c_str(), id), idError);
  EXPECT_EQ(drives.ArmHealthEvents(path), armError);
  storm.End();
  ASSERT_NE(device, INVALID_HANDLE_VALUE);
  EXPECT_NE(host.CloseHandle(device), 0);
  EXPECT_EQ(storm.m_interrupted["open"], 3);
  EXPECT_EQ(storm.m_interrupted["ioctl"], 2);
  EXPECT_EQ(storm.m_inherited, 0);
}

class NVMeCommands : public testing::Test {
protected:
  void SetUp() override {
    m_device = m_host.CreateFileA(m_path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(m_device, INVALID_HANDLE_VALUE);
  }
  void TearDown() override { m_host.CloseHandle(m_device); }

  // Asks for the health log of the whole controller.
  int Ask() {
    std::array<std::uint32_t, 12> query{50, 0, 3, 2, 2, 0, 40, 512, 0, 0, 0, 0};
    return m_host.DeviceIoControl(m_device, IOCTL_STORAGE_QUERY_PROPERTY, query.data(),
                                  sizeof query, m_answer.data(), sizeof m_answer, &m_returned,
                                  nullptr);
  }

  const TemporaryFolder m_folder;
  const std::string m_path = m_folder.Write("node", "not a device");
  const Host::DeviceOperations m_host = Host::MakeDeviceOperations();
  void* m_device = nullptr;
  std::array<char, 560> m_answer{};
  ULong m_returned = 0;
  Controller m_controller;
};

TEST_F(NVMeCommands, AQueryReachesTheControllerAndItsDataTheCaller) {
  m_controller.m_data = std::string(512, 'h');
  m_controller.m_value = 0x01020304;

  ASSERT_NE(Ask(), 0) << m_host.GetLastError();

  EXPECT_EQ(m_controller.m_taken.opcode, 0x02);
  EXPECT_EQ(m_controller.m_taken.nsid, 0xFFFFFFFFU);
  EXPECT_EQ(m_controller.m_taken.cdw10, 0x007F0002U);
  EXPECT_EQ(m_controller.m_taken.data_len, 512U);
  EXPECT_EQ(m_returned, 560U);
  EXPECT_EQ(std::string(m_answer.data() + 48, 512), m_controller.m_data);
  std::uint32_t value = 0;
  std::memcpy(&value, m_answer.data() + 32, sizeof value);
  EXPECT_EQ(value, 0x01020304U);
  EXPECT_EQ(m_host.LastNVMeStatus(), 0);
}

TEST_F(NVMeCommands, TheStatusOfARefusalIsKnownUntilTheNextCall) {
  m_controller.m_status = 0x4109;
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(m_host.GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(m_host.LastNVMeStatus(), 0x4109);

  m_controller.m_status = 0;
  EXPECT_NE(Ask(), 0);
  EXPECT_EQ(m_host.LastNVMeStatus(), 0);
}

TEST_F(NVMeCommands, NoticeIsAskedForOfAllWarningsAndOfNamespaces) {
  const Host::DrivesOperations drives = Host::MakeDrivesOperations();
  EXPECT_EQ(drives.ArmHealthEvents(m_path), 0U);
  EXPECT_EQ(m_controller.m_taken.opcode, 0x09);
  EXPECT_EQ(m_controller.m_taken.cdw10, 0x0BU);
  EXPECT_EQ(m_controller.m_taken.cdw11, 0x11FU);
  m_controller.m_status = 0x0002;
  EXPECT_EQ(drives.ArmHealthEvents(m_path), ERROR_IO_DEVICE);
}

class InterruptedStore : public EventStoreFixture {};

TEST_F(InterruptedStore, IsCreatedWrittenAndRead) {
  Storm storm;
  {
    const SourceHandle source(Operations(), "Log");
    EXPECT_EQ(source.Report("one"), 0U);
    EXPECT_EQ(source.Report("two"), 0U);
  }
  const std::vector<ULong> numbers = NumbersOf("Log");
  storm.End();
  EXPECT_EQ(numbers, (std::vector<ULong>{1, 2}));
  EXPECT_GE(storm.m_interrupted["open"], 1);
  EXPECT_GE(storm.m_interrupted["flock"], 1);
}

}  // namespace
}  // namespace Ondrel::Testing
