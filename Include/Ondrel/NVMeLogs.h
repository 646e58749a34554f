#pragma once

#include <Ondrel/Export.h>

#include <cstddef>
#include <cstdint>

// Records declare their assignment, which is the compiler's own, only to export it.
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-copy"
#endif

/// The records of an NVMe device's log pages, and the status of a completed command;
/// `Ondrel/NVMe.h` says what holds for all records.
namespace Ondrel {

#pragma pack(push, 1)

/// SMART / Health Information log, page 2. 512 bytes.
struct ONDREL_API NVME_SMART_HEALTH_INFORMATION_LOG {
  struct {
    std::uint8_t AvailableSpareBelowThreshold : 1;  ///< Spare capacity is below its threshold.
    std::uint8_t Temperature : 1;                   ///< A temperature has passed a threshold.
    std::uint8_t ReliabilityDegraded : 1;           ///< Media or internal errors are many.
    std::uint8_t ReadOnly : 1;                      ///< The media are in read-only mode.
    std::uint8_t VolatileMemoryBackupFailed : 1;    ///< The backup of volatile memory failed.
    std::uint8_t Reserved : 3;
  } CriticalWarningFlags;                ///< Critical Warning; `CriticalWarning` returns it whole.
  std::uint16_t CompositeTemperature;    ///< Composite Temperature, in kelvin. Not aligned.
  std::uint8_t AvailableSpare;           ///< Available Spare, in percent of the whole.
  std::uint8_t AvailableSpareThreshold;  ///< Available Spare Threshold, in percent.
  std::uint8_t PercentageUsed;           ///< Percentage Used of the estimated life; may pass 100.
  std::uint8_t Reserved6[26];
  std::uint64_t DataUnitsRead[2];       ///< Data Units Read, in 512000 bytes, low word first.
  std::uint64_t DataUnitsWritten[2];    ///< Data Units Written, in 512000 bytes, low word first.
  std::uint64_t HostReadCommands[2];    ///< Host Read Commands, low word first.
  std::uint64_t HostWriteCommands[2];   ///< Host Write Commands, low word first.
  std::uint64_t ControllerBusyTime[2];  ///< Controller Busy Time, in minutes, low word first.
  std::uint64_t PowerCycles[2];         ///< Power Cycles, low word first.
  std::uint64_t PowerOnHours[2];        ///< Power On Hours, low word first.
  std::uint64_t UnsafeShutdowns[2];     ///< Unsafe Shutdowns, low word first.
  std::uint64_t MediaErrors[2];         ///< Media and Data Integrity Errors, low word first.
  std::uint64_t ErrorLogEntries[2];  ///< Number of Error Information Log Entries, low word first.
  std::uint32_t WarningTemperatureTime;   ///< Warning Composite Temperature Time, in minutes.
  std::uint32_t CriticalTemperatureTime;  ///< Critical Composite Temperature Time, in minutes.
  std::uint16_t TemperatureSensor[8];     ///< Temperature Sensors 1 to 8, in kelvin; 0 for none.
  std::uint32_t ThermalManagement1TransitionCount;  ///< Times that its temperature 1 was passed.
  std::uint32_t ThermalManagement2TransitionCount;  ///< Times that its temperature 2 was passed.
  std::uint32_t ThermalManagement1TotalTime;        ///< Seconds beyond its temperature 1.
  std::uint32_t ThermalManagement2TotalTime;        ///< Seconds beyond its temperature 2.
  std::uint8_t Reserved232[280];

  NVME_SMART_HEALTH_INFORMATION_LOG() = default;
  NVME_SMART_HEALTH_INFORMATION_LOG(const NVME_SMART_HEALTH_INFORMATION_LOG&) = default;
  ONDREL_API_INLINE NVME_SMART_HEALTH_INFORMATION_LOG& operator=(
      const NVME_SMART_HEALTH_INFORMATION_LOG&) = default;
  ONDREL_API_INLINE NVME_SMART_HEALTH_INFORMATION_LOG& operator=(
      NVME_SMART_HEALTH_INFORMATION_LOG&&) noexcept = default;

  /// The critical warning byte with all its eight bits.
  std::uint8_t CriticalWarning();
};

/// Status field of a completed command. 2 bytes.
struct ONDREL_API NVME_STATUS_FIELD {
  std::uint16_t P : 1;    ///< Phase Tag.
  std::uint16_t SC : 8;   ///< Status Code.
  std::uint16_t SCT : 3;  ///< Status Code Type: 0 generic, 1 command specific, 2 media.
  std::uint16_t Reserved12 : 2;
  std::uint16_t M : 1;    ///< More: the error log has more about it.
  std::uint16_t DNR : 1;  ///< Do Not Retry: the same command would fail again.

  NVME_STATUS_FIELD() = default;
  NVME_STATUS_FIELD(const NVME_STATUS_FIELD&) = default;
  ONDREL_API_INLINE NVME_STATUS_FIELD& operator=(const NVME_STATUS_FIELD&) = default;
  ONDREL_API_INLINE NVME_STATUS_FIELD& operator=(NVME_STATUS_FIELD&&) noexcept = default;

  /// Whether the command succeeded: `SC` and `SCT` are zero.
  bool SuccessfulCompletion();

  /// What `SC` means under `SCT`; "?" where the standard's tables have no row.
  const char* sStatusCode();

  /// What `SCT` means; "?" from 3 on.
  const char* sStatusCodeType();
};

/// Entry of the Error Information log, page 1. 64 bytes.
struct ONDREL_API NVME_ERROR_INFORMATION_LOG_ENTRY {
  std::uint64_t ErrorCount;         ///< Error Count: number of the error; 0 for no entry.
  std::uint16_t SubmissionQueueId;  ///< Submission Queue ID of the command.
  std::uint16_t CommandId;          ///< Command ID.
  NVME_STATUS_FIELD StatusField;    ///< Status Field of the command's completion.
  struct {
    std::uint16_t Byte : 8;  ///< Byte of the command in which the parameter begins.
    std::uint16_t Bit : 3;   ///< Bit of that byte.
    std::uint16_t Reserved : 5;
  } ParameterErrorLocation;           ///< Parameter Error Location; all ones for none.
  std::uint64_t LogicalBlockAddress;  ///< LBA: the first one that met the error.
  std::uint32_t Namespace;            ///< Namespace identifier.
  std::uint8_t VendorSpecificInformationAvailable;  ///< Log page with more; 0 for none.
  std::uint8_t Remainder[35];                       ///< Copied, not interpreted.

  NVME_ERROR_INFORMATION_LOG_ENTRY() = default;
  NVME_ERROR_INFORMATION_LOG_ENTRY(const NVME_ERROR_INFORMATION_LOG_ENTRY&) = default;
  ONDREL_API_INLINE NVME_ERROR_INFORMATION_LOG_ENTRY& operator=(
      const NVME_ERROR_INFORMATION_LOG_ENTRY&) = default;
  ONDREL_API_INLINE NVME_ERROR_INFORMATION_LOG_ENTRY& operator=(
      NVME_ERROR_INFORMATION_LOG_ENTRY&&) noexcept = default;
};

#pragma pack(pop)

// The layout: each record's size, and the offset of every field that has an address. Bit-fields
// have none.
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG) == 512);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, CriticalWarningFlags) == 0);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::CriticalWarningFlags) == 1);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, CompositeTemperature) == 1);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::CompositeTemperature) == 2);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, AvailableSpare) == 3);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::AvailableSpare) == 1);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, AvailableSpareThreshold) == 4);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::AvailableSpareThreshold) == 1);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, PercentageUsed) == 5);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::PercentageUsed) == 1);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, Reserved6) == 6);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::Reserved6) == 26);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, DataUnitsRead) == 32);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::DataUnitsRead) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, DataUnitsWritten) == 48);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::DataUnitsWritten) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, HostReadCommands) == 64);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::HostReadCommands) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, HostWriteCommands) == 80);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::HostWriteCommands) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, ControllerBusyTime) == 96);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::ControllerBusyTime) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, PowerCycles) == 112);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::PowerCycles) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, PowerOnHours) == 128);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::PowerOnHours) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, UnsafeShutdowns) == 144);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::UnsafeShutdowns) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, MediaErrors) == 160);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::MediaErrors) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, ErrorLogEntries) == 176);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::ErrorLogEntries) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, WarningTemperatureTime) == 192);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::WarningTemperatureTime) == 4);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, CriticalTemperatureTime) == 196);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::CriticalTemperatureTime) == 4);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, TemperatureSensor) == 200);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::TemperatureSensor) == 16);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, ThermalManagement1TransitionCount) ==
              216);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::ThermalManagement1TransitionCount) == 4);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, ThermalManagement2TransitionCount) ==
              220);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::ThermalManagement2TransitionCount) == 4);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, ThermalManagement1TotalTime) == 224);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::ThermalManagement1TotalTime) == 4);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, ThermalManagement2TotalTime) == 228);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::ThermalManagement2TotalTime) == 4);
static_assert(offsetof(NVME_SMART_HEALTH_INFORMATION_LOG, Reserved232) == 232);
static_assert(sizeof(NVME_SMART_HEALTH_INFORMATION_LOG::Reserved232) == 280);

static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY) == 64);
static_assert(offsetof(NVME_ERROR_INFORMATION_LOG_ENTRY, ErrorCount) == 0);
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY::ErrorCount) == 8);
static_assert(offsetof(NVME_ERROR_INFORMATION_LOG_ENTRY, SubmissionQueueId) == 8);
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY::SubmissionQueueId) == 2);
static_assert(offsetof(NVME_ERROR_INFORMATION_LOG_ENTRY, CommandId) == 10);
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY::CommandId) == 2);
static_assert(offsetof(NVME_ERROR_INFORMATION_LOG_ENTRY, StatusField) == 12);
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY::StatusField) == 2);
static_assert(offsetof(NVME_ERROR_INFORMATION_LOG_ENTRY, ParameterErrorLocation) == 14);
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY::ParameterErrorLocation) == 2);
static_assert(offsetof(NVME_ERROR_INFORMATION_LOG_ENTRY, LogicalBlockAddress) == 16);
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY::LogicalBlockAddress) == 8);
static_assert(offsetof(NVME_ERROR_INFORMATION_LOG_ENTRY, Namespace) == 24);
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY::Namespace) == 4);
static_assert(offsetof(NVME_ERROR_INFORMATION_LOG_ENTRY, VendorSpecificInformationAvailable) == 28);
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY::VendorSpecificInformationAvailable) == 1);
static_assert(offsetof(NVME_ERROR_INFORMATION_LOG_ENTRY, Remainder) == 29);
static_assert(sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY::Remainder) == 35);

static_assert(sizeof(NVME_STATUS_FIELD) == 2);

}  // namespace Ondrel

#ifdef __clang__
#pragma clang diagnostic pop
#endif
