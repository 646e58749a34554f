#include "Host/Linux/FileDescriptor.h"
#include "Support/FaultySmtpServer.h"

#include <Ondrel/Smtp.h>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <future>
#include <netinet/in.h>
#include <ostream>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace Ondrel {
namespace {

using FaultyServer = Testing::FaultySmtpServer;

CSmtp MailTo(unsigned short port) {
  CSmtp mail;
  mail.SetServer("127.0.0.1", port);
  mail.SetFrom("service@host.test");
  mail.AddTO("admin@host.test");
  mail.SetSubject("PD 3 failed");
  mail.SetMessageBody("PD 3: OPERATIONAL to FAILED");
  return mail;
}

struct Fault {
  const char* name;
  const char* stage;
  const char* action;
  bool withLogin;
  bool sent;
  CSmtpError error;
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.stage << ": " << fault.action; }

// What libcurl documents for each stage, turned into our numbers by the conversion table.
const Fault kFaults[] = {
    // A connection that ends instead of an answer is CURLE_RECV_ERROR (56).
    {"BannerDropped", "banner", "drop", false, false, CSMTP_ERROR_SSL},
    {"EhloDropped", "ehlo", "drop", false, false, CSMTP_ERROR_SSL},
    {"AuthDropped", "auth", "drop", true, false, CSMTP_ERROR_SSL},
    {"MailDropped", "mail", "drop", false, false, CSMTP_ERROR_SSL},
    {"RcptDropped", "rcpt", "drop", false, false, CSMTP_ERROR_SSL},
    {"DataDropped", "data", "drop", false, false, CSMTP_ERROR_SSL},
    {"EndOfDataDropped", "end", "drop", false, false, CSMTP_ERROR_SSL},
    {"EhloReset", "ehlo", "reset", false, false, CSMTP_ERROR_SSL},
    {"EndOfDataReset", "end", "reset", false, false, CSMTP_ERROR_SSL},
    // A greeting that is none is CURLE_WEIRD_SERVER_REPLY (8).
    {"BannerTemporarilyRefused", "banner", "421 too busy", false, false,
     CSMTP_ERROR_UNEXPECTED_CODE},
    {"BannerRefused", "banner", "554 no service", false, false, CSMTP_ERROR_UNEXPECTED_CODE},
    // EHLO refused: HELO is tried, and does.
    {"EhloTemporarilyRefused", "ehlo", "421 later", false, true, CSMTP_ERROR_NONE},
    {"EhloRefused", "ehlo", "502 not implemented", false, true, CSMTP_ERROR_NONE},
    // Both forms of the greeting refused is CURLE_REMOTE_ACCESS_DENIED (9).
    {"GreetingRefused", "greeting", "502 no", false, false, CSMTP_ERROR_AUTHENTICATION_FAILED},
    // A refused login is CURLE_LOGIN_DENIED (67).
    {"AuthTemporarilyRefused", "auth", "454 later", true, false, CSMTP_ERROR_AUTHENTICATION_FAILED},
    {"AuthRefused", "auth", "535 wrong", true, false, CSMTP_ERROR_AUTHENTICATION_FAILED},
    // A refused command of the transfer is CURLE_SEND_ERROR (55).
    {"MailTemporarilyRefused", "mail", "451 later", false, false, CSMTP_ERROR_SSL},
    {"MailRefused", "mail", "550 not you", false, false, CSMTP_ERROR_SSL},
    {"MailStorageFull", "mail", "552 full", false, false, CSMTP_ERROR_SSL},
    {"RcptTemporarilyRefused", "rcpt", "450 busy", false, false, CSMTP_ERROR_SSL},
    {"RcptRefused", "rcpt", "550 unknown", false, false, CSMTP_ERROR_SSL},
    {"DataTemporarilyRefused", "data", "451 later", false, false, CSMTP_ERROR_SSL},
    {"DataRefused", "data", "554 no", false, false, CSMTP_ERROR_SSL},
    // The refused message itself is CURLE_WEIRD_SERVER_REPLY (8).
    {"EndOfDataTemporarilyRefused", "end", "451 later", false, false, CSMTP_ERROR_UNEXPECTED_CODE},
    {"EndOfDataRefused", "end", "554 spam", false, false, CSMTP_ERROR_UNEXPECTED_CODE},
    // The message is taken by then.
    {"QuitDropped", "quit", "drop", false, true, CSMTP_ERROR_NONE},
    {"QuitTemporarilyRefused", "quit", "421 later", false, true, CSMTP_ERROR_NONE},
    {"QuitRefused", "quit", "500 no", false, true, CSMTP_ERROR_NONE},
    // TLS is tried, not demanded: a refusal goes on in plain text, a broken handshake does not.
    {"StartTlsTemporarilyRefused", "starttls", "454 not now", false, true, CSMTP_ERROR_NONE},
    {"StartTlsRefused", "starttls", "502 no", false, true, CSMTP_ERROR_NONE},
    {"StartTlsBroken", "starttls", "break", false, false, CSMTP_ERROR_SSL},
};

class MailFault : public testing::TestWithParam<Fault> {};

TEST_P(MailFault, HasItsError) {
  const Fault& fault = GetParam();
  FaultyServer server(fault.stage, fault.action);
  CSmtp mail = MailTo(server.Port());
  if (fault.withLogin) {
    mail.SetUserName("user");
    mail.SetPassword("password");
  }

  const bool sent = mail.Send();

  EXPECT_EQ(sent, fault.sent);
  EXPECT_EQ(mail.GetLastError(), fault.error)
      << "commands seen: " << server.Running().Wait().output;
}

INSTANTIATE_TEST_SUITE_P(Stages, MailFault, testing::ValuesIn(kFaults),
                         [](const auto& fault) { return std::string(fault.param.name); });

TEST(MailFaults, HeloIsTriedWhereEhloIsRefused) {
  FaultyServer server("ehlo", "502 not implemented");
  CSmtp mail = MailTo(server.Port());
  EXPECT_TRUE(mail.Send());
  EXPECT_NE(server.Running().Wait().output.find("EHLO\nHELO\nMAIL\n"), std::string::npos);
}

TEST(MailFaults, ClosedPortIsAConnectionRefused) {
  // A port that was free a moment ago and that nobody listens on.
  const Host::FileDescriptor probe(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(probe.Number(), reinterpret_cast<sockaddr*>(&address), length), 0);
  ASSERT_EQ(getsockname(probe.Number(), reinterpret_cast<sockaddr*>(&address), &length), 0);

  CSmtp mail = MailTo(ntohs(address.sin_port));
  EXPECT_FALSE(mail.Send());
  EXPECT_EQ(mail.GetLastError(), CSMTP_ERROR_CONNECTION_REFUSED);
}

TEST(MailFaults, UnknownHostIsAHostNameError) {
  CSmtp mail = MailTo(25);
  mail.SetServer("no-such-host.invalid", 25);
  EXPECT_FALSE(mail.Send());
  EXPECT_EQ(mail.GetLastError(), CSMTP_ERROR_HOSTNAME);
}

TEST(MailFaults, UnknownSchemeIsAnUnexpectedCode) {
  CSmtp mail = MailTo(25);
  mail.SetProtocol("postpigeon");
  EXPECT_FALSE(mail.Send());
  EXPECT_EQ(mail.GetLastError(), CSMTP_ERROR_UNEXPECTED_CODE);
}

TEST(MailFaults, TlsFromTheStartAgainstAPlainServerIsATlsError) {
  FaultyServer server("none", "");
  CSmtp mail = MailTo(server.Port());
  mail.SetProtocol("smtps");
  EXPECT_FALSE(mail.Send());
  EXPECT_EQ(mail.GetLastError(), CSMTP_ERROR_SSL);
}

TEST(MailFaults, ServerThatStopsReadingHoldsTheCallUntilTheConnectionBreaks) {
  FaultyServer server("body", "stall");
  CSmtp mail = MailTo(server.Port());
  mail.SetMessageBody(Testing::MoreThanAConnectionHolds());

  std::future<bool> sent = std::async(std::launch::async, [&mail] { return mail.Send(); });
  ASSERT_TRUE(server.Running().WaitForOutput("stalled"));
  // More than the two ends of the connection hold is to be sent: Send cannot have ended.
  EXPECT_EQ(sent.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  server.Running().Signal(SIGUSR1);

  EXPECT_FALSE(sent.get());
  EXPECT_EQ(mail.GetLastError(), CSMTP_ERROR_SSL);
}

}  // namespace
}  // namespace Ondrel
