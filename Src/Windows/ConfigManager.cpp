#include "Host/DeviceSetupOperations.h"
#include "Regex/Pattern.h"
#include "Windows/DeviceList.h"

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <locale>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

namespace Ondrel {

namespace {

using Host::DeviceSetup;

// The flags and the size are those of the published interface.
constexpr DWORD kPresentDevicesOfThisProfile = DIGCF_PRESENT | DIGCF_ALLCLASSES | DIGCF_PROFILE;
static_assert(kPresentDevicesOfThisProfile == 14);

constexpr std::array kStorageClasses = {"SCSIAdapter", "HDC"};
constexpr std::array kStorageClassGuids = {
    "{4d36e97b-e325-11ce-bfc1-08002be10318}",
    "{4d36e96a-e325-11ce-bfc1-08002be10318}",
};

/// The bytes of one property; a text is ended by a zero byte even where the host does not end it.
class PropertyBuffer {
public:
  bool Read(void* set, SP_DEVINFO_DATA& device, DWORD property) {
    return DeviceSetup().SetupDiGetDeviceRegistryPropertyA(set, &device, property, nullptr,
                                                           m_bytes.data(), kSize, nullptr) != 0;
  }

  /// Up to the first zero byte: of a list of texts the first.
  std::string Text() const { return reinterpret_cast<const char*>(m_bytes.data()); }

  int SignedByte(std::size_t index) const { return static_cast<std::int8_t>(m_bytes[index]); }

  std::uint32_t Number() const {
    std::uint32_t number = 0;
    std::memcpy(&number, m_bytes.data(), sizeof(number));
    return number;
  }

private:
  static constexpr DWORD kSize = 2048;
  std::array<unsigned char, kSize + 1> m_bytes{};
};

template <std::size_t count>
bool IsOneOf(const std::string& text, const std::array<const char*, count>& words) {
  return std::any_of(words.begin(), words.end(), [&](const char* word) {
    return boost::algorithm::iequals(text, word, std::locale::classic());
  });
}

bool IsStorageController(void* set, SP_DEVINFO_DATA& device, PropertyBuffer& buffer) {
  if (buffer.Read(set, device, SPDRP_CLASS) && IsOneOf(buffer.Text(), kStorageClasses)) return true;
  return buffer.Read(set, device, SPDRP_CLASSGUID) && IsOneOf(buffer.Text(), kStorageClassGuids);
}

/// One half of an address, from its low and its high byte. The high byte is scaled by 65536 and not
/// by 256, which is intentional: callers know the numbers that come of it. The high bytes of real
/// devices are 0.
int HalfOfAddress(int low, int high) { return high * 65536 + low; }

std::optional<CDevNode> StorageNodeOf(void* set, SP_DEVINFO_DATA& device) {
  CDevNode node;
  PropertyBuffer buffer;
  if (!IsStorageController(set, device, buffer)) return std::nullopt;

  if (!buffer.Read(set, device, SPDRP_ADDRESS)) return std::nullopt;
  node.m_Function = HalfOfAddress(buffer.SignedByte(0), buffer.SignedByte(1));
  node.m_Device = HalfOfAddress(buffer.SignedByte(2), buffer.SignedByte(3));

  if (!buffer.Read(set, device, SPDRP_BUSNUMBER)) return std::nullopt;
  node.m_Bus = static_cast<std::int32_t>(buffer.Number() & 0xFFU);
  node.m_Segment = static_cast<std::int32_t>((buffer.Number() >> 8U) & 0xFFU);

  if (!buffer.Read(set, device, SPDRP_HARDWAREID)) return std::nullopt;
  if (!ParseHardwareId(node, buffer.Text())) return std::nullopt;
  return node;
}

/// Gives the set back at the end of its scope.
class DeviceSet {
public:
  explicit DeviceSet(void* set) : m_set(set) {}
  ~DeviceSet() { DeviceSetup().SetupDiDestroyDeviceInfoList(m_set); }

  DeviceSet(const DeviceSet&) = delete;
  DeviceSet& operator=(const DeviceSet&) = delete;

private:
  void* m_set;
};

bool IsOfType(const CDevNode& node, const std::string& vendorId, const std::string& deviceId) {
  return boost::algorithm::iequals(node.m_VendorId, vendorId) &&
         boost::algorithm::iequals(node.m_DeviceId, deviceId);
}

struct LocationOutputs {
  int& segment;
  int& bus;
  int& device;
  int& function;

  void Clear() const {
    segment = 0;
    bus = device = function = -1;
  }

  void Take(const CDevNode& node) const {
    segment = node.m_Segment;
    bus = node.m_Bus;
    device = node.m_Device;
    function = node.m_Function;
  }
};

}  // namespace

std::vector<CDevNode> CConfigManager::m_Devices;

bool ParseHardwareId(CDevNode& node, const std::string& hardwareId) {
  // Single brackets around [:xdigit:] are this engine's own form of the class.
  static const Pirsk::Regex::CPatternT pattern(
      "^PCI(.*)VEN_([:xdigit:]{4})&DEV_([:xdigit:]{4})(.*)", 0);

  const Pirsk::Regex::CRegexMatch match(
      pattern.Match(hardwareId.data(), static_cast<std::int64_t>(hardwareId.size())), hardwareId);
  if (!match.Result().IsMatched() || match.Result().MaxGroupNumber() < 2) return false;
  node.m_VendorId = match.Group(2);
  node.m_DeviceId = match.Group(3);
  return true;
}

void SortByLocation(std::vector<CDevNode>& devices) {
  const auto location = [](const CDevNode& node) {
    return std::tie(node.m_Segment, node.m_Bus, node.m_Device, node.m_Function);
  };
  std::sort(devices.begin(), devices.end(), [&](const CDevNode& left, const CDevNode& right) {
    return location(left) < location(right);
  });
}

CConfigManager::CConfigManager() {
  // A list that stayed empty is tried anew by the next object.
  if (m_Devices.empty()) Enumerate();
}

// There is nothing to copy, and no list to fill that `other` has not tried to.
CConfigManager::CConfigManager(const CConfigManager&) {}

CConfigManager& CConfigManager::operator=(const CConfigManager&) { return *this; }

CConfigManager::~CConfigManager() {}

bool CConfigManager::Enumerate() {
  void* const set =
      DeviceSetup().SetupDiGetClassDevsA(nullptr, nullptr, nullptr, kPresentDevicesOfThisProfile);
  if (set == INVALID_HANDLE_VALUE) return false;
  // Not the shared list: one that memory ran out for half-way would count as taken.
  std::vector<CDevNode> devices = m_Devices;
  {
    const DeviceSet owner(set);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof(device);
    for (DWORD index = 0; DeviceSetup().SetupDiEnumDeviceInfo(set, index, &device) != 0; ++index)
      if (std::optional<CDevNode> node = StorageNodeOf(set, device)) devices.push_back(*node);
  }
  SortByLocation(devices);
  m_Devices = std::move(devices);
  return true;
}

bool CConfigManager::GetLocation(const std::string& vendorId, const std::string& deviceId,
                                 std::size_t index, int& segment, int& bus, int& device,
                                 int& function) {
  const LocationOutputs outputs{segment, bus, device, function};
  outputs.Clear();
  std::size_t count = 0;
  for (const CDevNode& node : m_Devices) {
    if (!IsOfType(node, vendorId, deviceId)) continue;
    if (++count != index) continue;
    outputs.Take(node);
    return true;
  }
  return false;
}

bool CConfigManager::GetLocation(const std::vector<std::string>& ids, std::size_t index,
                                 int& segment, int& bus, int& device, int& function) {
  constexpr std::size_t kIdLength = 8;
  constexpr std::size_t kVendorLength = 4;

  const LocationOutputs outputs{segment, bus, device, function};
  outputs.Clear();
  std::size_t count = 0;
  for (const CDevNode& node : m_Devices) {
    for (const std::string& id : ids) {
      if (id.size() != kIdLength) continue;
      if (!IsOfType(node, id.substr(0, kVendorLength), id.substr(kVendorLength))) continue;
      if (++count != index) continue;
      outputs.Take(node);
      return true;
    }
  }
  return false;
}

std::vector<CDevNode> StorageAdapters() { return CDeviceList::Devices(); }

}  // namespace Ondrel
