#pragma once

#include <string>

namespace Tool {

/// Whether this host has a speaker that the caller may sound; yields an empty text, else why not
/// and what helps.
std::string SpeakerProblem();

/// Sounds the speaker and returns when the tone has ended. An interrupt or a request to end the
/// command ends the tone first. Yields an empty text, else why the speaker is silent.
std::string SoundTone(unsigned int hertz, unsigned int milliseconds);

}  // namespace Tool
