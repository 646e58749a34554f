#include "ESmtp/ReadPayloadContext.h"
#include "ESmtp/SmtpResult.h"
#include "Support/SmtpInspector.h"
#include "Support/TraceCapture.h"

#include <Ondrel/Smtp.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <ostream>
#include <string>
#include <string_view>

namespace Ondrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Testing::TraceCapture;

class ReadPayload : public ::testing::Test {
protected:
  std::size_t Read(std::size_t size, std::size_t count) {
    m_buffer.fill('#');
    return CSmtpInspector::ReadPayload(m_buffer.data(), size, count, &m_context);
  }
  std::string_view Buffer(std::size_t length) const { return {m_buffer.data(), length}; }

  CSmtp m_mail;
  CSmtpInspector m_inside{m_mail};
  ReadPayloadContext m_context{.lineIndex = 0, .owner = &m_mail};
  std::array<char, 64> m_buffer{};
};

TEST_F(ReadPayload, DeliversOneLineACallHoweverLargeTheBuffer) {
  m_inside.Payload() = {"one\n", "two\n"};

  EXPECT_EQ(Read(1, 64), 4u);
  EXPECT_EQ(Buffer(5), "one\n#");
  EXPECT_EQ(m_context.lineIndex, 1u);
  EXPECT_EQ(Read(64, 1), 4u);
  EXPECT_EQ(Buffer(5), "two\n#");
  EXPECT_EQ(m_context.lineIndex, 2u);
}

TEST_F(ReadPayload, AnswersZeroAtTheEndOfThePayload) {
  m_inside.Payload() = {"one\n"};
  m_context.lineIndex = 1;

  EXPECT_EQ(Read(1, 64), 0u);
  EXPECT_EQ(m_context.lineIndex, 1u);
  EXPECT_EQ(Buffer(1), "#");
}

TEST_F(ReadPayload, AnswersZeroForAnEmptyPayload) { EXPECT_EQ(Read(1, 64), 0u); }

TEST_F(ReadPayload, AnswersZeroForABufferWithoutRoomAndStaysAtTheLine) {
  m_inside.Payload() = {"one\n"};

  EXPECT_EQ(Read(0, 64), 0u);
  EXPECT_EQ(Read(64, 0), 0u);
  EXPECT_EQ(m_context.lineIndex, 0u);
  EXPECT_EQ(Buffer(1), "#");
}

TEST_F(ReadPayload, AnswersZeroWhenTheProductOfTheSizesIsZero) {
  m_inside.Payload() = {"one\n"};
  const std::size_t half = std::size_t{1} << (std::numeric_limits<std::size_t>::digits / 2);

  EXPECT_EQ(Read(half, half), 0u);
  EXPECT_EQ(m_context.lineIndex, 0u);
}

TEST_F(ReadPayload, DoesNotCompareTheLineWithTheCapacity) {
  m_inside.Payload() = {"longer than two\n"};

  EXPECT_EQ(Read(1, 2), 16u);
  EXPECT_EQ(Buffer(17), "longer than two\n#");
}

TEST_F(ReadPayload, CutsALineAtItsFirstZeroByte) {
  m_inside.Payload() = {std::string("cut\0off\n", 8), "next\n"};

  EXPECT_EQ(Read(1, 64), 3u);
  EXPECT_EQ(Buffer(4), "cut#");
  EXPECT_EQ(Read(1, 64), 5u);
}

TEST_F(ReadPayload, EmptyElementEndsTheUploadEarly) {
  m_inside.Payload() = {"", "never\n"};

  EXPECT_EQ(Read(1, 64), 0u);
}

struct TranscriptRow {
  const char* name;
  int type;
  const char* text;
};

void PrintTo(const TranscriptRow& row, std::ostream* out) { *out << row.name; }

class SmtpTranscript : public ::testing::TestWithParam<TranscriptRow> {};

INSTANTIATE_TEST_SUITE_P(
    Types, SmtpTranscript,
    ::testing::Values(TranscriptRow{"Text", 0, "CSmtp/cURL: words"},
                      TranscriptRow{"HeaderIn", 1, "CSmtp/cURL: <= Recv header words"},
                      TranscriptRow{"HeaderOut", 2, "CSmtp/cURL: => Send header words"},
                      TranscriptRow{"DataIn", 3, "CSmtp/cURL: <= Recv data words"},
                      TranscriptRow{"DataOut", 4, "CSmtp/cURL: => Send data words"},
                      TranscriptRow{"SslDataIn", 5, "CSmtp/cURL: <= Recv SSL data words"},
                      TranscriptRow{"SslDataOut", 6, "CSmtp/cURL: => Send SSL data words"}),
    [](const ::testing::TestParamInfo<TranscriptRow>& row) { return row.param.name; });

TEST_P(SmtpTranscript, IsTracedByItsTypeAtTheDetailLevel) {
  const TraceCapture trace(16);
  char words[] = "words";

  EXPECT_EQ(CSmtpInspector::SmtpTrace(nullptr, GetParam().type, words, 5, nullptr), 0);

  ASSERT_EQ(trace.Lines().size(), 1u);
  EXPECT_EQ(trace.Lines()[0].level, 16u);
  EXPECT_EQ(trace.Lines()[0].function, "Ondrel::CSmtp::SmtpTrace");
  EXPECT_EQ(trace.Lines()[0].text, GetParam().text);
}

TEST_P(SmtpTranscript, IsNotTracedWithoutTheDetailLevel) {
  const TraceCapture trace(~std::uint32_t{16});
  char words[] = "words";

  EXPECT_EQ(CSmtpInspector::SmtpTrace(nullptr, GetParam().type, words, 5, nullptr), 0);

  EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(SmtpTrace, IgnoresTypesBeyondTheTable) {
  const TraceCapture trace(16);
  char words[] = "words";

  for (const int type : {7, 8, std::numeric_limits<int>::max(), -1})
    EXPECT_EQ(CSmtpInspector::SmtpTrace(nullptr, type, words, 5, nullptr), 0) << type;

  EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(SmtpTrace, IgnoresMissingData) {
  const TraceCapture trace(16);

  EXPECT_EQ(CSmtpInspector::SmtpTrace(nullptr, 0, nullptr, 5, nullptr), 0);

  EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(SmtpTrace, ReadsToTheZeroByteWhateverTheSizeSays) {
  const TraceCapture trace(16);
  char words[] = "all the words";

  CSmtpInspector::SmtpTrace(nullptr, 0, words, 3, nullptr);
  CSmtpInspector::SmtpTrace(nullptr, 0, words, 0, nullptr);

  EXPECT_THAT(trace.Texts(), ElementsAre("CSmtp/cURL: all the words", "CSmtp/cURL: all the words"));
}

TEST(SmtpTrace, PassesTheDataOnUncleaned) {
  const TraceCapture trace(16);
  char words[] = "AUTH PLAIN AHVzZXIAc2VjcmV0\r\n%s\x01\xFF";

  CSmtpInspector::SmtpTrace(nullptr, 2, words, sizeof(words) - 1, nullptr);

  EXPECT_THAT(trace.Texts(), ElementsAre("CSmtp/cURL: => Send header "
                                         "AUTH PLAIN AHVzZXIAc2VjcmV0\r\n%s\x01\xFF"));
}

// What each result comes to, group by group. Results that no group names come to 1.
struct ResultGroup {
  int error;
  std::string_view results;
};

constexpr ResultGroup kResultGroups[] = {
    {0, "0"},
    {1,
     "1, 8, 10-15, 17-20, 24, 29-33, 38-40, 44-46, 50, 57, 62, 68, 69, 71-74, 78, 79, 84-87, "
     "90, 98"},
    {3, "16, 22, 23, 25, 26, 28, 34, 36, 37, 47, 52, 65, 81, 89, 92"},
    {4, "3, 5, 6, 60"},
    {5, "4, 41"},
    {7, "21, 63"},
    {8, "2, 42, 43, 48, 49, 75, 76, 88"},
    {9, "70"},
    {12, "61"},
    {15, "27"},
    {25, "7"},
    {26, "9, 67"},
    {27, "35, 53-56, 58, 59, 64, 66, 77, 80, 82, 83, 91"},
};

// Reads a list such as "1, 8, 10-15".
void ForEachResult(std::string_view list, const std::function<void(int)>& visit) {
  const char* position = list.data();
  const char* const end = position + list.size();
  while (position < end) {
    int first = 0;
    position = std::from_chars(position, end, first).ptr;
    int last = first;
    if (position < end && *position == '-') position = std::from_chars(position + 1, end, last).ptr;
    for (int result = first; result <= last; ++result) visit(result);
    while (position < end && (*position == ',' || *position == ' ')) ++position;
  }
}

std::map<int, int> ErrorsByResult() {
  std::map<int, int> errors;
  for (const ResultGroup& group : kResultGroups)
    ForEachResult(group.results, [&](int result) {
      EXPECT_TRUE(errors.emplace(result, group.error).second) << result << " is listed twice";
    });
  return errors;
}

TEST(SmtpResult, EveryResultComesToTheErrorOfItsGroup) {
  const std::map<int, int> errors = ErrorsByResult();

  for (int result = -1; result <= 300; ++result) {
    const auto listed = errors.find(result);
    EXPECT_EQ(SmtpErrorFromCurl(result), listed != errors.end() ? listed->second : 1)
        << "result " << result;
  }
}

TEST(SmtpResult, ResultsWithoutARowComeTo1) {
  for (const int result : {51, 93, 94, 95, 96, 97, 99, 100, 255, -1,
                           std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
    EXPECT_EQ(SmtpErrorFromCurl(result), 1) << "result " << result;
}

TEST(SmtpResult, RefusedCertificateCountsAsHostNameAndNotAsTls) {
  EXPECT_EQ(SmtpErrorFromCurl(60), 4);
}

TEST(SmtpResult, RowsStandInTheirOrderWithResult60TwiceAnd98Last) {
  const auto rows = SmtpResultRows();
  static_assert(sizeof(SmtpResultRow) == 8);

  ASSERT_EQ(rows.size(), 94u);
  for (std::int32_t place = 0; place <= 92; ++place) {
    const std::int32_t expected = place == 51 ? 60 : place;
    EXPECT_EQ(rows[static_cast<std::size_t>(place)].curlResult, expected);
  }
  EXPECT_EQ(rows[51].error, 4);
  EXPECT_EQ(rows[60].error, 27);
  EXPECT_EQ(rows[93].curlResult, 98);
  EXPECT_EQ(rows[93].error, 1);
}

}  // namespace
}  // namespace Ondrel
