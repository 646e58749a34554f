#include <Ondrel/NVMe.h>

#include <array>
#include <cstring>
#include <tuple>

namespace Ondrel {

namespace {

// The records' assignments are the compiler's own, so that a record is plain memory: they copy
// every byte, reserved ones included. Where their addresses are taken they are emitted, and
// exported.
template <class Record>
struct Assignments {
  Record& (Record::*copy)(const Record&) = &Record::operator=;
  Record& (Record::*move)(Record&&) = &Record::operator=;
};

[[gnu::used]] constexpr std::tuple<
    Assignments<NVME_IDENTIFY_LBA_FORMAT_DATA>, Assignments<NVME_POWER_STATE_DESCRIPTOR>,
    Assignments<NVME_IDENTIFY_NAMESPACE>, Assignments<NVME_IDENTIFY_CONTROLLER>,
    Assignments<NVME_SMART_HEALTH_INFORMATION_LOG>, Assignments<NVME_STATUS_FIELD>,
    Assignments<NVME_ERROR_INFORMATION_LOG_ENTRY>>
    kExportedAssignments;

constexpr unsigned int kSmallestBlockPower = 9;

constexpr std::array<const char*, 4> kRelativePerformance = {"Best", "Better", "Good", "Degraded"};

// One buffer for each accessor, shared by all records.
char g_serialNumber[sizeof(NVME_IDENTIFY_CONTROLLER::SN) + 1];
char g_modelNumber[sizeof(NVME_IDENTIFY_CONTROLLER::MN) + 1];
char g_firmwareRevision[sizeof(NVME_IDENTIFY_CONTROLLER::FR) + 1];
char g_qualifiedName[sizeof(NVME_IDENTIFY_CONTROLLER::SUBNQN) + 1];

char Printable(char character) {
  const auto byte = static_cast<unsigned char>(character);
  if (byte >= 0x01 && byte <= 0x1F) return ' ';
  if (byte == '"' || byte >= 0x7F) return '_';
  return character;
}

}  // namespace

std::uint64_t NVME_IDENTIFY_LBA_FORMAT_DATA::LBASize() {
  if (LBADS < kSmallestBlockPower) return 0;
  return std::uint64_t{1} << (LBADS % 64);
}

const char* NVME_IDENTIFY_LBA_FORMAT_DATA::sRelativePerformance() {
  return kRelativePerformance[RP];
}

std::uint64_t NVME_IDENTIFY_NAMESPACE::LBASize() {
  if (FLBAS.Format > NLBAF) return 0;
  return LBAF[FLBAS.Format].LBASize();
}

std::uint64_t NVME_IDENTIFY_NAMESPACE::Capacity() {
  if (NVMCAP[0] != 0) return NVMCAP[0];
  const std::uint64_t blocks = NSZE != 0 ? NSZE : NCAP;
  return blocks * LBASize();
}

std::uint64_t NVME_IDENTIFY_CONTROLLER::Capacity(NVME_IDENTIFY_NAMESPACE* nameSpace) {
  if (TNVMCAP[0] != 0) return TNVMCAP[0];
  return nameSpace != nullptr ? nameSpace->Capacity() : 0;
}

char* NVME_IDENTIFY_CONTROLLER::sSerialNumber() {
  return TrimString(g_serialNumber, SN, sizeof SN);
}

char* NVME_IDENTIFY_CONTROLLER::sModelNumber() { return TrimString(g_modelNumber, MN, sizeof MN); }

char* NVME_IDENTIFY_CONTROLLER::sFirmwareRevision() {
  return TrimString(g_firmwareRevision, FR, sizeof FR);
}

char* NVME_IDENTIFY_CONTROLLER::sNVMSubsystemNVMeQualifiedName() {
  return TrimString(g_qualifiedName, SUBNQN, sizeof SUBNQN);
}

char* NVME_IDENTIFY_CONTROLLER::TrimString(char* destination, char* source, unsigned short length) {
  for (std::size_t index = 0; index < length; ++index)
    destination[index] = Printable(source[index]);
  destination[length] = '\0';
  for (std::size_t index = length; index > 0 && destination[index - 1] == ' '; --index)
    destination[index - 1] = '\0';
  return destination;
}

std::uint8_t NVME_SMART_HEALTH_INFORMATION_LOG::CriticalWarning() {
  std::uint8_t warning = 0;
  std::memcpy(&warning, &CriticalWarningFlags, sizeof warning);
  return warning;
}

}  // namespace Ondrel
