#pragma once

#include "Host/DeviceSetupOperations.h"

#include <string>

namespace Ondrel::Host {

/// Device setup over the PCI devices that the kernel shows in the folder `root`: one folder for
/// each device, named by its location, with the files `class`, `vendor`, `device`,
/// `subsystem_vendor`, `subsystem_device` and `revision`.
DeviceSetupOperations MakePciDeviceSetupOperations(const std::string& root);

}  // namespace Ondrel::Host
