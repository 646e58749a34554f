#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// What the tests ask the host, past the base library.
namespace Pirsk::Testing {

/// The host's number of the calling thread.
std::uint64_t ThreadNumber();

/// Folder of the running program.
std::string ProgramFolder();

/// Bytes of the C library's heap that are handed out.
std::size_t BytesInUse();

/// A module, loaded as long as the object lives.
class LoadedModule {
public:
  explicit LoadedModule(const char* path);
  ~LoadedModule();

  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  /// Calls one of its functions.
  void Call(const char* function) const;

  /// Whether somebody has the module loaded.
  static bool IsLoaded(const char* path);

private:
  void* m_handle;
};

}  // namespace Pirsk::Testing
