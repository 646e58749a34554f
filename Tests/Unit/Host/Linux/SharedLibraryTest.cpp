#include "Host/Linux/SharedLibrary.h"
#include "Module.h"
#include "Support/TraceCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

namespace Ondrel::Host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Testing::TraceCapture;

using NumberOf = int (*)(int);
using TextOf = const char* (*)(const char*);
using SizeOf = double (*)(double);
using End = void (*)(void*);

TEST(SharedLibrary, GivesALibrarysFunction) {
  SharedLibrary library("libm.so.6");
  const TraceCapture trace(kTraceError);

  EXPECT_EQ(library.Function(SizeOf(), "floor")(2.5), 2.0);
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST(SharedLibrary, IsNotLoadedBeforeItsFirstFunctionIsLookedFor) {
  const TraceCapture trace(kTraceError);
  SharedLibrary library("libondrel-none.so.1");

  EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST(SharedLibrary, FunctionsOfALibraryThatIsNotThereFail) {
  SharedLibrary library("libondrel-none.so.1");

  EXPECT_EQ(library.Function(NumberOf(), "Number")(1), -ENOSYS);
  EXPECT_EQ(library.Function(TextOf(), "Text")("x"), nullptr);
  library.Function(End(), "End")(nullptr);
  EXPECT_EQ(library.Find("Number"), nullptr);
}

TEST(SharedLibrary, SaysOnceThatALibraryIsNotThere) {
  SharedLibrary library("libondrel-none.so.1");
  const TraceCapture trace(kTraceError);

  library.Find("Number");
  library.Find("Text");

  EXPECT_THAT(trace.Texts(), ElementsAre(HasSubstr("cannot load libondrel-none.so.1: ")));
}

TEST(SharedLibrary, AFunctionThatALibraryHasNotFails) {
  SharedLibrary library("libm.so.6");
  const TraceCapture trace(kTraceError);

  EXPECT_EQ(library.Function(NumberOf(), "ondrel_nothing")(1), -ENOSYS);
  EXPECT_THAT(trace.Texts(), ElementsAre(HasSubstr("ondrel_nothing")));
}

TEST(SharedLibrary, ManyThreadsMayLookAtOnce) {
  SharedLibrary library("libm.so.6");
  std::vector<std::thread> threads;
  std::vector<double> floors(8);
  for (double& floor : floors)
    threads.emplace_back([&] { floor = library.Function(SizeOf(), "floor")(2.5); });
  for (std::thread& thread : threads) thread.join();

  EXPECT_THAT(floors, testing::Each(2.0));
}

}  // namespace
}  // namespace Ondrel::Host
