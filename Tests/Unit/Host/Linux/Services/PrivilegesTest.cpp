#include "Host/ServiceOperations.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace Ondrel::Host {
namespace {

class Privileges : public testing::Test {
protected:
  void SetUp() override { ASSERT_NE(m_host.OpenProcessToken(nullptr, 0, &m_token), 0); }

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
  EXPECT_NE(Adjust(&state), 0);
  EXPECT_EQ(m_host.GetLastError(), ERROR_SUCCESS);
}

}  // namespace
}  // namespace Ondrel::Host
