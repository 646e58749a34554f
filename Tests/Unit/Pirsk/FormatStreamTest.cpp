#include "TestModule.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

namespace Pirsk::Testing {
namespace {

using Output_Streams::CFormatStream;

struct Case {
  const char* name;
  const char* format;
  std::function<void(CFormatStream&)> feed;
  std::string expected;
};

void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }

class FormatStream : public testing::TestWithParam<Case> {};

TEST_P(FormatStream, FillsTheFormat) {
  std::string filled;
  Trace::SetSink([&filled](const Trace::Line& line) { filled = line.text; });

  {
    Internals::CTraceStreamBuffer buffer(16, g_module, "f", "g", 1);
    CFormatStream stream = buffer.Format(GetParam().format);
    GetParam().feed(stream);
  }
  Trace::SetSink(nullptr);

  EXPECT_EQ(filled, GetParam().expected);
}

const Case kCases[] = {
    {"PlainText", "ENTER CSmtp::AddTO ()", [](CFormatStream&) {}, "ENTER CSmtp::AddTO ()"},
    {"EmptyFormat", "", [](CFormatStream&) {}, ""},
    {"TextAndString", "%s(%s)\n", [](CFormatStream& stream) { stream << "a" << std::string("b"); },
     "a(b)\n"},
    {"TextForNumberPlaceholder", "[%d]", [](CFormatStream& stream) { stream << "x"; }, "[x]"},
    {"NumberForTextPlaceholder", "[%s]", [](CFormatStream& stream) { stream.FormatInt(7); }, "[7]"},
    {"NumberIsUnsigned", "%d", [](CFormatStream& stream) { stream.FormatInt(0xFFFFFFFFu); },
     "4294967295"},
    {"NumberZero", "%d", [](CFormatStream& stream) { stream.FormatInt(0); }, "0"},
    {"NumberAboveSignedRange", "%d", [](CFormatStream& stream) { stream.FormatInt(2147483648u); },
     "2147483648"},
    {"NullText", "<%s>", [](CFormatStream& stream) { stream << static_cast<const char*>(nullptr); },
     "<(null)>"},
    {"EmptyText", "<%s>", [](CFormatStream& stream) { stream << ""; }, "<>"},
    {"StringWithZeroByte", "<%s>", [](CFormatStream& stream) { stream << std::string("a\0b", 3); },
     std::string("<a\0b>", 5)},
    {"PlaceholderInAValueIsText", "%s-%s",
     [](CFormatStream& stream) {
       stream << "%s%%"
              << "two";
     },
     "%s%%-two"},
    {"PerCentSign", "100%% of %s", [](CFormatStream& stream) { stream << "it"; }, "100% of it"},
    {"PerCentSignAfterTheLastValue", "%s 5%%", [](CFormatStream& stream) { stream << "x"; },
     "x 5%"},
    {"EscapedPlaceholder", "%%s %s", [](CFormatStream& stream) { stream << "x"; }, "%s x"},
    {"PerCentAtTheEnd", "%s 5%", [](CFormatStream& stream) { stream << "x"; }, "x 5%"},
    {"PerCentAlone", "%", [](CFormatStream& stream) { stream << "x"; }, "% x"},
    {"OtherConversionIsText", "%x %5d %d", [](CFormatStream& stream) { stream.FormatInt(1); },
     "%x %5d 1"},
    {"FewerValues", "%s and %s and %d", [](CFormatStream& stream) { stream << "one"; },
     "one and %s and %d"},
    {"MoreValues", "%s!",
     [](CFormatStream& stream) {
       (stream << "one"
               << "two")
           .FormatInt(3);
     },
     "one! two 3"},
    {"MoreValuesOnAnEmptyFormat", "",
     [](CFormatStream& stream) {
       stream << "one"
              << "two";
     },
     "one two"},
};

INSTANTIATE_TEST_SUITE_P(Rows, FormatStream, testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace Pirsk::Testing
