#include "Tool/Command.h"
#include "Tool/DiskListing.h"
#include "Tool/HostErrors.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"

#include <iostream>

namespace Tool {

namespace {

int ShowDisks(const GlobalOptions& globals) {
  const Ondrel::Host::StorageDescription storage = [] {
    const Progress progress("asking the host");
    return Ondrel::Host::DescribeStorage();
  }();
  if (storage.disks.empty() && storage.error != 0)
    throw HostFailure("cannot see the disks", storage.error);
  if (globals.json) {
    Json list = Json::array();
    for (const Ondrel::Host::DiskDescription& disk : storage.disks)
      list.push_back(JsonOfDisk(disk));
    Json json = {{"disks", list}};
    if (storage.error != 0) json["error"] = JsonOfHostError(storage.error);
    PrintJson(json);
  } else if (storage.disks.empty()) {
    std::cout << "there is no disk\n";
  } else {
    std::cout << TextOfDisks(storage.disks);
  }
  if (storage.error != 0) {
    Say("cannot see all disks: " + HostErrorWords(storage.error));
    return kFailed;
  }
  return storage.disks.empty() ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddDisksCommand(CLI::App& app) {
  app.footer("Exit status: 0 there are disks, 1 there are none, 3 they cannot be seen.\n");
  return ShowDisks;
}

}  // namespace Tool
