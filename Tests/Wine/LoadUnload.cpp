// Loads and unloads the library again and again in one process, which has to be left with what it
// had after the first times: the same handles, the same memory. As with every program that the
// library's interface is made for, the compiler's C++ runtime is the program's own too and stays.
// Usage: load-unload ondrel.dll

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <vector>
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
    std::cout << "FAILED: cannot load " << path << ": " << GetLastError() << '\n';
    return false;
  }
  const FARPROC address = GetProcAddress(library, kFindStatusTransitionPD);
  FindStatusTransition find = nullptr;
  std::memcpy(&find, &address, sizeof find);
  Event event{};
  const bool isFound = find != nullptr && find({40093, 40095}, event) && event.code == 10471;
  FreeLibrary(library);
  if (!isFound) std::cout << "FAILED: the loaded library does not answer\n";
  if (GetModuleHandleA("ondrel.dll") != nullptr || GetModuleHandleA("pirsk.dll") != nullptr) {
    std::cout << "FAILED: the library is still loaded\n";
    return false;
  }
  return isFound;
}

// One entry of the host's list of all handles (SYSTEM_HANDLE_TABLE_ENTRY_INFO).
struct HandleEntry {
  std::uint16_t process;
  std::uint16_t creatorIndex;
  std::uint8_t type;
  std::uint8_t attributes;
  std::uint16_t handle;
  void* object;
  std::uint32_t access;
};
static_assert(sizeof(HandleEntry) == 24);

using QuerySystemInformation = LONG(WINAPI*)(int what, void* buffer, ULONG size, ULONG* needed);

constexpr int kHandleInformation = 16;
constexpr LONG kBufferTooSmall = static_cast<LONG>(0xC0000004);

std::size_t HandlesOfThisProcess() {
  const FARPROC address = GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQuerySystemInformation");
  QuerySystemInformation query = nullptr;
  std::memcpy(&query, &address, sizeof query);

  std::vector<char> list(1 << 16);
  LONG outcome = kBufferTooSmall;
  while ((outcome = query(kHandleInformation, list.data(), static_cast<ULONG>(list.size()),
                          nullptr)) == kBufferTooSmall)
    list.resize(2 * list.size());
  if (outcome != 0) return 0;

  std::uint32_t count = 0;
  std::memcpy(&count, list.data(), sizeof count);
  std::size_t own = 0;
  for (std::size_t index = 0; index < count; ++index) {
    HandleEntry entry;
    std::memcpy(&entry, list.data() + sizeof(void*) + index * sizeof entry, sizeof entry);
    if (entry.process == static_cast<std::uint16_t>(GetCurrentProcessId())) ++own;
  }
  return own;
}

struct Held {
  std::size_t handles = 0;
  std::size_t blocks = 0;
  std::size_t bytes = 0;

  bool operator==(const Held&) const = default;
};

Held WhatIsHeld() {
  Held held;
  held.handles = HandlesOfThisProcess();

  HANDLE heaps[64];
  const DWORD count = std::min<DWORD>(GetProcessHeaps(64, heaps), 64);
  for (DWORD index = 0; index < count; ++index) {
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
  std::cout << when << ": " << held.handles << " handles, " << held.blocks << " blocks of "
            << held.bytes << " bytes\n";
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
  const Held before = WhatIsHeld();
  if (!LoadManyTimes(path, kTimes)) return 1;
  const Held after = WhatIsHeld();

  Print("before", before);
  Print("after", after);
  if (before.handles == 0 || before.blocks == 0 || after != before) {
    std::cout << "FAILED: loading and unloading leaves something behind\n";
    return 1;
  }
  std::cout << kTimes << " times loaded and unloaded, nothing left behind\n";
  return 0;
}
