#pragma once

#include "Host/ServiceTypes.h"

/// The driver operations of `ServiceOperations`. Drivers are kernel modules: "NAME.sys" is the
/// module NAME, and its version record is made of the version that the module names.
namespace Ondrel::Host {

int EnumDeviceDrivers(void** images, ULong size, ULong* needed);
ULong GetDeviceDriverBaseName(void* image, char* name, ULong size);
unsigned int GetSystemDirectory(char* folder, unsigned int size);
ULong GetFileVersionInfoSize(const char* path, ULong* handle);
int GetFileVersionInfo(const char* path, ULong handle, ULong size, void* record);
int VerQueryValue(const void* record, const char* key, void** value, unsigned int* length);

}  // namespace Ondrel::Host
