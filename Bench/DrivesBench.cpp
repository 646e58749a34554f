#include "Unit/Host/Linux/Drives/DriveTree.h"

#include <benchmark/benchmark.h>

#include <string>

// One look at the drives of a prepared sysfs, all of them members of one array: how it grows with
// their number.

namespace {

void LookAt(benchmark::State& state, int count) {
  const Ondrel::Host::DriveTree tree;
  tree.AddArray("md0", "raid6", count);
  for (int i = 0; i < count; ++i) {
    const std::string name = "sd" + std::to_string(i);
    tree.AddDisk(name, "SERIAL" + std::to_string(i), "8:" + std::to_string(i));
    tree.AddDiskMember("md0", name, "in_sync", std::to_string(i));
  }
  for (auto _ : state) {
    const Ondrel::Host::DriveSnapshot picture = tree.Read();
    if (picture.drives.size() != static_cast<std::size_t>(count))
      state.SkipWithError("drives are missing");
  }
}

BENCHMARK_CAPTURE(LookAt, growth1, 4)->Name("Growth/drives of an array looked at, 4 and more/1");
BENCHMARK_CAPTURE(LookAt, growth10, 40)->Name("Growth/drives of an array looked at, 4 and more/10");
BENCHMARK_CAPTURE(LookAt, growth100, 400)
    ->Name("Growth/drives of an array looked at, 4 and more/100");

}  // namespace
