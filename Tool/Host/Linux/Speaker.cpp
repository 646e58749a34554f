#include "Tool/Host/Speaker.h"

#include <Ondrel/System.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/input.h>
#include <linux/kd.h>
#include <sys/ioctl.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace Tool {

namespace {

// Where the library sounds the speaker, in its order.
constexpr const char* kSpeaker = "/dev/input/by-path/platform-pcspkr-event-spkr";
constexpr std::array kConsoles = {"/dev/tty0", "/dev/console"};

/// The error number of opening a device to write; 0 when it can be opened.
int ErrorOf(const char* path) {
  const int file = ::open(path, O_WRONLY | O_CLOEXEC | O_NOCTTY);
  if (file < 0) return errno;
  ::close(file);
  return 0;
}

/// Whether an input device of this host can sound a tone: a console takes one whether or not there
/// is what sounds it.
bool IsSpeakerThere() {
  constexpr unsigned long kTones = 1UL << SND_TONE | 1UL << SND_BELL;
  std::error_code error;
  for (const auto& device : std::filesystem::directory_iterator("/sys/class/input", error)) {
    std::ifstream file(device.path() / "capabilities/snd");
    unsigned long sounds = 0;
    if (file >> std::hex >> sounds && (sounds & kTones) != 0) return true;
  }
  return false;
}

void Silence() {
  if (const int file = ::open(kSpeaker, O_WRONLY | O_CLOEXEC); file >= 0) {
    input_event event{};
    event.type = EV_SND;
    event.code = SND_TONE;
    [[maybe_unused]] const ssize_t written = ::write(file, &event, sizeof event);
    ::close(file);
  }
  for (const char* console : kConsoles)
    if (const int file = ::open(console, O_WRONLY | O_CLOEXEC | O_NOCTTY); file >= 0) {
      ::ioctl(file, KIOCSOUND, 0UL);
      ::close(file);
    }
}

}  // namespace

std::string SpeakerProblem() {
  if (!IsSpeakerThere())
    return "there is no speaker: no input device of this host sounds a tone; on a machine that has "
           "one, load its driver with modprobe pcspkr";
  const int error = ErrorOf(kSpeaker);
  if (error == 0) return "";
  for (const char* console : kConsoles)
    if (ErrorOf(console) == 0) return "";
  return std::string("it may not be used: ") + kSpeaker + ": " + std::strerror(error) +
         "; run it as root or as a member of the group input";
}

std::string SoundTone(unsigned int hertz, unsigned int milliseconds) {
  if (std::string problem = SpeakerProblem(); !problem.empty()) return problem;
  sigset_t ends;
  sigset_t earlier;
  sigemptyset(&ends);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&ends, signal);
  // The thread of the tone inherits the mask: the signals come to this one.
  pthread_sigmask(SIG_BLOCK, &ends, &earlier);
  std::atomic<bool> isOver = false;
  std::thread tone([&] {
    Ondrel::CSystem::Beep(hertz, milliseconds);
    isOver = true;
  });
  constexpr timespec kInterval{.tv_sec = 0, .tv_nsec = 20'000'000};
  while (!isOver) {
    const int signal = ::sigtimedwait(&ends, nullptr, &kInterval);
    if (signal < 0) continue;
    Silence();
    // The command ends as it would have without a tone. The tone's thread ends with it.
    std::signal(signal, SIG_DFL);
    ::raise(signal);
    pthread_sigmask(SIG_SETMASK, &earlier, nullptr);
  }
  tone.join();
  pthread_sigmask(SIG_SETMASK, &earlier, nullptr);
  return "";
}

}  // namespace Tool
