#include "Host/Linux/LastError.h"
#include "Host/Linux/Volumes/VolumePicture.h"

#include <systemd/sd-device.h>

#include <blkid/blkid.h>
#include <cerrno>
#include <memory>
#include <sys/sysmacros.h>

namespace Ondrel::Host {

namespace {

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

// The device manager's record of a device, which every user may read.
class Record {
public:
  explicit Record(const BlockDevice& device) {
    sd_device* found = nullptr;
    if (sd_device_new_from_devnum(&found, 'b',
                                  makedev(device.number.first, device.number.second)) >= 0)
      m_device.reset(found);
  }

  /// Whether the device manager has looked at the device.
  bool IsThere() const { return m_device && sd_device_get_is_initialized(m_device.get()) > 0; }

  std::optional<std::string> Text(const char* key) const {
    const char* value = nullptr;
    if (!m_device || sd_device_get_property_value(m_device.get(), key, &value) < 0)
      return std::nullopt;
    return Decoded(value);
  }

private:
  std::unique_ptr<sd_device, DeviceUnref> m_device;
};

class Probe {
public:
  explicit Probe(const BlockDevice& device)
      : m_probe(blkid_new_probe_from_filename(NodePath(device.name).c_str())) {
    if (m_probe == nullptr) SetLastError(ErrorFromErrno(errno));
  }

  bool IsOpen() const { return m_probe != nullptr; }
  blkid_probe Get() const { return m_probe.get(); }

  /// Empty for nothing known.
  std::string Text(const char* name) const {
    const char* value = nullptr;
    return blkid_probe_lookup_value(m_probe.get(), name, &value, nullptr) == 0 ? value : "";
  }

private:
  std::unique_ptr<std::remove_pointer_t<blkid_probe>, ProbeFree> m_probe;
};

// As the device itself shows it.
std::optional<FileSystem> ProbedFileSystem(const BlockDevice& device) {
  const Probe probe(device);
  if (!probe.IsOpen()) return std::nullopt;
  blkid_probe_enable_superblocks(probe.Get(), 1);
  blkid_probe_set_superblocks_flags(probe.Get(),
                                    BLKID_SUBLKS_TYPE | BLKID_SUBLKS_LABEL | BLKID_SUBLKS_UUID);
  // Nothing found, or several that contradict each other, is an answer too.
  if (blkid_do_safeprobe(probe.Get()) != 0) return FileSystem();
  return FileSystem{probe.Text("TYPE"), probe.Text("LABEL"), probe.Text("UUID")};
}

std::optional<FileSystem> ReadFileSystem(const BlockDevice& device) {
  const Record record(device);
  if (auto type = record.Text("ID_FS_TYPE"))
    return FileSystem{*type, record.Text("ID_FS_LABEL_ENC").value_or(""),
                      record.Text("ID_FS_UUID_ENC").value_or("")};
  auto probed = ProbedFileSystem(device);
  // The device manager looked, and found nothing.
  if (!probed && record.IsThere()) return FileSystem();
  return probed;
}

std::optional<PartitionEntry> ReadPartitionEntry(const BlockDevice& device) {
  const Record record(device);
  if (auto type = record.Text("ID_PART_ENTRY_TYPE"))
    return PartitionEntry{record.Text("ID_PART_ENTRY_SCHEME").value_or(""), *type,
                          record.Text("ID_PART_ENTRY_NAME").value_or(""),
                          record.Text("ID_PART_ENTRY_UUID").value_or("")};
  const Probe probe(device);
  if (!probe.IsOpen()) return std::nullopt;
  blkid_probe_enable_superblocks(probe.Get(), 0);
  blkid_probe_enable_partitions(probe.Get(), 1);
  blkid_probe_set_partitions_flags(probe.Get(), BLKID_PARTS_ENTRY_DETAILS);
  // What the partition itself holds may look like several tables; its own entry stands all the
  // same.
  static_cast<void>(blkid_do_safeprobe(probe.Get()));
  const std::string scheme = probe.Text("PART_ENTRY_SCHEME");
  if (scheme.empty()) return Fail<std::optional<PartitionEntry>>(ERROR_INVALID_DATA);
  return PartitionEntry{scheme, probe.Text("PART_ENTRY_TYPE"), probe.Text("PART_ENTRY_NAME"),
                        probe.Text("PART_ENTRY_UUID")};
}

}  // namespace

VolumeSources HostVolumeSources() {
  return {
      .blockDevices = [] { return BlockDevices("/sys"); },
      .mountTable = "/proc/self/mountinfo",
      .mapperTable = ReadMapperTable,
      .fileSystem = ReadFileSystem,
      .partitionEntry = ReadPartitionEntry,
      .property = [](const BlockDevice& device,
                     const char* key) { return Record(device).Text(key); },
  };
}

}  // namespace Ondrel::Host
