#pragma once

#include <cstdint>

/// The flags of an operating system's record.
namespace Ondrel {

/// One flag: its name, the number of its word (`suite1` to `suite4`) and its bit there.
struct OSFlag {
  const char* name;    ///< The constant's name in `OSFlags`.
  int word;            ///< 1 to 4: `suite1` to `suite4`.
  std::uint32_t mask;  ///< The one bit that is set.
};

namespace OSFlags {

// clang-format off
inline constexpr OSFlag SmallBusiness{"SmallBusiness", 1, 0x00000001};
inline constexpr OSFlag Enterprise{"Enterprise", 1, 0x00000002};
inline constexpr OSFlag PrimaryDomainController{"PrimaryDomainController", 1, 0x00000004};
inline constexpr OSFlag BackupDomainController{"BackupDomainController", 1, 0x00000008};
inline constexpr OSFlag TerminalServices{"TerminalServices", 1, 0x00000010};
inline constexpr OSFlag Datacenter{"Datacenter", 1, 0x00000020};
inline constexpr OSFlag Personal{"Personal", 1, 0x00000040};
inline constexpr OSFlag WebEdition{"WebEdition", 1, 0x00000080};
inline constexpr OSFlag Embedded{"Embedded", 1, 0x00000100};
inline constexpr OSFlag RemoteAdminMode{"RemoteAdminMode", 1, 0x00000200};
inline constexpr OSFlag UniprocessorFree{"UniprocessorFree", 1, 0x00000400};
inline constexpr OSFlag UniprocessorChecked{"UniprocessorChecked", 1, 0x00000800};
inline constexpr OSFlag MultiprocessorFree{"MultiprocessorFree", 1, 0x00001000};
inline constexpr OSFlag MultiprocessorChecked{"MultiprocessorChecked", 1, 0x00002000};
inline constexpr OSFlag MediaCenter{"MediaCenter", 1, 0x00004000};
inline constexpr OSFlag TabletPC{"TabletPC", 1, 0x00008000};
inline constexpr OSFlag Starter{"Starter", 1, 0x00010000};
inline constexpr OSFlag ServerR2{"ServerR2", 1, 0x00020000};
inline constexpr OSFlag ComputeCluster{"ComputeCluster", 1, 0x00040000};
inline constexpr OSFlag StorageServer{"StorageServer", 1, 0x00080000};
inline constexpr OSFlag SecurityAppliance{"SecurityAppliance", 1, 0x00100000};
inline constexpr OSFlag BackOffice{"BackOffice", 1, 0x00200000};
inline constexpr OSFlag Ultimate{"Ultimate", 1, 0x00400000};
inline constexpr OSFlag NEdition{"NEdition", 1, 0x00800000};
inline constexpr OSFlag HomeBasic{"HomeBasic", 1, 0x01000000};
inline constexpr OSFlag HomePremium{"HomePremium", 1, 0x02000000};
inline constexpr OSFlag HyperVTools{"HyperVTools", 1, 0x04000000};
inline constexpr OSFlag Business{"Business", 1, 0x08000000};
inline constexpr OSFlag HomeServer{"HomeServer", 1, 0x10000000};
inline constexpr OSFlag ServerCore{"ServerCore", 1, 0x20000000};
inline constexpr OSFlag EssentialBusinessManagement{"EssentialBusinessManagement", 1, 0x40000000};
inline constexpr OSFlag EssentialBusinessMessaging{"EssentialBusinessMessaging", 1, 0x80000000};
inline constexpr OSFlag EssentialBusinessSecurity{"EssentialBusinessSecurity", 2, 0x00000001};
inline constexpr OSFlag ClusterServer{"ClusterServer", 2, 0x00000002};
inline constexpr OSFlag SmallBusinessPremium{"SmallBusinessPremium", 2, 0x00000004};
inline constexpr OSFlag StorageExpress{"StorageExpress", 2, 0x00000008};
inline constexpr OSFlag StorageWorkgroup{"StorageWorkgroup", 2, 0x00000010};
inline constexpr OSFlag Standard{"Standard", 2, 0x00000020};
inline constexpr OSFlag EEdition{"EEdition", 2, 0x00000040};
inline constexpr OSFlag Professional{"Professional", 2, 0x00000080};
inline constexpr OSFlag Foundation{"Foundation", 2, 0x00000100};
inline constexpr OSFlag MultiPoint{"MultiPoint", 2, 0x00000200};
inline constexpr OSFlag HyperVServer{"HyperVServer", 2, 0x00000400};
inline constexpr OSFlag HomeServerPremium{"HomeServerPremium", 2, 0x00000800};
inline constexpr OSFlag StorageEssentials{"StorageEssentials", 2, 0x00001000};
inline constexpr OSFlag Prerelease{"Prerelease", 2, 0x00002000};
inline constexpr OSFlag Evaluation{"Evaluation", 2, 0x00004000};
inline constexpr OSFlag Premium{"Premium", 2, 0x00008000};
inline constexpr OSFlag MultiPointPremium{"MultiPointPremium", 2, 0x00010000};
inline constexpr OSFlag ThinPC{"ThinPC", 2, 0x00020000};
inline constexpr OSFlag Automotive{"Automotive", 2, 0x00040000};
inline constexpr OSFlag China{"China", 2, 0x00080000};
inline constexpr OSFlag SingleLanguage{"SingleLanguage", 2, 0x00100000};
inline constexpr OSFlag Win32s{"Win32s", 2, 0x00200000};
inline constexpr OSFlag Windows81Update{"Windows81Update", 2, 0x00400000};
inline constexpr OSFlag CoreConnected{"CoreConnected", 2, 0x00800000};
inline constexpr OSFlag Education{"Education", 2, 0x01000000};
inline constexpr OSFlag Industry{"Industry", 2, 0x02000000};
inline constexpr OSFlag Core{"Core", 2, 0x04000000};
inline constexpr OSFlag Student{"Student", 2, 0x08000000};
inline constexpr OSFlag Mobile{"Mobile", 2, 0x10000000};
inline constexpr OSFlag IoTCore{"IoTCore", 2, 0x20000000};
inline constexpr OSFlag EnterpriseS{"EnterpriseS", 2, 0x40000000};
inline constexpr OSFlag NanoServer{"NanoServer", 2, 0x80000000};
inline constexpr OSFlag CloudStorageServer{"CloudStorageServer", 3, 0x00000001};
inline constexpr OSFlag Arm64Server{"Arm64Server", 3, 0x00000002};
inline constexpr OSFlag PPIPro{"PPIPro", 3, 0x00000004};
inline constexpr OSFlag ConnectedCar{"ConnectedCar", 3, 0x00000008};
inline constexpr OSFlag Handheld{"Handheld", 3, 0x00000010};
inline constexpr OSFlag CloudHostInfrastructure{"CloudHostInfrastructure", 3, 0x00000020};
inline constexpr OSFlag Holographic{"Holographic", 3, 0x00000040};
inline constexpr OSFlag EnterpriseSubscription{"EnterpriseSubscription", 3, 0x00000080};
inline constexpr OSFlag UtilityVM{"UtilityVM", 3, 0x00000100};
inline constexpr OSFlag ProWorkstation{"ProWorkstation", 3, 0x00000200};
inline constexpr OSFlag AzureServer{"AzureServer", 3, 0x00000400};
inline constexpr OSFlag IoTCommercial{"IoTCommercial", 3, 0x00000800};
inline constexpr OSFlag EnterpriseG{"EnterpriseG", 3, 0x00001000};
inline constexpr OSFlag CloudEdition{"CloudEdition", 3, 0x00002000};
inline constexpr OSFlag RemoteDesktopHost{"RemoteDesktopHost", 3, 0x00004000};
inline constexpr OSFlag HubOS{"HubOS", 3, 0x00008000};
inline constexpr OSFlag Communications{"Communications", 3, 0x00010000};
inline constexpr OSFlag Restricted{"Restricted", 3, 0x00020000};
inline constexpr OSFlag OneCoreUpdateOS{"OneCoreUpdateOS", 3, 0x00040000};
inline constexpr OSFlag Andromeda{"Andromeda", 3, 0x00080000};
inline constexpr OSFlag XboxSystemOS{"XboxSystemOS", 3, 0x00100000};
inline constexpr OSFlag IoTOS{"IoTOS", 3, 0x00200000};
inline constexpr OSFlag IoTEdgeOS{"IoTEdgeOS", 3, 0x00400000};
inline constexpr OSFlag IoTEnterprise{"IoTEnterprise", 3, 0x00800000};
inline constexpr OSFlag Lite{"Lite", 3, 0x01000000};
inline constexpr OSFlag XboxNativeOS{"XboxNativeOS", 3, 0x02000000};
inline constexpr OSFlag XboxGameOS{"XboxGameOS", 3, 0x04000000};
inline constexpr OSFlag XboxEraOS{"XboxEraOS", 3, 0x08000000};
inline constexpr OSFlag XboxDurangoHostOS{"XboxDurangoHostOS", 3, 0x10000000};
inline constexpr OSFlag XboxScarlettHostOS{"XboxScarlettHostOS", 3, 0x20000000};
inline constexpr OSFlag AzureStackHCI{"AzureStackHCI", 3, 0x40000000};
inline constexpr OSFlag DatacenterAzureEdition{"DatacenterAzureEdition", 3, 0x80000000};
inline constexpr OSFlag DatacenterCoreAzureEdition{"DatacenterCoreAzureEdition", 4, 0x00000001};
// clang-format on

/// All flags in the order of their words and bits.
inline constexpr OSFlag kAll[] = {
    SmallBusiness,
    Enterprise,
    PrimaryDomainController,
    BackupDomainController,
    TerminalServices,
    Datacenter,
    Personal,
    WebEdition,
    Embedded,
    RemoteAdminMode,
    UniprocessorFree,
    UniprocessorChecked,
    MultiprocessorFree,
    MultiprocessorChecked,
    MediaCenter,
    TabletPC,
    Starter,
    ServerR2,
    ComputeCluster,
    StorageServer,
    SecurityAppliance,
    BackOffice,
    Ultimate,
    NEdition,
    HomeBasic,
    HomePremium,
    HyperVTools,
    Business,
    HomeServer,
    ServerCore,
    EssentialBusinessManagement,
    EssentialBusinessMessaging,
    EssentialBusinessSecurity,
    ClusterServer,
    SmallBusinessPremium,
    StorageExpress,
    StorageWorkgroup,
    Standard,
    EEdition,
    Professional,
    Foundation,
    MultiPoint,
    HyperVServer,
    HomeServerPremium,
    StorageEssentials,
    Prerelease,
    Evaluation,
    Premium,
    MultiPointPremium,
    ThinPC,
    Automotive,
    China,
    SingleLanguage,
    Win32s,
    Windows81Update,
    CoreConnected,
    Education,
    Industry,
    Core,
    Student,
    Mobile,
    IoTCore,
    EnterpriseS,
    NanoServer,
    CloudStorageServer,
    Arm64Server,
    PPIPro,
    ConnectedCar,
    Handheld,
    CloudHostInfrastructure,
    Holographic,
    EnterpriseSubscription,
    UtilityVM,
    ProWorkstation,
    AzureServer,
    IoTCommercial,
    EnterpriseG,
    CloudEdition,
    RemoteDesktopHost,
    HubOS,
    Communications,
    Restricted,
    OneCoreUpdateOS,
    Andromeda,
    XboxSystemOS,
    IoTOS,
    IoTEdgeOS,
    IoTEnterprise,
    Lite,
    XboxNativeOS,
    XboxGameOS,
    XboxEraOS,
    XboxDurangoHostOS,
    XboxScarlettHostOS,
    AzureStackHCI,
    DatacenterAzureEdition,
    DatacenterCoreAzureEdition,
};

}  // namespace OSFlags

}  // namespace Ondrel
