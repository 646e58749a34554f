#include "Host/ClockOperations.h"
#include "Support/MatchesPattern.h"
#include "Support/PreparedClock.h"
#include "Support/PreparedOperations.h"
#include "Support/SmtpInspector.h"
#include "Support/TraceCapture.h"
#include "Support/TraceMatchers.h"

#include <Ondrel/Smtp.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using Testing::ClockStandingStill;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using Testing::PreparedOperations;
using Testing::TraceCapture;
using Testing::Traces;

constexpr long kTwoHoursEast = -7200;
constexpr const char* kDateLine = "Date: Thu,\t07 Mar 2024 09:05:03 +0200\n";

class SmtpFormat : public ::testing::Test {
protected:
  SmtpFormat() {
    m_mail.SetFrom("raid@example.com", "RAID");
    m_mail.AddTO("admin@example.com", "Admin");
    m_mail.SetSubject("Drive failed");
  }

  // The header's line that begins with `field`; empty when there is none.
  std::string HeaderLine(const std::string& field) {
    EXPECT_TRUE(m_inside.FormatHeader());
    for (const std::string& line : m_inside.Payload())
      if (line.starts_with(field)) return line;
    return "";
  }

  std::vector<std::string> BodyLines(const std::string& body) {
    m_mail.SetMessageBody(body);
    EXPECT_TRUE(m_inside.FormatMessageBody());
    return m_inside.Payload();
  }

  CSmtp m_mail;
  CSmtpInspector m_inside{m_mail};

private:
  PreparedOperations<Host::ClockOperations> m_clock{Host::Clock(),
                                                    ClockStandingStill(kTwoHoursEast)};
};

TEST_F(SmtpFormat, AGivenMessageIdStandsInPlaceOfARandomOne) {
  m_mail.SetMessageId("kept@example.com");
  EXPECT_EQ("Message-ID: <kept@example.com>\n", HeaderLine("Message-ID: "));
}

TEST_F(SmtpFormat, HeaderWithEveryFieldHasItsLinesInOrder) {
  m_mail.SetXMailer("Monitor 7");
  m_mail.SetReplyTo("reply@example.com");
  m_mail.SetXPriority(XPRIORITY_HIGH);
  m_mail.AddCC("cc@example.com");
  m_mail.AddBCC("bcc@example.com");

  EXPECT_TRUE(m_inside.FormatHeader());

  EXPECT_THAT(m_inside.Payload(),
              ElementsAre(kDateLine, "From: RAID <raid@example.com>\n", "X-Mailer: Monitor 7\n",
                          "Reply-To: reply@example.com\n", "X-Priority: 2 (High)\n",
                          "To: Admin<admin@example.com>\n", "Cc: <cc@example.com>\n",
                          "Bcc: <bcc@example.com>\n", "Subject: Drive failed\n",
                          MatchesPattern("Message-ID: <[0-9a-f-]{36}@example\\.com>\n"),
                          "MIME-Version: 1.0\n", "Content-type: text/plain; charset=US-ASCII\n",
                          "Content-Transfer-Encoding: 7bit\n", "\n"));
}

TEST_F(SmtpFormat, HeaderWithoutOptionalFieldsHasTheOtherLines) {
  EXPECT_TRUE(m_inside.FormatHeader());

  EXPECT_THAT(m_inside.Payload(),
              ElementsAre(kDateLine, "From: RAID <raid@example.com>\n", "X-Priority: 3 (Normal)\n",
                          "To: Admin<admin@example.com>\n", "Subject: Drive failed\n",
                          MatchesPattern("Message-ID: <[0-9a-f-]{36}@example\\.com>\n"),
                          "MIME-Version: 1.0\n", "Content-type: text/plain; charset=US-ASCII\n",
                          "Content-Transfer-Encoding: 7bit\n", "\n"));
}

TEST_F(SmtpFormat, SenderWithoutDisplayNameHasTwoSpacesBeforeTheBracket) {
  m_mail.SetFrom("raid@example.com", "");

  EXPECT_EQ(HeaderLine("From:"), "From:  <raid@example.com>\n");
}

TEST_F(SmtpFormat, AddressListHasNoSpaceBetweenItsEntries) {
  m_mail.AddTO("nameless@example.com");
  m_mail.AddTO("third@example.com", "Third One");

  EXPECT_EQ(HeaderLine("To:"),
            "To: Admin<admin@example.com>,<nameless@example.com>,Third One<third@example.com>\n");
}

TEST_F(SmtpFormat, LongAddressListStaysOneLine) {
  for (int i = 0; i < 999; ++i) m_mail.AddTO("someone@example.com", "Name");

  // "To: ", the first entry, and a comma with 25 characters for each of the others.
  EXPECT_EQ(HeaderLine("To:").size(), 4 + 24 + 999 * 26 + 1u);
}

TEST_F(SmtpFormat, BlindCopiesStandVisiblyInTheHeader) {
  m_mail.AddBCC("secret@example.com", "Secret");
  m_mail.AddBCC("other@example.com");

  EXPECT_EQ(HeaderLine("Bcc:"), "Bcc: Secret<secret@example.com>,<other@example.com>\n");
}

struct PriorityRow {
  const char* name;
  int priority;
  const char* line;
};

void PrintTo(const PriorityRow& row, std::ostream* out) { *out << row.name; }

class SmtpPriority : public SmtpFormat, public ::testing::WithParamInterface<PriorityRow> {};

INSTANTIATE_TEST_SUITE_P(Values, SmtpPriority,
                         ::testing::Values(PriorityRow{"High", 2, "X-Priority: 2 (High)\n"},
                                           PriorityRow{"Normal", 3, "X-Priority: 3 (Normal)\n"},
                                           PriorityRow{"Low", 4, "X-Priority: 4 (Low)\n"},
                                           PriorityRow{"One", 1, "X-Priority: 3 (Normal)\n"},
                                           PriorityRow{"Five", 5, "X-Priority: 3 (Normal)\n"},
                                           PriorityRow{"Zero", 0, "X-Priority: 3 (Normal)\n"},
                                           PriorityRow{"Minus", -1, "X-Priority: 3 (Normal)\n"}),
                         [](const ::testing::TestParamInfo<PriorityRow>& row) {
                           return row.param.name;
                         });

TEST_P(SmtpPriority, AnyOtherNumberIsWrittenAsNormal) {
  m_mail.SetXPriority(static_cast<CSmtpXPriority>(GetParam().priority));

  EXPECT_EQ(HeaderLine("X-Priority:"), GetParam().line);
}

TEST_F(SmtpFormat, EmptySubjectKeepsItsSpaceAndStoresTheWarning31) {
  m_mail.SetSubject("");

  EXPECT_EQ(HeaderLine("Subject:"), "Subject: \n");
  EXPECT_EQ(m_mail.GetLastError(), 31);
}

TEST_F(SmtpFormat, SubjectLeavesTheFailureAsItWas) {
  m_inside.LastError() = CSMTP_ERROR_STREAM;

  EXPECT_TRUE(m_inside.FormatHeader());

  EXPECT_EQ(m_mail.GetLastError(), 3);
}

TEST_F(SmtpFormat, SubjectIsNeitherEncodedNorFolded) {
  const std::string subject = std::string(2000, 'x') + " \xC3\xA4 %s";
  m_mail.SetSubject(subject);

  EXPECT_EQ(HeaderLine("Subject:"), "Subject: " + subject + "\n");
}

TEST_F(SmtpFormat, LineBreakInAHeaderTextIsNotTakenOut) {
  m_mail.SetSubject("one\nX-Other: two");

  EXPECT_EQ(HeaderLine("Subject:"), "Subject: one\nX-Other: two\n");
}

TEST_F(SmtpFormat, MessageIdOfASenderWithoutAtSignHasTheFixedHostPart) {
  m_mail.SetFrom("raid");

  EXPECT_THAT(HeaderLine("Message-ID:"),
              MatchesPattern("Message-ID: <[0-9a-f-]{36}@nodomain\\.invalid>\n"));
}

TEST_F(SmtpFormat, MessageIdOfASenderWithTwoAtSignsBeginsAtTheFirst) {
  m_mail.SetFrom("odd@first@second");

  EXPECT_THAT(HeaderLine("Message-ID:"), EndsWith("@first@second>\n"));
}

TEST_F(SmtpFormat, MissingToRecipientIs29AndAppendsNothing) {
  m_inside.To().clear();

  EXPECT_FALSE(m_inside.FormatHeader());

  EXPECT_EQ(m_mail.GetLastError(), 29);
  EXPECT_THAT(m_inside.Payload(), IsEmpty());
}

TEST_F(SmtpFormat, CopiesDoNotMakeUpForAMissingToRecipient) {
  m_inside.To().clear();
  m_mail.AddCC("cc@example.com");
  m_mail.AddBCC("bcc@example.com");

  EXPECT_FALSE(m_inside.FormatHeader());

  EXPECT_EQ(m_mail.GetLastError(), 29);
}

TEST_F(SmtpFormat, MissingSenderIs30AndAppendsNothing) {
  m_mail.SetFrom("", "RAID");

  EXPECT_FALSE(m_inside.FormatHeader());

  EXPECT_EQ(m_mail.GetLastError(), 30);
  EXPECT_THAT(m_inside.Payload(), IsEmpty());
}

TEST_F(SmtpFormat, MissingRecipientIsFoundBeforeTheMissingSender) {
  m_inside.To().clear();
  m_mail.SetFrom("");

  EXPECT_FALSE(m_inside.FormatHeader());

  EXPECT_EQ(m_mail.GetLastError(), 29);
}

TEST_F(SmtpFormat, SecondHeaderFollowsTheFirstWithAMessageIdOfItsOwn) {
  m_inside.FormatHeader();
  m_inside.FormatHeader();

  const std::vector<std::string>& payload = m_inside.Payload();
  ASSERT_EQ(payload.size(), 20u);
  EXPECT_EQ(payload[0], kDateLine);
  EXPECT_EQ(payload[10], kDateLine);
  EXPECT_NE(payload[5], payload[15]);
  EXPECT_THAT(payload[15], MatchesPattern("Message-ID: <.*>\n"));
}

TEST_F(SmtpFormat, HeaderIsTracedAtItsEntryAndExit) {
  const TraceCapture trace(2 | 16);

  m_inside.FormatHeader();

  EXPECT_THAT(
      trace.Lines(),
      ElementsAre(Traces(2, "Ondrel::CSmtp::FormatHeader", "ENTER CSmtp::FormatHeader ()"),
                  Traces(2, "Ondrel::CSmtp::FormatHeader", "LEAVE CSmtp::FormatHeader ()")));
}

TEST_F(SmtpFormat, EmptySubjectIsNotTraced) {
  m_mail.SetSubject("");
  const TraceCapture trace(2 | 16);

  m_inside.FormatHeader();

  EXPECT_THAT(trace.Texts(),
              ElementsAre("ENTER CSmtp::FormatHeader ()", "LEAVE CSmtp::FormatHeader ()"));
}

TEST_F(SmtpFormat, MissingRecipientIsTraced) {
  m_inside.To().clear();
  const TraceCapture trace(2 | 16);

  m_inside.FormatHeader();

  EXPECT_THAT(trace.Lines(),
              ElementsAre(Traces(2, "Ondrel::CSmtp::FormatHeader", "ENTER CSmtp::FormatHeader ()"),
                          Traces(2, "Ondrel::CSmtp::FormatHeader",
                                 "LEAVE CSmtp::FormatHeader () -> failed "
                                 "CSMTP_ERROR_NO_RECIPIENTS")));
}

TEST_F(SmtpFormat, MissingSenderIsTraced) {
  m_mail.SetFrom("");
  const TraceCapture trace(2 | 16);

  m_inside.FormatHeader();

  EXPECT_THAT(trace.Lines(),
              ElementsAre(Traces(2, "Ondrel::CSmtp::FormatHeader", "ENTER CSmtp::FormatHeader ()"),
                          Traces(2, "Ondrel::CSmtp::FormatHeader",
                                 "LEAVE CSmtp::FormatHeader () -> failed "
                                 "CSMTP_ERROR_NO_MAILFROM")));
}

TEST_F(SmtpFormat, EmptyBodyHasNoLines) { EXPECT_THAT(BodyLines(""), IsEmpty()); }

TEST_F(SmtpFormat, LinesOfALongBodyHoldNoMoreThanTheirText) {
  std::string body;
  for (int line = 0; line < 1000; ++line) body += std::string(60, 'x') + "\n\n";
  BodyLines(body);
  std::size_t held = 0;
  for (const std::string& line : m_inside.Payload()) held += line.capacity();
  EXPECT_LE(held, m_inside.Payload().size() * 64);
  EXPECT_EQ(m_inside.Payload().size(), 1000u);
  EXPECT_EQ(m_inside.Payload().capacity(), 1000u);
}

TEST_F(SmtpFormat, EmptyBodyLeavesTheEmptyHeaderLineLast) {
  m_inside.FormatHeader();

  EXPECT_EQ(BodyLines("").back(), "\n");
}

TEST_F(SmtpFormat, EmptyLinesOfTheBodyAreDropped) {
  EXPECT_THAT(BodyLines("first\n\n\nsecond"), ElementsAre("first\n", "second\n"));
}

TEST_F(SmtpFormat, LineFeedsAtTheEndsOfTheBodyAddNoLines) {
  EXPECT_THAT(BodyLines("\n\nonly\n\n"), ElementsAre("only\n"));
}

TEST_F(SmtpFormat, LineOfOneSpaceIsKept) {
  EXPECT_THAT(BodyLines("first\n \nsecond"), ElementsAre("first\n", " \n", "second\n"));
}

TEST_F(SmtpFormat, CarriageReturnStaysAtTheEndOfItsLine) {
  EXPECT_THAT(BodyLines("first\r\n\r\nsecond\r\n"), ElementsAre("first\r\n", "\r\n", "second\r\n"));
}

TEST_F(SmtpFormat, BodyIsNeitherStuffedNorEncodedNorReadAsAFormat) {
  EXPECT_THAT(BodyLines(".\n..dots\n100 %s %d%\n\xC3\xA4\xFF"),
              ElementsAre(".\n", "..dots\n", "100 %s %d%\n", "\xC3\xA4\xFF\n"));
}

TEST_F(SmtpFormat, LongLineOfTheBodyIsNotWrapped) {
  const std::string line(100000, 'x');

  EXPECT_THAT(BodyLines(line), ElementsAre(line + "\n"));
}

TEST_F(SmtpFormat, BodyIsTracedAtItsEntryAndExit) {
  const TraceCapture trace(2 | 16);

  BodyLines("a line");

  EXPECT_THAT(
      trace.Lines(),
      ElementsAre(
          Traces(2, "Ondrel::CSmtp::FormatMessageBody", "ENTER CSmtp::FormatMessageBody ()"),
          Traces(2, "Ondrel::CSmtp::FormatMessageBody", "LEAVE CSmtp::FormatMessageBody ()")));
}

}  // namespace
}  // namespace Ondrel
