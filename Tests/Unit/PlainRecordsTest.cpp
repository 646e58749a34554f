#include <Ondrel/Ondrel.h>
#include <Pirsk/Exceptions.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace Ondrel {
namespace {

template <class Record>
class PlainRecord : public testing::Test {};

using PlainRecords =
    testing::Types<NVME_IDENTIFY_LBA_FORMAT_DATA, NVME_POWER_STATE_DESCRIPTOR,
                   NVME_IDENTIFY_NAMESPACE, NVME_IDENTIFY_CONTROLLER,
                   NVME_SMART_HEALTH_INFORMATION_LOG, NVME_STATUS_FIELD,
                   NVME_ERROR_INFORMATION_LOG_ENTRY, OS_VERSION_HALF, OS_FACTS, CSystemDate_Win,
                   CStateChange, CStateChangeEvent, Pirsk::Exceptions::NATIVE_ERROR>;
TYPED_TEST_SUITE(PlainRecord, PlainRecords);

template <class Record>
std::vector<char> BytesOf(const Record& record) {
  std::vector<char> bytes(sizeof record);
  std::memcpy(bytes.data(), &record, sizeof record);
  return bytes;
}

// A class that is not plain memory would not compile here: filling it draws a warning.

TYPED_TEST(PlainRecord, IsTriviallyCopyable) {
  static_assert(std::is_trivially_copyable_v<TypeParam>);
  static_assert(std::is_standard_layout_v<TypeParam>);
}

TYPED_TEST(PlainRecord, IsClearedByMemset) {
  TypeParam record;
  std::memset(&record, 0, sizeof record);
  EXPECT_EQ(BytesOf(record), std::vector<char>(sizeof record, '\0'));
}

TYPED_TEST(PlainRecord, IsFilledByAReadAndByMemcpy) {
  std::string bytes(sizeof(TypeParam), '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 + 1);

  TypeParam read;
  std::istringstream(bytes).read(reinterpret_cast<char*>(&read), sizeof read);
  TypeParam copied;
  std::memcpy(&copied, &read, sizeof copied);

  EXPECT_EQ(BytesOf(copied), std::vector<char>(bytes.begin(), bytes.end()));
}

TYPED_TEST(PlainRecord, IsAssignedByteForByte) {
  TypeParam source;
  std::memset(&source, 0xA5, sizeof source);
  TypeParam target;
  std::memset(&target, 0, sizeof target);

  target = source;

  EXPECT_EQ(BytesOf(target), BytesOf(source));
}

// Classes of static operations: their special members do nothing and are there.

template <class Operations>
void CopyAndAssign() {
  Operations operations;
  Operations copy(operations);
  copy = operations;
  copy = Operations();
}

TEST(ClassesWithoutData, AreCopiedAndAssigned) {
  CopyAndAssign<CSystem>();
  CopyAndAssign<CSystemTime_Win>();
}

}  // namespace
}  // namespace Ondrel
