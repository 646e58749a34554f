#include "Host/ServiceOperations.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Ondrel::Host {
namespace {

class Privileges : public testing::Test {
protected:
  void SetUp() override { ASSERT_EQ(m_host.OpenProcessToken(nullptr, 0, &m_token), 1); }

  int Adjust(TOKEN_PRIVILEGES* state) {
    return m_host.AdjustTokenPrivileges(m_token, 0, state, 0, nullptr, nullptr);
  }

  ServiceOperations m_host = MakeServiceOperations();
  void* m_token = nullptr;
};

TEST_F(Privileges, OneIsAdjustedAtATime) {
  TOKEN_PRIVILEGES state{};
  for (const ULong count : {0U, 2U}) {
    state.PrivilegeCount = count;
    EXPECT_EQ(Adjust(&state), 0) << count;
    EXPECT_EQ(m_host.GetLastError(), ERROR_INVALID_PARAMETER) << count;
  }
  EXPECT_EQ(Adjust(nullptr), 0);
  EXPECT_EQ(m_host.GetLastError(), ERROR_INVALID_PARAMETER);

  state.PrivilegeCount = 1;
  EXPECT_EQ(Adjust(&state), 1);
  EXPECT_EQ(m_host.GetLastError(), ERROR_SUCCESS);
}

// Enables it as a process without the right to restart the machine does; 0 when the answer says so.
int CheckEnabling(const ServiceOperations& host, void* token) {
  struct {
    TOKEN_PRIVILEGES one;
    // Says what the array's only element does not.
    LUID_AND_ATTRIBUTES next;
  } state{};
  __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
  __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3]{};
  if (syscall(SYS_capset, &header, none) != 0) return 1;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1);
  state.one.PrivilegeCount = 1;
  state.one.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (host.AdjustTokenPrivileges(token, 0, &state.one, 0, nullptr, nullptr) == 0) return 2;
  if (host.GetLastError() != ERROR_NOT_ALL_ASSIGNED) return 3;
  // To give it up takes no right.
  state.one.Privileges[0].Attributes = 0;
  state.next.Attributes = SE_PRIVILEGE_ENABLED;
  if (host.AdjustTokenPrivileges(token, 0, &state.one, 0, nullptr, nullptr) == 0) return 4;
  return host.GetLastError() == ERROR_SUCCESS ? 0 : 5;
}

TEST_F(Privileges, OneThatTheProcessMayNotHaveIsNotAssigned) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(CheckEnabling(m_host, m_token));
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace Ondrel::Host
