#include "Host/DeviceOperations.h"
#include "Support/TraceCapture.h"

#include <Ondrel/NVMeQuery.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

namespace Ondrel::Testing {
namespace {

using testing::ElementsAre;

// A new empty file, deleted at the end.
class OrdinaryFile {
public:
  OrdinaryFile() {
    std::array<char, MAX_PATH> folder{};
    std::array<char, MAX_PATH> name{};
    ::GetTempPathA(static_cast<DWORD>(folder.size()), folder.data());
    ::GetTempFileNameA(folder.data(), "ond", 0, name.data());
    m_path = name.data();
  }
  ~OrdinaryFile() { ::DeleteFileA(m_path.c_str()); }

  OrdinaryFile(const OrdinaryFile&) = delete;
  OrdinaryFile& operator=(const OrdinaryFile&) = delete;

  const std::string& Path() const { return m_path; }

private:
  std::string m_path;
};

// What the host itself says of a storage query to this file.
DWORD HostsErrorFor(const std::string& path) {
  void* const file = ::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                   nullptr, OPEN_EXISTING, 0, nullptr);
  std::array<DWORD, 140> query{50, 0, 3, 2, 2, 0, 40, 512};
  DWORD returned = 0;
  const BOOL isAnswered =
      ::DeviceIoControl(file, IOCTL_STORAGE_QUERY_PROPERTY, query.data(), sizeof query,
                        query.data(), sizeof query, &returned, nullptr);
  const DWORD error = isAnswered != 0 ? 0 : ::GetLastError();
  ::CloseHandle(file);
  return error;
}

TEST(DeviceProvider, MissingPathIs2InTheLeaveLineToo) {
  const TraceCapture trace(2);
  NVME_IDENTIFY_CONTROLLER controller;

  EXPECT_EQ(NVMeStorageQueryPropertyIdentifyController("no-such-device", &controller), 2U);

  EXPECT_THAT(trace.Texts(), ElementsAre("ENTER NVMeStorageQueryPropertyIdentifyController "
                                         "(sDeviceName=\"no-such-device\")",
                                         "LEAVE NVMeStorageQueryPropertyIdentifyController "
                                         "(sDeviceName=\"no-such-device\"), return: 2"));
}

TEST(DeviceProvider, FileThatIsNotADeviceGivesTheHostsErrorInTheLeaveLineToo) {
  const OrdinaryFile file;
  const DWORD error = HostsErrorFor(file.Path());
  ASSERT_NE(error, 0U);
  const TraceCapture trace(2);
  NVME_SMART_HEALTH_INFORMATION_LOG log;

  EXPECT_EQ(NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo(file.Path().c_str(), &log), error);

  EXPECT_EQ(trace.Texts().back(),
            "LEAVE NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo (sDeviceName=\"" +
                file.Path() + "\"), return: " + std::to_string(error));
}

TEST(DeviceProvider, HandleIsUsedAndGivenBack) {
  const OrdinaryFile file;
  const Host::DeviceOperations device = Host::MakeDeviceOperations();
  void* const handle = device.CreateFileA(file.Path().c_str(), GENERIC_READ, FILE_SHARE_READ,
                                          nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(handle, INVALID_HANDLE_VALUE);

  EXPECT_NE(device.CloseHandle(handle), 0);
  EXPECT_EQ(device.CloseHandle(handle), 0);
  EXPECT_EQ(device.GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

}  // namespace
}  // namespace Ondrel::Testing
