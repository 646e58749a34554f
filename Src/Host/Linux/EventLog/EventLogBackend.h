#pragma once

#include "Host/Types.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

/// What the kinds of event log of this host have in common: an opened log to read from, and a
/// registered source to write under. Both answer with a Win32 error number, 0 for success. One
/// object is used by one thread at a time; its handle sees to that.
namespace Ondrel::Host {

/// One event as it is handed over for writing.
struct EventToWrite {
  WORD type;
  WORD category;
  ULong id;
  std::vector<std::string> strings;
  std::span<const std::byte> data;
};

/// A log that was opened for reading.
class OpenedLog {
public:
  virtual ~OpenedLog() = default;

  /// Fills `buffer` with whole records and gives the bytes that they take, as `ReadEventLogA` does.
  virtual ULong Read(ULong flags, ULong recordOffset, std::span<std::byte> buffer, ULong& bytesRead,
                     ULong& bytesNeeded) = 0;
};

/// A source that events are written under.
class RegisteredSource {
public:
  virtual ~RegisteredSource() = default;

  virtual ULong Report(const EventToWrite& event) = 0;

  /// Number of the record that the last successful report became; 0 where it is not known.
  virtual ULong LastNumber() const { return 0; }
};

}  // namespace Ondrel::Host
