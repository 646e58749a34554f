#include "Support/SmtpInspector.h"
#include "Support/TraceCapture.h"
#include "Support/TraceMatchers.h"

#include <Ondrel/Smtp.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

namespace Ondrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Testing::TraceCapture;
using Testing::Traces;

constexpr std::uint32_t kEntryAndDetail = 2 | 16;

MATCHER_P2(Names, mail, name, "") { return arg.m_Mail == mail && arg.m_Name == name; }

// One of the three target lists with its two operations.
struct Family {
  const char* operation;
  bool (CSmtp::*addList)(const std::string&);
  bool (CSmtp::*addOne)(const std::string&, const std::string&);
  std::vector<CSmtp::Recipient>& (CSmtpInspector::*list)();

  std::string Function() const { return std::string("Ondrel::CSmtp::") + operation; }
  std::string Enter() const { return std::string("ENTER CSmtp::") + operation + " ()"; }
  std::string Leave() const { return std::string("LEAVE CSmtp::") + operation + " ()"; }
  std::string LeaveWithoutMail() const { return Leave() + " -> CSMTP_ERROR_NO_RECIPIENT_MAIL"; }
  std::string Detail(const std::string& recipient) const {
    return std::string("CSmtp::") + operation + " () add recipient " + recipient;
  }
};

void PrintTo(const Family& row, std::ostream* out) { *out << row.operation; }

std::string FamilyName(const ::testing::TestParamInfo<Family>& info) {
  return info.param.operation;
}

class SmtpRecipients : public ::testing::TestWithParam<Family> {
protected:
  bool AddList(const std::string& mails) { return (m_mail.*GetParam().addList)(mails); }
  bool AddOne(const std::string& mail, const std::string& name) {
    return (m_mail.*GetParam().addOne)(mail, name);
  }
  const std::vector<CSmtp::Recipient>& List() { return (m_inside.*GetParam().list)(); }
  std::size_t AllRecipients() {
    return m_inside.To().size() + m_inside.Cc().size() + m_inside.Bcc().size();
  }

  CSmtp m_mail;
  CSmtpInspector m_inside{m_mail};
};

INSTANTIATE_TEST_SUITE_P(
    Lists, SmtpRecipients,
    ::testing::Values(Family{"AddTO", &CSmtp::AddTO, &CSmtp::AddTO, &CSmtpInspector::To},
                      Family{"AddCC", &CSmtp::AddCC, &CSmtp::AddCC, &CSmtpInspector::Cc},
                      Family{"AddBCC", &CSmtp::AddBCC, &CSmtp::AddBCC, &CSmtpInspector::Bcc}),
    FamilyName);

TEST_P(SmtpRecipients, EmptyListIsRefusedWith28AndAddsNobody) {
  AddList("first@example.com");

  EXPECT_FALSE(AddList(""));

  EXPECT_EQ(m_mail.GetLastError(), 28);
  EXPECT_THAT(List(), ElementsAre(Names("first@example.com", "")));
}

TEST_P(SmtpRecipients, ListIsSplitAtCommasAndSemicolonsAndTrimmed) {
  EXPECT_TRUE(AddList("a@example.com, b@example.com;c@example.com"));

  EXPECT_THAT(List(), ElementsAre(Names("a@example.com", ""), Names("b@example.com", ""),
                                  Names("c@example.com", "")));
  EXPECT_EQ(AllRecipients(), 3u);
}

TEST_P(SmtpRecipients, WhiteSpaceOfEveryKindIsTrimmedAtBothEndsOnly) {
  EXPECT_TRUE(AddList(" \t\r\n\v\fone two@example.com\f\v\n\r\t "));

  EXPECT_THAT(List(), ElementsAre(Names("one two@example.com", "")));
}

TEST_P(SmtpRecipients, ListOfDelimitersAloneSucceedsAndAddsNobody) {
  EXPECT_TRUE(AddList(",;;,,;"));

  EXPECT_THAT(List(), IsEmpty());
  EXPECT_EQ(m_mail.GetLastError(), 0);
}

TEST_P(SmtpRecipients, SpaceBetweenTwoCommasAddsAnUncheckedEmptyAddress) {
  EXPECT_TRUE(AddList("a@example.com, ,b@example.com"));

  EXPECT_THAT(List(),
              ElementsAre(Names("a@example.com", ""), Names("", ""), Names("b@example.com", "")));
}

TEST_P(SmtpRecipients, AddressesAreNeitherCheckedNorSearchedForDuplicates) {
  EXPECT_TRUE(AddList("no at sign;same@example.com,same@example.com"));

  EXPECT_THAT(List(), ElementsAre(Names("no at sign", ""), Names("same@example.com", ""),
                                  Names("same@example.com", "")));
}

TEST_P(SmtpRecipients, AddressWithNameIsTakenAsItIs) {
  EXPECT_TRUE(AddOne(" a@example.com,b@example.com ", " Doe, Jane "));

  EXPECT_THAT(List(), ElementsAre(Names(" a@example.com,b@example.com ", " Doe, Jane ")));
  EXPECT_EQ(AllRecipients(), 1u);
}

TEST_P(SmtpRecipients, EmptyNameIsRefusedWith28AlthoughAnAddressIsThere) {
  EXPECT_FALSE(AddOne("a@example.com", ""));

  EXPECT_EQ(m_mail.GetLastError(), 28);
  EXPECT_THAT(List(), IsEmpty());
}

TEST_P(SmtpRecipients, EmptyAddressWithNameIsRefusedWith28) {
  EXPECT_FALSE(AddOne("", "Jane"));

  EXPECT_EQ(m_mail.GetLastError(), 28);
  EXPECT_THAT(List(), IsEmpty());
}

TEST_P(SmtpRecipients, SuccessDoesNotClearAnEarlierFailure) {
  AddList("");

  EXPECT_TRUE(AddList("a@example.com"));
  EXPECT_TRUE(AddOne("b@example.com", "B"));

  EXPECT_EQ(m_mail.GetLastError(), 28);
}

TEST_P(SmtpRecipients, ListIsTracedWithEachTrimmedAddress) {
  const TraceCapture trace(kEntryAndDetail);

  AddList(" a@example.com ;b@example.com");

  const std::string function = GetParam().Function();
  EXPECT_THAT(trace.Lines(), ElementsAre(Traces(2, function, GetParam().Enter()),
                                         Traces(16, function, GetParam().Detail("a@example.com")),
                                         Traces(16, function, GetParam().Detail("b@example.com")),
                                         Traces(2, function, GetParam().Leave())));
}

TEST_P(SmtpRecipients, AddressWithNameIsTracedInThatOrder) {
  const TraceCapture trace(kEntryAndDetail);

  AddOne("a@example.com", "Jane");

  const std::string function = GetParam().Function();
  EXPECT_THAT(trace.Lines(),
              ElementsAre(Traces(2, function, GetParam().Enter()),
                          Traces(16, function, GetParam().Detail("a@example.com(Jane)")),
                          Traces(2, function, GetParam().Leave())));
}

TEST_P(SmtpRecipients, RefusalOfTheListIsTraced) {
  const TraceCapture trace(kEntryAndDetail);

  AddList("");

  const std::string function = GetParam().Function();
  EXPECT_THAT(trace.Lines(), ElementsAre(Traces(2, function, GetParam().Enter()),
                                         Traces(2, function, GetParam().LeaveWithoutMail())));
}

TEST_P(SmtpRecipients, RefusalOfTheNamelessAddressIsTraced) {
  const TraceCapture trace(kEntryAndDetail);

  AddOne("a@example.com", "");

  const std::string function = GetParam().Function();
  EXPECT_THAT(trace.Lines(), ElementsAre(Traces(2, function, GetParam().Enter()),
                                         Traces(2, function, GetParam().LeaveWithoutMail())));
}

TEST_P(SmtpRecipients, EntryLevelAloneLeavesOutTheRecipients) {
  const TraceCapture trace(2);

  AddList("a@example.com");

  EXPECT_THAT(trace.Texts(), ElementsAre(GetParam().Enter(), GetParam().Leave()));
}

TEST(SmtpObject, StartsWithItsDefaults) {
  CSmtp mail;
  CSmtpInspector inside(mail);

  EXPECT_EQ(inside.LastError(), 0);
  EXPECT_THAT(inside.MailFrom(), Names("", ""));
  EXPECT_EQ(inside.Subject(), "");
  EXPECT_EQ(inside.MessageBody(), "");
  EXPECT_EQ(inside.XMailer(), "");
  EXPECT_EQ(inside.ReplyTo(), "");
  EXPECT_EQ(inside.UserName(), "");
  EXPECT_EQ(inside.Password(), "");
  EXPECT_EQ(inside.Protocol(), "smtp");
  EXPECT_EQ(inside.Server(), "");
  EXPECT_EQ(inside.Port(), 25);
  EXPECT_EQ(inside.XPriority(), 3);
  EXPECT_EQ(inside.SaslIr(), 1);
  EXPECT_THAT(inside.To(), IsEmpty());
  EXPECT_THAT(inside.Cc(), IsEmpty());
  EXPECT_THAT(inside.Bcc(), IsEmpty());
  EXPECT_THAT(inside.Payload(), IsEmpty());
}

TEST(SmtpObject, EachSetterSetsItsField) {
  CSmtp mail;
  CSmtpInspector inside(mail);

  mail.SetFrom("raid@example.com", "RAID");
  mail.SetReplyTo("reply@example.com");
  mail.SetServer("mail.example.com", 465);
  mail.SetUserName("user");
  mail.SetPassword("secret");
  mail.SetProtocol("smtps");
  mail.SetSubject("a subject");
  mail.SetMessageBody("a body");
  mail.SetXMailer("a mailer");
  mail.SetXPriority(XPRIORITY_HIGH);
  mail.Set_CURLOPT_SASL_IR(0);

  EXPECT_THAT(inside.MailFrom(), Names("raid@example.com", "RAID"));
  EXPECT_EQ(inside.ReplyTo(), "reply@example.com");
  EXPECT_EQ(inside.Server(), "mail.example.com");
  EXPECT_EQ(inside.Port(), 465);
  EXPECT_EQ(inside.UserName(), "user");
  EXPECT_EQ(inside.Password(), "secret");
  EXPECT_EQ(inside.Protocol(), "smtps");
  EXPECT_EQ(inside.Subject(), "a subject");
  EXPECT_EQ(inside.MessageBody(), "a body");
  EXPECT_EQ(inside.XMailer(), "a mailer");
  EXPECT_EQ(inside.XPriority(), 2);
  EXPECT_EQ(inside.SaslIr(), 0);
}

TEST(SmtpObject, AddressAloneKeepsTheEarlierDisplayNameOfTheSender) {
  CSmtp mail;
  mail.SetFrom("old@example.com", "RAID");

  mail.SetFrom("new@example.com");

  EXPECT_THAT(CSmtpInspector(mail).MailFrom(), Names("new@example.com", "RAID"));
}

TEST(SmtpObject, SettersNeitherTraceNorClearTheFailure) {
  CSmtp mail;
  mail.AddTO("");
  const TraceCapture trace(0xFFFFFFFF);

  mail.SetFrom("a");
  mail.SetFrom("a", "b");
  mail.SetReplyTo("a");
  mail.SetServer("a", 1);
  mail.SetUserName("a");
  mail.SetPassword("a");
  mail.SetProtocol("a");
  mail.SetSubject("a");
  mail.SetMessageBody("a");
  mail.SetXMailer("a");
  mail.SetXPriority(XPRIORITY_LOW);
  mail.Set_CURLOPT_SASL_IR(0);

  EXPECT_EQ(mail.GetLastError(), 28);
  EXPECT_THAT(trace.Lines(), IsEmpty());
}

// A mail with a value of its own in every field.
void FillEveryField(CSmtp& mail) {
  mail.SetFrom("raid@example.com", "RAID");
  mail.SetReplyTo("reply@example.com");
  mail.SetServer("mail.example.com", 465);
  mail.SetUserName("user");
  mail.SetPassword("secret");
  mail.SetProtocol("smtps");
  mail.SetSubject("a subject");
  mail.SetMessageBody("a body");
  mail.SetXMailer("a mailer");
  mail.SetXPriority(XPRIORITY_LOW);
  mail.Set_CURLOPT_SASL_IR(0);
  mail.AddTO("to@example.com", "To");
  mail.AddCC("cc@example.com", "Cc");
  mail.AddBCC("bcc@example.com", "Bcc");
  CSmtpInspector inside(mail);
  inside.LastError() = CSMTP_ERROR_STREAM;
  inside.Payload() = {"an old line\n"};
}

void ExpectEveryField(CSmtp& mail) {
  CSmtpInspector inside(mail);
  EXPECT_EQ(inside.LastError(), 3);
  EXPECT_THAT(inside.MailFrom(), Names("raid@example.com", "RAID"));
  EXPECT_EQ(inside.Subject(), "a subject");
  EXPECT_EQ(inside.MessageBody(), "a body");
  EXPECT_EQ(inside.XMailer(), "a mailer");
  EXPECT_EQ(inside.ReplyTo(), "reply@example.com");
  EXPECT_EQ(inside.UserName(), "user");
  EXPECT_EQ(inside.Password(), "secret");
  EXPECT_EQ(inside.Protocol(), "smtps");
  EXPECT_EQ(inside.Server(), "mail.example.com");
  EXPECT_EQ(inside.Port(), 465);
  EXPECT_EQ(inside.XPriority(), 4);
  EXPECT_EQ(inside.SaslIr(), 0);
  EXPECT_THAT(inside.To(), ElementsAre(Names("to@example.com", "To")));
  EXPECT_THAT(inside.Cc(), ElementsAre(Names("cc@example.com", "Cc")));
  EXPECT_THAT(inside.Bcc(), ElementsAre(Names("bcc@example.com", "Bcc")));
  EXPECT_THAT(inside.Payload(), ElementsAre("an old line\n"));
}

TEST(SmtpObject, CopyCarriesEveryFieldWithTheFailureAndTheOldLines) {
  CSmtp original;
  FillEveryField(original);

  CSmtp copy(original);

  ExpectEveryField(copy);
}

TEST(SmtpObject, AssignmentCarriesEveryFieldWithTheFailureAndTheOldLines) {
  CSmtp original;
  FillEveryField(original);
  CSmtp assigned;
  assigned.AddTO("other@example.com");

  assigned = original;

  ExpectEveryField(assigned);
}

TEST(SmtpObject, CopyIsIndependentOfItsOriginal) {
  CSmtp original;
  FillEveryField(original);
  CSmtp copy(original);

  original.SetSubject("another");
  original.AddTO("another@example.com");

  ExpectEveryField(copy);
}

TEST(SmtpObject, SelfAssignmentChangesNothing) {
  CSmtp mail;
  FillEveryField(mail);
  const CSmtp& same = mail;

  mail = same;

  ExpectEveryField(mail);
}

TEST(SmtpObject, AssignmentFromAFreshObjectStartsClean) {
  CSmtp mail;
  FillEveryField(mail);

  mail = CSmtp();

  CSmtpInspector inside(mail);
  EXPECT_THAT(inside.Payload(), IsEmpty());
  EXPECT_THAT(inside.To(), IsEmpty());
  EXPECT_EQ(inside.LastError(), 0);
  EXPECT_EQ(inside.Protocol(), "smtp");
}

TEST(SmtpObject, HasTheWidthsAndTheVirtualDestructorOfItsInterface) {
  static_assert(sizeof(CSmtpError) == 4);
  static_assert(sizeof(CSmtpXPriority) == 4);
  static_assert(std::has_virtual_destructor_v<CSmtp>);
  static_assert(std::has_virtual_destructor_v<CSmtp::Recipient>);
  static_assert(XPRIORITY_HIGH == 2 && XPRIORITY_NORMAL == 3 && XPRIORITY_LOW == 4);
}

TEST(SmtpRecipient, IsEmptyByDefault) { EXPECT_THAT(CSmtp::Recipient(), Names("", "")); }

TEST(SmtpRecipient, OwnsItsTwoStrings) {
  CSmtp::Recipient original("a@example.com", "Jane");
  const CSmtp::Recipient copy(original);

  original.m_Mail = "b@example.com";
  original.m_Name = "John";

  EXPECT_THAT(copy, Names("a@example.com", "Jane"));
}

// The numbers that programs compare with, by name.
TEST(SmtpError, HasTheNumbersOfItsInterface) {
  const struct {
    const char* name;
    CSmtpError error;
    int number;
  } rows[] = {
      {"NONE", CSMTP_ERROR_NONE, 0},
      {"UNEXPECTED_CODE", CSMTP_ERROR_UNEXPECTED_CODE, 1},
      {"STREAM", CSMTP_ERROR_STREAM, 3},
      {"HOSTNAME", CSMTP_ERROR_HOSTNAME, 4},
      {"NOT_IMPLEMENTED", CSMTP_ERROR_NOT_IMPLEMENTED, 5},
      {"COMMAND_FAILED", CSMTP_ERROR_COMMAND_FAILED, 7},
      {"INTERNAL", CSMTP_ERROR_INTERNAL, 8},
      {"STORAGE_FULL", CSMTP_ERROR_STORAGE_FULL, 9},
      {"BAD_ENCODING", CSMTP_ERROR_BAD_ENCODING, 12},
      {"OUT_OF_MEMORY", CSMTP_ERROR_OUT_OF_MEMORY, 15},
      {"CONNECTION_REFUSED", CSMTP_ERROR_CONNECTION_REFUSED, 25},
      {"AUTHENTICATION_FAILED", CSMTP_ERROR_AUTHENTICATION_FAILED, 26},
      {"SSL", CSMTP_ERROR_SSL, 27},
      {"NO_RECIPIENT_MAIL", CSMTP_ERROR_NO_RECIPIENT_MAIL, 28},
      {"NO_RECIPIENTS", CSMTP_ERROR_NO_RECIPIENTS, 29},
      {"NO_MAILFROM", CSMTP_ERROR_NO_MAILFROM, 30},
      {"NO_SUBJECT", CSMTP_ERROR_NO_SUBJECT, 31},
  };
  for (const auto& row : rows) EXPECT_EQ(row.error, row.number) << row.name;
}

}  // namespace
}  // namespace Ondrel
