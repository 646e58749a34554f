#include <Ondrel/CodeNames.h>

#include <boost/crc.hpp>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The five lists against facts about their source that were counted with other tools: the first and
// last row of every run (awk), the unbroken stretches of codes (awk), and the number of rows, the
// size and the CRC-32 of the lines `code=name` (wc and gzip).

namespace Ondrel {
namespace {

using Stretch = std::pair<std::int32_t, std::int32_t>;

struct ListedRun {
  std::int32_t firstCode;
  std::string_view firstName;
  std::int32_t lastCode;
  std::string_view lastName;
};

struct Vocabulary {
  std::string_view title;
  const CCodeNames& names;
  std::size_t rows;
  std::size_t bytes;
  std::uint32_t crc;
  std::vector<ListedRun> runs;
  std::vector<Stretch> stretches;
};

void PrintTo(const Vocabulary& vocabulary, std::ostream* out) { *out << vocabulary.title; }

const std::vector<ListedRun> kErrorRuns = {
    {0, "SUCCESS", 0, "SUCCESS"},
    {20000, "GENERAL", 20039, "NO_BGI_STARTED"},
    {20040, "LOCATE_IN_PROGRESS", 20079, "PD_UNAVAILABLE"},
    {20080, "USE_FREE_ARRAY", 20119, "FOREIGN_IMPORT_FAILED"},
    {20120, "FOREIGN_CLEAR_FAILED", 20159, "SMTP_NO_MAILFROM"},
    {20160, "SMTP_NO_SUBJECT", 20166, "SSD_ONLY"},
    {20168, "INVALID_INPUT_CHARACTER", 20174, "MDADM_ERROR"},
};

const std::vector<ListedRun> kOperationRuns = {
    {1, "UNDEFINED", 1, "UNDEFINED"},
    {50000, "CREATE_LOGICAL_DRIVE", 50039, "START_VERIFYFIX"},
    {50040, "CANCEL_VERIFYFIX", 50079, "PAUSE_MDC"},
    {50080, "CONTINUE_MDC", 50115, "TEST_LDAP_CONNECTION"},
    {50117, "PAUSE_COPY_BACK", 50118, "CONTINUE_COPY_BACK"},
    {50121, "ENABLE_SSD_CACHING", 50160, "CREATE_ARRAY_HOTSPARE"},
    {50161, "DELETE_ARRAY_HOTSPARE", 50161, "DELETE_ARRAY_HOTSPARE"},
    {50500, "ADD_SERVER", 50500, "ADD_SERVER"},
};

const std::vector<ListedRun> kEventRuns = {
    {1, "UNDEFINED", 5, "TEST_TRAP"},
    {10000, "UNKNOWN", 10039, "RESET_CHANNEL"},
    {10040, "IO_RETRY", 10079, "LOGICALDRIVE_FAILED"},
    {10080, "LOGICALDRIVE_CREATED", 10119, "DISK_WRITE_CACHE_DISABLED"},
    {10120, "READAHEAD_ENABLED", 10159, "DRIVER_WRITE_CACHE_DISABLED"},
    {10160, "GB_BOUNDARY_ENABLED", 10199, "CTRL_BGI_RATE_CHANGED"},
    {10200, "CTRL_CACHE_DISCARDED", 10239, "LD_CC_PROGRESS"},
    {10240, "LD_INIT_FAILED", 10279, "PD_REDUNDANT_PATH_BROKEN"},
    {10280, "PD_REDUNDANT_PATH_RESTORED", 10319, "ENCL_FAN_INSERTED"},
    {10320, "ENCL_FAN_REMOVED", 10359, "FOREIGN_CFG_DETECTED"},
    {10360, "FOREIGN_CFG_IMPORTED", 10399, "LD_DISABLED_NO_SUPPORT_FOR_RAID5"},
    {10400, "LD_DISABLED_NO_SUPPORT_FOR_RAID6", 10439, "PD_STATE_CHANGE_BY_USER_HS_TO_RBLD"},
    {10440, "PD_STATE_CHANGE_BY_USER_HS_TO_OP", 10479, "LD_APPEARED_AFTER_REBOOT"},
    {10480, "CTRL_PUNCTURE_ENABLED", 10519, "SAS_PORT_LINK_RESTORED"},
    {10520, "CTRL_CACHE_MODE_BACK", 10559, "PD_FAIL_EX"},
    {10560, "MIGRATION_FINISHED_EX", 10599, "REDUNDANT_COPY_RATE_CHANGED_EX"},
    {10600, "COPY_BACK_RATE_CHANGED_EX", 10639, "PD_FAIL_EX2"},
    {10640, "CTLR_CHANGED", 10679, "CTLR_SAS_IFRATE"},
    {10680, "CTLR_DRIVER_ERROR", 10719, "IOCTL_BUSY"},
    {10720, "BOOT_LOGICALDRIVE_NUMBER_CHANGED", 10759, "PD_STATE_CHANGE_CB_TO_RBLD"},
    {10760, "PD_STATE_CHANGE_CB_TO_CB", 10799, "PD_STATE_CHANGE_BY_USER_OFFL_TO_SYS"},
    {10800, "CTRL_LOCK_KEY_EKM_MODE", 10839, "PD_NCQ_DISABLED"},
    {10840, "AUTO_REBUILD_HOTSPARE", 10853, "BBU_CANNOT_DO_TRANSPARENT_LEARN"},
    {10858, "BBU_REPLACEMENT_NEEDED_SOH_NOT_OPTIMAL", 10897, "LD_ERASE_START"},
    {10898, "LD_ERASE_SUCCESSFUL", 10913, "SAS_PHY_LINK_SPEED_UPDATED"},
    {10915, "LD_ACCESS_UNBLOCKED", 10954, "PD_STATE_CHANGE_BY_USER_OP_TO_SHIELD"},
    {10955, "PD_STATE_CHANGE_BY_USER_CB_TO_SHIELD", 10994, "CTRL_RESETNOW_DONE"},
    {10995, "L3_CACHE_ERROR", 11034, "LD_SET_BOOT_DEVICE"},
    {11035, "PD_SET_BOOT_DEVICE", 11074, "HA_LD_COMPATIBLE"},
    {11075, "PD_OPERATION_DELAYED", 11112, "EVT_PD_STATE_CHANGE_TO_NORMAL"},
    {12000, "MICROSEMI_NO_AVAILABLE_EVENT", 12039,
     "MICROSEMI_ALL_SEP_DEVICES_FOR_AN_ENCLOSURE_HAVE_FAILED"},
    {12040, "MICROSEMI_CONTROLLER_ENCRYPTION_HARDWARE_FAILED", 12079, "MICROSEMI_MEDIA_EXCHANGED"},
    {12080, "MICROSEMI_REBUILD_READ_ERROR", 12101, "MICROSEMI_OFA_PROCESS_FAILURE"},
    {12200, "EVT_MV_CODE_EVT_ERR", 12239, "EVT_MV_CODE_LD_INIT_BACK_AUTO_PAUSED"},
    {12240, "EVT_MV_CODE_LD_INIT_FORE_START", 12279, "EVT_MV_CODE_BAD_BLOCK_REASSIGNED"},
    {12280, "EVT_MV_CODE_HD_CACHE_MODE_CHANGE", 12319, "EVT_MV_CODE_MISC_REPLACED_MISSING"},
    {12320, "EVT_MV_CODE_MISC_NOT_A_CERTIFIED_DRIVE", 12325,
     "EVT_MV_CODE_MISC_PD_TOO_SMALL_FOR_AUTOREBUILD"},
};

const std::vector<ListedRun> kPropertyRuns = {
    {0, "FRAME_START", 3, "SEPARATOR_END"},
    {29900, "RUI_PROPERTIES", 29908, "STRIPE_SIZE"},
    {29999, "DUMMY", 30038, "PCI_DEVICE"},
    {30039, "PCI_FUNCTION", 30078, "DISK_WRITE_CACHE"},
    {30079, "FILE_NAME", 30118, "CHOICE_PARAM"},
    {30119, "LOGGING", 30158, "HARDWARE_TYPE"},
    {30159, "MAX_HOTSPARES", 30198, "BACKEND_SAS_ADDRESS_05"},
    {30199, "BACKEND_SAS_ADDRESS_06", 30238, "CHIPSET"},
    {30239, "EXPOSE_ENCLOSURE_DEVICES", 30278, "CUR_MAX_LOGICAL_DRIVES"},
    {30279, "OBJECT_ID", 30318, "TYPE_SSD_HDD_MIX_IN_LD"},
    {30319, "COPY_BACK_PARTNER_DEVICE_NUMBER", 30358, "ADAPTER_TYPEID"},
    {30359, "AUTOSENSE", 30398, "COCE_RX_FRAMES_HIGH"},
    {30399, "COCE_TX_USECS_HIGH", 30438, "REBUILD_POLICY"},
    {30439, "GLOBAL_HS_FOR_EMERGENCY", 30445, "DEVICE_NAME"},
    {30447, "SPINDOWN_CONFIGURED", 30486, "REMAINING_RESERVE_SPACE"},
    {30487, "RESERVE_STATUS", 30526, "VMD_CONTROLLER_NUMER"},
    {30527, "SOCKET", 30527, "SOCKET"},
    {30529, "SYNC_SPEED_MAX", 30545, "SSD_OPO"},
    {30547, "SIGNED_LONG_PARAM", 30556, "DEVICE_TYPE"},
    {35000, "ADDR_00", 35039, "SEGMENT"},
    {35040, "SLOT", 35050, "DOMAIN"},
    {35100, "HEADING_ALL", 35123, "HEADING_LENGTH"},
    {35125, "HEADING_COMMENT", 35125, "HEADING_COMMENT"},
    {35127, "HEADING_PROPERTY", 35128, "HEADING_VALUE"},
    {35200, "BADBLOCK_LOG", 35203, "SENSE_LOG"},
    {2147483647, "UNSPECIFIED", 2147483647, "UNSPECIFIED"},
};

const std::vector<ListedRun> kValueRuns = {
    {0, "", 1, "UNDEFINED"},
    {40000, "ENABLED", 40039, "TERMINATE_CHARGE_ALARM"},
    {40040, "OVERCHARGED_ALARM", 40079, "FIBRE_2GB"},
    {40080, "OTHER", 40119, "COMMAND_ERROR"},
    {40120, "PARITY_ERROR", 40159, "WRITETHROUGH"},
    {40160, "WRITE_ADAPTIVE", 40199, "PCI_X"},
    {40200, "PCI_EXPRESS", 40239, "ALARM_MUTED"},
    {40240, "ALARM_CRITICAL_SOUND_NOT_MUTED", 40279, "COPYING"},
    {40280, "WAITING", 40319, "INVALID_ADDRESS"},
    {40320, "CREDENTIALS_REQUIRED", 40359, "ACTIVE_DIRECTORY"},
    {40360, "NOVELL_EDIRECTORY", 40370, "EMERGENCY_HOT_SPARE"},
    {40372, "SECURED", 40373, "NOT_SECURED"},
    {40375, "RAID0_SSC", 40381, "TRANSPARENT"},
    {40383, "BGI_PAUSED", 40422, "GENERAL_CHANNEL_INIT_FAIL"},
    {40423, "ALWAYS_READ_WRITE", 40462, "CORRECTABLE_PCI_ERRORS"},
    {40463, "NO_POWERLOSS_PROTECTION", 40502, "VERIFYINGFIXING"},
    {40507, "MEDIUM_HIGH", 40540, "SSD_WEAR_INFORMATION_SUPPORTED"},
    {40542, "RPI_CAPABLE", 40581, "SANITIZE"},
    {40582, "LOW_LEVEL_FORMAT", 40584, "FAILED_DUE_TO_PSA"},
    {40586, "PREDICTIVE_FAILURE", 40625, "ENCRYPTION_MIGRATION"},
    {40626, "ENCRYPTED_VOLUME_REKEYING", 40664, "AUTOREPLACE"},
};

const Vocabulary kVocabularies[] = {
    {"Error",
     ErrorCodeNames,
     175,
     4581,
     0x00865df8,
     kErrorRuns,
     {{0, 0}, {20000, 20166}, {20168, 20174}}},
    {"Operation",
     OperationCodeNames,
     161,
     3750,
     0x7df08cda,
     kOperationRuns,
     {{1, 1}, {50000, 50115}, {50117, 50118}, {50121, 50161}, {50500, 50500}}},
    {"Event",
     EventCodeNames,
     1341,
     42081,
     0x971c773a,
     kEventRuns,
     {{1, 5}, {10000, 10853}, {10858, 10913}, {10915, 11112}, {12000, 12101}, {12200, 12325}}},
    {"Property",
     PropertyCodeNames,
     651,
     13773,
     0x28c344c8,
     kPropertyRuns,
     {{0, 3},
      {29900, 29908},
      {29999, 30445},
      {30447, 30527},
      {30529, 30545},
      {30547, 30556},
      {35000, 35050},
      {35100, 35123},
      {35125, 35125},
      {35127, 35128},
      {35200, 35203},
      {2147483647, 2147483647}}},
    {"Value",
     ValueCodeNames,
     658,
     13778,
     0xac621a84,
     kValueRuns,
     {{0, 1},
      {40000, 40370},
      {40372, 40373},
      {40375, 40381},
      {40383, 40502},
      {40507, 40540},
      {40542, 40584},
      {40586, 40664}}},
};

class CodeNamesList : public testing::TestWithParam<Vocabulary> {};

TEST_P(CodeNamesList, HasEveryRow) { EXPECT_EQ(GetParam().names.size(), GetParam().rows); }

TEST_P(CodeNamesList, BeginsAndEndsEveryRunAsItsSourceDoes) {
  for (const ListedRun& run : GetParam().runs) {
    EXPECT_EQ(GetParam().names.Name(run.firstCode), run.firstName) << run.firstCode;
    EXPECT_EQ(GetParam().names.Name(run.lastCode), run.lastName) << run.lastCode;
  }
}

TEST_P(CodeNamesList, HasAsManyRowsInItsRunsAsInAll) {
  std::size_t rows = 0;
  for (const ListedRun& run : GetParam().runs) {
    for (std::int64_t code = run.firstCode; code <= run.lastCode; ++code, ++rows) {
      EXPECT_TRUE(GetParam().names.Name(static_cast<std::int32_t>(code)).has_value()) << code;
    }
  }

  EXPECT_EQ(rows, GetParam().rows);
}

TEST_P(CodeNamesList, HasItsGapsAndNoOthers) {
  std::vector<Stretch> stretches;
  for (const auto [code, name] : GetParam().names) {
    if (stretches.empty() || code != stretches.back().second + 1)
      stretches.emplace_back(code, code);
    stretches.back().second = code;
  }

  EXPECT_EQ(stretches, GetParam().stretches);
}

TEST_P(CodeNamesList, HasEveryNameToTheLetter) {
  std::string lines;
  for (const auto [code, name] : GetParam().names) {
    lines.append(std::to_string(code)).append("=").append(name).append("\n");
  }
  boost::crc_32_type crc;
  crc.process_bytes(lines.data(), lines.size());

  EXPECT_EQ(lines.size(), GetParam().bytes);
  EXPECT_EQ(crc.checksum(), GetParam().crc);
}

TEST_P(CodeNamesList, FindsEachCodeThatItListsAndNoneNextToAGap) {
  for (const auto [code, name] : GetParam().names) EXPECT_EQ(GetParam().names.Name(code), name);
  for (const auto& [first, last] : GetParam().stretches) {
    EXPECT_FALSE(GetParam().names.Name(first - 1).has_value()) << first - 1;
    if (last == INT32_MAX) continue;
    EXPECT_FALSE(GetParam().names.Name(last + 1).has_value()) << last + 1;
  }
}

INSTANTIATE_TEST_SUITE_P(Vocabularies, CodeNamesList, testing::ValuesIn(kVocabularies),
                         [](const auto& test) { return std::string(test.param.title); });

}  // namespace
}  // namespace Ondrel
