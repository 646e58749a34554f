#include "Tool/NVMeFields.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>

namespace Tool {
namespace {

// All zeros but for the first letters of the texts.
template <class Record>
std::string TextWith(std::initializer_list<std::pair<std::size_t, char>> letters) {
  Record record;
  std::memset(static_cast<void*>(&record), 0, sizeof record);
  for (const auto& [offset, letter] : letters) reinterpret_cast<char*>(&record)[offset] = letter;
  std::ostringstream out;
  FieldsOf(record).Print(out, {.withNames = true});
  return out.str();
}

TEST(NVMeNames, FieldsOfAControllerAreNamedAndExplained) {
  EXPECT_EQ(
      TextWith<Ondrel::NVME_IDENTIFY_CONTROLLER>({{4, 'S'}, {24, 'M'}, {64, 'F'}, {768, 'Q'}}),
      R"(VID      PCI vendor                                   0x0000
SSVID    PCI subsystem vendor                         0x0000
SN       Serial number                                S
MN       Model number                                 M
FR       Firmware revision                            F
RAB      Recommended arbitration burst, power of two  0
IEEE     Vendor's organisation (OUI)                  0x000000
CMIC     Multi-path and sharing                       0x0
MDTS     Maximum transfer, power of two of pages      0
CNTLID   Controller id                                0
VER      Version of the standard                      0.0.0
RTD3R    RTD3 resume latency                          0 us
RTD3E    RTD3 entry latency                           0 us
OAES     Optional asynchronous events                 0x0
CTRATT   Controller attributes                        0x0
MEC      Management endpoints                         0x0
OACS     Optional admin commands                      0x0
ACL      Abort command limit, zero-based              0
AERL     Asynchronous event limit, zero-based         0
FRMW     Firmware updates                             0x0
LPA      Log page attributes                          0x0
ELPE     Error log entries, zero-based                0
NPSS     Last power state                             0
AVSCC    Admin vendor specific commands               0x0
APSTA    Autonomous power state transitions           0x0
WCTEMP   Warning temperature                          not reported
CCTEMP   Critical temperature                         not reported
MTFA     Maximum time for firmware activation         0 x 100 ms
HMPRE    Host memory buffer preferred                 0 x 4096 bytes
HMMIN    Host memory buffer minimum                   0 x 4096 bytes
TNVMCAP  Total capacity                               0 bytes
UNVMCAP  Unallocated capacity                         0 bytes
RPMBS    Replay protected memory blocks               0x0
EDSTT    Extended self-test time                      0 min
DSTO     Self-test options                            0x0
FWUG     Firmware update granularity                  0 x 4096 bytes
KAS      Keep alive granularity                       0 x 100 ms
HCTMA    Host controlled thermal management           0x0
MNTMT    Minimum thermal management temperature       not reported
MXTMT    Maximum thermal management temperature       not reported
SANICAP  Sanitize capabilities                        0x0
SQES     Submission queue entry, powers of two        0x0
CQES     Completion queue entry, powers of two        0x0
MAXCMD   Maximum outstanding commands                 0
NN       Number of namespaces                         0
ONCS     Optional NVM commands                        0x0
FUSES    Fused operations                             0x0
FNA      Format attributes                            0x0
VWC      Volatile write cache                         0x0
AWUN     Atomic write unit, zero-based                0 blocks
AWUPF    Atomic write unit at power fail, zero-based  0 blocks
NVSCC    NVM vendor specific commands                 0x0
ACWU     Atomic compare and write unit, zero-based    0 blocks
SGLS     Scatter gather lists                         0x0
SUBNQN   Subsystem's qualified name                   Q
Fabrics  Area of fabrics                              256 bytes, all zero
PSD      Power state 0
    MP       Maximum power              not reported
    MPS      Maximum power scale        0
    NOPS     Non-operational state      0
    ENLAT    Entry latency              0 us
    EXLAT    Exit latency               0 us
    RRT      Relative read throughput   0
    RRL      Relative read latency      0
    RWT      Relative write throughput  0
    RWL      Relative write latency     0
    IDLP     Idle power                 not reported
    IPS      Idle power scale           0
    ACTP     Active power               not reported
    APW      Active power workload      0
    APS      Active power scale         0
VS       Vendor specific                              1024 bytes, all zero
)");
}

TEST(NVMeNames, FieldsOfANamespaceAreNamedAndExplained) {
  EXPECT_EQ(TextWith<Ondrel::NVME_IDENTIFY_NAMESPACE>({{0, '\x01'}}),
            R"(NSZE     Size                                         1 blocks
NCAP     Capacity                                     0 blocks
NUSE     Utilization                                  0 blocks
LBASize  Block size                                   0 bytes
Capacity Size in bytes                                0 bytes
NSFEAT   Features                                     0x0
NLBAF    Last block format                            0
FLBAS    Block format in use                          0x0
MC       Metadata capabilities                        0x0
DPC      Data protection capabilities                 0x0
DPS      Data protection settings                     0x0
NMIC     Multi-path and sharing                       0x0
RESCAP   Reservation capabilities                     0x0
FPI      Format progress indicator                    0x0
DLFEAT   Deallocate features                          0x0
NAWUN    Atomic write unit, zero-based                0 blocks
NAWUPF   Atomic write unit at power fail, zero-based  0 blocks
NACWU    Atomic compare and write unit, zero-based    0 blocks
NABSN    Atomic boundary, zero-based                  0 blocks
NABO     Atomic boundary offset                       0 blocks
NABSPF   Atomic boundary at power fail, zero-based    0 blocks
NOIOB    Optimal I/O boundary                         0 blocks
NVMCAP   NVM capacity                                 0 bytes
NGUID    Globally unique id                           00000000000000000000000000000000
EUI64    Extended unique id                           0000000000000000
LBAF     Block format 0, in use
    MS       Metadata                  0 bytes
    LBADS    Block size, power of two  0 (0 bytes)
    RP       Relative performance      0 (Best)
VS       Vendor specific                              3712 bytes, all zero
)");
}

}  // namespace
}  // namespace Tool
