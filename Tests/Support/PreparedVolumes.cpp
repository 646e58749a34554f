#include "Support/PreparedVolumes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace Ondrel::Testing {

namespace {

char g_walk;
char g_folders;

std::string Call(const std::string& operation, const std::vector<std::string>& arguments) {
  std::string call = operation + "(";
  for (const std::string& argument : arguments) {
    if (call.back() != '(') call += ", ";
    call += argument;
  }
  return call + ")";
}

std::string Hexadecimal(ULong number) {
  char text[11];
  std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(number));
  return text;
}

std::string Null(const void* pointer) { return pointer == nullptr ? "null" : "set"; }

// Each character as it stands, beyond ASCII as its number.
std::string Shown(const std::wstring& text) {
  std::string shown;
  for (const wchar_t character : text) {
    if (character >= 0x20 && character < 0x7F) {
      shown += static_cast<char>(character);
    } else {
      shown += "<" + Hexadecimal(static_cast<ULong>(character)) + ">";
    }
  }
  return shown;
}

std::wstring Widened(const std::string& text) {
  std::wstring wide;
  for (const char byte : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
  return wide;
}

std::string Narrowed(const std::wstring& text) {
  std::string narrow;
  for (const wchar_t character : text) narrow += static_cast<char>(character & 0xFF);
  return narrow;
}

}  // namespace

PreparedVolumes::PreparedVolumes()
    : m_volume(Host::Volume(), Operations()), m_memory(Host::Memory(), MemoryOperations()) {}

PreparedVolumes::~PreparedVolumes() {
  // The blocks that the code under test keeps intentionally.
  for (void* block : m_blocks) std::free(block);
}

std::vector<std::string> PreparedVolumes::TakeCalls() { return std::exchange(m_calls, {}); }

std::vector<std::string> PreparedVolumes::TakeCallsOf(const std::string& operation) {
  std::vector<std::string> calls = TakeCalls();
  std::erase_if(calls, [&](const std::string& call) { return !call.starts_with(operation + "("); });
  return calls;
}

VolumeSpec* PreparedVolumes::Find(const std::string& nameOrOpenedName) {
  for (VolumeSpec& volume : volumes)
    if (volume.name == nameOrOpenedName || volume.name == nameOrOpenedName + "\\") return &volume;
  return nullptr;
}

std::string PreparedVolumes::Handle(void* handle) const {
  if (handle == &g_walk) return "walk";
  if (handle == &g_folders) return "folders";
  for (const VolumeSpec& volume : volumes)
    if (handle == &volume) return volume.name;
  return "unknown";
}

int PreparedVolumes::Fail(ULong error) {
  lastError = error;
  return 0;
}

int PreparedVolumes::Put(const std::string& text, char* buffer, ULong size) {
  // The whole of what may be written is, so that a buffer that is too small shows.
  std::memset(buffer, 0xEE, size);
  if (text.size() >= size) return Fail(ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return 1;
}

int PreparedVolumes::AnswerExtents(void* volume, void* output, ULong outputSize,
                                   ULong* bytesReturned) {
  const VolumeSpec& spec = *static_cast<VolumeSpec*>(volume);
  if (spec.isDumb) return Fail(1);
  const std::size_t size = std::max(sizeof(VOLUME_DISK_EXTENTS), 8 + spec.extents.size() * 24);
  if (size > outputSize) return Fail(ERROR_MORE_DATA);
  const auto bytes = static_cast<char*>(output);
  std::memset(bytes, 0xEE, outputSize);
  const ULong count = spec.toldCount.value_or(static_cast<ULong>(spec.extents.size()));
  std::memcpy(bytes, &count, sizeof count);
  for (std::size_t index = 0; index < spec.extents.size(); ++index) {
    std::memcpy(bytes + 8 + index * 24, &spec.extents[index].disk, 4);
    std::memcpy(bytes + 8 + index * 24 + 8, &spec.extents[index].offset, 8);
    std::memcpy(bytes + 8 + index * 24 + 16, &spec.extents[index].length, 8);
  }
  *bytesReturned = spec.toldSize.value_or(static_cast<ULong>(size));
  return 1;
}

int PreparedVolumes::AnswerPaths(const std::wstring& name, wchar_t* paths, ULong size,
                                 ULong* returnedSize) {
  PathsAnswer answer;
  if (!pathsAnswers.empty()) {
    answer = pathsAnswers.front();
    pathsAnswers.pop_front();
  } else if (const VolumeSpec* const volume = Find(Narrowed(name))) {
    answer.list = Widened(volume->path) + L'\0';
  } else {
    answer.error = ERROR_FILE_NOT_FOUND;
  }
  if (answer.error != 0) {
    *returnedSize = answer.needed;
    return Fail(answer.error);
  }
  std::fill_n(paths, size, L'\xEE');
  std::copy_n(answer.list.c_str(), std::min<std::size_t>(answer.list.size() + 1, size), paths);
  return 1;
}

Host::VolumeOperations PreparedVolumes::Operations() {
  Host::VolumeOperations operations;
  operations.SetErrorMode = [this](ULong mode) {
    Record(Call("SetErrorMode", {Hexadecimal(mode)}));
    return std::exchange(errorMode, mode);
  };
  operations.FindFirstVolumeA = [this](char* name, ULong size) -> void* {
    Record(Call("FindFirstVolumeA", {std::to_string(size)}));
    if (isWalkRefused || volumes.empty()) return INVALID_HANDLE_VALUE;
    m_walkPosition = 0;
    Put(volumes[m_walkPosition++].name, name, size);
    return &g_walk;
  };
  operations.FindNextVolumeA = [this](void* walk, char* name, ULong size) {
    Record(Call("FindNextVolumeA", {Handle(walk), std::to_string(size)}));
    if (m_walkPosition == volumes.size()) return Fail(18);
    return Put(volumes[m_walkPosition++].name, name, size);
  };
  operations.FindVolumeClose = [this](void* walk) {
    Record(Call("FindVolumeClose", {Handle(walk)}));
    return 1;
  };
  operations.CreateFileA = [this](const char* name, ULong access, ULong shareMode, void* security,
                                  ULong disposition, ULong flags, void* templateFile) -> void* {
    Record(
        Call("CreateFileA", {name, Hexadecimal(access), std::to_string(shareMode), Null(security),
                             std::to_string(disposition), Hexadecimal(flags), Null(templateFile)}));
    VolumeSpec* const volume = Find(name);
    return volume == nullptr || volume->isRefused ? INVALID_HANDLE_VALUE : volume;
  };
  operations.DeviceIoControl = [this](void* volume, ULong controlCode, void* input, ULong inputSize,
                                      void* output, ULong outputSize, ULong* bytesReturned,
                                      void* overlapped) {
    Record(Call("DeviceIoControl",
                {Handle(volume), Hexadecimal(controlCode), Null(input), std::to_string(inputSize),
                 std::to_string(outputSize), Null(overlapped)}));
    return AnswerExtents(volume, output, outputSize, bytesReturned);
  };
  operations.CloseHandle = [this](void* handle) {
    Record(Call("CloseHandle", {Handle(handle)}));
    return 1;
  };
  operations.QueryDosDeviceA = [this](const char* deviceName, char* path, ULong size) {
    Record(Call("QueryDosDeviceA", {deviceName, std::to_string(size)}));
    std::string answer;
    if (const auto letter = letters.find(deviceName); letter != letters.end())
      answer = letter->second;
    else if (const VolumeSpec* const volume = Find(R"(\\?\)" + std::string(deviceName)))
      answer = volume->devicePath;
    if (answer.empty()) return static_cast<ULong>(Fail(ERROR_FILE_NOT_FOUND));
    return Put(answer, path, size) ? static_cast<ULong>(answer.size() + 2) : 0;
  };
  operations.GetVolumePathNamesForVolumeNameW = [this](const wchar_t* name, wchar_t* paths,
                                                       ULong size, ULong* returnedSize) {
    Record(Call("GetVolumePathNamesForVolumeNameW", {Shown(name), std::to_string(size)}));
    return AnswerPaths(name, paths, size, returnedSize);
  };
  operations.FindFirstVolumeMountPointA = [this](const char* name, char* folder,
                                                 ULong size) -> void* {
    Record(Call("FindFirstVolumeMountPointA", {name, std::to_string(size)}));
    m_folderVolume = Find(name);
    if (m_folderVolume == nullptr || m_folderVolume->folders.empty()) return INVALID_HANDLE_VALUE;
    m_folderPosition = 0;
    Put(m_folderVolume->folders[m_folderPosition++], folder, size);
    return &g_folders;
  };
  operations.FindNextVolumeMountPointA = [this](void* walk, char* folder, ULong size) {
    Record(Call("FindNextVolumeMountPointA", {Handle(walk), std::to_string(size)}));
    if (m_folderPosition == m_folderVolume->folders.size()) return Fail(18);
    return Put(m_folderVolume->folders[m_folderPosition++], folder, size);
  };
  operations.FindVolumeMountPointClose = [this](void* walk) {
    Record(Call("FindVolumeMountPointClose", {Handle(walk)}));
    return 1;
  };
  operations.GetVolumeNameForVolumeMountPointA = [this](const char* path, char* name, ULong size) {
    Record(Call("GetVolumeNameForVolumeMountPointA", {path, std::to_string(size)}));
    const auto mounted = mountedAt.find(path);
    if (mounted == mountedAt.end()) return Fail(ERROR_FILE_NOT_FOUND);
    return Put(mounted->second, name, size);
  };
  operations.MultiByteToWideChar = [this](ULong codePage, ULong flags, const char* text, int length,
                                          wchar_t* wide, int wideSize) {
    Record(Call("MultiByteToWideChar", {std::to_string(codePage), std::to_string(flags), text,
                                        std::to_string(length), std::to_string(wideSize)}));
    const std::wstring widened = Widened(text);
    if (isWideningRefused || std::cmp_greater_equal(widened.size(), wideSize))
      return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(widened.c_str(), widened.size() + 1, wide);
    return static_cast<int>(widened.size() + 1);
  };
  operations.GetVolumeInformationW = [this](const wchar_t* name, wchar_t* label, ULong labelSize,
                                            ULong* serialNumber, ULong* maxNameLength,
                                            ULong* fileSystemFlags, wchar_t* fileSystem,
                                            ULong fileSystemSize) {
    Record(Call("GetVolumeInformationW",
                {Shown(name), std::to_string(labelSize), Null(serialNumber), Null(maxNameLength),
                 Null(fileSystemFlags), std::to_string(fileSystemSize)}));
    const VolumeSpec* const volume = Find(Narrowed(name));
    if (volume == nullptr || !volume->label) return Fail(ERROR_ACCESS_DENIED);
    std::fill_n(label, labelSize, L'\xEE');
    std::fill_n(fileSystem, fileSystemSize, L'\xEE');
    std::copy_n(volume->label->c_str(), volume->label->size() + 1, label);
    return 1;
  };
  operations.GetDriveTypeA = [this](const char* name) {
    Record(Call("GetDriveTypeA", {name}));
    const VolumeSpec* const volume = Find(name);
    return volume == nullptr ? DRIVE_NO_ROOT_DIR : volume->driveType;
  };
  operations.GetLastError = [this] {
    Record("GetLastError()");
    return lastError;
  };
  return operations;
}

Host::MemoryOperations PreparedVolumes::MemoryOperations() {
  return {
      .Allocate = [this](std::size_t size) -> void* {
        Record(Call("Allocate", {std::to_string(size)}));
        if (isMemoryShort) return nullptr;
        m_blocks.push_back(std::malloc(size));
        return m_blocks.back();
      },
      .Reallocate = [](void* block, std::size_t size) { return std::realloc(block, size); },
      .Free =
          [this](void* block) {
            const auto found = std::ranges::find(m_blocks, block);
            const auto number = found - m_blocks.begin() + 1;
            Record(Call("Free", {found != m_blocks.end() ? std::to_string(number) : "unknown"}));
            if (found != m_blocks.end()) *found = nullptr;
            std::free(block);
          },
  };
}

}  // namespace Ondrel::Testing
