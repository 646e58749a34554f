#include "CommandFixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <thread>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::HasSubstr;

class CommandRun : public CommandFixture {};

TEST_F(CommandRun, WordsReachTheProgramAsTheyStand) {
  const ProcessResult result =
      Run({"run", "printf", "[%s]\n", "a b", "c\"d'e", "$(id) `id` $HOME *", "", "back\\slash",
           "two\nlines", "reboot", "--yes", "--json", "--", "-h"});

  EXPECT_EQ(result.output,
            "[a b]\n[c\"d'e]\n[$(id) `id` $HOME *]\n[]\n[back\\slash]\n[two\nlines]\n[reboot]\n"
            "[--yes]\n[--json]\n[--]\n[-h]\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.exitStatus, 0);
}

struct End {
  const char* name;
  std::vector<std::string> words;
  int exitStatus;
  const char* errors;
};

void PrintTo(const End& row, std::ostream* out) { *out << row.name; }

class CommandRunEnd : public CommandRun, public testing::WithParamInterface<End> {};

TEST_P(CommandRunEnd, IsPassedOn) {
  std::vector<std::string> arguments = GetParam().words;
  arguments.insert(arguments.begin(), "run");
  const ProcessResult result = Run(arguments);

  EXPECT_EQ(result.exitStatus, GetParam().exitStatus);
  EXPECT_EQ(result.errors, GetParam().errors);
  EXPECT_EQ(result.output, "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandRunEnd,
    testing::Values(
        End{"Zero", {"true"}, 0, ""}, End{"One", {"false"}, 1, ""},
        End{"Its own number", {"sh", "-c", "exit 77"}, 77, ""},
        End{"Like wrong usage", {"sh", "-c", "exit 2"}, 2, ""},
        End{"Greatest", {"sh", "-c", "exit 255"}, 255, ""},
        End{"Killed", {"sh", "-c", "kill -9 $$"}, 137, "ondrel: sh was ended by SIGKILL\n"},
        End{"Aborted", {"sh", "-c", "kill -ABRT $$"}, 134, "ondrel: sh was ended by SIGABRT\n"},
        End{"RealTimeSignal",
            {"sh", "-c", "kill -35 $$"},
            163,
            "ondrel: sh was ended by signal 35\n"},
        End{"NotThere",
            {"no-such-program"},
            127,
            "ondrel: cannot run no-such-program: No such file or directory\n"},
        End{"NoProgram",
            {"/etc/passwd"},
            126,
            "ondrel: cannot run /etc/passwd: Permission denied\n"},
        End{"Folder", {"/etc"}, 126, "ondrel: cannot run /etc: Permission denied\n"},
        End{"Timeout",
            {"--timeout", "100ms", "sleep", "60"},
            124,
            "ondrel: sleep was ended: its time of 100 ms was over\n"}),
    [](const auto& row) {
      std::string name = row.param.name;
      std::erase(name, ' ');
      return name;
    });

TEST_F(CommandRun, ProgramWithoutAFormThatTheHostKnowsIsNotHandedToAShell) {
  const std::string path = WriteFile("plain", "echo from a shell\n");
  ASSERT_EQ(::chmod(path.c_str(), 0700), 0);
  const ProcessResult result = Run({"run", path});

  EXPECT_EQ(result.exitStatus, 126);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors, HasSubstr("Exec format error"));
}

TEST_F(CommandRun, OutputComesAsItIsWritten) {
  const auto running = Start({"run", "sh", "-c", "echo first; exec sleep 60"});

  EXPECT_TRUE(running->WaitForOutput("first\n"));
  running->EndBy(SIGTERM);
}

TEST_F(CommandRun, StandardInputIsTheProgramsOwn) {
  EXPECT_EQ(Run({"run", "cat"}, "to be read\n").output, "to be read\n");
}

TEST_F(CommandRun, RequestToEndGoesToTheProgram) {
  const auto running =
      Start({"run", "sh", "-c",
             "trap 'echo asked; exit 5' TERM; echo ready; while :; do sleep 0.05; done"});
  ASSERT_TRUE(running->WaitForOutput("ready\n"));
  running->Signal(SIGTERM);
  const ProcessResult result = running->Wait();

  EXPECT_EQ(result.output, "ready\nasked\n");
  EXPECT_EQ(result.exitStatus, 5);
}

TEST_F(CommandRun, PipesEndIsTheProgramsToDieOf) {
  const ProcessResult result = Run({"run", "sh", "-c", "grep -i sigign: /proc/self/status"});

  constexpr unsigned long long kPipe = 1ULL << (SIGPIPE - 1);
  const std::size_t digits = result.output.find_first_of("0123456789");
  ASSERT_NE(digits, std::string::npos) << result.output;
  EXPECT_EQ(std::stoull(result.output.substr(digits), nullptr, 16) & kPipe, 0U);
}

TEST_F(CommandRun, TimeoutEndsWhatTheProgramHasStarted) {
  const std::string file = Path("alive");
  const ProcessResult result =
      Run({"run", "--timeout", "300ms", "sh", "-c",
           "(trap '' TERM; while :; do echo x >> '" + file + "'; sleep 0.05; done) & wait"});
  EXPECT_EQ(result.exitStatus, 124);

  // The one that ignores the request is ended without a question, after the grace.
  const auto size = [&] { return std::ifstream(file, std::ios::ate).tellg(); };
  bool isStill = false;
  for (int second = 0; second < 60 && !isStill; ++second) {
    const auto before = size();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    isStill = size() == before;
  }
  EXPECT_TRUE(isStill);
}

TEST_F(CommandRun, StoppedProgramIsContinuedToEndItself) {
  // A machine may take longer than one of the times until the program stops.
  for (const char* const time : {"300ms", "2s", "20s"}) {
    const ProcessResult result =
        Run({"run", "--timeout", time, "sh", "-c",
             "trap 'echo asked; exit' TERM; echo ready; kill -STOP $$; sleep 600"});
    EXPECT_EQ(result.exitStatus, 124) << time;
    if (result.output == "ready\nasked\n") return;
  }
  FAIL() << "the program was not continued";
}

TEST_F(CommandRun, TimeoutThatIsNotReachedChangesNothing) {
  const ProcessResult result = Run({"run", "--timeout", "60", "sh", "-c", "echo x; exit 3"});

  EXPECT_EQ(result.output, "x\n");
  EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(CommandRun, JsonHasTheLinesAndTheEnd) {
  const ProcessResult result =
      Run({"--json", "run", "sh", "-c", "printf 'one\\n\\ttwo \\303\\274\\n\\nlast'; exit 3"});

  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(ParseAnswer(result.output), json({{"started", true},
                                              {"exitStatus", 3},
                                              {"signal", nullptr},
                                              {"timedOut", false},
                                              {"reason", nullptr},
                                              {"lines", {"one", "\ttwo \u00fc", "", "last"}}}));
}

TEST_F(CommandRun, JsonNamesTheSignal) {
  const ProcessResult result = Run({"--json", "run", "sh", "-c", "echo x; kill -SEGV $$"});

  EXPECT_EQ(result.exitStatus, 139);
  EXPECT_EQ(ParseAnswer(result.output), json({{"started", true},
                                              {"exitStatus", 139},
                                              {"signal", "SIGSEGV"},
                                              {"timedOut", false},
                                              {"reason", "sh was ended by SIGSEGV"},
                                              {"lines", {"x"}}}));
}

TEST_F(CommandRun, JsonOfATimeoutHasWhatCameBefore) {
  // A machine may take longer than one of the times until the program writes.
  json lines;
  for (const char* const time : {"300ms", "2s", "20s"}) {
    const ProcessResult result =
        Run({"--json", "run", "--timeout", time, "sh", "-c", "echo x; sleep 60"});
    EXPECT_EQ(result.exitStatus, 124) << time;
    EXPECT_EQ(ParseAnswer(result.output)["timedOut"], true) << time;
    EXPECT_EQ(ParseAnswer(result.output)["exitStatus"], 124) << time;
    lines = ParseAnswer(result.output)["lines"];
    if (!lines.empty()) break;
  }
  EXPECT_EQ(lines, json({"x"}));
}

TEST_F(CommandRun, JsonSaysWhyAProgramIsNotStarted) {
  const ProcessResult result = Run({"--json", "run", "no-such-program"});

  EXPECT_EQ(result.exitStatus, 127);
  EXPECT_EQ(ParseAnswer(result.output)["started"], false);
  EXPECT_EQ(ParseAnswer(result.output)["reason"],
            "cannot run no-such-program: No such file or directory");
  EXPECT_EQ(ParseAnswer(result.output)["exitStatus"], 127);
  EXPECT_EQ(ParseAnswer(result.output)["error"],
            json({{"kind", "host"},
                  {"number", 2},
                  {"name", "ERROR_FILE_NOT_FOUND"},
                  {"text", "no-such-program: No such file or directory"},
                  {"what", "cannot run no-such-program"}}));
  struct Row {
    std::string program;
    int exitStatus;
    const char* name;
  };
  const std::string text = WriteFile("text", "no program");
  const std::string broken = WriteFile("broken", "no program");
  std::filesystem::permissions(broken, std::filesystem::perms::owner_all);
  for (const Row& row :
       {Row{text, 126, "ERROR_ACCESS_DENIED"}, Row{broken, 126, "ERROR_BAD_EXE_FORMAT"},
        Row{text + "/x", 127, "ERROR_PATH_NOT_FOUND"}}) {
    const ProcessResult refused = Run({"--json", "run", row.program});
    EXPECT_EQ(refused.exitStatus, row.exitStatus) << row.program;
    EXPECT_EQ(ParseAnswer(refused.output)["error"]["name"], row.name) << row.program;
  }
}

TEST_F(CommandRun, JsonOfAnEndlessOutputIsAFailureAndEndsTheProgram) {
  const ProcessResult result = Run({"--json", "run", "yes"});

  EXPECT_EQ(result.exitStatus, 3);
  const json error = ParseAnswer(result.output)["error"];
  EXPECT_EQ(error["what"], "cannot keep what yes writes");
  EXPECT_THAT(error["text"].get<std::string>(), HasSubstr("it is more than 16777216 bytes"));
}

TEST_F(CommandRun, ReaderOfTheJsonThatGoesAwayEndsTheProgram) {
  const auto running = Start({"--json", "run", "sh", "-c", "echo $$ >&2; exec sleep 600"});
  ASSERT_TRUE(running->WaitForErrors("\n"));
  running->CloseOutput();
  const ProcessResult result = running->Wait();

  EXPECT_EQ(result.exitStatus, 141);
  EXPECT_EQ(::kill(std::stoi(result.errors), 0), -1);
}

TEST_F(CommandRun, WantsAProgram) {
  for (const std::vector<std::string>& line : {std::vector<std::string>{"run"},
                                               {"run", ""},
                                               {"run", "--timeout", "soon", "true"},
                                               {"run", "--frob", "true"}}) {
    const ProcessResult result = Run(line);
    EXPECT_EQ(result.exitStatus, 2) << line.back();
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors, "");
  }
}

}  // namespace
}  // namespace Ondrel::Testing
