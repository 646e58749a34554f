#pragma once

/// All exported headers of the library.

#include <Ondrel/CodeNames.h>
#include <Ondrel/ConfigManager.h>
#include <Ondrel/Disks.h>
#include <Ondrel/Drives.h>
#include <Ondrel/Export.h>
#include <Ondrel/Host.h>
#include <Ondrel/ModuleError.h>
#include <Ondrel/NVMe.h>
#include <Ondrel/NVMeDevices.h>
#include <Ondrel/NVMeIdentify.h>
#include <Ondrel/NVMeLogs.h>
#include <Ondrel/NVMeQuery.h>
#include <Ondrel/OSFlags.h>
#include <Ondrel/OSInfo.h>
#include <Ondrel/PartitionTable.h>
#include <Ondrel/Smtp.h>
#include <Ondrel/StatusTransition.h>
#include <Ondrel/System.h>
#include <Ondrel/SystemLog.h>
#include <Ondrel/SystemTime.h>
#include <Ondrel/Types.h>
