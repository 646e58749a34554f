#include <Ondrel/Drives.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

/// Memory of this process that is resident, in kB.
long Resident() {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);)
    if (line.rfind("VmRSS:", 0) == 0) return std::strtol(line.c_str() + 6, nullptr, 10);
  return 0;
}

}  // namespace

/// Asks the NVMe drives for their health, FIRST times and up to LAST times in all. Prints how many
/// drives answered at the end, and the resident memory in kB after each of the two.
int main(int count, char** arguments) {
  if (count != 3) return 2;
  const long first = std::strtol(arguments[1], nullptr, 10);
  const long last = std::strtol(arguments[2], nullptr, 10);
  Ondrel::Host::CDriveMonitor monitor;
  long residentFirst = 0;
  int answers = 0;
  for (long poll = 1; poll <= last; ++poll) {
    answers = 0;
    for (const Ondrel::Host::Drive& drive : monitor.Look({.readHealth = true}).drives)
      if (drive.health) ++answers;
    if (poll == first) residentFirst = Resident();
  }
  std::printf("%d %ld %ld\n", answers, residentFirst, Resident());
  return 0;
}
