#pragma once

#include "Host/ServiceTypes.h"

#include <functional>

namespace Ondrel::Host {

/// Loaded drivers, version records, shutdown and the speaker. Names, argument orders and meanings
/// are those of the Win32 functions. An operation that fails yields 0 and sets the calling thread's
/// last error.
struct ServiceOperations {
  /// Fills `images` with the addresses of the loaded drivers, as many as fit into `size` bytes, and
  /// puts in `needed` how many bytes all take.
  std::function<int(void** images, ULong size, ULong* needed)> EnumDeviceDrivers;

  /// The file name of a driver without its folder, such as "storport.sys", zero-terminated. Yields
  /// its length.
  std::function<ULong(void* image, char* name, ULong size)> GetDeviceDriverBaseNameA;

  /// The folder under which "\drivers" lies. Yields its length, or the size needed where `size` is
  /// too small.
  std::function<unsigned int(char* folder, unsigned int size)> GetSystemDirectoryA;

  /// The folder that a program of another width has in its place. Absent where there is none.
  std::function<unsigned int(char* folder, unsigned int size)> GetSystemWow64DirectoryA;

  /// Bytes of the version record of a file.
  std::function<ULong(const char* path, ULong* handle)> GetFileVersionInfoSizeA;

  /// Reads the version record of a file into `record`, at most `size` bytes.
  std::function<int(const char* path, ULong handle, ULong size, void* record)> GetFileVersionInfoA;

  /// Finds a value in a version record. The value stays in the record; `length` counts bytes, for a
  /// text with its closing zero byte.
  std::function<int(const void* record, const char* key, void** value, unsigned int* length)>
      VerQueryValueA;

  /// The number of a privilege on the machine `system` (null: this one).
  std::function<int(const char* system, const char* name, LUID* privilege)> LookupPrivilegeValueA;

  /// The calling process; nothing has to be closed.
  std::function<void*()> GetCurrentProcess;

  /// Opens the access token of a process.
  std::function<int(void* process, ULong access, void** token)> OpenProcessToken;

  /// Changes privileges of a token and gives their previous state, where it is asked for. The last
  /// error is 0 only if all of them could be changed.
  std::function<int(void* token, int disableAll, TOKEN_PRIVILEGES* state, ULong size,
                    TOKEN_PRIVILEGES* previous, ULong* needed)>
      AdjustTokenPrivileges;

  /// Gives a token back.
  std::function<int(void* handle)> CloseHandle;

  /// Shuts the machine `machine` (null: this one) down after `seconds`.
  std::function<int(char* machine, char* message, ULong seconds, int forceClose, int restart)>
      InitiateSystemShutdownA;

  /// Sounds the speaker and returns when it has ended; frequencies are 37 to 32767 hertz.
  std::function<int(ULong frequency, ULong milliseconds)> Beep;

  /// The calling thread's last error.
  std::function<ULong()> GetLastError;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
ServiceOperations& Service();

/// The operations as this host's provider gives them: `Linux/Services/ServiceProvider.cpp` or
/// `Win32/ServiceProvider.cpp`.
ServiceOperations MakeServiceOperations();

}  // namespace Ondrel::Host
