#pragma once

#include "Host/MemoryOperations.h"
#include "Host/VolumeOperations.h"
#include "Support/PreparedOperations.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Ondrel::Testing {

/// One extent as the host reports it.
struct ExtentSpec {
  ULong disk;
  std::uint64_t offset;  ///< Bytes.
  std::uint64_t length;  ///< Bytes.
};

/// One volume and what the host answers about it.
struct VolumeSpec {
  std::string name;                        ///< With its closing backslash.
  std::vector<ExtentSpec> extents = {};    ///< More than 21 do not fit into 512 bytes.
  std::string devicePath = {};             ///< What `QueryDosDeviceA` says; empty fails.
  std::string path = {};                   ///< Where it is mounted; empty for nowhere.
  std::optional<std::wstring> label = {};  ///< Nothing fails `GetVolumeInformationW`.
  ULong driveType = DRIVE_FIXED;
  std::vector<std::string> folders = {};  ///< Where other volumes are mounted on it.
  bool isRefused = false;                 ///< Whether it cannot be opened.
  bool isDumb = false;                    ///< Whether it does not report its extents.
  std::optional<ULong> toldCount = {};    ///< The count that it reports, if not that of `extents`.
  std::optional<ULong> toldSize = {};     ///< The answer's size, if not that of all extents.
};

/// What one `GetVolumePathNamesForVolumeNameW` answers in place of the volume's own path.
struct PathsAnswer {
  ULong error = 0;  ///< 0 succeeds.
  ULong needed = 0;
  std::wstring list = {};
};

/// Volume and memory operations that record their calls and answer as a test sets them; in force
/// for one scope.
///
/// Handles are shown by what they stand for: "walk", "folders", or the name of the open volume.
/// Blocks of memory are shown by the order in which they were given out, from 1.
class PreparedVolumes {
public:
  PreparedVolumes();
  ~PreparedVolumes();

  PreparedVolumes(const PreparedVolumes&) = delete;
  PreparedVolumes& operator=(const PreparedVolumes&) = delete;

  /// Adds a call to the record: what else a test watches, in one order with the host's operations.
  void Record(std::string call) { m_calls.push_back(std::move(call)); }

  /// The calls since the last time it was asked.
  std::vector<std::string> TakeCalls();

  /// Those of the calls that begin with `operation`, since the last time calls were taken.
  std::vector<std::string> TakeCallsOf(const std::string& operation);

  std::vector<VolumeSpec> volumes;
  std::map<std::string, std::string> letters;    ///< "C:" and its device path.
  std::map<std::string, std::string> mountedAt;  ///< A path and the volume mounted there.
  std::deque<PathsAnswer> pathsAnswers;          ///< Given before the volumes' own.
  ULong errorMode = 0x8000;                      ///< The process's error mode as it stands.
  ULong lastError = 0;
  bool isWideningRefused = false;
  bool isWalkRefused = false;
  bool isMemoryShort = false;

private:
  Host::VolumeOperations Operations();
  Host::MemoryOperations MemoryOperations();
  VolumeSpec* Find(const std::string& nameOrOpenedName);
  int Fail(ULong error);
  int Put(const std::string& text, char* buffer, ULong size);
  int AnswerExtents(void* volume, void* output, ULong outputSize, ULong* bytesReturned);
  int AnswerPaths(const std::wstring& name, wchar_t* paths, ULong size, ULong* returnedSize);
  std::string Handle(void* handle) const;

  std::vector<std::string> m_calls;
  std::vector<void*> m_blocks;
  std::size_t m_walkPosition = 0;
  std::size_t m_folderPosition = 0;
  VolumeSpec* m_folderVolume = nullptr;
  PreparedOperations<Host::VolumeOperations> m_volume;
  PreparedOperations<Host::MemoryOperations> m_memory;
};

}  // namespace Ondrel::Testing
