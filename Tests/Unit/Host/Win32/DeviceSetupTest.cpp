// Storage adapters planted in the device registry and found by the host's own device setup. Wine,
// where these tests run, reads neither address nor bus number of any device: a test that needs them
// answers these two itself.

#include "Host/DeviceSetupOperations.h"
#include "Support/PreparedOperations.h"
#include "Windows/DeviceList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace Ondrel::Testing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kScsiGuid = "{4d36e97b-e325-11ce-bfc1-08002be10318}";
constexpr const char* kHdcGuid = "{4d36e96a-e325-11ce-bfc1-08002be10318}";
constexpr const char* kNetGuid = "{4d36e972-e325-11ce-bfc1-08002be10318}";

/// A device of the registry for the life of one test.
class PlantedDevice {
public:
  PlantedDevice(const std::string& type, const std::string& className, const std::string& classGuid)
      : m_path("System\\CurrentControlSet\\Enum\\PCI\\" + type) {
    const std::string instance = m_path + "\\ondrel";
    const DWORD zero = 0;
    Set(instance, "Class", REG_SZ, className.c_str(), className.size() + 1);
    Set(instance, "ClassGUID", REG_SZ, classGuid.c_str(), classGuid.size() + 1);
    const std::string ids = "PCI\\" + type + '\0';
    Set(instance, "HardwareID", REG_MULTI_SZ, ids.c_str(), ids.size() + 1);
    Set(instance, "ConfigFlags", REG_DWORD, &zero, sizeof(zero));
    Set(instance, "Phantom", REG_DWORD, &zero, sizeof(zero));
  }
  ~PlantedDevice() { RegDeleteTreeA(HKEY_LOCAL_MACHINE, m_path.c_str()); }

  PlantedDevice(const PlantedDevice&) = delete;
  PlantedDevice& operator=(const PlantedDevice&) = delete;

private:
  static void Set(const std::string& key, const char* name, DWORD type, const void* data,
                  std::size_t size) {
    EXPECT_EQ(RegSetKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), name, type, data,
                              static_cast<DWORD>(size)),
              ERROR_SUCCESS);
  }

  std::string m_path;
};

struct Place {
  DWORD busNumber;
  DWORD address;
};

/// The host's operations, with the places of devices answered by the text of their hardware ids.
Host::DeviceSetupOperations HostThatGivesPlaces(std::map<std::string, Place> places) {
  Host::DeviceSetupOperations operations = Host::MakeDeviceSetupOperations();
  operations.SetupDiGetDeviceRegistryPropertyA =
      [host = operations.SetupDiGetDeviceRegistryPropertyA, places = std::move(places)](
          void* set, SP_DEVINFO_DATA* device, DWORD property, DWORD* type, unsigned char* buffer,
          DWORD size, DWORD* needed) {
        if (property != SPDRP_ADDRESS && property != SPDRP_BUSNUMBER)
          return host(set, device, property, type, buffer, size, needed);
        char id[2048] = {};
        host(set, device, SPDRP_HARDWAREID, nullptr, reinterpret_cast<unsigned char*>(id),
             sizeof(id) - 1, nullptr);
        const auto place = places.find(id);
        if (place == places.end()) return 0;
        const DWORD number =
            property == SPDRP_ADDRESS ? place->second.address : place->second.busNumber;
        std::memcpy(buffer, &number, sizeof(number));
        return 1;
      };
  return operations;
}

class DeviceSetupOfWindows : public testing::Test {
protected:
  DeviceSetupOfWindows() { CDeviceList::Devices().clear(); }
  ~DeviceSetupOfWindows() override { CDeviceList::Devices().clear(); }

  static std::vector<std::string> Listed() {
    const CConfigManager manager;
    std::vector<std::string> texts;
    for (const CDevNode& node : StorageAdapters()) {
      texts.push_back(node.m_VendorId + ':' + node.m_DeviceId + ' ' +
                      std::to_string(node.m_Segment) + ' ' + std::to_string(node.m_Bus) + ' ' +
                      std::to_string(node.m_Device) + ' ' + std::to_string(node.m_Function));
    }
    return texts;
  }
};

TEST_F(DeviceSetupOfWindows, WithoutAdaptersTheListIsEmpty) { EXPECT_THAT(Listed(), IsEmpty()); }

TEST_F(DeviceSetupOfWindows, AnAdapterThatGivesNoAddressIsLeftOut) {
  const PlantedDevice raid("VEN_1000&DEV_005B", "SCSIAdapter", kScsiGuid);

  EXPECT_THAT(Listed(), IsEmpty());
}

TEST_F(DeviceSetupOfWindows, PlantedAdaptersAreListedByLocationAndOtherDevicesAreNot) {
  const PlantedDevice raid("VEN_1000&DEV_005B", "SCSIAdapter", kScsiGuid);
  const PlantedDevice sata("VEN_8086&DEV_2922", "hdc", kHdcGuid);
  const PlantedDevice network("VEN_8086&DEV_10D3", "Net", kNetGuid);
  const PreparedOperations inPlace(
      Host::DeviceSetup(), HostThatGivesPlaces({{"PCI\\VEN_1000&DEV_005B", {0x0105, 0x00020000}},
                                                {"PCI\\VEN_8086&DEV_2922", {0, 0x001F0002}},
                                                {"PCI\\VEN_8086&DEV_10D3", {1, 0}}}));

  EXPECT_THAT(Listed(), ElementsAre("8086:2922 0 0 31 2", "1000:005B 1 5 2 0"));
}

}  // namespace
}  // namespace Ondrel::Testing
