#include <Ondrel/NVMe.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace Ondrel::Testing {
namespace {

template <class Record>
std::unique_ptr<Record> Zeroed() {
  return std::make_unique<Record>();
}

// Fills a record with bytes that differ from each other.
template <class Record>
void FillWithPattern(Record& record, unsigned int seed) {
  unsigned char* const bytes = reinterpret_cast<unsigned char*>(&record);
  for (std::size_t index = 0; index < sizeof record; ++index)
    bytes[index] = static_cast<unsigned char>(seed + index * 7 + index / 256);
}

template <class Record>
bool SameBytes(const Record& left, const Record& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

template <class Record>
class NVMeRecordCopy : public testing::Test {};

using AllRecords =
    testing::Types<NVME_IDENTIFY_CONTROLLER, NVME_IDENTIFY_NAMESPACE, NVME_IDENTIFY_LBA_FORMAT_DATA,
                   NVME_POWER_STATE_DESCRIPTOR, NVME_SMART_HEALTH_INFORMATION_LOG,
                   NVME_ERROR_INFORMATION_LOG_ENTRY, NVME_STATUS_FIELD>;
TYPED_TEST_SUITE(NVMeRecordCopy, AllRecords);

TYPED_TEST(NVMeRecordCopy, AssignmentTakesEveryByte) {
  const auto source = Zeroed<TypeParam>();
  const auto target = Zeroed<TypeParam>();
  FillWithPattern(*source, 1);
  FillWithPattern(*target, 100);

  *target = *source;

  EXPECT_TRUE(SameBytes(*target, *source));
}

TYPED_TEST(NVMeRecordCopy, MoveAssignmentTakesEveryByte) {
  const auto source = Zeroed<TypeParam>();
  const auto expected = Zeroed<TypeParam>();
  const auto target = Zeroed<TypeParam>();
  FillWithPattern(*source, 1);
  FillWithPattern(*expected, 1);
  FillWithPattern(*target, 100);

  *target = std::move(*source);

  EXPECT_TRUE(SameBytes(*target, *expected));
}

TYPED_TEST(NVMeRecordCopy, AssignmentToItselfChangesNothing) {
  const auto record = Zeroed<TypeParam>();
  const auto expected = Zeroed<TypeParam>();
  FillWithPattern(*record, 1);
  FillWithPattern(*expected, 1);
  TypeParam& same = *record;

  *record = same;

  EXPECT_TRUE(SameBytes(*record, *expected));
}

struct BlockSizeRow {
  std::uint8_t power;
  std::uint64_t size;
};

TEST(NVMeBlockSize, IsThePowerOfTwoFromNineOnModulo64) {
  constexpr BlockSizeRow kRows[] = {
      {0, 0},
      {8, 0},
      {9, 512},
      {12, 4096},
      {63, std::uint64_t{1} << 63},
      {64, 1},
      {72, 256},
      {73, 512},
      {255, std::uint64_t{1} << 63},
  };
  for (const BlockSizeRow& row : kRows) {
    NVME_IDENTIFY_LBA_FORMAT_DATA format{};
    format.LBADS = row.power;
    EXPECT_EQ(format.LBASize(), row.size) << int{row.power};
  }
}

TEST(NVMeBlockSize, RelativePerformanceHasItsFourWords) {
  constexpr const char* kWords[] = {"Best", "Better", "Good", "Degraded"};
  for (unsigned int value = 0; value < 4; ++value) {
    NVME_IDENTIFY_LBA_FORMAT_DATA format{};
    format.RP = static_cast<std::uint8_t>(value & 3);
    format.Reserved3 = 0x3F;
    EXPECT_STREQ(format.sRelativePerformance(), kWords[value]);
  }
}

class NVMeNamespace : public testing::Test {
protected:
  std::unique_ptr<NVME_IDENTIFY_NAMESPACE> m_namespace = Zeroed<NVME_IDENTIFY_NAMESPACE>();

  // Sets the byte of the format in use, the metadata bit included.
  void SetFormat(std::uint8_t flbas) { std::memcpy(&m_namespace->FLBAS, &flbas, sizeof flbas); }
};

TEST_F(NVMeNamespace, BlockSizeIsThatOfTheFormatInUse) {
  SetFormat(0x13);  // Entry 3, with the metadata bit.
  m_namespace->LBAF[3].LBADS = 12;

  m_namespace->NLBAF = 3;
  EXPECT_EQ(m_namespace->LBASize(), 4096U);

  m_namespace->NLBAF = 2;
  EXPECT_EQ(m_namespace->LBASize(), 0U);
}

TEST_F(NVMeNamespace, ReservedBitsOfTheFormatAreNoPartOfTheIndex) {
  SetFormat(0xE0);
  m_namespace->LBAF[0].LBADS = 9;

  EXPECT_EQ(m_namespace->LBASize(), 512U);
}

TEST_F(NVMeNamespace, LastFormatOfAllCanBeInUse) {
  SetFormat(0x0F);
  m_namespace->NLBAF = 255;
  m_namespace->LBAF[15].LBADS = 10;

  EXPECT_EQ(m_namespace->LBASize(), 1024U);
}

TEST_F(NVMeNamespace, CapacityIsTheLowWordThatTheDeviceReports) {
  m_namespace->NVMCAP[0] = 123456789;
  m_namespace->NVMCAP[1] = 77;
  m_namespace->NSZE = 1000;
  m_namespace->LBAF[0].LBADS = 9;

  EXPECT_EQ(m_namespace->Capacity(), 123456789U);
}

TEST_F(NVMeNamespace, CapacityOfTheDeviceStandsWhereTheFormatsAreInvalid) {
  m_namespace->NVMCAP[0] = 5;
  m_namespace->NSZE = 1000;
  SetFormat(0x0F);

  EXPECT_EQ(m_namespace->LBASize(), 0U);
  EXPECT_EQ(m_namespace->Capacity(), 5U);
}

TEST_F(NVMeNamespace, CapacityWithoutOneReportedIsTheSizeInBlocks) {
  m_namespace->NVMCAP[1] = 77;
  m_namespace->NSZE = 2000;
  m_namespace->NCAP = 1000;
  m_namespace->NUSE = 500;
  m_namespace->LBAF[0].LBADS = 12;

  EXPECT_EQ(m_namespace->Capacity(), 2000U * 4096U);
}

TEST_F(NVMeNamespace, CapacityWithoutASizeIsTheCapacityInBlocks) {
  m_namespace->NCAP = 1000;
  m_namespace->LBAF[0].LBADS = 9;

  EXPECT_EQ(m_namespace->Capacity(), 512000U);
}

TEST_F(NVMeNamespace, CapacityTakesNoNoticeOfTheUtilization) {
  m_namespace->NUSE = 500;
  m_namespace->LBAF[0].LBADS = 9;

  EXPECT_EQ(m_namespace->Capacity(), 0U);
}

TEST_F(NVMeNamespace, CapacityWithoutABlockSizeIsZero) {
  m_namespace->NSZE = 1000;
  m_namespace->NLBAF = 2;
  SetFormat(0x13);

  EXPECT_EQ(m_namespace->Capacity(), 0U);
}

TEST_F(NVMeNamespace, CapacityWrapsAt64Bits) {
  m_namespace->NSZE = (std::uint64_t{1} << 55) + 3;
  m_namespace->LBAF[0].LBADS = 9;

  EXPECT_EQ(m_namespace->Capacity(), 1536U);
}

class NVMeController : public testing::Test {
protected:
  std::unique_ptr<NVME_IDENTIFY_CONTROLLER> m_controller = Zeroed<NVME_IDENTIFY_CONTROLLER>();

  template <std::size_t kSize>
  static void SetField(char (&field)[kSize], std::string_view content) {
    ASSERT_EQ(content.size(), kSize);
    content.copy(field, kSize);
  }
};

TEST_F(NVMeController, CapacityIsTheLowWordThatTheDeviceReports) {
  const auto nameSpace = Zeroed<NVME_IDENTIFY_NAMESPACE>();
  nameSpace->NVMCAP[0] = 5;
  m_controller->TNVMCAP[0] = 7;
  m_controller->TNVMCAP[1] = 9;

  EXPECT_EQ(m_controller->Capacity(nameSpace.get()), 7U);
  EXPECT_EQ(m_controller->Capacity(nullptr), 7U);
}

TEST_F(NVMeController, CapacityWithoutOneReportedIsThatOfTheNamespace) {
  const auto nameSpace = Zeroed<NVME_IDENTIFY_NAMESPACE>();
  nameSpace->NVMCAP[0] = 5;
  m_controller->TNVMCAP[1] = 9;

  EXPECT_EQ(m_controller->Capacity(nameSpace.get()), 5U);
}

TEST_F(NVMeController, CapacityWithNeitherIsZero) {
  m_controller->TNVMCAP[1] = 9;
  m_controller->UNVMCAP[0] = 9;

  EXPECT_EQ(m_controller->Capacity(nullptr), 0U);
}

TEST_F(NVMeController, EachTextComesFromItsField) {
  SetField(m_controller->SN, "SERIAL              ");
  SetField(m_controller->MN, "MODEL                                   ");
  SetField(m_controller->FR, "FIRMWARE");
  SetField(m_controller->SUBNQN, "nqn.2014-08.org:a" + std::string(256 - 17, '\0'));

  EXPECT_STREQ(m_controller->sSerialNumber(), "SERIAL");
  EXPECT_STREQ(m_controller->sModelNumber(), "MODEL");
  EXPECT_STREQ(m_controller->sFirmwareRevision(), "FIRMWARE");
  EXPECT_STREQ(m_controller->sNVMSubsystemNVMeQualifiedName(), "nqn.2014-08.org:a");
}

TEST_F(NVMeController, FieldsFilledToTheEndAreWhole) {
  SetField(m_controller->SN, std::string(20, 'S'));
  SetField(m_controller->MN, std::string(40, 'M'));
  SetField(m_controller->FR, std::string(8, 'F'));
  SetField(m_controller->SUBNQN, std::string(256, 'Q'));

  EXPECT_EQ(m_controller->sSerialNumber(), std::string(20, 'S'));
  EXPECT_EQ(m_controller->sModelNumber(), std::string(40, 'M'));
  EXPECT_EQ(m_controller->sFirmwareRevision(), std::string(8, 'F'));
  EXPECT_EQ(m_controller->sNVMSubsystemNVMeQualifiedName(), std::string(256, 'Q'));
}

TEST_F(NVMeController, FieldOfSpacesIsEmpty) {
  SetField(m_controller->SN, std::string(20, ' '));

  const char* const text = m_controller->sSerialNumber();

  EXPECT_EQ(std::string(text, 21), std::string(21, '\0'));
}

TEST_F(NVMeController, SpacesAtTheEndAreDropped) {
  SetField(m_controller->FR, "1.0     ");

  EXPECT_STREQ(m_controller->sFirmwareRevision(), "1.0");
}

TEST_F(NVMeController, SpacesInFrontAndWithinStay) {
  SetField(m_controller->FR, " a  b c ");

  EXPECT_STREQ(m_controller->sFirmwareRevision(), " a  b c");
}

TEST_F(NVMeController, EveryByteComesOutAsItsClassAsks) {
  for (unsigned int byte = 1; byte < 256; ++byte) {
    SetField(m_controller->FR, "A" + std::string(1, static_cast<char>(byte)) + "Z     ");
    char expected = static_cast<char>(byte);
    if (byte <= 0x1F) expected = ' ';
    if (byte == 0x22 || byte >= 0x7F) expected = '_';
    EXPECT_EQ(m_controller->sFirmwareRevision(), std::string("A") + expected + "Z") << byte;
  }
}

TEST_F(NVMeController, SerialNumberHasNoTabQuotationMarkOrHighByte) {
  SetField(m_controller->SN,
           "a\x7F"
           "b\xC3"
           "c\td\"e" +
               std::string(11, ' '));

  EXPECT_STREQ(m_controller->sSerialNumber(), "a_b_c d_e");
}

TEST_F(NVMeController, ControlCharactersAtTheEndAreDroppedAsSpaces) {
  SetField(m_controller->FR, "1.0\t\n\r\x01\x1F");

  EXPECT_STREQ(m_controller->sFirmwareRevision(), "1.0");
}

TEST_F(NVMeController, NulInTheMiddleEndsTheTextAndNotTheWalk) {
  SetField(m_controller->MN, std::string("ab\0cd\x01"
                                         "e\"",
                                         8) +
                                 std::string(32, ' '));

  const char* const text = m_controller->sModelNumber();

  EXPECT_STREQ(text, "ab");
  EXPECT_EQ(std::string(text, 41), std::string("ab\0cd e_", 8) + std::string(33, '\0'));
}

TEST_F(NVMeController, SpacesBeforeNulsAtTheEndStay) {
  SetField(m_controller->FR, std::string("1.0  \0\0\0", 8));

  EXPECT_STREQ(m_controller->sFirmwareRevision(), "1.0  ");
}

TEST_F(NVMeController, RecordIsNotChangedByItsAccessors) {
  FillWithPattern(*m_controller, 3);
  const auto before = Zeroed<NVME_IDENTIFY_CONTROLLER>();
  FillWithPattern(*before, 3);

  m_controller->sSerialNumber();
  m_controller->sModelNumber();
  m_controller->sFirmwareRevision();
  m_controller->sNVMSubsystemNVMeQualifiedName();

  EXPECT_TRUE(SameBytes(*m_controller, *before));
}

TEST_F(NVMeController, AccessorHasOneBufferForAllRecords) {
  const auto other = Zeroed<NVME_IDENTIFY_CONTROLLER>();
  SetField(m_controller->SN, "FIRST               ");
  SetField(other->SN, "SECOND              ");

  const char* const first = m_controller->sSerialNumber();
  const char* const second = other->sSerialNumber();

  EXPECT_EQ(first, second);
  EXPECT_STREQ(first, "SECOND");
}

TEST_F(NVMeController, AccessorsHaveBuffersOfTheirOwn) {
  SetField(m_controller->SN, "SERIAL              ");
  SetField(m_controller->MN, std::string(40, 'M'));
  SetField(m_controller->FR, "FIRMWARE");
  SetField(m_controller->SUBNQN, std::string(256, 'Q'));

  const char* const serial = m_controller->sSerialNumber();
  const char* const model = m_controller->sModelNumber();
  const char* const firmware = m_controller->sFirmwareRevision();
  const char* const name = m_controller->sNVMSubsystemNVMeQualifiedName();

  EXPECT_STREQ(serial, "SERIAL");
  EXPECT_EQ(model, std::string(40, 'M'));
  EXPECT_STREQ(firmware, "FIRMWARE");
  EXPECT_EQ(name, std::string(256, 'Q'));
}

TEST(NVMeSmartHealth, CriticalWarningIsTheWholeByte) {
  for (unsigned int byte = 0; byte < 256; ++byte) {
    const auto log = Zeroed<NVME_SMART_HEALTH_INFORMATION_LOG>();
    reinterpret_cast<unsigned char*>(log.get())[0] = static_cast<unsigned char>(byte);
    EXPECT_EQ(log->CriticalWarning(), byte);
  }
}

TEST(NVMeSmartHealth, TemperatureIsReadWhereItIsNotAligned) {
  const auto log = Zeroed<NVME_SMART_HEALTH_INFORMATION_LOG>();
  unsigned char* const bytes = reinterpret_cast<unsigned char*>(log.get());
  bytes[1] = 0x34;
  bytes[2] = 0x12;

  EXPECT_EQ(std::uint16_t{log->CompositeTemperature}, 0x1234);
}

}  // namespace
}  // namespace Ondrel::Testing
