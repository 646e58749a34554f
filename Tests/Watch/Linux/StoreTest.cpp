#include "Support/TemporaryFolder.h"
#include "Tool/Watch/Linux/Store.h"
#include "Watch/World.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

namespace Tool::Watch {
namespace {

using Ondrel::Testing::TemporaryFolder;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t kNow = 1700000000;

WatchEvent EventOf(int code, int severity) {
  WatchEvent event;
  event.code = code;
  event.severity = severity;
  event.objectId = "S1";
  event.text = "text " + std::to_string(code);
  return event;
}

class StoreTest : public testing::Test {
protected:
  StoreTest() {
    m_settings.mail.server = "mail";
    m_settings.mail.from = "raid@example.com";
    m_settings.mail.to = {"a@example.com", "b@example.com"};
  }

  TemporaryFolder m_folder;
  std::string m_path = m_folder.Path("watch.db");
  Settings m_settings;
  WatchState m_state = *WorldWithArray("raid1", 2).state;
};

TEST_F(StoreTest, AStepIsKeptWhole) {
  {
    Store store(m_path, true);
    EXPECT_FALSE(store.State().has_value());
    store.Commit(m_state, {EventOf(10471, 4), EventOf(10055, 2)}, m_settings, "host", kNow);
  }
  Store store(m_path, true);
  EXPECT_EQ(2u, store.State()->drives.size());
  const std::vector<StoredEvent> events = store.UnloggedEvents();
  ASSERT_THAT(events, SizeIs(2));
  EXPECT_EQ(10471, events[0].event.code);
  EXPECT_EQ(kNow, events[0].time);
  // Only the severe one is mailed, once to each recipient.
  const std::vector<StoredMail> mails = store.Mails();
  ASSERT_THAT(mails, SizeIs(2));
  EXPECT_EQ("a@example.com", mails[0].recipient);
  EXPECT_EQ("b@example.com", mails[1].recipient);
  EXPECT_THAT(mails[0].messageId, HasSubstr("@example.com"));
  EXPECT_NE(mails[0].messageId, mails[1].messageId);
  struct stat status {};
  ASSERT_EQ(0, ::stat(m_path.c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 0777u);
}

TEST_F(StoreTest, ARecoveryIsMailedThoughItIsInformation) {
  Store store(m_path, true);
  WatchEvent event = EventOf(10415, 2);
  event.isRecovery = true;
  store.Commit(m_state, {event}, m_settings, "host", kNow);
  EXPECT_THAT(store.Mails(), SizeIs(2));
}

TEST_F(StoreTest, AMailOnItsWayWhenTheServiceEndedIsRepeatedUnderItsMessageId) {
  std::string messageId;
  {
    Store store(m_path, true);
    store.Commit(m_state, {EventOf(10471, 4)}, m_settings, "host", kNow);
    const StoredMail mail = store.DueMails(kNow, 1).at(0);
    messageId = mail.messageId;
    store.SetSending(mail);
  }
  Store store(m_path, true);
  EXPECT_THAT(store.DueMails(kNow, 9), SizeIs(1));
  store.RecoverFromEnd(kNow + 5);
  const std::vector<StoredMail> mails = store.DueMails(kNow + 5, 9);
  ASSERT_THAT(mails, SizeIs(2));
  const StoredMail& repeated = mails[0].messageId == messageId ? mails[0] : mails[1];
  EXPECT_EQ(messageId, repeated.messageId);
  EXPECT_TRUE(repeated.isRepeat);
  EXPECT_EQ(1, repeated.tries);
}

TEST_F(StoreTest, AFailedMailWaitsLongerEachTimeAndHoldsUpNoOther) {
  Store store(m_path, true);
  store.Commit(m_state, {EventOf(10471, 4)}, m_settings, "host", kNow);
  const StoredMail mail = store.DueMails(kNow, 1).at(0);
  store.SetSending(mail);
  EXPECT_FALSE(store.SetFailed(mail, "refused", false, kNow));
  const std::vector<StoredMail> due = store.DueMails(kNow, 9);
  ASSERT_THAT(due, SizeIs(1));
  EXPECT_EQ("b@example.com", due[0].recipient);
  store.SetSending(due[0]);
  store.SetSent(due[0].id, kNow);
  EXPECT_EQ(kNow + 60, store.NextDue());
  const StoredMail again = store.DueMails(kNow + 60, 9).at(0);
  EXPECT_EQ(1, again.tries);
  EXPECT_EQ("refused", again.error);
  EXPECT_FALSE(again.isRepeat);
  EXPECT_EQ(1u, store.Counts().mailsSent);
}

TEST_F(StoreTest, AClockThatWasSetBackHoldsUpNoMail) {
  Store store(m_path, true);
  store.Commit(m_state, {EventOf(10471, 4)}, m_settings, "host", kNow);
  EXPECT_THAT(store.DueMails(kNow - 3600, 9), IsEmpty());
  EXPECT_THAT(store.DueMails(kNow - 3601, 9), SizeIs(2));
}

TEST_F(StoreTest, BackOffGrowsFromAMinuteToAnHour) {
  EXPECT_EQ(60, BackOff(1));
  EXPECT_EQ(120, BackOff(2));
  EXPECT_EQ(1920, BackOff(6));
  EXPECT_EQ(3600, BackOff(7));
  EXPECT_EQ(3600, BackOff(1000));
}

TEST_F(StoreTest, AMailIsGivenUpAfterFourDaysWithAnEventThatIsNotMailed) {
  Store store(m_path, true);
  store.Commit(m_state, {EventOf(10471, 4)}, m_settings, "host", kNow);
  StoredMail mail = store.DueMails(kNow, 1).at(0);
  store.SetSending(mail);
  // However long ago it was made: the machine may have been off since.
  EXPECT_FALSE(store.SetFailed(mail, "x", false, kNow + kMailPatience));
  mail.tries = kLeastTries - 1;
  store.SetSending(mail);
  EXPECT_FALSE(store.SetFailed(mail, "x", false, kNow + kMailPatience - 1));
  store.SetSending(mail);
  EXPECT_TRUE(store.SetFailed(mail, "550 no such user", false, kNow + kMailPatience));
  const std::vector<StoredEvent> events = store.UnloggedEvents();
  ASSERT_THAT(events, SizeIs(2));
  EXPECT_EQ(10038, events[1].event.code);
  EXPECT_THAT(events[1].event.text, HasSubstr("a@example.com was given up after 4 days"));
  EXPECT_THAT(store.Mails(), SizeIs(2));
  EXPECT_EQ(1u, store.Counts().mailsGivenUp);
  EXPECT_EQ(1, store.Retry({mail.id}, kNow + kMailPatience));
  EXPECT_THAT(store.DueMails(kNow + kMailPatience, 9), SizeIs(2));
}

TEST_F(StoreTest, QueuedMailsAreRetriedAndDroppedByHand) {
  Store store(m_path, true);
  store.Commit(m_state, {EventOf(10471, 4)}, m_settings, "host", kNow);
  for (const StoredMail& mail : store.DueMails(kNow, 9)) {
    store.SetSending(mail);
    store.SetFailed(mail, "x", false, kNow);
  }
  EXPECT_THAT(store.DueMails(kNow + 1, 9), IsEmpty());
  EXPECT_EQ(2, store.Retry({}, kNow + 1));
  EXPECT_THAT(store.DueMails(kNow + 1, 9), SizeIs(2));
  EXPECT_EQ(1, store.Drop({store.Mails()[0].id}, kNow + 1));
  EXPECT_EQ(0, store.Drop({4711}, kNow + 1));
  EXPECT_THAT(store.Mails(), SizeIs(1));
}

TEST_F(StoreTest, AnEventIsUnloggedUntilItIsKept) {
  Store store(m_path, true);
  store.Commit(m_state, {EventOf(10471, 4)}, m_settings, "host", kNow);
  const std::int64_t id = store.UnloggedEvents().at(0).id;
  store.SetLogState(id, LogState::Tried);
  EXPECT_EQ(LogState::Tried, store.UnloggedEvents().at(0).logState);
  store.SetLogState(id, LogState::Kept);
  EXPECT_THAT(store.UnloggedEvents(), IsEmpty());
  EXPECT_EQ(1u, store.Counts().events[2]);
}

TEST_F(StoreTest, AProgramThatRanWhenTheServiceEndedIsRunAgain) {
  Store store(m_path, true);
  m_settings.exec.program = "/bin/true";
  store.Commit(m_state, {EventOf(10471, 4)}, m_settings, "host", kNow);
  const std::int64_t id = store.NextExec()->id;
  store.SetExecState(id, ExecState::Started);
  EXPECT_FALSE(store.NextExec().has_value());
  store.RecoverFromEnd(kNow);
  EXPECT_EQ(id, store.NextExec()->id);
  store.SetExecState(id, ExecState::Done);
  EXPECT_FALSE(store.NextExec().has_value());
}

TEST_F(StoreTest, WhatWasFinishedLongAgoGoes) {
  Store store(m_path, true);
  store.Commit(m_state, {EventOf(10471, 4)}, m_settings, "host", kNow);
  for (const StoredMail& mail : store.DueMails(kNow, 9)) store.SetSent(mail.id, kNow);
  store.SetLogState(store.UnloggedEvents().at(0).id, LogState::Kept);
  store.Prune(kNow + 91 * 24 * 3600);
  Database file(m_path, Database::Access::ReadOnly);
  EXPECT_EQ(0, file.Integer("SELECT count(*) FROM events"));
  EXPECT_EQ(0, file.Integer("SELECT count(*) FROM mails"));
}

TEST_F(StoreTest, FilesOfAnotherKindAreRefusedAndStayAsTheyAre) {
  m_folder.Write("watch.db", "this is not a database, whatever its name says");
  EXPECT_THROW(Store(m_path, true), DatabaseError);
  const std::string other = m_folder.Path("other.db");
  {
    Database database(other, Database::Access::Create);
    database.Execute("CREATE TABLE mine(x)");
  }
  EXPECT_THROW(Store(other, true), DatabaseError);
  { Store store(m_folder.Path("later.db"), true); }
  {
    Database database(m_folder.Path("later.db"), Database::Access::ReadWrite);
    database.Execute("PRAGMA user_version = 2");
  }
  EXPECT_THROW(Store(m_folder.Path("later.db"), true), DatabaseError);
}

TEST_F(StoreTest, AFileThatIsMovedOrReplacedIsNotInPlace) {
  const Store store(m_path, true);
  EXPECT_TRUE(store.IsInPlace());

  std::filesystem::rename(m_path, m_folder.Path("moved.db"));
  EXPECT_FALSE(store.IsInPlace());
  m_folder.Write("watch.db", "");
  EXPECT_FALSE(store.IsInPlace());

  std::filesystem::rename(m_folder.Path("moved.db"), m_path);
  EXPECT_TRUE(store.IsInPlace());
}

}  // namespace
}  // namespace Tool::Watch
