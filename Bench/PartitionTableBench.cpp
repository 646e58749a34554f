#include "Host/Linux/Volumes/VolumeProvider.h"
#include "Support/PreparedSysfs.h"

#include <Ondrel/PartitionTable.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

// What it costs to list the partitions of a disk: of a prepared tree with 4 and with 200 of them,
// every fourth mounted, where the cost of one is to stay the same; with 128 of them, alone and
// while another thread sets the error mode of the process, which is to make no difference; and of
// this machine's own disk, against lsblk as a process.

namespace {

using Ondrel::Testing::PreparedSysfs;

void AddPartitions(PreparedSysfs& host, int count) {
  host.AddDisk("sda", "8:0", 1ULL << 32);
  for (int number = 1; number <= count; ++number) {
    const std::string name = "sda" + std::to_string(number);
    const std::string device = "259:" + std::to_string(number);
    const auto start = static_cast<std::uint64_t>(number) * 2048;
    host.AddPartition("sda", name, static_cast<unsigned>(number), device, start, 2048);
    host.contents[name] = {"ext4", "Data"};
    if (number % 4 == 0) host.Mount(device, "/", "/mnt/" + name, "/dev/" + name);
  }
}

// The operations over a prepared tree, for one benchmark.
class PreparedHost {
public:
  explicit PreparedHost(int count) : m_folder(NewFolder()), m_host(m_folder) {
    AddPartitions(m_host, count);
    Ondrel::Host::Volume() = Ondrel::Host::MakeVolumeOperations(m_host.Sources());
  }
  ~PreparedHost() {
    Ondrel::Host::Volume() = Ondrel::Host::MakeVolumeOperations();
    std::filesystem::remove_all(m_folder);
  }

  PreparedHost(const PreparedHost&) = delete;
  PreparedHost& operator=(const PreparedHost&) = delete;

private:
  static std::string NewFolder() {
    std::string folder = std::filesystem::temp_directory_path() / "ondrel-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder");
    return folder;
  }

  std::string m_folder;
  PreparedSysfs m_host;
};

void List(benchmark::State& state, int count) {
  Ondrel::CSystemPartitionTable table("Disk 0");
  std::vector<Ondrel::CSystemPartition> partitions;
  for (auto _ : state) table.GetPartitions(partitions);
  if (partitions.size() != static_cast<std::size_t>(count)) state.SkipWithError("not all listed");
}

void ListPrepared(benchmark::State& state, int count) {
  const PreparedHost host(count);
  List(state, count);
}

// Another thread of the process sets the error mode all the while.
void ListBesideAModeSetter(benchmark::State& state, int count) {
  const PreparedHost host(count);
  std::atomic<bool> isDone = false;
  std::thread other([&] {
    for (Ondrel::ULong mode = 0; !isDone; mode ^= Ondrel::SEM_FAILCRITICALERRORS) {
      Ondrel::Host::Volume().SetErrorMode(mode);
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  });
  List(state, count);
  isDone = true;
  other.join();
}

void ListOfThisMachine(benchmark::State& state) {
  Ondrel::CSystemPartitionTable table("Disk 0");
  std::vector<Ondrel::CSystemPartition> partitions;
  for (auto _ : state) table.GetPartitions(partitions);
}

void RunLsblk(benchmark::State& state, const char* command) {
  for (auto _ : state)
    if (std::system(command) != 0) state.SkipWithError("lsblk failed");
}

BENCHMARK_CAPTURE(ListPrepared, four, 4)->Name("Partitions/4/libondrel");
BENCHMARK_CAPTURE(ListPrepared, many, 200)->Name("Partitions/200/libondrel");
BENCHMARK_CAPTURE(ListPrepared, growth1, 2)->Name("Growth/partitions listed, 2 and more/1");
BENCHMARK_CAPTURE(ListPrepared, growth10, 20)->Name("Growth/partitions listed, 2 and more/10");
BENCHMARK_CAPTURE(ListPrepared, growth100, 200)->Name("Growth/partitions listed, 2 and more/100");
BENCHMARK_CAPTURE(ListPrepared, most, 128)->Name("Partitions/128/libondrel");
BENCHMARK_CAPTURE(ListBesideAModeSetter, most, 128)
    ->Name("Partitions/128, error mode set meanwhile/libondrel");
BENCHMARK(ListOfThisMachine)->Name("Partitions/this machine/libondrel");
BENCHMARK_CAPTURE(RunLsblk, own, "lsblk -bJ -o NAME,START,SIZE,LABEL,MOUNTPOINT >/dev/null")
    ->Name("Partitions/this machine/lsblk");

}  // namespace
