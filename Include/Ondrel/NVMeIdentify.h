#pragma once

#include <Ondrel/Export.h>

#include <cstddef>
#include <cstdint>

// Records declare their assignment, which is the compiler's own, only to export it.
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-copy"
#endif

/// The records that an NVMe device's Identify command delivers; `Ondrel/NVMe.h` says what holds for
/// all records.
namespace Ondrel {

#pragma pack(push, 1)

/// LBA format data: one way in which a namespace can be formatted. 4 bytes.
struct ONDREL_API NVME_IDENTIFY_LBA_FORMAT_DATA {
  std::uint16_t MS;     ///< Metadata Size: bytes of metadata for each block.
  std::uint8_t LBADS;   ///< LBA Data Size: size of a block as a power of two; 9 is 512 bytes.
  std::uint8_t RP : 2;  ///< Relative Performance: 0 best to 3 degraded; see `sRelativePerformance`.
  std::uint8_t Reserved3 : 6;

  NVME_IDENTIFY_LBA_FORMAT_DATA() = default;
  NVME_IDENTIFY_LBA_FORMAT_DATA(const NVME_IDENTIFY_LBA_FORMAT_DATA&) = default;
  ONDREL_API_INLINE NVME_IDENTIFY_LBA_FORMAT_DATA& operator=(const NVME_IDENTIFY_LBA_FORMAT_DATA&) =
      default;
  ONDREL_API_INLINE NVME_IDENTIFY_LBA_FORMAT_DATA& operator=(
      NVME_IDENTIFY_LBA_FORMAT_DATA&&) noexcept = default;

  /// Size of a block in bytes. 0 when `LBADS` is below 9: fewer than 512 bytes are not a valid
  /// size. The power is taken modulo 64.
  std::uint64_t LBASize();

  /// "Best", "Better", "Good" or "Degraded".
  const char* sRelativePerformance();
};

/// Power state descriptor: what one power state takes and how fast it is. 32 bytes.
struct ONDREL_API NVME_POWER_STATE_DESCRIPTOR {
  std::uint16_t MP;  ///< Maximum Power, in the unit that `MPS` gives.
  std::uint8_t Reserved2;
  std::uint8_t MPS : 1;   ///< Max Power Scale: 0 hundredths of a watt, 1 tenths of a milliwatt.
  std::uint8_t NOPS : 1;  ///< Non-Operational State: 1 when no I/O is processed in it.
  std::uint8_t Reserved3 : 6;
  std::uint32_t ENLAT;   ///< Entry Latency: microseconds to enter the state.
  std::uint32_t EXLAT;   ///< Exit Latency: microseconds to leave the state.
  std::uint8_t RRT : 5;  ///< Relative Read Throughput: lower is better.
  std::uint8_t Reserved12 : 3;
  std::uint8_t RRL : 5;  ///< Relative Read Latency: lower is better.
  std::uint8_t Reserved13 : 3;
  std::uint8_t RWT : 5;  ///< Relative Write Throughput: lower is better.
  std::uint8_t Reserved14 : 3;
  std::uint8_t RWL : 5;  ///< Relative Write Latency: lower is better.
  std::uint8_t Reserved15 : 3;
  std::uint16_t IDLP;  ///< Idle Power, in the unit that `IPS` gives.
  std::uint8_t Reserved18 : 6;
  std::uint8_t IPS : 2;  ///< Idle Power Scale: 0 not reported, 1 0.1 milliwatt, 2 0.01 watt.
  std::uint8_t Reserved19;
  std::uint16_t ACTP;    ///< Active Power, in the unit that `APS` gives.
  std::uint8_t APW : 3;  ///< Active Power Workload that `ACTP` was taken with.
  std::uint8_t Reserved22 : 3;
  std::uint8_t APS : 2;  ///< Active Power Scale: 0 not reported, 1 0.1 milliwatt, 2 0.01 watt.
  std::uint8_t Reserved23[9];

  NVME_POWER_STATE_DESCRIPTOR() = default;
  NVME_POWER_STATE_DESCRIPTOR(const NVME_POWER_STATE_DESCRIPTOR&) = default;
  ONDREL_API_INLINE NVME_POWER_STATE_DESCRIPTOR& operator=(const NVME_POWER_STATE_DESCRIPTOR&) =
      default;
  ONDREL_API_INLINE NVME_POWER_STATE_DESCRIPTOR& operator=(NVME_POWER_STATE_DESCRIPTOR&&) noexcept =
      default;
};

/// Identify Namespace data structure. 4096 bytes.
struct ONDREL_API NVME_IDENTIFY_NAMESPACE {
  std::uint64_t NSZE;   ///< Namespace Size, in blocks.
  std::uint64_t NCAP;   ///< Namespace Capacity: blocks that may be allocated at a time.
  std::uint64_t NUSE;   ///< Namespace Utilization: blocks that are allocated now.
  std::uint8_t NSFEAT;  ///< Namespace Features.
  std::uint8_t NLBAF;   ///< Number of LBA Formats: index of the last valid entry of `LBAF`.
  struct {
    std::uint8_t Format : 4;         ///< Index into `LBAF` of the format in use.
    std::uint8_t MetadataAtEnd : 1;  ///< Metadata stands at the end of each block.
    std::uint8_t Reserved : 3;
  } FLBAS;              ///< Formatted LBA Size.
  std::uint8_t MC;      ///< Metadata Capabilities.
  std::uint8_t DPC;     ///< End-to-end Data Protection Capabilities.
  std::uint8_t DPS;     ///< End-to-end Data Protection Type Settings.
  std::uint8_t NMIC;    ///< Namespace Multi-path I/O and Namespace Sharing Capabilities.
  std::uint8_t RESCAP;  ///< Reservation Capabilities.
  struct {
    std::uint8_t PercentageRemaining : 7;  ///< Percent of the namespace still to be formatted.
    std::uint8_t Supported : 1;            ///< The indicator is supported.
  } FPI;                                   ///< Format Progress Indicator.
  std::uint8_t DLFEAT;                     ///< Deallocate Logical Block Features.
  std::uint16_t NAWUN;      ///< Namespace Atomic Write Unit Normal, in blocks, zero-based.
  std::uint16_t NAWUPF;     ///< Namespace Atomic Write Unit Power Fail, in blocks, zero-based.
  std::uint16_t NACWU;      ///< Namespace Atomic Compare and Write Unit, in blocks, zero-based.
  std::uint16_t NABSN;      ///< Namespace Atomic Boundary Size Normal, in blocks, zero-based.
  std::uint16_t NABO;       ///< Namespace Atomic Boundary Offset: block of the first boundary.
  std::uint16_t NABSPF;     ///< Namespace Atomic Boundary Size Power Fail, in blocks, zero-based.
  std::uint16_t NOIOB;      ///< Namespace Optimal I/O Boundary, in blocks; 0 for none reported.
  std::uint64_t NVMCAP[2];  ///< NVM Capacity in bytes, low word first; see `Capacity`.
  std::uint8_t Reserved64[40];
  std::uint8_t NGUID[16];  ///< Namespace Globally Unique Identifier, big-endian; zero for none.
  std::uint8_t EUI64[8];   ///< IEEE Extended Unique Identifier, big-endian; zero for none.
  NVME_IDENTIFY_LBA_FORMAT_DATA LBAF[16];  ///< LBA Formats 0 to 15; see `NLBAF`.
  std::uint8_t Reserved192[192];
  std::uint8_t VS[3712];  ///< Vendor Specific.

  NVME_IDENTIFY_NAMESPACE() = default;
  NVME_IDENTIFY_NAMESPACE(const NVME_IDENTIFY_NAMESPACE&) = default;
  ONDREL_API_INLINE NVME_IDENTIFY_NAMESPACE& operator=(const NVME_IDENTIFY_NAMESPACE&) = default;
  ONDREL_API_INLINE NVME_IDENTIFY_NAMESPACE& operator=(NVME_IDENTIFY_NAMESPACE&&) noexcept =
      default;

  /// Size of a block of the format in use, in bytes.
  ///
  /// 0 when the format's index lies beyond `NLBAF`, or when the format has no valid size.
  std::uint64_t LBASize();

  /// Size of the namespace in bytes: the low word of `NVMCAP`, or when that is zero the first of
  /// `NSZE` and `NCAP` that is not, times `LBASize()` modulo 2 to the 64th.
  std::uint64_t Capacity();
};

/// Identify Controller data structure. 4096 bytes.
struct ONDREL_API NVME_IDENTIFY_CONTROLLER {
  std::uint16_t VID;     ///< PCI Vendor ID.
  std::uint16_t SSVID;   ///< PCI Subsystem Vendor ID.
  char SN[20];           ///< Serial Number, ASCII padded with spaces; see `sSerialNumber`.
  char MN[40];           ///< Model Number, ASCII padded with spaces; see `sModelNumber`.
  char FR[8];            ///< Firmware Revision, ASCII padded with spaces; see `sFirmwareRevision`.
  std::uint8_t RAB;      ///< Recommended Arbitration Burst: commands, as a power of two.
  std::uint8_t IEEE[3];  ///< IEEE OUI Identifier of the controller's vendor, low byte first.
  struct {
    std::uint8_t MultiplePorts : 1;        ///< The subsystem may have more than one port.
    std::uint8_t MultipleControllers : 1;  ///< The subsystem may have more than one controller.
    std::uint8_t VirtualFunction : 1;      ///< The controller belongs to a virtual function.
    std::uint8_t Reserved : 5;
  } CMIC;                ///< Controller Multi-Path I/O and Namespace Sharing Capabilities.
  std::uint8_t MDTS;     ///< Maximum Data Transfer Size: minimum pages, as a power of two; 0 none.
  std::uint16_t CNTLID;  ///< Controller ID within the subsystem.
  struct {
    std::uint8_t TER;   ///< Tertiary version number.
    std::uint8_t MNR;   ///< Minor version number.
    std::uint16_t MJR;  ///< Major version number.
  } VER;                ///< Version of the standard that the controller keeps.
  std::uint32_t RTD3R;  ///< RTD3 Resume Latency, in microseconds; 0 for not reported.
  std::uint32_t RTD3E;  ///< RTD3 Entry Latency, in microseconds; 0 for not reported.
  struct {
    std::uint32_t Reserved0 : 8;
    std::uint32_t NamespaceAttributeNotices : 1;  ///< Reports changed namespaces.
    std::uint32_t FirmwareActivationNotices : 1;  ///< Reports firmware being activated.
    std::uint32_t Reserved10 : 22;
  } OAES;  ///< Optional Asynchronous Events Supported.
  struct {
    std::uint32_t HostIdentifier128Bit : 1;                ///< Takes host identifiers of 128 bits.
    std::uint32_t NonOperationalPowerStatePermissive : 1;  ///< May exceed a state's power for work
                                                           ///< of the controller's own.
    std::uint32_t Reserved : 30;
  } CTRATT;                       ///< Controller Attributes.
  std::uint8_t Reserved100[155];  ///< The last 15 belong to the management interface.
  struct {
    std::uint8_t SMBusPort : 1;  ///< Management endpoint on an SMBus or I2C port.
    std::uint8_t PCIePort : 1;   ///< Management endpoint on a PCI Express port.
    std::uint8_t Reserved : 6;
  } MEC;  ///< Management Endpoint Capabilities.
  struct {
    std::uint16_t Security : 1;                  ///< Security Send and Security Receive.
    std::uint16_t Format : 1;                    ///< Format NVM.
    std::uint16_t Firmware : 1;                  ///< Firmware Commit and Image Download.
    std::uint16_t NamespaceManagement : 1;       ///< Namespace Management and Attachment.
    std::uint16_t DeviceSelfTest : 1;            ///< Device Self-test.
    std::uint16_t Directives : 1;                ///< Directive Send and Directive Receive.
    std::uint16_t ManagementInterface : 1;       ///< NVMe-MI Send and NVMe-MI Receive.
    std::uint16_t VirtualizationManagement : 1;  ///< Virtualization Management.
    std::uint16_t DoorbellBufferConfig : 1;      ///< Doorbell Buffer Config.
    std::uint16_t Reserved : 7;
  } OACS;             ///< Optional Admin Command Support.
  std::uint8_t ACL;   ///< Abort Command Limit, zero-based.
  std::uint8_t AERL;  ///< Asynchronous Event Request Limit, zero-based.
  struct {
    std::uint8_t Slot1ReadOnly : 1;           ///< The first firmware slot is read-only.
    std::uint8_t Slots : 3;                   ///< Number of firmware slots.
    std::uint8_t ActivationWithoutReset : 1;  ///< Firmware is activated without a reset.
    std::uint8_t Reserved : 3;
  } FRMW;  ///< Firmware Updates.
  struct {
    std::uint8_t HealthLogPerNamespace : 1;  ///< Health log of each namespace.
    std::uint8_t CommandEffectsLog : 1;      ///< Log of commands supported and effects.
    std::uint8_t ExtendedData : 1;           ///< Get Log Page takes offsets and long lengths.
    std::uint8_t Telemetry : 1;              ///< Telemetry logs.
    std::uint8_t Reserved : 4;
  } LPA;              ///< Log Page Attributes.
  std::uint8_t ELPE;  ///< Error Log Page Entries, zero-based.
  std::uint8_t NPSS;  ///< Number of Power States Support: index of the last one.
  struct {
    std::uint8_t VendorSpecificFormat : 1;  ///< Vendor specific commands have the standard's form.
    std::uint8_t Reserved : 7;
  } AVSCC;  ///< Admin Vendor Specific Command Configuration.
  struct {
    std::uint8_t Supported : 1;  ///< The controller changes power states by itself.
    std::uint8_t Reserved : 7;
  } APSTA;               ///< Autonomous Power State Transition Attributes.
  std::uint16_t WCTEMP;  ///< Warning Composite Temperature Threshold, in kelvin; 0 not reported.
  std::uint16_t CCTEMP;  ///< Critical Composite Temperature Threshold, in kelvin; 0 not reported.
  std::uint16_t MTFA;    ///< Maximum Time for Firmware Activation, in 100 milliseconds.
  std::uint32_t HMPRE;   ///< Host Memory Buffer Preferred Size, in 4096 bytes.
  std::uint32_t HMMIN;   ///< Host Memory Buffer Minimum Size, in 4096 bytes.
  std::uint64_t TNVMCAP[2];  ///< Total NVM Capacity in bytes, low word first; see `Capacity`.
  std::uint64_t UNVMCAP[2];  ///< Unallocated NVM Capacity in bytes, low word first.
  struct {
    std::uint16_t Units : 3;           ///< Number of RPMB units; 0 for none.
    std::uint16_t Authentication : 3;  ///< Authentication method; 0 is HMAC SHA-256.
    std::uint16_t Reserved : 10;
    std::uint8_t TotalSize;   ///< Size of a unit, in 128 KiB, zero-based.
    std::uint8_t AccessSize;  ///< Size of one access, in 512 bytes, zero-based.
  } RPMBS;                    ///< Replay Protected Memory Block Support.
  std::uint16_t EDSTT;        ///< Extended Device Self-test Time, in minutes.
  struct {
    std::uint8_t OneAtATime : 1;  ///< One self-test at a time for the whole subsystem.
    std::uint8_t Reserved : 7;
  } DSTO;             ///< Device Self-test Options.
  std::uint8_t FWUG;  ///< Firmware Update Granularity, in 4096 bytes; 0 not reported, 255 any.
  std::uint16_t KAS;  ///< Keep Alive Support: granularity, in 100 milliseconds; 0 for none.
  struct {
    std::uint16_t Supported : 1;  ///< The host may control thermal management.
    std::uint16_t Reserved : 15;
  } HCTMA;              ///< Host Controlled Thermal Management Attributes.
  std::uint16_t MNTMT;  ///< Minimum Thermal Management Temperature, in kelvin; 0 for not reported.
  std::uint16_t MXTMT;  ///< Maximum Thermal Management Temperature, in kelvin; 0 for not reported.
  struct {
    std::uint32_t CryptoErase : 1;  ///< Crypto Erase is supported.
    std::uint32_t BlockErase : 1;   ///< Block Erase is supported.
    std::uint32_t Overwrite : 1;    ///< Overwrite is supported.
    std::uint32_t Reserved : 29;
  } SANICAP;  ///< Sanitize Capabilities.
  std::uint8_t Reserved332[180];
  struct {
    std::uint8_t Required : 4;  ///< Size needed: bytes as a power of two.
    std::uint8_t Maximum : 4;   ///< Largest size: bytes as a power of two.
  } SQES;                       ///< Submission Queue Entry Size.
  struct {
    std::uint8_t Required : 4;  ///< Size needed: bytes as a power of two.
    std::uint8_t Maximum : 4;   ///< Largest size: bytes as a power of two.
  } CQES;                       ///< Completion Queue Entry Size.
  std::uint16_t MAXCMD;         ///< Maximum Outstanding Commands of a queue; 0 for not reported.
  std::uint32_t NN;             ///< Number of Namespaces that the controller can have.
  struct {
    std::uint16_t Compare : 1;             ///< Compare.
    std::uint16_t WriteUncorrectable : 1;  ///< Write Uncorrectable.
    std::uint16_t DatasetManagement : 1;   ///< Dataset Management.
    std::uint16_t WriteZeroes : 1;         ///< Write Zeroes.
    std::uint16_t SaveAndSelect : 1;       ///< Save field of Set Features, Select of Get Features.
    std::uint16_t Reservations : 1;        ///< Reservations.
    std::uint16_t Timestamp : 1;           ///< Timestamp feature.
    std::uint16_t Reserved : 9;
  } ONCS;  ///< Optional NVM Command Support.
  struct {
    std::uint16_t CompareAndWrite : 1;  ///< Compare and Write.
    std::uint16_t Reserved : 15;
  } FUSES;  ///< Fused Operation Support.
  struct {
    std::uint8_t FormatAll : 1;           ///< A format applies to all namespaces.
    std::uint8_t EraseAll : 1;            ///< A secure erase applies to all namespaces.
    std::uint8_t CryptographicErase : 1;  ///< Cryptographic erase is supported.
    std::uint8_t Reserved : 5;
  } FNA;  ///< Format NVM Attributes.
  struct {
    std::uint8_t Present : 1;  ///< A volatile write cache is present.
    std::uint8_t Reserved : 7;
  } VWC;                ///< Volatile Write Cache.
  std::uint16_t AWUN;   ///< Atomic Write Unit Normal, in blocks, zero-based.
  std::uint16_t AWUPF;  ///< Atomic Write Unit Power Fail, in blocks, zero-based.
  struct {
    std::uint8_t VendorSpecificFormat : 1;  ///< Vendor specific commands have the standard's form.
    std::uint8_t Reserved : 7;
  } NVSCC;  ///< NVM Vendor Specific Command Configuration.
  std::uint8_t Reserved531;
  std::uint16_t ACWU;  ///< Atomic Compare and Write Unit, in blocks, zero-based.
  std::uint8_t Reserved534[2];
  struct {
    std::uint32_t Support : 2;         ///< SGLs: 0 no, 1 without an alignment, 2 in four bytes.
    std::uint32_t KeyedDataBlock : 1;  ///< Keyed SGL Data Block descriptor.
    std::uint32_t Reserved3 : 13;
    std::uint32_t BitBucket : 1;                  ///< SGL Bit Bucket descriptor.
    std::uint32_t ByteAlignedMetadataBuffer : 1;  ///< Metadata buffer of any alignment.
    std::uint32_t LengthLargerThanData : 1;       ///< SGLs longer than the data.
    std::uint32_t MetadataPointerDescriptor : 1;  ///< Metadata pointer to an SGL descriptor.
    std::uint32_t AddressAsOffset : 1;            ///< Address field as an offset.
    std::uint32_t Reserved21 : 11;
  } SGLS;  ///< SGL Support.
  std::uint8_t Reserved540[228];
  char SUBNQN[256];  ///< NVM Subsystem NVMe Qualified Name; see the accessor of that name.
  std::uint8_t Reserved1024[768];
  std::uint8_t Fabrics[256];            ///< Area of NVMe over Fabrics, not interpreted.
  NVME_POWER_STATE_DESCRIPTOR PSD[32];  ///< Power State Descriptors 0 to 31; see `NPSS`.
  std::uint8_t VS[1024];                ///< Vendor Specific.

  NVME_IDENTIFY_CONTROLLER() = default;
  NVME_IDENTIFY_CONTROLLER(const NVME_IDENTIFY_CONTROLLER&) = default;
  ONDREL_API_INLINE NVME_IDENTIFY_CONTROLLER& operator=(const NVME_IDENTIFY_CONTROLLER&) = default;
  ONDREL_API_INLINE NVME_IDENTIFY_CONTROLLER& operator=(NVME_IDENTIFY_CONTROLLER&&) noexcept =
      default;

  /// Size of the controller's NVM in bytes: the low word of `TNVMCAP`, or when that is zero the
  /// `Capacity` of `nameSpace`, or 0 when that is null.
  std::uint64_t Capacity(NVME_IDENTIFY_NAMESPACE* nameSpace);

  /// The text fields as zero-terminated text: control characters become spaces, double quotation
  /// marks and bytes from 0x7F on become underscores, and spaces at the end are dropped.
  ///
  /// Each of the four has one buffer for all records and threads of the process. What it yields
  /// stays readable for the life of the process, but its text changes with the next call of the
  /// same accessor on any record: copy it before that. Two threads must not be in the same one at
  /// a time. Nothing is allocated.
  char* sSerialNumber();
  char* sModelNumber();                    ///< As `sSerialNumber`, of MN.
  char* sFirmwareRevision();               ///< As `sSerialNumber`, of FR.
  char* sNVMSubsystemNVMeQualifiedName();  ///< As `sSerialNumber`, of SUBNQN.

private:
  char* TrimString(char* destination, char* source, unsigned short length);
};

#pragma pack(pop)

// The layout: each record's size, and the offset of every field that has an address. Bit-fields
// have none.
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER) == 4096);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, VID) == 0);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::VID) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, SSVID) == 2);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::SSVID) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, SN) == 4);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::SN) == 20);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, MN) == 24);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::MN) == 40);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, FR) == 64);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::FR) == 8);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, RAB) == 72);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::RAB) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, IEEE) == 73);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::IEEE) == 3);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, CMIC) == 76);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::CMIC) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, MDTS) == 77);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::MDTS) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, CNTLID) == 78);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::CNTLID) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, VER.TER) == 80);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, VER.MNR) == 81);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, VER.MJR) == 82);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, RTD3R) == 84);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::RTD3R) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, RTD3E) == 88);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::RTD3E) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, OAES) == 92);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::OAES) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, CTRATT) == 96);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::CTRATT) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, Reserved100) == 100);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::Reserved100) == 155);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, MEC) == 255);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::MEC) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, OACS) == 256);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::OACS) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, ACL) == 258);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::ACL) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, AERL) == 259);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::AERL) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, FRMW) == 260);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::FRMW) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, LPA) == 261);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::LPA) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, ELPE) == 262);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::ELPE) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, NPSS) == 263);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::NPSS) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, AVSCC) == 264);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::AVSCC) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, APSTA) == 265);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::APSTA) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, WCTEMP) == 266);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::WCTEMP) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, CCTEMP) == 268);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::CCTEMP) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, MTFA) == 270);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::MTFA) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, HMPRE) == 272);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::HMPRE) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, HMMIN) == 276);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::HMMIN) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, TNVMCAP) == 280);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::TNVMCAP) == 16);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, UNVMCAP) == 296);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::UNVMCAP) == 16);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, RPMBS) == 312);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::RPMBS) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, RPMBS.TotalSize) == 314);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, RPMBS.AccessSize) == 315);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, EDSTT) == 316);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::EDSTT) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, DSTO) == 318);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::DSTO) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, FWUG) == 319);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::FWUG) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, KAS) == 320);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::KAS) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, HCTMA) == 322);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::HCTMA) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, MNTMT) == 324);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::MNTMT) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, MXTMT) == 326);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::MXTMT) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, SANICAP) == 328);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::SANICAP) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, Reserved332) == 332);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::Reserved332) == 180);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, SQES) == 512);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::SQES) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, CQES) == 513);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::CQES) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, MAXCMD) == 514);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::MAXCMD) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, NN) == 516);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::NN) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, ONCS) == 520);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::ONCS) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, FUSES) == 522);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::FUSES) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, FNA) == 524);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::FNA) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, VWC) == 525);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::VWC) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, AWUN) == 526);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::AWUN) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, AWUPF) == 528);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::AWUPF) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, NVSCC) == 530);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::NVSCC) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, Reserved531) == 531);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::Reserved531) == 1);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, ACWU) == 532);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::ACWU) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, Reserved534) == 534);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::Reserved534) == 2);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, SGLS) == 536);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::SGLS) == 4);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, Reserved540) == 540);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::Reserved540) == 228);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, SUBNQN) == 768);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::SUBNQN) == 256);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, Reserved1024) == 1024);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::Reserved1024) == 768);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, Fabrics) == 1792);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::Fabrics) == 256);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, PSD) == 2048);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::PSD) == 1024);
static_assert(offsetof(NVME_IDENTIFY_CONTROLLER, VS) == 3072);
static_assert(sizeof(NVME_IDENTIFY_CONTROLLER::VS) == 1024);

static_assert(sizeof(NVME_IDENTIFY_NAMESPACE) == 4096);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NSZE) == 0);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NSZE) == 8);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NCAP) == 8);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NCAP) == 8);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NUSE) == 16);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NUSE) == 8);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NSFEAT) == 24);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NSFEAT) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NLBAF) == 25);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NLBAF) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, FLBAS) == 26);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::FLBAS) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, MC) == 27);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::MC) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, DPC) == 28);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::DPC) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, DPS) == 29);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::DPS) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NMIC) == 30);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NMIC) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, RESCAP) == 31);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::RESCAP) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, FPI) == 32);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::FPI) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, DLFEAT) == 33);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::DLFEAT) == 1);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NAWUN) == 34);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NAWUN) == 2);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NAWUPF) == 36);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NAWUPF) == 2);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NACWU) == 38);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NACWU) == 2);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NABSN) == 40);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NABSN) == 2);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NABO) == 42);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NABO) == 2);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NABSPF) == 44);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NABSPF) == 2);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NOIOB) == 46);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NOIOB) == 2);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NVMCAP) == 48);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NVMCAP) == 16);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, Reserved64) == 64);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::Reserved64) == 40);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, NGUID) == 104);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::NGUID) == 16);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, EUI64) == 120);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::EUI64) == 8);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, LBAF) == 128);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::LBAF) == 64);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, Reserved192) == 192);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::Reserved192) == 192);
static_assert(offsetof(NVME_IDENTIFY_NAMESPACE, VS) == 384);
static_assert(sizeof(NVME_IDENTIFY_NAMESPACE::VS) == 3712);

static_assert(sizeof(NVME_IDENTIFY_LBA_FORMAT_DATA) == 4);
static_assert(offsetof(NVME_IDENTIFY_LBA_FORMAT_DATA, MS) == 0);
static_assert(sizeof(NVME_IDENTIFY_LBA_FORMAT_DATA::MS) == 2);
static_assert(offsetof(NVME_IDENTIFY_LBA_FORMAT_DATA, LBADS) == 2);
static_assert(sizeof(NVME_IDENTIFY_LBA_FORMAT_DATA::LBADS) == 1);

static_assert(sizeof(NVME_POWER_STATE_DESCRIPTOR) == 32);
static_assert(offsetof(NVME_POWER_STATE_DESCRIPTOR, MP) == 0);
static_assert(sizeof(NVME_POWER_STATE_DESCRIPTOR::MP) == 2);
static_assert(offsetof(NVME_POWER_STATE_DESCRIPTOR, Reserved2) == 2);
static_assert(sizeof(NVME_POWER_STATE_DESCRIPTOR::Reserved2) == 1);
static_assert(offsetof(NVME_POWER_STATE_DESCRIPTOR, ENLAT) == 4);
static_assert(sizeof(NVME_POWER_STATE_DESCRIPTOR::ENLAT) == 4);
static_assert(offsetof(NVME_POWER_STATE_DESCRIPTOR, EXLAT) == 8);
static_assert(sizeof(NVME_POWER_STATE_DESCRIPTOR::EXLAT) == 4);
static_assert(offsetof(NVME_POWER_STATE_DESCRIPTOR, IDLP) == 16);
static_assert(sizeof(NVME_POWER_STATE_DESCRIPTOR::IDLP) == 2);
static_assert(offsetof(NVME_POWER_STATE_DESCRIPTOR, Reserved19) == 19);
static_assert(sizeof(NVME_POWER_STATE_DESCRIPTOR::Reserved19) == 1);
static_assert(offsetof(NVME_POWER_STATE_DESCRIPTOR, ACTP) == 20);
static_assert(sizeof(NVME_POWER_STATE_DESCRIPTOR::ACTP) == 2);
static_assert(offsetof(NVME_POWER_STATE_DESCRIPTOR, Reserved23) == 23);
static_assert(sizeof(NVME_POWER_STATE_DESCRIPTOR::Reserved23) == 9);

}  // namespace Ondrel

#ifdef __clang__
#pragma clang diagnostic pop
#endif
