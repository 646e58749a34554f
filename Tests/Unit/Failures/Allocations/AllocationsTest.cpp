#include "Host/Linux/LastError.h"
#include "Host/Linux/Messages/MessageModules.h"
#include "Host/Linux/Volumes/BlockDevices.h"
#include "Support/EventStoreFixture.h"
#include "Support/SmtpServer.h"
#include "Unit/Host/Linux/Drives/DriveTree.h"

#include <Ondrel/Smtp.h>
#include <Ondrel/System.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

// Want of memory anywhere beneath an operation: in this library, in the C library and in the
// libraries of others. This program has malloc, calloc, realloc and aligned allocations of its own,
// each of which fails in turn; what an operation says has to be so, and the next one works.

// NOLINTBEGIN(clang-diagnostic-reserved-identifier,bugprone-reserved-identifier): the C library's
// names.

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

// Of this thread alone: others that libraries start have their memory. 0 lets none fail.
thread_local long t_number = 0;
thread_local long t_count = 0;

bool Fails() {
  if (t_number == 0 || ++t_count != t_number) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] void* malloc(std::size_t size) {
  return Fails() ? nullptr : __libc_malloc(size);
}

[[gnu::visibility("default")]] void* calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : __libc_calloc(count, size);
}

[[gnu::visibility("default")]] void* realloc(void* block, std::size_t size) {
  return Fails() ? nullptr : __libc_realloc(block, size);
}

[[gnu::visibility("default")]] void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return Fails() ? nullptr : __libc_memalign(alignment, size);
}

[[gnu::visibility("default")]] int posix_memalign(void** block, std::size_t alignment,
                                                  std::size_t size) {
  if (Fails()) return ENOMEM;
  *block = __libc_memalign(alignment, size);
  return *block != nullptr ? 0 : ENOMEM;
}

}  // extern "C"

// NOLINTEND(clang-diagnostic-reserved-identifier,bugprone-reserved-identifier)

namespace Ondrel::Testing {
namespace {

/// Lets each allocation of `operation` fail in turn. After each run `check` is told whether the
/// operation ended with `std::bad_alloc`. Returns the number of allocations.
long FailEach(const std::function<void()>& operation, const std::function<void(bool)>& check) {
  for (long number = 1;; ++number) {
    bool isWithoutMemory = false;
    t_count = 0;
    t_number = number;
    try {
      operation();
    } catch (const std::bad_alloc&) {
      isWithoutMemory = true;
    }
    t_number = 0;
    const bool hasFailed = t_count >= number;
    check(isWithoutMemory);
    if (testing::Test::HasFailure()) {
      ADD_FAILURE() << "allocation " << number;
      return 0;
    }
    if (!hasFailed) {
      EXPECT_FALSE(isWithoutMemory);
      return number - 1;
    }
  }
}

class StoreWithoutMemory : public EventStoreFixture {
protected:
  std::vector<std::string> TextsOf(const char* name) {
    const LogHandle log(Operations(), name);
    std::vector<std::string> texts;
    for (;;) {
      const ReadOutcome outcome = log.Read(kSequentialForwards);
      if (outcome.error == ERROR_HANDLE_EOF) return texts;
      if (outcome.error != 0) throw std::runtime_error(std::to_string(outcome.error));
      for (const ReadRecord& record : RecordsIn(outcome.bytes))
        texts.push_back(record.strings.at(0));
    }
  }
};

TEST_F(StoreWithoutMemory, HasTheReportsThatWereAcknowledgedAndNoOther) {
  Write("Log", {"first"});
  std::vector<std::string> acknowledged = {"first"};
  int number = 0;
  ULong error = 0;
  std::string text;
  const long allocations = FailEach(
      [&] {
        error = 1;
        const SourceHandle source(Operations(), "Log");
        if (source.Get() == nullptr) return;
        error = source.Report(text);
      },
      [&](bool isWithoutMemory) {
        EXPECT_FALSE(isWithoutMemory && error == 0);
        if (!text.empty() && error == 0) acknowledged.push_back(text);
        EXPECT_EQ(TextsOf("Log"), acknowledged);
        text = "a text of a report that is longer than a short one, " + std::to_string(++number);
      });
  EXPECT_GT(allocations, 10);
  EXPECT_EQ(error, 0U);
}

TEST_F(StoreWithoutMemory, IsReadWholeOrWithAnError) {
  Write("Log", {"first", "second", "third"});
  bool isRead = false;
  std::vector<ULong> numbers;
  const long allocations = FailEach(
      [&] {
        isRead = false;
        numbers.clear();
        try {
          const LogHandle log(Operations(), "Log");
          if (log.Get() == nullptr) return;
          numbers = log.AllNumbers();
          isRead = true;
        } catch (const std::runtime_error&) {
          return;
        }
      },
      [&](bool isWithoutMemory) {
        EXPECT_EQ(numbers, isRead ? (std::vector<ULong>{1, 2, 3}) : std::vector<ULong>{});
        EXPECT_FALSE(isWithoutMemory && isRead);
      });
  EXPECT_GT(allocations, 10);
  EXPECT_TRUE(isRead);
}

// A drive or a member that is missing from a picture without an error would be a failed one.
TEST(DrivesWithoutMemory, AreAllThereOrTheReasonIsNamed) {
  const Host::DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDisk("sdb", "B", "8:16");
  tree.AddArray("md0", "raid1", 2);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.AddDiskMember("md0", "sdb", "faulty", "none");
  Host::DriveSnapshot picture;
  const long allocations = FailEach([&] { picture = tree.Read(); },
                                    [&](bool isWithoutMemory) {
                                      if (isWithoutMemory || picture.error != 0) return;
                                      ASSERT_EQ(picture.drives.size(), 2U);
                                      ASSERT_EQ(picture.arrays.size(), 1U);
                                      ASSERT_EQ(picture.arrays[0].members.size(), 2U);
                                      EXPECT_EQ(picture.drives[0].model, "Model of disk");
                                    });
  EXPECT_GT(allocations, 10);
  EXPECT_EQ(picture.error, 0U);
}

TEST(DisksWithoutMemory, AreAllThereOrTheReasonIsNamed) {
  const Host::DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddPartition("sda", "sda1", 1, "8:1");
  tree.AddDisk("sdb", "B", "8:16");
  const std::string first = Host::DriveTree::DiskFolder("sda");
  tree.Write(first + "/uevent", "MAJOR=8\nMINOR=0\n");
  tree.Write(first + "/sda1/uevent", "MAJOR=8\nMINOR=1\n");
  tree.Write(Host::DriveTree::DiskFolder("sdb") + "/uevent", "MAJOR=8\nMINOR=16\n");
  std::vector<std::string> disks;
  bool hasPartition = false;
  ULong error = 0;
  const long allocations = FailEach(
      [&] {
        disks.clear();
        const Host::BlockDevices devices(tree.Path("sys"));
        error = devices.Error();
        hasPartition = devices.Find(Host::DeviceNumber(8, 1)) != nullptr;
        disks = devices.Disks();
      },
      [&](bool isWithoutMemory) {
        if (isWithoutMemory || error != 0) return;
        EXPECT_EQ(disks, (std::vector<std::string>{"sda", "sdb"}));
        EXPECT_TRUE(hasPartition);
      });
  EXPECT_GT(allocations, 10);
  EXPECT_EQ(error, 0U);
}

TEST(MessagesWithoutMemory, AreWholeOrThatIsTheError) {
  char* text = nullptr;
  ULong length = 0;
  ULong error = 0;
  std::string longWord(300, 'w');
  char* arguments[] = {longWord.data()};
  const long allocations = FailEach(
      [&] {
        text = nullptr;
        length = Host::FormatMessageText(
            FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING |
                FORMAT_MESSAGE_ARGUMENT_ARRAY,
            "%1 and %1", 0, 0, reinterpret_cast<char*>(&text), 0, arguments);
        error = Host::LastError();
      },
      [&](bool isWithoutMemory) {
        if (length != 0 && !isWithoutMemory) {
          EXPECT_EQ(text, longWord + " and " + longWord);
        } else if (!isWithoutMemory) {
          EXPECT_EQ(error, 8U);
        }
        std::free(text);
      });
  EXPECT_GT(allocations, 0);
  EXPECT_NE(length, 0U);
}

TEST(CommandWithoutMemory, HasItsOutputOrIsNotStarted) {
  std::string output;
  unsigned int status = 0;
  const unsigned int undisturbed = CSystem::ExecuteCommand("echo", "one", output);
  const std::string whole = output;
  const long allocations = FailEach(
      [&] {
        output.clear();
        status = CSystem::ExecuteCommand("echo", "one", output);
      },
      [&](bool isWithoutMemory) {
        if (!isWithoutMemory && status == undisturbed) {
          EXPECT_EQ(output, whole);
        }
      });
  EXPECT_GT(allocations, 2);
  EXPECT_EQ(status, undisturbed);
  EXPECT_EQ(output, whole);
}

// The server's word decides: what was sent arrived, and what did not arrive was not sent. But for
// the two allocations of a recipient's place in the list, intentionally: what libcurl answers to it
// is not looked at, and without a recipient it asks the server for help, which succeeds.
TEST(MailWithoutMemory, ArrivesOrIsNotSent) {
  // In one case libcurl waits for an answer that it has no buffer for, until the connection ends.
  const SmtpServer server({.idleSeconds = "2"});
  bool isSent = false;
  std::size_t arrived = 0;
  int lost = 0;
  const auto send = [&] {
    isSent = false;
    CSmtp mail;
    mail.SetServer("127.0.0.1", server.Port());
    mail.SetFrom("raid@example.com", "RAID");
    mail.AddTO("admin@example.com", "Admin");
    mail.SetSubject("Drive failed");
    mail.SetMessageBody("The drive in slot 3 failed.\nIts spare has taken over.");
    isSent = mail.Send();
  };
  send();
  ASSERT_TRUE(isSent);
  arrived = 1;
  const long allocations = FailEach(send, [&](bool isWithoutMemory) {
    const std::vector<ReceivedMail> mails = server.Mails();
    if (isSent && !isWithoutMemory && mails.size() == arrived) {
      ++lost;
    } else if (isSent && !isWithoutMemory) {
      ASSERT_EQ(mails.size(), arrived + 1);
      EXPECT_EQ(mails.back().Lines().back(), "Its spare has taken over.");
      EXPECT_EQ(mails.back().to, std::vector<std::string>{"admin@example.com"});
    }
    arrived = mails.size();
  });
  EXPECT_GT(allocations, 30);
  EXPECT_LE(lost, 2);
  EXPECT_TRUE(isSent);
}

}  // namespace
}  // namespace Ondrel::Testing
