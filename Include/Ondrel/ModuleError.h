#pragma once

#include <cstdint>

namespace Ondrel {

/// The library's module number: what `Pirsk::Misc::SetTraceMask` names it by.
inline constexpr std::uint32_t kModuleNumber = 5;

/// What the library raises, as the value of the `unsigned int` that is thrown: 0x20000000, the
/// module number shifted left by sixteen, and a running number. `Pirsk/Exceptions.h` reads what
/// else is known of a raised error.
///
/// Three of them are part of the catalogue and never raised. 0x20050009 and 0x2005000A are not
/// used.
enum ModuleError : std::uint32_t {
  kSystemLogAlreadyOpened = 0x20050001,         ///< The log object is open already.
  kInvalidParameter = 0x20050002,               ///< The log's name or the event's text is empty.
  kCannotOpenSystemLog = 0x20050003,            ///< The host cannot open the log.
  kSystemLogRegistrationFailed = 0x20050004,    ///< The host cannot register the event source.
  kSystemLogDeregistrationFailed = 0x20050005,  ///< Never raised.
  kCannotCloseSystemLog = 0x20050006,           ///< Never raised.
  kSystemLogNotOpenedForWriting = 0x20050007,   ///< No event source is registered.
  kTimeSystemCallFailed = 0x20050008,           ///< Never raised.
  kOutOfMemory = 0x2005000B,                    ///< No memory for the record buffer.
  kSystemLogReadFailed = 0x2005000C,            ///< The host cannot read the log's records.
};

}  // namespace Ondrel
