#include "Host/VolumeOperations.h"

namespace Ondrel::Host {

VolumeOperations MakeVolumeOperations() {
  return VolumeOperations{
      // Windows answers from its own state.
      .KeepPicture = nullptr,
      .SetErrorMode = [](ULong mode) -> ULong { return ::SetErrorMode(mode); },
      .FindFirstVolumeA = ::FindFirstVolumeA,
      .FindNextVolumeA = ::FindNextVolumeA,
      .FindVolumeClose = ::FindVolumeClose,
      .CreateFileA = [](const char* name, ULong access, ULong shareMode, void* security,
                        ULong disposition, ULong flags, void* templateFile) -> void* {
        return ::CreateFileA(name, access, shareMode, static_cast<SECURITY_ATTRIBUTES*>(security),
                             disposition, flags, templateFile);
      },
      .DeviceIoControl =
          [](void* volume, ULong controlCode, void* input, ULong inputSize, void* output,
             ULong outputSize, ULong* bytesReturned, void* overlapped) {
            return ::DeviceIoControl(volume, controlCode, input, inputSize, output, outputSize,
                                     bytesReturned, static_cast<OVERLAPPED*>(overlapped));
          },
      .CloseHandle = ::CloseHandle,
      .QueryDosDeviceA = ::QueryDosDeviceA,
      .GetVolumePathNamesForVolumeNameW = ::GetVolumePathNamesForVolumeNameW,
      .FindFirstVolumeMountPointA = ::FindFirstVolumeMountPointA,
      .FindNextVolumeMountPointA = ::FindNextVolumeMountPointA,
      .FindVolumeMountPointClose = ::FindVolumeMountPointClose,
      .GetVolumeNameForVolumeMountPointA = ::GetVolumeNameForVolumeMountPointA,
      .MultiByteToWideChar = ::MultiByteToWideChar,
      .GetVolumeInformationW = ::GetVolumeInformationW,
      .GetDriveTypeA = ::GetDriveTypeA,
      .GetLastError = ::GetLastError,
  };
}

}  // namespace Ondrel::Host
