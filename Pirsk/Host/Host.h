#pragma once

#include <Pirsk/Trace.h>

#include <cstdint>
#include <string>

/// What the base library asks the host.
namespace Pirsk::Host {

/// The host's number of the calling thread.
std::uint64_t ThreadNumber();

/// The loaded file that holds this address, as an absolute path by which it was loaded: UTF-8 where
/// the host's paths are wide text, else the host's bytes. Empty when the host does not know it.
std::string PathOfModule(const void* address);

/// The path of the file that `path` leads to through links; empty when there is none.
std::string RealPath(const std::string& path);

/// Makes the file `path`, which only its owner may read and write, and the folders in front of it,
/// unless it is there. What cannot be made is left to whoever opens the file.
void MakePrivateFile(const std::string& path);

/// Has `before` called before this process forks, and `after` in both processes after it. Without a
/// meaning on a host that does not fork.
void AroundFork(void (*before)(), void (*after)());

/// Converts text in the narrow code page to UTF-8; a byte without a character becomes U+FFFD.
std::string NarrowToUtf8(const std::string& text);

/// A sink on the host's journal; null when the host has none.
Trace::Sink MakeJournalSink(const std::string& identifier);

using Internals::ErrorState;

/// The calling thread's error state, and putting it back.
ErrorState GetErrorState() noexcept;
void SetErrorState(const ErrorState& state) noexcept;

}  // namespace Pirsk::Host
