#include "Windows/SystemInfo/Codes.h"

#include <Ondrel/OSInfo.h>

namespace Ondrel {

namespace {

constexpr std::uint32_t kNoBound = 0xFFFFFFFF;

/// A record seen by one of its halves.
class View {
public:
  View(const OS_FACTS& facts, int useUnderlying)
      : m_facts(facts), m_half(useUnderlying != 0 ? facts.underlying : facts.reported) {}

  bool Is(Platform platform) const { return m_half.platform == platform; }
  bool Is(OsType type) const { return m_facts.osType == type; }
  bool Has(const OSFlag& flag) const { return OSFlagIsSet(m_facts, flag); }
  std::uint32_t Major() const { return m_half.major; }
  std::uint32_t Minor() const { return m_half.minor; }
  bool HasBuild(std::uint32_t first, std::uint32_t last) const {
    return m_half.build >= first && m_half.build <= last;
  }
  std::uint32_t Ubr() const { return m_facts.ubr; }
  bool IsSemiAnnual() const { return m_facts.semiAnnual != 0; }

  bool NT(std::uint32_t major, std::uint32_t minor) const {
    return Is(kNT) && m_half.major == major && m_half.minor == minor;
  }
  /// XP and Server 2003.
  bool NT5x() const { return Is(kNT) && m_half.major == 5 && m_half.minor != 0; }
  bool OldNT() const { return Is(kNT) && m_half.major < 5; }
  bool Windows9x(std::uint32_t minor) const {
    return Is(kWindows9x) && m_half.major == 4 && m_half.minor == minor;
  }
  bool EarlyWindows95() const { return Is(kWindows9x) && m_half.major == 4 && m_half.minor < 10; }

  /// From Windows 10 on; the bound of 6.4 is intentional.
  bool Modern() const {
    return Is(kNT) && (m_half.major >= 7 || (m_half.major == 6 && m_half.minor >= 4));
  }
  bool AnyServer() const { return Is(kServer) || Is(kDomainController); }
  bool Server2019() const { return Modern() && HasBuild(17600, 20297) && AnyServer(); }
  bool Server2022() const { return Modern() && HasBuild(20298, kNoBound) && AnyServer(); }
  bool Windows10OrServer2016() const { return Modern() && !Server2019() && !Server2022(); }
  bool Windows10() const { return Windows10OrServer2016() && Is(kWorkstation); }

  /// Two releases share build 18362; the revision distinguishes them.
  bool IsBefore1909() const { return Ubr() < 10000; }
  bool HasBuildOf1909() const {
    return (HasBuild(18362, 18362) && !IsBefore1909()) || HasBuild(18363, 18835);
  }

  /// The releases of servers.
  bool Release2003() const { return NT5x() && !Has(OSFlags::ServerR2); }
  bool Release2003R2() const { return NT5x() && Has(OSFlags::ServerR2); }
  bool Release2008() const { return NT(6, 0); }
  bool Release2008R2() const { return NT(6, 1); }
  bool Release2012() const { return NT(6, 2); }
  bool Release2012R2() const { return NT(6, 3); }
  bool Release2016() const { return Windows10OrServer2016(); }
  bool Release2019() const { return Server2019(); }
  bool Release2022() const { return Server2022(); }

private:
  const OS_FACTS& m_facts;
  const OS_VERSION_HALF& m_half;
};

}  // namespace

#define ONDREL_PREDICATE(name, test)                                   \
  int COSProbe::name(const OS_FACTS& facts, int useUnderlying) const { \
    [[maybe_unused]] const View view(facts, useUnderlying);            \
    return (test) ? 1 : 0;                                             \
  }

// The kinds of servers of a release. Datacenter, standard and web servers count by their flag
// alone, on a workstation too; `any` is the type that the release asks of the others.
#define ONDREL_SERVER_RELEASE(release, enterprise, windows)                                        \
  ONDREL_PREDICATE(IsDatacenterServer##release,                                                    \
                   view.Release##release() && view.Has(OSFlags::Datacenter))                       \
  ONDREL_PREDICATE(IsDomainControllerServer##release,                                              \
                   view.Release##release() && view.Is(kDomainController))                          \
  ONDREL_PREDICATE(IsEnterpriseServer##release,                                                    \
                   view.Release##release() && (enterprise) && view.Has(OSFlags::Enterprise))       \
  ONDREL_PREDICATE(IsStandardServer##release,                                                      \
                   view.Release##release() && view.Has(OSFlags::Standard))                         \
  ONDREL_PREDICATE(IsWebServer##release, view.Release##release() && view.Has(OSFlags::WebEdition)) \
  ONDREL_PREDICATE(IsWindowsServer##release, view.Release##release() && (windows))

ONDREL_SERVER_RELEASE(2003, view.Is(kServer), view.Is(kServer))
ONDREL_SERVER_RELEASE(2003R2, view.Is(kServer), view.Is(kServer))
ONDREL_SERVER_RELEASE(2008, view.Is(kServer), view.Is(kServer))
ONDREL_SERVER_RELEASE(2008R2, view.Is(kServer), view.Is(kServer))
ONDREL_SERVER_RELEASE(2012, view.Is(kServer), view.Is(kServer))
ONDREL_SERVER_RELEASE(2012R2, view.Is(kServer), view.Is(kServer))
ONDREL_SERVER_RELEASE(2016, view.Is(kServer), view.Is(kServer))
// The bands of these two hold on servers and domain controllers alone.
ONDREL_SERVER_RELEASE(2019, true, true)
ONDREL_SERVER_RELEASE(2022, true, true)

#undef ONDREL_SERVER_RELEASE

// clang-format off

// The library is a 64-bit program.
ONDREL_PREDICATE(IsWindows64Bit, true)
ONDREL_PREDICATE(AlwaysFalse, false)

// Windows NT and 2000
ONDREL_PREDICATE(IsWindowsNT, view.OldNT())
ONDREL_PREDICATE(IsWindowsNTServer, view.OldNT() && view.Is(kServer))
ONDREL_PREDICATE(IsWindowsNTWorkstation, view.OldNT() && view.Is(kWorkstation))
ONDREL_PREDICATE(IsWindowsNTPrimaryDomainController, view.OldNT() && view.Is(kDomainController) && view.Has(OSFlags::PrimaryDomainController))
ONDREL_PREDICATE(IsWindowsNTBackupDomainController, view.OldNT() && view.Is(kDomainController) && view.Has(OSFlags::BackupDomainController))
ONDREL_PREDICATE(IsWindowsNTDatacenterServer, view.OldNT() && view.Has(OSFlags::Datacenter))
ONDREL_PREDICATE(IsWindowsNTEnterpriseServer, view.OldNT() && view.Has(OSFlags::Enterprise))
ONDREL_PREDICATE(IsWindowsNT31, view.NT(3, 10))
ONDREL_PREDICATE(IsWindowsNT35, view.NT(3, 50))
ONDREL_PREDICATE(IsWindowsNT351, view.NT(3, 51))
ONDREL_PREDICATE(IsWindowsNT4, view.Is(kNT) && view.Major() == 4)
ONDREL_PREDICATE(IsWindows2000, view.NT(5, 0))
ONDREL_PREDICATE(IsWindows2000Professional, view.NT(5, 0) && view.Is(kWorkstation))
ONDREL_PREDICATE(IsWindows2000Server, view.NT(5, 0) && view.Is(kServer))
ONDREL_PREDICATE(IsWindows2000AdvancedServer, view.NT(5, 0) && view.Is(kServer) && view.Has(OSFlags::Enterprise))
ONDREL_PREDICATE(IsWindows2000DatacenterServer, view.NT(5, 0) && view.Has(OSFlags::Datacenter))
ONDREL_PREDICATE(IsWindows2000DomainController, view.NT(5, 0) && view.Is(kDomainController))

// XP to 8.1
ONDREL_PREDICATE(IsWindowsXPOrServer2003, view.NT5x())
ONDREL_PREDICATE(IsWindowsXPPersonal, view.NT5x() && view.Has(OSFlags::Personal))
ONDREL_PREDICATE(IsWindowsXPProfessional, view.NT5x() && view.Is(kWorkstation) && !view.Has(OSFlags::Personal))
ONDREL_PREDICATE(IsWindowsXP, IsWindowsXPPersonal(facts, useUnderlying) || IsWindowsXPProfessional(facts, useUnderlying))
ONDREL_PREDICATE(IsWindowsVistaOrServer2008, view.NT(6, 0))
ONDREL_PREDICATE(IsWindowsVista, view.NT(6, 0) && view.Is(kWorkstation))
ONDREL_PREDICATE(IsWindows7OrServer2008R2, view.NT(6, 1))
ONDREL_PREDICATE(IsWindows7, view.NT(6, 1) && view.Is(kWorkstation))
ONDREL_PREDICATE(IsWindows8OrServer2012, view.NT(6, 2))
ONDREL_PREDICATE(IsWindows8, view.NT(6, 2) && view.Is(kWorkstation))
// Intentional: the processor is the underlying one for both halves.
ONDREL_PREDICATE(IsWindowsRT, view.NT(6, 2) && view.Is(kWorkstation) && facts.underlying.processor == 9)
ONDREL_PREDICATE(IsWindows81OrServer2012R2, view.NT(6, 3))
ONDREL_PREDICATE(IsWindows81, view.NT(6, 3) && view.Is(kWorkstation))
ONDREL_PREDICATE(IsWindows81WithUpdate, view.NT(6, 3) && view.Is(kWorkstation) && view.Has(OSFlags::Windows81Update))
ONDREL_PREDICATE(IsWindowsServer2012R2WithUpdate, view.NT(6, 3) && view.Is(kServer) && view.Has(OSFlags::Windows81Update))

// Windows 10
ONDREL_PREDICATE(IsWindows10OrServer2016, view.Windows10OrServer2016())
ONDREL_PREDICATE(IsWindows10, view.Windows10())
ONDREL_PREDICATE(IsWindows10Version1507, view.Windows10() && view.HasBuild(0, 10240))
ONDREL_PREDICATE(IsWindows10Version1511, view.Windows10() && view.HasBuild(10241, 10586))
ONDREL_PREDICATE(IsWindows10Version1607, view.Windows10() && view.HasBuild(10587, 14393))
ONDREL_PREDICATE(IsWindows10Version1703, view.Windows10() && view.HasBuild(14394, 15063))
ONDREL_PREDICATE(IsWindows10Version1709, view.Windows10() && view.HasBuild(15064, 16299))
ONDREL_PREDICATE(IsWindows10Version1803, view.Windows10() && view.HasBuild(16300, 17134))
ONDREL_PREDICATE(IsWindows10Version1809, view.Windows10() && view.HasBuild(17135, 17763))
ONDREL_PREDICATE(IsWindows10Version1903, view.Windows10() && view.HasBuild(17764, 18362) && view.IsBefore1909())
ONDREL_PREDICATE(IsWindows10Version1909, view.Windows10() && view.HasBuildOf1909())
ONDREL_PREDICATE(IsWindows10Version2004, view.Windows10() && view.HasBuild(18836, 19041))
ONDREL_PREDICATE(IsWindows10Version20H2, view.Windows10() && view.HasBuild(19042, 19042))
ONDREL_PREDICATE(IsWindows10Version21H1, view.Windows10() && view.HasBuild(19043, 19043))
ONDREL_PREDICATE(IsWindows10DevelopmentChannel, view.Windows10() && view.HasBuild(19536, kNoBound))

// Servers of the semi-annual channel
ONDREL_PREDICATE(IsWindowsServerVersion1709, view.Windows10OrServer2016() && view.Is(kServer) && view.HasBuild(14394, 16299) && view.IsSemiAnnual())
ONDREL_PREDICATE(IsWindowsServerVersion1803, view.Windows10OrServer2016() && view.Is(kServer) && view.HasBuild(16300, 17599) && view.IsSemiAnnual())
ONDREL_PREDICATE(IsWindowsServerVersion1809, view.Server2019() && view.HasBuild(0, 18203) && view.IsSemiAnnual())
ONDREL_PREDICATE(IsWindowsServerVersion1903, view.Server2019() && view.HasBuild(18204, 18362) && view.IsBefore1909() && view.IsSemiAnnual())
ONDREL_PREDICATE(IsWindowsServerVersion1909, view.Server2019() && view.HasBuildOf1909() && view.IsSemiAnnual())
ONDREL_PREDICATE(IsWindowsServerVersion2004, view.Server2019() && view.HasBuild(18836, 19535) && view.IsSemiAnnual())
ONDREL_PREDICATE(IsWindowsServerDevelopmentChannel, view.Server2019() && view.HasBuild(19536, kNoBound))

// Before NT, and beside it
ONDREL_PREDICATE(IsWindows95, view.Windows9x(0) && view.HasBuild(950, 950))
// Intentional: the minor is not asked.
ONDREL_PREDICATE(IsWindows95SP1, view.Is(kWindows9x) && view.Major() == 4 && view.HasBuild(951, 1080))
ONDREL_PREDICATE(IsWindows95B, view.EarlyWindows95() && view.HasBuild(1081, 1213))
ONDREL_PREDICATE(IsWindows95C, view.EarlyWindows95() && view.HasBuild(1214, kNoBound))
ONDREL_PREDICATE(IsWindows98, view.Windows9x(10) && view.HasBuild(1998, 1998))
ONDREL_PREDICATE(IsWindows98SP1, view.Windows9x(10) && view.HasBuild(1999, 2182))
ONDREL_PREDICATE(IsWindows98SE, view.Windows9x(10) && view.HasBuild(2183, kNoBound))
ONDREL_PREDICATE(IsWindowsME, view.Windows9x(90))
// Intentional: the major is not asked.
ONDREL_PREDICATE(IsWindows30, view.Is(kWindows3) && view.Minor() == 0)
ONDREL_PREDICATE(IsWindows31, view.Is(kWindows3) && view.Minor() == 10)
ONDREL_PREDICATE(IsWindowsForWorkgroups311, view.Is(kWindows3) && view.Minor() == 11)
ONDREL_PREDICATE(IsWindowsCE, view.Is(kCE))
ONDREL_PREDICATE(IsWindowsCENET, view.Is(kCE) && view.Major() == 4 && view.Minor() != 0)
ONDREL_PREDICATE(IsWindowsEmbeddedCompact, view.Is(kCE) && view.Major() >= 7)

#undef ONDREL_PREDICATE

// By numbers alone
int COSProbe::IsWindows95BBuild(unsigned int major, unsigned int minor, unsigned int build) { return major == 4 && minor < 10 && build >= 1081 && build <= 1213; }
int COSProbe::IsWindows95CBuild(unsigned int major, unsigned int minor, unsigned int build) { return major == 4 && minor < 10 && build >= 1214; }
int COSProbe::IsWindows95SP1Build(unsigned int major, unsigned int, unsigned int build) { return major == 4 && build >= 951 && build <= 1080; }
int COSProbe::IsWindows98Build(unsigned int major, unsigned int minor, unsigned int build) { return major == 4 && minor == 10 && build == 1998; }
int COSProbe::IsWindows98SEBuild(unsigned int major, unsigned int minor, unsigned int build) { return major == 4 && minor == 10 && build >= 2183; }
int COSProbe::IsWindows98SP1Build(unsigned int major, unsigned int minor, unsigned int build) { return major == 4 && minor == 10 && build >= 1999 && build <= 2182; }
int COSProbe::IsWindowsMEBuild(unsigned int major, unsigned int minor) { return major == 4 && minor == 90; }
// clang-format on

}  // namespace Ondrel
