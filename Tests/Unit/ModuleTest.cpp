#include "Module.h"

#include <Pirsk/ModuleInfo.h>

#include <gtest/gtest.h>

namespace Ondrel {
namespace {

TEST(Module, RegistersItsIdentityAtLoad) {
  EXPECT_EQ(Pirsk::Misc::ModuleIdentity(5), "ondrel P:7.10.2 F:7.10.2");
}

}  // namespace
}  // namespace Ondrel
