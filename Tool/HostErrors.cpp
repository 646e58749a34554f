#include "Tool/HostErrors.h"

#include <algorithm>
#include <iterator>

namespace Tool {

namespace {

struct HostError {
  std::uint32_t number;
  std::string_view name;
  std::string_view text;
};

// In order of number. Source: the published system error codes of the Windows Error Codes
// reference.
constexpr HostError kHostErrors[] = {
    {0, "ERROR_SUCCESS", "The operation completed successfully."},
    {1, "ERROR_INVALID_FUNCTION", "Incorrect function."},
    {2, "ERROR_FILE_NOT_FOUND", "The system cannot find the file specified."},
    {3, "ERROR_PATH_NOT_FOUND", "The system cannot find the path specified."},
    {4, "ERROR_TOO_MANY_OPEN_FILES", "The system cannot open the file."},
    {5, "ERROR_ACCESS_DENIED", "Access is denied."},
    {6, "ERROR_INVALID_HANDLE", "The handle is invalid."},
    {8, "ERROR_NOT_ENOUGH_MEMORY", "Not enough storage is available to process this command."},
    {13, "ERROR_INVALID_DATA", "The data is invalid."},
    {14, "ERROR_OUTOFMEMORY", "Not enough storage is available to complete this operation."},
    {15, "ERROR_INVALID_DRIVE", "The system cannot find the drive specified."},
    {18, "ERROR_NO_MORE_FILES", "There are no more files."},
    {19, "ERROR_WRITE_PROTECT", "The media is write-protected."},
    {20, "ERROR_BAD_UNIT", "The system cannot find the device specified."},
    {21, "ERROR_NOT_READY", "The device is not ready."},
    {22, "ERROR_BAD_COMMAND", "The device does not recognize the command."},
    {23, "ERROR_CRC", "Data error (cyclic redundancy check)."},
    {24, "ERROR_BAD_LENGTH", "The program issued a command but the command length is incorrect."},
    {29, "ERROR_WRITE_FAULT", "The system cannot write to the specified device."},
    {30, "ERROR_READ_FAULT", "The system cannot read from the specified device."},
    {31, "ERROR_GEN_FAILURE", "A device attached to the system is not functioning."},
    {32, "ERROR_SHARING_VIOLATION",
     "The process cannot access the file because it is being used by another process."},
    {33, "ERROR_LOCK_VIOLATION",
     "The process cannot access the file because another process has locked a portion of the "
     "file."},
    {38, "ERROR_HANDLE_EOF", "Reached the end of the file."},
    {39, "ERROR_HANDLE_DISK_FULL", "The disk is full."},
    {50, "ERROR_NOT_SUPPORTED", "The request is not supported."},
    {55, "ERROR_DEV_NOT_EXIST", "The specified network resource or device is no longer available."},
    {65, "ERROR_NETWORK_ACCESS_DENIED", "Network access is denied."},
    {80, "ERROR_FILE_EXISTS", "The file exists."},
    {82, "ERROR_CANNOT_MAKE", "The directory or file cannot be created."},
    {87, "ERROR_INVALID_PARAMETER", "The parameter is incorrect."},
    {109, "ERROR_BROKEN_PIPE", "The pipe has been ended."},
    {110, "ERROR_OPEN_FAILED", "The system cannot open the device or file specified."},
    {112, "ERROR_DISK_FULL", "There is not enough space on the disk."},
    {120, "ERROR_CALL_NOT_IMPLEMENTED", "This function is not supported on this system."},
    {121, "ERROR_SEM_TIMEOUT", "The semaphore time-out period has expired."},
    {122, "ERROR_INSUFFICIENT_BUFFER", "The data area passed to a system call is too small."},
    {123, "ERROR_INVALID_NAME",
     "The file name, directory name, or volume label syntax is incorrect."},
    {126, "ERROR_MOD_NOT_FOUND", "The specified module could not be found."},
    {127, "ERROR_PROC_NOT_FOUND", "The specified procedure could not be found."},
    {170, "ERROR_BUSY", "The requested resource is in use."},
    {183, "ERROR_ALREADY_EXISTS", "Cannot create a file when that file already exists."},
    {193, "ERROR_BAD_EXE_FORMAT", "%1 is not a valid Win32 application."},
    {232, "ERROR_NO_DATA", "The pipe is being closed."},
    {234, "ERROR_MORE_DATA", "More data is available."},
    {259, "ERROR_NO_MORE_ITEMS", "No more data is available."},
    {267, "ERROR_DIRECTORY", "The directory name is invalid."},
    {317, "ERROR_MR_MID_NOT_FOUND",
     "The system cannot find message text for message number 0x%1 in the message file for %2."},
    {995, "ERROR_OPERATION_ABORTED",
     "The I/O operation has been aborted because of either a thread exit or an application "
     "request."},
    {997, "ERROR_IO_PENDING", "Overlapped I/O operation is in progress."},
    {998, "ERROR_NOACCESS", "Invalid access to memory location."},
    {1005, "ERROR_UNRECOGNIZED_VOLUME",
     "The volume does not contain a recognized file system. Be sure that all required file system "
     "drivers are loaded and that the volume is not corrupted."},
    {1008, "ERROR_NO_TOKEN", "An attempt was made to reference a token that does not exist."},
    {1117, "ERROR_IO_DEVICE", "The request could not be performed because of an I/O device error."},
    {1167, "ERROR_DEVICE_NOT_CONNECTED", "The device is not connected."},
    {1168, "ERROR_NOT_FOUND", "Element not found."},
    {1223, "ERROR_CANCELLED", "The operation was canceled by the user."},
    {1300, "ERROR_NOT_ALL_ASSIGNED",
     "Not all privileges or groups referenced are assigned to the caller."},
    {1313, "ERROR_NO_SUCH_PRIVILEGE", "A specified privilege does not exist."},
    {1314, "ERROR_PRIVILEGE_NOT_HELD", "A required privilege is not held by the client."},
    {1359, "ERROR_INTERNAL_ERROR", "An internal error occurred."},
    {1460, "ERROR_TIMEOUT", "This operation returned because the time-out period expired."},
    {1500, "ERROR_EVENTLOG_FILE_CORRUPT", "The event log file is corrupted."},
    {1501, "ERROR_EVENTLOG_CANT_START",
     "No event log file could be opened, so the event logging service did not start."},
    {1502, "ERROR_LOG_FILE_FULL", "The event log file is full."},
    {1503, "ERROR_EVENTLOG_FILE_CHANGED",
     "The event log file has changed between read operations."},
    {1784, "ERROR_INVALID_USER_BUFFER",
     "The supplied user buffer is not valid for the requested operation."},
    {1812, "ERROR_RESOURCE_DATA_NOT_FOUND",
     "The specified image file did not contain a resource section."},
    {1813, "ERROR_RESOURCE_TYPE_NOT_FOUND",
     "The specified resource type cannot be found in the image file."},
    {1814, "ERROR_RESOURCE_NAME_NOT_FOUND",
     "The specified resource name cannot be found in the image file."},
};

const HostError* Find(std::uint32_t number) {
  const auto* const row = std::ranges::lower_bound(kHostErrors, number, {}, &HostError::number);
  return row != std::end(kHostErrors) && row->number == number ? row : nullptr;
}

}  // namespace

std::string_view HostErrorName(std::uint32_t number) {
  const HostError* const row = Find(number);
  return row != nullptr ? row->name : std::string_view();
}

std::string HostErrorText(std::uint32_t number) {
  const HostError* const row = Find(number);
  return row != nullptr ? std::string(row->text) : std::string("Unknown error.");
}

std::string HostErrorWords(std::uint32_t number) {
  std::string words = HostErrorText(number) + " (error " + std::to_string(number);
  if (const std::string_view name = HostErrorName(number); !name.empty())
    words.append(", ").append(name);
  return words + ")";
}

Json JsonOfHostError(std::uint32_t number) {
  const std::string_view name = HostErrorName(number);
  return {{"number", number},
          {"name", name.empty() ? Json() : Json(name)},
          {"text", HostErrorText(number)}};
}

}  // namespace Tool
