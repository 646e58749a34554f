#include <Ondrel/OSInfo.h>

#include <gtest/gtest.h>

#include <ostream>

namespace Ondrel {
namespace {

struct Words {
  std::string product;
  std::string edition;
  std::string features;
};

struct Row {
  const char* name;
  std::uint32_t platform;
  std::uint32_t major;
  std::uint32_t minor;
  std::uint32_t build;
  std::uint32_t osType;
  std::vector<OSFlag> flags;
  Words expected;
  std::uint32_t semiAnnual = 0;
};

void PrintTo(const Row& row, std::ostream* stream) { *stream << row.name; }

OS_FACTS FactsOf(const Row& row) {
  OS_FACTS facts{};
  facts.underlying.platform = row.platform;
  facts.underlying.major = row.major;
  facts.underlying.minor = row.minor;
  facts.underlying.build = row.build;
  facts.osType = row.osType;
  facts.semiAnnual = row.semiAnnual;
  std::uint32_t* const words[] = {&facts.suite1, &facts.suite2, &facts.suite3, &facts.suite4};
  for (const OSFlag& flag : row.flags) *words[flag.word - 1] |= flag.mask;
  return facts;
}

class OSNames : public testing::TestWithParam<Row> {};

TEST_P(OSNames, AreThoseOfTheFacts) {
  const Row& row = GetParam();
  const COSInfo_Win info(FactsOf(row));
  std::string product = "old";
  std::string edition;
  std::string features = "old";
  EXPECT_TRUE(info.GetOSProduct(product));
  EXPECT_EQ(info.GetOSEdition(edition), !row.expected.edition.empty());
  EXPECT_TRUE(info.GetOSFeatures(features));
  EXPECT_EQ(product, row.expected.product);
  EXPECT_EQ(edition, row.expected.edition);
  EXPECT_EQ(features, row.expected.features);
}

using namespace OSFlags;

// clang-format off
const Row kRows[] = {
    {"Windows10Pro", 4, 10, 0, 19045, 1, {Professional}, {"Windows 10", "Pro", "64 Bit"}},
    {"LaterBuildsAreWindows10Too", 4, 10, 0, 22000, 1, {Professional}, {"Windows 10", "Pro", "64 Bit"}},
    {"Windows10Home", 4, 10, 0, 19045, 1, {Core}, {"Windows 10", "Home", "64 Bit"}},
    {"Windows10HomeChina", 4, 10, 0, 19045, 1, {Core, China}, {"Windows 10", "Home, China", "64 Bit"}},
    {"Windows10SingleLanguage", 4, 10, 0, 19045, 1, {Core, SingleLanguage}, {"Windows 10", "Home, Single Language", "64 Bit"}},
    {"Windows10N", 4, 10, 0, 19045, 1, {Core, NEdition}, {"Windows 10", "Home, N Edition", "64 Bit"}},
    {"Windows10Enterprise", 4, 10, 0, 19045, 1, {Enterprise}, {"Windows 10", "Enterprise", "64 Bit"}},
    {"Server2019Core", 4, 10, 0, 17763, 2, {Datacenter, HyperVTools, ServerCore}, {"Windows Server 2019", "Datacenter Edition, Server Core", "64 Bit, Hyper-V Tools"}},
    {"ServerVersion1809", 4, 10, 0, 17763, 2, {Datacenter, HyperVTools, ServerCore}, {"Windows Server version 1809", "Datacenter Edition, Server Core", "64 Bit, Hyper-V Tools"}, 1},
    {"ServerVersion1709", 4, 10, 0, 16299, 2, {Standard, ServerCore}, {"Windows Server version 1709", "Standard Edition, Server Core", "64 Bit"}, 1},
    {"ServerVersion1803", 4, 10, 0, 17134, 2, {Standard}, {"Windows Server version 1803", "Standard Edition", "64 Bit"}, 1},
    {"ServerVersion1903", 4, 10, 0, 18362, 2, {Standard}, {"Windows Server version 1903", "Standard Edition", "64 Bit"}, 1},
    {"ServerVersion1909", 4, 10, 0, 18363, 2, {Standard}, {"Windows Server version 1909", "Standard Edition", "64 Bit"}, 1},
    {"ServerVersion2004", 4, 10, 0, 19041, 2, {Standard}, {"Windows Server version 2004", "Standard Edition", "64 Bit"}, 1},
    {"Server2016", 4, 10, 0, 14393, 2, {Standard}, {"Windows Server 2016", "Standard Edition", "64 Bit"}},
    {"Server2022", 4, 10, 0, 20348, 2, {Datacenter}, {"Windows Server 2022", "Datacenter Edition", "64 Bit"}},
    {"DomainController2022ShowsNoSuchWord", 4, 10, 0, 20348, 3, {Standard}, {"Windows Server 2022", "Standard Edition", "64 Bit"}},
    {"DomainController2016IsWindows", 4, 10, 0, 14393, 3, {Standard}, {"Windows", "Standard Edition", "Domain Controller, 64 Bit"}},
    {"DomainController2003", 4, 5, 2, 3790, 3, {Standard}, {"Windows", "Standard Edition", "Domain Controller, 64 Bit"}},
    {"StorageReplacesTheBase", 4, 6, 0, 6001, 2, {Enterprise, StorageServer}, {"Windows Server 2008", "Storage Server Enterprise", "64 Bit"}},
    {"StorageWorkgroup", 4, 6, 1, 7601, 2, {StorageWorkgroup, StorageServer}, {"Windows Server 2008 R2", "Storage Server Workgroup", "64 Bit"}},
    {"EssentialBusinessIsMisspelt", 4, 6, 0, 6001, 2, {EssentialBusinessManagement}, {"Windows Server 2008", "Windows Essential Business Server Manangement Server", "64 Bit"}},
    {"LaterWordReplacesTheEarlier", 4, 6, 1, 7601, 2, {ClusterServer, Foundation}, {"Windows Server 2008 R2", "Foundation Edition", "64 Bit"}},
    {"WordWithoutABaseHasNoComma", 4, 10, 0, 17763, 2, {ServerCore}, {"Windows Server 2019", "Server Core", "64 Bit"}},
    {"SmallBusiness2003", 4, 5, 2, 3790, 2, {SmallBusiness, Standard}, {"Windows Small Business Server 2003", "Standard Edition", "64 Bit"}},
    {"SmallBusiness2008", 4, 6, 0, 6001, 2, {SmallBusinessPremium}, {"Windows Small Business Server 2008", "", "64 Bit"}},
    {"SmallBusiness2011", 4, 6, 1, 7601, 2, {SmallBusiness}, {"Windows Small Business Server 2011", "", "64 Bit"}},
    {"HyperV2012R2", 4, 6, 3, 9600, 2, {HyperVServer}, {"Hyper-V Server 2012 R2", "", "64 Bit"}},
    {"HyperV2016", 4, 10, 0, 14393, 2, {HyperVServer}, {"Hyper-V Server 2016", "", "64 Bit"}},
    {"HyperVOfAnotherRelease", 4, 10, 0, 17763, 2, {HyperVServer}, {"Hyper-V Server", "", "64 Bit"}},
    {"Windows2000Advanced", 4, 5, 0, 2195, 2, {Enterprise}, {"Windows 2000", "Advanced Server", "64 Bit"}},
    {"Windows2000Professional", 4, 5, 0, 2195, 1, {Professional}, {"Windows 2000", "Professional", "64 Bit"}},
    {"WindowsXPIsAlways64Bit", 4, 5, 1, 2600, 1, {Professional}, {"Windows XP Professional x64", "Professional", "64 Bit"}},
    {"HomeServerOfXPIsXP", 4, 5, 2, 3790, 1, {HomeServer}, {"Windows XP Professional x64", "Home Server Edition", "64 Bit"}},
    {"Server2003R2Web", 4, 5, 2, 3790, 2, {ServerR2, WebEdition}, {"Windows Server 2003 R2", "Web Edition", "64 Bit"}},
    {"VistaUltimate", 4, 6, 0, 6002, 1, {Ultimate}, {"Windows Vista", "Ultimate", "64 Bit"}},
    {"Windows7HomePremium", 4, 6, 1, 7601, 1, {HomePremium}, {"Windows 7", "Home Premium", "64 Bit"}},
    {"Windows8Pro", 4, 6, 2, 9200, 1, {Professional}, {"Windows 8", "Pro", "64 Bit"}},
    {"Server2012", 4, 6, 2, 9200, 2, {Datacenter}, {"Windows Server 2012", "Datacenter Edition", "64 Bit"}},
    {"Windows81", 4, 6, 3, 9600, 1, {Enterprise}, {"Windows 8.1", "Enterprise", "64 Bit"}},
    {"Server2012R2", 4, 6, 3, 9600, 2, {Standard}, {"Windows Server 2012 R2", "Standard Edition", "64 Bit"}},
    {"NT4WorkstationWithDatacenter", 4, 4, 0, 1381, 1, {Datacenter}, {"Windows", "Datacenter", "64 Bit"}},
    {"NT4PrimaryDomainController", 4, 4, 0, 1381, 3, {PrimaryDomainController, Enterprise}, {"Windows", "Enterprise", "Domain Controller, 64 Bit"}},
    {"OtherPlatformsRunTheLaterStages", 3, 4, 10, 1998, 0, {NEdition, MultiPoint}, {"Windows", "MultiPoint Edition, N Edition", "64 Bit"}},
    {"AllFeatures", 4, 5, 0, 2195, 3, {TerminalServices, RemoteAdminMode, MediaCenter, TabletPC, SecurityAppliance, BackOffice, HyperVTools},
     {"Windows 2000", "", "Terminal Services, Terminal Services in Remote Admin Mode, Media Center, Tablet PC, Security Appliance, Backoffice, Domain Controller, 64 Bit, Hyper-V Tools"}},
    {"AllAddedWords", 0, 0, 0, 0, 0, {NEdition, EEdition, ServerCore, Prerelease, Evaluation, Automotive, China, SingleLanguage, Education, Industry, Student, Mobile, IoTCore, CloudHostInfrastructure, CloudEdition, CloudStorageServer, PPIPro, ConnectedCar, Handheld, NanoServer},
     {"Windows", "N Edition, E Edition, Server Core, Prerelease, Evaluation, Automotive, China, Single Language, Education, Industry, Student, Mobile, IoT Core, Cloud Host Infrastructure Server, S Edition, Cloud Storage Server, PPI Pro, Connected Car, Handheld, Nano Server", "64 Bit"}},
    {"ZeroRecord", 0, 0, 0, 0, 0, {}, {"Windows", "", "64 Bit"}},
};
// clang-format on
INSTANTIATE_TEST_SUITE_P(Systems, OSNames, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

std::string ServicePack(std::uint16_t major, std::uint16_t minor, bool isXP) {
  OS_FACTS facts{};
  facts.underlying.spMajor = major;
  facts.underlying.spMinor = minor;
  if (isXP) {
    facts.underlying.platform = 4;
    facts.underlying.major = 5;
    facts.underlying.minor = 1;
    facts.osType = 1;
  }
  std::string text = "old";
  const bool hasOne = COSInfo_Win(facts).GetOSServicePack(text);
  EXPECT_EQ(hasOne, !text.empty());
  return text;
}

TEST(OSServicePack, HasTheFormOfItsNumbers) {
  EXPECT_EQ(ServicePack(0, 0, true), "");
  EXPECT_EQ(ServicePack(0, 2, false), "0.2");
  EXPECT_EQ(ServicePack(3, 0, false), "3");
  EXPECT_EQ(ServicePack(1, 1, true), "1a");
  EXPECT_EQ(ServicePack(1, 1, false), "1.1");
  EXPECT_EQ(ServicePack(2, 1, true), "2.1");
}

TEST(OSArchitecture, HasANameForSomeCodes) {
  const char* const names[] = {"",     "",    "MIPS", "Alpha",  "PPC", "IA64", "x86-64", "Alpha64",
                               "MSIL", "ARM", "SHX",  "x86-32", "",    "",     "",       ""};
  for (std::uint32_t code = 0; code < std::size(names); ++code) {
    OS_FACTS facts{};
    facts.underlying.processor = code;
    facts.reported.processor = 6;
    std::string text = "old";
    EXPECT_EQ(COSInfo_Win(facts).GetProcessorArchitecture(text), *names[code] != '\0') << code;
    EXPECT_EQ(text, names[code]) << code;
  }
}

TEST(OSVersion, AndBuildAreUnsignedNumbers) {
  OS_FACTS facts{};
  facts.underlying.major = 4294967295U;
  facts.underlying.minor = 3;
  facts.underlying.build = 4000000000U;
  const COSInfo_Win info(facts);
  std::string text = "old";
  EXPECT_TRUE(info.GetOSVersion(text));
  EXPECT_EQ(text, "4294967295.3");
  EXPECT_TRUE(info.GetOSBuildNumber(text));
  EXPECT_EQ(text, "4000000000");
  EXPECT_TRUE(info.GetOSVendor(text));
  EXPECT_EQ(text, "Microsoft Corporation");
}

TEST(OSKernel, SaysNothing) {
  OS_FACTS facts{};
  facts.underlying.major = 10;
  unsigned int major = 4711;
  unsigned int minor = 4712;
  EXPECT_FALSE(COSInfo_Win(facts).GetKernelVersion(major, minor));
  EXPECT_EQ(major, 4711U);
  EXPECT_EQ(minor, 4712U);
}

TEST(OSInfo, CopyIsIndependent) {
  OS_FACTS facts{};
  facts.underlying.build = 7;
  const COSInfo_Win info(facts);
  COSInfo_Win copy(OS_FACTS{});
  copy = info;
  EXPECT_EQ(copy.Facts().underlying.build, 7U);
}

}  // namespace
}  // namespace Ondrel
