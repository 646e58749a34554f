#pragma once

#include "Host/Linux/LastError.h"
#include "Host/Linux/Volumes/VolumePicture.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel::Testing {

/// A sysfs tree of block devices and a mount table in an empty folder that the caller owns.
class PreparedSysfs {
public:
  explicit PreparedSysfs(std::string folder) : m_folder(std::move(folder)) {
    Write("mountinfo", "");
  }

  /// Adds a device that is not a partition and has no hardware of its own. `size` is in sectors.
  void AddVirtual(const std::string& name, const std::string& majorMinor, std::uint64_t size) {
    WriteDevice("block/" + name, majorMinor, "DEVTYPE=disk\n", size);
    Write("block/" + name + "/removable", "0\n");
    std::filesystem::create_directories(Path("block/" + name + "/slaves"));
  }

  /// Adds a disk of the machine.
  void AddDisk(const std::string& name, const std::string& majorMinor, std::uint64_t size) {
    AddVirtual(name, majorMinor, size);
    std::filesystem::create_directories(Path("block/" + name + "/device"));
  }

  /// Moves a device to where its hardware stands, as in "pci0000:00/ata1/host0", and leaves a link.
  void Connect(const std::string& name, const std::string& way) {
    const std::filesystem::path folder = Path("devices/" + way + "/block/" + name);
    std::filesystem::create_directories(folder.parent_path());
    std::filesystem::rename(Path("block/" + name), folder);
    std::filesystem::create_directory_symlink(folder, Path("block/" + name));
  }

  /// Makes a link; `target` counts from the link.
  void Link(const std::string& name, const std::string& target) {
    const std::filesystem::path path = Path(name);
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::remove_all(path);
    std::filesystem::create_directory_symlink(target, path);
  }

  void AddPartition(const std::string& disk, const std::string& name, unsigned number,
                    const std::string& majorMinor, std::uint64_t start, std::uint64_t size) {
    const std::string folder = "block/" + disk + "/" + name;
    WriteDevice(folder, majorMinor, "DEVTYPE=partition\nPARTN=" + std::to_string(number) + "\n",
                size);
    Write(folder + "/partition", std::to_string(number) + "\n");
    Write(folder + "/start", std::to_string(start) + "\n");
  }

  /// Says that a device is built on another; `folder` is that one's below block.
  void Build(const std::string& name, const std::string& slave, const std::string& folder) {
    Write("block/" + name + "/slaves/" + slave, "");
    Write("block/" + folder + "/holders/" + name, "");
  }

  void AddMapped(const std::string& name, const std::string& majorMinor, std::uint64_t size,
                 const std::string& mapperName) {
    AddVirtual(name, majorMinor, size);
    Write("block/" + name + "/dm/name", mapperName + "\n");
  }

  void AddArray(const std::string& name, const std::string& majorMinor, std::uint64_t size,
                const std::string& level) {
    AddVirtual(name, majorMinor, size);
    Write("block/" + name + "/md/level", level + "\n");
  }

  void AddMember(const std::string& array, const std::string& device, std::uint64_t offset,
                 std::uint64_t kibibytes, const std::string& state) {
    const std::string folder = "block/" + array + "/md/dev-" + device;
    Write(folder + "/offset", std::to_string(offset) + "\n");
    Write(folder + "/size", std::to_string(kibibytes) + "\n");
    Write(folder + "/state", state + "\n");
  }

  /// Appends a line to the mount table; texts are as the kernel escapes them.
  void Mount(const std::string& majorMinor, const std::string& root, const std::string& target,
             const std::string& source, const std::string& fileSystem = "ext4") {
    m_mounts += std::to_string(++m_mountNumber) + " 1 " + majorMinor + " " + root + " " + target +
                " rw - " + fileSystem + " " + source + " rw\n";
    Write("mountinfo", m_mounts);
  }

  /// Writes a file below the tree, and the folders on its way.
  void Write(const std::string& name, const std::string& content) {
    const std::filesystem::path path = Path(name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }

  /// The sources that read this tree; tables and contents as the maps say, by kernel name;
  /// what is not in a map may not be read.
  Host::VolumeSources Sources() {
    return {
        .blockDevices =
            [this] {
              ++reads;
              return Host::BlockDevices(m_folder);
            },
        .mountTable = Path("mountinfo"),
        .mapperTable = [this](const Host::BlockDevice& device)
            -> std::optional<std::vector<Host::MapperTarget>> {
          const auto table = tables.find(device.name);
          if (table == tables.end()) return Refused();
          return table->second;
        },
        .fileSystem = [this](const Host::BlockDevice& device) -> std::optional<Host::FileSystem> {
          const auto content = contents.find(device.name);
          if (content == contents.end()) return Refused();
          return content->second;
        },
        .partitionEntry =
            [this](const Host::BlockDevice& device) -> std::optional<Host::PartitionEntry> {
          const auto entry = entries.find(device.name);
          if (entry == entries.end()) return Refused();
          return entry->second;
        },
        .property = [this](const Host::BlockDevice& device,
                           const char* key) -> std::optional<std::string> {
          const auto property = properties.find(device.name + "/" + key);
          if (property == properties.end()) return std::nullopt;
          return property->second;
        },
    };
  }

  std::map<std::string, std::vector<Host::MapperTarget>> tables;
  std::map<std::string, Host::FileSystem> contents;
  std::map<std::string, Host::PartitionEntry> entries;
  std::map<std::string, std::string> properties;  ///< By "sda/ID_MODEL_ENC".
  std::atomic<int> reads = 0;                     ///< How often all block devices were read.

private:
  // What is not in the maps nobody may read.
  static std::nullopt_t Refused() {
    Host::SetLastError(ERROR_ACCESS_DENIED);
    return std::nullopt;
  }

  std::string Path(const std::string& name) const { return m_folder + "/" + name; }

  void WriteDevice(const std::string& folder, const std::string& majorMinor,
                   const std::string& kind, std::uint64_t size) {
    const std::size_t colon = majorMinor.find(':');
    Write(folder + "/uevent", "MAJOR=" + majorMinor.substr(0, colon) +
                                  "\nMINOR=" + majorMinor.substr(colon + 1) + "\n" + kind);
    Write(folder + "/size", std::to_string(size) + "\n");
    std::filesystem::create_directories(Path(folder + "/holders"));
  }

  std::string m_folder;
  std::string m_mounts;
  int m_mountNumber = 20;
};

}  // namespace Ondrel::Testing
