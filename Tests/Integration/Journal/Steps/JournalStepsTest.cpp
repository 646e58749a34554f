#include "Integration/Journal/JournalFixture.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

#include <systemd/sd-journal.h>

#include <atomic>
#include <cstddef>
#include <dlfcn.h>
#include <string>
#include <vector>

// Steps from entry to entry that the library made; its calls come here before the journal's
// library.
static std::atomic<int> g_steps = 0;

extern "C" __attribute__((visibility("default"))) int sd_journal_next(sd_journal* journal) {
  static const auto next =
      reinterpret_cast<int (*)(sd_journal*)>(dlsym(RTLD_NEXT, "sd_journal_next"));
  ++g_steps;
  return next(journal);
}

// Files that the library opened.
static std::atomic<int> g_openedFiles = 0;

extern "C" __attribute__((visibility("default"))) int sd_journal_open_files(sd_journal** journal,
                                                                            const char** paths,
                                                                            int flags) {
  static const auto open = reinterpret_cast<int (*)(sd_journal**, const char**, int)>(
      dlsym(RTLD_NEXT, "sd_journal_open_files"));
  ++g_openedFiles;
  return open(journal, paths, flags);
}

namespace Ondrel {
namespace {

using JournalSteps = Testing::JournalFixture;

TEST_F(JournalSteps, GoesStraightToAnyRecordThatWasHandedOut) {
  CSystemLog_Win log;
  log.Open(Source());
  CSystemLogReader_Win reader;
  reader.Open("journal", {Source()});
  log.Report(10471, 4, "first");
  ASSERT_EQ(ReadAll(reader).size(), 1u);
  // A copy shares the opened log and keeps to this record, while the other goes far ahead. What
  // both hold is given back once, by the other: copies stay to the program's end.
  static auto& copies = *new std::vector<CSystemLogReader_Win*>;
  const auto copyOf = [](const CSystemLogReader_Win& original) -> CSystemLogReader_Win& {
    copies.push_back(new CSystemLogReader_Win(original));
    return *copies.back();
  };
  const CSystemLogReader_Win& early = copyOf(reader);
  constexpr std::size_t kReports = 17'000;
  for (std::size_t i = 0; i < kReports; ++i) log.Report(10471, 4, std::to_string(i));
  ASSERT_EQ(ReadAll(reader).size(), kReports);

  for (const std::size_t skipped : {0u, 5'000u, 10'001u}) {
    CSystemLogReader_Win& late = copyOf(early);
    for (std::size_t count = 0; count < skipped;) {
      const std::size_t some = late.ReadEvents().size();
      ASSERT_GT(some, 0u);
      count += some;
    }
    ASSERT_TRUE(reader.ReadEvents().empty());

    g_steps = 0;
    const std::vector<CSystemEvent_Win> events = late.ReadEvents();
    ASSERT_FALSE(events.empty());
    // As many as the records of the answer, and a few to find the first.
    EXPECT_LE(g_steps, static_cast<int>(events.size()) + 10) << skipped;
  }
}

TEST_F(JournalSteps, LooksForDamagedFilesOnceWhileNoneComesOrGoes) {
  CSystemLog_Win log;
  log.Open(Source());
  log.Report(10471, 4, "text");
  Testing::JournalDaemon::Sync();
  const Testing::TemporaryFolder folder;
  ASSERT_EQ(
      Testing::RunProcess("/bin/sh", {"-c", "journalctl -o export SYSLOG_IDENTIFIER=" + Source() +
                                                " | /lib/systemd/systemd-journal-remote -o " +
                                                folder.Path("a.journal") + " -"})
          .exitStatus,
      0);
  ASSERT_TRUE(Host::UseJournalFiles(folder.Path("")));
  Host::CEventLogReader reader;
  ASSERT_EQ(reader.Open("journal", {}), 0u);
  std::vector<Host::EventLogItem> items;
  g_openedFiles = 0;
  ASSERT_EQ(reader.Read(items), 0u);
  EXPECT_EQ(items.size(), 1u);
  EXPECT_EQ(g_openedFiles, 1);
  for (int times = 0; times < 3; ++times) ASSERT_EQ(reader.Read(items), 0u);
  EXPECT_EQ(g_openedFiles, 1) << "they are as they were";
}

}  // namespace
}  // namespace Ondrel
