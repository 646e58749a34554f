#include "Unit/Pirsk/Host/Host.h"
#include "Unit/Pirsk/TestModule.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace Pirsk::Testing {
namespace {

mode_t ModeOf(const std::string& path) {
  struct stat state {};
  return ::stat(path.c_str(), &state) == 0 ? state.st_mode & 0777 : 0;
}

TEST(TraceFileSink, CreatesFilesForTheirOwnerAlone) {
  const TemporaryFolder folder;
  const mode_t before = ::umask(0);
  Trace::SetSink(Trace::RotatingFileSink(folder / "new/folder/trace.log", 200, 2));
  for (int line = 0; line < 20; ++line) TraceLine(Misc::kTraceDetail, "a password, perhaps");
  Trace::SetSink(nullptr);
  ::umask(before);

  for (const char* name : {"trace.log", "trace.1.log", "trace.2.log"})
    EXPECT_EQ(ModeOf(folder / "new/folder/" + name), 0600u) << name;
}

TEST(TraceFileSink, LeavesTheModeOfAFileThatIsThere) {
  const TemporaryFolder folder;
  WriteFile(folder / "trace.log", "before\n");
  ::chmod((folder / "trace.log").c_str(), 0644);

  Trace::SetSink(Trace::RotatingFileSink(folder / "trace.log", 100000, 2));
  TraceLine(Misc::kTraceDetail, "after");
  Trace::SetSink(nullptr);

  EXPECT_EQ(ModeOf(folder / "trace.log"), 0644u);
  EXPECT_EQ(ReadFile(folder / "trace.log").substr(0, 7), "before\n");
}

// The other thread is in the middle of its line when this one forks: the child would wait for that
// line's end for ever.
TEST(TraceLinesAtAFork, ChildTracesAtOnce) {
  std::atomic<bool> isInLine{false};
  Trace::SetSink([&isInLine](const Trace::Line&) {
    isInLine = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  });
  std::thread other([] { TraceLine(Misc::kTraceDetail, "on its way"); });
  while (!isInLine) std::this_thread::yield();

  const pid_t child = ::fork();
  if (child == 0) {
    // A child that waits for ever is ended by this, and not by the end of the test's time.
    ::alarm(60);
    TraceLine(Misc::kTraceDetail, "in the child");
    // A sanitizer that looks at the end of a program would miss the threads of its parent.
    ::raise(SIGKILL);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  other.join();
  Trace::SetSink(nullptr);

  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "status " << status;
}

TEST(TraceLinesAtAFork, SinkMayFork) {
  pid_t child = -1;
  Trace::SetSink([&child](const Trace::Line&) {
    child = ::fork();
    if (child == 0) ::_exit(7);
  });
  TraceLine(Misc::kTraceDetail, "forks");
  Trace::SetSink(nullptr);

  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

std::string TextOfLoadedModule(const std::string& path) {
  const LoadedModule module(path.c_str());
  return Misc::ErrorText(0x20B10001);
}

TEST(LanguageFileBesideALink, IsThatOfTheLinkOrElseThatOfTheModule) {
  const TemporaryFolder real;
  const TemporaryFolder linked;
  std::filesystem::copy_file(PIRSK_TEST_MODULE, real / "module.so");
  std::filesystem::create_symlink(real / "module.so", linked / "link.so");

  EXPECT_EQ(TextOfLoadedModule(linked / "link.so"), "Loaded failed");
  WriteFile(real / "pirsk-loaded.nls", "0 = beside the module\n");
  EXPECT_EQ(TextOfLoadedModule(linked / "link.so"), "beside the module");
  WriteFile(linked / "pirsk-loaded.nls", "0 = beside the link\n");
  EXPECT_EQ(TextOfLoadedModule(linked / "link.so"), "beside the link");
}

}  // namespace
}  // namespace Pirsk::Testing
