#pragma once

#include "Host/Linux/Drives/DrivePicture.h"
#include "Support/TemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace Ondrel::Host {

/// A sysfs and a proc as the kernel lays them out: devices in folders, links to them in block.
class DriveTree {
public:
  DriveTree() {
    std::filesystem::create_directories(Path("sys/block"));
    Write("proc/self/mountinfo", "20 1 0:1 / / rw - tmpfs tmpfs rw\n");
    Write("proc/swaps", "Filename\tType\tSize\n");
  }

  std::string Path(const std::string& name) const { return m_folder.Path(name); }

  void Write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
    m_folder.Write(name, text);
  }

  void Link(const std::string& name, const std::string& target) const {
    std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
    std::filesystem::remove(Path(name));
    std::filesystem::create_symlink(Path(target), Path(name));
  }

  /// A disk of a bus, with a serial number in its page 0x80.
  void AddDisk(const std::string& name, const std::string& serial,
               const std::string& number) const {
    const std::string device = "sys/devices/bus/" + name + "-device";
    const std::string disk = device + "/block/" + name;
    Write(disk + "/size", "204800\n");
    Write(disk + "/removable", "0\n");
    Write(disk + "/dev", number + "\n");
    Write(device + "/model", "Model of disk   \n");
    if (!serial.empty())
      Write(device + "/vpd_pg80",
            std::string("\0\x80\0", 3) + static_cast<char>(serial.size()) + serial);
    Link(disk + "/device", device);
    Link("sys/block/" + name, disk);
  }

  void AddPartition(const std::string& disk, const std::string& name, int number,
                    const std::string& deviceNumber) const {
    const std::string folder = DiskFolder(disk) + "/" + name;
    Write(folder + "/partition", std::to_string(number) + "\n");
    Write(folder + "/dev", deviceNumber + "\n");
  }

  static std::string DiskFolder(const std::string& disk) {
    return "sys/devices/bus/" + disk + "-device/block/" + disk;
  }

  void AddNVMe(const std::string& controller, const std::string& serial, int nameSpaces) const {
    const std::string device = "sys/devices/pci/" + controller;
    Write(device + "/serial", serial + "\n");
    Write(device + "/model", "NVMe model\n");
    Write(device + "/state", "live\n");
    Link("sys/class/nvme/" + controller, device);
    for (int number = 1; number <= nameSpaces; ++number) {
      const std::string name = controller + "n" + std::to_string(number);
      Write(device + "/" + name + "/size", "1000\n");
      Write(device + "/" + name + "/nsid", std::to_string(number) + "\n");
      Link(device + "/" + name + "/device", device);
      Link("sys/block/" + name, device + "/" + name);
    }
  }

  void AddArray(const std::string& name, const std::string& level, int places,
                const std::string& layout = "0") const {
    const std::string folder = "sys/devices/virtual/block/" + name;
    Write(folder + "/size", "400000\n");
    Link("sys/block/" + name, folder);
    const auto write = [&](const char* file, const std::string& text) {
      Write(folder + "/md/" + file, text + "\n");
    };
    write("array_state", "clean");
    write("level", level);
    write("layout", layout);
    write("raid_disks", std::to_string(places));
    write("uuid", "9f0e3c1a-1111-2222-3333-00000000000" + std::string(1, name.back()));
    write("sync_action", "idle");
    write("last_sync_action", "none");
    write("sync_completed", "none");
    write("sync_min", "0");
    write("resync_start", "none");
    write("reshape_position", "none");
    write("mismatch_cnt", "0");
    write("metadata_version", "1.2");
  }

  void SetArray(const std::string& name, const std::string& file, const std::string& text) const {
    Write("sys/devices/virtual/block/" + name + "/md/" + file, text + "\n");
  }

  /// `target` is the member's folder; one that is not there is a disk that was pulled.
  void AddMember(const std::string& array, const std::string& name, const std::string& target,
                 const std::string& state, const std::string& slot) const {
    const std::string folder = "sys/devices/virtual/block/" + array + "/md/dev-" + name;
    Write(folder + "/state", state + "\n");
    Write(folder + "/slot", slot + "\n");
    Write(folder + "/errors", "0\n");
    Write(folder + "/bad_blocks", "");
    Link(folder + "/block", target);
  }

  void AddDiskMember(const std::string& array, const std::string& disk, const std::string& state,
                     const std::string& slot) const {
    AddMember(array, disk, DiskFolder(disk), state, slot);
  }

  DriveSnapshot Read() const {
    return ReadDrives({.sysfs = Path("sys"),
                       .processes = Path("proc"),
                       .arrayConfigurations = {Path("mdadm.conf")}});
  }

private:
  Testing::TemporaryFolder m_folder;
};

inline const Drive& DriveOf(const DriveSnapshot& snapshot, const std::string& id) {
  const auto found = std::ranges::find(snapshot.drives, id, &Drive::id);
  if (found == snapshot.drives.end()) throw std::out_of_range("no drive " + id);
  return *found;
}

}  // namespace Ondrel::Host
