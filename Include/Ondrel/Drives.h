#pragma once

#include <Ondrel/Export.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The drives and software arrays of this machine with their statuses, and when to look at them
/// again.
///
/// A program that watches them makes one `CDriveMonitor`, calls `Look`, waits for its descriptor
/// or for a time of its own, and looks again. A look has no memory: what changed between two looks
/// is for the caller to find. Statuses are codes of the value vocabulary (`ValueCodeNames`).
namespace Ondrel::Host {

/// Health of an NVMe drive, as its controller reports it. Temperatures are in kelvin.
struct DriveHealth {
  std::uint8_t criticalWarning = 0;           ///< The bits of the standard's Critical Warning.
  std::uint16_t temperature = 0;              ///< Composite temperature; 0 for not reported.
  std::uint16_t warningTemperature = 0;       ///< WCTEMP; 0 for not reported.
  std::uint16_t criticalTemperature = 0;      ///< CCTEMP; 0 for not reported.
  std::uint8_t availableSpare = 0;            ///< In percent.
  std::uint8_t availableSpareThreshold = 0;   ///< In percent; 0 for none.
  std::uint8_t percentageUsed = 0;            ///< Of the expected life; may pass 100; 255 at most.
  std::uint64_t mediaErrors = 0;              ///< Low 64 bits of the counter.
  std::uint64_t powerOnHours = 0;             ///< Low 64 bits of the counter.
  std::uint64_t unsafeShutdowns = 0;          ///< Low 64 bits of the counter.
  std::uint64_t dataUnitsRead = 0;            ///< Low 64 bits, in units of 512000 bytes.
  std::uint64_t dataUnitsWritten = 0;         ///< Low 64 bits, in units of 512000 bytes.
  std::uint64_t errorLogEntries = 0;          ///< Low 64 bits of the counter.
  std::uint32_t criticalTemperatureTime = 0;  ///< Minutes at or above CCTEMP.
};

/// Asks the NVMe drive at the node `device` for its health. 0, or the host's error number; 13 for
/// an answer that is not valid. `health` is written on success only. Takes the right to ask, and
/// leaves 4144 bytes allocated, as the query for identify data does. Any thread may ask.
ONDREL_API std::uint32_t ReadDriveHealth(const std::string& device, DriveHealth& health);

/// A physical drive, or what an array takes for one.
struct Drive {
  /// What the drive is known by across changes of its name: its serial number, with the model in
  /// front where two drives have the same. Of a drive without a serial number, its world wide name
  /// or else the place where it is plugged in.
  std::string id;
  std::string name;    ///< The kernel's name of the moment: "sda", "nvme0".
  std::string device;  ///< Its node: "/dev/sda". Empty for a drive that is gone.
  std::string model;   ///< May be empty.
  std::string serial;  ///< May be empty.

  /// OPERATIONAL, FAILED, REBUILDING, DEDICATED_HOTSPARE, GLOBAL_HOTSPARE, AVAILABLE or SYSTEM, or
  /// the `_SMART` variant of one. The worst where a drive serves several arrays.
  std::int32_t status = 0;
  bool isPresent = true;  ///< False for a drive that an array still names and that is gone.
  bool isNVMe = false;    ///< Whether its health can be asked for.

  /// Whether this look asked the drive for its health. False without `readHealth` and for a drive
  /// that is not NVMe.
  bool isHealthAsked = false;
  std::optional<DriveHealth> health;  ///< Nothing when it was not asked or could not be read.
  std::uint32_t healthError = 0;      ///< Why it could not be read: the host's error number.
};

/// One member of an array.
struct ArrayMember {
  /// What the member is known by: the identity of its drive, with the number of a partition or of
  /// a namespace. Empty when it is gone and not known any more, as is the next.
  std::string id;
  std::string drive;           ///< Identity of the drive.
  std::string name;            ///< The kernel's name of the disk or partition: "sda1".
  int slot = -1;               ///< Its place in the array; -1 for none.
  bool isInSync = false;       ///< Holds its part of the data.
  bool isFaulty = false;       ///< Given up by the array.
  bool isSpare = false;        ///< Neither in sync nor faulty: a hot spare or a rebuild's target.
  bool isReplacement = false;  ///< Made to take the place of another member of the same slot.
  bool isReplacementWanted = false;  ///< It is to be replaced by another one.
  bool isGone = false;               ///< Its disk is not there any more, whatever the array says.
  bool hasWriteError = false;        ///< A write to it failed.
  std::uint64_t errors = 0;          ///< Read errors that were corrected.
  std::uint64_t badSectors = 0;      ///< Sectors in its list of bad blocks.
  std::int32_t status = 0;           ///< Status of this part of the drive, as at `Drive::status`.
};

/// What an array does besides its work.
enum class ArrayAction : std::int32_t {
  None = 0,
  Rebuild = 1,  ///< Fills a spare or a replacement.
  Resync = 2,   ///< Brings the members in line after a creation or an unclean end.
  Check = 3,    ///< Compares the members, or repairs differences.
  Reshape = 4,  ///< Moves the data to another layout.
};

/// A software array.
struct DriveArray {
  std::string id;                          ///< Its UUID as 32 hexadecimal digits, in groups.
  std::string name;                        ///< The kernel's name of the moment: "md0".
  std::string level;                       ///< "raid1", "raid5", ..., "linear".
  std::int32_t status = 0;                 ///< OPERATIONAL, PARTIALLY_DEGRADED, DEGRADED or FAILED.
  std::uint32_t places = 0;                ///< Members that the array needs to be whole.
  std::uint32_t lostPlaces = 0;            ///< Of those, how many have no working member.
  std::uint64_t size = 0;                  ///< In bytes.
  ArrayAction action = ArrayAction::None;  ///< What it does now.
  ArrayAction lastAction = ArrayAction::None;  ///< What was done last since the array's start.
  std::uint64_t actionDone = 0;                ///< In sectors; of `actionTotal`.
  std::uint64_t actionTotal = 0;               ///< In sectors; 0 when the host does not report it.
  bool isCheckCut = false;                     ///< A check was cancelled before its end.
  bool isResyncUnfinished = false;             ///< A resync was cut short.
  bool isReshapeUnfinished = false;            ///< A reshape was cut short.
  std::uint64_t mismatches = 0;                ///< Sectors that the last check found different.
  std::vector<ArrayMember> members;            ///< In the order of their slots.
};

/// The drives and arrays at one moment, each in the order of its identity.
struct DriveSnapshot {
  std::vector<Drive> drives;       ///< All drives, those that are gone included.
  std::vector<DriveArray> arrays;  ///< All arrays that run.

  /// Why the look is not whole, as the host's error number: its device tree cannot be read, or
  /// there were no descriptors or memory to read with. What the look lacks then need not be gone. 0
  /// when it is whole.
  std::uint32_t error = 0;
};

/// What a look is asked for.
struct DriveLook {
  bool readHealth = false;  ///< Ask NVMe drives for their health. Takes the right to.

  /// Ask NVMe drives to notify of critical warnings. A drive that was reset has to be asked again.
  bool armHealthEvents = false;
};

/// Looks at the drives and arrays of this machine.
///
/// One object belongs to one thread at a time. In texts that come from devices, whatever is not
/// printable ASCII is replaced by "?".
class ONDREL_API CDriveMonitor {
public:
  /// Whether this host has drive statuses to report. It has on Linux: of the arrays of the md
  /// driver and of NVMe drives.
  static bool IsSupported();

  /// A monitor that has not looked yet. Where a host has nothing to report, so has it.
  CDriveMonitor();
  ~CDriveMonitor();
  CDriveMonitor(const CDriveMonitor&) = delete;
  CDriveMonitor& operator=(const CDriveMonitor&) = delete;

  /// The drives and arrays as they are now. What cannot be read is left out; `error` says when that
  /// is for a reason of the host's and not of the drive's.
  DriveSnapshot Look(const DriveLook& look = {});

  /// A descriptor for `poll` that is readable when something may have changed; -1 where there is
  /// none. It stays the same and belongs to the monitor.
  ///
  /// A notification means "look again", no more. Some changes come without one: look every ten
  /// seconds too.
  int Descriptor() const;

  /// Takes the notifications that are pending, so that the descriptor is readable again at the
  /// next one. False when some of them may have been lost.
  bool TakeNotifications();

private:
  struct State;
  State* m_state;
};

}  // namespace Ondrel::Host
