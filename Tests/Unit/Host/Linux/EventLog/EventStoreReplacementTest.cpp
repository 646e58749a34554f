#include "Support/EventStoreFixture.h"
#include "Unit/Host/Linux/EventLog/FaultyFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using Testing::FaultyFiles;
using Testing::kSeekForwards;
using Testing::kSequentialBackwards;
using Testing::kSequentialForwards;
using Testing::LogHandle;
using Testing::NumbersIn;
using Testing::RunSql;
using Testing::SourceHandle;

using Numbers = std::vector<ULong>;

/// Two writers and a reader that are open while the file is taken from under them.
class EventStoreReplacement : public Testing::EventStoreFixture {
protected:
  void SetUp() override {
    m_first.emplace(Operations(), "Log");
    m_second.emplace(Operations(), "Log");
    m_log.emplace(Operations(), "Log");
    ASSERT_EQ(m_first->Report("one"), 0u);
    ASSERT_EQ(m_second->Report("two"), 0u);
    ASSERT_EQ(m_log->AllNumbers(), (Numbers{1, 2}));
  }

  const SourceHandle& First() const { return *m_first; }
  const SourceHandle& Second() const { return *m_second; }
  const LogHandle& Log() const { return *m_log; }

  void CloseAll() {
    m_first.reset();
    m_second.reset();
    m_log.reset();
  }

  void RemoveCompanions() const {
    std::filesystem::remove(Path() + "-wal");
    std::filesystem::remove(Path() + "-shm");
  }

  /// What was reported after the file was gone stands at its path, in a sound store.
  void ExpectNewStoreOfTwo() {
    EXPECT_EQ(First().Report("new one"), 0u);
    EXPECT_EQ(Second().Report("new two"), 0u);
    EXPECT_EQ(Log().AllNumbers(), (Numbers{1, 2}));
    EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2}));
    EXPECT_EQ(RunSql(Path(), "PRAGMA integrity_check"), "ok");
    CloseAll();
    EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2}));
    EXPECT_EQ(RunSql(Path(), "PRAGMA integrity_check"), "ok");
  }

private:
  std::optional<SourceHandle> m_first;
  std::optional<SourceHandle> m_second;
  std::optional<LogHandle> m_log;
};

TEST_F(EventStoreReplacement, AfterRemovalOfAllFilesReportsGoToANewStore) {
  std::filesystem::remove(Path());
  RemoveCompanions();
  ExpectNewStoreOfTwo();
}

TEST_F(EventStoreReplacement, AfterRemovalOfTheFileAloneReportsGoToANewStore) {
  std::filesystem::remove(Path());
  ExpectNewStoreOfTwo();
}

TEST_F(EventStoreReplacement, AfterRemovalAReaderCreatesANewStoreToo) {
  std::filesystem::remove(Path());

  EXPECT_EQ(Log().Read(kSequentialForwards).error, 38u);
  EXPECT_TRUE(std::filesystem::exists(Path()));
  ExpectNewStoreOfTwo();
}

TEST_F(EventStoreReplacement, AfterRemovalAReadersWatermarkIsNotThere) {
  std::filesystem::remove(Path());

  EXPECT_EQ(Log().Read(kSeekForwards, 2).error, 87u);
  EXPECT_EQ(First().Report("new one"), 0u);
  EXPECT_EQ(Log().Read(kSeekForwards, 2).error, 87u);
}

TEST_F(EventStoreReplacement, SequentialReadsOfANewStoreBeginAtItsEnds) {
  std::filesystem::remove(Path());
  ASSERT_EQ(First().Report("new one"), 0u);
  ASSERT_EQ(First().Report("new two"), 0u);

  EXPECT_EQ(NumbersIn(Log().Read(kSequentialBackwards).bytes), (Numbers{2, 1}));
}

TEST_F(EventStoreReplacement, AFileThatWasMovedAsideKeepsWhatWasReportedBefore) {
  const std::string aside = Folder().Path("aside.db");
  std::filesystem::rename(Path(), aside);

  ExpectNewStoreOfTwo();

  EXPECT_EQ(RunSql(aside, "PRAGMA integrity_check"), "ok");
  EXPECT_EQ(RunSql(aside, "SELECT count(*) FROM record"), "2");
}

TEST_F(EventStoreReplacement, AFileThatTookItsPlaceIsUsed) {
  const std::string other = Folder().Path("other.db");
  Host::UseEventStore(other);
  Write("Log", {"a", "b", "c"});
  Host::UseEventStore(Path());
  std::filesystem::rename(other, Path());

  EXPECT_EQ(First().Report("d"), 0u);
  EXPECT_EQ(Second().Report("e"), 0u);
  EXPECT_EQ(Log().AllNumbers(), (Numbers{1, 2, 3, 4, 5}));
  CloseAll();

  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2, 3, 4, 5}));
  EXPECT_EQ(RunSql(Path(), "PRAGMA integrity_check"), "ok");
}

TEST_F(EventStoreReplacement, AFileThatTookItsPlaceWhileItWasOpenedIsUsed) {
  CloseAll();
  const std::string other = Folder().Path("other.db");
  Host::UseEventStore(other);
  Write("Log", {"a", "b", "c"});
  Host::UseEventStore(Path());
  FaultyFiles files;
  files.BeforeNextRead([&] { std::filesystem::rename(other, Path()); });
  const SourceHandle source(Operations(), "Log");
  ASSERT_FALSE(std::filesystem::exists(other));

  EXPECT_EQ(source.Report("d"), 0u);

  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2, 3, 4}));
}

TEST_F(EventStoreReplacement, AFileOfAnotherKindThatTookItsPlaceIsRefused) {
  std::filesystem::rename(Folder().Write("other", "something else"), Path());

  EXPECT_EQ(First().Report("text"), 1500u);
  EXPECT_EQ(Log().Read(kSeekForwards, 1).error, 1500u);
  std::ifstream file(Path());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "something else");

  std::filesystem::remove(Path());
  ExpectNewStoreOfTwo();
}

TEST_F(EventStoreReplacement, AFolderThatIsGoneIsAFailureUntilItIsBack) {
  const std::string folder = Folder().Path("sub");
  std::filesystem::create_directory(folder);
  Host::UseEventStore(folder + "/events.db");
  const SourceHandle source(Operations(), "Log");
  const LogHandle log(Operations(), "Log");
  ASSERT_EQ(source.Report("text"), 0u);

  std::filesystem::remove_all(folder);
  EXPECT_EQ(source.Report("text"), 3u);
  EXPECT_EQ(log.Read(kSequentialForwards).error, 3u);
  EXPECT_EQ(source.Report("text"), 3u);

  std::filesystem::create_directory(folder);
  EXPECT_EQ(source.Report("text"), 0u);
  EXPECT_EQ(log.AllNumbers(), (Numbers{1}));
}

TEST_F(EventStoreReplacement, WithoutTheWriteAheadLogNothingIsReportedAsWritten) {
  std::filesystem::remove(Path() + "-wal");

  EXPECT_EQ(First().Report("text"), 1500u);

  // The last connection brings what it holds into the file.
  CloseAll();
  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2}));
  Write("Log", {"three"});
  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2, 3}));
  EXPECT_EQ(RunSql(Path(), "PRAGMA integrity_check"), "ok");
}

TEST_F(EventStoreReplacement, AFileRemovedInTheMiddleOfAReportLosesNothing) {
  CloseAll();
  FaultyFiles files;
  const SourceHandle source(Operations(), "Log");
  ASSERT_EQ(source.Report("three"), 0u);
  files.BeforeNextSync([this] { std::filesystem::remove(Path()); });

  EXPECT_EQ(source.Report("four"), 0u);

  EXPECT_EQ(NumbersOf("Log"), (Numbers{1}));
}

}  // namespace
}  // namespace Ondrel
