#include "Pirsk/Instrumentation.h"
#include "Support/PreparedVolumes.h"

#include <Ondrel/PartitionTable.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

// Which conversions of the base library the partition table asks for.

namespace Ondrel::Testing {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

// The prepared host's record with the calls into the base library in between.
class RecordedVolumes : public PreparedVolumes {
public:
  RecordedVolumes() : m_recorder([this](const std::string& call) { Record(call); }) {
    Pirsk::Instrumentation::SetRecorder(&m_recorder);
  }
  ~RecordedVolumes() { Pirsk::Instrumentation::SetRecorder(nullptr); }

private:
  Pirsk::Instrumentation::Recorder m_recorder;
};

TEST(PartitionText, PlainAsciiIsTestedAndNotConverted) {
  RecordedVolumes host;
  std::string output;
  CSystemPartition::ConvertToUTF8("C:\\", output);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("UTF8length"));
  EXPECT_EQ(output, "C:\\");
}

TEST(PartitionText, WhatIsNoUtf8IsTestedAndConverted) {
  RecordedVolumes host;
  std::string output;
  CSystemPartition::ConvertToUTF8("\xFC", output);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("UTF8length", "ToUTF8(string)"));
}

TEST(PartitionText, TheLabelIsConvertedFromWideTextAndThePathIsTested) {
  RecordedVolumes host;
  host.volumes = {{.name = R"(\\?\a\)",
                   .extents = {{.disk = 0, .offset = 0, .length = 512}},
                   .path = "/data",
                   .label = L"Data"}};
  std::vector<CSystemPartition> partitions;
  CSystemPartitionTable("Disk 0").GetPartitions(partitions);

  std::vector<std::string> calls = host.TakeCalls();
  std::erase_if(calls, [](const std::string& call) {
    return call.starts_with("QueryDosDeviceA") || call.starts_with("SetErrorMode");
  });
  ASSERT_GE(calls.size(), 4U);
  EXPECT_THAT(std::vector(calls.end() - 4, calls.end()),
              ElementsAre(R"(GetVolumeInformationW(\\?\a\, 64, null, null, null, 64))",
                          "ToUTF8(wide)", R"(GetDriveTypeA(\\?\a\))", "UTF8length"));
}

TEST(PartitionText, ALabelThatIsNotGivenIsNotConverted) {
  RecordedVolumes host;
  host.volumes = {{.name = R"(\\?\a\)", .extents = {{.disk = 0, .offset = 0, .length = 512}}}};
  std::vector<CSystemPartition> partitions;
  CSystemPartitionTable("Disk 0").GetPartitions(partitions);
  EXPECT_THAT(host.TakeCalls(), Not(Contains("ToUTF8(wide)")));
}

}  // namespace

}  // namespace Ondrel::Testing
