#include "Tool/NVMeFields.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

namespace Tool {
namespace {

using Ondrel::NVME_IDENTIFY_CONTROLLER;
using Ondrel::NVME_IDENTIFY_NAMESPACE;

/// A part of a field of bits, set through the record's own declaration.
template <class Record>
struct BitRow {
  const char* field;
  const char* part;
  unsigned int most;
  void (*set)(Record& record, unsigned int value);
};

template <class Record>
Json JsonWith(const BitRow<Record>& row, unsigned int value) {
  Record record;
  std::memset(static_cast<void*>(&record), 0, sizeof record);
  row.set(record, value);
  return FieldsOf(record).AsJson()[row.field];
}

/// Sets each part alone, and looks for it and for nothing else under its name.
template <class Record, std::size_t kCount>
void ExpectPartsWhereTheRecordHasThem(const BitRow<Record> (&rows)[kCount]) {
  for (const BitRow<Record>& row : rows) {
    const Json shown = JsonWith(row, row.most);
    EXPECT_TRUE(shown.contains(row.part)) << row.field << ' ' << row.part;
    for (const auto& [name, value] : shown.items()) {
      if (name == "value") continue;
      const Json one = row.most == 1 ? Json(true) : Json(row.most);
      if (name == row.part)
        EXPECT_EQ(value, one) << row.field << ' ' << name;
      else
        EXPECT_TRUE(value == Json(false) || value == Json(0)) << row.field << ' ' << row.part;
    }
    EXPECT_TRUE(shown.contains(row.part)) << row.field << ' ' << row.part;
    EXPECT_NE(shown["value"], 0) << row.field << ' ' << row.part;
  }
}

#define FIELD(field, part, most)                                 \
  {                                                              \
#field, #part, most, [](auto& record, unsigned int value) {    \
      record.field.part =                                          \
          static_cast<decltype(record.field.part)>(value & (most)); \
    } \
  }

TEST(NVMeFields, NamesHaveAColumnThatALongerOneLeavesByASpace) {
  Fields fields;
  fields.Number("SHORT", "Short name", 1);
  fields.Number("EIGHTLET", "Eight letters", 2);
  fields.Number("LONGERNAME", "Longer name", 3);
  std::ostringstream out;
  fields.Print(out, {.withNames = true});
  EXPECT_EQ(out.str(),
            "SHORT    Short name     1\n"
            "EIGHTLET Eight letters  2\n"
            "LONGERNAME Longer name    3\n");
}

TEST(NVMeFields, PartsOfAControllersFieldsStandWhereTheRecordHasThem) {
  constexpr BitRow<NVME_IDENTIFY_CONTROLLER> kRows[] = {
      FIELD(CMIC, MultiplePorts, 1),
      FIELD(CMIC, MultipleControllers, 1),
      FIELD(CMIC, VirtualFunction, 1),
      FIELD(OAES, NamespaceAttributeNotices, 1),
      FIELD(OAES, FirmwareActivationNotices, 1),
      FIELD(CTRATT, HostIdentifier128Bit, 1),
      FIELD(CTRATT, NonOperationalPowerStatePermissive, 1),
      FIELD(MEC, SMBusPort, 1),
      FIELD(MEC, PCIePort, 1),
      FIELD(OACS, Security, 1),
      FIELD(OACS, Format, 1),
      FIELD(OACS, Firmware, 1),
      FIELD(OACS, NamespaceManagement, 1),
      FIELD(OACS, DeviceSelfTest, 1),
      FIELD(OACS, Directives, 1),
      FIELD(OACS, ManagementInterface, 1),
      FIELD(OACS, VirtualizationManagement, 1),
      FIELD(OACS, DoorbellBufferConfig, 1),
      FIELD(FRMW, Slot1ReadOnly, 1),
      FIELD(FRMW, Slots, 7),
      FIELD(FRMW, ActivationWithoutReset, 1),
      FIELD(LPA, HealthLogPerNamespace, 1),
      FIELD(LPA, CommandEffectsLog, 1),
      FIELD(LPA, ExtendedData, 1),
      FIELD(LPA, Telemetry, 1),
      FIELD(AVSCC, VendorSpecificFormat, 1),
      FIELD(APSTA, Supported, 1),
      FIELD(RPMBS, Units, 7),
      FIELD(RPMBS, Authentication, 7),
      FIELD(RPMBS, TotalSize, 255),
      FIELD(RPMBS, AccessSize, 255),
      FIELD(DSTO, OneAtATime, 1),
      FIELD(HCTMA, Supported, 1),
      FIELD(SANICAP, CryptoErase, 1),
      FIELD(SANICAP, BlockErase, 1),
      FIELD(SANICAP, Overwrite, 1),
      FIELD(SQES, Required, 15),
      FIELD(SQES, Maximum, 15),
      FIELD(CQES, Required, 15),
      FIELD(CQES, Maximum, 15),
      FIELD(ONCS, Compare, 1),
      FIELD(ONCS, WriteUncorrectable, 1),
      FIELD(ONCS, DatasetManagement, 1),
      FIELD(ONCS, WriteZeroes, 1),
      FIELD(ONCS, SaveAndSelect, 1),
      FIELD(ONCS, Reservations, 1),
      FIELD(ONCS, Timestamp, 1),
      FIELD(FUSES, CompareAndWrite, 1),
      FIELD(FNA, FormatAll, 1),
      FIELD(FNA, EraseAll, 1),
      FIELD(FNA, CryptographicErase, 1),
      FIELD(VWC, Present, 1),
      FIELD(NVSCC, VendorSpecificFormat, 1),
      FIELD(SGLS, Support, 3),
      FIELD(SGLS, KeyedDataBlock, 1),
      FIELD(SGLS, BitBucket, 1),
      FIELD(SGLS, ByteAlignedMetadataBuffer, 1),
      FIELD(SGLS, LengthLargerThanData, 1),
      FIELD(SGLS, MetadataPointerDescriptor, 1),
      FIELD(SGLS, AddressAsOffset, 1),
  };
  ExpectPartsWhereTheRecordHasThem(kRows);
}

TEST(NVMeFields, PartsOfANamespacesFieldsStandWhereTheRecordHasThem) {
  constexpr BitRow<NVME_IDENTIFY_NAMESPACE> kRows[] = {
      FIELD(FLBAS, Format, 15),
      FIELD(FLBAS, MetadataAtEnd, 1),
      FIELD(FPI, PercentageRemaining, 127),
      FIELD(FPI, Supported, 1),
  };
  ExpectPartsWhereTheRecordHasThem(kRows);
}

#undef FIELD

TEST(NVMeFields, BitsAreShownOnRequest) {
  Fields fields;
  fields.Bits("FRMW", "Firmware", 0x13, {{"ReadOnly", 0}, {"Slots", 1, 3}, {"NoReset", 4}});
  std::ostringstream few;
  std::ostringstream all;

  fields.Print(few, {.withNames = true});
  fields.Print(all, {.withNames = true, .withBits = true});

  EXPECT_EQ(few.str(), "FRMW     Firmware  0x13 (ReadOnly, Slots 1, NoReset)\n");
  EXPECT_EQ(all.str(),
            "FRMW     Firmware  0x13 (ReadOnly, Slots 1, NoReset)\n"
            "    bit 0       ReadOnly  1\n"
            "    bits 1-3    Slots     1\n"
            "    bit 4       NoReset   1\n");
}

struct NamespaceBitRow {
  const char* field;
  std::size_t offset;
  unsigned int value;
  const char* line;
};

TEST(NVMeFields, BitsThatTheRecordLeavesWholeAreThoseOfTheStandard) {
  constexpr NamespaceBitRow kRows[] = {
      {"NSFEAT", 24, 0x01, "bit 0       ThinProvisioning      1"},
      {"NSFEAT", 24, 0x04, "bit 2       DeallocatedError      1"},
      {"MC", 27, 0x02, "bit 1       InBufferOfItsOwn  1"},
      {"DPC", 28, 0x10, "bit 4       InLastBytes   1"},
      {"DPS", 29, 0x03, "bits 0-2    Type          3"},
      {"DPS", 29, 0x08, "bit 3       InFirstBytes  1"},
      {"NMIC", 30, 0x01, "bit 0       Shared  1"},
      {"RESCAP", 31, 0x80, "bit 7       IgnoreExistingKey13             1"},
      {"DLFEAT", 33, 0x02, "bits 0-2    ReadsAs                 2"},
      {"DLFEAT", 33, 0x10, "bit 4       GuardIsOfTheData        1"},
  };
  for (const NamespaceBitRow& row : kRows) {
    NVME_IDENTIFY_NAMESPACE record;
    std::memset(static_cast<void*>(&record), 0, sizeof record);
    reinterpret_cast<unsigned char*>(&record)[row.offset] = static_cast<unsigned char>(row.value);
    const Fields fields = FieldsOf(record);
    std::ostringstream shown;
    fields.Print(shown, {.withNames = true, .withBits = true});
    EXPECT_NE(shown.str().find(row.line), std::string::npos) << row.field << '\n' << shown.str();
    // JSON keeps the number as it was before its bits had names.
    EXPECT_EQ(fields.AsJson()[row.field], row.value);
  }
}

TEST(SizeText, WhatIsRoundedUpToTheNextUnitIsShownInIt) {
  EXPECT_EQ(SizeText(999), "999 bytes");
  EXPECT_EQ(SizeText(999994), "999994 bytes (999.99 kB)");
  EXPECT_EQ(SizeText(999999), "999999 bytes (1.00 MB)");
}

}  // namespace
}  // namespace Tool
