#include "Host/ServiceOperations.h"
#include "Support/PreparedOperations.h"

#include <Ondrel/System.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

// Versions of real driver files. Wine lists no drivers as loaded, so the list alone is prepared.

namespace Ondrel {
namespace {

std::string DriverPath(const std::string& fileName) {
  char folder[MAX_PATH];
  GetSystemDirectoryA(folder, sizeof folder);
  return std::string(folder) + "\\drivers\\" + fileName;
}

/// The library's file as a driver's, for one scope: Wine's own drivers have no version.
class PlantedDriver {
public:
  explicit PlantedDriver(const std::string& fileName) : m_path(DriverPath(fileName)) {
    char program[MAX_PATH];
    GetModuleFileNameA(nullptr, program, sizeof program);
    const std::string folder(program, std::string(program).rfind('\\') + 1);
    m_isThere = CopyFileA((folder + "ondrel.dll").c_str(), m_path.c_str(), FALSE) != 0;
  }
  ~PlantedDriver() { DeleteFileA(m_path.c_str()); }

  PlantedDriver(const PlantedDriver&) = delete;
  PlantedDriver& operator=(const PlantedDriver&) = delete;

  bool IsThere() const { return m_isThere; }

private:
  std::string m_path;
  bool m_isThere = false;
};

std::string VersionOf(const char* module) {
  std::string version = "old";
  CSystem::GetModuleVersion(module, version);
  return version;
}

TEST(ModuleVersionOfFiles, DriverThatIsThereButNotLoadedHasNone) {
  ASSERT_NE(GetFileAttributesA(DriverPath("mountmgr.sys").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(VersionOf("mountmgr"), "");
}

TEST(ModuleVersionOfFiles, LoadedDriverHasThatOfItsFile) {
  Host::ServiceOperations host = Host::MakeServiceOperations();
  host.EnumDeviceDrivers = [](void** images, ULong, ULong* needed) {
    images[0] = nullptr;
    *needed = sizeof(void*);
    return 1;
  };
  host.GetDeviceDriverBaseNameA = [](void*, char* name, ULong) {
    std::strcpy(name, "Ondrel-Test.sys");
    return ULong{15};
  };
  const Testing::PreparedOperations<Host::ServiceOperations> prepared(Host::Service(),
                                                                      std::move(host));
  EXPECT_EQ(VersionOf("ondrel-test"), "");
  const PlantedDriver driver("ondrel-test.sys");
  ASSERT_TRUE(driver.IsThere());
  EXPECT_EQ(VersionOf("ondrel-test"), "7.10.2");
  EXPECT_EQ(VersionOf("winebus"), "");
}

}  // namespace
}  // namespace Ondrel
