#include "ESmtp/MessageId.h"
#include "Support/MatchesPattern.h"

#include <boost/lexical_cast/bad_lexical_cast.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace Ondrel {
namespace {

std::string NotReached() {
  ADD_FAILURE() << "the second attempt was made";
  return "";
}

TEST(MessageId, FirstAttemptIsEnoughWhenItSucceeds) {
  EXPECT_EQ(MessageIdentifierFrom([] { return std::string("first"); }, NotReached), "first");
}

TEST(MessageId, SecondAttemptFollowsABadLexicalCast) {
  EXPECT_EQ(MessageIdentifierFrom([]() -> std::string { throw boost::bad_lexical_cast(); },
                                  [] { return std::string("second"); }),
            "second");
}

TEST(MessageId, FixedIdentifierFollowsAFailureOfTheRandomSource) {
  EXPECT_EQ(MessageIdentifierFrom([]() -> std::string { throw std::runtime_error("no entropy"); },
                                  NotReached),
            "94266460-aa18-11e9-a2a3-2a2ae2dbcce4");
}

TEST(MessageId, FixedIdentifierFollowsAFailureOfAnyType) {
  EXPECT_EQ(MessageIdentifierFrom([]() -> std::string { throw 5; }, NotReached),
            "94266460-aa18-11e9-a2a3-2a2ae2dbcce4");
}

TEST(MessageId, FailureOfTheSecondAttemptReachesTheCaller) {
  EXPECT_THROW(
      MessageIdentifierFrom([]() -> std::string { throw boost::bad_lexical_cast(); },
                            []() -> std::string { throw std::runtime_error("no entropy"); }),
      std::runtime_error);
}

TEST(MessageId, BadCastOfTheSecondAttemptReachesTheCallerToo) {
  EXPECT_THROW(MessageIdentifierFrom([]() -> std::string { throw boost::bad_lexical_cast(); },
                                     []() -> std::string { throw boost::bad_lexical_cast(); }),
               boost::bad_lexical_cast);
}

TEST(MessageId, IsARandomUuidOfVersion4) {
  EXPECT_THAT(MessageIdentifier(), MatchesPattern("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-"
                                                  "[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
}

TEST(MessageId, IsAnotherOneEachTime) { EXPECT_NE(MessageIdentifier(), MessageIdentifier()); }

TEST(MessageId, HostPartBeginsAtTheFirstAtSign) {
  EXPECT_EQ(MessageIdHostPart("raid@example.com"), "@example.com");
  EXPECT_EQ(MessageIdHostPart("odd@first@second"), "@first@second");
  EXPECT_EQ(MessageIdHostPart("@example.com"), "@example.com");
  EXPECT_EQ(MessageIdHostPart("raid@"), "@");
}

TEST(MessageId, AddressWithoutAtSignGetsAHostPartOf17Characters) {
  EXPECT_EQ(MessageIdHostPart("raid"), "@nodomain.invalid");
  EXPECT_EQ(MessageIdHostPart("raid").size(), 17u);
}

}  // namespace
}  // namespace Ondrel
