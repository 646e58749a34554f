#include "Support/PreparedDevice.h"
#include "Support/TraceCapture.h"

#include <Ondrel/NVMeDevices.h>
#include <Pirsk/ModuleInfo.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace Ondrel::Testing {
namespace {

using Pirsk::Misc::kTraceEntry;
using testing::ElementsAre;

using Words = std::array<std::uint32_t, 12>;

constexpr char kUntouched = '\x5A';

std::string BytesOf(const Words& words) {
  std::string bytes(sizeof words, '\0');
  std::memcpy(bytes.data(), words.data(), sizeof words);
  return bytes;
}

class NamespaceQuery : public testing::Test {
protected:
  NamespaceQuery() { std::memset(static_cast<void*>(&m_record), kUntouched, sizeof m_record); }

  bool IsUntouched() const {
    const auto* const bytes = reinterpret_cast<const char*>(&m_record);
    for (std::size_t index = 0; index < sizeof m_record; ++index)
      if (bytes[index] != kUntouched) return false;
    return true;
  }

  void Answer(std::uint32_t offset, std::uint32_t length, ULong returned) {
    m_device.answer = {
        1, BytesOf({48, 48, 3, 1, 0, 200, offset, length, 0, 0, 0, 0}) + std::string(4096, '\x07'),
        returned};
  }

  PreparedDevice m_device;
  NVME_IDENTIFY_NAMESPACE m_record;
};

TEST_F(NamespaceQuery, AsksForTheNamespaceOfItsArgument) {
  Answer(40, 4096, 4144);

  EXPECT_EQ(Host::IdentifyNVMeNamespace("disk", 200, &m_record), 0U);

  EXPECT_EQ(m_device.query, BytesOf({49, 0, 3, 1, 0, 200, 40, 4096, 0, 0, 0, 0}));
  EXPECT_EQ(m_record.NSZE, 0x0707070707070707U);
  EXPECT_EQ(m_record.VS[3711], 7);
  EXPECT_THAT(m_device.Calls(),
              ElementsAre("CreateFileA(disk, 0xc0000000, 1, null, 3, 0, null)",
                          "DeviceIoControl(0x2d1400, 48, 4144)", "CloseHandle(device)"));
  EXPECT_TRUE(m_device.BlocksLeft().empty());
}

TEST_F(NamespaceQuery, DeviceThatDoesNotOpenGivesTheHostsError) {
  m_device.opens = false;
  m_device.lastErrors = {5};

  EXPECT_EQ(Host::IdentifyNVMeNamespace("disk", 2, &m_record), 5U);
  EXPECT_TRUE(IsUntouched());
}

TEST_F(NamespaceQuery, RefusalGivesTheHostsErrorAndClosesTheDevice) {
  const TraceCapture trace(kTraceEntry);
  m_device.answer.succeeds = 0;
  m_device.lastErrors = {87};

  EXPECT_EQ(Host::IdentifyNVMeNamespace("disk", 2, &m_record), 87U);
  EXPECT_THAT(trace.Texts(),
              ElementsAre("ENTER IdentifyNVMeNamespace (device=\"disk\", id: 2)",
                          "LEAVE IdentifyNVMeNamespace (device=\"disk\", id: 2), return: 87"));
  EXPECT_TRUE(IsUntouched());
  EXPECT_EQ(m_device.Calls().back(), "CloseHandle(device)");
}

struct LengthRow {
  std::uint32_t offset;
  std::uint32_t length;
  ULong returned;
};

TEST_F(NamespaceQuery, LengthsThatDoNotFitAreRefused) {
  constexpr LengthRow kRows[] = {{40, 4096, 4143}, {40, 4096, 48},          {40, 4096, 0},
                                 {39, 4096, 4144}, {41, 4096, 4144},        {40, 4095, 4144},
                                 {40, 4097, 4144}, {0xFFFFFFF8, 4096, 4144}};
  for (const LengthRow& row : kRows) {
    Answer(row.offset, row.length, row.returned);
    EXPECT_EQ(Host::IdentifyNVMeNamespace("disk", 2, &m_record), 24U)
        << row.offset << ' ' << row.length << ' ' << row.returned;
    EXPECT_TRUE(IsUntouched());
  }
}

}  // namespace
}  // namespace Ondrel::Testing
