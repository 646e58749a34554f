#include "Unit/NVMe/NVMeStatusRows.h"

#include <Ondrel/NVMe.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <map>
#include <string>
#include <utility>

namespace Ondrel::Testing {
namespace {

NVME_STATUS_FIELD Status(unsigned int type, unsigned int code) {
  NVME_STATUS_FIELD status{};
  status.SCT = static_cast<std::uint16_t>(type & 7);
  status.SC = static_cast<std::uint16_t>(code & 0xFF);
  return status;
}

TEST(NVMeStatus, EveryRowOfTheThreeTablesGivesItsText) {
  ASSERT_EQ(std::size(kNVMeStatusRows), 36 + 36 + 8);
  for (const NVMeStatusRow& row : kNVMeStatusRows)
    EXPECT_EQ(Status(row.type, row.code).sStatusCode(), row.text)
        << int{row.type} << '/' << int{row.code};
}

TEST(NVMeStatus, EveryPairWithoutARowGivesAQuestionMark) {
  std::map<std::pair<unsigned int, unsigned int>, std::string_view> texts;
  for (const NVMeStatusRow& row : kNVMeStatusRows) texts[{row.type, row.code}] = row.text;
  int gaps = 0;
  for (unsigned int type = 0; type < 8; ++type)
    for (unsigned int code = 0; code < 256; ++code) {
      if (texts.contains({type, code})) continue;
      ++gaps;
      EXPECT_STREQ(Status(type, code).sStatusCode(), "?") << type << '/' << code;
    }
  EXPECT_EQ(gaps, 8 * 256 - 80);
}

TEST(NVMeStatus, TheGapsInsideTheTablesGiveAQuestionMark) {
  EXPECT_STREQ(Status(0, 0x15).sStatusCode(), "?");
  EXPECT_STREQ(Status(1, 0x04).sStatusCode(), "?");
  EXPECT_STREQ(Status(1, 0x17).sStatusCode(), "?");
}

TEST(NVMeStatus, TheTextsKeepTheirUnevenness) {
  EXPECT_STREQ(Status(1, 0x0B).sStatusCode(),
               "Firmware Activation Requires Conventional Reset -Firmware Commit");
  EXPECT_STREQ(Status(0, 0x81).sStatusCode(),
               "Capacity Exceeded: Execution of the command has caused the capacity of the "
               "namespace to be exceeded. This error occurs when the Namespace Utilization exceeds "
               "the Namespace Capacity, as reported in Figure 92.");
}

TEST(NVMeStatus, EachTypeHasItsName) {
  EXPECT_STREQ(Status(0, 0).sStatusCodeType(), "Generic Command Status");
  EXPECT_STREQ(Status(1, 0).sStatusCodeType(), "Command Specific Status");
  EXPECT_STREQ(Status(2, 0).sStatusCodeType(), "Media and Data Integrity Errors");
  for (unsigned int type = 3; type < 8; ++type)
    EXPECT_STREQ(Status(type, 0).sStatusCodeType(), "?") << type;
}

TEST(NVMeStatus, MediaTypeWithCodeZeroHasATypeAndNoText) {
  EXPECT_STREQ(Status(2, 0).sStatusCodeType(), "Media and Data Integrity Errors");
  EXPECT_STREQ(Status(2, 0).sStatusCode(), "?");
}

TEST(NVMeStatus, SuccessIsCodeAndTypeZeroWhateverTheOtherBitsSay) {
  NVME_STATUS_FIELD status = Status(0, 0);
  status.P = 1;
  status.M = 1;
  status.DNR = 1;
  status.Reserved12 = 3;

  EXPECT_TRUE(status.SuccessfulCompletion());
}

TEST(NVMeStatus, NothingElseIsSuccess) {
  for (unsigned int type = 0; type < 8; ++type)
    for (unsigned int code = 0; code < 256; ++code)
      EXPECT_EQ(Status(type, code).SuccessfulCompletion(), type == 0 && code == 0)
          << type << '/' << code;
}

TEST(NVMeStatus, CodeZeroOfTypeOneIsAFailureWithAText) {
  NVME_STATUS_FIELD status = Status(1, 0);

  EXPECT_FALSE(status.SuccessfulCompletion());
  EXPECT_STREQ(status.sStatusCode(), "Completion Queue Invalid - Create I/O Submission Queue");
}

}  // namespace
}  // namespace Ondrel::Testing
