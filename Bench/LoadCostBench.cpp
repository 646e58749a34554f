#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <link.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// What it costs to load a library and to unload it again, in time and in memory asked from the
// heap. The program is linked with nothing of the project's, so that names are not looked for in
// more libraries than a small program has. What the library itself is linked with, the base library
// aside, is loaded before and stays: its cost is not this library's.
//
// `LoadCostBench --loads COUNT LIBRARY` loads one library COUNT times and does nothing else: two
// such runs under an instruction counter differ by the instructions of the loads alone.
// `LoadCostBench --peak PROGRAM ARGUMENT...` runs a program, whose output it throws away, and
// prints the most bytes that it had resident. `LoadCostBench --private LIBRARY` prints the bytes of
// memory that loading it takes for this process alone.

namespace {

std::atomic<std::size_t> g_allocations{0};
std::atomic<std::size_t> g_bytes{0};

void CountAllocation(std::size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  g_bytes.fetch_add(size, std::memory_order_relaxed);
}

}  // namespace

// The program's own malloc stands before the C library's for every library that it loads.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
  CountAllocation(size);
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  CountAllocation(count * size);
  return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
  CountAllocation(size);
  return __libc_realloc(block, size);
}

}  // extern "C"

namespace {

void* OpenLibrary(const char* path) {
  void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "LoadCostBench: %s\n", dlerror());
    std::exit(1);
  }
  return library;
}

void LoadOnce(const char* path) { dlclose(OpenLibrary(path)); }

// Takes a second hold of all libraries that came with this one, the base library aside.
void KeepItsLibraries(const char* path) {
  void* const library = OpenLibrary(path);
  link_map* own = nullptr;
  dlinfo(library, RTLD_DI_LINKMAP, &own);
  for (const link_map* other = own->l_next; other != nullptr; other = other->l_next)
    if (std::strstr(other->l_name, "libpirsk") == nullptr)
      dlopen(other->l_name, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
  dlclose(library);
}

// Bytes of this process that it shares with no other.
long PrivateMemory() {
  std::ifstream file("/proc/self/smaps_rollup");
  long kibibytes = 0;
  for (std::string word; file >> word;) {
    long number = 0;
    if (word.starts_with("Private_") && file >> number) kibibytes += number;
  }
  return kibibytes * 1024;
}

// The most bytes that a program has resident while it runs.
long PeakOf(char** arguments) {
  const pid_t child = fork();
  if (child == 0) {
    const int nothing = open("/dev/null", O_WRONLY);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    execvp(arguments[0], arguments);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  if (!WIFEXITED(status) || WEXITSTATUS(status) == 127) {
    std::fprintf(stderr, "LoadCostBench: %s did not run\n", arguments[0]);
    std::exit(1);
  }
  return usage.ru_maxrss * 1024;
}

void Load(benchmark::State& state, const char* path) {
  KeepItsLibraries(path);
  LoadOnce(path);  // What stays loaded for good is loaded here.
  const std::size_t allocationsBefore = g_allocations;
  const std::size_t bytesBefore = g_bytes;
  LoadOnce(path);
  const std::size_t allocations = g_allocations - allocationsBefore;
  const std::size_t bytes = g_bytes - bytesBefore;

  for (auto _ : state) LoadOnce(path);
  state.counters["allocations"] = static_cast<double>(allocations);
  state.counters["bytes"] = static_cast<double>(bytes);
}

BENCHMARK_CAPTURE(Load, nothing, LOAD_NOTHING)->Name("Load/time/nothing");
BENCHMARK_CAPTURE(Load, vocabularies, LOAD_VOCABULARIES)->Name("Load/time/vocabularies");
BENCHMARK_CAPTURE(Load, maps, LOAD_MAPS)->Name("Load/time/std::map");
BENCHMARK_CAPTURE(Load, ondrel, LOAD_ONDREL)->Name("Load/time/libondrel");

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount >= 3 && std::string_view(arguments[1]) == "--peak") {
    std::printf("%ld\n", PeakOf(arguments + 2));
    return 0;
  }
  if (argumentCount == 3 && std::string_view(arguments[1]) == "--private") {
    KeepItsLibraries(arguments[2]);
    const long before = PrivateMemory();
    OpenLibrary(arguments[2]);
    std::printf("%ld\n", PrivateMemory() - before);
    return 0;
  }
  if (argumentCount == 4 && std::string_view(arguments[1]) == "--loads") {
    KeepItsLibraries(arguments[3]);
    for (int count = std::atoi(arguments[2]); count > 0; --count) LoadOnce(arguments[3]);
    return 0;
  }
  benchmark::Initialize(&argumentCount, arguments);
  if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
