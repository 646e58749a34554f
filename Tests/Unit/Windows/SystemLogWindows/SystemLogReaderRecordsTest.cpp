#include "Support/PreparedEventLog.h"
#include "Support/TraceCapture.h"

#include <Ondrel/SystemLog.h>
#include <Pirsk/Exceptions.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Testing::OpenedUpReader;
using Testing::PreparedEventLog;
using Testing::RaisedBy;
using Testing::RecordBytes;
using testing::SizeIs;
using Testing::TraceCapture;
using Testing::WithFields;

std::vector<ULong> Numbers(const std::vector<CSystemEvent_Win>& events) {
  std::vector<ULong> numbers;
  for (const CSystemEvent_Win& event : events) numbers.push_back(event.recordNumber);
  return numbers;
}

// A reader of the source "ondrel" on a log whose newest record is number 10.
class SystemLogRecords : public testing::Test {
protected:
  void SetUp() override {
    Pirsk::Exceptions::ForgetErrors();
    host.AnswerRead(seen);
    ASSERT_EQ(reader.Open("Alerts", {"ondrel"}), 1U);
    host.TakeCalls();
  }

  // Reads once from a buffer of the record at the watermark and these bytes after it.
  std::vector<CSystemEvent_Win> ReadAfterSeen(const std::string& records) {
    host.AnswerRead(seen + records);
    return reader.ReadEvents();
  }

  // The record number that the next read begins with.
  ULong Watermark() {
    ULong offset = 0;
    const auto read = Host::EventLog().ReadEventLogA;
    Host::EventLog().ReadEventLogA = [&](void*, ULong, ULong recordOffset, void*, ULong,
                                         ULong* bytesRead, ULong*) {
      offset = recordOffset;
      *bytesRead = 0;
      return 1;
    };
    reader.ReadEvents();
    Host::EventLog().ReadEventLogA = read;
    return offset;
  }

  const std::string seen = RecordBytes({.number = 10});
  PreparedEventLog host;
  OpenedUpReader reader;
};

// The walk.

TEST_F(SystemLogRecords, ReadBeginsAtTheWatermarkAndGoesForwards) {
  ReadAfterSeen("");
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(log, 6, 10, block, 65536)", "GetLastError()"));
}

TEST_F(SystemLogRecords, BufferWithTheSeenRecordOnlyYieldsNothingAndLeavesTheWatermark) {
  EXPECT_THAT(ReadAfterSeen(""), IsEmpty());
  EXPECT_EQ(Watermark(), 10U);
}

TEST_F(SystemLogRecords, NewRecordsAreYieldedInOrderAndMoveTheWatermark) {
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(RecordBytes({.number = 11}) + RecordBytes({.number = 12}));
  EXPECT_THAT(Numbers(events), ElementsAre(11U, 12U));
  EXPECT_EQ(Watermark(), 12U);
}

TEST_F(SystemLogRecords, NextReadGoesOnFromTheLastRecordSeen) {
  ReadAfterSeen(RecordBytes({.number = 11}));
  host.TakeCalls();
  host.AnswerRead(RecordBytes({.number = 11}) + RecordBytes({.number = 12}));
  EXPECT_THAT(Numbers(reader.ReadEvents()), ElementsAre(12U));
  EXPECT_THAT(host.TakeCallsOf("ReadEventLogA"),
              ElementsAre("ReadEventLogA(log, 6, 11, block, 65536)"));
}

TEST_F(SystemLogRecords, OneCallReadsOneBufferOnly) {
  ReadAfterSeen(RecordBytes({.number = 11}));
  EXPECT_THAT(host.TakeCallsOf("ReadEventLogA"), SizeIs(1));
}

TEST_F(SystemLogRecords, FirstRecordIsSteppedOverWhateverItsNumber) {
  host.AnswerRead(RecordBytes({.number = 99}) + RecordBytes({.number = 11}));
  EXPECT_THAT(Numbers(reader.ReadEvents()), ElementsAre(11U));
}

TEST_F(SystemLogRecords, BufferFullOfRecordsIsReadToItsEnd) {
  const std::string one = RecordBytes({.number = 11});
  std::string records;
  while (seen.size() + records.size() + one.size() <= 65536) records += one;
  EXPECT_THAT(ReadAfterSeen(records), SizeIs(records.size() / one.size()));
}

TEST_F(SystemLogRecords, FailedReadPassesToTheCallerAndLeavesTheWatermark) {
  host.FailRead(87);
  EXPECT_EQ(RaisedBy([&] { reader.ReadEvents(); }), 0x2005000CU);
  EXPECT_EQ(Pirsk::Exceptions::ReportOf(kSystemLogReadFailed).detail,
            "Failed to read Windows Log, errorCode (87)");
  EXPECT_EQ(Watermark(), 10U);
}

TEST_F(SystemLogRecords, FirstRecordThatDoesNotFitGrowsTheBuffer) {
  const std::string large = RecordBytes({.number = 10, .strings = {std::string(66000, 'x')}});
  const auto size = static_cast<ULong>(large.size());
  host.FailRead(122, size);
  host.AnswerRead(large);
  EXPECT_THAT(reader.ReadEvents(), IsEmpty());
  EXPECT_THAT(host.TakeCallsOf("Reallocate"),
              ElementsAre("Reallocate(block, " + std::to_string(size) + ")"));
}

// What is let through.

TEST_F(SystemLogRecords, RecordOfAnotherSourceMovesTheWatermarkAndYieldsNothing) {
  EXPECT_THAT(ReadAfterSeen(RecordBytes({.number = 11, .source = "other"})), IsEmpty());
  EXPECT_EQ(Watermark(), 11U);
}

struct SourceCase {
  const char* name;
  std::vector<std::string> listed;
  std::string source;
  std::size_t elements;
};

class SystemLogRecordSource : public SystemLogRecords,
                              public testing::WithParamInterface<SourceCase> {};

TEST_P(SystemLogRecordSource, IsComparedAsAWholeByteByByte) {
  reader.SetEventSources(GetParam().listed);
  EXPECT_THAT(ReadAfterSeen(RecordBytes({.number = 11, .source = GetParam().source})),
              SizeIs(GetParam().elements));
  EXPECT_EQ(Watermark(), 11U);
}

INSTANTIATE_TEST_SUITE_P(
    SystemLogReader, SystemLogRecordSource,
    testing::Values(SourceCase{"Same", {"Foo"}, "Foo", 1},
                    SourceCase{"OtherCase", {"Foo"}, "foo", 0},
                    SourceCase{"ListedIsLonger", {"Foobar"}, "Foo", 0},
                    SourceCase{"ListedIsShorter", {"Foo"}, "Foobar", 0},
                    SourceCase{"SecondOfTheList", {"Bar", "Foo"}, "Foo", 1},
                    SourceCase{"ListedTwice", {"Foo", "Bar", "Foo"}, "Foo", 2},
                    SourceCase{"EmptyList", {}, "Foo", 0}, SourceCase{"EmptySource", {""}, "", 1},
                    SourceCase{"ListedWithAZeroByte", {std::string("Foo\0x", 5)}, "Foo", 0},
                    SourceCase{"HighBytes", {"\xE4"}, "\xE4", 1}),
    [](const testing::TestParamInfo<SourceCase>& test) { return test.param.name; });

TEST_F(SystemLogRecords, RecordsPassedOverWithAnEmptyListAreLostToALaterList) {
  reader.SetEventSources({});
  ReadAfterSeen(RecordBytes({.number = 11}));
  reader.SetEventSources({"ondrel"});
  host.AnswerRead(RecordBytes({.number = 11}));
  EXPECT_THAT(reader.ReadEvents(), IsEmpty());
}

TEST_F(SystemLogRecords, SourceListedTwiceYieldsTwoEqualElements) {
  reader.SetEventSources({"ondrel", "ondrel"});
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(RecordBytes({.number = 11, .strings = {"a"}}));
  ASSERT_THAT(events, SizeIs(2));
  EXPECT_EQ(events[0].str(), events[1].str());
}

TEST_F(SystemLogRecords, OpenReplacesSourcesThatWereSetBefore) {
  OpenedUpReader other;
  other.SetEventSources({"early"});
  host.AnswerRead(seen);
  other.Open("Alerts", {"ondrel"});
  host.AnswerRead(seen + RecordBytes({.number = 11, .source = "early"}));
  EXPECT_THAT(other.ReadEvents(), IsEmpty());
}

// What a record becomes.

TEST_F(SystemLogRecords, FieldsAreTakenFromTheRecord) {
  const std::vector<CSystemEvent_Win> events = ReadAfterSeen(RecordBytes({
      .number = 0xFFFFFFFE,
      .eventId = 0x20002715,
      .eventType = 0xFFFF,
      .time = 0x80000001,
  }));
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(events[0].recordNumber, 0xFFFFFFFEU);
  EXPECT_EQ(events[0].timeGenerated, 0x80000001U);
  EXPECT_EQ(events[0].eventID, 10005U);
  EXPECT_EQ(events[0].eventType, 0xFFFFU);
  EXPECT_THAT(events[0].args, IsEmpty());
  EXPECT_EQ(events[0].message, "");
}

TEST_F(SystemLogRecords, SeverityAndCustomerBitOfTheIdAreLost) {
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(RecordBytes({.number = 11, .eventId = 0xE001FFFF}));
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(events[0].eventID, 0xFFFFU);
}

TEST_F(SystemLogRecords, EmptyStringsAreLeftOutOfTheArguments) {
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(RecordBytes({.number = 11, .strings = {"a", "", "b"}}));
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_THAT(events[0].args, ElementsAre("a", "b"));
}

TEST_F(SystemLogRecords, RecordsMayBeginAtAnyAddress) {
  // A record of odd length puts the next one at an odd address.
  const std::string odd = WithFields(RecordBytes({.number = 11}) + "x",
                                     [](EVENTLOGRECORD& fields) { ++fields.Length; });
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(odd + RecordBytes({.number = 12, .strings = {"text"}}));
  EXPECT_THAT(Numbers(events), ElementsAre(11U, 12U));
}

// Messages.

TEST_F(SystemLogRecords, WithoutAMessageModuleNothingIsFormatted) {
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(RecordBytes({.number = 11, .strings = {"a"}}));
  EXPECT_EQ(events.at(0).message, "");
  EXPECT_THAT(host.TakeCallsOf("FormatMessageA"), IsEmpty());
}

TEST_F(SystemLogRecords, MessageIsLookedUpUnderTheFullIdWithAllStrings) {
  reader.GetMessageResources("messages.dll");
  host.message = "a and b\r\n";
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(RecordBytes({.number = 11, .strings = {"a", "", "b"}, .eventId = 0x20002715}));
  EXPECT_EQ(events.at(0).message, "a and b\r\n");
  EXPECT_THAT(host.TakeCallsOf("FormatMessageA"),
              ElementsAre("FormatMessageA(0x3900, module, 0x20002715, 0, 0, [a||b])"));
}

TEST_F(SystemLogRecords, MessageTextAndInsertArrayAreReleased) {
  reader.GetMessageResources("messages.dll");
  host.message = "text";
  host.TakeCalls();
  ReadAfterSeen(RecordBytes({.number = 11, .strings = {"a"}}));
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(log, 6, 10, block, 65536)", "GetLastError()",
                          "Allocate(" + std::to_string(99 * sizeof(char*)) + ")",
                          "FormatMessageA(0x3900, module, 0x20002712, 0, 0, [a])", "Free(block)",
                          "Free(block)"));
}

TEST_F(SystemLogRecords, RecordWithoutStringsIsFormattedWithoutAnArray) {
  reader.GetMessageResources("messages.dll");
  host.message = "text";
  ReadAfterSeen(RecordBytes({.number = 11}));
  EXPECT_THAT(host.TakeCallsOf("FormatMessageA"),
              ElementsAre("FormatMessageA(0x1900, module, 0x20002712, 0, 0, none)"));
}

TEST_F(SystemLogRecords, RecordWhoseMessageFailsIsStillDelivered) {
  reader.GetMessageResources("messages.dll");
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(RecordBytes({.number = 11, .strings = {"a"}}));
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(events[0].message, "");
  EXPECT_THAT(events[0].args, ElementsAre("a"));
}

TEST_F(SystemLogRecords, SourceListedTwiceIsFormattedTwice) {
  reader.SetEventSources({"ondrel", "ondrel"});
  reader.GetMessageResources("messages.dll");
  host.message = "text";
  const std::vector<CSystemEvent_Win> events = ReadAfterSeen(RecordBytes({.number = 11}));
  ASSERT_THAT(events, SizeIs(2));
  EXPECT_EQ(events[1].message, "text");
  EXPECT_THAT(host.TakeCallsOf("FormatMessageA"), SizeIs(2));
}

TEST_F(SystemLogRecords, RecordOfAnotherSourceIsNotFormatted) {
  reader.GetMessageResources("messages.dll");
  ReadAfterSeen(RecordBytes({.number = 11, .source = "other"}));
  EXPECT_THAT(host.TakeCallsOf("FormatMessageA"), IsEmpty());
}

TEST_F(SystemLogRecords, ClosedReaderKeepsItsModule) {
  reader.GetMessageResources("messages.dll");
  reader.Close();
  host.message = "text";
  host.TakeCalls();
  std::free(reader.GetMessageString(7, 0, nullptr));
  EXPECT_THAT(host.TakeCalls(), ElementsAre("FormatMessageA(0x1900, module, 0x7, 0, 0, none)"));
}

TEST_F(SystemLogRecords, MessageBelongsToTheCaller) {
  host.message = "text";
  char strings[] = "one\0two";
  char* const text = reader.GetMessageString(7, 2, strings);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "text");
  std::free(text);
  EXPECT_THAT(host.TakeCallsOf("FormatMessageA"),
              ElementsAre("FormatMessageA(0x3900, null, 0x7, 0, 0, [one|two])"));
}

TEST_F(SystemLogRecords, WithoutMemoryForTheArrayTheInsertsStayInPlace) {
  host.memoryIsShort = [](std::size_t) { return true; };
  host.message = "drive %1";
  char strings[] = "one";
  const TraceCapture trace(16);
  char* const text = reader.GetMessageString(7, 1, strings);
  EXPECT_STREQ(text, "drive %1");
  std::free(text);
  EXPECT_THAT(host.TakeCallsOf("FormatMessageA"),
              ElementsAre("FormatMessageA(0x1B00, null, 0x7, 0, 0, none)"));
  ASSERT_THAT(trace.Lines(), SizeIs(1));
  EXPECT_EQ(trace.Lines()[0].level, 16U);
  EXPECT_EQ(trace.Lines()[0].function, "Ondrel::CSystemLogReader_Win::GetMessageString");
  EXPECT_EQ(trace.Lines()[0].text,
            "GetMessageString(): Failed to allocate memory for the insert string array.");
}

TEST_F(SystemLogRecords, FailedFormattingIsTracedWithItsReason) {
  host.formatError = 317;
  const TraceCapture trace(16);
  EXPECT_EQ(reader.GetMessageString(7, 0, nullptr), nullptr);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("FormatMessageA(0x1900, null, 0x7, 0, 0, none)", "GetLastError()"));
  ASSERT_THAT(trace.Lines(), SizeIs(1));
  EXPECT_EQ(trace.Lines()[0].level, 16U);
  EXPECT_EQ(trace.Lines()[0].function, "Ondrel::CSystemLogReader_Win::GetMessageString");
  EXPECT_EQ(trace.Lines()[0].text, "GetMessageString(): Format message failed with 317");
}

TEST_F(SystemLogRecords, FailedFormattingRaisesNothing) {
  char strings[] = "one";
  EXPECT_EQ(reader.GetMessageString(7, 1, strings), nullptr);
  EXPECT_FALSE(Pirsk::Exceptions::LastError());
}

TEST_F(SystemLogRecords, TextOfLengthZeroIsHandedBackAsThePlatformLeftIt) {
  host.message = "";
  const TraceCapture trace(16);
  char* const text = reader.GetMessageString(7, 0, nullptr);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "");
  std::free(text);
  EXPECT_THAT(trace.Lines(), SizeIs(1));
}

TEST_F(SystemLogRecords, MessageMayAskForNinetyNineStringsWhateverTheRecordHolds) {
  std::vector<std::string> inserts;
  host.atFormat = [&](char** arguments) {
    for (int index = 0; index < 99; ++index)
      inserts.emplace_back(arguments[index] != nullptr ? arguments[index] : "null");
  };
  char strings[] = "one\0two";
  reader.GetMessageString(7, 2, strings);
  std::vector<std::string> expected(99, "null");
  expected[0] = "one";
  expected[1] = "two";
  EXPECT_EQ(inserts, expected);
}

TEST_F(SystemLogRecords, MoreStringsThanAMessageCanAskForAreAllHandedOver) {
  std::vector<std::string> strings;
  for (int index = 0; index < 150; ++index) strings.push_back(std::to_string(index));
  reader.GetMessageResources("messages.dll");
  std::string last;
  host.atFormat = [&](char** arguments) { last = arguments[149]; };
  host.TakeCalls();
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(RecordBytes({.number = 11, .strings = strings}));
  EXPECT_EQ(events.at(0).args, strings);
  EXPECT_EQ(last, "149");
  EXPECT_THAT(host.TakeCallsOf("Allocate"),
              ElementsAre("Allocate(" + std::to_string(150 * sizeof(char*)) + ")"));
}

// Malformed buffers. A bad record ends the walk; what stood before it is delivered.

struct BrokenCase {
  const char* name;
  std::string bytes;
};

class SystemLogBrokenRecord : public SystemLogRecords,
                              public testing::WithParamInterface<BrokenCase> {};

std::string WithLength(ULong length) {
  return WithFields(RecordBytes({.number = 12}),
                    [=](EVENTLOGRECORD& fields) { fields.Length = length; });
}

std::vector<BrokenCase> BrokenCases() {
  const auto size = static_cast<ULong>(RecordBytes({.number = 12}).size());
  return {
      {"LengthZero", WithLength(0)},
      {"LengthOne", WithLength(1)},
      {"LengthBelowTheFixedPart", WithLength(55)},
      {"LengthOneBeyondTheEnd", WithLength(size + 1)},
      {"LengthOfABillion", WithLength(1000000000)},
      {"LengthAllBitsSet", WithLength(0xFFFFFFFF)},
      {"OneByte", std::string(1, '\x60')},
      {"CutWithinTheFixedPart", RecordBytes({.number = 12}).substr(0, 55)},
      {"CutAfterTheFixedPart", RecordBytes({.number = 12}).substr(0, 56)},
      {"CutByOneByte", RecordBytes({.number = 12}).substr(0, size - 1)},
  };
}

TEST_P(SystemLogBrokenRecord, EndsTheWalkAfterTheSoundOnes) {
  const std::vector<CSystemEvent_Win> events =
      ReadAfterSeen(RecordBytes({.number = 11}) + GetParam().bytes);
  EXPECT_THAT(Numbers(events), ElementsAre(11U));
  EXPECT_EQ(Watermark(), 11U);
}

TEST_P(SystemLogBrokenRecord, EndsTheWalkInThePlaceOfTheSeenRecord) {
  host.AnswerRead(GetParam().bytes);
  EXPECT_THAT(reader.ReadEvents(), IsEmpty());
  EXPECT_EQ(Watermark(), 10U);
}

INSTANTIATE_TEST_SUITE_P(SystemLogReader, SystemLogBrokenRecord, testing::ValuesIn(BrokenCases()),
                         [](const testing::TestParamInfo<BrokenCase>& test) {
                           return test.param.name;
                         });

TEST_F(SystemLogRecords, EmptyReadYieldsNothing) {
  host.AnswerRead("");
  EXPECT_THAT(reader.ReadEvents(), IsEmpty());
  EXPECT_EQ(Watermark(), 10U);
}

TEST_F(SystemLogRecords, ReportedCountBeyondTheBufferIsNotWalked) {
  const std::string large = WithFields(RecordBytes({.number = 10}),
                                       [](EVENTLOGRECORD& fields) { fields.Length = 65536 - 56; });
  host.reads.push_back({.bytes = large, .toldBytesRead = 1000000});
  EXPECT_THAT(reader.ReadEvents(), IsEmpty());
}

TEST_F(SystemLogRecords, RecordOfItsFixedPartAloneHasNoSource) {
  reader.SetEventSources({"", "ondrel"});
  const std::string bare = WithFields(RecordBytes({.number = 11}), [](EVENTLOGRECORD& fields) {
                             fields.Length = 56;
                           }).substr(0, 56);
  EXPECT_THAT(ReadAfterSeen(bare), IsEmpty());
  EXPECT_EQ(Watermark(), 11U);
}

TEST_F(SystemLogRecords, SourceNameDoesNotRunIntoTheNextRecord) {
  // The name stands at the very end of the record and has no end there.
  const std::string record = WithFields(RecordBytes({.number = 11}), [](EVENTLOGRECORD& fields) {
                               fields.Length = 56 + 6;
                             }).substr(0, 56 + 6);
  ASSERT_TRUE(record.ends_with("ondrel"));
  EXPECT_THAT(Numbers(ReadAfterSeen(record + RecordBytes({.number = 12}))), ElementsAre(12U));
  EXPECT_EQ(Watermark(), 12U);
}

struct StringsCase {
  const char* name;
  ULong stringOffset;
  WORD numStrings;
  std::string lastBytes;
  std::vector<std::string> args;
  const char* formatted;
};

class SystemLogRecordStrings : public SystemLogRecords,
                               public testing::WithParamInterface<StringsCase> {};

// A record of 80 bytes whose last bytes, after the source name, are those of the case.
TEST_P(SystemLogRecordStrings, NeverRunPastTheirRecord) {
  std::string record = RecordBytes({.number = 11}).substr(0, 56) + "ondrel" + '\0';
  record.resize(80 - GetParam().lastBytes.size(), '\0');
  record += GetParam().lastBytes;
  record = WithFields(record, [](EVENTLOGRECORD& fields) {
    fields.Length = 80;
    fields.StringOffset = GetParam().stringOffset;
    fields.NumStrings = GetParam().numStrings;
  });
  reader.GetMessageResources("messages.dll");
  host.TakeCalls();
  const std::vector<CSystemEvent_Win> events = ReadAfterSeen(record + RecordBytes({.number = 12}));
  EXPECT_THAT(Numbers(events), ElementsAre(11U, 12U));
  EXPECT_EQ(events.at(0).args, GetParam().args);
  EXPECT_EQ(host.TakeCallsOf("FormatMessageA").at(0),
            std::string("FormatMessageA(") + GetParam().formatted + ")");
}

INSTANTIATE_TEST_SUITE_P(
    SystemLogReader, SystemLogRecordStrings,
    testing::Values(
        StringsCase{"Sound",
                    76,
                    2,
                    std::string("a\0b\0", 4),
                    {"a", "b"},
                    "0x3900, module, 0x20002712, 0, 0, [a|b]"},
        StringsCase{"LastHasNoEnd",
                    76,
                    2,
                    std::string("a\0bc", 4),
                    {"a"},
                    "0x3900, module, 0x20002712, 0, 0, [a]"},
        StringsCase{"OnlyOneHasNoEnd", 76, 1, "abcd", {}, "0x1900, module, 0x20002712, 0, 0, none"},
        StringsCase{"MoreCountedThanThere",
                    76,
                    65535,
                    std::string("a\0b\0", 4),
                    {"a", "b"},
                    "0x3900, module, 0x20002712, 0, 0, [a|b]"},
        StringsCase{"OffsetAtTheEnd",
                    80,
                    1,
                    std::string("a\0b\0", 4),
                    {},
                    "0x1900, module, 0x20002712, 0, 0, none"},
        StringsCase{"OffsetBeyondTheEnd",
                    81,
                    1,
                    std::string("a\0b\0", 4),
                    {},
                    "0x1900, module, 0x20002712, 0, 0, none"},
        StringsCase{"OffsetAllBitsSet",
                    0xFFFFFFFF,
                    65535,
                    std::string("a\0b\0", 4),
                    {},
                    "0x1900, module, 0x20002712, 0, 0, none"},
        StringsCase{"NoneCounted",
                    76,
                    0,
                    std::string("a\0b\0", 4),
                    {},
                    "0x1900, module, 0x20002712, 0, 0, none"}),
    [](const testing::TestParamInfo<StringsCase>& test) { return test.param.name; });

}  // namespace
}  // namespace Ondrel
