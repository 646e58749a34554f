#include "Host/SystemFactsOperations.h"
#include "Support/PreparedOperations.h"
#include "Support/TraceCapture.h"
#include "Support/TraceMatchers.h"
#include "Windows/SystemInfo/ProductTable.h"

#include <Ondrel/OSInfo.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>

namespace Ondrel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kCurrent[] = "Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr char kCurrentInCapitals[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr char kProductOptions[] = "System\\CurrentControlSet\\Control\\ProductOptions";

std::string Number(std::uint32_t number) {
  std::string bytes(4, '\0');
  std::memcpy(bytes.data(), &number, 4);
  return bytes;
}

/// A host whose sources a test fills; what is not filled is absent or not there.
class OSCollect : public testing::Test {
protected:
  // A workstation of 10.0.19045, by the extended version call.
  OSVERSIONINFOEXA m_version = [] {
    OSVERSIONINFOEXA version{};
    version.dwMajorVersion = 10;
    version.dwBuildNumber = 19045;
    version.dwPlatformId = 2;
    version.wProductType = 1;
    return version;
  }();
  bool m_knowsExtended = true;
  bool m_knowsClassic = true;
  // Values by key (as it is opened) and name.
  std::map<std::string, std::map<std::string, std::string>> m_registry;
  std::vector<std::string> m_opened;

  OS_FACTS Collect() {
    OS_FACTS facts{};
    m_result = COSProbe().Collect(facts);
    return facts;
  }
  bool m_result = false;

  static bool Has(const OS_FACTS& facts, const OSFlag& flag) { return OSFlagIsSet(facts, flag); }

private:
  static std::string Hexadecimal(ULong number) {
    char text[16];
    std::snprintf(text, sizeof text, "%X", static_cast<unsigned int>(number));
    return text;
  }

  std::int32_t Open(const char* name, const std::string& access, void** key) {
    m_opened.push_back(access + " " + name);
    const auto found = m_registry.find(name);
    if (found == m_registry.end()) return 2;
    *key = &found->second;
    return 0;
  }

  static Host::SystemFactsOperations Operations(OSCollect* test) {
    Host::SystemFactsOperations host;
    host.GetVersionExA = [test](OSVERSIONINFOA* version) {
      const bool isExtended = version->dwOSVersionInfoSize == 156;
      EXPECT_TRUE(isExtended || version->dwOSVersionInfoSize == 148U);
      if (isExtended ? !test->m_knowsExtended : !test->m_knowsClassic) return 0;
      const ULong size = version->dwOSVersionInfoSize;
      std::memcpy(static_cast<void*>(version), &test->m_version, size);
      return 1;
    };
    host.RegOpenKeyExA = [test](void* root, const char* name, ULong, ULong access, void** key) {
      EXPECT_EQ(root, static_cast<void*>(HKEY_LOCAL_MACHINE));
      return test->Open(name, Hexadecimal(access), key);
    };
    host.RegOpenKeyA = [test](void*, const char* name, void** key) {
      return test->Open(name, "plain", key);
    };
    host.RegQueryValueExA = [](void* key, const char* name, ULong*, ULong*, unsigned char* data,
                               ULong* size) -> std::int32_t {
      const auto& values = *static_cast<std::map<std::string, std::string>*>(key);
      const auto found = values.find(name);
      if (found == values.end()) return 2;
      const auto length = static_cast<ULong>(found->second.size());
      if (data != nullptr && length > *size) return 234;
      if (data != nullptr) std::memcpy(data, found->second.data(), length);
      *size = length;
      return 0;
    };
    host.RegCloseKey = [](void*) { return 0; };
    return host;
  }

  Testing::PreparedOperations<Host::SystemFactsOperations> m_operations{Host::SystemFacts(),
                                                                        Operations(this)};
};

TEST_F(OSCollect, KeysAreOpenedInTheirOrderWithTheirAccess) {
  Collect();
  EXPECT_TRUE(m_result);
  EXPECT_THAT(m_opened,
              ElementsAre(std::string("20119 ") + kProductOptions, std::string("20119 ") + kCurrent,
                          "20119 System\\WPA\\MediaCenter", "20119 System\\WPA\\TabletPC",
                          std::string("101 ") + kCurrentInCapitals,
                          std::string("20119 ") + kCurrent, std::string("20119 ") + kCurrent));
}

TEST_F(OSCollect, UnderlyingVersionComesFromTheLowerSources) {
  m_version.dwMajorVersion = 6;
  m_version.dwMinorVersion = 2;
  m_version.wServicePackMinor = 4;
  Host::SystemFacts().RtlGetVersion = [](RTL_OSVERSIONINFOEXW* version) -> std::int32_t {
    EXPECT_EQ(version->dwOSVersionInfoSize, 284U);
    version->dwMajorVersion = 10;
    version->dwBuildNumber = 19045;
    return 0;
  };
  const OS_FACTS facts = Collect();
  EXPECT_EQ(facts.reported.major, 6U);
  EXPECT_EQ(facts.reported.minor, 2U);
  EXPECT_EQ(facts.reported.spMinor, 4);
  EXPECT_EQ(facts.underlying.major, 10U);
  EXPECT_EQ(facts.underlying.minor, 0U);
  EXPECT_EQ(facts.underlying.build, 19045U);
  EXPECT_EQ(facts.underlying.spMinor, 0);
}

TEST_F(OSCollect, DeviceFamilyHasPrecedenceOverAll) {
  m_registry[kCurrent]["UBR"] = Number(77);
  EXPECT_EQ(Collect().ubr, 77U);
  Host::SystemFacts().RtlGetDeviceFamilyInfoEnum = [](std::uint64_t* version, ULong* family,
                                                      ULong* form) {
    *version = 0x000A000049FE0C3E;
    *family = 3;
    *form = 4;
  };
  const OS_FACTS facts = Collect();
  EXPECT_EQ(facts.underlying.major, 10U);
  EXPECT_EQ(facts.underlying.minor, 0U);
  EXPECT_EQ(facts.underlying.build, 18942U);
  EXPECT_EQ(facts.ubr, 3134U);
  EXPECT_EQ(facts.deviceFamily, 3U);
  EXPECT_EQ(facts.deviceForm, 4U);
}

TEST_F(OSCollect, ReportedBuildIsCutTo16Bits) {
  m_version.dwBuildNumber = 65536 + 7;
  EXPECT_EQ(Collect().reported.build, 7U);
}

TEST_F(OSCollect, EnterpriseOfTheSuiteMaskIsLost) {
  m_version.wSuiteMask = 0x0002;
  EXPECT_FALSE(Has(Collect(), OSFlags::Enterprise));
  for (const ULong product : {0U, 51U, 500U}) {
    Host::SystemFacts().GetProductInfo = [product](ULong, ULong, ULong, ULong, ULong* value) {
      *value = product;
      return 1;
    };
    const OS_FACTS facts = Collect();
    EXPECT_EQ(facts.productInfo, product);
    EXPECT_FALSE(Has(facts, OSFlags::Enterprise));
  }
}

TEST_F(OSCollect, ProductValueSetsItsFlags) {
  Host::SystemFacts().GetProductInfo = [](ULong major, ULong minor, ULong, ULong, ULong* value) {
    EXPECT_EQ(major, 10U);
    EXPECT_EQ(minor, 0U);
    *value = 8;
    return 1;
  };
  const OS_FACTS facts = Collect();
  EXPECT_TRUE(Has(facts, OSFlags::Datacenter));
  EXPECT_TRUE(Has(facts, OSFlags::HyperVTools));
}

TEST_F(OSCollect, TypesOfServersAreExchanged) {
  for (const auto& [product, type] : {std::pair{1, 1U}, {2, 3U}, {3, 2U}, {4, 0U}}) {
    m_version.wProductType = static_cast<std::uint8_t>(product);
    EXPECT_EQ(Collect().osType, type) << product;
  }
}

TEST_F(OSCollect, ProductTypeLeavesAnExtendedTypeAlone) {
  m_registry[kProductOptions]["ProductType"] = "lanmannt";
  const OS_FACTS facts = Collect();
  EXPECT_EQ(facts.osType, 1U);
  EXPECT_TRUE(Has(facts, OSFlags::PrimaryDomainController));
}

TEST_F(OSCollect, StandardIsForServersOfNoOtherSuite) {
  const struct {
    std::uint8_t product;
    std::uint16_t mask;
    bool isStandard;
  } rows[] = {{3, 0, true},       {3, 0x0080, false}, {3, 0x0002, false},
              {3, 0x0020, false}, {3, 0x0010, true},  {1, 0, false}};
  for (const auto& row : rows) {
    m_version.wProductType = row.product;
    m_version.wSuiteMask = row.mask;
    EXPECT_EQ(Has(Collect(), OSFlags::Standard), row.isStandard) << int{row.product} << row.mask;
  }
}

TEST_F(OSCollect, SuiteMaskSetsTheFlagsOfItsBits) {
  OS_FACTS facts{};
  COSProbe().ApplySuiteMask(0x0820, facts);
  EXPECT_EQ(facts.suite1, 0x00000101U);
  EXPECT_EQ(facts.suite3, 0x00020000U);
  COSProbe().ApplySuiteMask(0xFFFF, facts);
  EXPECT_EQ(facts.suite1, 0x103C03F3U);
  EXPECT_EQ(facts.suite3, 0x00030000U);
}

TEST_F(OSCollect, SemiAnnualNeedsItsExactCase) {
  m_registry[kCurrent]["EditionID"] = "ServerDatacenterACor";
  EXPECT_EQ(Collect().semiAnnual, 1U);
  m_registry[kCurrent]["EditionID"] = "serverdatacenteracor";
  EXPECT_EQ(Collect().semiAnnual, 0U);
  m_registry[kCurrent]["EditionID"] = "CoreConnectedN";
  EXPECT_TRUE(Has(Collect(), OSFlags::CoreConnected));
  m_registry[kCurrent]["EditionID"] = "connectedcore";
  EXPECT_TRUE(Has(Collect(), OSFlags::CoreConnected));
}

TEST_F(OSCollect, ServicePackMinorOfNT4ComesFromAKey) {
  m_version.dwMajorVersion = 4;
  m_version.wServicePackMajor = 6;
  m_registry["SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Hotfix\\Q246009"];
  const OS_FACTS facts = Collect();
  EXPECT_EQ(facts.reported.spMinor, 1);
  EXPECT_EQ(facts.underlying.spMinor, 1);
  EXPECT_THAT(m_opened,
              Contains("101 SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Hotfix\\Q246009"));
}

TEST_F(OSCollect, ServicePackMinorOfXPComesFromAValue) {
  m_version.dwMajorVersion = 5;
  m_version.dwMinorVersion = 1;
  m_version.wServicePackMajor = 1;
  m_registry[kCurrentInCapitals]["SubVersionNumber"] = "A";
  EXPECT_EQ(Collect().underlying.spMinor, 1);
  m_version.dwMinorVersion = 0;
  EXPECT_EQ(Collect().underlying.spMinor, 0);
}

TEST_F(OSCollect, KernelTypeIsRead) {
  m_registry[kCurrentInCapitals]["CurrentType"] = "multiprocessor FREE";
  EXPECT_TRUE(Has(Collect(), OSFlags::MultiprocessorFree));
}

TEST_F(OSCollect, MetricsAndInstalledComponentsSetFlags) {
  m_registry["System\\WPA\\TabletPC"]["Installed"] = Number(1);
  m_registry["System\\WPA\\MediaCenter"]["Installed"] = Number(0);
  Host::SystemFacts().GetSystemMetrics = [](int index) { return index == 88 || index == 89; };
  const OS_FACTS facts = Collect();
  EXPECT_TRUE(Has(facts, OSFlags::TabletPC));
  EXPECT_FALSE(Has(facts, OSFlags::MediaCenter));
  EXPECT_TRUE(Has(facts, OSFlags::Starter));
  EXPECT_TRUE(Has(facts, OSFlags::ServerR2));
}

TEST_F(OSCollect, Win32sIsWindows3Beneath) {
  m_version.dwPlatformId = 0;
  const OS_FACTS facts = Collect();
  EXPECT_TRUE(Has(facts, OSFlags::Win32s));
  EXPECT_EQ(facts.reported.platform, 4U);
  EXPECT_EQ(facts.underlying.platform, 2U);
  EXPECT_EQ(facts.underlying.major, 3U);
  EXPECT_EQ(facts.underlying.minor, 10U);
  EXPECT_EQ(facts.underlying.build, 0U);
}

TEST_F(OSCollect, ProcessorsAreThoseOfMachineAndProcess) {
  Host::SystemFacts().GetSystemInfo = [](SYSTEM_INFO* system) {
    system->wProcessorArchitecture = 0;
  };
  OS_FACTS facts = Collect();
  EXPECT_EQ(facts.underlying.processor, 1U);
  EXPECT_EQ(facts.reported.processor, 1U);
  Host::SystemFacts().GetNativeSystemInfo = [](SYSTEM_INFO* system) {
    system->wProcessorArchitecture = 9;
  };
  facts = Collect();
  EXPECT_EQ(facts.underlying.processor, 6U);
  EXPECT_EQ(facts.reported.processor, 1U);
}

TEST_F(OSCollect, ArchitecturesHaveTheirCodes) {
  constexpr std::uint32_t kCodes[] = {1, 2, 3, 4, 10, 9, 5, 7, 8, 6, 11, 12, 13, 14, 15, 0};
  for (std::uint16_t i = 0; i < std::size(kCodes); ++i)
    EXPECT_EQ(COSProbe().MapProcessor(i), kCodes[i]) << i;
  EXPECT_EQ(COSProbe().MapProcessor(0xFFFF), 0U);
}

TEST_F(OSCollect, Windows81UpdateShowsInTheVersionOfHal) {
  m_version.dwMajorVersion = 6;
  m_version.dwMinorVersion = 3;
  DWORD low = 0;
  VS_FIXEDFILEINFO fixed{};
  Host::SystemFactsOperations& host = Host::SystemFacts();
  host.GetSystemDirectoryA = [](char* folder, unsigned int size) -> unsigned int {
    EXPECT_EQ(size, 260U);
    std::strcpy(folder, "C:\\Windows\\system32");
    return 19;
  };
  host.GetFileVersionInfoSizeA = [](const char* path, ULong*) -> ULong {
    EXPECT_STREQ(path, "C:\\Windows\\system32\\HAL.DLL");
    return 8;
  };
  host.GetFileVersionInfoA = [](const char*, ULong, ULong, void*) { return 1; };
  host.VerQueryValueA = [&](const void*, const char* key, void** value, unsigned int* length) {
    EXPECT_STREQ(key, "\\");
    fixed.dwFileVersionLS = low;
    *value = &fixed;
    *length = sizeof fixed;
    return 1;
  };
  low = 629162630;
  EXPECT_FALSE(Has(Collect(), OSFlags::Windows81Update));
  low = 629162631;
  EXPECT_TRUE(Has(Collect(), OSFlags::Windows81Update));
}

TEST_F(OSCollect, ClassicCallGoesByTheRegistry) {
  m_knowsExtended = false;
  std::strcpy(m_version.szCSDVersion, "Service Pack 4");
  m_registry[kProductOptions]["ProductType"] = "ServerNT";
  m_registry[kProductOptions]["ProductSuite"] =
      std::string("terminal server\0Small Business\0Enterprise\0Personal\0\0", 52);
  m_registry["System\\CurrentControlSet\\Control\\Terminal Server"]["TSAppCompat"] = Number(0);
  const OS_FACTS facts = Collect();
  EXPECT_TRUE(m_result);
  EXPECT_EQ(facts.osType, 2U);
  EXPECT_EQ(facts.reported.spMajor, 4);
  EXPECT_STREQ(facts.reported.csdVersion, "Service Pack 4");
  for (const OSFlag& flag : {OSFlags::TerminalServices, OSFlags::SmallBusiness, OSFlags::Enterprise,
                             OSFlags::Personal, OSFlags::Standard, OSFlags::RemoteAdminMode})
    EXPECT_TRUE(Has(facts, flag)) << flag.name;
}

TEST_F(OSCollect, RemoteAdministrationNeedsAZeroOfAtLeastOneByte) {
  m_knowsExtended = false;
  std::strcpy(m_version.szCSDVersion, "Service Pack 4");
  std::string& value =
      m_registry["System\\CurrentControlSet\\Control\\Terminal Server"]["TSAppCompat"];
  const struct {
    std::string bytes;
    bool isRemote;
  } rows[] = {{"", false},
              {std::string(1, '\0'), true},
              {"\1", false},
              {Number(0), true},
              {Number(0x01000000), false}};
  for (const auto& row : rows) {
    value = row.bytes;
    EXPECT_EQ(Has(Collect(), OSFlags::RemoteAdminMode), row.isRemote) << row.bytes.size();
  }
}

TEST_F(OSCollect, Windows9xHasItsServicePackByTheBuild) {
  m_knowsExtended = false;
  m_version.dwMajorVersion = 4;
  m_version.dwPlatformId = 1;
  const struct {
    std::uint32_t minor;
    std::uint32_t build;
    int major;
    int spMinor;
  } rows[] = {{0, 950, 0, 0},   {0, 951, 1, 0},   {10, 1080, 1, 0}, {0, 1081, 2, 0},
              {0, 1213, 2, 0},  {0, 1214, 2, 5},  {10, 1998, 0, 0}, {10, 1999, 1, 0},
              {10, 2182, 1, 0}, {10, 2183, 0, 0}, {90, 3000, 0, 0}};
  for (const auto& row : rows) {
    m_version.dwMinorVersion = row.minor;
    m_version.dwBuildNumber = row.build;
    const OS_FACTS facts = Collect();
    EXPECT_EQ(facts.reported.platform, 3U);
    EXPECT_EQ(facts.reported.spMajor, row.major) << row.build;
    EXPECT_EQ(facts.reported.spMinor, row.spMinor) << row.build;
    EXPECT_FALSE(Has(facts, OSFlags::Standard));
  }
}

TEST_F(OSCollect, PackedVersionNeedsTheKeyOfTheBuild) {
  m_knowsExtended = m_knowsClassic = false;
  Host::SystemFacts().GetVersion = [] { return ULong{0x04000004}; };
  EXPECT_EQ(Collect().reported.major, 0U);
  EXPECT_FALSE(m_result);
  m_registry[kCurrent]["CurrentBuildNumber"] = "1381";
  const OS_FACTS facts = Collect();
  EXPECT_TRUE(m_result);
  EXPECT_EQ(facts.reported.major, 4U);
  EXPECT_EQ(facts.reported.minor, 0U);
  EXPECT_EQ(facts.reported.build, 1381U);
  EXPECT_EQ(facts.reported.platform, 4U);
}

TEST_F(OSCollect, NothingThereIsARecordOfZerosAndATraceLine) {
  Host::SystemFacts() = {};
  const Testing::TraceCapture trace(16);
  const COSInfo_Win info;
  const OS_FACTS zero{};
  EXPECT_EQ(std::memcmp(&info.Facts(), &zero, sizeof zero), 0);
  EXPECT_THAT(trace.Lines(), ElementsAre(Testing::Traces(16, "Ondrel::CSystemInfo::CSystemInfo",
                                                         "CSystemInfo::CSystemInfo failed")));
}

TEST_F(OSCollect, FoundVersionTracesNothing) {
  const Testing::TraceCapture trace(0xFFFFFFFF);
  const COSInfo_Win info;
  EXPECT_EQ(info.Facts().reported.major, 10U);
  EXPECT_THAT(trace.Texts(), IsEmpty());
  EXPECT_THAT(m_opened, Contains(std::string("plain ") + kCurrentInCapitals));
}

TEST_F(OSCollect, ProductNameThatHoldsStorageIsAStorageProduct) {
  struct Opened : CSystemInfo {
    bool IsStorageProduct() const { return m_IsStorageProduct; }
  };
  EXPECT_FALSE(Opened().IsStorageProduct());
  std::string& name = m_registry[kCurrentInCapitals]["ProductName"];
  for (const auto& [text, isStorage] :
       std::map<std::string, bool>{{"Windows Storage Server 2016", true},
                                   {"Storage", true},
                                   {"storage", false},
                                   {"", false}}) {
    name = text;
    EXPECT_EQ(Opened().IsStorageProduct(), isStorage) << text;
  }
}

TEST_F(OSCollect, FillingClearsWhatAnEarlierOneFound) {
  OS_FACTS facts{};
  facts.deviceFamilyVersion = facts.deviceFamily = facts.deviceForm = 7;
  facts.ubr = facts.semiAnnual = 7;
  COSProbe().FillVersion(10, 0, 19045, "", 0, 0, 2, 1, facts);
  EXPECT_EQ(facts.deviceFamilyVersion, 0U);
  EXPECT_EQ(facts.deviceFamily, 0U);
  EXPECT_EQ(facts.deviceForm, 0U);
  EXPECT_EQ(facts.ubr, 0U);
  EXPECT_EQ(facts.semiAnnual, 0U);
}

TEST(ServicePackText, GivesItsFirstNumber) {
  EXPECT_EQ(COSProbe().ParseServicePack(""), 0);
  EXPECT_EQ(COSProbe().ParseServicePack("Service Pack"), 0);
  EXPECT_EQ(COSProbe().ParseServicePack("Service Pack 3, v.3311"), 3);
}

// Written by a rule of its own: values, flags and processor codes in three numbers.
TEST(ProductTable, HasItsRows) {
  std::uint64_t values = 0;
  std::size_t flags = 0;
  std::uint32_t processors = 0;
  for (const ProductRow& row : Products()) {
    values += row.value;
    processors += row.processor;
    for (const OSFlag* flag : row.flags) flags += flag != nullptr ? 1 : 0;
  }
  EXPECT_EQ(Products().size(), 168U);
  EXPECT_EQ(values, 16393U);
  EXPECT_EQ(flags, 314U);
  EXPECT_EQ(processors, 5U + 9 + 9);
  EXPECT_EQ(FindProduct(0), nullptr);
  EXPECT_EQ(FindProduct(51), nullptr);
  EXPECT_EQ(FindProduct(409), nullptr);
  EXPECT_EQ(FindProduct(408)->flags[1], &OSFlags::DatacenterCoreAzureEdition);
}

}  // namespace
}  // namespace Ondrel
