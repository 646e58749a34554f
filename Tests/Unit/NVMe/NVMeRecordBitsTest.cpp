#include <Ondrel/NVMe.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// Where every field of the records stands: each bit of a record's bytes belongs to one field, and
// setting it changes that field alone. The numbers are those of the standard's tables.

namespace Ondrel::Testing {
namespace {

template <class Record>
struct Field {
  const char* name;
  std::size_t firstBit;
  std::size_t bits;
  std::uint64_t (*value)(const Record& record);         // Of a field of at most 64 bits.
  const unsigned char* (*bytes)(const Record& record);  // Of any other.
};

#define BITS(byte, bit, bits, member)                                                         \
  {                                                                                           \
#member, (byte)*std::size_t{                                                              \
                 8 } + (bit), bits,                                                           \
                 [](const Record& record) -> std::uint64_t { return record.member; }, nullptr \
  }
#define BYTES(byte, count, member)                                                                \
  {                                                                                               \
#member,                                                                                      \
        (byte)*std::size_t{                                                                       \
            8 },                                                                                  \
            (count)*std::size_t{                                                                  \
                8 }, nullptr,                                                                     \
                [](const Record&                                                                  \
                       record) { return reinterpret_cast<const unsigned char*>(&record.member); } \
  }

template <class Record>
void ExpectBitInField(const Field<Record>& field, const Record& record, std::size_t bit) {
  const bool isInside = bit >= field.firstBit && bit - field.firstBit < field.bits;
  const std::size_t place = bit - field.firstBit;
  if (field.value != nullptr) {
    const std::uint64_t expected = isInside ? std::uint64_t{1} << place : 0;
    ASSERT_EQ(field.value(record), expected) << field.name << ", bit " << bit;
    return;
  }
  std::vector<unsigned char> expected(field.bits / 8);
  if (isInside) expected[place / 8] = static_cast<unsigned char>(1U << place % 8);
  ASSERT_EQ(std::memcmp(field.bytes(record), expected.data(), expected.size()), 0)
      << field.name << ", bit " << bit;
}

template <class Record>
void ExpectEachBitInItsField(const std::vector<Field<Record>>& fields) {
  std::size_t end = 0;
  for (const Field<Record>& field : fields) {
    ASSERT_EQ(field.firstBit, end) << field.name << " does not follow the field before it";
    end += field.bits;
  }
  ASSERT_EQ(end, sizeof(Record) * 8);

  for (std::size_t bit = 0; bit < sizeof(Record) * 8; ++bit) {
    Record record{};
    reinterpret_cast<unsigned char*>(&record)[bit / 8] = static_cast<unsigned char>(1U << bit % 8);
    for (const Field<Record>& field : fields)
      ASSERT_NO_FATAL_FAILURE(ExpectBitInField(field, record, bit));
  }
}

TEST(NVMeRecordBits, IdentifyController) {
  using Record = NVME_IDENTIFY_CONTROLLER;
  ExpectEachBitInItsField<Record>({
      BITS(0, 0, 16, VID),
      BITS(2, 0, 16, SSVID),
      BYTES(4, 20, SN),
      BYTES(24, 40, MN),
      BYTES(64, 8, FR),
      BITS(72, 0, 8, RAB),
      BYTES(73, 3, IEEE),
      BITS(76, 0, 1, CMIC.MultiplePorts),
      BITS(76, 1, 1, CMIC.MultipleControllers),
      BITS(76, 2, 1, CMIC.VirtualFunction),
      BITS(76, 3, 5, CMIC.Reserved),
      BITS(77, 0, 8, MDTS),
      BITS(78, 0, 16, CNTLID),
      BITS(80, 0, 8, VER.TER),
      BITS(81, 0, 8, VER.MNR),
      BITS(82, 0, 16, VER.MJR),
      BITS(84, 0, 32, RTD3R),
      BITS(88, 0, 32, RTD3E),
      BITS(92, 0, 8, OAES.Reserved0),
      BITS(92, 8, 1, OAES.NamespaceAttributeNotices),
      BITS(92, 9, 1, OAES.FirmwareActivationNotices),
      BITS(92, 10, 22, OAES.Reserved10),
      BITS(96, 0, 1, CTRATT.HostIdentifier128Bit),
      BITS(96, 1, 1, CTRATT.NonOperationalPowerStatePermissive),
      BITS(96, 2, 30, CTRATT.Reserved),
      BYTES(100, 155, Reserved100),
      BITS(255, 0, 1, MEC.SMBusPort),
      BITS(255, 1, 1, MEC.PCIePort),
      BITS(255, 2, 6, MEC.Reserved),
      BITS(256, 0, 1, OACS.Security),
      BITS(256, 1, 1, OACS.Format),
      BITS(256, 2, 1, OACS.Firmware),
      BITS(256, 3, 1, OACS.NamespaceManagement),
      BITS(256, 4, 1, OACS.DeviceSelfTest),
      BITS(256, 5, 1, OACS.Directives),
      BITS(256, 6, 1, OACS.ManagementInterface),
      BITS(256, 7, 1, OACS.VirtualizationManagement),
      BITS(256, 8, 1, OACS.DoorbellBufferConfig),
      BITS(256, 9, 7, OACS.Reserved),
      BITS(258, 0, 8, ACL),
      BITS(259, 0, 8, AERL),
      BITS(260, 0, 1, FRMW.Slot1ReadOnly),
      BITS(260, 1, 3, FRMW.Slots),
      BITS(260, 4, 1, FRMW.ActivationWithoutReset),
      BITS(260, 5, 3, FRMW.Reserved),
      BITS(261, 0, 1, LPA.HealthLogPerNamespace),
      BITS(261, 1, 1, LPA.CommandEffectsLog),
      BITS(261, 2, 1, LPA.ExtendedData),
      BITS(261, 3, 1, LPA.Telemetry),
      BITS(261, 4, 4, LPA.Reserved),
      BITS(262, 0, 8, ELPE),
      BITS(263, 0, 8, NPSS),
      BITS(264, 0, 1, AVSCC.VendorSpecificFormat),
      BITS(264, 1, 7, AVSCC.Reserved),
      BITS(265, 0, 1, APSTA.Supported),
      BITS(265, 1, 7, APSTA.Reserved),
      BITS(266, 0, 16, WCTEMP),
      BITS(268, 0, 16, CCTEMP),
      BITS(270, 0, 16, MTFA),
      BITS(272, 0, 32, HMPRE),
      BITS(276, 0, 32, HMMIN),
      BITS(280, 0, 64, TNVMCAP[0]),
      BITS(288, 0, 64, TNVMCAP[1]),
      BITS(296, 0, 64, UNVMCAP[0]),
      BITS(304, 0, 64, UNVMCAP[1]),
      BITS(312, 0, 3, RPMBS.Units),
      BITS(312, 3, 3, RPMBS.Authentication),
      BITS(312, 6, 10, RPMBS.Reserved),
      BITS(312, 16, 8, RPMBS.TotalSize),
      BITS(312, 24, 8, RPMBS.AccessSize),
      BITS(316, 0, 16, EDSTT),
      BITS(318, 0, 1, DSTO.OneAtATime),
      BITS(318, 1, 7, DSTO.Reserved),
      BITS(319, 0, 8, FWUG),
      BITS(320, 0, 16, KAS),
      BITS(322, 0, 1, HCTMA.Supported),
      BITS(322, 1, 15, HCTMA.Reserved),
      BITS(324, 0, 16, MNTMT),
      BITS(326, 0, 16, MXTMT),
      BITS(328, 0, 1, SANICAP.CryptoErase),
      BITS(328, 1, 1, SANICAP.BlockErase),
      BITS(328, 2, 1, SANICAP.Overwrite),
      BITS(328, 3, 29, SANICAP.Reserved),
      BYTES(332, 180, Reserved332),
      BITS(512, 0, 4, SQES.Required),
      BITS(512, 4, 4, SQES.Maximum),
      BITS(513, 0, 4, CQES.Required),
      BITS(513, 4, 4, CQES.Maximum),
      BITS(514, 0, 16, MAXCMD),
      BITS(516, 0, 32, NN),
      BITS(520, 0, 1, ONCS.Compare),
      BITS(520, 1, 1, ONCS.WriteUncorrectable),
      BITS(520, 2, 1, ONCS.DatasetManagement),
      BITS(520, 3, 1, ONCS.WriteZeroes),
      BITS(520, 4, 1, ONCS.SaveAndSelect),
      BITS(520, 5, 1, ONCS.Reservations),
      BITS(520, 6, 1, ONCS.Timestamp),
      BITS(520, 7, 9, ONCS.Reserved),
      BITS(522, 0, 1, FUSES.CompareAndWrite),
      BITS(522, 1, 15, FUSES.Reserved),
      BITS(524, 0, 1, FNA.FormatAll),
      BITS(524, 1, 1, FNA.EraseAll),
      BITS(524, 2, 1, FNA.CryptographicErase),
      BITS(524, 3, 5, FNA.Reserved),
      BITS(525, 0, 1, VWC.Present),
      BITS(525, 1, 7, VWC.Reserved),
      BITS(526, 0, 16, AWUN),
      BITS(528, 0, 16, AWUPF),
      BITS(530, 0, 1, NVSCC.VendorSpecificFormat),
      BITS(530, 1, 7, NVSCC.Reserved),
      BITS(531, 0, 8, Reserved531),
      BITS(532, 0, 16, ACWU),
      BYTES(534, 2, Reserved534),
      BITS(536, 0, 2, SGLS.Support),
      BITS(536, 2, 1, SGLS.KeyedDataBlock),
      BITS(536, 3, 13, SGLS.Reserved3),
      BITS(536, 16, 1, SGLS.BitBucket),
      BITS(536, 17, 1, SGLS.ByteAlignedMetadataBuffer),
      BITS(536, 18, 1, SGLS.LengthLargerThanData),
      BITS(536, 19, 1, SGLS.MetadataPointerDescriptor),
      BITS(536, 20, 1, SGLS.AddressAsOffset),
      BITS(536, 21, 11, SGLS.Reserved21),
      BYTES(540, 228, Reserved540),
      BYTES(768, 256, SUBNQN),
      BYTES(1024, 768, Reserved1024),
      BYTES(1792, 256, Fabrics),
      BYTES(2048, 1024, PSD),
      BYTES(3072, 1024, VS),
  });
}

TEST(NVMeRecordBits, IdentifyNamespace) {
  using Record = NVME_IDENTIFY_NAMESPACE;
  ExpectEachBitInItsField<Record>({
      BITS(0, 0, 64, NSZE),
      BITS(8, 0, 64, NCAP),
      BITS(16, 0, 64, NUSE),
      BITS(24, 0, 8, NSFEAT),
      BITS(25, 0, 8, NLBAF),
      BITS(26, 0, 4, FLBAS.Format),
      BITS(26, 4, 1, FLBAS.MetadataAtEnd),
      BITS(26, 5, 3, FLBAS.Reserved),
      BITS(27, 0, 8, MC),
      BITS(28, 0, 8, DPC),
      BITS(29, 0, 8, DPS),
      BITS(30, 0, 8, NMIC),
      BITS(31, 0, 8, RESCAP),
      BITS(32, 0, 7, FPI.PercentageRemaining),
      BITS(32, 7, 1, FPI.Supported),
      BITS(33, 0, 8, DLFEAT),
      BITS(34, 0, 16, NAWUN),
      BITS(36, 0, 16, NAWUPF),
      BITS(38, 0, 16, NACWU),
      BITS(40, 0, 16, NABSN),
      BITS(42, 0, 16, NABO),
      BITS(44, 0, 16, NABSPF),
      BITS(46, 0, 16, NOIOB),
      BITS(48, 0, 64, NVMCAP[0]),
      BITS(56, 0, 64, NVMCAP[1]),
      BYTES(64, 40, Reserved64),
      BYTES(104, 16, NGUID),
      BYTES(120, 8, EUI64),
      BYTES(128, 64, LBAF),
      BYTES(192, 192, Reserved192),
      BYTES(384, 3712, VS),
  });
}

TEST(NVMeRecordBits, IdentifyLbaFormatData) {
  using Record = NVME_IDENTIFY_LBA_FORMAT_DATA;
  ExpectEachBitInItsField<Record>({
      BITS(0, 0, 16, MS),
      BITS(2, 0, 8, LBADS),
      BITS(3, 0, 2, RP),
      BITS(3, 2, 6, Reserved3),
  });
}

TEST(NVMeRecordBits, PowerStateDescriptor) {
  using Record = NVME_POWER_STATE_DESCRIPTOR;
  ExpectEachBitInItsField<Record>({
      BITS(0, 0, 16, MP),         BITS(2, 0, 8, Reserved2),   BITS(3, 0, 1, MPS),
      BITS(3, 1, 1, NOPS),        BITS(3, 2, 6, Reserved3),   BITS(4, 0, 32, ENLAT),
      BITS(8, 0, 32, EXLAT),      BITS(12, 0, 5, RRT),        BITS(12, 5, 3, Reserved12),
      BITS(13, 0, 5, RRL),        BITS(13, 5, 3, Reserved13), BITS(14, 0, 5, RWT),
      BITS(14, 5, 3, Reserved14), BITS(15, 0, 5, RWL),        BITS(15, 5, 3, Reserved15),
      BITS(16, 0, 16, IDLP),      BITS(18, 0, 6, Reserved18), BITS(18, 6, 2, IPS),
      BITS(19, 0, 8, Reserved19), BITS(20, 0, 16, ACTP),      BITS(22, 0, 3, APW),
      BITS(22, 3, 3, Reserved22), BITS(22, 6, 2, APS),        BYTES(23, 9, Reserved23),
  });
}

TEST(NVMeRecordBits, SmartHealthInformationLog) {
  using Record = NVME_SMART_HEALTH_INFORMATION_LOG;
  ExpectEachBitInItsField<Record>({
      BITS(0, 0, 1, CriticalWarningFlags.AvailableSpareBelowThreshold),
      BITS(0, 1, 1, CriticalWarningFlags.Temperature),
      BITS(0, 2, 1, CriticalWarningFlags.ReliabilityDegraded),
      BITS(0, 3, 1, CriticalWarningFlags.ReadOnly),
      BITS(0, 4, 1, CriticalWarningFlags.VolatileMemoryBackupFailed),
      BITS(0, 5, 3, CriticalWarningFlags.Reserved),
      BITS(1, 0, 16, CompositeTemperature),
      BITS(3, 0, 8, AvailableSpare),
      BITS(4, 0, 8, AvailableSpareThreshold),
      BITS(5, 0, 8, PercentageUsed),
      BYTES(6, 26, Reserved6),
      BITS(32, 0, 64, DataUnitsRead[0]),
      BITS(40, 0, 64, DataUnitsRead[1]),
      BITS(48, 0, 64, DataUnitsWritten[0]),
      BITS(56, 0, 64, DataUnitsWritten[1]),
      BITS(64, 0, 64, HostReadCommands[0]),
      BITS(72, 0, 64, HostReadCommands[1]),
      BITS(80, 0, 64, HostWriteCommands[0]),
      BITS(88, 0, 64, HostWriteCommands[1]),
      BITS(96, 0, 64, ControllerBusyTime[0]),
      BITS(104, 0, 64, ControllerBusyTime[1]),
      BITS(112, 0, 64, PowerCycles[0]),
      BITS(120, 0, 64, PowerCycles[1]),
      BITS(128, 0, 64, PowerOnHours[0]),
      BITS(136, 0, 64, PowerOnHours[1]),
      BITS(144, 0, 64, UnsafeShutdowns[0]),
      BITS(152, 0, 64, UnsafeShutdowns[1]),
      BITS(160, 0, 64, MediaErrors[0]),
      BITS(168, 0, 64, MediaErrors[1]),
      BITS(176, 0, 64, ErrorLogEntries[0]),
      BITS(184, 0, 64, ErrorLogEntries[1]),
      BITS(192, 0, 32, WarningTemperatureTime),
      BITS(196, 0, 32, CriticalTemperatureTime),
      BITS(200, 0, 16, TemperatureSensor[0]),
      BITS(202, 0, 16, TemperatureSensor[1]),
      BITS(204, 0, 16, TemperatureSensor[2]),
      BITS(206, 0, 16, TemperatureSensor[3]),
      BITS(208, 0, 16, TemperatureSensor[4]),
      BITS(210, 0, 16, TemperatureSensor[5]),
      BITS(212, 0, 16, TemperatureSensor[6]),
      BITS(214, 0, 16, TemperatureSensor[7]),
      BITS(216, 0, 32, ThermalManagement1TransitionCount),
      BITS(220, 0, 32, ThermalManagement2TransitionCount),
      BITS(224, 0, 32, ThermalManagement1TotalTime),
      BITS(228, 0, 32, ThermalManagement2TotalTime),
      BYTES(232, 280, Reserved232),
  });
}

TEST(NVMeRecordBits, ErrorInformationLogEntry) {
  using Record = NVME_ERROR_INFORMATION_LOG_ENTRY;
  ExpectEachBitInItsField<Record>({
      BITS(0, 0, 64, ErrorCount),
      BITS(8, 0, 16, SubmissionQueueId),
      BITS(10, 0, 16, CommandId),
      BYTES(12, 2, StatusField),
      BITS(14, 0, 8, ParameterErrorLocation.Byte),
      BITS(14, 8, 3, ParameterErrorLocation.Bit),
      BITS(14, 11, 5, ParameterErrorLocation.Reserved),
      BITS(16, 0, 64, LogicalBlockAddress),
      BITS(24, 0, 32, Namespace),
      BITS(28, 0, 8, VendorSpecificInformationAvailable),
      BYTES(29, 35, Remainder),
  });
}

TEST(NVMeRecordBits, StatusField) {
  using Record = NVME_STATUS_FIELD;
  ExpectEachBitInItsField<Record>({
      BITS(0, 0, 1, P),
      BITS(0, 1, 8, SC),
      BITS(0, 9, 3, SCT),
      BITS(0, 12, 2, Reserved12),
      BITS(0, 14, 1, M),
      BITS(0, 15, 1, DNR),
  });
}

}  // namespace
}  // namespace Ondrel::Testing
