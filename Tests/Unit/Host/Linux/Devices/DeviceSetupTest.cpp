#include "Host/Linux/Devices/DeviceSetup.h"
#include "Host/Linux/LastError.h"
#include "Support/PreparedOperations.h"
#include "Support/TemporaryFolder.h"
#include "Windows/DeviceList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <optional>

namespace Ondrel::Testing {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct PciFiles {
  const char* classCode = "0x010400";
  const char* vendor = "0x1000";
  const char* device = "0x005b";
  const char* subsystemVendor = "0x9abc";
  const char* subsystem = "0x00de";
  const char* revision = "0x0a";
};

/// A folder as the kernel has one for its PCI devices.
class PciTree {
public:
  void Add(const std::string& name, const PciFiles& files) const {
    std::filesystem::create_directory(m_folder.Path(name));
    const auto write = [&](const char* file, const char* content) {
      if (content != nullptr) m_folder.Write(name + '/' + file, content + "\n"s);
    };
    write("class", files.classCode);
    write("vendor", files.vendor);
    write("device", files.device);
    write("subsystem_vendor", files.subsystemVendor);
    write("subsystem_device", files.subsystem);
    write("revision", files.revision);
  }

  std::string Root() const { return m_folder.Path("."); }

private:
  TemporaryFolder m_folder;
};

/// One set of the tree's devices.
class Devices {
public:
  explicit Devices(const PciTree& tree)
      : m_setup(Host::MakePciDeviceSetupOperations(tree.Root())),
        m_set(m_setup.SetupDiGetClassDevsA(nullptr, nullptr, nullptr, 14)) {
    m_device.cbSize = sizeof(m_device);
  }
  ~Devices() { m_setup.SetupDiDestroyDeviceInfoList(m_set); }

  Devices(const Devices&) = delete;
  Devices& operator=(const Devices&) = delete;

  DWORD Count() {
    DWORD count = 0;
    while (m_setup.SetupDiEnumDeviceInfo(m_set, count, &m_device) != 0) ++count;
    return count;
  }

  SP_DEVINFO_DATA& At(DWORD index) {
    EXPECT_NE(m_setup.SetupDiEnumDeviceInfo(m_set, index, &m_device), 0);
    return m_device;
  }

  /// The bytes of a property; nothing where it cannot be read.
  std::optional<std::string> Read(DWORD index, DWORD property) {
    std::array<char, 2048> buffer{};
    DWORD type = 0;
    DWORD needed = 0;
    if (m_setup.SetupDiGetDeviceRegistryPropertyA(m_set, &At(index), property, &type,
                                                  reinterpret_cast<unsigned char*>(buffer.data()),
                                                  buffer.size(), &needed) == 0)
      return std::nullopt;
    m_type = type;
    return std::string(buffer.data(), needed);
  }

  std::uint32_t Number(DWORD index, DWORD property) {
    const std::string bytes = Read(index, property).value_or("");
    EXPECT_EQ(bytes.size(), 4u);
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof(number)));
    return number;
  }

  DWORD Type() const { return m_type; }
  const Host::DeviceSetupOperations& Setup() const { return m_setup; }
  void* Set() const { return m_set; }

private:
  Host::DeviceSetupOperations m_setup;
  void* m_set;
  SP_DEVINFO_DATA m_device{};
  DWORD m_type = 0;
};

TEST(PciDeviceSetup, MachineWithoutTheBusHasAnEmptySet) {
  const TemporaryFolder folder;
  const Host::DeviceSetupOperations setup =
      Host::MakePciDeviceSetupOperations(folder.Path("missing"));
  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof(device);

  void* const set = setup.SetupDiGetClassDevsA(nullptr, nullptr, nullptr, 14);

  ASSERT_NE(set, INVALID_HANDLE_VALUE);
  EXPECT_EQ(setup.SetupDiEnumDeviceInfo(set, 0, &device), 0);
  EXPECT_EQ(Host::LastError(), 259u);
  EXPECT_EQ(setup.SetupDiDestroyDeviceInfoList(set), 1);
}

struct ClassRow {
  const char* name;
  const char* code;
  const char* className;  // Null: no storage.
  const char* guid;
};

void PrintTo(const ClassRow& row, std::ostream* out) { *out << row.name; }

class PciClass : public testing::TestWithParam<ClassRow> {};

TEST_P(PciClass, GivesTheSetupClass) {
  const PciTree tree;
  tree.Add("0000:00:1f.2", {.classCode = GetParam().code});
  Devices devices(tree);

  const std::optional<std::string> name = devices.Read(0, SPDRP_CLASS);
  const std::optional<std::string> guid = devices.Read(0, SPDRP_CLASSGUID);

  if (GetParam().className == nullptr) {
    EXPECT_EQ(name, std::nullopt);
    EXPECT_EQ(guid, std::nullopt);
    EXPECT_EQ(Host::LastError(), 13u);
  } else {
    EXPECT_EQ(name, GetParam().className + "\0"s);
    EXPECT_EQ(guid, GetParam().guid + "\0"s);
    EXPECT_EQ(devices.Type(), 1u);
  }
}

constexpr const char* kScsi = "{4d36e97b-e325-11ce-bfc1-08002be10318}";
constexpr const char* kHdc = "{4d36e96a-e325-11ce-bfc1-08002be10318}";

INSTANTIATE_TEST_SUITE_P(Rows, PciClass,
                         testing::Values(ClassRow{"Scsi", "0x010000", "SCSIAdapter", kScsi},
                                         ClassRow{"Ide", "0x01018a", "HDC", kHdc},
                                         ClassRow{"Raid", "0x010400", "SCSIAdapter", kScsi},
                                         ClassRow{"Sata", "0x010601", "HDC", kHdc},
                                         ClassRow{"Sas", "0x010700", "SCSIAdapter", kScsi},
                                         ClassRow{"NVMe", "0x010802", "SCSIAdapter", kScsi},
                                         ClassRow{"Other", "0x018000", "SCSIAdapter", kScsi},
                                         ClassRow{"Network", "0x020000", nullptr, nullptr},
                                         ClassRow{"Bridge", "0x060400", nullptr, nullptr},
                                         ClassRow{"Unreadable", "storage", nullptr, nullptr},
                                         ClassRow{"Missing", nullptr, nullptr, nullptr}),
                         [](const auto& test) { return test.param.name; });

TEST(PciDeviceSetup, GivesTheSetupClassWithTheDevice) {
  const PciTree tree;
  tree.Add("0000:00:1f.2", {.classCode = "0x010601"});
  Devices devices(tree);

  EXPECT_EQ(devices.At(0).ClassGuid.Data1, 0x4D36E96Au);
  EXPECT_EQ(devices.At(0).ClassGuid.Data4[7], 0x18u);
}

struct LocationRow {
  const char* name;
  const char* folder;
  std::uint32_t address;
  std::uint32_t busNumber;
};

void PrintTo(const LocationRow& row, std::ostream* out) { *out << row.name; }

class PciLocation : public testing::TestWithParam<LocationRow> {};

TEST_P(PciLocation, GivesAddressAndBusNumber) {
  const PciTree tree;
  tree.Add(GetParam().folder, {});
  Devices devices(tree);

  EXPECT_EQ(devices.Number(0, SPDRP_ADDRESS), GetParam().address);
  EXPECT_EQ(devices.Number(0, SPDRP_BUSNUMBER), GetParam().busNumber);
  EXPECT_EQ(devices.Type(), 4u);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PciLocation,
    testing::Values(LocationRow{"First", "0000:00:00.0", 0, 0},
                    LocationRow{"DeviceAndFunction", "0000:00:1f.2", 0x001F0002, 0},
                    LocationRow{"HighestBus", "0000:ff:00.7", 7, 0xFF},
                    LocationRow{"Segment", "0001:05:00.0", 0, 0x0105},
                    LocationRow{"HighestSegmentThatIsKept", "00ff:00:00.0", 0, 0xFF00},
                    LocationRow{"SegmentAbove255", "0101:05:00.0", 0, 0x010105},
                    LocationRow{"SegmentOfFiveDigits", "10000:e1:00.0", 0, 0x010000E1}),
    [](const auto& test) { return test.param.name; });

TEST(PciDeviceSetup, NamesHardwareInUpperCaseDigitsMostExactFirst) {
  const PciTree tree;
  tree.Add("0000:01:00.0", {});
  Devices devices(tree);

  EXPECT_EQ(devices.Read(0, SPDRP_HARDWAREID),
            "PCI\\VEN_1000&DEV_005B&SUBSYS_00DE9ABC&REV_0A\0"
            "PCI\\VEN_1000&DEV_005B&SUBSYS_00DE9ABC\0"
            "PCI\\VEN_1000&DEV_005B\0\0"s);
  EXPECT_EQ(devices.Type(), 7u);
}

TEST(PciDeviceSetup, WithoutSubsystemAndRevisionTheyReadZero) {
  const PciTree tree;
  tree.Add("0000:01:00.0", {.subsystemVendor = nullptr, .subsystem = nullptr, .revision = nullptr});
  Devices devices(tree);

  const std::string ids = devices.Read(0, SPDRP_HARDWAREID).value_or("");

  EXPECT_STREQ(ids.c_str(), "PCI\\VEN_1000&DEV_005B&SUBSYS_00000000&REV_00");
}

TEST(PciDeviceSetup, WithoutVendorOrDeviceThereIsNoHardwareId) {
  const PciTree tree;
  tree.Add("0000:01:00.0", {.vendor = nullptr});
  tree.Add("0000:02:00.0", {.device = nullptr});
  Devices devices(tree);

  EXPECT_EQ(devices.Read(0, SPDRP_HARDWAREID), std::nullopt);
  EXPECT_EQ(Host::LastError(), 13u);
  EXPECT_EQ(devices.Read(1, SPDRP_HARDWAREID), std::nullopt);
}

TEST(PciDeviceSetup, FoldersThatNameNoLocationAreNoDevices) {
  const PciTree tree;
  for (const char* name : {"0000:00", "0000:00:1f", "0000:00:1f.", "0000:00:1f.2x", "x", "virtio0"})
    tree.Add(name, {});
  tree.Add("0000:00:1f.2", {});
  Devices devices(tree);

  EXPECT_EQ(devices.Count(), 1u);
  EXPECT_EQ(Host::LastError(), 259u);
}

TEST(PciDeviceSetup, PropertyThatDoesNotFitReportsTheSizeNeeded) {
  const PciTree tree;
  tree.Add("0000:01:00.0", {});
  Devices devices(tree);
  std::array<unsigned char, 11> buffer{};
  DWORD needed = 0;

  EXPECT_EQ(devices.Setup().SetupDiGetDeviceRegistryPropertyA(devices.Set(), &devices.At(0),
                                                              SPDRP_CLASS, nullptr, buffer.data(),
                                                              buffer.size(), &needed),
            0);

  EXPECT_EQ(Host::LastError(), 122u);
  EXPECT_EQ(needed, 12u);  // "SCSIAdapter" and its end.
  EXPECT_EQ(buffer[0], 0);
}

TEST(PciDeviceSetup, OtherPropertiesAreNotThere) {
  const PciTree tree;
  tree.Add("0000:01:00.0", {});
  Devices devices(tree);

  EXPECT_EQ(devices.Read(0, 0), std::nullopt);
  EXPECT_EQ(Host::LastError(), 13u);
}

TEST(PciDeviceSetup, RefusesARecordOfAnotherSize) {
  const PciTree tree;
  tree.Add("0000:01:00.0", {});
  const Devices devices(tree);
  SP_DEVINFO_DATA device{};

  EXPECT_EQ(devices.Setup().SetupDiEnumDeviceInfo(devices.Set(), 0, &device), 0);
  EXPECT_EQ(Host::LastError(), 1784u);
}

TEST(PciDeviceSetup, ASetGivenBackIsNotASetAnyMore) {
  const PciTree tree;
  tree.Add("0000:01:00.0", {});
  Devices devices(tree);
  SP_DEVINFO_DATA device = devices.At(0);
  std::array<unsigned char, 16> buffer{};
  const Host::DeviceSetupOperations& setup = devices.Setup();
  ASSERT_EQ(setup.SetupDiDestroyDeviceInfoList(devices.Set()), 1);

  EXPECT_EQ(setup.SetupDiEnumDeviceInfo(devices.Set(), 0, &device), 0);
  EXPECT_EQ(Host::LastError(), 6u);
  EXPECT_EQ(setup.SetupDiGetDeviceRegistryPropertyA(devices.Set(), &device, SPDRP_CLASS, nullptr,
                                                    buffer.data(), buffer.size(), nullptr),
            0);
  EXPECT_EQ(Host::LastError(), 6u);
  EXPECT_EQ(setup.SetupDiDestroyDeviceInfoList(devices.Set()), 0);
  EXPECT_EQ(Host::LastError(), 6u);
}

TEST(PciDeviceSetup, TakesNoSingleClass) {
  const PciTree tree;
  const Host::DeviceSetupOperations setup = Host::MakePciDeviceSetupOperations(tree.Root());
  const GUID guid{};

  EXPECT_EQ(setup.SetupDiGetClassDevsA(nullptr, nullptr, nullptr, 2), INVALID_HANDLE_VALUE);
  EXPECT_EQ(Host::LastError(), 87u);
  EXPECT_EQ(setup.SetupDiGetClassDevsA(&guid, nullptr, nullptr, 14), INVALID_HANDLE_VALUE);
  EXPECT_EQ(Host::LastError(), 50u);
}

TEST(PciDeviceSetup, TheLibraryListsTheStorageOfATree) {
  const PciTree tree;
  tree.Add("0001:02:00.0", {.classCode = "0x010802", .vendor = "0x1b36", .device = "0x0010"});
  tree.Add("0000:00:1f.2", {.classCode = "0x010601", .vendor = "0x8086", .device = "0x2922"});
  tree.Add("0000:00:02.0", {.classCode = "0x020000"});
  tree.Add("0101:03:1f.7", {});
  const PreparedOperations inPlace(Host::DeviceSetup(),
                                   Host::MakePciDeviceSetupOperations(tree.Root()));
  CDeviceList::Devices().clear();

  const CConfigManager manager;

  std::vector<std::string> listed;
  for (const CDevNode& node : StorageAdapters()) {
    listed.push_back(node.m_VendorId + node.m_DeviceId + ' ' + std::to_string(node.m_Segment) +
                     ' ' + std::to_string(node.m_Bus) + ' ' + std::to_string(node.m_Device) + ' ' +
                     std::to_string(node.m_Function));
  }
  CDeviceList::Devices().clear();
  // The segment 0x101 is cut to its lowest 8 bits.
  EXPECT_THAT(listed, ElementsAre("80862922 0 0 31 2", "1B360010 1 2 0 0", "1000005B 1 3 31 7"));
}

}  // namespace
}  // namespace Ondrel::Testing
