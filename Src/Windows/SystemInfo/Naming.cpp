#include "Windows/SystemInfo/Codes.h"

#include <Ondrel/OSInfo.h>

#include <span>

namespace Ondrel {

namespace {

using FlagPredicate = int (COSProbe::*)(const OS_FACTS&) const;
using VersionPredicate = int (COSProbe::*)(const OS_FACTS&, int) const;

/// A predicate of either form, asked about the underlying half.
class Test {
public:
  constexpr Test() = default;
  constexpr Test(FlagPredicate flag) : m_flag(flag) {}              // NOLINT: tables name it alone
  constexpr Test(VersionPredicate version) : m_version(version) {}  // NOLINT

  constexpr bool IsGiven() const { return m_flag != nullptr || m_version != nullptr; }

  bool Holds(const COSProbe& probe, const OS_FACTS& facts) const {
    return (m_flag != nullptr ? (probe.*m_flag)(facts) : (probe.*m_version)(facts, 1)) != 0;
  }

private:
  FlagPredicate m_flag = nullptr;
  VersionPredicate m_version = nullptr;
};

struct Word {
  Test test;
  const char* text;
};

// The first word whose test holds; null for none.
const char* FirstWord(std::span<const Word> words, const COSProbe& probe, const OS_FACTS& facts) {
  for (const Word& word : words)
    if (word.test.Holds(probe, facts)) return word.text;
  return nullptr;
}

void AppendWord(std::string& text, const char* word) {
  if (!text.empty()) text += ", ";
  text += word;
}

void AppendWords(std::span<const Word> words, const COSProbe& probe, const OS_FACTS& facts,
                 std::string& text) {
  for (const Word& word : words)
    if (word.test.Holds(probe, facts)) AppendWord(text, word.text);
}

using P = COSProbe;

// Products: the first row whose tests both hold.

struct Product {
  Test first;
  Test second;
  const char* text;
  bool isSecondWanted = true;
};

// clang-format off
constexpr Product kProducts[] = {
    {&P::IsWindowsServer2003, &P::IsSmallBusiness, "Windows Small Business Server 2003"},
    {&P::IsWindowsServer2003, &P::IsSmallBusinessPremium, "Windows Small Business Server 2003"},
    {&P::IsWindowsServer2008, &P::IsSmallBusiness, "Windows Small Business Server 2008"},
    {&P::IsWindowsServer2008, &P::IsSmallBusinessPremium, "Windows Small Business Server 2008"},
    {&P::IsWindowsServer2008R2, &P::IsSmallBusiness, "Windows Small Business Server 2011"},
    {&P::IsWindowsServer2008R2, &P::IsSmallBusinessPremium, "Windows Small Business Server 2011"},
    {&P::IsHyperVServer, &P::IsWindowsServer2008, "Hyper-V Server 2008"},
    {&P::IsHyperVServer, &P::IsWindowsServer2008R2, "Hyper-V Server 2008 R2"},
    {&P::IsHyperVServer, &P::IsWindowsServer2012, "Hyper-V Server 2012"},
    {&P::IsHyperVServer, &P::IsWindowsServer2012R2, "Hyper-V Server 2012 R2"},
    {&P::IsHyperVServer, &P::IsWindowsServer2016, "Hyper-V Server 2016"},
    {&P::IsHyperVServer, {}, "Hyper-V Server"},
    {&P::IsWindows2000, {}, "Windows 2000"},
    // Intentional: not reached by a 64-bit program.
    {&P::IsWindowsXP, &P::IsWindows64Bit, "Windows XP", false},
    {&P::IsWindowsXP, &P::IsWindows64Bit, "Windows XP Professional x64"},
    // Intentional: not reached either, the row above takes all of them.
    {&P::IsWindowsXP, &P::IsHomeServer, "Windows Home Server"},
    {&P::IsWindowsServer2003, {}, "Windows Server 2003"},
    {&P::IsWindowsServer2003R2, {}, "Windows Server 2003 R2"},
    {&P::IsWindowsVista, {}, "Windows Vista"},
    {&P::IsWindowsServer2008, {}, "Windows Server 2008"},
    {&P::IsWindowsServer2008R2, {}, "Windows Server 2008 R2"},
    {&P::IsWindows7, {}, "Windows 7"},
    {&P::IsWindows8, {}, "Windows 8"},
    {&P::IsWindowsServer2012, {}, "Windows Server 2012"},
    {&P::IsWindows81, {}, "Windows 8.1"},
    {&P::IsWindowsServer2012R2, {}, "Windows Server 2012 R2"},
    {&P::IsWindows10, {}, "Windows 10"},
    {&P::IsWindowsServerVersion1709, {}, "Windows Server version 1709"},
    {&P::IsWindowsServerVersion1803, {}, "Windows Server version 1803"},
    {&P::IsWindowsServer2016, {}, "Windows Server 2016"},
    {&P::IsWindowsServerVersion1809, {}, "Windows Server version 1809"},
    {&P::IsWindowsServerVersion1903, {}, "Windows Server version 1903"},
    {&P::IsWindowsServerVersion1909, {}, "Windows Server version 1909"},
    {&P::IsWindowsServerVersion2004, {}, "Windows Server version 2004"},
    {&P::IsWindowsServer2019, {}, "Windows Server 2019"},
    {&P::IsWindowsServer2022, {}, "Windows Server 2022"},
};
// clang-format on

/// The words of a release: the first base word that holds, replaced by the first other that holds.
struct Release {
  Test test;
  Word base[6];
  Word replacing[8];
};

#define ONDREL_SERVER_WORD(kind, text, release) \
  { &P::Is##kind##Server##release, text " Edition" }
#define ONDREL_SERVER_WORDS(release)                         \
  ONDREL_SERVER_WORD(Datacenter, "Datacenter", release),     \
      ONDREL_SERVER_WORD(Enterprise, "Enterprise", release), \
      ONDREL_SERVER_WORD(Web, "Web", release), ONDREL_SERVER_WORD(Standard, "Standard", release)

// clang-format off
constexpr Release kReleases[] = {
    {&P::IsWindowsNT,
     {{&P::IsWindowsNTWorkstation, "Workstation"}, {&P::IsWindowsNTServer, "Server"}},
     {{&P::IsWindowsNTDatacenterServer, "Datacenter"}, {&P::IsWindowsNTEnterpriseServer, "Enterprise"}}},
    {&P::IsWindows2000,
     {{&P::IsProfessional, "Professional"}, {&P::IsWindows2000Server, "Server"}},
     {{&P::IsWindows2000DatacenterServer, "Datacenter"}, {&P::IsWindows2000AdvancedServer, "Advanced Server"}}},
    {&P::IsWindowsXPOrServer2003,
     {{&P::IsStarter, "Starter Edition"}, {&P::IsPersonal, "Personal"}, {&P::IsProfessional, "Professional"}},
     // Each word for 2003 and for 2003 R2.
     {ONDREL_SERVER_WORD(Datacenter, "Datacenter", 2003), ONDREL_SERVER_WORD(Datacenter, "Datacenter", 2003R2),
      ONDREL_SERVER_WORD(Enterprise, "Enterprise", 2003), ONDREL_SERVER_WORD(Enterprise, "Enterprise", 2003R2),
      ONDREL_SERVER_WORD(Web, "Web", 2003), ONDREL_SERVER_WORD(Web, "Web", 2003R2),
      ONDREL_SERVER_WORD(Standard, "Standard", 2003), ONDREL_SERVER_WORD(Standard, "Standard", 2003R2)}},
    {&P::IsWindowsVistaOrServer2008,
     {{&P::IsStarter, "Starter Edition"}, {&P::IsHomeBasic, "Home Basic"}, {&P::IsHomePremium, "Home Premium"},
      {&P::IsBusiness, "Business"}, {&P::IsEnterprise, "Enterprise"}, {&P::IsUltimate, "Ultimate"}},
     {ONDREL_SERVER_WORDS(2008)}},
    {&P::IsWindows7OrServer2008R2,
     {{&P::IsStarter, "Starter Edition"}, {&P::IsHomeBasic, "Home Basic"}, {&P::IsHomePremium, "Home Premium"},
      {&P::IsProfessional, "Professional"}, {&P::IsEnterprise, "Enterprise"}, {&P::IsUltimate, "Ultimate"}},
     {ONDREL_SERVER_WORDS(2008R2)}},
    {&P::IsWindows8OrServer2012,
     {{&P::IsStarter, "Starter Edition"}, {&P::IsProfessional, "Pro"}, {&P::IsEnterprise, "Enterprise"}},
     {ONDREL_SERVER_WORDS(2012)}},
    {&P::IsWindows81OrServer2012R2,
     {{&P::IsStarter, "Starter Edition"}, {&P::IsProfessional, "Pro"}, {&P::IsEnterprise, "Enterprise"}},
     {ONDREL_SERVER_WORDS(2012R2)}},
    {&P::IsWindows10OrServer2016,
     {{&P::IsStarter, "Starter Edition"}, {&P::IsCore, "Home"}, {&P::IsProfessional, "Pro"},
      {&P::IsEnterprise, "Enterprise"}},
     {ONDREL_SERVER_WORDS(2016)}},
    {&P::IsWindowsServer2019, {}, {ONDREL_SERVER_WORDS(2019)}},
    {&P::IsWindowsServer2022, {}, {ONDREL_SERVER_WORDS(2022)}},
};
// clang-format on

#undef ONDREL_SERVER_WORDS
#undef ONDREL_SERVER_WORD

/// Groups of words that replace what stands there; in a group the first that holds counts.
constexpr Word kStorageWords[] = {
    {&P::IsEnterpriseStorageServer, "Storage Server Enterprise"},
    {&P::IsStorageExpress, "Storage Server Express"},
    {&P::IsStandardStorageServer, "Storage Server Standard"},
    {&P::IsStorageWorkgroup, "Storage Server Workgroup"},
    {&P::IsStorageEssentials, "Storage Server Essentials"},
    {&P::IsStorageServer, "Storage Server"},
};
constexpr Word kHomeServerWords[] = {
    {&P::IsHomeServerPremium, "Home Server Premium Edition"},
    {&P::IsHomeServer, "Home Server Edition"},
};
constexpr Word kSingleWords[] = {
    {&P::IsEssentialBusinessManagement, "Windows Essential Business Server Manangement Server"},
    {&P::IsEssentialBusinessMessaging, "Windows Essential Business Server Messaging Server"},
    {&P::IsEssentialBusinessSecurity, "Windows Essential Business Server Security Server"},
    {&P::IsClusterServer, "Cluster Server"},
    {&P::IsComputeCluster, "Compute Cluster Edition"},
    {&P::IsFoundation, "Foundation Edition"},
};
constexpr Word kMultiPointWords[] = {
    {&P::IsMultiPointPremium, "MultiPoint Premium Edition"},
    {&P::IsMultiPoint, "MultiPoint Edition"},
};

constexpr Word kAddedWords[] = {
    {&P::IsNEdition, "N Edition"},
    {&P::IsEEdition, "E Edition"},
    {&P::IsServerCore, "Server Core"},
    {&P::IsPrerelease, "Prerelease"},
    {&P::IsEvaluation, "Evaluation"},
    {&P::IsAutomotive, "Automotive"},
    {&P::IsChina, "China"},
    {&P::IsSingleLanguage, "Single Language"},
    {&P::IsEducation, "Education"},
    {&P::IsIndustry, "Industry"},
    {&P::IsStudent, "Student"},
    {&P::IsMobile, "Mobile"},
    {&P::IsIoTCore, "IoT Core"},
    {&P::IsCloudHostInfrastructure, "Cloud Host Infrastructure Server"},
    {&P::IsCloudEdition, "S Edition"},
    {&P::IsCloudStorageServer, "Cloud Storage Server"},
    {&P::IsPPIPro, "PPI Pro"},
    {&P::IsConnectedCar, "Connected Car"},
    {&P::IsHandheld, "Handheld"},
    {&P::IsNanoServer, "Nano Server"},
};

constexpr Word kFeaturesBeforeDomain[] = {
    {&P::IsTerminalServices, "Terminal Services"},
    {&P::IsRemoteAdminMode, "Terminal Services in Remote Admin Mode"},
    {&P::IsMediaCenter, "Media Center"},
    {&P::IsTabletPC, "Tablet PC"},
    {&P::IsSecurityAppliance, "Security Appliance"},
    {&P::IsBackOffice, "Backoffice"},
};
// Intentional: the list ends at 2016.
constexpr Word kDomainControllers[] = {
    {&P::IsWindowsNTPrimaryDomainController, "Domain Controller"},
    {&P::IsWindowsNTBackupDomainController, "Domain Controller"},
    {&P::IsWindows2000DomainController, "Domain Controller"},
    {&P::IsDomainControllerServer2003, "Domain Controller"},
    {&P::IsDomainControllerServer2003R2, "Domain Controller"},
    {&P::IsDomainControllerServer2008, "Domain Controller"},
    {&P::IsDomainControllerServer2008R2, "Domain Controller"},
    {&P::IsDomainControllerServer2012, "Domain Controller"},
    {&P::IsDomainControllerServer2012R2, "Domain Controller"},
    {&P::IsDomainControllerServer2016, "Domain Controller"},
};
constexpr Word kFeaturesAfterDomain[] = {
    {&P::IsWindows64Bit, "64 Bit"},
    {&P::IsHyperVTools, "Hyper-V Tools"},
};

// The names of the processor codes from the second on; the first has none.
constexpr const char* kArchitectures[] = {"MIPS",    "Alpha", "PPC", "IA64", "x86-64",
                                          "Alpha64", "MSIL",  "ARM", "SHX",  "x86-32"};
constexpr std::uint32_t kFirstArchitecture = kMIPS;

std::span<const Word> Given(std::span<const Word> words) {
  std::size_t count = 0;
  while (count < words.size() && words[count].test.IsGiven()) ++count;
  return words.first(count);
}

void PutBaseEdition(const COSProbe& probe, const OS_FACTS& facts, std::string& edition) {
  for (const Release& release : kReleases) {
    if (!release.test.Holds(probe, facts)) continue;
    if (const char* const word = FirstWord(Given(release.base), probe, facts)) edition = word;
    if (const char* const word = FirstWord(Given(release.replacing), probe, facts)) edition = word;
    return;
  }
}

void ReplaceEdition(const COSProbe& probe, const OS_FACTS& facts, std::string& edition) {
  const auto replaceByFirst = [&](std::span<const Word> words) {
    if (const char* const word = FirstWord(words, probe, facts)) edition = word;
  };
  replaceByFirst(kStorageWords);
  replaceByFirst(kHomeServerWords);
  for (const Word& word : kSingleWords) replaceByFirst({&word, 1});
  replaceByFirst(kMultiPointWords);
}

}  // namespace

COSInfo_Win::COSInfo_Win() = default;

COSInfo_Win::COSInfo_Win(const OS_FACTS& facts) : CSystemInfo(facts) {}

bool COSInfo_Win::GetOSVendor(std::string& vendor) const {
  vendor = "Microsoft Corporation";
  return true;
}

bool COSInfo_Win::GetOSProduct(std::string& product) const {
  product = "Windows";
  for (const Product& row : kProducts) {
    if (!row.first.Holds(m_Probe, m_Facts)) continue;
    if (row.second.IsGiven() && row.second.Holds(m_Probe, m_Facts) != row.isSecondWanted) continue;
    product = row.text;
    break;
  }
  return true;
}

bool COSInfo_Win::GetOSEdition(std::string& edition) const {
  if (m_Facts.underlying.platform == kNT)
    PutBaseEdition(m_Probe, m_Facts, edition);
  else
    edition.clear();
  ReplaceEdition(m_Probe, m_Facts, edition);
  AppendWords(kAddedWords, m_Probe, m_Facts, edition);
  return !edition.empty();
}

bool COSInfo_Win::GetOSFeatures(std::string& features) const {
  features.clear();
  AppendWords(kFeaturesBeforeDomain, m_Probe, m_Facts, features);
  if (const char* const word = FirstWord(kDomainControllers, m_Probe, m_Facts))
    AppendWord(features, word);
  AppendWords(kFeaturesAfterDomain, m_Probe, m_Facts, features);
  return !features.empty();
}

bool COSInfo_Win::GetOSServicePack(std::string& servicePack) const {
  const unsigned int major = m_Facts.underlying.spMajor;
  const unsigned int minor = m_Facts.underlying.spMinor;
  servicePack.clear();
  if (major == 0 && minor == 0) return false;
  if (major == 0)
    servicePack = "0." + std::to_string(minor);
  else if (minor == 0)
    servicePack = std::to_string(major);
  else if (major == 1 && minor == 1 && m_Probe.IsWindowsXP(m_Facts, 1) != 0)
    servicePack = "1a";
  else
    servicePack = std::to_string(major) + "." + std::to_string(minor);
  return true;
}

bool COSInfo_Win::GetOSVersion(std::string& version) const {
  version =
      std::to_string(m_Facts.underlying.major) + "." + std::to_string(m_Facts.underlying.minor);
  return true;
}

bool COSInfo_Win::GetOSBuildNumber(std::string& build) const {
  build = std::to_string(m_Facts.underlying.build);
  return true;
}

bool COSInfo_Win::GetProcessorArchitecture(std::string& architecture) const {
  const std::uint32_t code = m_Facts.underlying.processor;
  architecture.clear();
  if (code >= kFirstArchitecture && code - kFirstArchitecture < std::size(kArchitectures))
    architecture = kArchitectures[code - kFirstArchitecture];
  return !architecture.empty();
}

bool COSInfo_Win::GetKernelVersion(unsigned int& major, unsigned int& minor) const {
  // Intentional: nothing sets the two, so that this gives nothing.
  if (m_KernelMajor == 0 && m_KernelMinor == 0) return false;
  major = m_Facts.underlying.major;
  minor = m_Facts.underlying.minor;
  return true;
}

}  // namespace Ondrel
