#pragma once

#include <Ondrel/NVMeIdentify.h>
#include <Ondrel/NVMeLogs.h>

/// The data structures that an NVMe device delivers, byte for byte.
///
/// Source: NVM Express, revision 1.3. The records are plain memory: a device's answer, or a saved
/// image of one, is copied onto a record and then read through its fields and operations. Fields
/// have the standard's mnemonics where it gives one, and stand at the standard's offsets without
/// any padding; numbers of several bytes are little-endian, as both hosts are. A size of 128 bits
/// is two words, the low one first. What revision 1.3 reserves is reserved here too, also where a
/// later revision gave it a meaning, and is copied with the rest.
///
/// A field that is not aligned (the records are packed) is read by its value; a reference must not
/// be bound to it. The operations change no record. They may be called from any thread, but for
/// the four accessors of `NVME_IDENTIFY_CONTROLLER` that return text.
namespace Ondrel {}
