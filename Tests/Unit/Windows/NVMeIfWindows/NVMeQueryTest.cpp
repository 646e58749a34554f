#include "Support/PreparedDevice.h"
#include "Support/TraceCapture.h"
#include "Support/TraceMatchers.h"

#include <Ondrel/NVMeQuery.h>
#include <Pirsk/Trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <ostream>

namespace Ondrel::Testing {
namespace {

using Pirsk::Misc::kTraceEntry;
using Pirsk::Misc::kTraceError;
using testing::ElementsAre;
using testing::IsEmpty;

using Words = std::array<std::uint32_t, 12>;

constexpr std::uint32_t kAllLevels = 0xFFFFFFFF;
constexpr char kUntouched = '\x5A';

std::string BytesOf(const Words& words) {
  std::string bytes(sizeof words, '\0');
  std::memcpy(bytes.data(), words.data(), sizeof words);
  return bytes;
}

std::string Numbered(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t index = 0; index < count; ++index)
    bytes[index] = static_cast<char>(index * 13 + index / 256 + 1);
  return bytes;
}

// An answer whose descriptor states `version`, `size`, `offset` and `length`, with `data` after it.
std::string Answer(std::uint32_t version, std::uint32_t size, std::uint32_t offset,
                   std::uint32_t length, const std::string& data) {
  return BytesOf({version, size, 3, 0, 0, 0, offset, length, 0, 0, 0, 0}) + data;
}

// What a call came to: its result, the caller's memory, and the count of the error log.
struct Outcome {
  unsigned int result = 0;
  std::string memory = std::string(8192, kUntouched);
  ULong count = 7777;
};

struct Call {
  const char* name;
  unsigned int (*run)(Outcome& outcome);
  Words query;
  std::uint32_t inputBytes;
  std::uint32_t outputBytes;
  std::uint32_t dataBytes;
  const char* prefix;  // Of the error lines.
};

template <class Record>
Record* Memory(Outcome& outcome) {
  return reinterpret_cast<Record*>(outcome.memory.data());
}

constexpr Call kController{"NVMeStorageQueryPropertyIdentifyController",
                           [](Outcome& outcome) {
                             return NVMeStorageQueryPropertyIdentifyController(
                                 "disk", Memory<NVME_IDENTIFY_CONTROLLER>(outcome));
                           },
                           {49, 0, 3, 1, 1, 0, 40, 4096, 0, 0, 0, 0},
                           48,
                           4144,
                           4096,
                           nullptr};

constexpr Call kNamespace{"NVMeStorageQueryPropertyIdentifyNamespace",
                          [](Outcome& outcome) {
                            return NVMeStorageQueryPropertyIdentifyNamespace(
                                "disk", Memory<NVME_IDENTIFY_NAMESPACE>(outcome));
                          },
                          {49, 0, 3, 1, 0, 1, 40, 4096, 0, 0, 0, 0},
                          48,
                          4144,
                          4096,
                          nullptr};

constexpr Call kErrorLog{"NVMeStorageQueryPropertyGetLogPageErrorInfo",
                         [](Outcome& outcome) {
                           return NVMeStorageQueryPropertyGetLogPageErrorInfo(
                               "disk", outcome.count,
                               Memory<NVME_ERROR_INFORMATION_LOG_ENTRY>(outcome));
                         },
                         {49, 0, 3, 2, 1, 0xFFFFFFFF, 40, 4096, 0, 0, 0, 0},
                         48,
                         4144,
                         4096,
                         nullptr};

constexpr Call kHealth{"NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo",
                       [](Outcome& outcome) {
                         return NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo(
                             "disk", Memory<NVME_SMART_HEALTH_INFORMATION_LOG>(outcome));
                       },
                       {50, 0, 3, 2, 2, 0, 40, 512, 0, 0, 0, 0},
                       4144,
                       4144,
                       512,
                       "GetLogPageSMARTHealthInfo"};

constexpr Call kVendor{"NVMeStorageQueryPropertyGetVendorSpecificLogPage",
                       [](Outcome& outcome) {
                         return NVMeStorageQueryPropertyGetVendorSpecificLogPage(
                             "disk", 0xC0, Memory<unsigned char>(outcome));
                       },
                       {50, 0, 3, 2, 192, 0, 40, 512, 0, 0, 0, 0},
                       560,
                       560,
                       512,
                       "GetVendorSpecificLogPage"};

void PrintTo(const Call& call, std::ostream* out) { *out << call.name; }

std::string NameOf(const testing::TestParamInfo<Call>& call) {
  return std::string(call.param.name).substr(std::strlen("NVMeStorageQueryProperty"));
}

class NVMeQueryBase : public testing::TestWithParam<Call> {
protected:
  Outcome Run(const Call& call) {
    Outcome outcome;
    outcome.result = call.run(outcome);
    return outcome;
  }
  Outcome Run() { return Run(GetParam()); }

  // Lets the device answer as it does when all is well, with `data`.
  void AnswerWell(const Call& call, const std::string& data) {
    m_device.answer = {.bytes = Answer(48, 48, 40, call.dataBytes, data),
                       .returned = 48 + call.dataBytes};
  }

  std::string Enter() const { return Line("ENTER ", ""); }
  std::string Leave(const std::string& result) const {
    return Line("LEAVE ", ", return: " + result);
  }
  std::string Function() const { return std::string("Ondrel::") + GetParam().name; }
  std::string Error(const std::string& text) const { return GetParam().prefix + text; }

  PreparedDevice m_device;

private:
  std::string Line(const std::string& word, const std::string& end) const {
    return word + GetParam().name + " (sDeviceName=\"disk\")" + end;
  }
};

const std::string kOpening = "CreateFileA(disk, 0xc0000000, 1, null, 3, 0, null)";

// All five.

class NVMeQuery : public NVMeQueryBase {};

TEST_P(NVMeQuery, SendsEveryFieldOfItsRequestAndZeroInTheRest) {
  AnswerWell(GetParam(), Numbered(GetParam().dataBytes));

  Run();

  ASSERT_EQ(m_device.query.size(), GetParam().inputBytes);
  EXPECT_EQ(m_device.query.substr(0, 48), BytesOf(GetParam().query));
  EXPECT_EQ(m_device.query.substr(48), std::string(GetParam().inputBytes - 48, '\0'));
}

TEST_P(NVMeQuery, CopiesExactlyItsDataToTheCaller) {
  const std::string data = Numbered(GetParam().dataBytes);
  AnswerWell(GetParam(), data);

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_EQ(outcome.memory.substr(0, data.size()), data);
  EXPECT_EQ(outcome.memory.substr(data.size()),
            std::string(outcome.memory.size() - data.size(), kUntouched));
}

TEST_P(NVMeQuery, DeviceThatCannotBeOpenedGivesTheHostsError) {
  m_device.opens = false;
  m_device.lastErrors = {2};

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 2U);
  EXPECT_EQ(outcome.memory, std::string(outcome.memory.size(), kUntouched));
  EXPECT_THAT(m_device.Calls(), ElementsAre(kOpening, "GetLastError()"));
}

TEST_P(NVMeQuery, DeviceNameGoesToTheHostAndIntoTheLinesAsItIs) {
  const TraceCapture trace(kTraceEntry);
  AnswerWell(GetParam(), Numbered(GetParam().dataBytes));

  Run();

  EXPECT_EQ(m_device.Calls().front(), kOpening);
  EXPECT_THAT(trace.Lines(), ElementsAre(Traces(kTraceEntry, Function(), Enter()),
                                         Traces(kTraceEntry, Function(), Leave("0"))));
}

TEST_P(NVMeQuery, LeaveLineHasTheErrorOfTheOpening) {
  const TraceCapture trace(kTraceEntry);
  m_device.opens = false;
  m_device.lastErrors = {5};

  Run();

  EXPECT_THAT(trace.Texts(), ElementsAre(Enter(), Leave("5")));
}

TEST_P(NVMeQuery, LeaveLineHasTheErrorOfTheRequest) {
  const TraceCapture trace(kTraceEntry);
  m_device.answer.succeeds = 0;
  m_device.lastErrors = {1117};

  Run();

  EXPECT_THAT(trace.Texts(), ElementsAre(Enter(), Leave("1117")));
}

TEST_P(NVMeQuery, WithoutTracingTheHostIsAskedForItsErrorOnce) {
  const TraceCapture trace(0);
  m_device.answer.succeeds = 0;
  m_device.lastErrors = {87, 0};

  EXPECT_EQ(Run().result, 87U);

  EXPECT_THAT(trace.Lines(), IsEmpty());
  EXPECT_EQ(m_device.lastErrors.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(All, NVMeQuery,
                         testing::Values(kController, kNamespace, kErrorLog, kHealth, kVendor),
                         NameOf);

// The separate-buffer family.

class NVMeSeparateBuffers : public NVMeQueryBase {
protected:
  // The result for an answer whose descriptor states this.
  unsigned int ResultOf(std::uint32_t returned, std::uint32_t offset, std::uint32_t length) {
    m_device.answer = {.bytes = Answer(48, 48, offset, length, std::string(4096, 'd')),
                       .returned = returned};
    const Outcome outcome = Run();
    m_isUntouched =
        outcome.memory == std::string(outcome.memory.size(), kUntouched) && outcome.count == 7777;
    return outcome.result;
  }

  bool m_isUntouched = false;
};

TEST_P(NVMeSeparateBuffers, AsksWithTwoBuffersAndKeepsTheAnswers) {
  AnswerWell(GetParam(), Numbered(4096));

  Run();

  EXPECT_THAT(m_device.Calls(), ElementsAre(kOpening, "Allocate(48)", "Allocate(4144)",
                                            "DeviceIoControl(0x2d1400, 48, 4144)",
                                            "CloseHandle(device)", "Free(48)"));
  EXPECT_THAT(m_device.BlocksLeft(), ElementsAre(4144U));
}

TEST_P(NVMeSeparateBuffers, AnswerIsKeptWhenTheRequestFailsToo) {
  m_device.answer.succeeds = 0;
  m_device.lastErrors = {31};

  EXPECT_EQ(Run().result, 31U);

  EXPECT_THAT(m_device.Calls(), ElementsAre(kOpening, "Allocate(48)", "Allocate(4144)",
                                            "DeviceIoControl(0x2d1400, 48, 4144)", "GetLastError()",
                                            "CloseHandle(device)", "Free(48)"));
  EXPECT_THAT(m_device.BlocksLeft(), ElementsAre(4144U));
}

TEST_P(NVMeSeparateBuffers, WithoutMemoryForTheQueryTheResultIsZeroAndNothingIsAsked) {
  m_device.refusedBytes = 48;

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_EQ(outcome.count, 7777U);
  EXPECT_EQ(outcome.memory, std::string(outcome.memory.size(), kUntouched));
  EXPECT_THAT(m_device.Calls(), ElementsAre(kOpening, "Allocate(48)", "CloseHandle(device)"));
}

TEST_P(NVMeSeparateBuffers, WithoutMemoryForTheAnswerTheResultIsZeroAndTheQueryIsReleased) {
  m_device.refusedBytes = 4144;

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_EQ(outcome.count, 7777U);
  EXPECT_EQ(outcome.memory, std::string(outcome.memory.size(), kUntouched));
  EXPECT_THAT(m_device.Calls(), ElementsAre(kOpening, "Allocate(48)", "Allocate(4144)",
                                            "CloseHandle(device)", "Free(48)"));
}

TEST_P(NVMeSeparateBuffers, FailuresHaveNoErrorLines) {
  const TraceCapture trace(kAllLevels);
  m_device.answer = {.succeeds = 0};
  Run();
  m_device.answer = {.succeeds = 1};
  Run();
  m_device.opens = false;
  Run();

  ASSERT_EQ(trace.Lines().size(), 6U);
  for (const CapturedLine& line : trace.Lines()) EXPECT_EQ(line.level, kTraceEntry) << line.text;
}

TEST_P(NVMeSeparateBuffers, DescriptorHeadIsNotLookedAt) {
  m_device.answer = {.bytes = Answer(40, 0, 40, 4096, Numbered(4096)), .returned = 4144};

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_EQ(outcome.memory.substr(0, 4096), Numbered(4096));
}

struct LengthRow {
  const char* name;
  std::uint32_t returned;
  std::uint32_t offset;
  std::uint32_t length;
};

TEST_P(NVMeSeparateBuffers, LengthsThatDoNotFitGive24AndCopyNothing) {
  constexpr LengthRow kRows[] = {
      {"nothing returned", 0, 40, 4096},
      {"less than the head returned", 47, 40, 0},
      {"more than the buffer returned", 4145, 40, 4096},
      {"all ones returned", 0xFFFFFFFF, 40, 4096},
      {"offset below the least", 4144, 39, 4096},
      {"offset zero", 4144, 0, 4096},
      {"data ends after the bytes returned", 4143, 40, 4096},
      {"offset one too large", 4144, 41, 4096},
      {"length one too large", 4144, 40, 4097},
      {"only the head returned", 48, 40, 1},
      {"offset far away", 4144, 0x80000000, 4096},
      {"sum just below the wrap", 4144, 0x28, 0xFFFFFFD7},
  };
  for (const LengthRow& row : kRows) {
    EXPECT_EQ(ResultOf(row.returned, row.offset, row.length), 24U) << row.name;
    EXPECT_TRUE(m_isUntouched) << row.name;
  }
}

INSTANTIATE_TEST_SUITE_P(All, NVMeSeparateBuffers,
                         testing::Values(kController, kNamespace, kErrorLog), NameOf);

class NVMeIdentify : public NVMeSeparateBuffers {};

TEST_P(NVMeIdentify, ShorterDataThanTheRecordGives24) {
  EXPECT_EQ(ResultOf(4144, 40, 4095), 24U);
  EXPECT_TRUE(m_isUntouched);
  EXPECT_EQ(ResultOf(48, 40, 0), 24U);
  EXPECT_EQ(ResultOf(560, 40, 512), 24U);
}

TEST_P(NVMeIdentify, AcceptsTheOneAnswerThatFits) { EXPECT_EQ(ResultOf(4144, 40, 4096), 0U); }

TEST_P(NVMeIdentify, SumThatWrapsPassesTheCheckOnPurpose) {
  // 40 and 0xFFFFFFFF make 39, which lies within any answer.
  m_device.answer = {.bytes = Answer(48, 48, 40, 0xFFFFFFFF, Numbered(4096)), .returned = 48};

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_EQ(outcome.memory.substr(0, 4096), Numbered(4096));
  EXPECT_EQ(outcome.memory[4096], kUntouched);
}

INSTANTIATE_TEST_SUITE_P(Both, NVMeIdentify, testing::Values(kController, kNamespace), NameOf);

struct EntriesRow {
  const char* name;
  std::uint32_t returned;
  std::uint32_t offset;
  std::uint32_t length;
  ULong count;
};

class NVMeErrorLog : public NVMeQueryBase {};

TEST_P(NVMeErrorLog, CountsWholeEntriesAndCopiesAllBytesReported) {
  constexpr EntriesRow kRows[] = {
      {"all entries", 4144, 40, 4096, 64},
      {"two entries", 4144, 40, 128, 2},
      {"one and a part", 4144, 40, 100, 1},
      {"a part only", 4144, 40, 63, 0},
      {"none", 4144, 40, 0, 0},
      {"none, head alone", 48, 40, 0, 0},
      {"after a gap", 4144, 104, 4032, 63},
  };
  for (const EntriesRow& row : kRows) {
    const std::string data = Numbered(4096);
    m_device.answer = {.bytes = Answer(48, 48, row.offset, row.length, data),
                       .returned = row.returned};

    const Outcome outcome = Run();

    EXPECT_EQ(outcome.result, 0U) << row.name;
    EXPECT_EQ(outcome.count, row.count) << row.name;
    EXPECT_EQ(outcome.memory.substr(0, row.length), data.substr(row.offset - 40, row.length))
        << row.name;
    EXPECT_EQ(outcome.memory.substr(row.length),
              std::string(outcome.memory.size() - row.length, kUntouched))
        << row.name;
  }
}

INSTANTIATE_TEST_SUITE_P(One, NVMeErrorLog, testing::Values(kErrorLog), NameOf);

// The shared-buffer family.

class NVMeSharedBuffer : public NVMeQueryBase {
protected:
  std::string Size() const { return std::to_string(GetParam().outputBytes); }
  std::string Control() const {
    return "DeviceIoControl(0x2d1400, " + Size() + ", " + Size() + ") in place";
  }
  static bool IsUntouched(const Outcome& outcome) {
    return outcome.memory == std::string(outcome.memory.size(), kUntouched);
  }
};

TEST_P(NVMeSharedBuffer, AsksInPlaceAndReleasesTheBuffer) {
  AnswerWell(GetParam(), Numbered(512));

  Run();

  EXPECT_THAT(m_device.Calls(), ElementsAre(kOpening, "Allocate(" + Size() + ")", Control(),
                                            "CloseHandle(device)", "Free(" + Size() + ")"));
}

TEST_P(NVMeSharedBuffer, OpeningThatFailsHasAnErrorLine) {
  const TraceCapture trace(kAllLevels);
  m_device.opens = false;
  m_device.lastErrors = {2};

  EXPECT_EQ(Run().result, 2U);

  EXPECT_THAT(trace.Lines(), ElementsAre(Traces(kTraceEntry, Function(), Enter()),
                                         Traces(kTraceError, Function(),
                                                Error(": allocate device handle failed.\n")),
                                         Traces(kTraceEntry, Function(), Leave("2"))));
}

TEST_P(NVMeSharedBuffer, OpeningThatFailsIsTracedBeforeTheHostIsAskedForItsError) {
  const TraceCapture trace(kTraceError);
  std::vector<std::string> callsBefore;
  Pirsk::Trace::SetSink([&](const Pirsk::Trace::Line&) { callsBefore = m_device.Calls(); });
  m_device.opens = false;
  m_device.lastErrors = {2};

  EXPECT_EQ(Run().result, 2U);

  EXPECT_THAT(callsBefore, ElementsAre(kOpening));
  EXPECT_THAT(m_device.Calls(), ElementsAre(kOpening, "GetLastError()"));
}

TEST_P(NVMeSharedBuffer, WithoutMemoryTheResultIsZeroWithAnErrorLine) {
  const TraceCapture trace(kTraceError);
  m_device.refusedBytes = GetParam().outputBytes;

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_TRUE(IsUntouched(outcome));
  EXPECT_THAT(trace.Lines(),
              ElementsAre(Traces(kTraceError, Function(), Error(": allocate buffer failed.\n"))));
  EXPECT_THAT(m_device.Calls(),
              ElementsAre(kOpening, "Allocate(" + Size() + ")", "CloseHandle(device)"));
}

TEST_P(NVMeSharedBuffer, RequestThatFailsAsksForTheErrorOnceForTheLineAndOnceForTheResult) {
  const TraceCapture trace(kTraceError);
  m_device.answer = {.succeeds = 0, .returned = 560};
  m_device.lastErrors = {55, 1117};

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 1117U);
  EXPECT_TRUE(IsUntouched(outcome));
  EXPECT_THAT(trace.Lines(),
              ElementsAre(Traces(kTraceError, Function(),
                                 Error(": DeviceIoControl failed. Error Code 55.\n"))));
  EXPECT_THAT(m_device.Calls(),
              ElementsAre(kOpening, "Allocate(" + Size() + ")", Control(), "GetLastError()",
                          "GetLastError()", "CloseHandle(device)", "Free(" + Size() + ")"));
}

TEST_P(NVMeSharedBuffer, SuccessWithoutBytesIsAFailureWithWhateverErrorTheThreadHolds) {
  const TraceCapture trace(kTraceError);
  m_device.answer = {.bytes = Answer(48, 48, 40, 512, Numbered(512)), .returned = 0};

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_TRUE(IsUntouched(outcome));
  EXPECT_THAT(trace.Texts(), ElementsAre(Error(": DeviceIoControl failed. Error Code 0.\n")));
}

struct HeadRow {
  const char* name;
  std::uint32_t version;
  std::uint32_t size;
};

TEST_P(NVMeSharedBuffer, DescriptorHeadThatIsNot48Is0WithAnErrorLine) {
  constexpr HeadRow kRows[] = {
      {"version 40", 40, 48}, {"version 0", 0, 48}, {"size 40", 48, 40}, {"size 49", 48, 49}};
  for (const HeadRow& row : kRows) {
    const TraceCapture trace(kTraceError);
    m_device.answer = {.bytes = Answer(row.version, row.size, 40, 512, Numbered(512)),
                       .returned = 560};

    const Outcome outcome = Run();

    EXPECT_EQ(outcome.result, 0U) << row.name;
    EXPECT_TRUE(IsUntouched(outcome)) << row.name;
    EXPECT_THAT(trace.Lines(), ElementsAre(Traces(kTraceError, Function(),
                                                  Error(" - data descriptor header not valid.\n"))))
        << row.name;
  }
}

TEST_P(NVMeSharedBuffer, OffsetOrLengthBelowTheLeastIs0WithAnErrorLine) {
  constexpr LengthRow kRows[] = {{"offset 39", 560, 39, 512},
                                 {"offset 0", 560, 0, 512},
                                 {"length 511", 560, 40, 511},
                                 {"length 0", 560, 40, 0}};
  for (const LengthRow& row : kRows) {
    const TraceCapture trace(kTraceError);
    m_device.answer = {.bytes = Answer(48, 48, row.offset, row.length, Numbered(512)),
                       .returned = row.returned};

    const Outcome outcome = Run();

    EXPECT_EQ(outcome.result, 0U) << row.name;
    EXPECT_TRUE(IsUntouched(outcome)) << row.name;
    EXPECT_THAT(trace.Lines(),
                ElementsAre(Traces(kTraceError, Function(),
                                   Error(" - ProtocolData Offset/Length not valid.\n"))))
        << row.name;
  }
}

TEST_P(NVMeSharedBuffer, LongerLengthThanAskedForIsNoFault) {
  m_device.answer = {.bytes = Answer(48, 48, 40, 4096, Numbered(512)), .returned = 560};

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_EQ(outcome.memory.substr(0, 512), Numbered(512));
  EXPECT_EQ(outcome.memory[512], kUntouched);
}

TEST_P(NVMeSharedBuffer, BytesReturnedAreOnlyLookedAtForZero) {
  m_device.answer = {.bytes = Answer(48, 48, 40, 512, Numbered(512)), .returned = 1};

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_EQ(outcome.memory.substr(0, 512), Numbered(512));
}

INSTANTIATE_TEST_SUITE_P(Both, NVMeSharedBuffer, testing::Values(kHealth, kVendor), NameOf);

class NVMeHealthLog : public NVMeQueryBase {};

TEST_P(NVMeHealthLog, OffsetHasNoUpperBoundOnPurpose) {
  // After the 560 bytes that were returned, and still in the buffer of 4144.
  const std::string data = Numbered(4096);
  m_device.answer = {.bytes = Answer(48, 48, 40 + 3584, 512, data), .returned = 560};

  const Outcome outcome = Run();

  EXPECT_EQ(outcome.result, 0U);
  EXPECT_EQ(outcome.memory.substr(0, 512), data.substr(3584, 512));
}

INSTANTIATE_TEST_SUITE_P(One, NVMeHealthLog, testing::Values(kHealth), NameOf);

struct PageRow {
  unsigned char page;
  std::uint32_t sent;
};

TEST(NVMeVendorLogPage, IdentifierIsSentWithoutASign) {
  constexpr PageRow kRows[] = {{0x00, 0}, {0x02, 2}, {0x7F, 127}, {0xC0, 192}, {0xFF, 255}};
  for (const PageRow& row : kRows) {
    PreparedDevice device;
    unsigned char page[512];
    NVMeStorageQueryPropertyGetVendorSpecificLogPage("disk", row.page, page);
    std::uint32_t sent = 0;
    ASSERT_EQ(device.query.size(), 560U);
    std::memcpy(&sent, device.query.data() + 16, sizeof sent);
    EXPECT_EQ(sent, row.sent);
  }
}

}  // namespace
}  // namespace Ondrel::Testing
