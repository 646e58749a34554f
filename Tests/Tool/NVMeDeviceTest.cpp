#include "Tool/NVMeDevice.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace Tool {
namespace {

using Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY;
using Ondrel::NVME_STATUS_FIELD;
using Ondrel::ULong;

NVME_STATUS_FIELD Status(std::uint16_t value) {
  NVME_STATUS_FIELD status;
  std::memcpy(static_cast<void*>(&status), &value, sizeof value);
  return status;
}

template <class Call>
std::string WordsOf(const Call& call) {
  try {
    call();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.Status(), kFailed);
    return failure.what();
  }
  return "";
}

constexpr const char* kNotWritten =
    "cannot read disk: its answer is not valid, or there was no memory for it";

TEST(NVMeDevice, ErrorLogWithoutMemoryIsNotOneWithoutErrors) {
  // What the library does when an allocation fails.
  const auto query = [](const char*, ULong&, NVME_ERROR_INFORMATION_LOG_ENTRY*) { return 0U; };

  EXPECT_EQ(WordsOf([&] { AskErrorLog("disk", query); }), kNotWritten);
}

TEST(NVMeDevice, ErrorLogOfNoEntriesIsOne) {
  const NVMeImage image =
      AskErrorLog("disk", [](const char*, ULong& count, NVME_ERROR_INFORMATION_LOG_ENTRY*) {
        count = 0;
        return 0U;
      });

  EXPECT_EQ(image, NVMeImage(4096, 0));
}

TEST(NVMeDevice, ErrorLogHasTheEntriesThatWereReported) {
  const NVMeImage image = AskErrorLog(
      "disk", [](const char* device, ULong& count, NVME_ERROR_INFORMATION_LOG_ENTRY* entries) {
        EXPECT_STREQ(device, "disk");
        std::memset(static_cast<void*>(entries), 0x11, 100);
        count = 1;
        return 0U;
      });

  EXPECT_EQ(image.size(), 4096U);
  EXPECT_EQ(image[63], 0x11);
  EXPECT_EQ(image[64], 0);
}

TEST(NVMeDevice, ErrorOfAQueryIsWordedWithItsHint) {
  EXPECT_EQ(WordsOf([] {
              AskErrorLog("disk", [](const char*, ULong&, NVME_ERROR_INFORMATION_LOG_ENTRY*) {
                return 24U;
              });
            }).find("cannot read disk: "),
            0U);
  const std::string words = WordsOf([] { AskNVMe("disk", 64, [](NVMeImage&) { return 1U; }); });
  EXPECT_NE(words.find("(error 1, ERROR_INVALID_FUNCTION); is it an NVMe device?"),
            std::string::npos)
      << words;
}

TEST(NVMeDevice, RecordThatWasNotWrittenIsAFailure) {
  EXPECT_EQ(WordsOf([] { AskNVMe("disk", 64, [](NVMeImage&) { return 0U; }); }), kNotWritten);
  const NVMeImage image = AskNVMe("disk", 64, [](NVMeImage& written) {
    written[0] = 0;
    return 0U;
  });
  EXPECT_EQ(image.size(), 64U);
}

struct StatusRow {
  std::uint16_t value;
  const char* words;
};

TEST(NVMeDevice, StatusKeepsItsNumbersWhetherItIsKnownOrNot) {
  constexpr StatusRow kRows[] = {
      {0x0000,
       "Generic Command Status: Successful Completion: The command completed successfully "
       "(type 0, code 0x00)"},
      {0x8502,
       "Media and Data Integrity Errors: Unrecovered Read Error: The read data could not "
       "be recovered from the media (type 2, code 0x81, do not retry)"},
      {0xC212,
       "Command Specific Status: Invalid Log Page - Get Log Page (type 1, code 0x09, more, "
       "do not retry)"},
      {0x4400, "Media and Data Integrity Errors: unknown code (type 2, code 0x00, more)"},
      {0x0180, "Generic Command Status: vendor specific code (type 0, code 0xC0)"},
      {0x06E1, "unknown type: unknown code (type 3, code 0x70)"},
      {0x0E02, "Vendor Specific: vendor specific code (type 7, code 0x01)"},
  };
  for (const StatusRow& row : kRows) EXPECT_EQ(StatusWords(Status(row.value)), row.words);
}

}  // namespace
}  // namespace Tool
