#include "TestModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace Pirsk::Testing {
namespace {

using Exceptions::LastError;
using Exceptions::PassedErrors;
using Internals::CThrowStateData;
using testing::ElementsAre;
using testing::IsEmpty;
using Threading::CRaisingSwitchedOff;
using Threading::CThrowState;

class RaisingSwitchedOff : public testing::Test {
protected:
  void SetUp() override { Exceptions::ForgetErrors(); }

  static std::vector<unsigned int> PassedNumbers() {
    std::vector<unsigned int> numbers;
    for (const auto& report : PassedErrors()) numbers.push_back(report.number);
    return numbers;
  }
};

TEST_F(RaisingSwitchedOff, RaiseReturnsAndTheFunctionGoesOn) {
  const CRaisingSwitchedOff off;
  bool wentOn = false;

  const unsigned int result = HandOn([&wentOn](CThrowState& guard) {
    Raise(guard, kFirstError);
    wentOn = true;
  });

  EXPECT_TRUE(wentOn);
  EXPECT_EQ(result, 0u);
}

TEST_F(RaisingSwitchedOff, RaisingIsOnAgainAfterIt) {
  { const CRaisingSwitchedOff off; }

  EXPECT_EQ(RaiseAndCatch(kFirstError), kFirstError);
}

TEST_F(RaisingSwitchedOff, MayBeNested) {
  const CRaisingSwitchedOff outer;
  { const CRaisingSwitchedOff inner; }

  EXPECT_EQ(RaiseAndCatch(kFirstError), 0u);
}

TEST_F(RaisingSwitchedOff, CounterStandsAtTheNumberOfThoseAlive) {
  EXPECT_EQ(CThrowStateData::m_DisableCnt.Value(), 0u);
  {
    const CRaisingSwitchedOff outer;
    const CRaisingSwitchedOff inner;
    EXPECT_EQ(CThrowStateData::m_DisableCnt.Value(), 2u);
  }
  EXPECT_EQ(CThrowStateData::m_DisableCnt.Value(), 0u);
}

TEST_F(RaisingSwitchedOff, OtherThreadsKeepRaising) {
  const CRaisingSwitchedOff off;
  unsigned int caught = 0;

  std::thread([&caught] { caught = RaiseAndCatch(kFirstError); }).join();

  EXPECT_EQ(caught, kFirstError);
}

TEST_F(RaisingSwitchedOff, CallThatIsRunningIsNotAffectedAndTheNextIs) {
  unsigned int ofNextCall = 1;
  bool wentOn = false;

  EXPECT_THROW(HandOn([&](CThrowState& guard) {
                 const CRaisingSwitchedOff off;
                 ofNextCall = RaiseAndCatch(kSecondError);
                 Raise(guard, kFirstError);
                 wentOn = true;
               }),
               unsigned int);

  EXPECT_EQ(ofNextCall, 0u);
  EXPECT_FALSE(wentOn);
}

TEST_F(RaisingSwitchedOff, CallThatBeganWithItEndsWithIt) {
  auto off = std::make_unique<CRaisingSwitchedOff>();
  unsigned int ofNextCall = 0;

  const unsigned int result = HandOn([&](CThrowState& guard) {
    off.reset();
    ofNextCall = RaiseAndCatch(kSecondError);
    Raise(guard, kFirstError);
  });

  EXPECT_EQ(result, 0u);
  EXPECT_EQ(ofNextCall, kSecondError);
}

TEST_F(RaisingSwitchedOff, HandlersYieldTheNumberOfWhatIsThrownToThem) {
  const CRaisingSwitchedOff off;

  EXPECT_EQ(HandOn([](CThrowState&) { throw 7u; }), 7u);
  EXPECT_EQ(HandOnWithLine("x", [](CThrowState&) { throw 8u; }), 8u);
  EXPECT_THAT(PassedNumbers(), ElementsAre(7u, 8u));
  EXPECT_THAT(LastError()->contextLines, ElementsAre("Context (x)"));
}

TEST_F(RaisingSwitchedOff, PassedErrorsStandInTheOrderOfTheirRaise) {
  {
    const CRaisingSwitchedOff off;
    HandOn([](CThrowState& guard) {
      Raise(guard, kFirstError, 61);
      Raise(guard, kSecondError, 62);
    });
  }

  const auto passed = PassedErrors();
  ASSERT_EQ(passed.size(), 2u);
  EXPECT_EQ(passed[0].number, kFirstError);
  EXPECT_EQ(passed[0].text, "First failed");
  EXPECT_THAT(Places(passed[0]), ElementsAre(":61"));
  EXPECT_FALSE(passed[0].wasRaised);
  EXPECT_EQ(passed[1].number, kSecondError);
  EXPECT_EQ(passed[1].text, "Second failed");
}

TEST_F(RaisingSwitchedOff, RaisedErrorsAreNoPassedErrors) {
  RaiseAndCatch(kFirstError);
  EndHere([](CThrowState& guard) { Raise(guard, kSecondError); });

  EXPECT_THAT(PassedErrors(), IsEmpty());
}

TEST_F(RaisingSwitchedOff, LatestSixtyFourPassedErrorsAreKept) {
  const CRaisingSwitchedOff off;
  for (unsigned int number = 1; number <= 100; ++number) RaiseAndCatch(number);

  const auto numbers = PassedNumbers();
  ASSERT_EQ(numbers.size(), 64u);
  EXPECT_EQ(numbers.front(), 37u);
  EXPECT_EQ(numbers.back(), 100u);
}

TEST_F(RaisingSwitchedOff, PassedErrorIsTheLastErrorAfterACaughtOne) {
  RaiseAndCatch(kFirstError);
  const CRaisingSwitchedOff off;
  RaiseAndCatch(kSecondError);

  EXPECT_EQ(LastError()->number, kSecondError);
}

TEST_F(RaisingSwitchedOff, ErrorGivenUpBeforeItIsThrownIsNotPassed) {
  const CRaisingSwitchedOff off;
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 const Exceptions::CException exception = guard.StartException(1);
                 throw std::bad_alloc();
               }),
               std::bad_alloc);

  EXPECT_THAT(PassedErrors(), IsEmpty());
}

TEST_F(RaisingSwitchedOff, ForgettingEmptiesThePassedErrors) {
  const CRaisingSwitchedOff off;
  RaiseAndCatch(kFirstError);

  Exceptions::ForgetErrors();

  EXPECT_THAT(PassedErrors(), IsEmpty());
}

TEST_F(RaisingSwitchedOff, GuardIsClosedWhenSomethingElseIsThrown) {
  const CRaisingSwitchedOff off;

  EXPECT_THROW(HandOn([](CThrowState&) { throw std::bad_alloc(); }), std::bad_alloc);
  EXPECT_EQ(RaiseAndCatch(kFirstError), 0u);
}

}  // namespace
}  // namespace Pirsk::Testing
