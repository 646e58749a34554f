#include "Tool/Host/KeptFile.h"

#include <system_error>
#include <windows.h>

namespace Tool {

namespace {

// The error of what failed, else 0.
DWORD WriteAll(const std::string& path, const std::string& text) {
  const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return ::GetLastError();
  DWORD written = 0;
  const bool isWritten =
      ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != 0 &&
      ::FlushFileBuffers(file) != 0;
  const DWORD error = isWritten ? ERROR_SUCCESS : ::GetLastError();
  ::CloseHandle(file);
  if (error == ERROR_SUCCESS && written < text.size()) return ERROR_DISK_FULL;
  return error;
}

}  // namespace

void KeepInFile(const std::string& path, const std::string& text) {
  const std::string beside = path + ".new";
  DWORD error = WriteAll(beside, text);
  if (error == ERROR_SUCCESS && !::MoveFileExA(beside.c_str(), path.c_str(),
                                               MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    error = ::GetLastError();
  if (error == ERROR_SUCCESS) return;
  ::DeleteFileA(beside.c_str());
  throw std::system_error(static_cast<int>(error), std::system_category());
}

}  // namespace Tool
