#pragma once

namespace Ondrel::Host {

/// Sounds the machine's speaker for a time and returns when it has ended. False when there is no
/// speaker that this process may sound.
bool SoundSpeaker(unsigned int hertz, unsigned int milliseconds);

}  // namespace Ondrel::Host
