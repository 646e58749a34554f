#pragma once

#include <Ondrel/Export.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Ondrel {

/// What a storage service needs of its host as a whole. The class has no data; no operation traces
/// or raises, and all may be called from any thread.
class ONDREL_API CSystem {
public:
  CSystem();
  CSystem(const CSystem& other);
  CSystem& operator=(const CSystem& other);
  CSystem& operator=(CSystem&& other) noexcept;
  ~CSystem();  // NOLINT(performance-trivially-destructible): it is exported.

  /// Runs `command` with `arguments` through the host's command processor, waits for its end and
  /// gives back what it wrote to its standard output, without the characters that the global
  /// locale does not call printable: line ends too, so that the lines "a" and "b" give "ab".
  ///
  /// The command is put in double quotes as it stands, spaces included; the arguments follow
  /// unquoted. Standard error goes where the caller's goes. There is no time limit. Of a line that
  /// holds a zero byte the rest after it is lost.
  ///
  /// Returns 1 if the command processor could be started, whatever the program's own success, and 0
  /// if not; the output is then empty. It is emptied first: neither of the two texts should be the
  /// same object.
  static unsigned int ExecuteCommand(const std::string& command, const std::string& arguments,
                                     std::string& output);

  /// As above, but gives each line as an element of its own; a line of 1024 bytes or more, its end
  /// included, comes as several elements of up to 1023 bytes.
  static unsigned int ExecuteCommand(const std::string& command, const std::string& arguments,
                                     std::vector<std::string>& lines);

  /// As above, and gives the raw termination status of the command processor, as the host's
  /// `pclose` reports it. The status is left alone when the result is 0.
  static unsigned int ExecuteCommand(const std::string& command, const std::string& arguments,
                                     std::vector<std::string>& lines, int& exitStatus);

  /// Orders two versions such as "7.10.2" and "6-2" by the numbers between their dots and hyphens;
  /// parts that one of them lacks count as 0. `count` limits how many leading parts are compared; 0
  /// compares all.
  ///
  /// Returns a negative number if the first is lower, 0 if they count as equal, a positive number
  /// if the first is higher. Where a part that is reached is not a decimal number of 32 bits the
  /// result is that of comparing the two texts byte by byte.
  static int VersionCompare(const std::string& first, const std::string& second, std::size_t count);

  /// Gives the version of the loaded driver `moduleName` (without its extension, in any case), up
  /// to its first space. The version is empty if no such driver is loaded, or if it has none. It is
  /// emptied first: the two should not be one object.
  static void GetModuleVersion(const std::string& moduleName, std::string& version);

  /// Restarts the machine at once, without a question. Does nothing where the caller has no right
  /// to do so; a failure is not reported.
  static void Reboot();

  /// Sounds the host's speaker with `frequency` hertz for `duration` milliseconds.
  static void Beep(unsigned int frequency, unsigned int duration);
};

}  // namespace Ondrel
