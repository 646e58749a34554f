#include "Host/Linux/Volumes/VolumeProvider.h"

#include "Host/Linux/HandleTable.h"
#include "Host/Linux/LastError.h"

#include <boost/locale/utf.hpp>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>
#include <memory>

// There are no drive letters and no paths that belong to one volume and lead to another: what asks
// for these is told that there is nothing.

namespace Ondrel::Host {

namespace {

constexpr std::string_view kVolumePrefix = R"(\\?\)";
constexpr std::uint64_t kSectorSize = 512;

// The picture that one walk of a thread is told from, so that it sees one state of the host and the
// sources are read once. It lives until the thread's error mode is next set; a plain pointer,
// because an object with a destructor would keep the library loaded as long as the thread.
constinit thread_local const VolumePicture* t_picture = nullptr;

constinit std::atomic<ULong> g_errorMode = 0;

void DropPicture() {
  delete t_picture;
  t_picture = nullptr;
}

int Fail(ULong error) {
  SetLastError(error);
  return 0;
}

void* FailWithoutHandle(ULong error) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

int PutText(const std::string& text, char* buffer, ULong size) {
  if (text.size() >= size) return Fail(ERROR_MORE_DATA);
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return 1;
}

std::string LowBytes(const wchar_t* text) {
  std::string bytes;
  for (; *text != 0; ++text) bytes += static_cast<char>(*text & 0xFF);
  return bytes;
}

std::wstring WidenedBytes(const std::string& bytes) {
  std::wstring wide;
  for (const char byte : bytes) wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
  return wide;
}

// What is no UTF-8 is replaced.
std::wstring WidenedUtf8(const std::string& text) {
  namespace utf = boost::locale::utf;
  constexpr wchar_t kReplacementCharacter = 0xFFFD;
  std::wstring wide;
  auto position = text.begin();
  while (position != text.end()) {
    const auto begin = position;
    const utf::code_point point = utf::utf_traits<char>::decode(position, text.end());
    if (utf::is_valid_codepoint(point)) {
      wide += static_cast<wchar_t>(point);
    } else {
      wide += kReplacementCharacter;
      position = begin + 1;
    }
  }
  return wide;
}

int PutWide(const std::wstring& text, wchar_t* buffer, ULong size) {
  if (buffer == nullptr) return 1;
  if (text.size() >= size) return Fail(ERROR_MORE_DATA);
  std::wmemcpy(buffer, text.c_str(), text.size() + 1);
  return 1;
}

struct VolumeWalk {
  std::vector<std::string> names;
  std::size_t position = 0;
};

class Volumes {
private:
  // What `use` yields for the device of a volume, or `fail` when there is no such volume.
  template <class Failure, class Use>
  auto WithDevice(const std::string& volumeName, Failure fail, Use use) {
    std::unique_ptr<const VolumePicture> own;
    if (t_picture == nullptr) own = std::make_unique<const VolumePicture>(m_sources);
    const VolumePicture& picture = own ? *own : *t_picture;
    const BlockDevice* const device = picture.Find(volumeName);
    if (device == nullptr) return fail(ERROR_FILE_NOT_FOUND);
    return use(picture, *device);
  }

public:
  explicit Volumes(VolumeSources sources) : m_sources(std::move(sources)) {}

  static ULong SetErrorMode(ULong mode) {
    DropPicture();
    return g_errorMode.exchange(mode);
  }

  void* FindFirst(char* name, ULong size) {
    DropPicture();
    auto picture = std::make_unique<const VolumePicture>(m_sources);
    auto walk = std::make_shared<VolumeWalk>(VolumeWalk{.names = picture->Names()});
    if ((g_errorMode & SEM_FAILCRITICALERRORS) != 0) t_picture = picture.release();
    if (!Next(*walk, name, size)) return INVALID_HANDLE_VALUE;
    return m_walks.Add(std::move(walk));
  }

  int FindNext(void* handle, char* name, ULong size) {
    const std::shared_ptr<VolumeWalk> walk = m_walks.Find(handle);
    return walk ? Next(*walk, name, size) : Fail(ERROR_INVALID_HANDLE);
  }

  int FindClose(void* handle) { return m_walks.Remove(handle) ? 1 : Fail(ERROR_INVALID_HANDLE); }

  void* Open(const char* name) {
    return WithDevice(name, FailWithoutHandle, [&](const VolumePicture&, const BlockDevice&) {
      return m_volumes.Add(std::make_shared<std::string>(name));
    });
  }

  int Close(void* handle) { return m_volumes.Remove(handle) ? 1 : Fail(ERROR_INVALID_HANDLE); }

  int Control(void* handle, ULong controlCode, void* output, ULong outputSize,
              ULong* bytesReturned) {
    const std::shared_ptr<std::string> name = m_volumes.Find(handle);
    if (!name) return Fail(ERROR_INVALID_HANDLE);
    if (controlCode != IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS) return Fail(ERROR_NOT_SUPPORTED);
    return WithDevice(*name, Fail, [&](const VolumePicture& picture, const BlockDevice& device) {
      const auto parts = picture.Parts(device);
      // The source of the picture has told why.
      return parts ? PutExtents(*parts, output, outputSize, bytesReturned) : 0;
    });
  }

  ULong DevicePath(const char* deviceName, char* path, ULong size) {
    const std::string volumeName = std::string(kVolumePrefix) + deviceName;
    const auto put = [&](const VolumePicture&, const BlockDevice& device) {
      const std::string node = NodePath(device.name);
      // A list: one text, and the list's end.
      if (node.size() + 2 > size) return Fail(ERROR_INSUFFICIENT_BUFFER);
      std::memcpy(path, node.c_str(), node.size() + 1);
      path[node.size() + 1] = '\0';
      return static_cast<int>(node.size() + 2);
    };
    return static_cast<ULong>(WithDevice(volumeName, Fail, put));
  }

  int PathNames(const wchar_t* volumeName, wchar_t* paths, ULong size, ULong* returnedSize) {
    const auto put = [&](const VolumePicture& picture, const BlockDevice& device) {
      std::wstring list;
      for (const std::string& path : picture.MountPaths(device)) list += WidenedBytes(path) + L'\0';
      list += L'\0';
      *returnedSize = static_cast<ULong>(list.size());
      if (list.size() > size) return Fail(ERROR_MORE_DATA);
      std::wmemcpy(paths, list.c_str(), list.size());
      return 1;
    };
    return WithDevice(LowBytes(volumeName), Fail, put);
  }

  int Information(const wchar_t* volumeName, wchar_t* label, ULong labelSize, wchar_t* fileSystem,
                  ULong fileSystemSize) {
    const auto put = [&](const VolumePicture& picture, const BlockDevice& device) {
      const std::optional<FileSystem> content = picture.Content(device);
      if (!content) return 0;
      return PutWide(WidenedUtf8(content->label), label, labelSize) &&
                     PutWide(WidenedUtf8(content->type), fileSystem, fileSystemSize)
                 ? 1
                 : 0;
    };
    return WithDevice(LowBytes(volumeName), Fail, put);
  }

  ULong DriveType(const char* volumeName) {
    const auto missing = [](ULong) { return DRIVE_NO_ROOT_DIR; };
    return WithDevice(volumeName, missing,
                      [](const VolumePicture& picture, const BlockDevice& device) {
                        if (picture.IsOnOpticalMedium(device)) return DRIVE_CDROM;
                        if (picture.IsOnRemovableMedium(device)) return DRIVE_REMOVABLE;
                        return DRIVE_FIXED;
                      });
  }

private:
  static int Next(VolumeWalk& walk, char* name, ULong size) {
    if (walk.position == walk.names.size()) return Fail(ERROR_NO_MORE_FILES);
    return PutText(walk.names[walk.position++], name, size);
  }

  static int PutExtents(const std::vector<DiskPart>& parts, void* output, ULong outputSize,
                        ULong* bytesReturned) {
    const std::size_t size =
        std::max(sizeof(VOLUME_DISK_EXTENTS),
                 offsetof(VOLUME_DISK_EXTENTS, Extents) + parts.size() * sizeof(DISK_EXTENT));
    if (size > outputSize) return Fail(ERROR_MORE_DATA);
    std::memset(output, 0, size);
    char* position = static_cast<char*>(output);
    const ULong count = static_cast<ULong>(parts.size());
    std::memcpy(position, &count, sizeof count);
    position += offsetof(VOLUME_DISK_EXTENTS, Extents);
    for (const DiskPart& part : parts) {
      DISK_EXTENT extent{};
      extent.DiskNumber = static_cast<DWORD>(part.disk);
      extent.StartingOffset.QuadPart = static_cast<std::int64_t>(part.start * kSectorSize);
      extent.ExtentLength.QuadPart = static_cast<std::int64_t>(part.count * kSectorSize);
      std::memcpy(position, &extent, sizeof extent);
      position += sizeof extent;
    }
    *bytesReturned = static_cast<ULong>(size);
    return 1;
  }

  VolumeSources m_sources;
  HandleTable<VolumeWalk> m_walks;
  HandleTable<std::string> m_volumes;
};

int Widen(const char* text, int length, wchar_t* wide, int wideSize) {
  const std::string bytes = length < 0 ? std::string(text, std::strlen(text) + 1)
                                       : std::string(text, static_cast<std::size_t>(length));
  const std::wstring widened = WidenedBytes(bytes);
  if (std::cmp_greater(widened.size(), wideSize)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  std::copy(widened.begin(), widened.end(), wide);
  return static_cast<int>(widened.size());
}

}  // namespace

VolumeOperations MakeVolumeOperations(const VolumeSources& sources) {
  const auto volumes = std::make_shared<Volumes>(sources);
  VolumeOperations operations;
  operations.SetErrorMode = Volumes::SetErrorMode;
  operations.FindFirstVolumeA = [volumes](char* name, ULong size) {
    return volumes->FindFirst(name, size);
  };
  operations.FindNextVolumeA = [volumes](void* walk, char* name, ULong size) {
    return volumes->FindNext(walk, name, size);
  };
  operations.FindVolumeClose = [volumes](void* walk) { return volumes->FindClose(walk); };
  operations.CreateFileA = [volumes](const char* name, ULong, ULong, void*, ULong, ULong, void*) {
    return volumes->Open(name);
  };
  operations.DeviceIoControl = [volumes](void* volume, ULong controlCode, void*, ULong,
                                         void* output, ULong outputSize, ULong* bytesReturned,
                                         void*) {
    return volumes->Control(volume, controlCode, output, outputSize, bytesReturned);
  };
  operations.CloseHandle = [volumes](void* handle) { return volumes->Close(handle); };
  operations.QueryDosDeviceA = [volumes](const char* deviceName, char* path, ULong size) {
    return volumes->DevicePath(deviceName, path, size);
  };
  operations.GetVolumePathNamesForVolumeNameW = [volumes](const wchar_t* volumeName, wchar_t* paths,
                                                          ULong size, ULong* returnedSize) {
    return volumes->PathNames(volumeName, paths, size, returnedSize);
  };
  operations.FindFirstVolumeMountPointA = [](const char*, char*, ULong) {
    return FailWithoutHandle(ERROR_NO_MORE_FILES);
  };
  operations.FindNextVolumeMountPointA = [](void*, char*, ULong) {
    return Fail(ERROR_INVALID_HANDLE);
  };
  operations.FindVolumeMountPointClose = [](void*) { return Fail(ERROR_INVALID_HANDLE); };
  operations.GetVolumeNameForVolumeMountPointA = [](const char*, char*, ULong) {
    return Fail(ERROR_FILE_NOT_FOUND);
  };
  operations.MultiByteToWideChar = [](ULong, ULong, const char* text, int length, wchar_t* wide,
                                      int wideSize) { return Widen(text, length, wide, wideSize); };
  operations.GetVolumeInformationW = [volumes](const wchar_t* volumeName, wchar_t* label,
                                               ULong labelSize, ULong*, ULong*, ULong*,
                                               wchar_t* fileSystem, ULong fileSystemSize) {
    return volumes->Information(volumeName, label, labelSize, fileSystem, fileSystemSize);
  };
  operations.GetDriveTypeA = [volumes](const char* volumeName) {
    return volumes->DriveType(volumeName);
  };
  operations.GetLastError = LastError;
  return operations;
}

VolumeOperations MakeVolumeOperations() { return MakeVolumeOperations(HostVolumeSources()); }

}  // namespace Ondrel::Host
