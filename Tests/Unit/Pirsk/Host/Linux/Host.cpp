#include "Unit/Pirsk/Host/Host.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <malloc.h>
#include <unistd.h>

namespace Pirsk::Testing {

std::uint64_t ThreadNumber() { return static_cast<std::uint64_t>(gettid()); }

std::string ProgramFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
}

std::size_t BytesInUse() { return mallinfo2().uordblks; }

LoadedModule::LoadedModule(const char* path) : m_handle(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
  if (m_handle == nullptr) ADD_FAILURE() << dlerror();
}

LoadedModule::~LoadedModule() { dlclose(m_handle); }

void LoadedModule::Call(const char* function) const {
  reinterpret_cast<void (*)()>(dlsym(m_handle, function))();
}

bool LoadedModule::IsLoaded(const char* path) {
  void* const handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

}  // namespace Pirsk::Testing
