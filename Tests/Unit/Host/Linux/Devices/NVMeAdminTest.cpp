#include "Host/Linux/Devices/NVMeAdmin.h"
#include "Support/TraceCapture.h"
#include "Support/TraceMatchers.h"

#include <Pirsk/Trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

namespace Ondrel::Host {

// Shown in hexadecimal words when two commands differ.
void PrintTo(const NVMeAdminCommand& command, std::ostream* out) {
  *out << std::hex << "opcode " << int{command.opcode} << ", namespace " << command.nameSpace
       << ", dword 10 " << command.dword10;
}

}  // namespace Ondrel::Host

namespace Ondrel::Testing {
namespace {

using Host::NVMeAdminCommand;
using Host::NVMeAdminResult;
using testing::ElementsAre;

using Words = std::array<std::uint32_t, 12>;

constexpr Words kIdentifyController{49, 0, 3, 1, 1, 0, 40, 4096, 0, 0, 0, 0};
constexpr Words kHealthLog{50, 0, 3, 2, 2, 0, 40, 512, 0, 0, 0, 0};

Words With(Words words, std::size_t index, std::uint32_t value) {
  words[index] = value;
  return words;
}

// The bytes that the device transfers.
std::byte ByteAt(std::size_t index) { return static_cast<std::byte>((index * 3 + 1) & 0xFF); }

class NVMeAdmin : public testing::Test {
protected:
  // Answers `query` into an output of `outputBytes`, its first 48 bytes the query itself.
  ULong Answer(const Words& query, std::size_t outputBytes, std::size_t inputBytes = 48) {
    m_output.assign(outputBytes, std::byte{0x5A});
    return Host::AnswerStorageQuery({reinterpret_cast<const std::byte*>(query.data()), inputBytes},
                                    m_output, m_returned, Submit());
  }

  Host::NVMeSubmit Submit() {
    return [this](const NVMeAdminCommand& command, std::span<std::byte> data) {
      m_commands.push_back(command);
      for (std::size_t index = 0; index < data.size(); ++index) data[index] = ByteAt(index);
      return m_result;
    };
  }

  bool IsOutputUntouched() const {
    return m_output == std::vector<std::byte>(m_output.size(), std::byte{0x5A});
  }

  std::vector<std::byte> m_output;
  ULong m_returned = 4711;
  std::vector<NVMeAdminCommand> m_commands;
  NVMeAdminResult m_result;
};

struct CommandRow {
  const char* name;
  Words query;
  NVMeAdminCommand command;
};

TEST_F(NVMeAdmin, EachQueryIsOneCommand) {
  const CommandRow kRows[] = {
      {"identify controller", kIdentifyController, {0x06, 0, 0x01}},
      {"identify namespace", {49, 0, 3, 1, 0, 1, 40, 4096, 0, 0, 0, 0}, {0x06, 1, 0x00}},
      {"error log",
       {49, 0, 3, 2, 1, 0xFFFFFFFF, 40, 4096, 0, 0, 0, 0},
       {0x02, 0xFFFFFFFF, 0x03FF0001}},
      {"health log", kHealthLog, {0x02, 0xFFFFFFFF, 0x007F0002}},
      {"vendor log", With(kHealthLog, 4, 0xC0), {0x02, 0xFFFFFFFF, 0x007F00C0}},
      {"log of one namespace", With(kHealthLog, 5, 3), {0x02, 3, 0x007F0002}},
  };
  for (const CommandRow& row : kRows) {
    m_commands.clear();
    EXPECT_EQ(Answer(row.query, 48 + 4096), 0U) << row.name;
    EXPECT_THAT(m_commands, ElementsAre(row.command)) << row.name;
  }
}

TEST_F(NVMeAdmin, AnswerIsADescriptorWithTheDataAfterIt) {
  m_result.value = 0x01020304;

  ASSERT_EQ(Answer(kHealthLog, 4144), 0U);

  Words head{};
  std::memcpy(head.data(), m_output.data(), sizeof head);
  EXPECT_EQ(head, (Words{48, 48, 3, 2, 2, 0, 40, 512, 0x01020304, 0, 0, 0}));
  EXPECT_EQ(m_returned, 560U);
  for (std::size_t index = 0; index < 512; ++index)
    ASSERT_EQ(m_output[48 + index], ByteAt(index)) << index;
  for (std::size_t index = 560; index < 4144; ++index)
    ASSERT_EQ(m_output[index], std::byte{0x5A}) << index;
}

TEST_F(NVMeAdmin, AnswerMayTakeThePlaceOfTheQuery) {
  m_output.assign(560, std::byte{0});
  std::memcpy(m_output.data(), kHealthLog.data(), sizeof kHealthLog);

  EXPECT_EQ(Host::AnswerStorageQuery(m_output, m_output, m_returned, Submit()), 0U);

  EXPECT_THAT(m_commands, ElementsAre(NVMeAdminCommand{0x02, 0xFFFFFFFF, 0x007F0002}));
  EXPECT_EQ(m_output[0], std::byte{48});
  EXPECT_EQ(m_output[559], ByteAt(511));
}

struct RefusedQueryRow {
  const char* name;
  Words query;
  std::size_t inputBytes;
  std::size_t outputBytes;
  ULong error;
};

TEST_F(NVMeAdmin, QueryThatCannotBeAnsweredReachesNoDevice) {
  const RefusedQueryRow kRows[] = {
      {"query too short", kHealthLog, 47, 4144, 87},
      {"no query", kHealthLog, 0, 4144, 87},
      {"another way to ask", With(kHealthLog, 1, 1), 48, 4144, 87},
      {"another property", With(kHealthLog, 0, 0), 48, 4144, 50},
      {"another protocol", With(kHealthLog, 2, 2), 48, 4144, 50},
      {"a feature", With(kHealthLog, 3, 3), 48, 4144, 50},
      {"half an identify structure", With(kIdentifyController, 7, 2048), 48, 4144, 87},
      {"a log of no bytes", With(kHealthLog, 7, 0), 48, 4144, 87},
      {"a log of one word", With(kHealthLog, 7, 4), 48, 4144, 87},
      {"a log of a part of a word", With(kHealthLog, 7, 510), 48, 4144, 87},
      {"a log of another length", With(kHealthLog, 7, 516), 48, 4144, 87},
      {"a log too long", With(kHealthLog, 7, 4100), 48, 8192, 87},
      {"output without room for the head", kHealthLog, 48, 47, 122},
      {"no output", kHealthLog, 48, 0, 122},
      {"output without room for the data", kHealthLog, 48, 559, 122},
      {"output one byte too short", kIdentifyController, 48, 4143, 122},
  };
  for (const RefusedQueryRow& row : kRows) {
    EXPECT_EQ(Answer(row.query, row.outputBytes, row.inputBytes), row.error) << row.name;
    EXPECT_TRUE(m_commands.empty()) << row.name;
    EXPECT_TRUE(IsOutputUntouched()) << row.name;
    EXPECT_EQ(m_returned, 0U) << row.name;
  }
}

struct HostErrorRow {
  int errnoValue;
  ULong error;
};

TEST_F(NVMeAdmin, CommandThatIsNotCarriedOutGivesTheHostsError) {
  constexpr HostErrorRow kRows[] = {{ENOTTY, 1}, {EACCES, 5},  {EPERM, 5},  {ENODEV, 55},
                                    {ENXIO, 55}, {EINVAL, 87}, {EIO, 1117}, {EBADF, 6}};
  for (const HostErrorRow& row : kRows) {
    m_result = {.errnoValue = row.errnoValue};
    EXPECT_EQ(Answer(kHealthLog, 560), row.error) << row.errnoValue;
    EXPECT_TRUE(IsOutputUntouched()) << row.errnoValue;
    EXPECT_EQ(m_returned, 0U) << row.errnoValue;
  }
}

struct StatusRow {
  const char* name;
  std::uint16_t status;
  ULong error;
};

TEST_F(NVMeAdmin, CommandThatTheControllerRefusesGivesAFittingError) {
  constexpr StatusRow kRows[] = {
      {"invalid opcode", 0x0001, 1},
      {"invalid field", 0x0002, 87},
      {"invalid field, do not retry", 0x4002, 87},
      {"invalid namespace", 0x000B, 87},
      {"invalid log page", 0x0109, 87},
      {"invalid log page, more, do not retry", 0x6109, 87},
      {"internal error", 0x0006, 1117},
      {"code of another type", 0x0009, 1117},
      {"unrecovered read error", 0x0281, 1117},
      {"path error", 0x0370, 1117},
      {"vendor specific", 0x07C0, 1117},
  };
  for (const StatusRow& row : kRows) {
    m_result = {.status = row.status};
    EXPECT_EQ(Answer(kHealthLog, 560), row.error) << row.name;
    EXPECT_TRUE(IsOutputUntouched()) << row.name;
    EXPECT_EQ(m_returned, 0U) << row.name;
  }
}

TEST_F(NVMeAdmin, StatusOfARefusalIsADetailOfTheTrace) {
  const TraceCapture trace(0xFFFFFFFF);
  m_result = {.status = 0x4109};

  Answer(kHealthLog, 560);

  EXPECT_THAT(trace.Lines(),
              ElementsAre(Traces(Pirsk::Misc::kTraceDetail, "Ondrel::Host::AnswerStorageQuery",
                                 "DeviceIoControl(): controller refused the command, status type "
                                 "1, code 9: Invalid Log Page - Get Log Page")));
}

}  // namespace
}  // namespace Ondrel::Testing
