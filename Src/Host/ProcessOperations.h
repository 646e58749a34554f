#pragma once

#include <cstdio>
#include <functional>

namespace Ondrel::Host {

/// The C runtime's command processor.
struct ProcessOperations {
  /// Starts the command processor on a command line, with a stream on its standard output (`mode`
  /// "r"). Null when it cannot be started.
  std::function<std::FILE*(const char* commandLine, const char* mode)> _popen;

  /// Reads up to and with a line end, at most `size` - 1 bytes, and ends them with a zero byte.
  /// Yields `buffer`, or null at the end of the stream.
  std::function<char*(char* buffer, int size, std::FILE* stream)> fgets;

  /// Closes the stream, waits for the process and yields its raw termination status.
  std::function<int(std::FILE* stream)> _pclose;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
ProcessOperations& Process();

/// The operations as this host's provider gives them: `Linux/Services/ProcessProvider.cpp` or
/// `Win32/ProcessProvider.cpp`.
ProcessOperations MakeProcessOperations();

}  // namespace Ondrel::Host
