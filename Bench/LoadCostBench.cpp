#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <string_view>

// What it costs to load a library and to unload it again, in time and in memory asked from the
// heap.
//
// `LoadCostBench --loads COUNT LIBRARY` loads one library COUNT times and does nothing else: two
// such runs under an instruction counter differ by the instructions of the loads alone.

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

void LoadOnce(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "LoadCostBench: %s\n", dlerror());
    std::exit(1);
  }
  dlclose(library);
}

void Load(benchmark::State& state, const char* path) {
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
  if (argumentCount == 4 && std::string_view(arguments[1]) == "--loads") {
    for (int count = std::atoi(arguments[2]); count > 0; --count) LoadOnce(arguments[3]);
    return 0;
  }
  benchmark::Initialize(&argumentCount, arguments);
  if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
