#pragma once

#include "Tool/Watch/Step.h"

#include <Ondrel/StatusTransition.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace Tool::Watch {

/// Drives and arrays as a look would show them, for tests of the step: each drive is whole, and
/// its status follows what the arrays say of it.
class World {
public:
  Ondrel::Host::DriveSnapshot now;

  Ondrel::Host::Drive& AddDrive(const std::string& serial, const std::string& name,
                                std::int32_t status = Ondrel::kStatusAvailable) {
    Ondrel::Host::Drive drive;
    drive.id = drive.serial = serial;
    drive.name = name;
    drive.device = "/dev/" + name;
    drive.status = status;
    drive.isNVMe = name.starts_with("nvme");
    now.drives.push_back(drive);
    return now.drives.back();
  }

  Ondrel::Host::DriveArray& AddArray(const std::string& id, const std::string& name,
                                     const std::string& level, std::uint32_t places) {
    Ondrel::Host::DriveArray array;
    array.id = id;
    array.name = name;
    array.level = level;
    array.places = places;
    array.status = Ondrel::kStatusOperational;
    now.arrays.push_back(array);
    return now.arrays.back();
  }

  /// Adds a member in sync, whose drive becomes OPERATIONAL.
  Ondrel::Host::ArrayMember& AddMember(const std::string& array, const std::string& drive,
                                       int slot) {
    Ondrel::Host::ArrayMember member;
    member.id = member.drive = drive;
    member.name = Drive(drive).name;
    member.slot = slot;
    member.isInSync = true;
    member.status = Drive(drive).status = Ondrel::kStatusOperational;
    Array(array).members.push_back(member);
    return Array(array).members.back();
  }

  void Fail(const std::string& array, const std::string& drive) {
    Ondrel::Host::ArrayMember& member = Member(array, drive);
    member.isInSync = member.isSpare = false;
    member.isFaulty = true;
    member.slot = -1;
    member.status = Drive(drive).status = Ondrel::kStatusFailed;
  }

  void MakeSpare(const std::string& array, const std::string& drive, int slot) {
    Ondrel::Host::ArrayMember& member = Member(array, drive);
    member.isInSync = member.isFaulty = false;
    member.isSpare = true;
    member.slot = slot;
    member.status = Drive(drive).status =
        slot < 0 ? Ondrel::kStatusDedicatedHotspare : Ondrel::kStatusRebuilding;
  }

  void Sync(const std::string& array, const std::string& drive) {
    Ondrel::Host::ArrayMember& member = Member(array, drive);
    member.isInSync = true;
    member.isSpare = member.isFaulty = false;
    member.status = Drive(drive).status = Ondrel::kStatusOperational;
  }

  /// Takes a member out of its array; its drive is free.
  void Remove(const std::string& array, const std::string& drive) {
    std::erase_if(Array(array).members, [&](const auto& member) { return member.drive == drive; });
    Drive(drive).status = Ondrel::kStatusAvailable;
  }

  /// Pulls a disk: what an array still says of it dangles.
  void Pull(const std::string& drive) {
    for (Ondrel::Host::DriveArray& array : now.arrays) {
      for (Ondrel::Host::ArrayMember& member : array.members) {
        if (member.drive != drive) continue;
        member.isGone = true;
        member.id.clear();
        member.drive.clear();
        member.status = Ondrel::kStatusFailed;
      }
    }
    std::erase_if(now.drives, [&](const auto& known) { return known.id == drive; });
  }

  void Stop(const std::string& array) {
    for (const Ondrel::Host::ArrayMember& member : Array(array).members)
      Drive(member.drive).status = Ondrel::kStatusAvailable;
    std::erase_if(now.arrays, [&](const auto& known) { return known.id == array; });
  }

  Ondrel::Host::DriveHealth& AskHealth(const std::string& drive) {
    Drive(drive).isHealthAsked = true;
    Drive(drive).health.emplace();
    Drive(drive).health->temperature = 300;
    Drive(drive).health->warningTemperature = 343;
    Drive(drive).health->criticalTemperature = 353;
    return *Drive(drive).health;
  }

  Ondrel::Host::Drive& Drive(const std::string& id) {
    return *std::ranges::find(now.drives, id, &Ondrel::Host::Drive::id);
  }
  Ondrel::Host::DriveArray& Array(const std::string& id) {
    return *std::ranges::find(now.arrays, id, &Ondrel::Host::DriveArray::id);
  }
  Ondrel::Host::ArrayMember& Member(const std::string& array, const std::string& drive) {
    return *std::ranges::find(Array(array).members, drive, &Ondrel::Host::ArrayMember::drive);
  }

  /// Looks, and yields the events as (code, severity), in their order.
  std::vector<std::pair<int, int>> Look() {
    StepResult result = Step(state, now, thresholds);
    state = std::move(result.state);
    events = std::move(result.events);
    std::vector<std::pair<int, int>> codes;
    for (const WatchEvent& event : events) codes.emplace_back(event.code, event.severity);
    return codes;
  }

  std::int32_t StatusOf(const std::string& drive) const {
    for (const DriveRecord& record : state->drives)
      if (record.id == drive) return record.status;
    return 0;
  }

  std::optional<WatchState> state;
  std::vector<WatchEvent> events;
  Thresholds thresholds;
};

/// An array A of `places` working drives S0, S1, ... that was looked at once.
inline World WorldWithArray(const std::string& level, std::uint32_t places) {
  World world;
  for (std::uint32_t place = 0; place < places; ++place)
    world.AddDrive("S" + std::to_string(place),
                   "sd" + std::string(1, static_cast<char>('a' + place)));
  world.AddArray("A", "md0", level, places);
  for (std::uint32_t place = 0; place < places; ++place)
    world.AddMember("A", "S" + std::to_string(place), static_cast<int>(place));
  world.Look();
  return world;
}

}  // namespace Tool::Watch
