#include "Tool/Host/Speaker.h"

#include "Tool/Host/Win32/Words.h"

#include <windows.h>

namespace Tool {

// Whether a tone can be heard is known only once it is asked for.
std::string SpeakerProblem() { return ""; }

// The host ends the tone of a process that ends.
std::string SoundTone(unsigned int hertz, unsigned int milliseconds) {
  if (::Beep(hertz, milliseconds)) return "";
  return "the host does not sound the speaker: " + SystemErrorText(::GetLastError());
}

}  // namespace Tool
