#include "Host/ServiceOperations.h"
#include "Support/OwnMounts.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace Ondrel::Host {
namespace {

constexpr int kWithoutMounts = 100;

std::string NameOf(const ServiceOperations& host, void* image, ULong size = 64) {
  std::string name(size, '#');
  name.resize(host.GetDeviceDriverBaseNameA(image, name.data(), size));
  return name;
}

// In a process whose /proc is its own: 0, or the number of what did not hold.
int CheckListOfDrivers() {
  if (!Testing::MountOwnFileSystem("/proc")) return kWithoutMounts;
  std::ofstream("/proc/modules") << "nvme_core 139264 1 nvme, Live 0x0\n"
                                    "nvme 45056 0 - Live 0x0\n"
                                    "raid1 53248 0 - Live 0x0\n";
  const ServiceOperations host = MakeServiceOperations();
  std::array<void*, 3> images{&images, &images, &images};
  ULong needed = 0;
  constexpr ULong kTwo = 2 * sizeof(void*);
  if (host.EnumDeviceDrivers(images.data(), kTwo, &needed) == 0) return 1;
  if (needed != 3 * sizeof(void*)) return 2;
  if (images[2] != &images) return 3;
  if (NameOf(host, images[0]) != "nvme_core.sys") return 4;
  if (NameOf(host, images[1]) != "nvme.sys") return 5;
  // A name that does not fit is cut before its closing zero byte.
  if (NameOf(host, images[0], 5) != "nvme") return 6;

  void* const first = images[0];
  if (host.EnumDeviceDrivers(images.data(), sizeof images, &needed) == 0) return 7;
  if (images[0] != first || NameOf(host, images[2]) != "raid1.sys") return 8;

  char name[4]{};
  if (host.GetDeviceDriverBaseNameA(nullptr, name, sizeof name) != 0) return 9;
  if (host.GetLastError() != ERROR_INVALID_HANDLE) return 10;
  unlink("/proc/modules");
  if (host.EnumDeviceDrivers(images.data(), sizeof images, &needed) != 0) return 11;
  return host.GetLastError() == ERROR_FILE_NOT_FOUND ? 0 : 12;
}

TEST(Drivers, AreTheLoadedModulesAsFarAsThereIsRoom) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(CheckListOfDrivers());
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == kWithoutMounts) GTEST_SKIP() << "takes the right to mount";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace Ondrel::Host
