#include "Host/Linux/FileDescriptor.h"
#include "Host/Linux/LastError.h"
#include "Host/Linux/Volumes/VolumePicture.h"

#include <systemd/sd-device.h>

#include <blkid/blkid.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/dm-ioctl.h>
#include <memory>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>

namespace Ondrel::Host {

namespace {

constexpr const char* kMapperControl = "/dev/mapper/control";
constexpr std::size_t kFirstTableSize = 16384;
constexpr std::size_t kMaxTableSize = std::size_t{16} * 1024 * 1024;

struct DeviceUnref {
  void operator()(sd_device* device) const { sd_device_unref(device); }
};

struct ProbeFree {
  void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};

// Text as the device manager keeps it: "\x20" stands for a space.
std::string Decoded(const char* text) {
  const auto digit = [](char letter) -> int {
    if (letter >= '0' && letter <= '9') return letter - '0';
    if (letter >= 'a' && letter <= 'f') return letter - 'a' + 10;
    if (letter >= 'A' && letter <= 'F') return letter - 'A' + 10;
    return -1;
  };
  std::string decoded;
  for (; *text != '\0'; ++text) {
    if (text[0] == '\\' && text[1] == 'x' && digit(text[2]) >= 0 && digit(text[3]) >= 0) {
      decoded += static_cast<char>(digit(text[2]) * 16 + digit(text[3]));
      text += 3;
    } else {
      decoded += *text;
    }
  }
  return decoded;
}

// As the device manager found it, which every user may read.
std::optional<FileSystem> KnownFileSystem(const BlockDevice& device) {
  sd_device* found = nullptr;
  if (sd_device_new_from_devnum(&found, 'b', makedev(device.number.first, device.number.second)) <
      0)
    return std::nullopt;
  const std::unique_ptr<sd_device, DeviceUnref> owned(found);
  const char* type = nullptr;
  if (sd_device_get_property_value(found, "ID_FS_TYPE", &type) < 0) return std::nullopt;
  const char* label = nullptr;
  if (sd_device_get_property_value(found, "ID_FS_LABEL_ENC", &label) < 0) label = "";
  return FileSystem{type, Decoded(label)};
}

std::string ProbedValue(blkid_probe probe, const char* name) {
  const char* value = nullptr;
  return blkid_probe_lookup_value(probe, name, &value, nullptr) == 0 ? value : "";
}

// As the device itself shows it.
std::optional<FileSystem> ProbedFileSystem(const BlockDevice& device) {
  const std::unique_ptr<std::remove_pointer_t<blkid_probe>, ProbeFree> probe(
      blkid_new_probe_from_filename(NodePath(device.name).c_str()));
  if (!probe) return Fail<std::optional<FileSystem>>(ErrorFromErrno(errno));
  blkid_probe_enable_superblocks(probe.get(), 1);
  blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_LABEL);
  // Nothing found, or several that contradict each other, is an answer too.
  if (blkid_do_safeprobe(probe.get()) != 0) return FileSystem();
  return FileSystem{ProbedValue(probe.get(), "TYPE"), ProbedValue(probe.get(), "LABEL")};
}

std::optional<FileSystem> ReadFileSystem(const BlockDevice& device) {
  if (auto known = KnownFileSystem(device)) return known;
  return ProbedFileSystem(device);
}

std::vector<MapperTarget> TargetsOf(const std::vector<char>& answer) {
  dm_ioctl head;
  std::memcpy(&head, answer.data(), sizeof head);
  std::vector<MapperTarget> targets;
  std::size_t position = head.data_start;
  for (std::uint32_t index = 0; index < head.target_count; ++index) {
    if (position + sizeof(dm_target_spec) >= answer.size()) break;
    dm_target_spec spec;
    std::memcpy(&spec, answer.data() + position, sizeof spec);
    const char* const parameters = answer.data() + position + sizeof spec;
    const std::size_t room = answer.size() - position - sizeof spec;
    targets.push_back(
        {spec.sector_start, spec.length,
         std::string(spec.target_type, strnlen(spec.target_type, sizeof spec.target_type)),
         std::string(parameters, strnlen(parameters, room))});
    position = head.data_start + std::size_t{spec.next};
  }
  return targets;
}

// Only root may ask.
std::optional<std::vector<MapperTarget>> ReadMapperTable(const BlockDevice& device) {
  const FileDescriptor control(::open(kMapperControl, O_RDWR | O_CLOEXEC));
  for (std::size_t size = kFirstTableSize; control.IsOpen() && size <= kMaxTableSize; size *= 4) {
    std::vector<char> answer(size);
    dm_ioctl head{};
    head.version[0] = DM_VERSION_MAJOR;
    head.data_size = static_cast<std::uint32_t>(size);
    head.data_start = sizeof head;
    head.flags = DM_STATUS_TABLE_FLAG;
    head.dev = makedev(device.number.first, device.number.second);
    std::memcpy(answer.data(), &head, sizeof head);
    if (::ioctl(control.Number(), DM_TABLE_STATUS, answer.data()) != 0) break;
    std::memcpy(&head, answer.data(), sizeof head);
    if ((head.flags & DM_BUFFER_FULL_FLAG) == 0) return TargetsOf(answer);
  }
  return Fail<std::optional<std::vector<MapperTarget>>>(ErrorFromErrno(errno));
}

}  // namespace

VolumeSources HostVolumeSources() {
  return {
      .blockDevices = [] { return BlockDevices("/sys"); },
      .mountTable = "/proc/self/mountinfo",
      .mapperTable = ReadMapperTable,
      .fileSystem = ReadFileSystem,
  };
}

}  // namespace Ondrel::Host
