#include "Tool/Output.h"

#include <Ondrel/SystemTime.h>

#include <cstdio>

namespace Tool {

namespace {

std::string DurationText(unsigned long long milliseconds) {
  const unsigned long long seconds = milliseconds / 1000;
  char text[64];
  std::snprintf(text, sizeof text, "%llu d %02llu:%02llu:%02llu", seconds / 86400,
                seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
  return text;
}

int ShowUptime(const GlobalOptions& globals) {
  const unsigned long long milliseconds = Ondrel::CSystemTime_Win::UpTime();
  // The library's 0 stands for a host that does not say.
  if (milliseconds == 0) throw HostFailure("cannot find the time since the start", "not known");
  Answer(globals, {{"milliseconds", milliseconds}},
         std::to_string(milliseconds) + "ms (" + DurationText(milliseconds) + ")");
  return kDone;
}

}  // namespace

Work AddUptimeCommand(CLI::App&) { return ShowUptime; }

}  // namespace Tool
