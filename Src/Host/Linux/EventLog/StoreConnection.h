#pragma once

#include "Host/Linux/EventLog/EventStoreFile.h"
#include "Host/Linux/EventLog/EventTables.h"

#include <chrono>
#include <new>
#include <string>

namespace Ondrel::Host {

/// How long one operation waits for locks of other processes, all together.
inline constexpr std::chrono::seconds kPatience{10};

/// The answer of a host operation over the store: what `operation` throws becomes its Win32 number.
template <class Operation>
ULong Answer(Operation operation) {
  try {
    return operation();
  } catch (const DatabaseError& failure) {
    return failure.error;
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

/// A connection to the store with the statements of its use, to be opened anew when the file was
/// removed or replaced: what is written to a file that no path leads to would be lost.
template <class Tables>
class StoreConnection {
public:
  template <class... Arguments>
  explicit StoreConnection(const std::string& path, const Arguments&... arguments)
      : file(path, Tables::kPurpose), tables(Tables::Prepared(file), arguments...) {}
  ~StoreConnection() {
    if (!file.IsInPlace()) file.Abandon();
  }

  StoreConnection(const StoreConnection&) = delete;
  StoreConnection& operator=(const StoreConnection&) = delete;

  EventStoreFile file;
  Tables tables;
};

}  // namespace Ondrel::Host
