#pragma once

#include "Host/Types.h"

/// The fields of an event in the journal, and how its type and an entry's priority answer to each
/// other.
namespace Ondrel::Host {

inline constexpr char kJournalSocket[] = "/run/systemd/journal/socket";

// An event's MESSAGE_ID is this and its full id in hexadecimal; the catalogue file explains it.
inline constexpr char kMessageIdPrefix[] = "9c5d6a7e3f1b4c2e8a41d07b";

inline constexpr char kIdField[] = "ONDREL_EVENT_ID";              // Full id, in plain decimal.
inline constexpr char kTypeField[] = "ONDREL_EVENT_TYPE";          // In plain decimal.
inline constexpr char kCategoryField[] = "ONDREL_EVENT_CATEGORY";  // Only where it is not 0.
inline constexpr char kStringField[] = "ONDREL_STRING_";           // Followed by 1, 2, ...
inline constexpr char kDataField[] = "ONDREL_DATA";  // Raw bytes, where there are any.

// Id, type, category, number of strings and bytes of data, in plain decimal with spaces between: a
// reader finds all of them with one look, and knows what not to look for.
inline constexpr char kHeadField[] = "ONDREL_EVENT";

// Random, in the entries of a report that is to be read back.
inline constexpr char kTokenField[] = "ONDREL_REPORT";

inline constexpr WORD kErrorType = 1;
inline constexpr WORD kWarningType = 2;
inline constexpr WORD kInformationType = 4;

/// Priority (0 emergency to 7 debug) of an event type.
constexpr int PriorityOfType(WORD type) {
  switch (type) {
    case kErrorType:
      return 3;
    case kWarningType:
      return 4;
    default:
      return 6;
  }
}

/// Event type of an entry's priority.
constexpr WORD TypeOfPriority(unsigned priority) {
  if (priority <= 3) return kErrorType;
  if (priority == 4) return kWarningType;
  return kInformationType;
}

}  // namespace Ondrel::Host
