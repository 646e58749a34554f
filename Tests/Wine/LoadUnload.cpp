// Loads and unloads the library again and again in one process, which has to be left with what it
// had behind the first time: the same handles, the same memory. Linked without any DLL of the
// compiler's, so that those come and go with the library.
// Usage: load-unload ondrel.dll

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <windows.h>

namespace {

constexpr int kTimesBefore = 10;
constexpr int kTimes = 1000;

constexpr char kFindStatusTransitionPD[] =
    "_ZN6Ondrel22FindStatusTransitionPDERKNS_12CStateChangeERNS_17CStateChangeEventE";

struct Change {
  std::int32_t oldStatus;
  std::int32_t newStatus;
};

struct Event {
  std::int32_t code;
  std::int32_t severity;
};

using FindStatusTransition = bool (*)(const Change& change, Event& event);

bool LoadUseUnload(const char* path) {
  const HMODULE library = LoadLibraryA(path);
  if (library == nullptr) {
    std::printf("FAILED: cannot load %s: %lu\n", path, GetLastError());
    return false;
  }
  const FARPROC address = GetProcAddress(library, kFindStatusTransitionPD);
  FindStatusTransition find = nullptr;
  std::memcpy(&find, &address, sizeof find);
  Event event{};
  const bool isFound = find != nullptr && find({40093, 40095}, event) && event.code == 10471;
  FreeLibrary(library);
  if (!isFound) std::printf("FAILED: the loaded library does not answer\n");
  if (GetModuleHandleA("ondrel.dll") != nullptr || GetModuleHandleA("pirsk.dll") != nullptr) {
    std::printf("FAILED: the library is still loaded\n");
    return false;
  }
  return isFound;
}

struct Held {
  std::size_t handles = 0;
  std::size_t heaps = 0;
  std::size_t blocks = 0;
  std::size_t bytes = 0;
};

Held WhatIsHeld() {
  Held held;
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  held.handles = handles;

  static HANDLE heaps[256];
  held.heaps = GetProcessHeaps(256, heaps);
  for (std::size_t index = 0; index < held.heaps && index < 256; ++index) {
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heaps[index], &entry) != 0) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
      ++held.blocks;
      held.bytes += entry.cbData;
    }
  }
  return held;
}

void Print(const char* when, const Held& held) {
  std::printf("%s: %zu handles, %zu heaps, %zu blocks of %zu bytes\n", when, held.handles,
              held.heaps, held.blocks, held.bytes);
}

bool LoadManyTimes(const char* path, int times) {
  for (int time = 0; time < times; ++time)
    if (!LoadUseUnload(path)) return false;
  return true;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) return 2;
  const char* const path = arguments[1];

  if (!LoadManyTimes(path, kTimesBefore)) return 1;
  WhatIsHeld();
  const Held before = WhatIsHeld();
  if (!LoadManyTimes(path, kTimes)) return 1;
  const Held after = WhatIsHeld();

  Print("before", before);
  Print("after", after);
  const bool isTheSame = after.handles == before.handles && after.heaps == before.heaps &&
                         after.blocks == before.blocks && after.bytes == before.bytes;
  std::printf("%s: %d times loaded and unloaded\n", isTheSame ? "ok" : "FAILED", kTimes);
  return isTheSame ? 0 : 1;
}
