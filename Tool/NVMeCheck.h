#pragma once

#include "Tool/Failure.h"
#include "Tool/Watch/Step.h"

#include <Ondrel/Drives.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// The health of NVMe drives in words: the rules of the watch service, applied to one look.
namespace Tool {

/// Bits of the exit status of `nvme check`, where the meaning is the same those of smartctl.
enum CheckBit : int {
  kNotDelivered = 1,       ///< The log, the mail server or the memory's file did not take it.
  kNotOpened = 2,          ///< A device could not be opened, or does not identify itself.
  kNotRead = 4,            ///< A device did not give its health.
  kFailing = 8,            ///< The controller has a critical warning.
  kPastThreshold = 16,     ///< Spare, wear or temperature is past its threshold.
  kWasPastThreshold = 32,  ///< The temperature was critical at some time.
  kErrorsRecorded = 64,    ///< Media errors are recorded, or new entries of the error log.
};

/// One thing that is not well.
struct CheckFinding {
  int bits;  ///< Of `CheckBit`.
  std::string text;
};

/// What is remembered from one check to the next: the drives as the watch service knows them, and
/// how many entries their error logs had.
struct CheckMemory {
  Watch::WatchState state;
  std::map<std::string, std::uint64_t> errorLogEntries;  ///< By the drive's identity.
};

/// A drive and what was found.
struct CheckedDrive {
  Ondrel::Host::Drive drive;  ///< `healthError` where it could not be asked.
  std::string firmware;
  bool isIdentified = false;  ///< It gave its identify data; else the error is of that.
  bool hasSiblings = false;   ///< Other controllers may have the same serial number.
  std::uint16_t controllerId = 0;
  std::string refusalWords;  ///< Why it did not give what it was asked for; empty when it did.
  Json refusal = nullptr;    ///< The same as the failure's details.
  std::vector<CheckFinding> findings;
  std::vector<Watch::WatchEvent> events;  ///< What is new against the memory.

  int Bits() const;

  /// By what it is remembered: its identity, with the controller's where that is not alone.
  std::string Key() const;

  /// "well", "warning", "failing" or "cannot be read".
  std::string Verdict() const;
};

/// Judges a drive. `memory` is what is known of it from before, and then of it now; without one,
/// whatever is not well is new.
void Judge(CheckedDrive& checked, const Watch::Thresholds& thresholds, CheckMemory* memory);

/// The memory as the text of a file, and the other way round. The latter throws
/// `nlohmann::json::exception` for a text that is not of that form.
std::string TextOfMemory(const CheckMemory& memory);
CheckMemory MemoryOfText(const std::string& text);

}  // namespace Tool
