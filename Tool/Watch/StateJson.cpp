#include "Tool/Watch/StateJson.h"

#include "Tool/Watch/Codes.h"

#include <Ondrel/CodeNames.h>

namespace Ondrel::Host {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DriveHealth, criticalWarning, temperature, warningTemperature,
                                   criticalTemperature, availableSpare, availableSpareThreshold,
                                   percentageUsed, mediaErrors, powerOnHours, unsafeShutdowns,
                                   dataUnitsRead, dataUnitsWritten)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ArrayMember, id, drive, name, slot, isInSync, isFaulty, isSpare,
                                   isReplacement, isReplacementWanted, isGone, hasWriteError,
                                   errors, badSectors, status)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DriveArray, id, name, level, status, places, lostPlaces, size,
                                   action, lastAction, actionDone, actionTotal, isCheckCut,
                                   isResyncUnfinished, isReshapeUnfinished, mismatches, members)

}  // namespace Ondrel::Host

namespace Tool::Watch {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ArrayRecord, array, rebuilds, isStopped)

namespace {

// A state of another layout is not read as one of this.
constexpr int kLayout = 1;

Json JsonOfHealth(const HealthMemory& health) {
  if (!health.last) return nullptr;
  const Ondrel::Host::DriveHealth& last = *health.last;
  return {{"criticalWarning", last.criticalWarning},
          {"temperatureKelvin", last.temperature},
          {"warningTemperatureKelvin", last.warningTemperature},
          {"criticalTemperatureKelvin", last.criticalTemperature},
          {"availableSparePercent", last.availableSpare},
          {"availableSpareThresholdPercent", last.availableSpareThreshold},
          {"percentageUsed", last.percentageUsed},
          {"mediaErrors", last.mediaErrors},
          {"powerOnHours", last.powerOnHours},
          {"unsafeShutdowns", last.unsafeShutdowns}};
}

// There is none in a state, and what is too large for a whole number has no meaning as one.
nlohmann::json ParseWholeNumbers(const std::string& text) {
  return nlohmann::json::parse(
      text, [](int, nlohmann::json::parse_event_t event, nlohmann::json& value) {
        if (event == nlohmann::json::parse_event_t::value && value.is_number_float())
          throw nlohmann::json::other_error::create(501, "a number that is not whole", &value);
        return true;
      });
}

Json StatusOrNull(std::int32_t status) {
  return status == 0 ? Json(nullptr) : Json(NameOfStatus(status));
}

}  // namespace

WatchState EssenceOf(WatchState state) {
  for (ArrayRecord& record : state.arrays) record.array.actionDone = record.array.actionTotal = 0;
  for (DriveRecord& drive : state.drives) {
    if (!drive.health.last) continue;
    Ondrel::Host::DriveHealth health;
    health.criticalWarning = drive.health.last->criticalWarning;
    health.mediaErrors = drive.health.last->mediaErrors;
    health.percentageUsed = drive.health.last->percentageUsed;
    drive.health.last = health;
  }
  return state;
}

std::string TextOfState(const WatchState& state) {
  nlohmann::json drives = nlohmann::json::array();
  for (const DriveRecord& drive : state.drives) {
    nlohmann::json health = {{"temperatureLevel", drive.health.temperatureLevel},
                             {"lifeLevel", drive.health.lifeLevel},
                             {"unreadable", drive.health.unreadable}};
    if (drive.health.last) health["last"] = *drive.health.last;
    drives.push_back({{"id", drive.id},
                      {"name", drive.name},
                      {"model", drive.model},
                      {"status", drive.status},
                      {"isPresent", drive.isPresent},
                      {"isNVMe", drive.isNVMe},
                      {"isListed", drive.isListed},
                      {"isGivenUp", drive.isGivenUp},
                      {"isReplaced", drive.isReplaced},
                      {"health", health}});
  }
  return nlohmann::json{{"layout", kLayout}, {"drives", drives}, {"arrays", state.arrays}}.dump(
      -1, ' ', false, nlohmann::json::error_handler_t::replace);
}

WatchState StateOfText(const std::string& text) {
  const nlohmann::json json = ParseWholeNumbers(text);
  if (json.at("layout") != kLayout)
    throw nlohmann::json::other_error::create(500, "a state of another layout", &json);
  WatchState state;
  for (const nlohmann::json& known : json.at("drives")) {
    DriveRecord drive;
    known.at("id").get_to(drive.id);
    known.at("name").get_to(drive.name);
    known.at("model").get_to(drive.model);
    known.at("status").get_to(drive.status);
    known.at("isPresent").get_to(drive.isPresent);
    known.at("isNVMe").get_to(drive.isNVMe);
    known.at("isListed").get_to(drive.isListed);
    known.at("isGivenUp").get_to(drive.isGivenUp);
    known.at("isReplaced").get_to(drive.isReplaced);
    const nlohmann::json& health = known.at("health");
    health.at("temperatureLevel").get_to(drive.health.temperatureLevel);
    health.at("lifeLevel").get_to(drive.health.lifeLevel);
    health.at("unreadable").get_to(drive.health.unreadable);
    if (health.contains("last"))
      drive.health.last = health["last"].get<Ondrel::Host::DriveHealth>();
    state.drives.push_back(std::move(drive));
  }
  json.at("arrays").get_to(state.arrays);
  return state;
}

std::string NameOfStatus(std::int32_t status) {
  const auto name = Ondrel::ValueCodeNames.Name(status);
  return name ? std::string(*name) : std::to_string(status);
}

std::string NameOfEvent(std::int32_t code) {
  const auto name = Ondrel::EventCodeNames.Name(code);
  return name ? std::string(*name) : std::to_string(code);
}

std::string NameOfAction(Ondrel::Host::ArrayAction action) {
  switch (action) {
    case Ondrel::Host::ArrayAction::Rebuild:
      return "rebuild";
    case Ondrel::Host::ArrayAction::Resync:
      return "resync";
    case Ondrel::Host::ArrayAction::Check:
      return "check";
    case Ondrel::Host::ArrayAction::Reshape:
      return "reshape";
    default:
      return {};
  }
}

Json JsonOfWatchEvent(const WatchEvent& event) {
  const char* const object = event.objectId.empty() ? "service" : event.isArray ? "array" : "drive";
  return {{"event", event.code},
          {"eventName", NameOfEvent(event.code)},
          {"severity", event.severity},
          {"object", object},
          {"id", event.objectId},
          {"name", event.objectName},
          {"text", event.text},
          {"oldStatus", StatusOrNull(event.oldStatus)},
          {"newStatus", StatusOrNull(event.newStatus)},
          {"recovery", event.isRecovery}};
}

Json JsonOfDrive(const DriveRecord& drive) {
  return {{"id", drive.id},
          {"name", drive.name},
          {"model", drive.model},
          {"nvme", drive.isNVMe},
          {"present", drive.isPresent},
          {"status", drive.status},
          {"statusName", NameOfStatus(drive.status)},
          {"well", IsWell(drive.status)},
          {"health", JsonOfHealth(drive.health)}};
}

Json JsonOfArray(const ArrayRecord& record) {
  const Ondrel::Host::DriveArray& array = record.array;
  Json json = {{"id", array.id},
               {"name", array.name},
               {"level", array.level},
               {"status", array.status},
               {"statusName", NameOfStatus(array.status)},
               {"well", IsWell(array.status)},
               {"size", array.size},
               {"places", array.places},
               {"lostPlaces", array.lostPlaces},
               {"action", nullptr},
               {"progress", nullptr},
               {"mismatches", array.mismatches},
               {"stopped", record.isStopped},
               {"members", Json::array()}};
  if (array.action != Ondrel::Host::ArrayAction::None) json["action"] = NameOfAction(array.action);
  if (array.actionTotal != 0)
    json["progress"] =
        static_cast<double>(array.actionDone) / static_cast<double>(array.actionTotal);
  for (const Ondrel::Host::ArrayMember& member : array.members)
    json["members"].push_back({{"drive", member.drive},
                               {"name", member.name},
                               {"slot", member.slot < 0 ? Json(nullptr) : Json(member.slot)},
                               {"status", member.status},
                               {"statusName", NameOfStatus(member.status)}});
  return json;
}

}  // namespace Tool::Watch
