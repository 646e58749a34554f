#include "Unit/Pirsk/Host/Host.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <windows.h>

namespace Pirsk::Testing {

std::uint64_t ThreadNumber() { return GetCurrentThreadId(); }

std::string ProgramFolder() {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).parent_path().string();
}

std::size_t BytesInUse() {
  HANDLE heaps[64];
  const DWORD count = std::min<DWORD>(GetProcessHeaps(64, heaps), 64);
  std::size_t bytes = 0;
  for (DWORD index = 0; index < count; ++index) {
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heaps[index], &entry) != 0)
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
  }
  return bytes;
}

LoadedModule::LoadedModule(const char* path) : m_handle(LoadLibraryA(path)) {
  if (m_handle == nullptr) ADD_FAILURE() << path << ": " << GetLastError();
}

LoadedModule::~LoadedModule() { FreeLibrary(static_cast<HMODULE>(m_handle)); }

void LoadedModule::Call(const char* function) const {
  const FARPROC address = GetProcAddress(static_cast<HMODULE>(m_handle), function);
  void (*call)() = nullptr;
  std::memcpy(&call, &address, sizeof call);
  call();
}

bool LoadedModule::IsLoaded(const char* path) { return GetModuleHandleA(path) != nullptr; }

}  // namespace Pirsk::Testing
