#include "Support/PreparedDeviceSetup.h"

#include <Ondrel/ConfigManager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <type_traits>

namespace Ondrel::Testing {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

struct Answer {
  bool isFound = false;
  // What nobody would answer, so that an output left alone shows.
  int segment = 77;
  int bus = 77;
  int device = 77;
  int function = 77;

  bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& answer, std::ostream* out) {
  *out << (answer.isFound ? "found at " : "not found, ") << answer.segment << ':' << answer.bus
       << ':' << answer.device << '.' << answer.function;
}

constexpr Answer kNotFound{false, 0, -1, -1, -1};

Answer Locate(const std::string& vendor, const std::string& device, std::size_t index) {
  CConfigManager manager;
  Answer answer;
  answer.isFound = manager.GetLocation(vendor, device, index, answer.segment, answer.bus,
                                       answer.device, answer.function);
  return answer;
}

Answer LocateAny(const std::vector<std::string>& ids, std::size_t index) {
  CConfigManager manager;
  Answer answer;
  answer.isFound =
      manager.GetLocation(ids, index, answer.segment, answer.bus, answer.device, answer.function);
  return answer;
}

CDevNode Node(const char* vendor, const char* device, std::array<int, 4> location) {
  return {"", vendor, device, location[0], location[1], location[2], location[3]};
}

std::string Text(const CDevNode& node) {
  return node.m_VendorId + ' ' + node.m_DeviceId + ' ' + std::to_string(node.m_Segment) + ' ' +
         std::to_string(node.m_Bus) + ' ' + std::to_string(node.m_Device) + ' ' +
         std::to_string(node.m_Function);
}

std::vector<std::string> Listed() {
  std::vector<std::string> texts;
  for (const CDevNode& node : CDeviceList::Devices()) texts.push_back(Text(node));
  return texts;
}

PreparedDevice StorageControllerAt(std::uint32_t busNumber, std::uint32_t address) {
  PreparedDevice device = StorageController();
  device[SPDRP_BUSNUMBER] = NumberProperty(busNumber);
  device[SPDRP_ADDRESS] = NumberProperty(address);
  return device;
}

PreparedDevice StorageControllerNamed(const char* hardwareId) {
  PreparedDevice device = StorageController();
  device[SPDRP_HARDWAREID] = hardwareId;
  return device;
}

TEST(ConfigManager, HasNoDataOfItsOwn) {
  EXPECT_TRUE(std::is_empty_v<CConfigManager>);
  EXPECT_FALSE(std::is_polymorphic_v<CConfigManager>);
}

TEST(ConfigManager, NodeIsAPlainRecordWithFieldsInThisOrder) {
  EXPECT_FALSE(std::is_polymorphic_v<CDevNode>);
  const CDevNode node{"i", "v", "d", 1, 2, 3, 4};
  EXPECT_EQ(node.m_Info, "i");
  EXPECT_EQ(node.m_VendorId, "v");
  EXPECT_EQ(node.m_DeviceId, "d");
  EXPECT_EQ(node.m_Segment, 1);
  EXPECT_EQ(node.m_Bus, 2);
  EXPECT_EQ(node.m_Device, 3);
  EXPECT_EQ(node.m_Function, 4);
}

// Hardware ids

struct IdRow {
  const char* name;
  const char* hardwareId;
  const char* vendor;
  const char* device;
};

void PrintTo(const IdRow& row, std::ostream* out) { *out << row.name; }

class HardwareId : public testing::TestWithParam<IdRow> {};

TEST_P(HardwareId, NamesVendorAndDevice) {
  CDevNode node;

  EXPECT_TRUE(ParseHardwareId(node, GetParam().hardwareId));
  EXPECT_EQ(node.m_VendorId, GetParam().vendor);
  EXPECT_EQ(node.m_DeviceId, GetParam().device);
  EXPECT_EQ(node.m_Info, "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HardwareId,
    testing::Values(
        IdRow{"Whole", "PCI\\VEN_8086&DEV_2922&SUBSYS_00000000&REV_02", "8086", "2922"},
        IdRow{"LowerCaseDigitsAreKept", "PCI\\VEN_10de&DEV_abCd", "10de", "abCd"},
        IdRow{"AnythingBeforeTheVendor", "PCIe? what:VEN_8086&DEV_2922", "8086", "2922"},
        IdRow{"NothingBeforeTheVendor", "PCIVEN_8086&DEV_2922", "8086", "2922"},
        IdRow{"TheLastVendorThatFitsWins", "PCI\\VEN_1111&DEV_2222&VEN_3333&DEV_4444", "3333",
              "4444"},
        IdRow{"ALaterVendorThatDoesNotFitLoses", "PCI\\VEN_1111&DEV_2222&VEN_3333&DEV_44", "1111",
              "2222"},
        IdRow{"MoreThanFourDigitsOfTheDevice", "PCI\\VEN_1111&DEV_22223", "1111", "2222"}),
    [](const auto& test) { return test.param.name; });

class RejectedHardwareId : public testing::TestWithParam<IdRow> {};

TEST_P(RejectedHardwareId, LeavesTheNodeAsItWas) {
  CDevNode node{"i", "v", "d", 1, 2, 3, 4};

  EXPECT_FALSE(ParseHardwareId(node, GetParam().hardwareId));
  EXPECT_EQ(Text(node), "v d 1 2 3 4");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RejectedHardwareId,
    testing::Values(IdRow{"Empty", "", "", ""},
                    IdRow{"AnotherBus", "USB\\VEN_8086&DEV_2922", "", ""},
                    IdRow{"TheBusNotAtTheBegin", "\\PCI\\VEN_8086&DEV_2922", "", ""},
                    IdRow{"LowerCaseBus", "pci\\VEN_8086&DEV_2922", "", ""},
                    IdRow{"LowerCaseVendorWord", "PCI\\ven_8086&DEV_2922", "", ""},
                    IdRow{"LowerCaseDeviceWord", "PCI\\VEN_8086&dev_2922", "", ""},
                    IdRow{"ThreeDigitsOfTheVendor", "PCI\\VEN_808&DEV_2922", "", ""},
                    IdRow{"FiveDigitsOfTheVendor", "PCI\\VEN_80866&DEV_2922", "", ""},
                    IdRow{"ThreeDigitsOfTheDevice", "PCI\\VEN_8086&DEV_292", "", ""},
                    IdRow{"NoHexadecimalDigit", "PCI\\VEN_80G6&DEV_2922", "", ""},
                    IdRow{"NoDevice", "PCI\\VEN_8086&SUBSYS_00000000", "", ""}),
    [](const auto& test) { return test.param.name; });

// Enumeration

TEST(ConfigManager, AsksForThePresentDevicesOfAllClassesAndGivesTheSetBack) {
  PreparedDeviceSetup host;
  host.devices = {StorageController()};

  const CConfigManager manager;

  EXPECT_THAT(host.askedFlags, ElementsAre(14u));
  EXPECT_THAT(host.recordSizes, ElementsAre(32u, 32u));
  EXPECT_THAT(host.askedSizes, Each(2048u));
  EXPECT_FALSE(host.isAskedForMore);
  EXPECT_EQ(host.setsGivenBack, 1);
}

TEST(ConfigManager, ListsAStorageController) {
  PreparedDeviceSetup host;
  host.devices = {StorageController()};

  const CConfigManager manager;

  EXPECT_THAT(Listed(), ElementsAre("8086 2922 0 5 31 2"));
  EXPECT_EQ(CDeviceList::Devices().front().m_Info, "");
}

TEST(ConfigManager, WithoutASetTheEnumerationFailsAndGivesNothingBack) {
  PreparedDeviceSetup host;
  host.devices = {StorageController()};
  host.refusesTheSet = true;

  EXPECT_FALSE(CDeviceList::Enumerate());

  EXPECT_THAT(Listed(), IsEmpty());
  EXPECT_EQ(host.setsGivenBack, 0);
}

TEST(ConfigManager, AnEnumerationThatFindsNothingSucceeds) {
  PreparedDeviceSetup host;

  EXPECT_TRUE(CDeviceList::Enumerate());

  EXPECT_EQ(host.setsGivenBack, 1);
}

TEST(ConfigManager, AListThatStayedEmptyIsTriedAnewByTheNextObject) {
  PreparedDeviceSetup host;
  host.refusesTheSet = true;
  const CConfigManager withoutSet;
  host.refusesTheSet = false;
  const CConfigManager withoutDevices;
  host.devices = {StorageController()};

  const CConfigManager manager;

  EXPECT_THAT(host.askedFlags, SizeIs(3));
  EXPECT_THAT(Listed(), SizeIs(1));
}

TEST(ConfigManager, AFilledListStaysWhateverTheHostHasLater) {
  PreparedDeviceSetup host;
  host.devices = {StorageController()};
  const CConfigManager first;
  host.devices.push_back(StorageControllerAt(6, 0));

  const CConfigManager second;

  EXPECT_THAT(host.askedFlags, SizeIs(1));
  EXPECT_THAT(Listed(), SizeIs(1));
}

TEST(ConfigManager, CopiesAndAssignmentsLeaveTheListAlone) {
  PreparedDeviceSetup host;
  CConfigManager manager;
  host.devices = {StorageController()};

  CConfigManager copy(manager);
  copy = manager;

  EXPECT_THAT(host.askedFlags, SizeIs(1));
  EXPECT_THAT(Listed(), IsEmpty());
}

TEST(ConfigManager, AskingDoesNotEnumerate) {
  PreparedDeviceSetup host;
  CConfigManager manager;
  host.devices = {StorageController()};

  Answer answer;
  answer.isFound = manager.GetLocation("8086", "2922", 1, answer.segment, answer.bus, answer.device,
                                       answer.function);

  EXPECT_EQ(answer, kNotFound);
  EXPECT_THAT(host.askedFlags, SizeIs(1));
}

struct ClassRow {
  const char* name;
  const char* className;  // Null: the device has none.
  const char* classGuid;
  bool isListed;
  bool isGuidAsked;
};

void PrintTo(const ClassRow& row, std::ostream* out) { *out << row.name; }

class DeviceClass : public testing::TestWithParam<ClassRow> {};

TEST_P(DeviceClass, DecidesWhatIsStorage) {
  PreparedDevice device = StorageController();
  device.erase(SPDRP_CLASS);
  device.erase(SPDRP_CLASSGUID);
  if (GetParam().className != nullptr) device[SPDRP_CLASS] = GetParam().className;
  if (GetParam().classGuid != nullptr) device[SPDRP_CLASSGUID] = GetParam().classGuid;
  PreparedDeviceSetup host;
  host.devices = {device};

  const CConfigManager manager;

  EXPECT_EQ(Listed().size(), GetParam().isListed ? 1u : 0u);
  EXPECT_EQ(testing::Matches(testing::Contains(SPDRP_CLASSGUID))(host.askedProperties),
            GetParam().isGuidAsked);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DeviceClass,
    testing::Values(
        ClassRow{"ScsiAdapterNeedsNoGuid", "SCSIAdapter", nullptr, true, false},
        ClassRow{"HdcNeedsNoGuid", "HDC", nullptr, true, false},
        ClassRow{"ScsiAdapterInAnyCase", "scsiADAPTER", nullptr, true, false},
        ClassRow{"HdcInAnyCase", "hdc", nullptr, true, false},
        ClassRow{"NoClassButScsiGuid", nullptr, "{4d36e97b-e325-11ce-bfc1-08002be10318}", true,
                 true},
        ClassRow{"NoClassButHdcGuid", nullptr, "{4d36e96a-e325-11ce-bfc1-08002be10318}", true,
                 true},
        ClassRow{"GuidInAnyCase", nullptr, "{4D36E96A-E325-11CE-BFC1-08002BE10318}", true, true},
        ClassRow{"OtherClassButStorageGuid", "System", "{4d36e97b-e325-11ce-bfc1-08002be10318}",
                 true, true},
        ClassRow{"ClassThatOnlyBeginsSo", "HDC2", nullptr, false, true},
        ClassRow{"OtherClassAndGuid", "Net", "{4d36e972-e325-11ce-bfc1-08002be10318}", false, true},
        ClassRow{"GuidWithoutBraces", nullptr, "4d36e97b-e325-11ce-bfc1-08002be10318", false, true},
        ClassRow{"Neither", nullptr, nullptr, false, true}),
    [](const auto& test) { return test.param.name; });

TEST(ConfigManager, ReadsThePropertiesInThisOrder) {
  PreparedDevice device = StorageController();
  device.erase(SPDRP_CLASS);
  PreparedDeviceSetup host;
  host.devices = {device};

  const CConfigManager manager;

  EXPECT_THAT(host.askedProperties, ElementsAre(7u, 8u, 28u, 21u, 1u));
}

struct SkipRow {
  const char* name;
  DWORD missing;
  std::vector<DWORD> asked;
};

void PrintTo(const SkipRow& row, std::ostream* out) { *out << row.name; }

class SkippedDevice : public testing::TestWithParam<SkipRow> {};

TEST_P(SkippedDevice, IsAskedNoFurtherAndTheNextIsListed) {
  PreparedDevice device = StorageController();
  device.erase(GetParam().missing);
  PreparedDeviceSetup host;
  host.devices = {device};
  const CConfigManager first;
  EXPECT_EQ(host.askedProperties, GetParam().asked);
  host.devices = {device, StorageControllerAt(6, 0)};

  const CConfigManager second;

  EXPECT_THAT(Listed(), ElementsAre("8086 2922 0 6 0 0"));
}

INSTANTIATE_TEST_SUITE_P(Rows, SkippedDevice,
                         testing::Values(SkipRow{"NoAddress", SPDRP_ADDRESS, {7, 28}},
                                         SkipRow{"NoBusNumber", SPDRP_BUSNUMBER, {7, 28, 21}},
                                         SkipRow{"NoHardwareId", SPDRP_HARDWAREID, {7, 28, 21, 1}}),
                         [](const auto& test) { return test.param.name; });

TEST(ConfigManager, ADeviceWhoseHardwareIdIsRejectedIsNotListed) {
  PreparedDeviceSetup host;
  host.devices = {StorageControllerNamed("ACPI\\VEN_8086&DEV_2922"),
                  StorageControllerNamed("PCI\\VEN_808&DEV_2922")};

  const CConfigManager manager;

  EXPECT_THAT(Listed(), IsEmpty());
}

TEST(ConfigManager, OfSeveralHardwareIdsTheFirstCounts) {
  PreparedDevice device = StorageController();
  using namespace std::string_literals;
  device[SPDRP_HARDWAREID] = "PCI\\VEN_1000&DEV_0060\0PCI\\VEN_8086&DEV_2922\0"s;
  PreparedDeviceSetup host;
  host.devices = {device};

  const CConfigManager manager;

  EXPECT_THAT(Listed(), ElementsAre("1000 0060 0 5 31 2"));
}

TEST(ConfigManager, AFirstHardwareIdThatIsRejectedIsNotMadeUpForByTheSecond) {
  PreparedDevice device = StorageController();
  using namespace std::string_literals;
  device[SPDRP_HARDWAREID] = "ROOT\\STORAGE\0PCI\\VEN_8086&DEV_2922\0"s;
  PreparedDeviceSetup host;
  host.devices = {device};

  const CConfigManager manager;

  EXPECT_THAT(Listed(), IsEmpty());
}

TEST(ConfigManager, ATextWithoutAnEndIsReadNoFurtherThanTheBuffer) {
  PreparedDevice device = StorageController();
  device[SPDRP_HARDWAREID] = "PCI\\VEN_8086&DEV_2922" + std::string(4000, 'x');
  PreparedDeviceSetup host;
  host.devices = {device};

  const CConfigManager manager;

  EXPECT_THAT(Listed(), ElementsAre("8086 2922 0 5 31 2"));
}

struct AddressRow {
  const char* name;
  std::uint32_t address;
  int device;
  int function;
};

void PrintTo(const AddressRow& row, std::ostream* out) { *out << row.name; }

class Address : public testing::TestWithParam<AddressRow> {};

// The bytes are signed and the high one counts 65536, not 256: intentional.
TEST_P(Address, IsReadBySignedBytesWithTheHighOneScaledBy65536) {
  PreparedDeviceSetup host;
  host.devices = {StorageControllerAt(0, GetParam().address)};

  const CConfigManager manager;

  ASSERT_THAT(Listed(), SizeIs(1));
  EXPECT_EQ(CDeviceList::Devices().front().m_Device, GetParam().device);
  EXPECT_EQ(CDeviceList::Devices().front().m_Function, GetParam().function);
}

INSTANTIATE_TEST_SUITE_P(Rows, Address,
                         testing::Values(AddressRow{"Zero", 0, 0, 0},
                                         AddressRow{"RealDevice", 0x001F0007, 31, 7},
                                         AddressRow{"HighestPositiveBytes", 0x007F007F, 127, 127},
                                         AddressRow{"NegativeLowBytes", 0x00800080, -128, -128},
                                         AddressRow{"HighBytes", 0x02000100, 131072, 65536},
                                         AddressRow{"AllBytes", 0x04030201, 262147, 131073},
                                         AddressRow{"NegativeHighBytes", 0xFF010002, -65535, 2},
                                         AddressRow{"AllOnes", 0xFFFFFFFF, -65537, -65537}),
                         [](const auto& test) { return test.param.name; });

struct BusRow {
  const char* name;
  std::uint32_t busNumber;
  int segment;
  int bus;
};

void PrintTo(const BusRow& row, std::ostream* out) { *out << row.name; }

class BusNumber : public testing::TestWithParam<BusRow> {};

TEST_P(BusNumber, HoldsBusAndSegmentInItsLowestBytes) {
  PreparedDeviceSetup host;
  host.devices = {StorageControllerAt(GetParam().busNumber, 0)};

  const CConfigManager manager;

  ASSERT_THAT(Listed(), SizeIs(1));
  EXPECT_EQ(CDeviceList::Devices().front().m_Segment, GetParam().segment);
  EXPECT_EQ(CDeviceList::Devices().front().m_Bus, GetParam().bus);
}

INSTANTIATE_TEST_SUITE_P(Rows, BusNumber,
                         testing::Values(BusRow{"Zero", 0, 0, 0},
                                         BusRow{"SegmentOneBusFive", 0x0105, 1, 5},
                                         BusRow{"HigherBitsAreDropped", 0x010105, 1, 5},
                                         BusRow{"Highest", 0xFFFF, 255, 255},
                                         BusRow{"AllOnes", 0xFFFFFFFF, 255, 255}),
                         [](const auto& test) { return test.param.name; });

TEST(ConfigManager, SortsBySegmentThenBusThenDeviceThenFunction) {
  PreparedDeviceSetup host;
  host.devices = {StorageControllerAt(0x0100, 0x00000000), StorageControllerAt(0x0002, 0x00000000),
                  StorageControllerAt(0x0001, 0x00020000), StorageControllerAt(0x0001, 0x00010001),
                  StorageControllerAt(0x0001, 0x00010000)};

  const CConfigManager manager;

  EXPECT_THAT(Listed(), ElementsAre("8086 2922 0 1 1 0", "8086 2922 0 1 1 1", "8086 2922 0 1 2 0",
                                    "8086 2922 0 2 0 0", "8086 2922 1 0 0 0"));
}

TEST(ConfigManager, SortsBySignedNumbers) {
  PreparedDeviceSetup host;
  host.devices = {StorageControllerAt(0, 0x00000001), StorageControllerAt(0, 0x00FF0000),
                  StorageControllerAt(0, 0x000000FE)};

  const CConfigManager manager;

  EXPECT_THAT(Listed(),
              ElementsAre("8086 2922 0 0 -1 0", "8086 2922 0 0 0 -2", "8086 2922 0 0 0 1"));
}

TEST(ConfigManager, TheTypePlaysNoPartInTheOrder) {
  std::vector<CDevNode> nodes = {Node("1000", "0060", {0, 2, 0, 0}),
                                 Node("8086", "2922", {0, 1, 0, 0}),
                                 Node("1000", "005b", {0, 3, 0, 0})};

  SortByLocation(nodes);

  EXPECT_EQ(nodes[0].m_VendorId, "8086");
  EXPECT_EQ(nodes[1].m_DeviceId, "0060");
  EXPECT_EQ(nodes[2].m_DeviceId, "005b");
}

// Lookup

class Location : public testing::Test {
protected:
  void List(std::vector<CDevNode> nodes) { CDeviceList::Devices() = std::move(nodes); }

  PreparedDeviceSetup m_host;
};

TEST_F(Location, RanksAdaptersOfOneTypeByLocation) {
  PreparedDevice third = StorageControllerAt(3, 0);
  m_host.devices = {third, StorageControllerAt(1, 0), StorageControllerAt(1, 1)};

  EXPECT_EQ(Locate("8086", "2922", 1), (Answer{true, 0, 1, 0, 0}));
  EXPECT_EQ(Locate("8086", "2922", 2), (Answer{true, 0, 1, 0, 1}));
  EXPECT_EQ(Locate("8086", "2922", 3), (Answer{true, 0, 3, 0, 0}));
  EXPECT_EQ(Locate("8086", "2922", 4), kNotFound);
}

TEST_F(Location, PassesOverAdaptersOfOtherTypes) {
  List({Node("8086", "2922", {0, 0, 1, 0}), Node("1000", "2922", {0, 0, 2, 0}),
        Node("8086", "0060", {0, 0, 3, 0}), Node("8086", "2922", {4, 5, 6, 7})});

  EXPECT_EQ(Locate("8086", "2922", 2), (Answer{true, 4, 5, 6, 7}));
}

TEST_F(Location, IndexZeroFindsNothing) {
  List({Node("8086", "2922", {0, 1, 0, 0})});

  EXPECT_EQ(Locate("8086", "2922", 0), kNotFound);
  EXPECT_EQ(LocateAny({"80862922"}, 0), kNotFound);
}

TEST_F(Location, TheCaseOfDigitsDoesNotMatter) {
  List({Node("10de", "abcd", {0, 1, 0, 0}), Node("10DE", "ABCD", {0, 2, 0, 0})});

  EXPECT_EQ(Locate("10DE", "AbCd", 2), (Answer{true, 0, 2, 0, 0}));
  EXPECT_EQ(Locate("10de", "abcd", 2), (Answer{true, 0, 2, 0, 0}));
  EXPECT_EQ(LocateAny({"10dEaBCd"}, 2), (Answer{true, 0, 2, 0, 0}));
}

TEST_F(Location, IdentifiersAreComparedWhole) {
  List({Node("8086", "2922", {0, 1, 0, 0})});

  EXPECT_EQ(Locate("808", "2922", 1), kNotFound);
  EXPECT_EQ(Locate("8086", "29220", 1), kNotFound);
  EXPECT_EQ(Locate("", "", 1), kNotFound);
}

TEST_F(Location, OfSeveralTypesRunsAcrossThemInOrderOfLocation) {
  List({Node("1000", "0060", {0, 1, 0, 0}), Node("8086", "2922", {0, 2, 0, 0}),
        Node("1B36", "0010", {0, 3, 0, 0}), Node("1000", "0060", {0, 4, 0, 0})});
  const std::vector<std::string> ids = {"80862922", "10000060"};

  EXPECT_EQ(LocateAny(ids, 1), (Answer{true, 0, 1, 0, 0}));
  EXPECT_EQ(LocateAny(ids, 2), (Answer{true, 0, 2, 0, 0}));
  EXPECT_EQ(LocateAny(ids, 3), (Answer{true, 0, 4, 0, 0}));
  EXPECT_EQ(LocateAny(ids, 4), kNotFound);
}

TEST_F(Location, IdsOfAnotherLengthArePassedOver) {
  List({Node("8086", "2922", {0, 1, 0, 0})});

  EXPECT_EQ(LocateAny({"8086292"}, 1), kNotFound);
  EXPECT_EQ(LocateAny({"808629220"}, 1), kNotFound);
  EXPECT_EQ(LocateAny({""}, 1), kNotFound);
  EXPECT_EQ(LocateAny({"8086292", "80862922"}, 1), (Answer{true, 0, 1, 0, 0}));
}

TEST_F(Location, WithoutIdsFindsNothing) {
  List({Node("8086", "2922", {0, 1, 0, 0})});

  EXPECT_EQ(LocateAny({}, 1), kNotFound);
}

TEST_F(Location, AnAdapterCountsOnceForEachIdThatIsItsOwn) {
  List({Node("abcd", "2922", {0, 1, 0, 0}), Node("abcd", "2922", {0, 2, 0, 0})});
  const std::vector<std::string> ids = {"abcd2922", "ABCD2922"};

  EXPECT_EQ(LocateAny(ids, 1), (Answer{true, 0, 1, 0, 0}));
  EXPECT_EQ(LocateAny(ids, 2), (Answer{true, 0, 1, 0, 0}));
  EXPECT_EQ(LocateAny(ids, 3), (Answer{true, 0, 2, 0, 0}));
  EXPECT_EQ(LocateAny(ids, 4), (Answer{true, 0, 2, 0, 0}));
  EXPECT_EQ(LocateAny(ids, 5), kNotFound);
}

TEST(StorageAdapters, AreThoseOfTheListAndDoNotEnumerate) {
  PreparedDeviceSetup host;
  host.devices = {StorageController()};
  EXPECT_THAT(StorageAdapters(), IsEmpty());

  const CConfigManager manager;

  const std::vector<CDevNode> adapters = StorageAdapters();
  ASSERT_THAT(adapters, SizeIs(1));
  EXPECT_EQ(Text(adapters.front()), "8086 2922 0 5 31 2");
}

}  // namespace
}  // namespace Ondrel::Testing
