#include "Host/Linux/FileDescriptor.h"
#include "Support/SmtpServer.h"
#include "Support/TraceCapture.h"

#include <Ondrel/Smtp.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cstddef>
#include <netinet/in.h>
#include <ostream>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Ondrel {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::MatchesRegex;
using Testing::ReceivedMail;
using ::testing::SizeIs;
using Testing::SmtpServer;
using ::testing::StartsWith;
using Testing::TraceCapture;

constexpr std::size_t kSixtyFourKiB = 65536;
constexpr std::size_t kTwoMiB = 2097152;

CSmtp MailTo(const SmtpServer& server) {
  CSmtp mail;
  mail.SetServer("127.0.0.1", server.Port());
  mail.SetFrom("raid@example.com", "RAID");
  mail.AddTO("admin@example.com", "Admin");
  mail.SetSubject("Drive failed");
  mail.SetMessageBody("The drive in slot 3 failed.");
  return mail;
}

// The lines after the header's end.
std::vector<std::string> BodyOf(const ReceivedMail& mail) {
  std::vector<std::string> lines = mail.Lines();
  const auto empty = std::find(lines.begin(), lines.end(), "");
  if (empty == lines.end()) return {"(the header has no end)"};
  return {empty + 1, lines.end()};
}

TEST(MailDelivery, MailArrivesLineByLine) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetXMailer("Monitor 7");
  mail.SetReplyTo("reply@example.com");
  mail.SetXPriority(XPRIORITY_HIGH);
  mail.AddTO("second@example.com");
  mail.AddCC("cc@example.com", "Copy");
  mail.AddBCC("bcc@example.com");
  mail.SetMessageBody("First line.\n\n\nSecond line.");

  EXPECT_TRUE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 0);
  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_THAT(
      mails[0].Lines(),
      ElementsAre(MatchesRegex("Date: (Mon|Tue|Wed|Thu|Fri|Sat|Sun),\t[0-9]{2} "
                               "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [0-9]{4} "
                               "[0-9]{2}:[0-9]{2}:[0-9]{2} [+-][0-9]{4}"),
                  "From: RAID <raid@example.com>", "X-Mailer: Monitor 7",
                  "Reply-To: reply@example.com", "X-Priority: 2 (High)",
                  "To: Admin<admin@example.com>,<second@example.com>", "Cc: Copy<cc@example.com>",
                  "Bcc: <bcc@example.com>", "Subject: Drive failed",
                  MatchesRegex("Message-ID: <[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-"
                               "[89ab][0-9a-f]{3}-[0-9a-f]{12}@example\\.com>"),
                  "MIME-Version: 1.0", "Content-type: text/plain; charset=US-ASCII",
                  "Content-Transfer-Encoding: 7bit", "", "First line.", "Second line."));
}

TEST(MailDelivery, EnvelopeHasToThenCcThenBcc) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.AddBCC("bcc@example.com", "Blind");
  mail.AddCC("cc@example.com", "Copy");
  mail.AddTO("second@example.com");

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_EQ(mails[0].from, "raid@example.com");
  EXPECT_THAT(mails[0].to, ElementsAre("admin@example.com", "second@example.com", "cc@example.com",
                                       "bcc@example.com"));
}

TEST(MailDelivery, LinesWithDotsArriveWithTheirDots) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetMessageBody(".\n..\n.hidden\nmid.dle\n.");

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_THAT(BodyOf(mails[0]), ElementsAre(".", "..", ".hidden", "mid.dle", "."));
}

TEST(MailDelivery, CarriageReturnOfTheBodyArrivesBesideThatOfTheTransfer) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetMessageBody("with\r\nwithout\n");

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_THAT(BodyOf(mails[0]), ElementsAre("with\r", "without"));
}

TEST(MailDelivery, BytesBeyondAsciiArriveAsTheyAre) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetMessageBody(
      "Gr\xC3\xBC\xC3\x9F"
      "e \xFF");

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_THAT(BodyOf(mails[0]), ElementsAre("Gr\xC3\xBC\xC3\x9F"
                                            "e \xFF"));
}

TEST(MailDelivery, EmptyBodyArrivesAsAHeaderAlone) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetMessageBody("");

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_THAT(BodyOf(mails[0]), IsEmpty());
}

TEST(MailDelivery, EmptySubjectArrivesAndLeavesNoFailure) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetSubject("");

  EXPECT_TRUE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 0);
  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_THAT(mails[0].Lines(), Contains("Subject: "));
}

TEST(MailDelivery, EmptyServerNameMeansTheLocalMachine) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetServer("", server.Port());

  EXPECT_TRUE(mail.Send());

  EXPECT_THAT(server.Mails(), SizeIs(1));
}

TEST(MailDelivery, SecondSendRepeatsTheFirstMessageInFront) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetMessageBody("First message.");
  EXPECT_TRUE(mail.Send());
  mail.SetMessageBody("Second message.");

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(2));
  EXPECT_THAT(mails[1].data, StartsWith(mails[0].data + "Date: "));
  EXPECT_EQ(mails[1].Lines().back(), "Second message.");
}

TEST(MailDelivery, FreshObjectAssignedToASentOneStartsClean) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  EXPECT_TRUE(mail.Send());

  mail = MailTo(server);
  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(2));
  EXPECT_THAT(BodyOf(mails[1]), ElementsAre("The drive in slot 3 failed."));
}

TEST(MailDelivery, ServerWithoutTlsGetsTheMailInTheClear) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_FALSE(mails[0].isSecure);
}

TEST(MailDelivery, TlsIsTakenWhenOfferedWhateverTheCertificate) {
  const SmtpServer server({.tls = SmtpServer::Tls::Offered});
  CSmtp mail = MailTo(server);

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_TRUE(mails[0].isSecure);
  EXPECT_THAT(BodyOf(mails[0]), ElementsAre("The drive in slot 3 failed."));
}

TEST(MailDelivery, SmtpsTalksTlsFromTheStart) {
  const SmtpServer server({.tls = SmtpServer::Tls::FromTheStart});
  CSmtp mail = MailTo(server);
  mail.SetProtocol("smtps");

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_TRUE(mails[0].isSecure);
  EXPECT_THAT(BodyOf(mails[0]), ElementsAre("The drive in slot 3 failed."));
}

TEST(MailDelivery, SmtpsToAServerWithoutTlsFailsWith27) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetProtocol("smtps");

  EXPECT_FALSE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 27);
}

struct LoginRow {
  const char* name;
  const char* mechanism;
  long saslIr;
};

void PrintTo(const LoginRow& row, std::ostream* out) { *out << row.name; }

class MailLogin : public ::testing::TestWithParam<LoginRow> {
protected:
  static SmtpServer::Options Login() {
    return {.user = "monitor", .password = "s3cret", .onlyMechanism = GetParam().mechanism};
  }

  SmtpServer m_server{Login()};
};

INSTANTIATE_TEST_SUITE_P(Mechanisms, MailLogin,
                         ::testing::Values(LoginRow{"Plain", "PLAIN", 1},
                                           LoginRow{"PlainWithoutInitialResponse", "PLAIN", 0},
                                           LoginRow{"Login", "LOGIN", 1},
                                           LoginRow{"LoginWithoutInitialResponse", "LOGIN", 0},
                                           LoginRow{"Any", "", 1}),
                         [](const ::testing::TestParamInfo<LoginRow>& row) {
                           return row.param.name;
                         });

TEST_P(MailLogin, WithTheRightPasswordIsAccepted) {
  CSmtp mail = MailTo(m_server);
  mail.SetUserName("monitor");
  mail.SetPassword("s3cret");
  mail.Set_CURLOPT_SASL_IR(GetParam().saslIr);

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = m_server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_EQ(mails[0].user, "monitor");
}

TEST_P(MailLogin, WithAWrongPasswordFailsWith26) {
  CSmtp mail = MailTo(m_server);
  mail.SetUserName("monitor");
  mail.SetPassword("guess");
  mail.Set_CURLOPT_SASL_IR(GetParam().saslIr);

  EXPECT_FALSE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 26);
  EXPECT_THAT(m_server.Mails(), IsEmpty());
}

TEST(MailDelivery, LoginAtAServerThatKnowsNoneIsSkipped) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  mail.SetUserName("monitor");
  mail.SetPassword("s3cret");

  EXPECT_TRUE(mail.Send());

  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_EQ(mails[0].user, "");
}

TEST(MailDelivery, PasswordWithoutUserNameMeansNoLogin) {
  const SmtpServer server({.user = "monitor", .password = "s3cret"});
  CSmtp mail = MailTo(server);
  mail.SetPassword("s3cret");

  EXPECT_FALSE(mail.Send());

  // The server refuses the sender who did not log in.
  EXPECT_EQ(mail.GetLastError(), 27);
  EXPECT_THAT(server.Mails(), IsEmpty());
}

TEST(MailDelivery, RefusedRecipientFailsTheMailForAll) {
  const SmtpServer server({.refusedRecipient = "gone@example.com"});
  CSmtp mail = MailTo(server);
  mail.AddCC("gone@example.com");

  EXPECT_FALSE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 27);
  EXPECT_THAT(server.Mails(), IsEmpty());
}

struct LengthRow {
  const char* name;
  std::size_t bytes;  // With the line feed.
};

void PrintTo(const LengthRow& row, std::ostream* out) { *out << row.name; }

class MailLineLength : public ::testing::TestWithParam<LengthRow> {};

INSTANTIATE_TEST_SUITE_P(
    Lengths, MailLineLength,
    ::testing::Values(LengthRow{"OneHundredThousand", 100000},
                      LengthRow{"OneBelowTheDefaultBuffer", kSixtyFourKiB - 1},
                      LengthRow{"DefaultBuffer", kSixtyFourKiB},
                      LengthRow{"OneBeyondTheDefaultBuffer", kSixtyFourKiB + 1},
                      LengthRow{"LargestBuffer", kTwoMiB}),
    [](const ::testing::TestParamInfo<LengthRow>& row) { return row.param.name; });

TEST_P(MailLineLength, LineArrivesWhole) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  // A period of its own length, so that a lost, doubled or moved piece shows.
  std::string line;
  while (line.size() < GetParam().bytes - 1) line += std::to_string(line.size()) + ".";
  line.resize(GetParam().bytes - 1);
  mail.SetMessageBody("before\n" + line + "\nafter");

  EXPECT_TRUE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 0);
  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  const std::vector<std::string> body = BodyOf(mails[0]);
  ASSERT_THAT(body, SizeIs(3));
  EXPECT_TRUE(body[1] == line) << body[1].size() << " bytes arrived";
}

TEST(MailDelivery, LineBeyondTheLargestBufferIsRefusedWith8WithoutAConnection) {
  const SmtpServer server;
  CSmtp tooLong = MailTo(server);
  tooLong.SetMessageBody(std::string(kTwoMiB, 'x'));  // With its line feed one byte too many.

  EXPECT_FALSE(tooLong.Send());

  EXPECT_EQ(tooLong.GetLastError(), 8);
  // The next mail's connection is the first that the server saw.
  CSmtp next = MailTo(server);
  EXPECT_TRUE(next.Send());
  const std::vector<ReceivedMail> mails = server.Mails();
  ASSERT_THAT(mails, SizeIs(1));
  EXPECT_EQ(mails[0].connections, 1);
}

// A port of this machine that nobody listens on, kept from others while the object lives.
class ClosedPort {
public:
  ClosedPort() : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    EXPECT_EQ(::bind(m_socket.Number(), reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(::getsockname(m_socket.Number(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    m_number = ::ntohs(address.sin_port);
  }

  unsigned short Number() const { return m_number; }

private:
  Host::FileDescriptor m_socket;
  unsigned short m_number = 0;
};

CSmtp MailToServer(const std::string& server, unsigned short port) {
  CSmtp mail;
  mail.SetServer(server, port);
  mail.SetFrom("raid@example.com");
  mail.AddTO("admin@example.com");
  return mail;
}

TEST(MailDelivery, ClosedPortFailsWith25) {
  const ClosedPort port;
  CSmtp mail = MailToServer("127.0.0.1", port.Number());

  EXPECT_FALSE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 25);
}

TEST(MailDelivery, UnknownHostFailsWith4) {
  CSmtp mail = MailToServer("no-such-host.invalid", 25);

  EXPECT_FALSE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 4);
}

TEST(MailDelivery, ServerNameThatMakesNoUrlFailsWith4) {
  CSmtp mail = MailToServer("no host name", 25);

  EXPECT_FALSE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 4);
}

TEST(MailDelivery, UnknownProtocolFailsWith1) {
  CSmtp mail = MailToServer("127.0.0.1", 25);
  mail.SetProtocol("pigeon");

  EXPECT_FALSE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 1);
}

TEST(MailDelivery, MailWithCopiesOnlyFailsWith29) {
  CSmtp mail;
  mail.SetFrom("raid@example.com");
  mail.AddCC("cc@example.com");

  EXPECT_FALSE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 29);
}

TEST(MailDelivery, MailWithoutSenderFailsWith30) {
  CSmtp mail;
  mail.AddTO("admin@example.com");

  EXPECT_FALSE(mail.Send());

  EXPECT_EQ(mail.GetLastError(), 30);
}

TEST(MailDelivery, TranscriptGoesToTheTraceAtTheDetailLevel) {
  const SmtpServer server;
  CSmtp mail = MailTo(server);
  const TraceCapture trace(16);

  EXPECT_TRUE(mail.Send());

  EXPECT_THAT(trace.Texts(),
              IsSupersetOf({"CSmtp/cURL: => Send header MAIL FROM:<raid@example.com>\r\n",
                            "CSmtp/cURL: => Send header RCPT TO:<admin@example.com>\r\n",
                            "CSmtp/cURL: <= Recv header 250 OK\r\n"}));
}

TEST(MailDelivery, TranscriptShowsThePasswordToTheTrace) {
  const SmtpServer server({.user = "monitor", .password = "s3cret", .onlyMechanism = "PLAIN"});
  CSmtp mail = MailTo(server);
  mail.SetUserName("monitor");
  mail.SetPassword("s3cret");
  const TraceCapture trace(16);

  EXPECT_TRUE(mail.Send());

  // The Base64 form of a zero byte, "monitor", a zero byte and "s3cret".
  EXPECT_THAT(trace.Texts(), Contains(HasSubstr("AUTH PLAIN AG1vbml0b3IAczNjcmV0")));
}

TEST(MailDelivery, SeparateObjectsSendFromSeparateThreads) {
  const SmtpServer server({.tls = SmtpServer::Tls::Offered});
  const TraceCapture trace(2 | 16);
  std::vector<CSmtp> mails(4, MailTo(server));
  std::vector<char> sent(mails.size(), 0);
  std::vector<std::thread> threads;

  for (std::size_t i = 0; i < mails.size(); ++i)
    threads.emplace_back([&, i] { sent[i] = mails[i].Send() ? 1 : 0; });
  for (std::thread& thread : threads) thread.join();

  EXPECT_THAT(sent, ElementsAre(1, 1, 1, 1));
  EXPECT_THAT(server.Mails(), SizeIs(4));
}

}  // namespace
}  // namespace Ondrel
