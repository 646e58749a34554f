#include "Host/Linux/Services/Speaker.h"

#include "Host/Linux/FileDescriptor.h"

#include <chrono>
#include <fcntl.h>
#include <linux/input.h>
#include <linux/kd.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

// The input device of the speaker, under the name that it has by its place.
constexpr char kSpeakerDevice[] = "/dev/input/by-path/platform-pcspkr-event-spkr";
constexpr const char* kConsoles[] = {"/dev/tty0", "/dev/console"};
constexpr unsigned int kTimerHertz = 1193180;

bool SetTone(const FileDescriptor& speaker, unsigned int hertz) {
  input_event event{};
  event.type = EV_SND;
  event.code = SND_TONE;
  event.value = static_cast<int>(hertz);
  return Uninterrupted([&] { return ::write(speaker.Number(), &event, sizeof event); }) ==
         sizeof event;
}

bool SetConsoleTone(const FileDescriptor& console, unsigned int hertz) {
  return ::ioctl(console.Number(), KIOCSOUND, hertz == 0 ? 0UL : kTimerHertz / hertz) == 0;
}

template <class Set>
bool Sound(const char* path, Set set, unsigned int hertz, unsigned int milliseconds) {
  const FileDescriptor device(Uninterrupted([&] { return ::open(path, O_WRONLY | O_CLOEXEC); }));
  if (!device.IsOpen() || !set(device, hertz)) return false;
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  return set(device, 0U);
}

}  // namespace

bool SoundSpeaker(unsigned int hertz, unsigned int milliseconds) {
  if (Sound(kSpeakerDevice, SetTone, hertz, milliseconds)) return true;
  for (const char* console : kConsoles)
    if (Sound(console, SetConsoleTone, hertz, milliseconds)) return true;
  return false;
}

}  // namespace Ondrel::Host
