#include "EventStoreProcesses.h"
#include "Support/OwnMounts.h"
#include "Support/Sanitized.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <vector>

namespace Ondrel {
namespace {

using Testing::ByWriter;
using Testing::ChildProcess;
using Testing::kSequentialForwards;
using Testing::LogHandle;
using Testing::MountOwnFileSystem;
using Testing::NumberPipe;
using Testing::NumbersBelow;
using Testing::SourceHandle;

// In memory: what is asked here is what processes see of each other, not how fast a disk is.
class EventStoreFaults : public Testing::EventStoreProcessesFixture {
protected:
  EventStoreFaults() : EventStoreProcessesFixture("/dev/shm/") {}

  /// A process that follows the log to its end and ends with 0 when each of the writers' reports
  /// came once and in order.
  std::unique_ptr<ChildProcess> Follower(int writers, int reports) {
    return std::make_unique<ChildProcess>([this, writers, reports] {
      const auto numbers = ByWriter(Follow("Log", static_cast<std::size_t>(writers * reports)));
      for (int writer = 0; writer < writers; ++writer)
        if (!numbers.contains(writer) || numbers.at(writer) != NumbersBelow(reports)) return 1;
      return HasFailure() ? 2 : 0;
    });
  }

  void ExpectWritersAndReadersToAgree(int writers, int readers, int reports) {
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int reader = 0; reader < readers; ++reader) children.push_back(Follower(writers, reports));
    for (int writer = 0; writer < writers; ++writer)
      children.push_back(std::make_unique<ChildProcess>(
          [this, writer, reports] { return WriteAll("Log", writer, reports); }));
    for (const auto& child : children) ASSERT_EQ(child->Wait(), 0);
    ExpectSound();
  }
};

/// A count that a process and its children share.
class SharedCount {
public:
  SharedCount()
      : m_count(new (mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                          MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int>(0)) {}
  ~SharedCount() { munmap(m_count, sizeof *m_count); }

  SharedCount(const SharedCount&) = delete;
  SharedCount& operator=(const SharedCount&) = delete;

  std::atomic<int>& Get() { return *m_count; }

private:
  std::atomic<int>* m_count;
};

constexpr int kAllReports = Testing::WithSanitizer(10'000, 100'000);
constexpr int kKills = Testing::WithSanitizer(20, 50);

TEST_F(EventStoreFaults, AReaderOfAnotherProcessSeesAllReportsOnceAndInOrder) {
  ExpectWritersAndReadersToAgree(1, 1, kAllReports);
}

TEST_F(EventStoreFaults, TwoWritersAndTwoReadersAgreeOnAllReports) {
  ExpectWritersAndReadersToAgree(2, 2, kAllReports / 2);
}

TEST_F(EventStoreFaults, AWriterKilledAtAnyMomentHasLeftAllThatItReported) {
  std::mt19937 random(3);
  SharedCount reported;
  for (int round = 0; round < kKills; ++round) {
    const int before = reported.Get();
    ChildProcess writer([this, &reported] {
      const SourceHandle source(Operations(), "Log");
      for (;;) {
        if (source.Report("0 " + std::to_string(reported.Get())) != 0) return 1;
        ++reported.Get();
      }
    });
    // In the middle of its work, wherever that is.
    while (reported.Get() == before) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
    ASSERT_EQ(writer.Kill(), -SIGKILL);

    const int acknowledged = reported.Get();
    const std::vector<int> stored =
        ByWriter(Follow("Log", static_cast<std::size_t>(acknowledged)))[0];
    ASSERT_EQ(stored, NumbersBelow(static_cast<int>(stored.size()))) << "round " << round;
    // At most the report that it was about to acknowledge is there besides.
    ASSERT_LE(stored.size(), static_cast<std::size_t>(acknowledged) + 1);
    reported.Get() = static_cast<int>(stored.size());
  }
  ExpectSound();
}

TEST_F(EventStoreFaults, AFullFileSystemIsReportedAndLosesNothing) {
  ChildProcess child([this] {
    if (!MountOwnFileSystem(Folder().Path())) return 10;
    const std::string ballast = Folder().Write("ballast", std::string(300'000, 'b'));

    const SourceHandle source(Operations(), "Log");
    const LogHandle log(Operations(), "Log");
    int written = 0;
    ULong error = 0;
    const auto report = [&] {
      error = source.Report("0 " + std::to_string(written));
      if (error == 0) ++written;
      return error == 0;
    };
    while (report()) {
    }
    if (error != 112) return 11;
    // As long as the disk is full it is reported again, and what was written stays readable.
    if (report() || error != 112) return 12;
    const int beforeFull = written;
    if (ByWriter(Follow("Log", static_cast<std::size_t>(written)))[0] != NumbersBelow(written))
      return 13;

    std::filesystem::remove(ballast);
    for (int i = 0; i < 20; ++i)
      if (!report()) return 14;
    if (written != beforeFull + 20) return 15;
    if (ByWriter(Follow("Log", static_cast<std::size_t>(written)))[0] != NumbersBelow(written))
      return 16;
    return log.AllNumbers().size() == static_cast<std::size_t>(written) && !HasFailure() ? 0 : 17;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(EventStoreFaults, AFileMovedAsideAgainAndAgainUnderAWriterLosesNothing) {
  constexpr int kMoves = 20;
  SharedCount reported;
  NumberPipe failures;
  ChildProcess writer([this, &reported, &failures]() -> int {
    failures.CloseReading();
    const SourceHandle source(Operations(), "Log");
    for (;;) {
      const ULong error = source.Report("0 " + std::to_string(reported.Get()));
      if (error != 0) failures.Put(static_cast<int>(error));
      if (error == 0) ++reported.Get();
    }
  });
  failures.CloseWriting();
  std::vector<std::string> files;
  for (int move = 0; move < kMoves; ++move) {
    const int before = reported.Get();
    while (reported.Get() < before + 20) std::this_thread::yield();
    files.push_back(Folder().Path("aside" + std::to_string(move)));
    std::filesystem::rename(Path(), files.back());
  }
  const int before = reported.Get();
  while (reported.Get() < before + 20) std::this_thread::yield();
  writer.Kill();
  files.push_back(Path());

  std::set<int> stored;
  for (const std::string& file : files) {
    Host::UseEventStore(file);
    const std::vector<int> numbers = ByWriter(Follow("Log", 1))[0];
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end(), std::less_equal<>())) << file;
    stored.insert(numbers.begin(), numbers.end());
  }
  for (int i = 0; i < reported.Get(); ++i) ASSERT_TRUE(stored.contains(i)) << i;
  int failure = 0;
  EXPECT_FALSE(failures.Get(failure)) << "a report failed with " << failure;
}

TEST_F(EventStoreFaults, DamageUnderAnOpenWriterAndReaderIsAnErrorAndNoWrongRecord) {
  constexpr int kReports = 5000;
  const SourceHandle source(Operations(), "Log");
  const LogHandle log(Operations(), "Log");
  for (int i = 0; i < kReports; ++i) ASSERT_EQ(source.Report("0 " + std::to_string(i)), 0u);
  Testing::RunSql(Path(), "PRAGMA wal_checkpoint(TRUNCATE)");
  // Every page but the first, as a disk gone wrong would have it.
  {
    std::fstream file(Path(), std::ios::binary | std::ios::in | std::ios::out);
    const auto size = std::filesystem::file_size(Path());
    file.seekp(4096);
    for (std::uintmax_t at = 4096; at < size; ++at) file.put('\x5A');
  }

  const LogHandle fresh(Operations(), "Log");
  EXPECT_TRUE(fresh.Get() == nullptr || fresh.Read(kSequentialForwards).error == 1500u);
  EXPECT_EQ(log.Read(kSequentialForwards).error, 1500u);
  EXPECT_EQ(SourceHandle(Operations(), "Other").Report("x"), 1500u);
}

}  // namespace
}  // namespace Ondrel
