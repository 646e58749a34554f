#include "Host/Linux/Volumes/DiskFacts.h"

#include "Host/Linux/LastError.h"
#include "Host/Linux/Sysfs.h"

#include <array>
#include <filesystem>
#include <string_view>

namespace Ondrel::Host {

namespace {

namespace fs = std::filesystem;

// A folder on the way to the device begins so where it is connected that way. The first row that
// fits counts: a disk in a USB case is a SCSI disk too.
struct Connection {
  std::string_view folder;
  std::string_view transport;
};

constexpr std::array kConnections = {
    Connection{"usb", "usb"},         Connection{"nvme", "nvme"},
    Connection{"mmc_host", "mmc"},    Connection{"ata", "ata"},
    Connection{"session", "iscsi"},   Connection{"rport-", "fc"},
    Connection{"end_device-", "sas"}, Connection{"fw", "ieee1394"},
    Connection{"virtio", "virtio"},   Connection{"vbd-", "xen"},
    Connection{"ndbus", "nvdimm"},    Connection{"floppy", "floppy"},
    Connection{"target", "scsi"},
};

std::string Trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\n");
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(" \t\n") - begin + 1));
}

std::string TransportOf(const std::string& folder) {
  std::error_code error;
  const fs::path way = fs::canonical(folder, error);
  NoteSysfsShortage(error.value());
  for (const Connection& connection : kConnections)
    for (const fs::path& part : way) {
      const std::string name = part.string();
      // "ata1" is a port; "atari" is not, nor is the "usb" without a number.
      if (name.starts_with(connection.folder) &&
          (name.size() == connection.folder.size() ||
           std::string_view("0123456789.").find(name[connection.folder.size()]) !=
               std::string_view::npos))
        return std::string(connection.transport);
    }
  return {};
}

// The page of a SCSI disk with its serial number: four bytes, the last two of them its length.
std::string SerialPage(const std::string& folder) {
  constexpr std::size_t kHead = 4;
  const std::string page = ReadSysfsText(folder + "/device/vpd_pg80").value_or("");
  return page.size() > kHead ? Trimmed(std::string_view(page).substr(kHead)) : std::string();
}

std::string SerialOf(const VolumePicture& picture, const BlockDevice& disk,
                     const std::string& folder) {
  for (const char* const key : {"ID_SCSI_SERIAL", "ID_SERIAL_SHORT"})
    if (const auto serial = picture.Sources().property(disk, key)) return Trimmed(*serial);
  for (const char* const file : {"/device/serial", "/serial"})
    if (const auto serial = ReadSysfsText(folder + file)) return Trimmed(*serial);
  return SerialPage(folder);
}

std::string ModelOf(const VolumePicture& picture, const BlockDevice& disk,
                    const std::string& folder) {
  if (const auto model = picture.Sources().property(disk, "ID_MODEL_ENC")) return Trimmed(*model);
  for (const char* const file : {"/device/model", "/device/name"})
    if (const auto model = ReadSysfsText(folder + file)) return Trimmed(*model);
  return {};
}

std::string KindOf(const BlockDevice& disk, const std::string& folder) {
  if (disk.IsOptical()) return "optical";
  if (disk.IsFloppy()) return "floppy";
  const auto rotates = ReadSysfsNumber(folder + "/queue/rotational");
  if (!rotates) return "disk";
  return *rotates != 0 ? "hard disk" : "solid state";
}

ULong NumberIn(const std::string& path) {
  return static_cast<ULong>(ReadSysfsNumber(path).value_or(0));
}

std::string PartitionTableOf(const VolumePicture& picture, const BlockDevice& disk) {
  if (auto table = picture.Sources().property(disk, "ID_PART_TABLE_TYPE")) return *table;
  if (disk.partitionNames.empty()) return {};
  const BlockDevice& first = *picture.Devices().Find(disk.partitionNames.front());
  const auto entry = picture.Sources().partitionEntry(first);
  return entry ? entry->scheme : std::string();
}

void AddHolders(const BlockDevices& devices, const BlockDevice& device,
                std::vector<DiskHolder>& holders) {
  for (const std::string& name : device.holders) {
    const BlockDevice* const holder = devices.Find(name);
    holders.push_back(
        {holder != nullptr ? DisplayPath(*holder) : NodePath(name), DisplayPath(device)});
  }
}

std::string KindOfVolume(const BlockDevice& device) {
  if (device.IsPartition()) return "part";
  if (device.isArray) return device.arrayLevel;
  if (!device.cached.empty()) return "bcache";
  if (!device.isMapper) return "disk";
  // What made it has put its name before the identifier: "LVM-...", "part1-mpath-...".
  const std::string_view maker =
      std::string_view(device.mapperId).substr(0, device.mapperId.find('-'));
  if (maker.starts_with("part")) return "part";
  if (maker == "LVM") return "lvm";
  if (maker == "CRYPT") return "crypt";
  if (maker == "mpath") return "mpath";
  return "dm";
}

VolumeDescription DescribeVolume(const VolumePicture& picture, const std::string& name,
                                 const BlockDevice& device, const std::vector<DiskPart>& parts) {
  VolumeDescription volume;
  volume.name = name;
  volume.deviceName = DisplayPath(device);
  volume.kind = KindOfVolume(device);
  if (device.IsPartition()) {
    if (auto entry = picture.Sources().partitionEntry(device)) {
      volume.partitionType = std::move(entry->type);
      volume.partitionName = std::move(entry->name);
    }
  }
  if (auto content = picture.Content(device)) {
    volume.fileSystem = std::move(content->type);
    volume.uuid = std::move(content->uuid);
    volume.label = std::move(content->label);
  } else {
    volume.contentError = LastError();
  }
  volume.mountPaths = picture.MountPaths(device);
  for (const DiskPart& part : parts)
    volume.extents.push_back({static_cast<ULong>(part.disk), part.start, part.count});
  return volume;
}

std::vector<ULong> Numbers(const std::vector<std::size_t>& disks) {
  return {disks.begin(), disks.end()};
}

}  // namespace

DiskDescription DescribeDisk(const VolumePicture& picture, const BlockDevice& disk) {
  const BlockDevices& devices = picture.Devices();
  const std::string folder = devices.Folder(disk);
  DiskDescription description;
  description.disk = {static_cast<ULong>(devices.DiskNumber(disk.name)), NodePath(disk.name),
                      disk.size * kSectorSize};
  description.model = ModelOf(picture, disk, folder);
  description.serial = SerialOf(picture, disk, folder);
  description.transport = TransportOf(folder);
  description.kind = KindOf(disk, folder);
  description.partitionTable = PartitionTableOf(picture, disk);
  description.isRemovable = !disk.IsFixedDisk();
  description.isReadOnly = NumberIn(folder + "/ro") != 0;
  description.logicalSectorSize = NumberIn(folder + "/queue/logical_block_size");
  description.physicalSectorSize = NumberIn(folder + "/queue/physical_block_size");
  AddHolders(devices, disk, description.holders);
  for (const std::string& partition : disk.partitionNames)
    AddHolders(devices, *devices.Find(partition), description.holders);
  return description;
}

StorageDescription DescribeStorage(const VolumePicture& picture) {
  StorageDescription storage;
  storage.error = picture.Devices().Error();
  for (const std::string& name : picture.Devices().Disks())
    storage.disks.push_back(DescribeDisk(picture, *picture.Devices().Find(name)));
  for (const std::string& name : picture.Names()) {
    const BlockDevice& device = *picture.Find(name);
    if (const auto parts = picture.Parts(device)) {
      storage.volumes.push_back(DescribeVolume(picture, name, device, *parts));
      continue;
    }
    const ULong error = LastError();
    storage.unseen.push_back({DisplayPath(device), Numbers(picture.DisksBeneath(device)), error});
  }
  for (const UnseenDisk& unseen : picture.UnseenDisks()) {
    const BlockDevice& disk = *picture.Devices().Find(unseen.device);
    storage.unseen.push_back(
        {DisplayPath(disk), Numbers(picture.DisksBeneath(disk)), unseen.error});
  }
  return storage;
}

}  // namespace Ondrel::Host
