#pragma once

#include <cstdint>
#include <string_view>

namespace Ondrel::Testing {

/// A row of the standard's status tables, taken from them apart from the library's own.
struct NVMeStatusRow {
  std::uint8_t type;
  std::uint8_t code;
  std::string_view text;
};

// clang-format off
inline constexpr NVMeStatusRow kNVMeStatusRows[] = {
    {0, 0x00, "Successful Completion: The command completed successfully."},
    {0, 0x01, "Invalid Command Opcode: The associated command opcode field is not valid."},
    {0, 0x02, "Invalid Field in Command: An invalid or unsupported field specified in the command parameters."},
    {0, 0x03, "Command ID Conflict: The command identifier is already in use. Note: It is implementation specific how many commands are searched for a conflict."},
    {0, 0x04, "Data Transfer Error: Transferring the data or metadata associated with a command had an error."},
    {0, 0x05, "Commands Aborted due to Power Loss Notification: Indicates that the command was aborted due to a power loss notification."},
    {0, 0x06, "Internal Error: The command was not completed successfully due to an internal error. Details on the internal device error are returned as an asynchronous event"},
    {0, 0x07, "Command Abort Requested: The command was aborted due to a Command Abort command being received that specified the Submission Queue Identifier and Command Identifier of this command."},
    {0, 0x08, "Command Aborted due to SQ Deletion: The command was aborted due to a Delete I/O Submission Queue request received for the Submission Queue to which the command was submitted."},
    {0, 0x09, "Command Aborted due to Failed Fused Command: The command was aborted due to the other command in a fused operation failing."},
    {0, 0x0A, "Command Aborted due to Missing Fused Command: The command was aborted due to the companion fused command not being found as the subsequent Submission Queue entry."},
    {0, 0x0B, "Invalid Namespace or Format: The namespace or the format of that namespace is invalid."},
    {0, 0x0C, "Command Sequence Error: The command was aborted due to a protocol violation in a multi-command sequence (e.g. a violation of the Security Send and Security Receive sequencing rules in the TCG Storage Synchronous Interface Communications protocol)."},
    {0, 0x0D, "Invalid SGL Segment Descriptor: The command includes an invalid SGL Last Segment or SGL Segment descriptor. This may occur when the SGL segment pointed to by an SGL Last Segment descriptor contains an SGL Segment descriptor or an SGL Last Segment descriptor or an SGL Segment descriptor. This may occur when an SGL Last Segment descriptor contains an invalid length (i.e., a length of zero or one that is not a multiple of 16)."},
    {0, 0x0E, "Invalid Number of SGL Descriptors: There is an SGL Last Segment descriptor or an SGL Segment descriptor in a location other than the last descriptor of a segment based on the length indicated."},
    {0, 0x0F, "Data SGL Length Invalid: This may occur if the length of a Data SGL is too short. This may occur if the length of a Data SGL is too long and the controller does not support SGL transfers longer than the amount of data to be transferred as indicated in the SGL Support field of the Identify Controller data structure."},
    {0, 0x10, "Metadata SGL Length Invalid: This may occur if the length of a Metadata SGL is too short. This may occur if the length of a Metadata SGL is too long and the controller does not support SGL transfers longer than the amount of data to be transferred as indicated in the SGL Support field of the Identify Controller data structure."},
    {0, 0x11, "SGL Descriptor Type Invalid: The type of an SGL Descriptor is a type that is not supported by the controller."},
    {0, 0x12, "Invalid Use of Controller Memory Buffer: The attempted use of the Controller Memory Buffer is not supported by the controller"},
    {0, 0x13, "PRP Offset Invalid: The Offset field for a PRP entry is invalid. This may occur when there is a PRP entry with a non-zero offset after the first entry."},
    {0, 0x14, "Atomic Write Unit Exceeded: The length specified exceeds the atomic write unit size."},
    {0, 0x16, "SGL Offset Invalid: The offset specified in a descriptor is invalid. This may occur when using capsules for data transfers in NVMe over Fabrics and an invalid offset in the capsule is specified."},
    {0, 0x17, "SGL Sub Type Invalid: The SGL Sub Type field specified is invalid."},
    {0, 0x18, "Host Identifier Inconsistent Format: The NVM subsystem detected the simultaneous use of 64-bit and 128-bit Host Identifier values on different controllers."},
    {0, 0x19, "Keep Alive Timeout Expired: The Keep Alive Timeout expired."},
    {0, 0x1A, "Keep Alive Timeout Invalid: The Keep Alive Timeout value specified is invalid. This may be due to an attempt to specify a value of 0h on a transport that requires Keep Alive to be enabled. This may be due to the value specified being too large for the associated NVMe Transport as defined in the NVMe Transport binding specification."},
    {0, 0x1B, "Command Aborted due to Preempt and Abort: The command was aborted due to a Reservation Acquire command with the Reservation Acquire Action (RACQA) set to 010b (Preempt and Abort)."},
    {0, 0x1C, "Sanitize Failed: The most recent sanitize operation failed and no recovery action has been successfully completed."},
    {0, 0x1D, "Sanitize In Progress: The requested function (e.g., command) is prohibited while a sanitize operation is in progress."},
    {0, 0x1E, "SGL Data Block Granularity Invalid: The Address alignment or Length granularity for an SGL Data Block descriptor is invalid."},
    {0, 0x1F, "Command Not Supported for Queue in CMB: The implementation does not support submission of the command to a Submission Queue in the Controller Memory Buffer or command completion to a Completion Queue in the Controller Memory Buffer."},
    {0, 0x80, "LBA Out of Range: The command references an LBA that exceeds the size of the namespace."},
    {0, 0x81, "Capacity Exceeded: Execution of the command has caused the capacity of the namespace to be exceeded. This error occurs when the Namespace Utilization exceeds the Namespace Capacity, as reported in Figure 92."},
    {0, 0x82, "Namespace Not Ready: The namespace is not ready to be accessed. The Do Not Retry bit indicates whether re-issuing the command at a later time may succeed."},
    {0, 0x83, "Reservation Conflict: The command was aborted due to a conflict with a reservation held on the accessed namespace"},
    {0, 0x84, "Format In Progress: The namespace is currently being formatted. The Do Not Retry bit shall be cleared to '0' to indicate that the command may succeed if it is resubmitted."},
    {1, 0x00, "Completion Queue Invalid - Create I/O Submission Queue"},
    {1, 0x01, "Invalid Queue Identifier - Create I/O Submission Queue, Create I/O Completion Queue, Delete I/O Completion Queue, Delete I/O Submission Queue"},
    {1, 0x02, "Invalid Queue Size - Create I/O Submission Queue, Create I/O Completion Queue"},
    {1, 0x03, "Abort Command Limit Exceeded - Abort"},
    {1, 0x05, "Asynchronous Event Request Limit Exceeded - Asynchronous Event Request"},
    {1, 0x06, "Invalid Firmware Slot - Firmware Commit"},
    {1, 0x07, "Invalid Firmware Image - Firmware Commit"},
    {1, 0x08, "Invalid Interrupt Vector - Create I/O Completion Queue"},
    {1, 0x09, "Invalid Log Page - Get Log Page"},
    {1, 0x0A, "Invalid Format - Format NVM, Namespace Management"},
    {1, 0x0B, "Firmware Activation Requires Conventional Reset -Firmware Commit"},
    {1, 0x0C, "Invalid Queue Deletion - Delete I/O Completion Queue"},
    {1, 0x0D, "Feature Identifier Not Saveable - Set Features"},
    {1, 0x0E, "Feature Not Changeable - Set Features"},
    {1, 0x0F, "Feature Not Namespace Specific - Set Features"},
    {1, 0x10, "Firmware Activation Requires NVM Subsystem Reset - Firmware Commit"},
    {1, 0x11, "Firmware Activation Requires Reset - Firmware Commit"},
    {1, 0x12, "Firmware Activation Requires Maximum Time Violation - Firmware Commit"},
    {1, 0x13, "Firmware Activation Prohibited - Firmware Commit"},
    {1, 0x14, "Overlapping Range - Firmware Commit, Firmware Image Download, Set Features"},
    {1, 0x15, "Namespace Insufficient Capacity - Namespace Management"},
    {1, 0x16, "Namespace Identifier Unavailable - Namespace Management"},
    {1, 0x18, "Namespace Already Attached - Namespace Attachment"},
    {1, 0x19, "Namespace Is Private - Namespace Attachment"},
    {1, 0x1A, "Namespace Not Attached - Namespace Attachment"},
    {1, 0x1B, "Thin Provisioning Not Supported - Namespace Management"},
    {1, 0x1C, "Controller List Invalid - Namespace Attachment"},
    {1, 0x1D, "Device Self-test In Progress - Device Self-test"},
    {1, 0x1E, "Boot Partition Write Prohibited - Firmware Commit"},
    {1, 0x1F, "Invalid Controller Identifier - Virtualization Management"},
    {1, 0x20, "Invalid Secondary Controller State - Virtualization Management"},
    {1, 0x21, "Invalid Number of Controller Resources - Virtualization Management"},
    {1, 0x22, "Invalid Resource Identifier - Virtualization Management"},
    {1, 0x80, "Conflicting Attributes - Dataset Management, Read, Write"},
    {1, 0x81, "Invalid Protection Information - Compare, Read, Write, Write Zeroes"},
    {1, 0x82, "Attempted Write to Read Only Range - Dataset Management, Write, Write Uncorrectable, Write Zeroes"},
    {2, 0x80, "Write Fault: The write data could not be committed to the media."},
    {2, 0x81, "Unrecovered Read Error: The read data could not be recovered from the media."},
    {2, 0x82, "End-to-end Guard Check Error: The command was aborted due to an end-to-end guard check failure."},
    {2, 0x83, "End-to-end Application Tag Check Error: The command was aborted due to an end-to-end application tag check failure."},
    {2, 0x84, "End-to-end Reference Tag Check Error: The command was aborted due to an end-to-end reference tag check failure."},
    {2, 0x85, "Compare Failure: The command failed due to a miscompare during a Compare command."},
    {2, 0x86, "Access Denied: Access to the namespace and/or LBA range is denied due to lack of access rights. Refer to TCG SIIS."},
    {2, 0x87, "Deallocated or Unwritten Logical Block: The command failed due to an attempt to read from an LBA range containing a deallocated or unwritten logical block."},
};
// clang-format on

}  // namespace Ondrel::Testing
