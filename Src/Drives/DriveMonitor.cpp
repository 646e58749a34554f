#include "Drives/DriveStatus.h"
#include "Host/DrivesOperations.h"

#include <Ondrel/Drives.h>
#include <Ondrel/NVMeQuery.h>

#include <cstring>
#include <map>
#include <memory>

namespace Ondrel::Host {

namespace {

constexpr std::uint32_t kInvalidData = 13;
constexpr unsigned char kUnlikelyByte = 0xEE;

/// What the identify data of a drive say of its temperatures.
struct Temperatures {
  std::uint16_t warning = 0;
  std::uint16_t critical = 0;
};

Temperatures AskTemperatures(const std::string& device) {
  NVME_IDENTIFY_CONTROLLER controller;
  std::memset(static_cast<void*>(&controller), 0, sizeof controller);
  if (NVMeStorageQueryPropertyIdentifyController(device.c_str(), &controller) != 0) return {};
  return {controller.WCTEMP, controller.CCTEMP};
}

std::uint32_t AskHealth(const std::string& device, DriveHealth& health) {
  NVME_SMART_HEALTH_INFORMATION_LOG log;
  std::memset(static_cast<void*>(&log), kUnlikelyByte, sizeof log);
  const unsigned int error =
      NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo(device.c_str(), &log);
  if (error != 0) return error;
  // A result of 0 does not prove that the record was written; reserved bytes are never like these.
  if (log.Reserved232[0] == kUnlikelyByte && log.Reserved6[0] == kUnlikelyByte) return kInvalidData;
  health.criticalWarning = log.CriticalWarning();
  health.temperature = log.CompositeTemperature;
  health.availableSpare = log.AvailableSpare;
  health.availableSpareThreshold = log.AvailableSpareThreshold;
  health.percentageUsed = log.PercentageUsed;
  health.mediaErrors = log.MediaErrors[0];
  health.powerOnHours = log.PowerOnHours[0];
  health.unsafeShutdowns = log.UnsafeShutdowns[0];
  health.dataUnitsRead = log.DataUnitsRead[0];
  health.dataUnitsWritten = log.DataUnitsWritten[0];
  health.errorLogEntries = log.ErrorLogEntries[0];
  health.criticalTemperatureTime = log.CriticalTemperatureTime;
  return 0;
}

}  // namespace

std::uint32_t ReadDriveHealth(const std::string& device, DriveHealth& health) {
  DriveHealth found;
  if (const std::uint32_t error = AskHealth(device, found); error != 0) return error;
  const Temperatures temperatures = AskTemperatures(device);
  found.warningTemperature = temperatures.warning;
  found.criticalTemperature = temperatures.critical;
  health = found;
  return 0;
}

struct CDriveMonitor::State {
  void* watch = nullptr;
  // Each question for identify data leaves memory allocated, so a drive is asked once.
  std::map<std::string, Temperatures> temperatures;

  void AddHealth(Drive& drive) {
    drive.isHealthAsked = true;
    DriveHealth health;
    drive.healthError = AskHealth(drive.device, health);
    if (drive.healthError != 0) return;
    auto known = temperatures.find(drive.id);
    if (known == temperatures.end())
      known = temperatures.emplace(drive.id, AskTemperatures(drive.device)).first;
    health.warningTemperature = known->second.warning;
    health.criticalTemperature = known->second.critical;
    drive.health = health;
    if (HasWarning(health)) drive.status = WithSmart(drive.status);
  }
};

bool CDriveMonitor::IsSupported() { return static_cast<bool>(Drives().Open); }

CDriveMonitor::CDriveMonitor() : m_state(nullptr) {
  auto state = std::make_unique<State>();
  if (IsSupported()) state->watch = Drives().Open();
  m_state = state.release();
}

CDriveMonitor::~CDriveMonitor() {
  if (m_state->watch != nullptr) Drives().Close(m_state->watch);
  delete m_state;
}

DriveSnapshot CDriveMonitor::Look(const DriveLook& look) {
  if (m_state->watch == nullptr) return {};
  DriveSnapshot snapshot = Drives().Look(m_state->watch);
  for (Drive& drive : snapshot.drives) {
    if (!drive.isNVMe || !drive.isPresent) continue;
    if (look.armHealthEvents) Drives().ArmHealthEvents(drive.device);
    if (look.readHealth) m_state->AddHealth(drive);
  }
  return snapshot;
}

int CDriveMonitor::Descriptor() const {
  return m_state->watch == nullptr ? -1 : Drives().Descriptor(m_state->watch);
}

bool CDriveMonitor::TakeNotifications() {
  return m_state->watch == nullptr || Drives().TakeNotifications(m_state->watch);
}

}  // namespace Ondrel::Host
