#include "EventHistoryFixture.h"
#include "Support/OwnMounts.h"
#include "Support/Sanitized.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <vector>

namespace Ondrel {
namespace {

using Host::CEventLogReader;
using Host::CEventLogWait;
using Host::CEventLogWriter;
using Host::EventLogItem;
using Host::EventLogItemKind;
using Host::EventLogRange;
using std::chrono::milliseconds;
using Testing::ChildProcess;
using Testing::MountOwnFileSystem;
using Testing::NumberPipe;
using Testing::SourceHandle;
using Testing::TakeOwnMounts;

class EventHistoryFaults : public Testing::EventHistoryFixture {};

/// Numbers that a process and its children share.
struct Shared {
  std::atomic<int> reported{0};
  std::atomic<int> acknowledged{0};
};

class SharedNumbers {
public:
  SharedNumbers()
      : m_numbers(new (mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Shared()) {}
  ~SharedNumbers() { munmap(m_numbers, sizeof *m_numbers); }

  SharedNumbers(const SharedNumbers&) = delete;
  SharedNumbers& operator=(const SharedNumbers&) = delete;

  Shared* operator->() const { return m_numbers; }

private:
  Shared* m_numbers;
};

// The number that a record's text "0 N" says.
int SaidBy(const EventLogItem& item) { return std::stoi(item.record.strings.at(0).substr(2)); }

TEST_F(EventHistoryFaults, AFollowerMissesNothingOfWritersThatAreKilledTwoHundredTimes) {
  constexpr int kKills = 200;
  ReportSome(0);
  SharedNumbers numbers;
  NumberPipe followed;
  ChildProcess follower([&followed]() -> int {
    followed.CloseReading();
    CEventLogWait wait;
    CEventLogReader reader;
    if (wait.Open("Log") != 0 || reader.Open("Log", {}) != 0) return 1;
    std::vector<EventLogItem> items;
    for (;;) {
      if (reader.Read(items) != 0) return 2;
      for (const EventLogItem& item : items) {
        if (item.kind != EventLogItemKind::kRecord) return 3;
        if (SaidBy(item) < 0) return 0;
        followed.Put(SaidBy(item));
      }
      if (items.empty()) wait.Wait(milliseconds(1000));
    }
  });
  followed.CloseWriting();

  std::vector<int> all;
  std::thread taking([&] {
    for (int number = 0; followed.Get(number);) all.push_back(number);
  });
  std::mt19937 random(17);
  std::vector<int> acknowledged;
  for (int kill = 0; kill < kKills; ++kill) {
    const int before = numbers->acknowledged;
    ChildProcess writer([this, &numbers]() -> int {
      const SourceHandle source(Operations(), "Log");
      for (;;) {
        const int number = numbers->reported++;
        if (source.Report("0 " + std::to_string(number)) != 0) return 1;
        numbers->acknowledged = number + 1;
      }
    });
    for (int i = 0; numbers->acknowledged == before && i < 5000; ++i)
      std::this_thread::sleep_for(milliseconds(1));
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 5000));
    ASSERT_EQ(writer.Kill(), -SIGKILL) << kill;
  }
  {
    const SourceHandle source(Operations(), "Log");
    ASSERT_EQ(source.Report("0 -1"), 0u);
  }
  EXPECT_EQ(follower.Wait(), 0);
  taking.join();

  // Each was read once and in order; those that are not there were never acknowledged: at most one
  // for each kill.
  EXPECT_TRUE(std::ranges::is_sorted(all, std::less_equal<>()));
  EXPECT_LE(numbers->reported - static_cast<int>(all.size()), kKills);
  EXPECT_GE(static_cast<int>(all.size()), numbers->acknowledged - kKills);
}

TEST_F(EventHistoryFaults, CapacityTurnedOverUnderAFollowerIsNamedToTheLastNumber) {
  constexpr int kReports = Testing::WithSanitizer(10'000, 20'000);
  // More than the store holds.
  constexpr int kTurnedOver = 4000;
  Host::UseEventStore(Path(), Host::kMinEventStoreCapacity);
  SharedNumbers numbers;
  CEventLogReader reader = Opened();
  ChildProcess writer([this, &numbers] {
    return WriteAll("Log", 0, kReports,
                    [&numbers](int reported) { numbers->acknowledged = reported; });
  });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(300);
  const auto waitFor = [&](int reports) {
    while (numbers->acknowledged < std::min(reports, kReports)) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline);
      std::this_thread::sleep_for(milliseconds(1));
    }
  };
  std::uint64_t next = 1;
  int timesOutrun = 0;
  std::vector<EventLogItem> items;
  for (int reads = 0; next <= kReports; ++reads) {
    // Now right after the writer, now outrun.
    const int ahead = reads % 50 == 0 ? kTurnedOver : 1;
    ASSERT_NO_FATAL_FAILURE(waitFor(static_cast<int>(next) + ahead));
    ASSERT_EQ(reader.Read(items, 8), 0u);
    ASSERT_FALSE(items.empty());
    for (const EventLogItem& item : items) {
      if (item.kind == EventLogItemKind::kRecord) {
        ASSERT_EQ(item.record.number, next);
        ASSERT_EQ(SaidBy(item) + 1, static_cast<int>(next));
        ++next;
        continue;
      }
      ASSERT_EQ(item.kind, EventLogItemKind::kMissed);
      ASSERT_EQ(item.first, next);
      next = item.last + 1;
      ++timesOutrun;
    }
  }
  EXPECT_EQ(writer.Wait(), 0);
  EXPECT_EQ(next, kReports + 1u);
  // At each of the waits for more than the store holds, and perhaps in between.
  EXPECT_GE(timesOutrun, Testing::WithSanitizer(2, 3));
}

// As a snapshot, a saved copy or a container's view of the host has it.
TEST_F(EventHistoryFaults, AStoreOnAReadOnlyMountIsReadAndWhatIsWrittenBesideItComes) {
  ChildProcess child([this]() -> int {
    const std::string real = Folder().Path("real?#%20");
    const std::string view = Folder().Path("view");
    std::filesystem::create_directories(real);
    std::filesystem::create_directories(view);
    const auto report = [&](CEventLogWriter& writer, const char* text) {
      return writer.Report(10471, 1, text).error == 0;
    };
    Host::UseEventStore(real + "/events ?.db");
    {
      CEventLogWriter writer;
      if (writer.Open("Log") != 0 || !report(writer, "0 1") || !report(writer, "0 2")) return 10;
    }
    if (!TakeOwnMounts() || mount(real.c_str(), view.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
        mount(nullptr, view.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
      return 11;
    Host::UseEventStore(view + "/events ?.db");
    CEventLogReader reader;
    std::vector<EventLogItem> items;
    if (reader.Open("Log", {}) != 0) return 12;
    if (reader.Read(items) != 0 || items.size() != 2) return 13;
    if (std::filesystem::exists(real + "/events ?.db-shm")) return 14;
    CEventLogWriter here;
    if (here.Open("Log") == 0 && report(here, "0 x")) return 15;

    // Through the other mount, first while it is open there and then closed.
    Host::UseEventStore(real + "/events ?.db");
    auto writer = std::make_unique<CEventLogWriter>();
    if (writer->Open("Log") != 0 || !report(*writer, "0 3")) return 16;
    if (reader.Read(items) != 0 || items.size() != 1 || items[0].record.number != 3) return 17;
    if (!report(*writer, "0 4")) return 18;
    writer.reset();
    if (reader.Read(items) != 0 || items.size() != 1 || items[0].record.number != 4) return 19;
    return reader.Read(items) == 0 && items.empty() ? 0 : 20;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(EventHistoryFaults, AStoreThatNobodyHasOpenIsReadOnAFullFileSystem) {
  ChildProcess child([this]() -> int {
    if (!MountOwnFileSystem(Folder().Path(), "size=400k")) return 10;
    const auto report = [&](const char* text) {
      CEventLogWriter writer;
      const ULong error = writer.Open("Log");
      return error != 0 ? error : writer.Report(10471, 1, text).error;
    };
    if (report("0 1") != 0 || report("0 2") != 0) return 11;
    const std::string ballast = Folder().Path("ballast");
    std::ofstream(ballast, std::ios::binary) << std::string(500'000, 'b');
    if (report("0 full") != ERROR_DISK_FULL) return 12;

    CEventLogReader reader;
    std::vector<EventLogItem> items;
    if (reader.Open("Log", {}) != 0) return 13;
    if (reader.Read(items) != 0 || items.size() != 2) return 14;
    std::vector<Host::EventLogSummary> logs;
    if (Host::ListEventLogs(logs) != 0 || logs.size() != 1 || logs[0].records != 2) return 15;
    if (report("0 full") != ERROR_DISK_FULL) return 16;
    if (reader.Read(items) != 0 || !items.empty()) return 17;

    std::filesystem::remove(ballast);
    if (report("0 3") != 0) return 18;
    if (reader.Read(items) != 0 || items.size() != 1 || items[0].record.number != 3) return 19;
    return 0;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(EventHistoryFaults, AFullFileSystemUnderAFollowerLosesNothingThatWasKept) {
  ChildProcess child([this]() -> int {
    if (!MountOwnFileSystem(Folder().Path())) return 10;
    const std::string ballast = Folder().Write("ballast", std::string(300'000, 'b'));
    CEventLogReader reader;
    if (reader.Open("Log", {}) != 0) return 11;
    Host::CEventLogWriter writer;
    if (writer.Open("Log") != 0) return 12;
    std::uint64_t kept = 0;
    std::uint64_t read = 0;
    std::vector<EventLogItem> items;
    const auto follow = [&] {
      do {
        if (reader.Read(items) != 0) return false;
        for (const EventLogItem& item : items)
          if (item.kind != EventLogItemKind::kRecord || item.record.number != ++read) return false;
      } while (!items.empty());
      return read == kept;
    };
    for (;;) {
      const Host::EventLogReport report =
          writer.Report(10471, 1, "0 " + std::to_string(kept) + std::string(200, 'x'));
      if (report.error == ERROR_DISK_FULL) break;
      if (report.error != 0 || report.number != ++kept) return 13;
      if (kept % 50 == 0 && !follow()) return 14;
    }
    if (!follow()) return 15;
    // As long as it is full every report says so, and none is shown.
    for (int i = 0; i < 3; ++i)
      if (writer.Report(10471, 1, std::string(8000, 'y')).error != ERROR_DISK_FULL) return 16;
    if (!follow()) return 17;
    std::filesystem::remove(ballast);
    if (writer.Report(10471, 1, "0 again").error != 0) return 18;
    ++kept;
    return follow() ? 0 : 19;
  });
  EXPECT_EQ(child.Wait(), 0);
}

// The text of the N-th record of the stores that are damaged: long ones reach over several pages.
std::string TextOf(std::uint64_t number) {
  return "0 " + std::to_string(number) + std::string(number % 50 == 0 ? 9000 : 20, 'x');
}

constexpr std::uint64_t kDamagedRecords = 1500;

// What is wrong with what a reader gave of a damaged store: each record has to be there as it was
// reported, or to be named.
std::string SilentLoss(const EventLogRange& range) {
  std::vector<bool> isNamed(kDamagedRecords + 1);
  std::vector<bool> isGiven(kDamagedRecords + 1);
  CEventLogReader reader;
  if (reader.Open("Log", range) != 0) return {};
  std::vector<EventLogItem> items;
  for (int reads = 0; reads < 1000; ++reads) {
    if (reader.Read(items) != 0) return {};
    if (items.empty()) {
      for (std::uint64_t number = 1; number <= kDamagedRecords; ++number)
        if (!isNamed[number]) return "nothing is said of " + std::to_string(number);
      return {};
    }
    for (const EventLogItem& item : items) {
      if (item.kind == EventLogItemKind::kReplaced) return {};
      if (item.kind == EventLogItemKind::kRecord) {
        const std::uint64_t number = item.record.number;
        if (number < 1 || number > kDamagedRecords) return "a record that was never reported";
        if (item.record.strings != std::vector<std::string>{TextOf(number)} ||
            item.record.source != "Log" || item.record.eventType != 4)
          return "a wrong record " + std::to_string(number);
        if (isGiven[number]) return std::to_string(number) + " came twice";
        isGiven[number] = isNamed[number] = true;
        continue;
      }
      for (std::uint64_t number = item.first; number <= std::min(item.last, kDamagedRecords);
           ++number)
        isNamed[number] = true;
    }
  }
  return "reading does not end";
}

TEST_F(EventHistoryFaults, DamagedStoresLoseNothingInSilence) {
  constexpr unsigned kStores = Testing::WithSanitizer(60u, 300u);
  {
    const SourceHandle source(Operations(), "Log");
    for (std::uint64_t number = 1; number <= kDamagedRecords; ++number)
      ASSERT_EQ(source.Report(TextOf(number)), 0u);
  }
  Testing::RunSql(Path(), "PRAGMA wal_checkpoint(TRUNCATE)");
  ASSERT_EQ(SilentLoss({}), "");
  std::string sound;
  {
    std::ifstream file(Path(), std::ios::binary);
    sound.assign(std::istreambuf_iterator<char>(file), {});
  }

  for (unsigned seed = 0; seed < kStores; ++seed) {
    std::mt19937 random(seed);
    std::string bytes = sound;
    const auto place = [&] { return random() % bytes.size(); };
    switch (seed % 5) {
      case 0:  // A bit.
        bytes[place()] ^= static_cast<char>(1 << random() % 8);
        break;
      case 1:  // Some bytes.
        for (int i = 0; i < 8; ++i) bytes[place()] = static_cast<char>(random());
        break;
      case 2: {  // A page.
        const std::size_t page = place() / 4096 * 4096;
        for (std::size_t i = 0; i < 4096; ++i) bytes[page + i] = static_cast<char>(random());
        break;
      }
      case 3: {  // A page that was never written.
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(place() / 4096 * 4096), 4096, '\0');
        break;
      }
      default:  // The end.
        bytes.resize(place() / 512 * 512);
        break;
    }
    const std::string path = Folder().Path("damaged" + std::to_string(seed) + ".db");
    {
      std::ofstream file(path, std::ios::binary);
      file << bytes;
    }
    Host::UseEventStore(path);
    EventLogRange newestFirst;
    newestFirst.isNewestFirst = true;
    // A file cut to nothing is a store that is yet to be made: no record in it was lost by it.
    if (!bytes.empty()) {
      EXPECT_EQ(SilentLoss({}), "") << "seed " << seed;
      EXPECT_EQ(SilentLoss(newestFirst), "") << "seed " << seed << ", newest first";
    }
    std::filesystem::remove(path);
  }
}

TEST_F(EventHistoryFaults, ADamagedWriteAheadLogIsNamedUnlessNothingIsLostByIt) {
  constexpr std::size_t kRecords = 60;
  const SourceHandle source(Operations(), "Log");
  for (std::size_t i = 0; i < kRecords; ++i) ASSERT_EQ(source.Report("0 " + std::to_string(i)), 0u);
  const auto bytesOf = [](const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  const std::string store = bytesOf(Path());
  const std::string log = bytesOf(Path() + "-wal");
  ASSERT_GT(log.size(), 50'000u);
  int losses = 0;
  for (std::size_t at = 0; at < log.size(); at += log.size() / 100) {
    const std::string name = "damaged" + std::to_string(at) + ".db";
    const std::string path = Folder().Write(name, store);
    std::string damaged = log;
    damaged[at] ^= '\x10';
    const std::string damagedLog = Folder().Write(name + "-wal", damaged);
    Host::UseEventStore(path);
    const std::vector<std::string> words = WordsOf();
    const bool isNamed = std::ranges::find(words, "damaged " + damagedLog) != words.end();
    EXPECT_TRUE(isNamed || words.size() == kRecords) << at << ": " << words.size();
    losses += isNamed ? 1 : 0;
    std::filesystem::remove(path);
  }
  EXPECT_GT(losses, 50);
  Host::UseEventStore(Path());
  EXPECT_EQ(WordsOf().size(), kRecords);
}

TEST_F(EventHistoryFaults, ALogThatIsWrittenWhileItIsOpenedIsNotDamaged) {
  ReportSome(1);
  ChildProcess writer([this] { return WriteAll("Other", 0, 3000); });
  for (int i = 0; i < 300; ++i) EXPECT_EQ(WordsOf(), std::vector<std::string>{"1"});
  EXPECT_EQ(writer.Wait(), 0);
}

}  // namespace
}  // namespace Ondrel
