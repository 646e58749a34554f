#include "Host/Linux/Volumes/VolumeProvider.h"

#include "Host/Linux/HandleTable.h"
#include "Host/Linux/LastError.h"

#include <boost/locale/utf.hpp>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>
#include <memory>
#include <utility>

// There are no drive letters and no paths that belong to one volume and lead to another: the
// operations that ask for these answer that there is nothing.

namespace Ondrel::Host {

namespace {

constinit std::atomic<ULong> g_errorMode = 0;

// The picture that a thread's operations answer from, which its walk took. It belongs to the thread
// that asked for it and lives no longer than that asked for.
class KeptPicture {
public:
  KeptPicture() : m_outer(std::exchange(t_current, this)) {}
  ~KeptPicture() { t_current = m_outer; }

  KeptPicture(const KeptPicture&) = delete;
  KeptPicture& operator=(const KeptPicture&) = delete;

  /// The calling thread's picture; null where none is kept.
  static std::shared_ptr<const VolumePicture> Current() {
    return t_current != nullptr ? t_current->m_picture : nullptr;
  }

  static void Replace(const std::shared_ptr<const VolumePicture>& picture) {
    if (t_current != nullptr) t_current->m_picture = picture;
  }

private:
  // Does not own: an object with a destructor would keep the library loaded as long as the thread.
  static constinit thread_local KeptPicture* t_current;

  KeptPicture* m_outer;
  std::shared_ptr<const VolumePicture> m_picture;
};

constinit thread_local KeptPicture* KeptPicture::t_current = nullptr;

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

// Each byte of a path as a character of its own.
std::wstring ZeroExtended(const std::string& bytes) {
  std::wstring wide;
  for (const char byte : bytes) wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
  return wide;
}

// What is not UTF-8 is replaced.
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

// The room in which mount paths are first asked for. Whoever asks a second time keeps what was too
// small the first time, so the list never grows beyond: of many paths the newest are left out.
constexpr std::size_t kPathListRoom = 1301;

std::wstring PathList(const std::vector<std::string>& paths) {
  std::wstring list;
  for (const std::string& path : paths)
    if (list.size() + path.size() + 2 <= kPathListRoom) list += ZeroExtended(path) + L'\0';
  list += L'\0';
  return list;
}

struct VolumeWalk {
  std::vector<std::string> names;
  std::size_t position = 0;
};

class Volumes {
public:
  explicit Volumes(VolumeSources sources) : m_sources(std::move(sources)) {}

  void* FindFirst(char* name, ULong size) {
    const auto picture = std::make_shared<const VolumePicture>(m_sources);
    KeptPicture::Replace(picture);
    auto walk = std::make_shared<VolumeWalk>(VolumeWalk{.names = picture->Names()});
    if (!Next(*walk, name, size)) return INVALID_HANDLE_VALUE;
    return m_walks.Add(std::move(walk));
  }

  int FindNext(void* handle, char* name, ULong size) {
    const std::shared_ptr<VolumeWalk> walk = m_walks.Find(handle);
    return walk ? Next(*walk, name, size) : Fail(ERROR_INVALID_HANDLE);
  }

  int FindClose(void* handle) { return m_walks.Remove(handle) ? 1 : Fail(ERROR_INVALID_HANDLE); }

  void* Open(const char* name) {
    return WithDevice(name, INVALID_HANDLE_VALUE, [&](const VolumePicture&, const BlockDevice&) {
      return m_volumes.Add(std::make_shared<std::string>(name));
    });
  }

  int Close(void* handle) { return m_volumes.Remove(handle) ? 1 : Fail(ERROR_INVALID_HANDLE); }

  int Control(void* handle, ULong controlCode, void* output, ULong outputSize,
              ULong* bytesReturned) {
    const std::shared_ptr<std::string> name = m_volumes.Find(handle);
    if (!name) return Fail(ERROR_INVALID_HANDLE);
    if (controlCode != IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS) return Fail(ERROR_NOT_SUPPORTED);
    return WithDevice(*name, 0, [&](const VolumePicture& picture, const BlockDevice& device) {
      const auto parts = picture.Parts(device);
      // The source of the picture has set the reason.
      return parts ? PutExtents(*parts, output, outputSize, bytesReturned) : 0;
    });
  }

  ULong DevicePath(const char* deviceName, char* path, ULong size) {
    const std::string volumeName = std::string(kVolumeNamePrefix) + deviceName;
    const auto put = [&](const VolumePicture&, const BlockDevice& device) {
      const std::string node = NodePath(device.name);
      // A list: one text, and the list's end.
      if (node.size() + 2 > size) return Fail<ULong>(ERROR_INSUFFICIENT_BUFFER);
      std::memcpy(path, node.c_str(), node.size() + 1);
      path[node.size() + 1] = '\0';
      return static_cast<ULong>(node.size() + 2);
    };
    return WithDevice(volumeName, ULong{0}, put);
  }

  int PathNames(const wchar_t* volumeName, wchar_t* paths, ULong size, ULong* returnedSize) {
    const auto put = [&](const VolumePicture& picture, const BlockDevice& device) {
      const std::wstring list = PathList(picture.MountPaths(device));
      *returnedSize = static_cast<ULong>(list.size());
      if (list.size() > size) return Fail(ERROR_MORE_DATA);
      std::wmemcpy(paths, list.c_str(), list.size());
      return 1;
    };
    return WithDevice(LowBytes(volumeName), 0, put);
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
    return WithDevice(LowBytes(volumeName), 0, put);
  }

  ULong DriveType(const char* volumeName) {
    return WithDevice(volumeName, DRIVE_NO_ROOT_DIR,
                      [](const VolumePicture& picture, const BlockDevice& device) {
                        if (picture.IsOnOpticalMedium(device)) return DRIVE_CDROM;
                        if (picture.IsOnRemovableMedium(device)) return DRIVE_REMOVABLE;
                        return DRIVE_FIXED;
                      });
  }

private:
  // What `use` yields for the device of a volume, or `missing` when there is no such volume.
  template <class Answer, class Use>
  Answer WithDevice(const std::string& volumeName, Answer missing, Use use) {
    std::shared_ptr<const VolumePicture> picture = KeptPicture::Current();
    if (!picture) picture = std::make_shared<const VolumePicture>(m_sources);
    const BlockDevice* const device = picture->Find(volumeName);
    if (device == nullptr) return Fail(ERROR_FILE_NOT_FOUND, missing);
    return use(*picture, *device);
  }

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
  const std::wstring widened = ZeroExtended(bytes);
  if (std::cmp_greater(widened.size(), wideSize)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  std::copy(widened.begin(), widened.end(), wide);
  return static_cast<int>(widened.size());
}

}  // namespace

VolumeOperations MakeVolumeOperations(const VolumeSources& sources) {
  const auto volumes = std::make_shared<Volumes>(sources);
  VolumeOperations operations;
  operations.KeepPicture = [] { return std::make_shared<KeptPicture>(); };
  // No operation here waits for a medium: the mode is only kept.
  operations.SetErrorMode = [](ULong mode) { return g_errorMode.exchange(mode); };
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
    return Fail(ERROR_NO_MORE_FILES, INVALID_HANDLE_VALUE);
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
