#pragma once

#include <Ondrel/Host.h>

#include <string>
#include <vector>

namespace Tool {

/// One thing that commands need of their host.
struct HostCheck {
  std::string name;     ///< One of `kCheckNames`.
  bool isOk;            ///< It works here.
  std::string finding;  ///< What was found, or why it does not work.
  std::string remedy;   ///< What helps; empty for what works.
};

/// The checks of every host, in the order in which they are shown.
inline constexpr const char* kCheckNames[] = {
    "rights",    "eventLog",     "journal",  "store",   "devices",  "timeZone",
    "libraries", "messageTable", "language", "speaker", "pciNames",
};

/// Makes one check. Nothing is changed on the host. `place` is where events go, `storePath` the
/// file of the event store.
HostCheck CheckHost(const std::string& name, const Ondrel::Host::EventLogPlace& place,
                    const std::string& storePath);

}  // namespace Tool
