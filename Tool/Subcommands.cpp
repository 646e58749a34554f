#include "Tool/Command.h"

namespace Tool {

namespace {

constexpr Subcommand kLogSubcommands[] = {
    {"report", "Write one event into a log", AddLogReportCommand},
    {"follow", "Show new events of a log as they come", AddLogFollowCommand},
    {"list", "List the logs with their records, sizes, first and last", AddLogListCommand},
    {"show", "Show the records that stand in a log", AddLogShowCommand},
    {"export", "Write the records of a log as JSON lines", AddLogExportCommand},
    {"import", "Add exported records to the logs of an event store", AddLogImportCommand},
    {"clear", "Remove records of a log", AddLogClearCommand},
};

constexpr Subcommand kNVMeSubcommands[] = {
    {"list", "List the NVMe controllers and namespaces", AddNVMeListCommand},
    {"check", "Judge the health of NVMe drives, and report what is wrong", AddNVMeCheckCommand},
    {"id-ctrl", "Show the identify data of a controller", AddNVMeControllerCommand},
    {"id-ns", "Show the identify data of a namespace", AddNVMeNamespaceCommand},
    {"smart", "Show the SMART / health information of a controller", AddNVMeHealthCommand},
    {"error-log", "Show the errors that a controller keeps", AddNVMeErrorsCommand},
    {"log-page", "Show the first 512 bytes of a log page", AddNVMePageCommand},
    {"status", "Explain the status of a completed command", AddNVMeStatusCommand},
};

constexpr Subcommand kSubcommands[] = {
    {"help", "Show how the command or a subcommand is used", AddHelpCommand},
    {"status", "Show the event and severity of a drive's status change", AddStatusCommand},
    {"code", "Show the name of a code, or a name's codes", AddCodeCommand},
    {"codes", "List all codes with their names, or search them", AddCodesCommand},
    {"log", "Write, read and follow system event logs", nullptr, kLogSubcommands},
    {"mail", "Send one plain-text mail", AddMailCommand},
    {"alert", "Take a status change the whole way: event, log, mail, read back", AddAlertCommand},
    {"os", "Name the operating system", AddOsCommand},
    {"match", "Search a text for a pattern", AddMatchCommand},
    {"adapters", "List the storage adapters on the PCI bus", AddAdaptersCommand},
    {"locate", "Show where on the PCI bus a storage adapter is", AddLocateCommand},
    {"run", "Run a program and end as it does", AddRunCommand, {}, "PROGRAM [ARGUMENT]..."},
    {"compare", "Compare two versions", AddCompareCommand},
    {"date", "Show the local date of a time stamp", AddDateCommand},
    {"stamp", "Show the time stamp of a local date", AddStampCommand},
    {"week-date", "Find the n-th weekday of a month", AddWeekDateCommand},
    {"uptime", "Show how long the host has been up", AddUptimeCommand},
    {"module-version", "Show the version of a driver in the kernel", AddModuleVersionCommand},
    {"reboot", "Restart the machine at once", AddRebootCommand},
    {"beep", "Sound the host's speaker", AddBeepCommand},
    {"nvme", "Query NVMe devices", nullptr, kNVMeSubcommands},
    {"partitions", "Show what the host's volumes hold of a disk", AddPartitionsCommand},
    {"disks", "List the disks with their numbers", AddDisksCommand},
    {"doctor", "Show what works on this host, what is missing and what helps", AddDoctorCommand},
    {"watch", "Watch drives and arrays, report and mail what happens", AddWatchCommand},
};

}  // namespace

std::span<const Subcommand> Subcommands() { return kSubcommands; }

}  // namespace Tool
