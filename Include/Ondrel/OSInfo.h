#pragma once

#include <Ondrel/Export.h>
#include <Ondrel/OSFlags.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace Ondrel {

/// One set of version numbers.
struct OS_VERSION_HALF {
  std::uint32_t major;      ///< Major number.
  std::uint32_t minor;      ///< Minor number.
  std::uint32_t build;      ///< Build number.
  std::uint32_t platform;   ///< 0 unknown, 2 Windows 3.x, 3 Windows 9x, 4 NT, 5 CE family.
  std::uint32_t processor;  ///< 0 unknown, 1 Intel x86, 2 MIPS, ... 15 x86 on ARM64.
  char csdVersion[128];     ///< The service pack's text, zero-terminated.
  std::uint16_t spMajor;    ///< Service pack, major number.
  std::uint16_t spMinor;    ///< Service pack, minor number.
};

/// What is known of an operating system. A record of zeros is an unknown one.
struct OS_FACTS {
  OS_VERSION_HALF reported;           ///< As the classic version call reports it.
  OS_VERSION_HALF underlying;         ///< As the system really is.
  std::uint32_t suite1;               ///< Flags, see `OSFlags`.
  std::uint32_t suite2;               ///< Flags of the second word.
  std::uint32_t suite3;               ///< Flags of the third word.
  std::uint32_t suite4;               ///< Flags of the fourth word.
  std::uint32_t osType;               ///< 0 unknown, 1 workstation, 2 server, 3 domain controller.
  std::uint32_t ubr;                  ///< Update build revision.
  std::uint32_t productInfo;          ///< The value of `GetProductInfo`, 0 for none.
  std::uint32_t semiAnnual;           ///< 1 for a server of the semi-annual channel.
  std::uint64_t deviceFamilyVersion;  ///< Four numbers of 16 bits, major first.
  std::uint32_t deviceFamily;         ///< Kind of device, as the host numbers it.
  std::uint32_t deviceForm;           ///< Form of the device, as the host numbers it.
};

static_assert(sizeof(OS_VERSION_HALF) == 152);
static_assert(sizeof(OS_FACTS) == 352);

/// Whether a flag of a record is set.
inline bool OSFlagIsSet(const OS_FACTS& facts, const OSFlag& flag) {
  const std::uint32_t words[] = {facts.suite1, facts.suite2, facts.suite3, facts.suite4};
  return (words[flag.word - 1] & flag.mask) != 0;
}

/// Collects the facts of this host and answers questions about a record. The questions look at the
/// record alone and return 0 or 1; where `useUnderlying` is taken, it chooses the half (0:
/// reported). Any thread may ask.
class ONDREL_API COSProbe {
public:
  /// Clears the record and fills it with what this host reports. False, with a record of zeros,
  /// when it reports no version.
  bool Collect(OS_FACTS& facts);

  // Whether one flag is set.
  int IsSmallBusiness(const OS_FACTS& facts) const;
  int IsEnterprise(const OS_FACTS& facts) const;
  int IsTerminalServices(const OS_FACTS& facts) const;
  int IsPersonal(const OS_FACTS& facts) const;
  int IsEmbedded(const OS_FACTS& facts) const;
  int IsRemoteAdminMode(const OS_FACTS& facts) const;
  int IsUniprocessorFree(const OS_FACTS& facts) const;
  int IsUniprocessorChecked(const OS_FACTS& facts) const;
  int IsMultiprocessorFree(const OS_FACTS& facts) const;
  int IsMultiprocessorChecked(const OS_FACTS& facts) const;
  int IsMediaCenter(const OS_FACTS& facts) const;
  int IsTabletPC(const OS_FACTS& facts) const;
  int IsStarter(const OS_FACTS& facts) const;
  int IsComputeCluster(const OS_FACTS& facts) const;
  int IsStorageServer(const OS_FACTS& facts) const;
  int IsSecurityAppliance(const OS_FACTS& facts) const;
  int IsBackOffice(const OS_FACTS& facts) const;
  int IsUltimate(const OS_FACTS& facts) const;
  int IsNEdition(const OS_FACTS& facts) const;
  int IsHomeBasic(const OS_FACTS& facts) const;
  int IsHomePremium(const OS_FACTS& facts) const;
  int IsHyperVTools(const OS_FACTS& facts) const;
  int IsBusiness(const OS_FACTS& facts) const;
  int IsHomeServer(const OS_FACTS& facts) const;
  int IsServerCore(const OS_FACTS& facts) const;
  int IsEssentialBusinessManagement(const OS_FACTS& facts) const;
  int IsEssentialBusinessMessaging(const OS_FACTS& facts) const;
  int IsEssentialBusinessSecurity(const OS_FACTS& facts) const;
  int IsClusterServer(const OS_FACTS& facts) const;
  int IsSmallBusinessPremium(const OS_FACTS& facts) const;
  int IsStorageExpress(const OS_FACTS& facts) const;
  int IsStorageWorkgroup(const OS_FACTS& facts) const;
  int IsEEdition(const OS_FACTS& facts) const;
  int IsProfessional(const OS_FACTS& facts) const;
  int IsFoundation(const OS_FACTS& facts) const;
  int IsMultiPoint(const OS_FACTS& facts) const;
  int IsHyperVServer(const OS_FACTS& facts) const;
  int IsHomeServerPremium(const OS_FACTS& facts) const;
  int IsStorageEssentials(const OS_FACTS& facts) const;
  int IsPrerelease(const OS_FACTS& facts) const;
  int IsEvaluation(const OS_FACTS& facts) const;
  int IsPremium(const OS_FACTS& facts) const;
  int IsMultiPointPremium(const OS_FACTS& facts) const;
  int IsThinPC(const OS_FACTS& facts) const;
  int IsAutomotive(const OS_FACTS& facts) const;
  int IsChina(const OS_FACTS& facts) const;
  int IsSingleLanguage(const OS_FACTS& facts) const;
  int IsWin32s(const OS_FACTS& facts) const;
  int IsWindows81Update(const OS_FACTS& facts) const;
  int IsCoreConnected(const OS_FACTS& facts) const;
  int IsEducation(const OS_FACTS& facts) const;
  int IsIndustry(const OS_FACTS& facts) const;
  int IsCore(const OS_FACTS& facts) const;
  int IsStudent(const OS_FACTS& facts) const;
  int IsMobile(const OS_FACTS& facts) const;
  int IsIoTCore(const OS_FACTS& facts) const;
  int IsEnterpriseS(const OS_FACTS& facts) const;
  int IsNanoServer(const OS_FACTS& facts) const;
  int IsCloudStorageServer(const OS_FACTS& facts) const;
  int IsArm64Server(const OS_FACTS& facts) const;
  int IsPPIPro(const OS_FACTS& facts) const;
  int IsConnectedCar(const OS_FACTS& facts) const;
  int IsHandheld(const OS_FACTS& facts) const;
  int IsCloudHostInfrastructure(const OS_FACTS& facts) const;
  int IsHolographic(const OS_FACTS& facts) const;
  int IsEnterpriseSubscription(const OS_FACTS& facts) const;
  int IsUtilityVM(const OS_FACTS& facts) const;
  int IsProWorkstation(const OS_FACTS& facts) const;
  int IsAzureServer(const OS_FACTS& facts) const;
  int IsIoTCommercial(const OS_FACTS& facts) const;
  int IsEnterpriseG(const OS_FACTS& facts) const;
  int IsCloudEdition(const OS_FACTS& facts) const;
  int IsRemoteDesktopHost(const OS_FACTS& facts) const;
  int IsHubOS(const OS_FACTS& facts) const;
  int IsCommunications(const OS_FACTS& facts) const;
  int IsRestricted(const OS_FACTS& facts) const;
  int IsOneCoreUpdateOS(const OS_FACTS& facts) const;
  int IsAndromeda(const OS_FACTS& facts) const;
  int IsXboxSystemOS(const OS_FACTS& facts) const;
  int IsIoTOS(const OS_FACTS& facts) const;
  int IsIoTEdgeOS(const OS_FACTS& facts) const;
  int IsIoTEnterprise(const OS_FACTS& facts) const;
  int IsLite(const OS_FACTS& facts) const;
  int IsXboxNativeOS(const OS_FACTS& facts) const;
  int IsXboxGameOS(const OS_FACTS& facts) const;
  int IsXboxEraOS(const OS_FACTS& facts) const;
  int IsXboxDurangoHostOS(const OS_FACTS& facts) const;
  int IsXboxScarlettHostOS(const OS_FACTS& facts) const;
  int IsAzureStackHCI(const OS_FACTS& facts) const;
  int IsDatacenterAzureEdition(const OS_FACTS& facts) const;
  int IsDatacenterCoreAzureEdition(const OS_FACTS& facts) const;
  int IsEnterpriseStorageServer(const OS_FACTS& facts) const;
  int IsStandardStorageServer(const OS_FACTS& facts) const;

  // Kinds of server by release.
  int IsDatacenterServer2003(const OS_FACTS& facts, int useUnderlying) const;
  int IsDatacenterServer2003R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsDatacenterServer2008(const OS_FACTS& facts, int useUnderlying) const;
  int IsDatacenterServer2008R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsDatacenterServer2012(const OS_FACTS& facts, int useUnderlying) const;
  int IsDatacenterServer2012R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsDatacenterServer2016(const OS_FACTS& facts, int useUnderlying) const;
  int IsDatacenterServer2019(const OS_FACTS& facts, int useUnderlying) const;
  int IsDatacenterServer2022(const OS_FACTS& facts, int useUnderlying) const;
  int IsDomainControllerServer2003(const OS_FACTS& facts, int useUnderlying) const;
  int IsDomainControllerServer2003R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsDomainControllerServer2008(const OS_FACTS& facts, int useUnderlying) const;
  int IsDomainControllerServer2008R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsDomainControllerServer2012(const OS_FACTS& facts, int useUnderlying) const;
  int IsDomainControllerServer2012R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsDomainControllerServer2016(const OS_FACTS& facts, int useUnderlying) const;
  int IsDomainControllerServer2019(const OS_FACTS& facts, int useUnderlying) const;
  int IsDomainControllerServer2022(const OS_FACTS& facts, int useUnderlying) const;
  int IsEnterpriseServer2003(const OS_FACTS& facts, int useUnderlying) const;
  int IsEnterpriseServer2003R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsEnterpriseServer2008(const OS_FACTS& facts, int useUnderlying) const;
  int IsEnterpriseServer2008R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsEnterpriseServer2012(const OS_FACTS& facts, int useUnderlying) const;
  int IsEnterpriseServer2012R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsEnterpriseServer2016(const OS_FACTS& facts, int useUnderlying) const;
  int IsEnterpriseServer2019(const OS_FACTS& facts, int useUnderlying) const;
  int IsEnterpriseServer2022(const OS_FACTS& facts, int useUnderlying) const;
  int IsStandardServer2003(const OS_FACTS& facts, int useUnderlying) const;
  int IsStandardServer2003R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsStandardServer2008(const OS_FACTS& facts, int useUnderlying) const;
  int IsStandardServer2008R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsStandardServer2012(const OS_FACTS& facts, int useUnderlying) const;
  int IsStandardServer2012R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsStandardServer2016(const OS_FACTS& facts, int useUnderlying) const;
  int IsStandardServer2019(const OS_FACTS& facts, int useUnderlying) const;
  int IsStandardServer2022(const OS_FACTS& facts, int useUnderlying) const;
  int IsWebServer2003(const OS_FACTS& facts, int useUnderlying) const;
  int IsWebServer2003R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsWebServer2008(const OS_FACTS& facts, int useUnderlying) const;
  int IsWebServer2008R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsWebServer2012(const OS_FACTS& facts, int useUnderlying) const;
  int IsWebServer2012R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsWebServer2016(const OS_FACTS& facts, int useUnderlying) const;
  int IsWebServer2019(const OS_FACTS& facts, int useUnderlying) const;
  int IsWebServer2022(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2003(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2003R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2008(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2008R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2012(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2012R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2016(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2019(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2022(const OS_FACTS& facts, int useUnderlying) const;

  // Releases and other combinations.
  int IsWindows64Bit(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNT(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNTServer(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNTWorkstation(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNTPrimaryDomainController(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNTBackupDomainController(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNTDatacenterServer(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNTEnterpriseServer(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNT31(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNT35(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNT351(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsNT4(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows2000(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows2000Professional(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows2000Server(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows2000AdvancedServer(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows2000DatacenterServer(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows2000DomainController(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsXPOrServer2003(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsXPPersonal(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsXPProfessional(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsXP(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsVistaOrServer2008(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsVista(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows7OrServer2008R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows7(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows8OrServer2012(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows8(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsRT(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows81OrServer2012R2(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows81(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows81WithUpdate(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServer2012R2WithUpdate(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10OrServer2016(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version1507(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version1511(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version1607(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version1703(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version1709(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version1803(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version1809(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version1903(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version1909(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version2004(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version20H2(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10Version21H1(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows10DevelopmentChannel(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServerVersion1709(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServerVersion1803(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServerVersion1809(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServerVersion1903(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServerVersion1909(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServerVersion2004(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsServerDevelopmentChannel(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows95(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows95SP1(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows95B(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows95C(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows98(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows98SP1(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows98SE(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsME(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows30(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindows31(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsForWorkgroups311(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsCE(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsCENET(const OS_FACTS& facts, int useUnderlying) const;
  int IsWindowsEmbeddedCompact(const OS_FACTS& facts, int useUnderlying) const;
  int AlwaysFalse(const OS_FACTS& facts, int useUnderlying) const;

  // Releases by their numbers alone, before there is a record.
  static int IsWindows95BBuild(unsigned int major, unsigned int minor, unsigned int build);
  static int IsWindows95CBuild(unsigned int major, unsigned int minor, unsigned int build);
  static int IsWindows95SP1Build(unsigned int major, unsigned int minor, unsigned int build);
  static int IsWindows98Build(unsigned int major, unsigned int minor, unsigned int build);
  static int IsWindows98SEBuild(unsigned int major, unsigned int minor, unsigned int build);
  static int IsWindows98SP1Build(unsigned int major, unsigned int minor, unsigned int build);
  static int IsWindowsMEBuild(unsigned int major, unsigned int minor);

  // The steps of collecting.

  /// All that follows the first version numbers; `platformId` and the rest as the version call
  /// gives them, `hasExtended` whether it knew the product's type.
  void FillVersion(std::uint32_t major, std::uint32_t minor, std::uint32_t build,
                   const char* csdVersion, std::uint16_t spMajor, std::uint16_t spMinor,
                   std::uint32_t platformId, int hasExtended, OS_FACTS& facts);

  /// Sets the flags of each bit of a suite mask.
  void ApplySuiteMask(std::uint16_t wSuiteMask, OS_FACTS& facts);

  /// Sets what the value of `GetProductInfo` stands for.
  void ApplyProductInfo(OS_FACTS& facts);

  void ReadProductSuite(OS_FACTS& facts);     ///< Sets the flags of the registry's suites.
  void ReadRemoteAdminMode(OS_FACTS& facts);  ///< Sets `RemoteAdminMode` where it is on.

  /// The record's processor code of an architecture; 0 for one that is not known.
  std::uint32_t MapProcessor(std::uint16_t wProcessorArchitecture);

  /// The first number in a service pack's text; 0 for none.
  int ParseServicePack(const char* text);
};

/// A question about a record, for programs that ask all of them.
struct OSPredicate {
  const char* name;                                        ///< Its name in `COSProbe`.
  int (*holds)(const OS_FACTS& facts, int useUnderlying);  ///< 1 when it holds, else 0.
};

/// The 217 questions about a record, sorted by name (those about plain numbers are not among them).
/// Gives their number; they stay for the life of the library.
ONDREL_API const OSPredicate* OSPredicates(std::size_t& count);

/// The record of an operating system. Built without one it collects that of this host, which does
/// not change any more.
class ONDREL_API CSystemInfo {
public:
  CSystemInfo();  ///< The record of this host.

  /// Takes facts that are known already, such as those of another machine.
  explicit CSystemInfo(const OS_FACTS& facts);

  CSystemInfo(const CSystemInfo&) = default;
  CSystemInfo& operator=(const CSystemInfo&) = default;
  virtual ~CSystemInfo();

protected:
  COSProbe m_Probe;         ///< Answers the questions.
  OS_FACTS m_Facts;         ///< The record.
  bool m_IsStorageProduct;  ///< The host calls itself a storage product.
};

/// Names an operating system. All names say what the system really is: the underlying half. They
/// look at the record alone; any number of threads may use one object.
class ONDREL_API COSInfo_Win : public CSystemInfo {
public:
  /// Names the operating system of this host.
  COSInfo_Win();

  /// Names the operating system that the facts describe.
  explicit COSInfo_Win(const OS_FACTS& facts);

  /// The record that is named.
  const OS_FACTS& Facts() const { return m_Facts; }

  /// The maker. Always true.
  bool GetOSVendor(std::string& vendor) const;

  /// The product, such as "Windows Server 2019"; "Windows" where it is none of those known. Always
  /// true.
  bool GetOSProduct(std::string& product) const;

  /// The edition, such as "Datacenter Edition, Server Core". `edition` has to be empty. False when
  /// the text is empty.
  bool GetOSEdition(std::string& edition) const;

  /// Features with ", " between them. False when the text is empty.
  bool GetOSFeatures(std::string& features) const;

  /// The service pack, such as "3" or "1a". False when there is none.
  bool GetOSServicePack(std::string& servicePack) const;

  /// Major and minor number, such as "10.0". Always true.
  bool GetOSVersion(std::string& version) const;

  /// The build number. Always true.
  bool GetOSBuildNumber(std::string& build) const;

  /// The processor architecture. False, with an empty text, for those without a name.
  bool GetProcessorArchitecture(std::string& architecture) const;

  /// Reports nothing on these systems: false, with both arguments as they were.
  bool GetKernelVersion(unsigned int& major, unsigned int& minor) const;

private:
  std::uint32_t m_KernelMajor = 0;
  std::uint32_t m_KernelMinor = 0;
};

}  // namespace Ondrel
