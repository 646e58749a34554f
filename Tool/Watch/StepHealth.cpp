#include "Tool/Watch/Codes.h"
#include "Tool/Watch/StepParts.h"

#include <utility>

namespace Tool::Watch {

namespace {

using Ondrel::Host::DriveHealth;

constexpr std::uint8_t kSpareBit = 0x01;
constexpr std::uint8_t kTemperatureBit = 0x02;
constexpr std::uint8_t kErrorBits = 0x0C;
constexpr std::uint8_t kWarningBits = 0xF1;
// Without a distance between "high" and "normal again", a drive at the threshold would mail all
// day.
constexpr int kTemperatureDistance = 2;
constexpr int kUnreadableTimes = 2;

struct BitRow {
  std::uint8_t bit;
  const char* meaning;
};

constexpr BitRow kBits[] = {
    {0x01, "available spare is below its threshold"},
    {0x04, "reliability is degraded"},
    {0x08, "media are in read-only mode"},
    {0x10, "backup of volatile memory failed"},
    {0x20, "persistent memory region is unreliable"},
    {0x40, "reserved warning bit 6"},
    {0x80, "reserved warning bit 7"},
};

std::string MeaningOf(std::uint8_t bits) {
  std::string text;
  for (const BitRow& row : kBits)
    if ((bits & row.bit) != 0) text += (text.empty() ? "" : ", ") + std::string(row.meaning);
  return text;
}

// A threshold of 0 is none: drives that do not count their spare report 0 of 0.
std::uint8_t WarningsOf(const DriveHealth& health) {
  const bool isSpareLow =
      health.availableSpareThreshold != 0 && health.availableSpare < health.availableSpareThreshold;
  return static_cast<std::uint8_t>(health.criticalWarning | (isSpareLow ? kSpareBit : 0));
}

int TemperatureLevel(const DriveHealth& health, const Thresholds& thresholds, int before) {
  const auto either = [](std::uint16_t ours, std::uint16_t drives) {
    return ours != 0 ? ours : drives;
  };
  const int warning = either(thresholds.warningTemperature, health.warningTemperature);
  const int critical = either(thresholds.criticalTemperature, health.criticalTemperature);
  if (health.temperature != 0 && critical != 0 && health.temperature >= critical) return 2;
  if ((health.criticalWarning & kTemperatureBit) != 0) return 1;
  const int high = before > 0 ? warning - kTemperatureDistance + 1 : warning;
  return health.temperature != 0 && warning != 0 && health.temperature >= high ? 1 : 0;
}

std::string Celsius(std::uint16_t kelvin) { return std::to_string(int{kelvin} - 273) + " C"; }

void StepTemperature(const DriveHealth& health, const Thresholds& thresholds, DriveRecord& record,
                     std::vector<WatchEvent>& events) {
  const int level = TemperatureLevel(health, thresholds, record.health.temperatureLevel);
  const int before = std::exchange(record.health.temperatureLevel, level);
  const std::string at = " (" + Celsius(health.temperature) + ")";
  if (level == 2 && before < 2)
    events.push_back(DriveEvent(record, EventCode::kTemperatureCritical, Ondrel::kSeverityError,
                                "temperature is critical" + at));
  if (level == 1 && before == 0)
    events.push_back(DriveEvent(record, EventCode::kTemperatureHigh, Ondrel::kSeverityWarning,
                                "temperature is high" + at));
  if (level == 0 && before > 0) {
    events.push_back(DriveEvent(record, EventCode::kTemperatureNormal, Ondrel::kSeverityInformation,
                                "temperature is normal again" + at));
    events.back().isRecovery = true;
  }
}

void StepLife(const DriveHealth& health, const Thresholds& thresholds, DriveRecord& record,
              std::vector<WatchEvent>& events) {
  const int used = health.percentageUsed;
  const int level = used >= thresholds.usedCritical ? 2 : used >= thresholds.usedWarning ? 1 : 0;
  const int before = std::exchange(record.health.lifeLevel, level);
  if (level <= before) return;
  const std::string text = std::to_string(used) + " % of the expected life is used";
  if (level == 2)
    events.push_back(DriveEvent(record, EventCode::kLifeCritical, Ondrel::kSeverityError, text));
  else
    events.push_back(
        DriveEvent(record, EventCode::kLifeNotOptimal, Ondrel::kSeverityWarning, text));
}

void StepUnreadable(std::uint32_t error, DriveRecord& record, std::vector<WatchEvent>& events) {
  // Counted no further than the event, so that the record stays as it is from then on.
  if (record.health.unreadable >= kUnreadableTimes) return;
  if (++record.health.unreadable < kUnreadableTimes) return;
  events.push_back(DriveEvent(record, EventCode::kHealthUnreadable, Ondrel::kSeverityWarning,
                              "health cannot be read, error " + std::to_string(error) +
                                  (error == 5 ? ", access denied" : "")));
}

}  // namespace

bool HasHealthMark(const HealthMemory& health) {
  return health.last && WarningsOf(*health.last) != 0;
}

void StepHealth(const StepContext& context, const Ondrel::Host::Drive& drive, DriveRecord& record,
                std::vector<WatchEvent>& events) {
  if (!drive.isHealthAsked) return;
  if (!drive.health) return StepUnreadable(drive.healthError, record, events);
  const DriveHealth& health = *drive.health;
  record.health.unreadable = 0;

  const std::uint8_t before =
      record.health.last ? WarningsOf(*record.health.last) : std::uint8_t{0};
  const auto fresh = static_cast<std::uint8_t>(WarningsOf(health) & ~before);
  if ((fresh & kErrorBits) != 0)
    events.push_back(DriveEvent(record, EventCode::kSmartError, Ondrel::kSeverityError,
                                MeaningOf(fresh & kErrorBits)));
  if ((fresh & kWarningBits) != 0)
    events.push_back(DriveEvent(record, EventCode::kSmartWarning, Ondrel::kSeverityWarning,
                                MeaningOf(fresh & kWarningBits)));
  StepTemperature(health, context.thresholds, record, events);
  StepLife(health, context.thresholds, record, events);
  if (record.health.last && health.mediaErrors > record.health.last->mediaErrors)
    events.push_back(DriveEvent(record, EventCode::kMediaError, Ondrel::kSeverityWarning,
                                "media errors grew from " +
                                    std::to_string(record.health.last->mediaErrors) + " to " +
                                    std::to_string(health.mediaErrors)));
  record.health.last = health;
}

}  // namespace Tool::Watch
