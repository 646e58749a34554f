#include "Tool/Host/Linux/HostName.h"

#include "Tool/Host/Program.h"
#include "Tool/Utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fcntl.h>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace Tool {

namespace {

constexpr std::size_t kLongestFile = std::size_t{64} * 1024;
constexpr std::size_t kLongestText = 256;
constexpr const char* kDetector = "/usr/bin/systemd-detect-virt";

/// The beginning of an ordinary file, or of one of the kernel's; empty where there is none. A pipe
/// or device in its place is not waited for.
std::string ReadFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return "";
  std::string content;
  struct stat status {};
  if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
    std::array<char, 4096> bytes{};
    ssize_t size = 0;
    while (content.size() < kLongestFile && (size = ::read(file, bytes.data(), bytes.size())) > 0)
      content.append(bytes.data(), static_cast<std::size_t>(size));
  }
  ::close(file);
  return content;
}

bool IsThere(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/// The value of an assignment as a shell reads it: quotes taken off, backslashes followed.
std::string ShellValue(std::string_view text) {
  std::string value;
  char quote = '\0';
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char character = text[i];
    if (quote == '\0' && (character == '"' || character == '\'')) {
      quote = character;
    } else if (quote != '\0' && character == quote) {
      quote = '\0';
    } else if (character == '\\' && quote != '\'' && i + 1 < text.size()) {
      value += text[++i];
    } else if (quote == '\0' && (character == ' ' || character == '\t')) {
      break;
    } else {
      value += character;
    }
  }
  return value;
}

std::map<std::string, std::string> ReleaseOf(const std::string& root) {
  std::string text = ReadFile(root + "/etc/os-release");
  if (text.empty()) text = ReadFile(root + "/usr/lib/os-release");
  std::map<std::string, std::string> values;
  std::string_view rest = text;
  while (!rest.empty()) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    if (line.ends_with('\r')) line.remove_suffix(1);
    const std::size_t equals = line.find('=');
    if (line.starts_with('#') || equals == std::string_view::npos) continue;
    values[std::string(line.substr(0, equals))] = SafeText(ShellValue(line.substr(equals + 1)));
  }
  return values;
}

/// A word as the host's detection writes it; empty for anything else.
std::string Word(const std::string& text) {
  const std::string line = FirstLine(text);
  const bool isWord = std::ranges::all_of(line, [](char character) {
    return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9') ||
           character == '-' || character == '_' || character == '.';
  });
  return isWord && line.size() <= kLongestText ? line : "";
}

/// What the container's manager leaves for the host's detection to find.
std::string ContainerFromMarks(const std::string& root) {
  if (std::string word = Word(ReadFile(root + "/run/systemd/container")); !word.empty())
    return word;
  if (IsThere(root + "/run/.containerenv")) return "podman";
  if (IsThere(root + "/.dockerenv")) return "docker";
  return "none";
}

std::string VirtualizationFromMarks(const std::string& root) {
  if (std::string word = Word(ReadFile(root + "/sys/hypervisor/type")); !word.empty()) return word;
  const std::string processor = ReadFile(root + "/proc/cpuinfo");
  const std::size_t flags = processor.find("\nflags");
  if (flags == std::string::npos) return "";
  const std::string line = FirstLine(processor.substr(flags + 1)) + " ";
  // That there is a hypervisor can be seen, but not which.
  return line.find(" hypervisor ") != std::string::npos ? "vm-other" : "none";
}

std::string AskDetector(const std::string& question) {
  using namespace std::chrono_literals;
  if (!IsThere(kDetector)) return "";
  std::string answer;
  ProgramCall call;
  call.program = kDetector;
  call.arguments = {question};
  call.timeout = 5s;
  call.takeOutput = [&](std::string_view text) {
    if (answer.size() < kLongestText) answer += text;
    return true;
  };
  RunProgram(call);  // It ends with 1 where it answers "none".
  return answer;
}

}  // namespace

std::string SafeText(std::string_view text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  std::string safe;
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    const auto first = static_cast<unsigned char>(text.front());
    // U+0080 to U+009F control a terminal too.
    const bool isControl =
        first < 0x20 || first == 0x7F ||
        (length == 2 && first == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0);
    const std::string_view shown = length == 0 || isControl ? kReplacement : text.substr(0, length);
    if (safe.size() + shown.size() > kLongestText) break;
    safe += shown;
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return safe;
}

HostName NameFrom(const HostNameSources& sources) {
  std::map<std::string, std::string> release = ReleaseOf(sources.root);
  HostName name;
  name.distribution = release["NAME"];
  name.id = release["ID"];
  name.version = release["VERSION_ID"];
  name.codename = release["VERSION_CODENAME"];
  name.description = release["PRETTY_NAME"];
  name.virtualization = Word(sources.detect("--vm"));
  if (name.virtualization.empty()) name.virtualization = VirtualizationFromMarks(sources.root);
  name.container = Word(sources.detect("--container"));
  if (name.container.empty()) name.container = ContainerFromMarks(sources.root);
  return name;
}

std::optional<HostName> NameOfHost() {
  HostName name = NameFrom({.root = "", .detect = AskDetector});
  utsname system{};
  if (::uname(&system) == 0) {
    name.kernel = SafeText(std::string(system.sysname) + " " + system.release);
    name.kernelVersion = SafeText(system.version);
    name.architecture = SafeText(system.machine);
  }
  return name;
}

}  // namespace Tool
