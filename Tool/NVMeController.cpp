#include "Tool/NVMeFields.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Tool {

namespace {

using Ondrel::NVME_IDENTIFY_CONTROLLER;
using Ondrel::NVME_POWER_STATE_DESCRIPTOR;

std::string VersionText(const NVME_IDENTIFY_CONTROLLER& controller) {
  return std::to_string(controller.VER.MJR) + "." + std::to_string(controller.VER.MNR) + "." +
         std::to_string(controller.VER.TER);
}

/// The unit of a power scale in ten-thousandths of a watt; 0 for a scale that reports none.
unsigned int PowerUnitOf(unsigned int scale) {
  constexpr std::array<unsigned int, 4> kUnits = {0, 1, 100, 0};
  return kUnits[scale];
}

Fields FieldsOf(const NVME_POWER_STATE_DESCRIPTOR& state) {
  Fields fields;
  fields.Power("MP", "MPWatts", "Maximum power", state.MP, state.MPS != 0 ? 1 : 100);
  fields.Number("MPS", "Maximum power scale", state.MPS);
  fields.Number("NOPS", "Non-operational state", state.NOPS);
  fields.Number("ENLAT", "Entry latency", state.ENLAT, "us");
  fields.Number("EXLAT", "Exit latency", state.EXLAT, "us");
  fields.Number("RRT", "Relative read throughput", state.RRT);
  fields.Number("RRL", "Relative read latency", state.RRL);
  fields.Number("RWT", "Relative write throughput", state.RWT);
  fields.Number("RWL", "Relative write latency", state.RWL);
  fields.Power("IDLP", "IDLPWatts", "Idle power", state.IDLP, PowerUnitOf(state.IPS));
  fields.Number("IPS", "Idle power scale", state.IPS);
  fields.Power("ACTP", "ACTPWatts", "Active power", state.ACTP, PowerUnitOf(state.APS));
  fields.Number("APW", "Active power workload", state.APW);
  fields.Number("APS", "Active power scale", state.APS);
  return fields;
}

void AddIdentity(Fields& fields, NVME_IDENTIFY_CONTROLLER& controller) {
  fields.Hexadecimal("VID", "PCI vendor", controller.VID, 4);
  fields.Hexadecimal("SSVID", "PCI subsystem vendor", controller.SSVID, 4);
  fields.Text("SN", "Serial number", controller.sSerialNumber());
  fields.Text("MN", "Model number", controller.sModelNumber());
  fields.Text("FR", "Firmware revision", controller.sFirmwareRevision());
  fields.Number("RAB", "Recommended arbitration burst, power of two", controller.RAB);
  const std::uint32_t vendor = static_cast<std::uint32_t>(controller.IEEE[0]) |
                               static_cast<std::uint32_t>(controller.IEEE[1]) << 8 |
                               static_cast<std::uint32_t>(controller.IEEE[2]) << 16;
  fields.Hexadecimal("IEEE", "Vendor's organisation (OUI)", vendor, 6);
  fields.Bits("CMIC", "Multi-path and sharing", WholeOf(controller.CMIC),
              {{"MultiplePorts", 0}, {"MultipleControllers", 1}, {"VirtualFunction", 2}});
  fields.Number("MDTS", "Maximum transfer, power of two of pages", controller.MDTS);
  fields.Number("CNTLID", "Controller id", controller.CNTLID);
  fields.Add("VER", "Version of the standard", WholeOf(controller.VER), VersionText(controller));
  fields.Number("RTD3R", "RTD3 resume latency", controller.RTD3R, "us");
  fields.Number("RTD3E", "RTD3 entry latency", controller.RTD3E, "us");
  fields.Bits("OAES", "Optional asynchronous events", WholeOf(controller.OAES),
              {{"NamespaceAttributeNotices", 8}, {"FirmwareActivationNotices", 9}});
  fields.Bits("CTRATT", "Controller attributes", WholeOf(controller.CTRATT),
              {{"HostIdentifier128Bit", 0}, {"NonOperationalPowerStatePermissive", 1}});
  fields.Bits("MEC", "Management endpoints", WholeOf(controller.MEC),
              {{"SMBusPort", 0}, {"PCIePort", 1}});
}

void AddAdministration(Fields& fields, const NVME_IDENTIFY_CONTROLLER& controller) {
  fields.Bits("OACS", "Optional admin commands", WholeOf(controller.OACS),
              {{"Security", 0},
               {"Format", 1},
               {"Firmware", 2},
               {"NamespaceManagement", 3},
               {"DeviceSelfTest", 4},
               {"Directives", 5},
               {"ManagementInterface", 6},
               {"VirtualizationManagement", 7},
               {"DoorbellBufferConfig", 8}});
  fields.Number("ACL", "Abort command limit, zero-based", controller.ACL);
  fields.Number("AERL", "Asynchronous event limit, zero-based", controller.AERL);
  fields.Bits("FRMW", "Firmware updates", WholeOf(controller.FRMW),
              {{"Slot1ReadOnly", 0}, {"Slots", 1, 3}, {"ActivationWithoutReset", 4}});
  fields.Bits("LPA", "Log page attributes", WholeOf(controller.LPA),
              {{"HealthLogPerNamespace", 0},
               {"CommandEffectsLog", 1},
               {"ExtendedData", 2},
               {"Telemetry", 3}});
  fields.Number("ELPE", "Error log entries, zero-based", controller.ELPE);
  fields.Number("NPSS", "Last power state", controller.NPSS);
  fields.Bits("AVSCC", "Admin vendor specific commands", WholeOf(controller.AVSCC),
              {{"VendorSpecificFormat", 0}});
  fields.Bits("APSTA", "Autonomous power state transitions", WholeOf(controller.APSTA),
              {{"Supported", 0}});
  fields.Kelvin("WCTEMP", "Warning temperature", controller.WCTEMP);
  fields.Kelvin("CCTEMP", "Critical temperature", controller.CCTEMP);
  fields.Number("MTFA", "Maximum time for firmware activation", controller.MTFA, "x 100 ms");
  fields.Number("HMPRE", "Host memory buffer preferred", controller.HMPRE, "x 4096 bytes");
  fields.Number("HMMIN", "Host memory buffer minimum", controller.HMMIN, "x 4096 bytes");
  fields.Wide("TNVMCAP", "Total capacity", controller.TNVMCAP[0], controller.TNVMCAP[1], "bytes");
  fields.Wide("UNVMCAP", "Unallocated capacity", controller.UNVMCAP[0], controller.UNVMCAP[1],
              "bytes");
  fields.Bits(
      "RPMBS", "Replay protected memory blocks", WholeOf(controller.RPMBS),
      {{"Units", 0, 3}, {"Authentication", 3, 3}, {"TotalSize", 16, 8}, {"AccessSize", 24, 8}});
  fields.Number("EDSTT", "Extended self-test time", controller.EDSTT, "min");
  fields.Bits("DSTO", "Self-test options", WholeOf(controller.DSTO), {{"OneAtATime", 0}});
  fields.Number("FWUG", "Firmware update granularity", controller.FWUG, "x 4096 bytes");
  fields.Number("KAS", "Keep alive granularity", controller.KAS, "x 100 ms");
  fields.Bits("HCTMA", "Host controlled thermal management", WholeOf(controller.HCTMA),
              {{"Supported", 0}});
  fields.Kelvin("MNTMT", "Minimum thermal management temperature", controller.MNTMT);
  fields.Kelvin("MXTMT", "Maximum thermal management temperature", controller.MXTMT);
  fields.Bits("SANICAP", "Sanitize capabilities", WholeOf(controller.SANICAP),
              {{"CryptoErase", 0}, {"BlockErase", 1}, {"Overwrite", 2}});
}

void AddCommands(Fields& fields, NVME_IDENTIFY_CONTROLLER& controller) {
  fields.Bits("SQES", "Submission queue entry, powers of two", WholeOf(controller.SQES),
              {{"Required", 0, 4}, {"Maximum", 4, 4}});
  fields.Bits("CQES", "Completion queue entry, powers of two", WholeOf(controller.CQES),
              {{"Required", 0, 4}, {"Maximum", 4, 4}});
  fields.Number("MAXCMD", "Maximum outstanding commands", controller.MAXCMD);
  fields.Number("NN", "Number of namespaces", controller.NN);
  fields.Bits("ONCS", "Optional NVM commands", WholeOf(controller.ONCS),
              {{"Compare", 0},
               {"WriteUncorrectable", 1},
               {"DatasetManagement", 2},
               {"WriteZeroes", 3},
               {"SaveAndSelect", 4},
               {"Reservations", 5},
               {"Timestamp", 6}});
  fields.Bits("FUSES", "Fused operations", WholeOf(controller.FUSES), {{"CompareAndWrite", 0}});
  fields.Bits("FNA", "Format attributes", WholeOf(controller.FNA),
              {{"FormatAll", 0}, {"EraseAll", 1}, {"CryptographicErase", 2}});
  fields.Bits("VWC", "Volatile write cache", WholeOf(controller.VWC), {{"Present", 0}});
  fields.Number("AWUN", "Atomic write unit, zero-based", controller.AWUN, "blocks");
  fields.Number("AWUPF", "Atomic write unit at power fail, zero-based", controller.AWUPF, "blocks");
  fields.Bits("NVSCC", "NVM vendor specific commands", WholeOf(controller.NVSCC),
              {{"VendorSpecificFormat", 0}});
  fields.Number("ACWU", "Atomic compare and write unit, zero-based", controller.ACWU, "blocks");
  fields.Bits("SGLS", "Scatter gather lists", WholeOf(controller.SGLS),
              {{"Support", 0, 2},
               {"KeyedDataBlock", 2},
               {"BitBucket", 16},
               {"ByteAlignedMetadataBuffer", 17},
               {"LengthLargerThanData", 18},
               {"MetadataPointerDescriptor", 19},
               {"AddressAsOffset", 20}});
  fields.Text("SUBNQN", "Subsystem's qualified name", controller.sNVMSubsystemNVMeQualifiedName());
}

}  // namespace

Fields FieldsOf(NVME_IDENTIFY_CONTROLLER& controller) {
  Fields fields;
  AddIdentity(fields, controller);
  AddAdministration(fields, controller);
  AddCommands(fields, controller);
  fields.Area("Fabrics", "Area of fabrics", controller.Fabrics);
  std::vector<Fields> states;
  const std::size_t count =
      std::min<std::size_t>(controller.NPSS, std::size(controller.PSD) - 1) + 1;
  for (std::size_t index = 0; index < count; ++index)
    states.push_back(FieldsOf(controller.PSD[index]));
  fields.List("PSD", "Power state", std::move(states));
  fields.Area("VS", "Vendor specific", controller.VS);
  return fields;
}

}  // namespace Tool
