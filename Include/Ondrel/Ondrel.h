#pragma once

/// All exported headers of the library.

#include <Ondrel/CodeNames.h>         // the names of all numeric codes
#include <Ondrel/ConfigManager.h>     // storage adapters on the PCI bus
#include <Ondrel/Disks.h>             // the disks of this machine and all that lies on them
#include <Ondrel/Drives.h>            // statuses of drives and software arrays
#include <Ondrel/Export.h>            // what the library exports
#include <Ondrel/Host.h>              // the event log's place, and reading past records
#include <Ondrel/ModuleError.h>       // the errors that the library raises
#include <Ondrel/NVMe.h>              // all records of NVMe devices
#include <Ondrel/NVMeDevices.h>       // the NVMe devices of this machine
#include <Ondrel/NVMeIdentify.h>      // records of an NVMe device's Identify command
#include <Ondrel/NVMeLogs.h>          // records of an NVMe device's log pages
#include <Ondrel/NVMeQuery.h>         // queries of an NVMe device
#include <Ondrel/OSFlags.h>           // the flags of an operating system's record
#include <Ondrel/OSInfo.h>            // an operating system by its facts
#include <Ondrel/PartitionTable.h>    // what lies on a disk
#include <Ondrel/Smtp.h>              // mail over SMTP
#include <Ondrel/StatusTransition.h>  // which status change is which event
#include <Ondrel/System.h>            // commands, versions, restart and beep
#include <Ondrel/SystemLog.h>         // the system event log
#include <Ondrel/SystemTime.h>        // dates and times
#include <Ondrel/Types.h>             // the type of the interface's 32-bit numbers
