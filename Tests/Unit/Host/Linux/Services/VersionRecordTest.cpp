#include "Host/Linux/Services/VersionRecord.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Ondrel::Host {
namespace {

constexpr char kVersionKey[] = "\\StringFileInfo\\040904B0\\FileVersion";

std::string VersionIn(const std::vector<char>& record, const char* key = kVersionKey) {
  std::span<const char> value;
  if (!FindVersionValue(record, key, value)) return "(none)";
  return std::string(value.data(), value.size());
}

TEST(VersionRecord, ReportsItsVersionAndTranslation) {
  const std::vector<char> record = MakeVersionRecord("1.2.3 (build 4)");
  EXPECT_EQ(VersionIn(record), std::string("1.2.3 (build 4)\0", 16));
  EXPECT_EQ(VersionIn(record, "\\VarFileInfo\\Translation"), std::string("\x09\x04\xB0\x04", 4));
}

TEST(VersionRecord, CaseOfAKeyDoesNotCount) {
  EXPECT_EQ(VersionIn(MakeVersionRecord("7"), "\\stringfileinfo\\040904b0\\fileversion"),
            std::string("7\0", 2));
}

TEST(VersionRecord, MissingKeysHaveNoValue) {
  const std::vector<char> record = MakeVersionRecord("7");
  EXPECT_EQ(VersionIn(record, "\\StringFileInfo\\040704E4\\FileVersion"), "(none)");
  EXPECT_EQ(VersionIn(record, "\\Nothing"), "(none)");
  EXPECT_EQ(VersionIn(record, "\\StringFileInfo\\040904B0\\FileVersion\\More"), "(none)");
}

TEST(VersionRecord, LongVersionIsCut) {
  EXPECT_EQ(VersionIn(MakeVersionRecord(std::string(100000, '7'))).size(), 1025U);
}

TEST(VersionRecord, TruncatedRecordHasNoValueAndIsNotReadBeyond) {
  const std::vector<char> whole = MakeVersionRecord("1.2.3");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::vector<char> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(VersionIn(cut), "(none)") << size;
  }
}

TEST(VersionRecord, LengthsThatLieAreRefused) {
  const std::vector<char> whole = MakeVersionRecord("1.2.3");
  for (std::size_t place = 0; place + 1 < whole.size(); ++place)
    for (const std::uint16_t lie : {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{0xFFFF}}) {
      std::vector<char> record = whole;
      std::memcpy(record.data() + place, &lie, sizeof lie);
      VersionIn(record);  // Any answer will do, but for reading outside the record.
    }
}

TEST(VersionRecord, ValueThatReachesPastItsNodeIsNoValue) {
  constexpr char kTranslationKey[] = "\\VarFileInfo\\Translation";
  std::vector<char> record = MakeVersionRecord("1.2.3");
  constexpr std::string_view kKey = "Translation";
  const auto at = std::search(record.begin(), record.end(), kKey.begin(), kKey.end());
  // The length of the node's value lies before its key; the value is the record's end.
  char* const length = record.data() + (at - record.begin()) - 2;
  ASSERT_EQ(VersionIn(record, kTranslationKey), std::string(record.end() - 4, record.end()));
  *length = 5;
  EXPECT_EQ(VersionIn(record, kTranslationKey), "(none)");
}

}  // namespace
}  // namespace Ondrel::Host
