#include "Host/Linux/Volumes/Mounts.h"

#include <libmount/libmount.h>
#include <memory>
#include <string_view>
#include <sys/sysmacros.h>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr std::string_view kManyDevices = "btrfs";

struct FreeMounts {
  void operator()(libmnt_table* table) const { mnt_unref_table(table); }
  void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

std::string_view TextOf(const char* text) { return text != nullptr ? text : ""; }

// The devices of mounted file systems whose mounts have numbers of their own, by their nodes.
std::unordered_map<std::string, const BlockDevice*> NodesOfPools(const BlockDevices& devices) {
  std::unordered_map<std::string, const BlockDevice*> nodes;
  const auto add = [&nodes](const BlockDevice* device) {
    if (device == nullptr || device->pool.empty()) return;
    nodes.emplace(NodePath(device->name), device);
    nodes.emplace(DisplayPath(*device), device);
  };
  for (const std::string& name : devices.Whole()) {
    const BlockDevice* const whole = devices.Find(name);
    add(whole);
    for (const std::string& partition : whole->partitionNames) add(devices.Find(partition));
  }
  return nodes;
}

}  // namespace

MountPaths ReadMounts(const std::string& table, const BlockDevices& devices) {
  MountPaths paths;
  const std::unique_ptr<libmnt_table, FreeMounts> mounts(mnt_new_table_from_file(table.c_str()));
  const std::unique_ptr<libmnt_iter, FreeMounts> iterator(mnt_new_iter(MNT_ITER_FORWARD));
  if (!mounts || !iterator) return paths;

  const auto nodes = NodesOfPools(devices);
  const auto devicesOf = [&](libmnt_fs* mount) -> std::vector<std::string> {
    const dev_t number = mnt_fs_get_devno(mount);
    if (const BlockDevice* const device = devices.Find(DeviceNumber(major(number), minor(number))))
      return {device->name};
    if (TextOf(mnt_fs_get_fstype(mount)) != kManyDevices) return {};
    const auto node = nodes.find(std::string(TextOf(mnt_fs_get_source(mount))));
    return node != nodes.end() ? devices.Pool(node->second->pool) : std::vector<std::string>();
  };

  std::vector<std::pair<std::string, std::string>> partsOfFileSystems;
  libmnt_fs* mount = nullptr;
  while (mnt_table_next_fs(mounts.get(), iterator.get(), &mount) == 0) {
    const char* const target = mnt_fs_get_target(mount);
    if (target == nullptr) continue;
    const std::string_view root = TextOf(mnt_fs_get_root(mount));
    for (const std::string& device : devicesOf(mount)) {
      if (root.empty() || root == "/")
        paths[device].emplace_back(target);
      else
        partsOfFileSystems.emplace_back(device, target);
    }
  }
  for (auto& [device, target] : partsOfFileSystems) paths[device].push_back(std::move(target));
  return paths;
}

}  // namespace Ondrel::Host
