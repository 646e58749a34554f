#include "Tool/Watch/Metrics.h"

#include "Tool/Watch/Codes.h"
#include "Tool/Watch/StateJson.h"

#include <cstdio>
#include <utility>
#include <vector>

namespace Tool::Watch {

namespace {

using Labels = std::vector<std::pair<const char*, std::string>>;

std::string NumberText(double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.15g", number);
  return text;
}

class Metrics {
public:
  void Begin(const char* name, const char* type, const char* help) {
    m_name = name;
    m_text += std::string("# HELP ") + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
  }

  void Add(const Labels& labels, double value) {
    m_text += m_name;
    char separator = '{';
    for (const auto& [name, text] : labels) {
      m_text += separator;
      m_text.append(name).append("=\"").append(Escaped(text)).append("\"");
      separator = ',';
    }
    if (!labels.empty()) m_text += '}';
    m_text.append(" ").append(NumberText(value)).append("\n");
  }

  std::string Text() const { return m_text; }

private:
  static std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
      if (character == '\\' || character == '"') escaped += '\\';
      escaped += character == '\n' ? std::string("\\n") : std::string(1, character);
    }
    return escaped;
  }

  std::string m_text;
  const char* m_name = "";
};

bool IsShown(const DriveRecord& drive) { return drive.isPresent || drive.isListed; }

// The names of the moment are labels of the info series alone: they may change while the drive or
// the array stays.
void AddDrives(const WatchState& state, Metrics& metrics) {
  metrics.Begin("ondrel_drive_info", "gauge", "Drives with their names of the moment.");
  for (const DriveRecord& drive : state.drives)
    if (IsShown(drive))
      metrics.Add({{"drive", drive.id}, {"name", drive.name}, {"model", drive.model}}, 1);
  metrics.Begin("ondrel_drive_status", "gauge", "Status of a drive, 1 for the one that it has.");
  for (const DriveRecord& drive : state.drives)
    if (IsShown(drive))
      metrics.Add({{"drive", drive.id}, {"status", NameOfStatus(drive.status)}}, 1);
  metrics.Begin("ondrel_drive_well", "gauge", "Whether a drive needs no attention.");
  for (const DriveRecord& drive : state.drives)
    if (IsShown(drive)) metrics.Add({{"drive", drive.id}}, IsWell(drive.status) ? 1 : 0);
}

struct HealthSeries {
  const char* name;
  const char* type;
  const char* help;
  double (*value)(const Ondrel::Host::DriveHealth& health);
};

constexpr HealthSeries kHealthSeries[] = {
    {"ondrel_drive_critical_warning", "gauge", "Bits of the critical warning.",
     [](const auto& health) { return static_cast<double>(health.criticalWarning); }},
    {"ondrel_drive_temperature_celsius", "gauge", "Composite temperature.",
     [](const auto& health) { return health.temperature - 273.0; }},
    {"ondrel_drive_available_spare_ratio", "gauge", "Spare capacity that is left.",
     [](const auto& health) { return health.availableSpare / 100.0; }},
    {"ondrel_drive_life_used_ratio", "gauge", "Part of the expected life that is used.",
     [](const auto& health) { return health.percentageUsed / 100.0; }},
    {"ondrel_drive_media_errors_total", "counter", "Media and data integrity errors.",
     [](const auto& health) { return static_cast<double>(health.mediaErrors); }},
    {"ondrel_drive_power_on_seconds_total", "counter", "Time that the drive was powered.",
     [](const auto& health) { return 3600 * static_cast<double>(health.powerOnHours); }},
    {"ondrel_drive_unsafe_shutdowns_total", "counter", "Losses of power without notice.",
     [](const auto& health) { return static_cast<double>(health.unsafeShutdowns); }},
};

void AddHealth(const WatchState& state, Metrics& metrics) {
  for (const HealthSeries& series : kHealthSeries) {
    metrics.Begin(series.name, series.type, series.help);
    for (const DriveRecord& drive : state.drives)
      if (drive.isPresent && drive.health.last && drive.health.unreadable == 0)
        metrics.Add({{"drive", drive.id}}, series.value(*drive.health.last));
  }
}

void AddArrays(const WatchState& state, Metrics& metrics) {
  const auto each = [&](auto&& add) {
    for (const ArrayRecord& record : state.arrays)
      if (!record.isStopped) add(record.array);
  };
  metrics.Begin("ondrel_array_info", "gauge", "Arrays with their names of the moment.");
  each([&](const auto& array) {
    metrics.Add({{"array", array.id}, {"name", array.name}, {"level", array.level}}, 1);
  });
  metrics.Begin("ondrel_array_status", "gauge", "Status of an array, 1 for the one that it has.");
  each([&](const auto& array) {
    metrics.Add({{"array", array.id}, {"status", NameOfStatus(array.status)}}, 1);
  });
  metrics.Begin("ondrel_array_well", "gauge", "Whether an array needs no attention.");
  each([&](const auto& array) {
    metrics.Add({{"array", array.id}}, IsWell(array.status) ? 1 : 0);
  });
  metrics.Begin("ondrel_array_degraded_members", "gauge", "Places without a working member.");
  each([&](const auto& array) {
    metrics.Add({{"array", array.id}}, static_cast<double>(array.lostPlaces));
  });
  metrics.Begin("ondrel_array_mismatched_sectors", "gauge", "Sectors found different by a check.");
  each([&](const auto& array) {
    metrics.Add({{"array", array.id}}, static_cast<double>(array.mismatches));
  });
  metrics.Begin("ondrel_array_action_progress_ratio", "gauge",
                "How far a rebuild, resync, check or reshape is.");
  each([&](const auto& array) {
    if (array.actionTotal != 0)
      metrics.Add({{"array", array.id}, {"action", NameOfAction(array.action)}},
                  static_cast<double>(array.actionDone) / static_cast<double>(array.actionTotal));
  });
}

void AddService(const ServiceCounts& counts, Metrics& metrics) {
  metrics.Begin("ondrel_watch_events_total", "counter", "Events by severity.");
  constexpr const char* kSeverities[] = {"information", "warning", "error"};
  for (std::size_t index = 0; index < std::size(kSeverities); ++index)
    metrics.Add({{"severity", kSeverities[index]}}, static_cast<double>(counts.events[index]));
  metrics.Begin("ondrel_watch_events_unlogged", "gauge", "Events not yet in the event log.");
  metrics.Add({}, static_cast<double>(counts.eventsUnlogged));
  metrics.Begin("ondrel_watch_mails_queued", "gauge", "Mails that wait to be sent.");
  metrics.Add({}, static_cast<double>(counts.mailsQueued));
  metrics.Begin("ondrel_watch_mails_sent_total", "counter", "Mails that a server took.");
  metrics.Add({}, static_cast<double>(counts.mailsSent));
  metrics.Begin("ondrel_watch_mails_given_up_total", "counter", "Mails that no server took.");
  metrics.Add({}, static_cast<double>(counts.mailsGivenUp));
  metrics.Begin("ondrel_watch_last_look_timestamp_seconds", "gauge",
                "When the drives were looked at last.");
  metrics.Add({}, static_cast<double>(counts.lastLook));
}

}  // namespace

std::string MetricsText(const WatchState& state, const ServiceCounts& counts) {
  Metrics metrics;
  AddDrives(state, metrics);
  AddHealth(state, metrics);
  AddArrays(state, metrics);
  AddService(counts, metrics);
  return metrics.Text();
}

}  // namespace Tool::Watch
