#pragma once

#include <Pirsk/Trace.h>

#include <cstdint>
#include <string>

/// What the base library asks the host.
namespace Pirsk::Host {

/// The host's number of the calling thread.
std::uint64_t ThreadNumber();

/// Folder of the loaded file that holds this address, as an absolute path without a closing
/// separator; empty when the host does not know it.
std::string FolderOfModule(const void* address);

/// Converts text in the narrow code page to UTF-8; a byte without a character becomes U+FFFD.
std::string NarrowToUtf8(const std::string& text);

/// A sink on the host's journal; null when the host has none.
Trace::Sink MakeJournalSink(const std::string& identifier);

using Internals::ErrorState;

/// The calling thread's error state, and putting it back.
ErrorState GetErrorState() noexcept;
void SetErrorState(const ErrorState& state) noexcept;

}  // namespace Pirsk::Host
