#include "Host/EventHistory.h"
#include "Host/Linux/EventLog/EventRecord.h"
#include "Host/Linux/EventLog/JournalEntry.h"
#include "Support/EventStoreFixture.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <span>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace Ondrel {
namespace {

using namespace std::string_literals;

std::string Bytes(const std::vector<std::byte>& image) {
  return {reinterpret_cast<const char*>(image.data()), image.size()};
}

TEST(EventRecord, AComposedRecordHasThePublishedLayoutByteForByte) {
  Host::EventRecord record;
  record.number = 7;
  record.timeGenerated = 0x5F5E1000;
  record.timeWritten = 0x5F5E1001;
  record.id = 0x20002715;
  record.type = 2;
  record.category = 3;
  record.source = "Demo";
  record.computer = "host";
  record.strings = {"first", "", "x"};
  record.data = {std::byte{0xAA}, std::byte{0xBB}, std::byte{0xCC}};

  // 56 fixed, 10 names, 2 alignment, 9 strings, 3 data, no padding, 4 closing length.
  EXPECT_EQ(Bytes(Host::ComposeEventRecord(record)),
            "\x54\x00\x00\x00"  // Length 84
            "\x4C\x66\x4C\x65"  // "LfLe"
            "\x07\x00\x00\x00"  // RecordNumber
            "\x00\x10\x5E\x5F"  // TimeGenerated
            "\x01\x10\x5E\x5F"  // TimeWritten
            "\x15\x27\x00\x20"  // EventID
            "\x02\x00"          // EventType
            "\x03\x00"          // NumStrings
            "\x03\x00"          // EventCategory
            "\x00\x00"          // ReservedFlags
            "\x00\x00\x00\x00"  // ClosingRecordNumber
            "\x44\x00\x00\x00"  // StringOffset 68
            "\x00\x00\x00\x00"  // UserSidLength
            "\x44\x00\x00\x00"  // UserSidOffset 68
            "\x03\x00\x00\x00"  // DataLength
            "\x4D\x00\x00\x00"  // DataOffset 77
            "Demo\0host\0"
            "\0\0"
            "first\0\0x\0"
            "\xAA\xBB\xCC"
            "\x54\x00\x00\x00"s);
}

TEST(EventRecord, ARecordOfNothingButNamesIsPaddedToFourBytes) {
  Host::EventRecord record;
  record.source = "A";
  record.computer = "";

  EXPECT_EQ(Bytes(Host::ComposeEventRecord(record)),
            "\x40\x00\x00\x00"
            "\x4C\x66\x4C\x65"
            "\x00\x00\x00\x00"
            "\x00\x00\x00\x00"
            "\x00\x00\x00\x00"
            "\x00\x00\x00\x00"
            "\x00\x00"
            "\x00\x00"
            "\x00\x00"
            "\x00\x00"
            "\x00\x00\x00\x00"
            "\x3C\x00\x00\x00"
            "\x00\x00\x00\x00"
            "\x3C\x00\x00\x00"
            "\x00\x00\x00\x00"
            "\x3C\x00\x00\x00"
            "A\0\0\0"
            "\x40\x00\x00\x00"s);
}

TEST(EventRecord, EveryLengthOfTextAndDataGivesALengthInFours) {
  for (std::size_t size = 0; size < 9; ++size) {
    Host::EventRecord record;
    record.source = std::string(size, 's');
    record.strings = {std::string(size / 2, 't')};
    record.data.resize(8 - size);
    const std::vector<std::byte> image = Host::ComposeEventRecord(record);
    EXPECT_EQ(image.size() % 4, 0u) << size;
    EXPECT_TRUE(Host::IsWholeRecord(image)) << size;
  }
}

TEST(EventRecord, BytesShorterThanAnyRecordAreNotWhole) {
  const std::vector<std::byte> image = Host::ComposeEventRecord({});
  for (std::size_t size = 0; size < image.size(); ++size)
    EXPECT_FALSE(Host::IsWholeRecord(std::span(image).first(size))) << size;
}

struct CutRow {
  const char* name;
  std::string text;
  std::size_t kept;
};

TEST(EventRecord, ALongStringIsCutAtTheBorderOfACharacter) {
  const CutRow rows[] = {
      {"one that just fits", std::string(31839, 'x'), 31839},
      {"one byte more", std::string(31840, 'x'), 31839},
      {"a character of two bytes across the limit", std::string(31838, 'x') + "\xC3\xBC", 31838},
      {"one of three bytes", std::string(31837, 'x') + "\xE2\x82\xAC", 31837},
      {"one of four bytes", std::string(31836, 'x') + "\xF0\x9F\x98\x80", 31836},
      {"bytes that are not text", std::string(40000, '\x80'), 31836},
  };
  for (const CutRow& row : rows) {
    Host::EventRecord record;
    record.source = "Demo";
    record.strings = {row.text};
    const std::string image = Bytes(Host::ComposeEventRecord(record));
    const std::string kept = image.substr(64);  // 56 fixed, 6 names, 2 alignment.
    EXPECT_TRUE(std::string(kept.c_str()) == row.text.substr(0, row.kept)) << row.name;
  }
}

TEST(EventRecord, NoRecordIsLongerThanTwoInOneRead) {
  Host::EventRecord record;
  record.source = std::string(1000, 's');
  record.computer = std::string(1000, 'c');
  record.strings = {std::string(40000, 'a'), std::string(40000, 'b'), std::string(40000, 'c')};
  record.data.resize(70000);
  const std::vector<std::byte> image = Host::ComposeEventRecord(record);
  EXPECT_LE(image.size(), 32768u);
  EXPECT_TRUE(Host::IsWholeRecord(image));
  EXPECT_EQ(Bytes(image).substr(56, 256), std::string(255, 's') + '\0');
}

TEST(EventRecord, StringsAfterALongOneKeepTheirPlaceAsLongAsThereIsRoom) {
  Host::EventRecord record;
  record.strings = {std::string(31839, 'a'), std::string(31839, 'b'), "c"};
  const std::string image = Bytes(Host::ComposeEventRecord(record));
  const auto count = static_cast<unsigned char>(image[26]);
  EXPECT_EQ(count, 2);
  EXPECT_LE(image.size(), 32768u);
}

class StoredEventRecord : public Testing::EventStoreFixture {};

TEST_F(StoredEventRecord, WhatIsReadIsTheRecordThatWasReportedByteForByte) {
  char computer[256] = {};
  ASSERT_EQ(gethostname(computer, sizeof computer - 1), 0);
  const Testing::SourceHandle source(Operations(), "Demo");
  const char* strings[] = {"first", ""};
  char data[] = {0x01, 0x00, 0x02};
  const auto before = static_cast<ULong>(std::time(nullptr));
  ASSERT_NE(Operations().ReportEventA(source.Get(), 0xFFFF, 0x0102, 0xE0002715, data, 2, 3, strings,
                                      data),
            0);
  const auto after = static_cast<ULong>(std::time(nullptr));

  const std::vector<char> bytes =
      Testing::LogHandle(Operations(), "Demo").Read(Testing::kSequentialForwards).bytes;

  const auto number = [](std::size_t value) {
    return std::string{static_cast<char>(value & 0xFF), static_cast<char>(value >> 8 & 0xFF), 0, 0};
  };
  const auto padded = [](std::string text) {
    while (text.size() % 4 != 0) text += '\0';
    return text;
  };
  const std::string names = padded("Demo\0"s + computer + '\0');
  const std::string content = padded("first\0\0\x01\0\x02"s);
  const std::size_t stringOffset = 56 + names.size();
  const std::size_t length = stringOffset + content.size() + 4;
  const std::string text(bytes.begin(), bytes.end());
  ASSERT_EQ(text.size(), length);
  EXPECT_EQ(text.substr(0, 12), number(length) + "LfLe" + number(1));
  EXPECT_EQ(text.substr(20, 16),
            "\x15\x27\x00\xE0\xFF\xFF\x02\x00\x02\x01\x00\x00\x00\x00\x00\x00"s);
  EXPECT_EQ(text.substr(36, 20), number(stringOffset) + number(0) + number(stringOffset) +
                                     number(3) + number(stringOffset + 7));
  EXPECT_EQ(text.substr(56), names + content + number(length));

  EVENTLOGRECORD header{};
  std::memcpy(&header, bytes.data(), sizeof header);
  EXPECT_GE(header.TimeGenerated, before);
  EXPECT_LE(header.TimeGenerated, header.TimeWritten);
  EXPECT_LE(header.TimeWritten, after);
}

// What stands in stores: another result would make every record of theirs look damaged.
TEST(EventRecord, TheChecksumsAreThoseOfStoresThatThereAre) {
  const auto checksum = [](std::string_view bytes) {
    return static_cast<std::uint64_t>(Host::RecordChecksum(std::as_bytes(std::span(bytes))));
  };
  EXPECT_EQ(checksum(""), 0u);
  EXPECT_EQ(checksum("abc"), 0xBF8142005D377223u);
  EXPECT_EQ(checksum("12345678"), 0xE739A9234CB57980u);
  EXPECT_EQ(checksum("123456789"), 0x468DC4F312C13D46u);
  EXPECT_EQ(static_cast<std::uint64_t>(Host::LogChecksum(1, "Log")), 0xC7D73D14F5B3E566u);
  EXPECT_EQ(static_cast<std::uint64_t>(Host::LogChecksum(2, "Log")), 0xEB1258D41AF1FAB7u);
}

TEST(EventRecord, ARecordThatLeavesItsImageIsNotTakenApart) {
  Host::EventRecord composed;
  composed.source = "Demo";
  composed.computer = "host";
  composed.strings = {"first", "last"};
  composed.data = {std::byte{1}, std::byte{2}};
  const std::vector<std::byte> whole = Host::ComposeEventRecord(composed);
  Host::EventLogRecord record;
  ASSERT_TRUE(Host::ReadEventRecord(whole.data(), whole.size(), record));
  EXPECT_EQ(record.strings, (std::vector<std::string>{"first", "last"}));
  EXPECT_EQ(record.data, "\1\2");

  const auto isRead = [&](std::size_t offset, DWORD value) {
    std::vector<std::byte> image = whole;
    std::memcpy(image.data() + offset, &value, sizeof value);
    return Host::ReadEventRecord(image.data(), image.size(), record);
  };
  const auto size = static_cast<DWORD>(whole.size());
  EXPECT_FALSE(Host::ReadEventRecord(whole.data(), 0, record));
  EXPECT_FALSE(Host::ReadEventRecord(whole.data(), sizeof(EVENTLOGRECORD) - 1, record));
  EXPECT_FALSE(Host::ReadEventRecord(whole.data(), whole.size() - 1, record));
  EXPECT_FALSE(isRead(offsetof(EVENTLOGRECORD, Length), size + 1));
  EXPECT_FALSE(isRead(offsetof(EVENTLOGRECORD, Length), sizeof(EVENTLOGRECORD) - 1));
  // Of the head alone there are no names, and of one byte less than both the second has no end.
  EXPECT_FALSE(isRead(offsetof(EVENTLOGRECORD, Length), sizeof(EVENTLOGRECORD)));
  EXPECT_FALSE(isRead(offsetof(EVENTLOGRECORD, Length), sizeof(EVENTLOGRECORD) + 9));
  EXPECT_FALSE(isRead(offsetof(EVENTLOGRECORD, StringOffset), size));
  EXPECT_FALSE(isRead(offsetof(EVENTLOGRECORD, StringOffset), size + 1));
  EXPECT_FALSE(isRead(offsetof(EVENTLOGRECORD, DataOffset), size + 1));
  EXPECT_FALSE(isRead(offsetof(EVENTLOGRECORD, DataOffset), size - 1));
  EXPECT_TRUE(isRead(offsetof(EVENTLOGRECORD, DataOffset), size - 2));
  EXPECT_FALSE(isRead(offsetof(EVENTLOGRECORD, DataLength), size));
}

TEST(JournalPlace, TakesNumberingNumberAndTimeFromACursor) {
  const std::string id(32, 'a');
  const auto place = Host::PlaceOfCursor("s=" + id + ";i=1f;b=0;m=2;t=ff;x=3");
  ASSERT_TRUE(place.has_value());
  EXPECT_EQ(std::string(place->numbering.begin(), place->numbering.end()), id);
  EXPECT_EQ(place->sequence, 0x1Fu);
  EXPECT_EQ(place->time, 0xFFu);

  EXPECT_TRUE(Host::PlaceOfCursor("i=1;s=" + id).has_value());
  EXPECT_FALSE(Host::PlaceOfCursor("s=" + id + ";t=1").has_value());
  EXPECT_FALSE(Host::PlaceOfCursor("i=1;t=1").has_value());
  EXPECT_FALSE(Host::PlaceOfCursor("s=" + id + "a;i=1").has_value());
  EXPECT_FALSE(Host::PlaceOfCursor("s=" + id + ";i=x").has_value());
  EXPECT_FALSE(Host::PlaceOfCursor("s=" + id + ";i=1;t=").has_value());
  EXPECT_FALSE(Host::PlaceOfCursor("").has_value());
}

}  // namespace
}  // namespace Ondrel
