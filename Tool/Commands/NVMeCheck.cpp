#include "Tool/NVMeCheck.h"

#include "Tool/Command.h"
#include "Tool/EventRank.h"
#include "Tool/Files.h"
#include "Tool/Host/KeptFile.h"
#include "Tool/HostErrors.h"
#include "Tool/LogRecords.h"
#include "Tool/MailOptions.h"
#include "Tool/NVMeDevice.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"
#include "Tool/StandardOutput.h"
#include "Tool/Watch/StateJson.h"

#include <Ondrel/NVMeDevices.h>
#include <Ondrel/NVMeQuery.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace Tool {

namespace {

using Ondrel::NVME_IDENTIFY_CONTROLLER;
using Watch::WatchEvent;

constexpr int kKelvinOfZeroCelsius = 273;

struct CheckOptions {
  std::vector<std::string> devices;
  std::string log;
  std::string state;
  Watch::Thresholds thresholds;
  MailOptions mail;
};

std::string NameIn(const std::string& device) {
  return OneLine(device.substr(device.find_last_of("/\\") + 1));
}

/// Asks a drive for what it is and how it is. What it refuses is kept as the error.
CheckedDrive Look(const std::string& device) {
  CheckedDrive checked;
  checked.drive.device = device;
  checked.drive.name = NameIn(device);
  checked.drive.isNVMe = true;
  try {
    NVMeImage image = AskNVMe(device, sizeof(NVME_IDENTIFY_CONTROLLER), [&](NVMeImage& record) {
      checked.drive.healthError = Ondrel::NVMeStorageQueryPropertyIdentifyController(
          device.c_str(), &RecordIn<NVME_IDENTIFY_CONTROLLER>(record));
      return checked.drive.healthError;
    });
    auto& controller = RecordIn<NVME_IDENTIFY_CONTROLLER>(image);
    checked.drive.model = controller.sModelNumber();
    checked.drive.serial = controller.sSerialNumber();
    checked.firmware = controller.sFirmwareRevision();
    checked.controllerId = controller.CNTLID;
    checked.hasSiblings = controller.CMIC.MultipleControllers != 0;
    checked.isIdentified = true;
  } catch (const Failure& failure) {
    checked.refusal = failure.Details();
    checked.refusalWords = failure.what();
  }
  // What is asked for by its node has no other identity until it identifies itself.
  checked.drive.id = checked.drive.serial.empty() ? OneLine(device) : checked.drive.serial;
  if (!checked.isIdentified) return checked;
  Ondrel::Host::DriveHealth health;
  checked.drive.healthError = Ondrel::Host::ReadDriveHealth(device, health);
  if (checked.drive.healthError == 0) {
    checked.drive.health = health;
    return checked;
  }
  try {
    RefuseNVMe(device, checked.drive.healthError);
  } catch (const Failure& failure) {
    checked.refusal = failure.Details();
    checked.refusalWords = failure.what();
  }
  return checked;
}

/// Refuses thresholds that the service refuses in its settings.
void RefuseThresholds(const Watch::Thresholds& limits) {
  if (limits.usedWarning > limits.usedCritical)
    throw UsageError("--used-warning is larger than --used-critical");
  if (limits.warningTemperature != 0 && limits.criticalTemperature != 0 &&
      limits.warningTemperature > limits.criticalTemperature)
    throw UsageError("--temperature-warning is larger than --temperature-critical");
}

CheckMemory ReadMemory(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error) && !error) return {};
  try {
    return MemoryOfText(ReadWholeFile(path));
  } catch (const nlohmann::json::exception&) {
    throw UsageError(path + " is not a state that nvme check has written");
  }
}

std::string HealthText(const Ondrel::Host::DriveHealth& health) {
  std::string text;
  if (health.temperature != 0)
    text = std::to_string(int{health.temperature} - kKelvinOfZeroCelsius) + " C, ";
  text += std::to_string(health.percentageUsed) + " % used, " +
          std::to_string(health.availableSpare) + " % spare";
  if (health.availableSpareThreshold != 0)
    text += " (threshold " + std::to_string(health.availableSpareThreshold) + " %)";
  return text + ", " + std::to_string(health.mediaErrors) + " media errors, " +
         std::to_string(health.errorLogEntries) + " error log entries, " +
         std::to_string(health.powerOnHours) + " h of power";
}

Json JsonOfHealth(const Ondrel::Host::DriveHealth& health) {
  return {{"criticalWarning", health.criticalWarning},
          {"temperatureKelvin", health.temperature},
          {"warningTemperatureKelvin", health.warningTemperature},
          {"criticalTemperatureKelvin", health.criticalTemperature},
          {"criticalTemperatureMinutes", health.criticalTemperatureTime},
          {"availableSparePercent", health.availableSpare},
          {"availableSpareThresholdPercent", health.availableSpareThreshold},
          {"percentageUsed", health.percentageUsed},
          {"mediaErrors", health.mediaErrors},
          {"errorLogEntries", health.errorLogEntries},
          {"powerOnHours", health.powerOnHours},
          {"unsafeShutdowns", health.unsafeShutdowns}};
}

/// One check of all drives that are asked for.
class Check {
public:
  Check(const GlobalOptions& globals, const CheckOptions& options)
      : m_globals(globals), m_options(options) {}

  int Run() {
    RefuseThresholds(m_options.thresholds);
    if (m_options.state == "-") throw UsageError("--state takes a file, and - is not one");
    if (m_options.mail.IsAnyThere()) m_route = PrepareMail(m_options.mail);
    // Events are written whoever reads what is said of them.
    const WorkComesFirst first;
    if (!m_options.state.empty()) m_memory = ReadMemory(m_options.state);
    LookAtAll();
    if (m_drives.empty()) RefuseNone();
    Report();
    // What was not delivered is news again the next time.
    if (!m_options.state.empty() && (m_status & kNotDelivered) == 0)
      Try("state", "State", [&] { Keep(); });
    m_json["well"] = m_status == 0;
    m_json["exitStatus"] = m_status;
    if (m_globals.json) PrintJson(m_json);
    return m_status;
  }

private:
  std::vector<std::string> AllDevices() {
    std::vector<std::string> devices;
    const Ondrel::Host::NVMeDevices known = Ondrel::Host::ListNVMeDevices();
    if (known.error != 0) {
      const HostFailure failure("cannot see all NVMe devices", known.error);
      m_json["error"] = failure.Details();
      m_status |= kNotOpened;
      if (!m_globals.json) Say(failure.what());
    }
    for (const Ondrel::Host::NVMeController& controller : known.controllers)
      devices.push_back(controller.device);
    return devices;
  }

  void RefuseNone() {
    const HostFailure failure("cannot check", "there is no NVMe device to check");
    if (!m_json.contains("error")) m_json["error"] = failure.Details();
    m_status |= kNotOpened;
    ShowLine("there is no NVMe device to check");
  }

  void LookAtAll() {
    m_json["devices"] = Json::array();
    const std::vector<std::string> devices =
        m_options.devices.empty() ? AllDevices() : m_options.devices;
    for (const std::string& device : devices) {
      m_drives.push_back([&] {
        const Progress progress("asking " + OneLine(device));
        return Look(device);
      }());
      CheckedDrive& checked = m_drives.back();
      Judge(checked, m_options.thresholds, m_options.state.empty() ? nullptr : &m_memory);
      m_status |= checked.Bits();
      m_events.insert(m_events.end(), checked.events.begin(), checked.events.end());
      m_json["devices"].push_back(JsonOf(checked));
      ShowLine(TextOf(checked));
    }
  }

  static std::string TextOf(const CheckedDrive& checked) {
    std::string text = OneLine(checked.drive.device);
    for (const std::string* part : {&checked.drive.model, &checked.drive.serial})
      if (!part->empty()) text += (part == &checked.drive.model ? "  " : ", ") + *part;
    text += ": " + checked.Verdict();
    for (const CheckFinding& finding : checked.findings) text += "\n  " + finding.text;
    if (!checked.refusalWords.empty()) text += ": " + OneLine(checked.refusalWords);
    if (checked.drive.health) text += "\n  (" + HealthText(*checked.drive.health) + ")";
    return text;
  }

  static Json JsonOf(const CheckedDrive& checked) {
    Json findings = Json::array();
    for (const CheckFinding& finding : checked.findings)
      findings.push_back({{"text", finding.text}, {"bits", finding.bits}});
    Json events = Json::array();
    for (const WatchEvent& event : checked.events) events.push_back(Watch::JsonOfWatchEvent(event));
    return {{"device", checked.drive.device},
            {"model", checked.drive.model},
            {"serial", checked.drive.serial},
            {"firmware", checked.firmware},
            {"verdict", checked.Verdict()},
            {"bits", checked.Bits()},
            {"findings", findings},
            {"events", events},
            {"health", checked.drive.health ? JsonOfHealth(*checked.drive.health) : Json(nullptr)},
            {"error", checked.refusal}};
  }

  void Report() {
    if (!m_options.log.empty()) Try("log", "Event log", [&] { WriteEvents(); });
    if (m_route) Try("mail", "Mail", [&] { Mail(); });
  }

  void WriteEvents() {
    Json records = Json::array();
    for (const WatchEvent& event : m_events) {
      const auto type = RankOf(event.severity).eventType;
      const CheckedReport reported = ReportChecked(m_options.log, event.code, type, event.text);
      records.push_back({{"event", event.code}, {"recordNumber", reported.report.number}});
      ShowLine("Event log: " + Watch::NameOfEvent(event.code) + " " + ReportedWhere(reported));
    }
    m_json["log"] = {{"ok", true}, {"log", m_options.log}, {"records", records}};
  }

  void Mail() {
    if (m_events.empty()) {
      m_json["mail"] = {{"ok", true}, {"sent", false}};
      return;
    }
    const MailOutcome outcome = SendMail(*m_route, Content());
    m_json["mail"] = {{"ok", outcome.isSent}};
    m_json["mail"].update(JsonOfOutcome(*m_route, outcome));
    if (!outcome.isSent) m_status |= kNotDelivered;
    ShowLine("Mail: " + OutcomeText(*m_route, outcome));
  }

  MailContent Content() const {
    const auto worst = std::ranges::max_element(m_events, {}, &WatchEvent::severity);
    MailContent content;
    content.subject = worst->text;
    if (m_events.size() > 1)
      content.subject += " (and " + std::to_string(m_events.size() - 1) + " more)";
    content.priority = RankOf(worst->severity).priority;
    for (const WatchEvent& event : m_events)
      content.body += event.text + "\nEvent: " + std::to_string(event.code) + " (" +
                      Watch::NameOfEvent(event.code) + "), severity " +
                      std::to_string(event.severity) + "\n\n";
    for (const CheckedDrive& checked : m_drives) content.body += TextOf(checked) + "\n";
    return content;
  }

  void Keep() {
    try {
      KeepInFile(m_options.state, TextOfMemory(m_memory));
    } catch (const std::system_error& error) {
      throw HostFailure("cannot write " + OneLine(m_options.state), error.code().message());
    }
    m_json["state"] = {{"ok", true}};
  }

  /// A step that fails does not keep the other from happening.
  template <class Step>
  void Try(const char* name, const std::string& title, Step step) {
    const auto fail = [&](const Json& error) {
      m_status |= kNotDelivered;
      m_json[name] = {{"ok", false}, {"error", error}};
      ShowLine(title + ": failed");
    };
    try {
      step();
    } catch (const Failure& error) {
      fail(error.Details());
      if (!m_globals.json) Say(error.what());
    } catch (unsigned int number) {
      fail(JsonOfError(number));
      PrintErrorReport(number);
    }
  }

  void ShowLine(const std::string& text) const {
    if (!m_globals.json) std::cout << text << std::endl;
  }

  const GlobalOptions& m_globals;
  const CheckOptions& m_options;
  std::optional<MailRoute> m_route;
  CheckMemory m_memory;
  std::vector<CheckedDrive> m_drives;
  std::vector<WatchEvent> m_events;
  int m_status = 0;
  Json m_json = Json::object();
};

void AddThresholds(CLI::App& app, const std::shared_ptr<CheckOptions>& options) {
  constexpr std::int64_t kMostUsed = 255;
  constexpr std::int64_t kHottest = 200;
  Watch::Thresholds& thresholds = options->thresholds;
  AddNumber(
      app, "--used-warning", 1, kMostUsed,
      [&thresholds](std::int64_t percent) { thresholds.usedWarning = static_cast<int>(percent); },
      "Percent of the expected life that are a warning (default: 90)")
      ->type_name("N");
  AddNumber(
      app, "--used-critical", 1, kMostUsed,
      [&thresholds](std::int64_t percent) { thresholds.usedCritical = static_cast<int>(percent); },
      "Percent of the expected life that are its end (default: 100)")
      ->type_name("N");
  const auto addTemperature = [&app](const char* name, std::uint16_t& kelvin,
                                     const std::string& description) {
    AddNumber(
        app, name, 1, kHottest,
        [&kelvin](std::int64_t celsius) {
          kelvin = static_cast<std::uint16_t>(celsius + kKelvinOfZeroCelsius);
        },
        description)
        ->type_name("N");
  };
  addTemperature("--temperature-warning", thresholds.warningTemperature,
                 "Degrees Celsius that are a warning (default: the drive's own threshold)");
  addTemperature("--temperature-critical", thresholds.criticalTemperature,
                 "Degrees Celsius that are critical (default: the drive's own threshold)");
}

}  // namespace

Work AddNVMeCheckCommand(CLI::App& app) {
  app.footer(
      "Without DEVICE all NVMe controllers are checked. With --log each finding is written as an "
      "event of the watch service, and with --server, --mail-from and --to all of one check are "
      "mailed together. Without --state every check reports them again; with it, only what is new "
      "since the check before, what has grown and what is well again.\n"
      "Exit status: 0 all is well, else the sum of 1 the event log, the mail server or the file of "
      "--state did not take it, 2 a device cannot be opened or is not NVMe (also a line that "
      "cannot "
      "be used), 4 a device did not give its health, 8 the controller has a critical warning, 16 "
      "spare, wear or temperature is past its threshold, 32 the temperature was critical at some "
      "time, 64 media errors are recorded or the error log has grown since the check before.\n");
  const auto options = std::make_shared<CheckOptions>();
  app.add_option("DEVICE", options->devices, "Paths of devices")->type_name("");
  app.add_option("--log", options->log, "Event log to write to")->type_name("LOG");
  app.add_option("--state", options->state, "File that remembers what was found before")
      ->type_name("FILE");
  AddThresholds(app, options);
  AddMailOptions(app, options->mail, false);
  return [options](const GlobalOptions& globals) { return Check(globals, *options).Run(); };
}

}  // namespace Tool
