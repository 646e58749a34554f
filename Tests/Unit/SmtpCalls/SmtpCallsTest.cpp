#include "Host/ClockOperations.h"
#include "Support/GroupingLocale.h"
#include "Support/PreparedClock.h"
#include "Support/PreparedOperations.h"
#include "Support/SmtpInspector.h"
#include "Support/TraceCapture.h"
#include "Support/TraceMatchers.h"
#include "Unit/SmtpCalls/FakeCurl.h"

#include <Ondrel/Smtp.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using ::testing::AllOf;
using Testing::ClockStandingStill;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using Testing::FakeCurl;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using Testing::PreparedOperations;
using ::testing::StartsWith;
using Testing::TraceCapture;
using Testing::Traces;

constexpr std::size_t kSixtyFourKiB = 65536;
constexpr std::size_t kTwoMiB = 2097152;

class SmtpCalls : public ::testing::Test {
protected:
  SmtpCalls() {
    m_mail.SetFrom("raid@example.com", "RAID");
    m_mail.AddTO("to@example.com", "Admin");
    m_mail.SetSubject("Drive failed");
    m_mail.SetMessageBody("A drive failed.");
  }

  // A body of one line that has this many bytes with its line feed.
  void SetLineOfBytes(std::size_t bytes) { m_mail.SetMessageBody(std::string(bytes - 1, 'x')); }

  FakeCurl m_curl;
  CSmtp m_mail;
  CSmtpInspector m_inside{m_mail};
};

TEST_F(SmtpCalls, SendMakesItsCallsInOrder) {
  m_mail.SetServer("mail.example.com", 587);
  m_mail.SetUserName("user");
  m_mail.SetPassword("secret");
  m_mail.AddCC("cc@example.com");
  m_mail.AddBCC("bcc@example.com");
  Host::ClockOperations clock = ClockStandingStill(0);
  clock.CurrentTime = [this] {
    m_curl.m_calls.push_back("(the header is formatted)");
    return std::time_t{0};
  };
  const PreparedOperations prepared(Host::Clock(), clock);

  EXPECT_TRUE(m_mail.Send());

  EXPECT_THAT(m_curl.m_calls,
              ElementsAre("init", "DEBUGFUNCTION set", "VERBOSE 1", "CRLF 1",
                          "URL smtp://mail.example.com:587", "USE_SSL 1", "SSL_VERIFYPEER 0",
                          "SSL_VERIFYHOST 0", "USERNAME user", "PASSWORD secret", "SASL_IR 1",
                          "MAIL_FROM <raid@example.com>", "append <to@example.com>",
                          "append <cc@example.com>", "append <bcc@example.com>",
                          "MAIL_RCPT <to@example.com> <cc@example.com> <bcc@example.com>",
                          "(the header is formatted)", "READFUNCTION set", "READDATA set",
                          "UPLOAD 1", "perform", "free list", "cleanup"));
}

TEST_F(SmtpCalls, TimeLimitIsSetOnlyWhenItIsAskedFor) {
  m_mail.Send();
  EXPECT_THAT(m_curl.m_calls, Not(Contains(StartsWith("TIMEOUT"))));

  m_mail.SetTimeout(1500);
  m_mail.Send();
  EXPECT_THAT(m_curl.m_calls, Contains("TIMEOUT_MS 1500"));
}

TEST_F(SmtpCalls, LastAnswerOfTheServerIsKept) {
  m_curl.m_transfer = [](FakeCurl& curl) {
    curl.Debug(CURLINFO_HEADER_IN, "220 ready\r\n");
    curl.Debug(CURLINFO_HEADER_OUT, "RCPT TO:<a@b>\r\n");
    curl.Debug(CURLINFO_HEADER_IN, "550-5.1.1 No\r\n");
    curl.Debug(CURLINFO_HEADER_IN, "550 5.1.1 such user\r\n");
    curl.Debug(CURLINFO_TEXT, "RCPT failed: 550");
    curl.Debug(CURLINFO_DATA_IN, "999 no answer");
    curl.Debug(CURLINFO_HEADER_OUT, "QUIT\r\n");
    curl.Debug(CURLINFO_HEADER_IN, "221 bye\r\n");
  };

  m_mail.Send();

  EXPECT_EQ(m_mail.GetServerAnswer(), "550-5.1.1 No\n550 5.1.1 such user");
}

TEST_F(SmtpCalls, TransferWithoutAnAnswerLeavesNoneOfTheOneBefore) {
  m_curl.m_transfer = [](FakeCurl& curl) { curl.Debug(CURLINFO_HEADER_IN, "250 ok\r\n"); };
  m_mail.Send();
  EXPECT_EQ(m_mail.GetServerAnswer(), "250 ok");

  m_curl.m_transfer = nullptr;
  m_mail.Send();
  EXPECT_EQ(m_mail.GetServerAnswer(), "");
}

TEST_F(SmtpCalls, MailWithoutATransferHasNoAnswerOfTheOneBefore) {
  m_curl.m_transfer = [](FakeCurl& curl) { curl.Debug(CURLINFO_HEADER_IN, "250 ok\r\n"); };
  m_mail.Send();
  EXPECT_EQ(m_mail.GetServerAnswer(), "250 ok");

  m_inside.To().clear();
  EXPECT_FALSE(m_mail.Send());
  EXPECT_EQ(m_mail.GetServerAnswer(), "");
}

TEST_F(SmtpCalls, AnswerWithoutAnEndIsCut) {
  m_curl.m_transfer = [](FakeCurl& curl) {
    for (int i = 0; i < 1000; ++i) curl.Debug(CURLINFO_HEADER_IN, "250-more and more\r\n");
  };

  m_mail.Send();

  EXPECT_EQ(m_mail.GetServerAnswer().size(), 4096U);
}

TEST_F(SmtpCalls, ObjectWithoutServerConnectsToPort25OfTheLocalMachine) {
  m_mail.Send();

  EXPECT_THAT(m_curl.m_calls, Contains("URL smtp://localhost:25"));
}

TEST_F(SmtpCalls, UrlIsMadeOfProtocolServerAndPort) {
  m_mail.SetProtocol("smtps");
  m_mail.SetServer("192.0.2.1", 465);

  m_mail.Send();

  EXPECT_THAT(m_curl.m_calls, Contains("URL smtps://192.0.2.1:465"));
}

TEST_F(SmtpCalls, EmptyServerNameKeepsItsPort) {
  m_mail.SetServer("", 65535);

  m_mail.Send();

  EXPECT_THAT(m_curl.m_calls, Contains("URL smtp://localhost:65535"));
}

TEST_F(SmtpCalls, PortIsPlainDecimalInALocaleThatGroupsNumbers) {
  const Testing::GroupingLocale grouping;
  m_mail.SetServer("mail.example.com", 2525);

  m_mail.Send();

  EXPECT_THAT(m_curl.m_calls, Contains("URL smtp://mail.example.com:2525"));
}

TEST_F(SmtpCalls, UserNameWithoutPasswordSetsOnlyTheUserName) {
  m_mail.SetUserName("user");

  m_mail.Send();

  EXPECT_THAT(m_curl.m_calls, Contains("USERNAME user"));
  EXPECT_THAT(m_curl.m_calls, Not(Contains(StartsWith("PASSWORD"))));
}

TEST_F(SmtpCalls, PasswordWithoutUserNameSetsNeither) {
  m_mail.SetPassword("secret");

  m_mail.Send();

  EXPECT_THAT(m_curl.m_calls, Not(Contains(StartsWith("USERNAME"))));
  EXPECT_THAT(m_curl.m_calls, Not(Contains(StartsWith("PASSWORD"))));
}

TEST_F(SmtpCalls, SaslInitialResponseIsHandedOnAsItIs) {
  m_mail.Set_CURLOPT_SASL_IR(-7);

  m_mail.Send();

  EXPECT_THAT(m_curl.m_calls, Contains("SASL_IR -7"));
}

TEST_F(SmtpCalls, EnvelopeHasEveryListInItsOrderWithoutDisplayNames) {
  m_mail.AddBCC("bcc1@example.com;bcc2@example.com");
  m_mail.AddCC("cc1@example.com", "One");
  m_mail.AddCC("cc2@example.com", "Two");
  m_mail.AddTO("to2@example.com");
  std::vector<std::string> recipients;
  m_curl.m_transfer = [&](FakeCurl& curl) { recipients = curl.Recipients(); };

  m_mail.Send();

  EXPECT_THAT(recipients,
              ElementsAre("<to@example.com>", "<to2@example.com>", "<cc1@example.com>",
                          "<cc2@example.com>", "<bcc1@example.com>", "<bcc2@example.com>"));
}

TEST_F(SmtpCalls, ListLostByAnAppendIsNotNoticed) {
  m_mail.AddTO("second@example.com;third@example.com");
  m_curl.m_appendFailsAt = 2;

  EXPECT_TRUE(m_mail.Send());

  EXPECT_THAT(m_curl.m_calls, Contains("MAIL_RCPT <third@example.com>"));
}

TEST_F(SmtpCalls, RefusedOptionsAreNotNoticed) {
  m_curl.m_optionResult = CURLE_UNKNOWN_OPTION;

  EXPECT_TRUE(m_mail.Send());

  EXPECT_EQ(m_mail.GetLastError(), 0);
}

TEST_F(SmtpCalls, AMissingLibraryIsAFailureThatNothingIsCalledFor) {
  Host::CurlOperations none;
  none.missing = "libcurl.so.4: cannot open shared object file";
  const PreparedOperations<Host::CurlOperations> prepared(Host::Curl(), none);
  const TraceCapture trace(1 | 2 | 16);

  EXPECT_FALSE(m_mail.Send());

  EXPECT_EQ(m_mail.GetLastError(), 8);
  EXPECT_THAT(m_curl.m_calls, IsEmpty());
  EXPECT_THAT(m_inside.Payload(), IsEmpty());
  EXPECT_THAT(
      trace.Lines(),
      ElementsAre(Traces(2, "Ondrel::CSmtp::Send", "ENTER CSmtp::Send ()"),
                  Traces(1, "Ondrel::CSmtp::Send",
                         "CSmtp::Send () libcurl: libcurl.so.4: cannot open shared object file"),
                  Traces(2, "Ondrel::CSmtp::Send", "LEAVE CSmtp::Send () -> libcurl is missing")));
}

TEST_F(SmtpCalls, FailureToMakeAHandleLeavesTheFailureAsItWas) {
  m_inside.LastError() = CSMTP_ERROR_STREAM;
  m_curl.m_initFails = true;
  const TraceCapture trace(2 | 16);

  EXPECT_FALSE(m_mail.Send());

  EXPECT_EQ(m_mail.GetLastError(), 3);
  EXPECT_THAT(m_curl.m_calls, ElementsAre("init"));
  EXPECT_THAT(m_inside.Payload(), IsEmpty());
  EXPECT_THAT(trace.Lines(), ElementsAre(Traces(2, "Ondrel::CSmtp::Send", "ENTER CSmtp::Send ()"),
                                         Traces(2, "Ondrel::CSmtp::Send",
                                                "LEAVE CSmtp::Send () -> curl_easy_init failed")));
}

TEST_F(SmtpCalls, MissingRecipientIsFoundAfterTheOptionsAndFreesThem) {
  m_inside.To().clear();

  EXPECT_FALSE(m_mail.Send());

  EXPECT_EQ(m_mail.GetLastError(), 29);
  EXPECT_THAT(
      m_curl.m_calls,
      ElementsAre("init", "DEBUGFUNCTION set", "VERBOSE 1", "CRLF 1", "URL smtp://localhost:25",
                  "USE_SSL 1", "SSL_VERIFYPEER 0", "SSL_VERIFYHOST 0", "SASL_IR 1",
                  "MAIL_FROM <raid@example.com>", "MAIL_RCPT", "free list", "cleanup"));
}

TEST_F(SmtpCalls, MissingSenderIsFoundAfterTheOptionsAndFreesThem) {
  m_mail.SetFrom("");

  EXPECT_FALSE(m_mail.Send());

  EXPECT_EQ(m_mail.GetLastError(), 30);
  EXPECT_THAT(m_curl.m_calls, IsSupersetOf({"MAIL_FROM <>", "MAIL_RCPT <to@example.com>"}));
  EXPECT_THAT(m_curl.m_calls, Not(Contains("perform")));
  EXPECT_EQ(m_curl.m_calls.at(m_curl.m_calls.size() - 2), "free list");
  EXPECT_EQ(m_curl.m_calls.back(), "cleanup");
}

TEST_F(SmtpCalls, FailedHeaderLeavesSendWithoutALeaveLine) {
  m_inside.To().clear();
  const TraceCapture trace(2);

  m_mail.Send();

  EXPECT_THAT(trace.Texts(),
              ElementsAre("ENTER CSmtp::Send ()", "ENTER CSmtp::FormatHeader ()",
                          "LEAVE CSmtp::FormatHeader () -> failed CSMTP_ERROR_NO_RECIPIENTS"));
}

TEST_F(SmtpCalls, TransferIsTracedFromEntryToExit) {
  const TraceCapture trace(2);

  m_mail.Send();

  EXPECT_THAT(
      trace.Lines(),
      ElementsAre(
          Traces(2, "Ondrel::CSmtp::Send", "ENTER CSmtp::Send ()"),
          Traces(2, "Ondrel::CSmtp::FormatHeader", "ENTER CSmtp::FormatHeader ()"),
          Traces(2, "Ondrel::CSmtp::FormatHeader", "LEAVE CSmtp::FormatHeader ()"),
          Traces(2, "Ondrel::CSmtp::FormatMessageBody", "ENTER CSmtp::FormatMessageBody ()"),
          Traces(2, "Ondrel::CSmtp::FormatMessageBody", "LEAVE CSmtp::FormatMessageBody ()"),
          Traces(2, "Ondrel::CSmtp::Send", "LEAVE CSmtp::Send ()")));
}

TEST_F(SmtpCalls, FailedTransferHasTheSameLeaveLine) {
  m_curl.m_result = CURLE_COULDNT_CONNECT;
  const TraceCapture trace(2);

  EXPECT_FALSE(m_mail.Send());

  EXPECT_EQ(trace.Texts().back(), "LEAVE CSmtp::Send ()");
}

TEST_F(SmtpCalls, VerboseModeIsOnWhateverTheTraceMaskSays) {
  const TraceCapture trace(0);

  m_mail.Send();

  EXPECT_THAT(m_curl.m_calls, Contains("VERBOSE 1"));
}

struct ResultRow {
  const char* name;
  CURLcode result;
  int error;
};

void PrintTo(const ResultRow& row, std::ostream* out) { *out << row.name; }

class SmtpCallsResult : public SmtpCalls, public ::testing::WithParamInterface<ResultRow> {};

INSTANTIATE_TEST_SUITE_P(
    Results, SmtpCallsResult,
    ::testing::Values(ResultRow{"CouldNotConnect", CURLE_COULDNT_CONNECT, 25},
                      ResultRow{"LoginDenied", CURLE_LOGIN_DENIED, 26},
                      ResultRow{"CertificateRefusedIsNotATlsFailure",
                                CURLE_PEER_FAILED_VERIFICATION, 4},
                      ResultRow{"Result94HasNoRow", static_cast<CURLcode>(94), 1},
                      ResultRow{"TimedOut", CURLE_OPERATION_TIMEDOUT, 3},
                      ResultRow{"AbortedByCallback", CURLE_ABORTED_BY_CALLBACK, 8}),
    [](const ::testing::TestParamInfo<ResultRow>& row) { return row.param.name; });

TEST_P(SmtpCallsResult, IsConvertedAfterEverythingIsFreed) {
  m_curl.m_result = GetParam().result;

  EXPECT_FALSE(m_mail.Send());

  EXPECT_EQ(m_mail.GetLastError(), GetParam().error);
  EXPECT_EQ(m_curl.m_calls.back(), "cleanup");
}

TEST_F(SmtpCalls, SuccessClearsAnEarlierFailure) {
  m_mail.AddTO("");

  EXPECT_TRUE(m_mail.Send());

  EXPECT_EQ(m_mail.GetLastError(), 0);
}

TEST_F(SmtpCalls, EmptySubjectLeavesNoFailureAfterASuccess) {
  m_mail.SetSubject("");

  EXPECT_TRUE(m_mail.Send());

  EXPECT_EQ(m_mail.GetLastError(), 0);
}

TEST_F(SmtpCalls, ReadCallbackDeliversTheHeaderAndThenTheBody) {
  std::string text;
  m_curl.m_transfer = [&](FakeCurl& curl) { text = curl.ReadAll(kSixtyFourKiB); };

  m_mail.Send();

  EXPECT_THAT(text, AllOf(StartsWith("Date: "),
                          HasSubstr("\nFrom: RAID <raid@example.com>\n"
                                    "X-Priority: 3 (Normal)\n"
                                    "To: Admin<to@example.com>\n"
                                    "Subject: Drive failed\n"
                                    "Message-ID: <"),
                          EndsWith("\nContent-Transfer-Encoding: 7bit\n\nA drive failed.\n")));
}

TEST_F(SmtpCalls, ReadCallbackDeliversOneLineACall) {
  std::string text;
  m_curl.m_transfer = [&](FakeCurl& curl) {
    curl.Read(1, kSixtyFourKiB, text);
    curl.Read(kSixtyFourKiB, 1, text);
  };

  m_mail.Send();

  EXPECT_THAT(text, EndsWith("\nFrom: RAID <raid@example.com>\n"));
}

TEST_F(SmtpCalls, ReadCallbackAbortsWhenTheBufferIsSmallerThanTheNextLine) {
  m_mail.SetMessageBody("0123456789\nnext");
  const PreparedOperations prepared(Host::Clock(), ClockStandingStill(0));
  std::size_t tooSmall = 0;
  std::size_t exact = 0;
  std::string text;
  m_curl.m_transfer = [&](FakeCurl& curl) {
    // Nine header lines and the empty one.
    for (int line = 0; line < 10; ++line) curl.Read(1, kSixtyFourKiB, text);
    tooSmall = curl.Read(2, 5, text);
    exact = curl.Read(1, 11, text);
  };

  m_mail.Send();

  EXPECT_EQ(tooSmall, std::size_t{CURL_READFUNC_ABORT});
  EXPECT_EQ(exact, 11u);
  EXPECT_THAT(text, EndsWith("\n\n0123456789\n"));
}

TEST_F(SmtpCalls, ReadCallbackMeasuresALineToItsFirstZeroByte) {
  m_mail.SetMessageBody(std::string("ab\0cdefgh", 9));
  std::string text;
  m_curl.m_transfer = [&](FakeCurl& curl) {
    for (int line = 0; line < 10; ++line) curl.Read(1, kSixtyFourKiB, text);
    curl.Read(1, 2, text);
  };

  m_mail.Send();

  EXPECT_THAT(text, EndsWith("\n\nab"));
}

TEST_F(SmtpCalls, SecondSendUploadsTheFirstMessageAgainInFront) {
  std::string first;
  std::string second;
  m_curl.m_transfer = [&](FakeCurl& curl) { first = curl.ReadAll(kSixtyFourKiB); };
  m_mail.Send();
  m_curl.m_transfer = [&](FakeCurl& curl) { second = curl.ReadAll(kSixtyFourKiB); };
  m_mail.SetMessageBody("Another one.");

  m_mail.Send();

  EXPECT_THAT(second, AllOf(StartsWith(first + "Date: "), EndsWith("\n\nAnother one.\n")));
}

TEST_F(SmtpCalls, CopyOfASentObjectUploadsTheOldLinesToo) {
  m_mail.Send();
  CSmtp copy(m_mail);
  std::string text;
  m_curl.m_transfer = [&](FakeCurl& curl) { text = curl.ReadAll(kSixtyFourKiB); };

  copy.Send();

  EXPECT_EQ(CSmtpInspector(copy).Payload().size(), 22u);
  EXPECT_THAT(text, HasSubstr("A drive failed.\nDate: "));
}

TEST_F(SmtpCalls, LinesThatFitLeaveTheUploadBufferAsItIs) {
  SetLineOfBytes(kSixtyFourKiB);

  EXPECT_TRUE(m_mail.Send());

  EXPECT_THAT(m_curl.m_calls, Not(Contains(StartsWith("UPLOAD_BUFFERSIZE"))));
}

TEST_F(SmtpCalls, UploadBufferIsMadeToHoldTheLongestLine) {
  SetLineOfBytes(kSixtyFourKiB + 1);

  EXPECT_TRUE(m_mail.Send());

  EXPECT_THAT(m_curl.m_calls, Contains("UPLOAD_BUFFERSIZE 65537"));
}

TEST_F(SmtpCalls, UploadBufferIsSetBeforeTheReadFunction) {
  SetLineOfBytes(kSixtyFourKiB + 1);

  m_mail.Send();

  const auto& calls = m_curl.m_calls;
  const auto buffer = std::find(calls.begin(), calls.end(), "UPLOAD_BUFFERSIZE 65537");
  ASSERT_NE(buffer, calls.end());
  EXPECT_EQ(*(buffer - 1), "MAIL_RCPT <to@example.com>");
  EXPECT_EQ(*(buffer + 1), "READFUNCTION set");
}

TEST_F(SmtpCalls, LongHeaderLineCountsAsMuchAsABodyLine) {
  m_mail.SetSubject(std::string(100000, 's'));

  EXPECT_TRUE(m_mail.Send());

  EXPECT_THAT(m_curl.m_calls, Contains("UPLOAD_BUFFERSIZE 100010"));  // "Subject: " and line feed
}

TEST_F(SmtpCalls, LineIsMeasuredToItsFirstZeroByte) {
  m_mail.SetMessageBody(std::string(10, 'x') + '\0' + std::string(kTwoMiB, 'x'));

  EXPECT_TRUE(m_mail.Send());

  EXPECT_THAT(m_curl.m_calls, Not(Contains(StartsWith("UPLOAD_BUFFERSIZE"))));
}

TEST_F(SmtpCalls, LineOfTheLargestUploadBufferIsSent) {
  SetLineOfBytes(kTwoMiB);

  EXPECT_TRUE(m_mail.Send());

  EXPECT_THAT(m_curl.m_calls, IsSupersetOf({"UPLOAD_BUFFERSIZE 2097152", "perform"}));
}

TEST_F(SmtpCalls, LineThatNoUploadBufferHoldsIsRefusedBeforeAnythingIsSent) {
  SetLineOfBytes(kTwoMiB + 1);
  const TraceCapture trace(2);

  EXPECT_FALSE(m_mail.Send());

  EXPECT_EQ(m_mail.GetLastError(), 8);
  EXPECT_THAT(m_curl.m_calls, Not(Contains("perform")));
  EXPECT_EQ(m_curl.m_calls.at(m_curl.m_calls.size() - 2), "free list");
  EXPECT_EQ(m_curl.m_calls.back(), "cleanup");
  EXPECT_EQ(trace.Texts().back(), "LEAVE CSmtp::Send ()");
}

TEST_F(SmtpCalls, TranscriptIsTracedToItsSizeAndNotBeyond) {
  m_curl.m_transfer = [](FakeCurl& curl) {
    EXPECT_EQ(curl.Debug(CURLINFO_TEXT, "Trying"), 0);
    EXPECT_EQ(curl.Debug(CURLINFO_HEADER_IN, "220 ready\r\n"), 0);
    EXPECT_EQ(curl.Debug(CURLINFO_SSL_DATA_OUT, std::string("ab\0cd", 5)), 0);
    EXPECT_EQ(curl.Debug(CURLINFO_DATA_OUT, ""), 0);
  };
  const TraceCapture trace(16);

  m_mail.Send();

  const char* function = "Ondrel::CSmtp::SmtpTrace";
  EXPECT_THAT(trace.Lines(),
              ElementsAre(Traces(16, function, "CSmtp/cURL: Trying"),
                          Traces(16, function, "CSmtp/cURL: <= Recv header 220 ready\r\n"),
                          Traces(16, function, "CSmtp/cURL: => Send SSL data ab"),
                          Traces(16, function, "CSmtp/cURL: => Send data ")));
}

TEST_F(SmtpCalls, TranscriptIsNotTracedWithoutTheDetailLevel) {
  m_curl.m_transfer = [](FakeCurl& curl) { EXPECT_EQ(curl.Debug(CURLINFO_TEXT, "Trying"), 0); };
  const TraceCapture trace(1 | 2);

  m_mail.Send();

  EXPECT_THAT(trace.Texts(), Each(Not(HasSubstr("cURL"))));
}

TEST_F(SmtpCalls, TranscriptOfUnknownTypeOrWithoutDataIsNotTraced) {
  m_curl.m_transfer = [](FakeCurl& curl) {
    EXPECT_EQ(curl.Debug(CURLINFO_END, "Trying"), 0);
    EXPECT_EQ(curl.DebugRaw(CURLINFO_TEXT, nullptr, 6), 0);
  };
  const TraceCapture trace(16);

  m_mail.Send();

  EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST_F(SmtpCalls, ExceptionOnTheWayFreesTheListAndTheHandle) {
  Host::ClockOperations clock = ClockStandingStill(0);
  clock.CurrentTime = []() -> std::time_t { throw std::runtime_error("no clock"); };
  const PreparedOperations prepared(Host::Clock(), clock);

  EXPECT_THROW(m_mail.Send(), std::runtime_error);

  EXPECT_EQ(m_curl.m_calls.at(m_curl.m_calls.size() - 2), "free list");
  EXPECT_EQ(m_curl.m_calls.back(), "cleanup");
}

TEST_F(SmtpCalls, FieldsOfTheObjectStayAsTheyWere) {
  m_mail.SetServer("", 2525);
  m_mail.SetUserName("user");

  m_mail.Send();

  EXPECT_EQ(m_inside.Server(), "");
  EXPECT_EQ(m_inside.UserName(), "user");
  EXPECT_EQ(m_inside.To().size(), 1u);
  EXPECT_EQ(m_inside.Subject(), "Drive failed");
}

}  // namespace
}  // namespace Ondrel
