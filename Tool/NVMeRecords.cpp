#include "Tool/NVMeDevice.h"
#include "Tool/NVMeFields.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Tool {

namespace {

constexpr std::uint64_t kNoLocation = 0xFFFF;

// The bits that the records leave whole. Source: NVM Express 1.3, Identify Namespace data
// structure.
constexpr BitPart kFeatures[] = {{"ThinProvisioning", 0},
                                 {"NamespaceAtomicUnits", 1},
                                 {"DeallocatedError", 2},
                                 {"IdentifiersNotReused", 3}};
constexpr BitPart kMetadata[] = {{"InBlock", 0}, {"InBufferOfItsOwn", 1}};
constexpr BitPart kProtections[] = {
    {"Type1", 0}, {"Type2", 1}, {"Type3", 2}, {"InFirstBytes", 3}, {"InLastBytes", 4}};
constexpr BitPart kProtection[] = {{"Type", 0, 3}, {"InFirstBytes", 3}};
constexpr BitPart kReservations[] = {{"PersistThroughPowerLoss", 0},
                                     {"WriteExclusive", 1},
                                     {"ExclusiveAccess", 2},
                                     {"WriteExclusiveRegistrantsOnly", 3},
                                     {"ExclusiveAccessRegistrantsOnly", 4},
                                     {"WriteExclusiveAllRegistrants", 5},
                                     {"ExclusiveAccessAllRegistrants", 6},
                                     {"IgnoreExistingKey13", 7}};
constexpr BitPart kSharing[] = {{"Shared", 0}};
constexpr BitPart kDeallocation[] = {
    {"ReadsAs", 0, 3}, {"WriteZeroesDeallocates", 3}, {"GuardIsOfTheData", 4}};

using Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY;
using Ondrel::NVME_IDENTIFY_LBA_FORMAT_DATA;
using Ondrel::NVME_IDENTIFY_NAMESPACE;
using Ondrel::NVME_SMART_HEALTH_INFORMATION_LOG;

Fields FieldsOf(NVME_IDENTIFY_LBA_FORMAT_DATA& format) {
  Fields fields;
  fields.Number("MS", "Metadata", format.MS, "bytes");
  fields.Add("LBADS", "Block size, power of two", format.LBADS,
             std::to_string(format.LBADS) + " (" + std::to_string(format.LBASize()) + " bytes)");
  fields.Add("RP", "Relative performance", unsigned{format.RP},
             std::to_string(format.RP) + " (" + format.sRelativePerformance() + ")");
  return fields;
}

void AddSizes(Fields& fields, NVME_IDENTIFY_NAMESPACE& nameSpace) {
  fields.Number("NSZE", "Size", nameSpace.NSZE, "blocks");
  fields.Number("NCAP", "Capacity", nameSpace.NCAP, "blocks");
  fields.Number("NUSE", "Utilization", nameSpace.NUSE, "blocks");
  fields.Add("LBASize", "Block size", nameSpace.LBASize(),
             std::to_string(nameSpace.LBASize()) + " bytes");
  fields.Add("Capacity", "Size in bytes", nameSpace.Capacity(), SizeText(nameSpace.Capacity()));
}

std::uint16_t Sensor(const NVME_SMART_HEALTH_INFORMATION_LOG& log, std::size_t index) {
  return log.TemperatureSensor[index];
}

}  // namespace

Fields FieldsOf(NVME_IDENTIFY_NAMESPACE& nameSpace) {
  Fields fields;
  AddSizes(fields, nameSpace);
  fields.PlainBits("NSFEAT", "Features", nameSpace.NSFEAT, kFeatures);
  fields.Number("NLBAF", "Last block format", nameSpace.NLBAF);
  fields.Bits("FLBAS", "Block format in use", WholeOf(nameSpace.FLBAS),
              {{"Format", 0, 4}, {"MetadataAtEnd", 4}});
  fields.PlainBits("MC", "Metadata capabilities", nameSpace.MC, kMetadata);
  fields.PlainBits("DPC", "Data protection capabilities", nameSpace.DPC, kProtections);
  fields.PlainBits("DPS", "Data protection settings", nameSpace.DPS, kProtection);
  fields.PlainBits("NMIC", "Multi-path and sharing", nameSpace.NMIC, kSharing);
  fields.PlainBits("RESCAP", "Reservation capabilities", nameSpace.RESCAP, kReservations);
  fields.Bits("FPI", "Format progress indicator", WholeOf(nameSpace.FPI),
              {{"PercentageRemaining", 0, 7}, {"Supported", 7}});
  fields.PlainBits("DLFEAT", "Deallocate features", nameSpace.DLFEAT, kDeallocation);
  fields.Number("NAWUN", "Atomic write unit, zero-based", nameSpace.NAWUN, "blocks");
  fields.Number("NAWUPF", "Atomic write unit at power fail, zero-based", nameSpace.NAWUPF,
                "blocks");
  fields.Number("NACWU", "Atomic compare and write unit, zero-based", nameSpace.NACWU, "blocks");
  fields.Number("NABSN", "Atomic boundary, zero-based", nameSpace.NABSN, "blocks");
  fields.Number("NABO", "Atomic boundary offset", nameSpace.NABO, "blocks");
  fields.Number("NABSPF", "Atomic boundary at power fail, zero-based", nameSpace.NABSPF, "blocks");
  fields.Number("NOIOB", "Optimal I/O boundary", nameSpace.NOIOB, "blocks");
  fields.Wide("NVMCAP", "NVM capacity", nameSpace.NVMCAP[0], nameSpace.NVMCAP[1], "bytes");
  fields.Identifier("NGUID", "Globally unique id", nameSpace.NGUID);
  fields.Identifier("EUI64", "Extended unique id", nameSpace.EUI64);
  std::vector<Fields> formats;
  const std::size_t count =
      std::min<std::size_t>(nameSpace.NLBAF, std::size(nameSpace.LBAF) - 1) + 1;
  for (std::size_t index = 0; index < count; ++index)
    formats.push_back(FieldsOf(nameSpace.LBAF[index]));
  fields.List("LBAF", "Block format", std::move(formats), nameSpace.FLBAS.Format);
  fields.Area("VS", "Vendor specific", nameSpace.VS);
  return fields;
}

Fields FieldsOf(NVME_SMART_HEALTH_INFORMATION_LOG& log) {
  constexpr std::array kSensorNames = {
      "TemperatureSensor1", "TemperatureSensor2", "TemperatureSensor3", "TemperatureSensor4",
      "TemperatureSensor5", "TemperatureSensor6", "TemperatureSensor7", "TemperatureSensor8"};
  constexpr std::array kSensorMeanings = {"Temperature sensor 1", "Temperature sensor 2",
                                          "Temperature sensor 3", "Temperature sensor 4",
                                          "Temperature sensor 5", "Temperature sensor 6",
                                          "Temperature sensor 7", "Temperature sensor 8"};

  Fields fields;
  fields.Bits("CriticalWarning", "Critical warning", log.CriticalWarning(),
              {{"AvailableSpareBelowThreshold", 0},
               {"Temperature", 1},
               {"ReliabilityDegraded", 2},
               {"ReadOnly", 3},
               {"VolatileMemoryBackupFailed", 4}});
  fields.Kelvin("CompositeTemperature", "Composite temperature", log.CompositeTemperature);
  fields.Number("AvailableSpare", "Available spare", log.AvailableSpare, "%");
  fields.Number("AvailableSpareThreshold", "Available spare threshold", log.AvailableSpareThreshold,
                "%");
  fields.Number("PercentageUsed", "Percentage used", log.PercentageUsed, "%");
  fields.DataUnits("DataUnitsRead", "BytesRead", "Data units read", log.DataUnitsRead[0],
                   log.DataUnitsRead[1]);
  fields.DataUnits("DataUnitsWritten", "BytesWritten", "Data units written",
                   log.DataUnitsWritten[0], log.DataUnitsWritten[1]);
  fields.Wide("HostReadCommands", "Host read commands", log.HostReadCommands[0],
              log.HostReadCommands[1]);
  fields.Wide("HostWriteCommands", "Host write commands", log.HostWriteCommands[0],
              log.HostWriteCommands[1]);
  fields.Wide("ControllerBusyTime", "Controller busy time", log.ControllerBusyTime[0],
              log.ControllerBusyTime[1], "min");
  fields.Wide("PowerCycles", "Power cycles", log.PowerCycles[0], log.PowerCycles[1]);
  fields.Wide("PowerOnHours", "Power on hours", log.PowerOnHours[0], log.PowerOnHours[1], "h");
  fields.Wide("UnsafeShutdowns", "Unsafe shutdowns", log.UnsafeShutdowns[0],
              log.UnsafeShutdowns[1]);
  fields.Wide("MediaErrors", "Media and data integrity errors", log.MediaErrors[0],
              log.MediaErrors[1]);
  fields.Wide("ErrorLogEntries", "Error log entries", log.ErrorLogEntries[0],
              log.ErrorLogEntries[1]);
  fields.Number("WarningTemperatureTime", "Time above warning temperature",
                log.WarningTemperatureTime, "min");
  fields.Number("CriticalTemperatureTime", "Time above critical temperature",
                log.CriticalTemperatureTime, "min");
  for (std::size_t index = 0; index < kSensorNames.size(); ++index)
    fields.Kelvin(kSensorNames[index], kSensorMeanings[index], Sensor(log, index));
  fields.Number("ThermalManagement1TransitionCount", "Thermal management 1 transitions",
                log.ThermalManagement1TransitionCount);
  fields.Number("ThermalManagement2TransitionCount", "Thermal management 2 transitions",
                log.ThermalManagement2TransitionCount);
  fields.Number("ThermalManagement1TotalTime", "Thermal management 1 total time",
                log.ThermalManagement1TotalTime, "s");
  fields.Number("ThermalManagement2TotalTime", "Thermal management 2 total time",
                log.ThermalManagement2TotalTime, "s");
  return fields;
}

Fields FieldsOf(NVME_ERROR_INFORMATION_LOG_ENTRY& entry) {
  const std::uint64_t location = WholeOf(entry.ParameterErrorLocation);
  Fields fields;
  fields.Number("ErrorCount", "Error", entry.ErrorCount);
  fields.NumberOrNone("SubmissionQueueId", "Submission queue",
                      std::uint16_t{entry.SubmissionQueueId});
  fields.NumberOrNone("CommandId", "Command", std::uint16_t{entry.CommandId});
  fields.Add("StatusField", "Status", JsonOfStatus(entry.StatusField),
             StatusWords(entry.StatusField));
  if (location == kNoLocation) {
    fields.Add("ParameterErrorLocation", "Parameter in error",
               {{"value", location},
                {"Byte", unsigned{entry.ParameterErrorLocation.Byte}},
                {"Bit", unsigned{entry.ParameterErrorLocation.Bit}}},
               "none");
  } else {
    fields.Bits("ParameterErrorLocation", "Parameter in error", location,
                {{"Byte", 0, 8}, {"Bit", 8, 3}});
  }
  fields.NumberOrNone("LogicalBlockAddress", "Block", std::uint64_t{entry.LogicalBlockAddress});
  fields.NumberOrNone("Namespace", "Namespace", std::uint32_t{entry.Namespace});
  fields.Number("VendorSpecificInformationAvailable", "Vendor specific log page",
                entry.VendorSpecificInformationAvailable);
  fields.Area("Remainder", "Remainder", entry.Remainder);
  return fields;
}

}  // namespace Tool
