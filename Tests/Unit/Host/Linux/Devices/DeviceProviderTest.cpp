#include "Host/DeviceOperations.h"
#include "Support/TemporaryFolder.h"
#include "Support/TraceCapture.h"

#include <Ondrel/NVMeQuery.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

namespace Ondrel::Testing {
namespace {

using testing::ElementsAre;

class DeviceProvider : public testing::Test {
protected:
  void* Open(const std::string& name, ULong access = GENERIC_READ | GENERIC_WRITE) {
    return m_device.CreateFileA(name.c_str(), access, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                                nullptr);
  }

  int Ask(void* device, ULong controlCode = IOCTL_STORAGE_QUERY_PROPERTY) {
    std::array<std::uint32_t, 12> query{50, 0, 3, 2, 2, 0, 40, 512, 0, 0, 0, 0};
    std::array<char, 560> answer;
    ULong returned = 0;
    return m_device.DeviceIoControl(device, controlCode, query.data(), sizeof query, answer.data(),
                                    sizeof answer, &returned, nullptr);
  }

  TemporaryFolder m_folder;
  Host::DeviceOperations m_device = Host::MakeDeviceOperations();
};

TEST_F(DeviceProvider, MissingNodeIs2) {
  EXPECT_EQ(Open(m_folder.Path("nvme0")), INVALID_HANDLE_VALUE);
  EXPECT_EQ(m_device.GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(DeviceProvider, PathThroughAFileIs3) {
  EXPECT_EQ(Open(m_folder.Write("file", "") + "/nvme0"), INVALID_HANDLE_VALUE);
  EXPECT_EQ(m_device.GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(DeviceProvider, NothingIsCreated) {
  EXPECT_EQ(m_device.CreateFileA(m_folder.Path("nvme0").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                 nullptr, 2, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(m_device.GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(DeviceProvider, DeviceThatIsNotAnNVMeDeviceKnowsNoSuchFunction) {
  void* const device = Open("/dev/null");
  ASSERT_NE(device, INVALID_HANDLE_VALUE);

  EXPECT_EQ(Ask(device), 0);
  EXPECT_EQ(m_device.GetLastError(), ERROR_INVALID_FUNCTION);

  EXPECT_NE(m_device.CloseHandle(device), 0);
}

// The open descriptors that a program which is started now would have too.
std::vector<int> InheritedDescriptors() {
  std::vector<int> numbers;
  for (int number = 0; number < 1024; ++number) {
    const int flags = fcntl(number, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) numbers.push_back(number);
  }
  return numbers;
}

TEST_F(DeviceProvider, ProgramThatIsStartedDoesNotHaveTheNode) {
  const std::vector<int> before = InheritedDescriptors();
  ASSERT_THAT(before, testing::Not(testing::IsEmpty()));

  void* const device = Open("/dev/null");
  ASSERT_NE(device, INVALID_HANDLE_VALUE);
  EXPECT_EQ(InheritedDescriptors(), before);

  m_device.CloseHandle(device);
}

TEST_F(DeviceProvider, NodeIsOpenedForTheAccessThatIsAskedForAlone) {
  struct Row {
    ULong access;
    int mode;
  };
  for (const Row& row : {Row{0, O_RDONLY}, Row{GENERIC_READ, O_RDONLY},
                         Row{GENERIC_WRITE, O_WRONLY}, Row{GENERIC_READ | GENERIC_WRITE, O_RDWR}}) {
    const int next = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);  // The number of what is opened next.
    ASSERT_GE(next, 0);
    close(next);
    void* const device = Open("/dev/null", row.access);
    ASSERT_NE(device, INVALID_HANDLE_VALUE);
    EXPECT_EQ(fcntl(next, F_GETFL) & O_ACCMODE, row.mode) << row.access;
    m_device.CloseHandle(device);
  }
}

TEST_F(DeviceProvider, PipeWithoutAWriterDoesNotKeepTheCallerWaiting) {
  const std::string pipe = m_folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);

  void* const device = Open(pipe, GENERIC_READ);
  ASSERT_NE(device, INVALID_HANDLE_VALUE);
  EXPECT_EQ(Ask(device), 0);
  EXPECT_EQ(m_device.GetLastError(), ERROR_INVALID_FUNCTION);
  m_device.CloseHandle(device);
}

TEST_F(DeviceProvider, OtherControlCodesAreNoFunctionsOfADevice) {
  void* const device = Open("/dev/null");

  EXPECT_EQ(Ask(device, 0x560000), 0);
  EXPECT_EQ(m_device.GetLastError(), ERROR_INVALID_FUNCTION);

  m_device.CloseHandle(device);
}

TEST_F(DeviceProvider, ClosedHandleIs6) {
  void* const device = Open("/dev/null");
  ASSERT_NE(m_device.CloseHandle(device), 0);

  EXPECT_EQ(Ask(device), 0);
  EXPECT_EQ(m_device.GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(m_device.CloseHandle(device), 0);
  EXPECT_EQ(m_device.GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(m_device.CloseHandle(INVALID_HANDLE_VALUE), 0);
}

TEST_F(DeviceProvider, QueryOfAMissingDeviceYieldsAndTracesItsError) {
  const TraceCapture trace(0xFFFFFFFF);
  const std::string name = m_folder.Path("nvme0");
  NVME_IDENTIFY_CONTROLLER controller;

  EXPECT_EQ(NVMeStorageQueryPropertyIdentifyController(name.c_str(), &controller), 2U);

  const std::string call =
      "NVMeStorageQueryPropertyIdentifyController (sDeviceName=\"" + name + "\")";
  EXPECT_THAT(trace.Texts(), ElementsAre("ENTER " + call, "LEAVE " + call + ", return: 2"));
}

TEST_F(DeviceProvider, EachQueryOfAnotherDeviceYieldsItsError) {
  NVME_IDENTIFY_CONTROLLER controller;
  NVME_IDENTIFY_NAMESPACE nameSpace;
  NVME_ERROR_INFORMATION_LOG_ENTRY entries[64];
  NVME_SMART_HEALTH_INFORMATION_LOG log;
  unsigned char page[512];
  ULong count = 0;

  EXPECT_EQ(NVMeStorageQueryPropertyIdentifyController("/dev/null", &controller), 1U);
  EXPECT_EQ(NVMeStorageQueryPropertyIdentifyNamespace("/dev/null", &nameSpace), 1U);
  EXPECT_EQ(NVMeStorageQueryPropertyGetLogPageErrorInfo("/dev/null", count, entries), 1U);
  EXPECT_EQ(NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo("/dev/null", &log), 1U);
  EXPECT_EQ(NVMeStorageQueryPropertyGetVendorSpecificLogPage("/dev/null", 0xC0, page), 1U);
}

}  // namespace
}  // namespace Ondrel::Testing
