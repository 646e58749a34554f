#include "Host/Linux/Services/Restart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace Ondrel::Host {
namespace {

using testing::ElementsAre;

/// Calls that reach no machine.
class RestartOfTheMachine : public testing::Test {
protected:
  RestartCalls Calls() {
    return {.byLoginManager =
                [this](const std::string& message) {
                  m_calls.push_back("login manager: " + message);
                  return m_refusal;
                },
            .wouldLoginManager = [this] { return m_wouldLoginManager; },
            .hasCapability = [this] { return m_hasCapability; },
            .directly =
                [this] {
                  m_calls.push_back("directly");
                  return m_error;
                }};
  }

  std::vector<std::string> m_calls;
  std::string m_refusal;
  bool m_wouldLoginManager = false;
  bool m_hasCapability = true;
  int m_error = 0;
};

TEST_F(RestartOfTheMachine, IsTheLoginManagersWithItsMessage) {
  EXPECT_EQ(RestartMachine("drive replaced", true, Calls()), "");
  EXPECT_THAT(m_calls, ElementsAre("login manager: drive replaced"));
}

TEST_F(RestartOfTheMachine, EndsWithTheRefusalUnlessItIsForced) {
  m_refusal = "it is inhibited";

  EXPECT_EQ(RestartMachine("m", false, Calls()), "it is inhibited");
  EXPECT_THAT(m_calls, ElementsAre("login manager: m"));
}

TEST_F(RestartOfTheMachine, IsDirectWhereItIsForcedAndRefused) {
  m_refusal = "it is inhibited";

  EXPECT_EQ(RestartMachine("m", true, Calls()), "");
  EXPECT_THAT(m_calls, ElementsAre("login manager: m", "directly"));
}

TEST_F(RestartOfTheMachine, TakesACapabilityToBeDirect) {
  m_refusal = "it is inhibited";
  m_hasCapability = false;

  EXPECT_EQ(RestartMachine("m", true, Calls()),
            "it is inhibited; to restart it directly takes the capability CAP_SYS_BOOT");
  EXPECT_THAT(m_calls, ElementsAre("login manager: m"));
}

TEST_F(RestartOfTheMachine, SaysWhyItIsNotDirectEither) {
  m_refusal = "it is inhibited";
  m_error = EPERM;

  EXPECT_EQ(RestartMachine("m", true, Calls()),
            "it is inhibited; nor does it restart directly: Operation not permitted");
}

TEST_F(RestartOfTheMachine, IsAllowedByEitherWay) {
  EXPECT_TRUE(MayRestart(Calls()));
  m_hasCapability = false;
  EXPECT_FALSE(MayRestart(Calls()));
  m_wouldLoginManager = true;
  EXPECT_TRUE(MayRestart(Calls()));
}

}  // namespace
}  // namespace Ondrel::Host
