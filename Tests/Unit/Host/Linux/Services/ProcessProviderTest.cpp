#include "Host/ProcessOperations.h"

#include <Ondrel/System.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sys/time.h>

namespace Ondrel {
namespace {

using testing::ElementsAre;

/// Interrupts this process every few milliseconds with a signal whose handler restarts no call.
class Interrupts {
public:
  Interrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { s_count = s_count + 1; };
    ::sigaction(SIGALRM, &action, &m_earlier);
    Set(2000);
  }
  ~Interrupts() {
    Set(0);
    ::sigaction(SIGALRM, &m_earlier, nullptr);
  }

  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  static int Count() { return s_count; }

private:
  static void Set(int microseconds) {
    itimerval interval{};
    interval.it_interval.tv_usec = microseconds;
    interval.it_value.tv_usec = microseconds;
    ::setitimer(ITIMER_REAL, &interval, nullptr);
  }

  static inline volatile std::sig_atomic_t s_count = 0;
  struct sigaction m_earlier {};
};

TEST(ProcessProvider, ReadingGoesOnAfterASignalWithinALine) {
  std::vector<std::string> lines;
  int status = -1;
  const Interrupts interrupts;

  CSystem::ExecuteCommand(
      "sh", "-c 'for i in 1 2 3; do printf first; sleep 0.05; echo \" half $i\"; sleep 0.05; done'",
      lines, status);

  EXPECT_GT(Interrupts::Count(), 3);
  EXPECT_THAT(lines, ElementsAre("first half 1", "first half 2", "first half 3"));
  EXPECT_EQ(status, 0);
}

TEST(ProcessProvider, PieceEndsAfterItsLineOrWhenItIsFull) {
  const Host::ProcessOperations operations = Host::MakeProcessOperations();
  std::FILE* const stream = operations._popen("printf 'abcd\\nef\\n\\ng'", "r");
  ASSERT_NE(stream, nullptr);
  char piece[4];
  std::vector<std::string> pieces;
  while (operations.fgets(piece, sizeof piece, stream) != nullptr) pieces.emplace_back(piece);

  EXPECT_THAT(pieces, ElementsAre("abc", "d\n", "ef\n", "\n", "g"));
  EXPECT_EQ(operations._pclose(stream), 0);
}

}  // namespace
}  // namespace Ondrel
