#include "TestModule.h"

#include <boost/format.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace Pirsk::Testing {
namespace {

using Exceptions::CErrorReport;
using Exceptions::LastError;
using Exceptions::ReportOf;
using testing::ElementsAre;
using testing::IsEmpty;
using Threading::CThrowState;

class ErrorChain : public testing::Test {
protected:
  void SetUp() override { Exceptions::ForgetErrors(); }
};

TEST_F(ErrorChain, NumberReachesTheCallerAsUnsignedInt) {
  EXPECT_EQ(RaiseAndCatch(kFirstError), 0x20A10001u);
}

TEST_F(ErrorChain, NothingIsKnownBeforeTheFirstError) { EXPECT_FALSE(LastError().has_value()); }

TEST_F(ErrorChain, CaughtErrorIsTheLastErrorWithItsCatalogueText) {
  RaiseAndCatch(kSecondError);

  const auto report = LastError();

  ASSERT_TRUE(report.has_value());
  EXPECT_EQ(report->number, 0x20A10002u);
  EXPECT_EQ(report->text, "Second failed");
  EXPECT_TRUE(report->wasRaised);
  EXPECT_THAT(report->detail, IsEmpty());
  EXPECT_FALSE(report->systemError.has_value());
  EXPECT_FALSE(report->hostError.has_value());
}

TEST_F(ErrorChain, NumberThatTheListDoesNotHoldHasTheStandInText) {
  RaiseAndCatch(kUnlistedError);

  EXPECT_EQ(LastError()->text, "Nothing is known");
}

TEST_F(ErrorChain, FormattedDetailIsKept) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 const boost::format detail = boost::format("read failed, code (%d)") % 38;
                 Exceptions::CException exception = guard.StartException(1);
                 exception.prepareThrow(kFirstError, detail).exception.tryThrow();
               }),
               unsigned int);

  EXPECT_EQ(LastError()->detail, "read failed, code (38)");
}

TEST_F(ErrorChain, HostErrorIsKnownApartFromAFormattedDetail) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 const boost::format detail = boost::format("read failed, code (%d)") % 38;
                 Exceptions::CException exception = guard.StartException(1);
                 const auto raise = exception.prepareThrow(kFirstError, detail);
                 raise.exception.SetHostError(38);
                 raise.exception.tryThrow();
               }),
               unsigned int);

  EXPECT_EQ(LastError()->hostError, 38u);
  EXPECT_FALSE(LastError()->systemError.has_value());
}

TEST_F(ErrorChain, HostErrorOfAnErrorThatWasLetPassIsKnownToo) {
  const Threading::CRaisingSwitchedOff raisingIsOff;
  HandOn([](CThrowState& guard) {
    Exceptions::CException exception = guard.StartException(1);
    exception.SetHostError(0);
    exception.prepareThrow(kFirstError).exception.tryThrow();
  });

  ASSERT_EQ(Exceptions::PassedErrors().size(), 1u);
  EXPECT_EQ(Exceptions::PassedErrors()[0].hostError, 0u);
}

TEST_F(ErrorChain, SystemErrorOfAnotherKindIsNotAHostError) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 const Exceptions::NATIVE_ERROR error{1, 1500};
                 Exceptions::CException exception = guard.StartException(1);
                 exception.prepareThrow(kFirstError, error, nullptr).exception.tryThrow();
               }),
               unsigned int);

  EXPECT_EQ(LastError()->systemError->code, 1500u);
  EXPECT_FALSE(LastError()->hostError.has_value());
}

TEST_F(ErrorChain, SystemErrorIsKeptWithoutADetail) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 const Exceptions::NATIVE_ERROR error{2, 1500};
                 Exceptions::CException exception = guard.StartException(1);
                 exception.prepareThrow(kFirstError, error, nullptr).exception.tryThrow();
               }),
               unsigned int);

  const auto report = LastError();
  ASSERT_TRUE(report->systemError.has_value());
  EXPECT_EQ(report->systemError->kind, 2u);
  EXPECT_EQ(report->systemError->code, 1500u);
  EXPECT_EQ(report->hostError, 1500u);
  EXPECT_THAT(report->detail, IsEmpty());
}

TEST_F(ErrorChain, SystemErrorIsKeptWithADetail) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 const Exceptions::NATIVE_ERROR error{2, 5};
                 Exceptions::CException exception = guard.StartException(1);
                 exception.prepareThrow(kFirstError, error, "the reason").exception.tryThrow();
               }),
               unsigned int);

  EXPECT_EQ(LastError()->detail, "the reason");
}

TEST_F(ErrorChain, ValuesFedToTheRaiseAreItsDetail) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 Exceptions::CException exception = guard.StartException(1);
                 Exceptions::CFormatStreamCurrExc raise = exception.prepareThrow(kFirstError);
                 raise.stream << "disk" << std::string("two");
                 raise.exception.tryThrow();
               }),
               unsigned int);

  EXPECT_EQ(LastError()->detail, "disk two");
}

TEST_F(ErrorChain, LocationsAreTheRaiseThenTheHandlersInOrder) {
  EXPECT_THROW(HandOn([](CThrowState&) {
                 HandOnWithLine("x", [](CThrowState& guard) { Raise(guard, kFirstError, 77); });
               }),
               unsigned int);

  const auto report = LastError();
  EXPECT_THAT(Places(*report), ElementsAre("Src/HandOnWithLine.cpp:77",
                                           "Src/HandOnWithLine.cpp:300", "Src/HandOn.cpp:200"));
  for (const auto& location : report->locations) EXPECT_EQ(location.module, "testmodule");
}

TEST_F(ErrorChain, ContextLinesStandInTheOrderOfTheHandlers) {
  EXPECT_THROW(HandOnWithLine("outer",
                              [](CThrowState&) {
                                HandOnWithLine(
                                    "inner", [](CThrowState& guard) { Raise(guard, kFirstError); });
                              }),
               unsigned int);

  EXPECT_THAT(LastError()->contextLines, ElementsAre("Context (inner)", "Context (outer)"));
}

TEST_F(ErrorChain, EndedErrorGoesNoFurtherAndCanBeRead) {
  EndHere([](CThrowState& guard) { Raise(guard, kFirstError, 5); });

  const auto report = LastError();
  ASSERT_TRUE(report.has_value());
  EXPECT_EQ(report->number, kFirstError);
  EXPECT_THAT(Places(*report), ElementsAre("Src/EndHere.cpp:5", "Src/EndHere.cpp:400"));
}

TEST_F(ErrorChain, DestructorsErrorLeavesTheOneInFlightAsItIs) {
  EXPECT_THROW(HandOnWithLine("log",
                              [](CThrowState& guard) {
                                const AtEnd closing([] {
                                  EndHere([](CThrowState& inner) { Raise(inner, kSecondError); });
                                });
                                Raise(guard, kFirstError, 9);
                              }),
               unsigned int);

  const auto report = LastError();
  EXPECT_EQ(report->number, kFirstError);
  EXPECT_THAT(Places(*report),
              ElementsAre("Src/HandOnWithLine.cpp:9", "Src/HandOnWithLine.cpp:300"));
  EXPECT_THAT(report->contextLines, ElementsAre("Context (log)"));
  EXPECT_THAT(Places(ReportOf(kSecondError)),
              ElementsAre("Src/EndHere.cpp:100", "Src/EndHere.cpp:400"));
}

TEST_F(ErrorChain, DestructorsErrorOfTheSameNumberIsAnErrorOfItsOwn) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 const AtEnd closing([] { RaiseAndCatch(kFirstError); });
                 Raise(guard, kFirstError, 9);
               }),
               unsigned int);

  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/HandOn.cpp:9", "Src/HandOn.cpp:200"));
}

TEST_F(ErrorChain, DestructorsErrorIsNotTheLastWhereTheOneThatItRanUnderIsHandled) {
  unsigned int last = 0;
  try {
    CThrowState guard;
    const AtEnd closing([] { RaiseAndCatch(kSecondError); });
    Raise(guard, kFirstError);
  } catch (unsigned int) {
    last = LastError()->number;
  }

  EXPECT_EQ(last, kFirstError);
}

TEST_F(ErrorChain, ErrorOfADestructorDuringAForeignExceptionIsTheLastError) {
  EndHere([](CThrowState& guard) { Raise(guard, kFirstError); });
  try {
    const AtEnd closing([] { RaiseAndCatch(kSecondError); });
    throw std::runtime_error("foreign");
  } catch (const std::runtime_error&) {
  }

  EXPECT_EQ(LastError()->number, kSecondError);
}

TEST_F(ErrorChain, ErrorKeepsItsDataWhenAnotherComesBeforeItIsThrown) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 Exceptions::CException exception = guard.StartException(31);
                 RaiseAndCatch(kSecondError);
                 Exceptions::CFormatStreamCurrExc raise = exception.prepareThrow(kFirstError);
                 RaiseAndCatch(kSecondError);
                 raise.stream << "late detail";
                 raise.exception.tryThrow();
               }),
               unsigned int);

  const auto report = LastError();
  EXPECT_EQ(report->number, kFirstError);
  EXPECT_EQ(report->detail, "late detail");
  EXPECT_THAT(Places(*report), ElementsAre("Src/HandOn.cpp:31", "Src/HandOn.cpp:200"));
}

TEST_F(ErrorChain, ErrorKeepsItsDataWhenAnotherComesWhileALineIsAdded) {
  const auto valueThatRaises = [] {
    RaiseAndCatch(kSecondError);
    return std::string("value");
  };

  const auto function = [&valueThatRaises] {
    CThrowState guard;
    try {
      Raise(guard, kFirstError, 12);
    } catch (unsigned int) {
      const Exceptions::SOURCE_INFO here{&g_module, "Src/Here.cpp", 13};
      Exceptions::CExceptionLog log = guard.ContinueException(here);
      log.Format("with %s") << valueThatRaises();
      log.tryThrow();
    }
  };

  EXPECT_THROW(function(), unsigned int);

  const auto report = LastError();
  EXPECT_EQ(report->number, kFirstError);
  EXPECT_THAT(report->contextLines, ElementsAre("with value"));
  EXPECT_THAT(Places(*report), ElementsAre("Src/Here.cpp:12", "Src/Here.cpp:13"));
}

TEST_F(ErrorChain, ErrorGivenUpBeforeItIsThrownLeavesNoTrace) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 const boost::format notFed("code (%d)");
                 Exceptions::CException exception = guard.StartException(1);
                 exception.prepareThrow(kFirstError, notFed);
               }),
               boost::io::too_few_args);

  EXPECT_FALSE(LastError().has_value());
}

TEST_F(ErrorChain, ErrorWhoseLineIsNeverFinishedCountsAsEnded) {
  const auto function = [] {
    CThrowState guard;
    try {
      Raise(guard, kFirstError);
    } catch (unsigned int) {
      const Exceptions::SOURCE_INFO here{&g_module, "Src/Here.cpp", 13};
      const Exceptions::CExceptionLog log = guard.ContinueException(here);
      throw std::runtime_error("foreign");
    }
  };

  EXPECT_THROW(function(), std::runtime_error);

  EXPECT_EQ(LastError()->number, kFirstError);
}

TEST_F(ErrorChain, OtherExceptionsPassAGuardedFunctionUnseen) {
  EXPECT_THROW(HandOn([](CThrowState&) { throw std::bad_alloc(); }), std::bad_alloc);
  EXPECT_FALSE(LastError().has_value());
}

TEST_F(ErrorChain, NumberThrownByOtherMeansIsHandedOnWithTheHandlerAlone) {
  try {
    HandOn([](CThrowState&) { throw 7u; });
    FAIL() << "nothing was thrown";
  } catch (unsigned int caught) {
    EXPECT_EQ(caught, 7u);
  }

  const auto report = LastError();
  EXPECT_EQ(report->number, 7u);
  EXPECT_TRUE(report->wasRaised);
  EXPECT_THAT(Places(*report), ElementsAre("Src/HandOn.cpp:200"));
}

TEST_F(ErrorChain, NumberThrownByOtherMeansDoesNotTakeTheDataOfAnEarlierError) {
  RaiseAndCatch(kFirstError);

  EndHere([](CThrowState&) { throw kSecondError; });

  EXPECT_EQ(LastError()->number, kSecondError);
  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/EndHere.cpp:400"));
  EXPECT_THAT(Places(ReportOf(kFirstError)),
              ElementsAre("Src/HandOn.cpp:100", "Src/HandOn.cpp:200"));
}

TEST_F(ErrorChain, NumberThrownByOtherMeansLeavesTheSameNumberInFlightAlone) {
  EXPECT_THROW(HandOn([](CThrowState& guard) {
                 const AtEnd closing([] { EndHere([](CThrowState&) { throw kFirstError; }); });
                 Raise(guard, kFirstError, 9);
               }),
               unsigned int);

  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/HandOn.cpp:9", "Src/HandOn.cpp:200"));
}

TEST_F(ErrorChain, ErrorThrownOnByItsCatcherKeepsItsDataAfterOthers) {
  EXPECT_THROW(HandOnWithLine("outermost",
                              [](CThrowState&) {
                                try {
                                  HandOn([](CThrowState& guard) { Raise(guard, kFirstError, 21); });
                                } catch (unsigned int) {
                                  RaiseAndCatch(kSecondError);
                                  EndHere([](CThrowState& guard) { Raise(guard, kSecondError); });
                                  throw;
                                }
                              }),
               unsigned int);

  const auto report = LastError();
  EXPECT_EQ(report->number, kFirstError);
  EXPECT_THAT(Places(*report),
              ElementsAre("Src/HandOn.cpp:21", "Src/HandOn.cpp:200", "Src/HandOnWithLine.cpp:300"));
}

TEST_F(ErrorChain, EndedErrorIsNotTakenUpByTheSameNumberThrownLater) {
  EndHere([](CThrowState& guard) { Raise(guard, kFirstError, 50); });

  EndHere([](CThrowState&) { throw kFirstError; });

  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/EndHere.cpp:400"));
}

// Which error a handler has: several of the same number, nested, thrown on and crossed.

TEST_F(ErrorChain, NumberThrownByOtherMeansDoesNotTakeTheDataOfTheSameNumberCaughtBefore) {
  try {
    CThrowState guard;
    Raise(guard, kFirstError, 31);
  } catch (unsigned int) {
  }

  EndHere([](CThrowState&) { throw kFirstError; });

  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/EndHere.cpp:400"));
}

TEST_F(ErrorChain, KeptErrorThrownOnLaterHasItsOwnDataAndNotTheSameNumbersOfMeanwhile) {
  std::exception_ptr kept;
  try {
    HandOn([](CThrowState& guard) { Raise(guard, kFirstError, 21); });
  } catch (unsigned int) {
    kept = std::current_exception();
  }
  RaiseAndCatch(kFirstError);

  EXPECT_THROW(HandOnWithLine("late", [&](CThrowState&) { std::rethrow_exception(kept); }),
               unsigned int);

  EXPECT_THAT(LastError()->contextLines, ElementsAre("Context (late)"));
  EXPECT_THAT(Places(*LastError()),
              ElementsAre("Src/HandOn.cpp:21", "Src/HandOn.cpp:200", "Src/HandOnWithLine.cpp:300"));
}

TEST_F(ErrorChain, TwoKeptErrorsOfTheSameNumberThrownOnCrosswiseKeepTheirData) {
  std::exception_ptr kept[2];
  for (int error = 0; error < 2; ++error) {
    try {
      CThrowState guard;
      Raise(guard, kFirstError, static_cast<std::uint32_t>(61 + error));
    } catch (unsigned int) {
      kept[error] = std::current_exception();
    }
  }

  EndHere([&](CThrowState&) { std::rethrow_exception(kept[0]); });
  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/EndHere.cpp:61", "Src/EndHere.cpp:400"));
  EndHere([&](CThrowState&) { std::rethrow_exception(kept[1]); });
  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/EndHere.cpp:62", "Src/EndHere.cpp:400"));
}

TEST_F(ErrorChain, ErrorRaisedInAHandlerOfTheSameNumberIsAnErrorOfItsOwn) {
  EXPECT_THROW(HandOn([](CThrowState&) {
                 try {
                   HandOn([](CThrowState& guard) { Raise(guard, kFirstError, 41); });
                 } catch (unsigned int) {
                   EndHere([](CThrowState& guard) { Raise(guard, kFirstError, 42); });
                   EXPECT_THAT(Places(*LastError()),
                               ElementsAre("Src/EndHere.cpp:42", "Src/EndHere.cpp:400"));
                   throw;
                 }
               }),
               unsigned int);

  EXPECT_THAT(Places(*LastError()),
              ElementsAre("Src/HandOn.cpp:41", "Src/HandOn.cpp:200", "Src/HandOn.cpp:200"));
}

TEST_F(ErrorChain, DestructorThatHandsOnTheSameNumberUnderAForeignExceptionHasItsOwnError) {
  RaiseAndCatch(kFirstError);
  try {
    const AtEnd closing([] {
      const AtEnd inner([] { RaiseAndCatch(kFirstError); });
      EXPECT_THROW(HandOn([](CThrowState& guard) { Raise(guard, kFirstError, 43); }), unsigned int);
      EXPECT_THAT(Places(*LastError()), ElementsAre("Src/HandOn.cpp:43", "Src/HandOn.cpp:200"));
    });
    throw std::runtime_error("foreign");
  } catch (const std::runtime_error&) {
  }

  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/HandOn.cpp:100", "Src/HandOn.cpp:200"));
}

TEST_F(ErrorChain, EndedErrorThatIsThrownAgainIsKnownByItsNumberAlone) {
  std::exception_ptr kept;
  const auto end = [&](CThrowState& guard) {
    try {
      Raise(guard, kFirstError, 44);
    } catch (unsigned int) {
      kept = std::current_exception();
      throw;
    }
  };
  EndHere(end);

  EndHere([&](CThrowState&) { std::rethrow_exception(kept); });

  EXPECT_EQ(LastError()->number, kFirstError);
  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/EndHere.cpp:400"));
}

TEST_F(ErrorChain, ErrorCarriedToAnotherThreadIsKnownThereByItsNumberAlone) {
  std::exception_ptr kept;
  try {
    CThrowState guard;
    Raise(guard, kFirstError, 45);
  } catch (unsigned int) {
    kept = std::current_exception();
  }

  std::thread([&kept] {
    EndHere([&](CThrowState&) { std::rethrow_exception(kept); });
    EXPECT_THAT(Places(*LastError()), ElementsAre("Src/EndHere.cpp:400"));
  }).join();
}

TEST_F(ErrorChain, ReportOfFindsAnEarlierErrorByItsNumber) {
  EndHere([](CThrowState& guard) { Raise(guard, kFirstError, 50); });
  RaiseAndCatch(kSecondError);

  const CErrorReport report = ReportOf(kFirstError);

  EXPECT_THAT(Places(report), ElementsAre("Src/EndHere.cpp:50", "Src/EndHere.cpp:400"));
  EXPECT_EQ(report.text, "First failed");
}

TEST_F(ErrorChain, ReportOfAnUnknownNumberIsTheNumberAndItsText) {
  const CErrorReport report = ReportOf(kFirstError);

  EXPECT_EQ(report.number, kFirstError);
  EXPECT_EQ(report.text, "First failed");
  EXPECT_FALSE(report.wasRaised);
  EXPECT_THAT(report.locations, IsEmpty());
}

TEST_F(ErrorChain, ForgettingEmptiesTheChain) {
  RaiseAndCatch(kFirstError);
  EndHere([](CThrowState& guard) { Raise(guard, kSecondError); });

  Exceptions::ForgetErrors();

  EXPECT_FALSE(LastError().has_value());
  EXPECT_THAT(ReportOf(kFirstError).locations, IsEmpty());
  EXPECT_THAT(ReportOf(kSecondError).locations, IsEmpty());
}

TEST_F(ErrorChain, ForgettingWithinAHandlerLeavesTheNumberToHandOn) {
  EXPECT_THROW(HandOn([](CThrowState&) {
                 try {
                   HandOn([](CThrowState& guard) { Raise(guard, kFirstError); });
                 } catch (unsigned int) {
                   Exceptions::ForgetErrors();
                   throw;
                 }
               }),
               unsigned int);

  EXPECT_EQ(LastError()->number, kFirstError);
  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/HandOn.cpp:200"));
}

TEST_F(ErrorChain, EachThreadHasItsOwn) {
  RaiseAndCatch(kFirstError);

  std::thread([] {
    EXPECT_FALSE(LastError().has_value());
    RaiseAndCatch(kSecondError);
    EXPECT_EQ(LastError()->number, kSecondError);
  }).join();

  EXPECT_EQ(LastError()->number, kFirstError);
}

TEST_F(ErrorChain, OneErrorPerCallIsKeptOfManyCalls) {
  for (int call = 0; call < 1000; ++call) RaiseAndCatch(kFirstError);

  EXPECT_THAT(Places(*LastError()), ElementsAre("Src/HandOn.cpp:100", "Src/HandOn.cpp:200"));
}

TEST_F(ErrorChain, PrintedReportShowsEveryPartOnALineOfItsOwn) {
  EXPECT_THROW(
      HandOnWithLine(
          "System",
          [](CThrowState& guard) {
            Exceptions::CException exception = guard.StartException(17);
            exception.prepareThrow(kFirstError, {2, 5}, "no right\nto write").exception.tryThrow();
          }),
      unsigned int);

  std::ostringstream out;
  Exceptions::PrintError(out, kFirstError);

  EXPECT_EQ(out.str(),
            "error 0x20A10001: First failed\n"
            "  detail: no right\\nto write\n"
            "  system error: 5\n"
            "  in Context (System)\n"
            "  at HandOnWithLine.cpp:17\n"
            "  at HandOnWithLine.cpp:300\n");
}

TEST_F(ErrorChain, PrintedRaiseWithoutAHandlerShowsItsLineAlone) {
  try {
    CThrowState guard;
    Raise(guard, kFirstError, 17);
  } catch (unsigned int) {
  }

  EXPECT_EQ(ReportOf(kFirstError).str(),
            "error 0x20A10001: First failed\n"
            "  at line 17\n");
}

// Errors of objects that are destroyed after the thread's own state.

TEST_F(ErrorChain, ThreadLocalObjectsMayRaiseAtTheEndOfTheirThread) {
  unsigned int caught = 0;
  std::thread([&caught] {
    static unsigned int* result = nullptr;
    result = &caught;
    struct Late {
      ~Late() {
        EndHere([](CThrowState& guard) { Raise(guard, kSecondError); });
        *result = RaiseAndCatch(kFirstError);
      }
    };
    static thread_local Late late;  // Built before the thread's first error, destroyed after it.
    static_cast<void>(late);
    RaiseAndCatch(kFirstError);
  }).join();

  EXPECT_EQ(caught, kFirstError);
}

TEST_F(ErrorChain, StaticObjectsMayRaiseAndTraceAtTheEndOfTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto program = [] {
    struct Late {
      ~Late() {
        EndHere([](CThrowState& guard) { Raise(guard, kSecondError); });
        TraceLine(Misc::kTraceDetail, "%s", ReportOf(RaiseAndCatch(kFirstError)).text);
      }
    };
    static Late late;
    RaiseAndCatch(kFirstError);
    Trace::SetSink(Trace::StandardErrorSink());
    std::exit(0);
  };

  EXPECT_EXIT(program(), testing::ExitedWithCode(0), "detail testmodule .* First failed");
}

}  // namespace
}  // namespace Pirsk::Testing
