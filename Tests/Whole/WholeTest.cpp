#include "Support/OwnMounts.h"
#include "Support/Process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <linux/capability.h>
#include <string>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <vector>

extern "C" {
// NOLINTNEXTLINE(bugprone-reserved-identifier): the linker's name for the command's main.
int __real_main(int argumentCount, char** arguments);
// NOLINTNEXTLINE(bugprone-reserved-identifier): the linker's name for what is called in its place.
int __wrap_main(int argumentCount, char** arguments);
}

namespace {

const std::string kTests = ONDREL_SOURCE_FOLDER "/Tests/";
const std::string kCommandTests = kTests + "Command/";

/// A suite of the command in Python, with the arguments that its test has.
struct Suite {
  const char* name;
  std::vector<std::string> arguments;
};

void PrintTo(const Suite& suite, std::ostream* out) { *out << suite.name; }

class CommandSuite : public testing::TestWithParam<Suite> {};

TEST_P(CommandSuite, Holds) {
  const Ondrel::Testing::ProcessResult result =
      Ondrel::Testing::RunProcess(ONDREL_TEST_PYTHON, GetParam().arguments);
  EXPECT_EQ(0, result.exitStatus) << result.output << result.errors;
}

const std::array kSuites{
    Suite{"Cases",
          {kCommandTests + "run_cases.py", "--host", "linux", "--cases",
           kCommandTests + "cases.json", "--mail-server", kTests + "Support/smtp_server.py",
           "--printer", ONDREL_TEST_PRINTER, "--", ONDREL_COMMAND}},
    Suite{"Systems",
          {kCommandTests + "check_systems.py", kTests + "Data/real-systems.jsonl", ONDREL_COMMAND}},
    Suite{"Terminal", {kCommandTests + "check_terminal.py", ONDREL_COMMAND}},
    Suite{"Catalog",
          {ONDREL_SOURCE_FOLDER "/scripts/make-catalog.py", ONDREL_COMMAND, "--check",
           ONDREL_SOURCE_FOLDER "/Src/Resource/ondrel.catalog"}},
    Suite{"Errors",
          {ONDREL_SOURCE_FOLDER "/scripts/make-error-table.py", ONDREL_COMMAND, "--check"}},
    Suite{"Monitor", {kCommandTests + "monitor.py", "--host", "linux", "--", ONDREL_COMMAND}},
    Suite{"Help",
          {kCommandTests + "check_help.py", "--expected", kCommandTests + "help.txt",
           ONDREL_COMMAND}},
    Suite{"Usage", {kCommandTests + "check_usage.py", ONDREL_COMMAND}}};

INSTANTIATE_TEST_SUITE_P(Whole, CommandSuite, testing::ValuesIn(kSuites),
                         [](const auto& suite) { return suite.param.name; });

/// Puts this program where the tests find the built command, for this process and what it starts.
///
/// A changed command may take any line for another: none of them may restart the machine.
bool StandInForCommand() {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  return Ondrel::Testing::TakeOwnMounts() &&
         mount(program.c_str(), ONDREL_COMMAND, nullptr, MS_BIND, nullptr) == 0 &&
         prctl(PR_CAPBSET_DROP, CAP_SYS_BOOT, 0, 0, 0) == 0 &&
         setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1) == 0;
}

}  // namespace

int __wrap_main(int argumentCount, char** arguments) {
  const char* const slash = std::strrchr(arguments[0], '/');
  if (std::strcmp(slash == nullptr ? arguments[0] : slash + 1, "ondrel") == 0) {
    return __real_main(argumentCount, arguments);
  }
  testing::InitGoogleMock(&argumentCount, arguments);
  if (!GTEST_FLAG_GET(list_tests) && !StandInForCommand()) {
    std::perror("standing in for the command (as root only)");
    return 2;
  }
  return RUN_ALL_TESTS();
}
