#include "Host/Linux/LastError.h"
#include "Host/Linux/Messages/FormatMessage.h"
#include "Host/Linux/Messages/MessageModules.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ondrel::Host {
namespace {

const char* Number(std::intptr_t value) { return reinterpret_cast<const char*>(value); }

struct Row {
  const char* name;
  std::string_view definition;
  std::vector<const char*> arguments;
  std::string_view expected;
};

void ExpectFormatted(const std::vector<Row>& rows, MessageFormat format = {}) {
  for (const Row& row : rows) {
    format.arguments = row.arguments.empty() ? nullptr : row.arguments.data();
    const FormattedMessage message = FormatDefinition(row.definition, format);
    EXPECT_EQ(message.error, ERROR_SUCCESS) << row.name;
    EXPECT_EQ(message.text, row.expected) << row.name;
  }
}

void ExpectRefused(const std::vector<Row>& rows, ULong error) {
  for (const Row& row : rows) {
    const MessageFormat format{.arguments = row.arguments.empty() ? nullptr : row.arguments.data()};
    const FormattedMessage message = FormatDefinition(row.definition, format);
    EXPECT_EQ(message.error, error) << row.name;
    EXPECT_EQ(message.text, "") << row.name;
  }
}

TEST(FormatMessage, TextWithoutEscapesStays) {
  ExpectFormatted({
      {"nothing", "", {}, ""},
      {"plain", "Drive 1 failed!", {}, "Drive 1 failed!"},
      {"bytes above 127", "caf\xC3\xA9", {}, "caf\xC3\xA9"},
  });
}

TEST(FormatMessage, EscapesGiveTheirCharacters) {
  ExpectFormatted({
      {"end", "a%0b", {}, "a"},
      {"end before a line end", "a%0\r\n", {}, "a"},
      {"hard line break", "a%nb", {}, "a\r\nb"},
      {"carriage return", "a%rb", {}, "a\rb"},
      {"tab", "a%tb", {}, "a\tb"},
      {"space", "a%bb", {}, "a b"},
      {"space by itself", "a% b", {}, "a b"},
      {"percent sign", "100%%", {}, "100%"},
      {"two percent signs", "%%%%", {}, "%%"},
      {"percent sign before a digit", "%%1", {}, "%1"},
      {"point", "%.a", {}, ".a"},
      {"exclamation mark", "a%!", {}, "a!"},
      {"any other letter", "%q%Z", {}, "qZ"},
      {"a letter of several bytes", "%\xC3\xA9", {}, "\xC3\xA9"},
      {"a line break", "a%\nb", {}, "a\nb"},
  });
}

TEST(FormatMessage, LineBreaksOfTheDefinitionBecomeCrLf) {
  ExpectFormatted({
      {"both", "a\r\nb", {}, "a\r\nb"},
      {"line feed", "a\nb\n", {}, "a\r\nb\r\n"},
      {"carriage return", "a\rb\r", {}, "a\r\nb\r\n"},
      {"line feed first", "\n\r", {}, "\r\n\r\n"},
      {"two", "\r\n\r\n", {}, "\r\n\r\n"},
  });
}

TEST(FormatMessage, IgnoredLineBreaksLeaveASpaceAndHardOnesStay) {
  ExpectFormatted(
      {
          {"both", "a\r\nb\r\n", {}, "a b "},
          {"line feed", "a\nb", {}, "a b"},
          {"hard", "a%nb%rc", {}, "a\r\nb\rc"},
          {"in an argument", "%1", {"x\r\ny"}, "x\r\ny"},
      },
      {.ignoreLineBreaks = true});
}

TEST(FormatMessage, InsertsTakeTheArgumentOfTheirNumber) {
  std::vector<const char*> many(99, "x");
  many[9] = "ten";
  many[11] = "twelve";
  many[98] = "last";
  ExpectFormatted({
      {"one", "%1\r\n", {"Drive removed"}, "Drive removed\r\n"},
      {"empty", "<%1>", {""}, "<>"},
      {"out of order and twice", "%2 %1 %2", {"a", "b"}, "b a b"},
      {"two digits", "%10", many, "ten"},
      {"at most two digits", "%123", many, "twelve3"},
      {"the last", "%99", many, "last"},
      {"null", "<%1>", {nullptr}, "<(null)>"},
      {"null with a width", "<%1!8s!>", {nullptr}, "<  (null)>"},
      {"escapes in an argument stay", "%1", {"%2%n%%"}, "%2%n%%"},
      {"after the end", "%1%0%2", {"a"}, "a"},
  });
}

TEST(FormatMessage, TextConversionsPadAndCut) {
  ExpectFormatted({
      {"plain", "%1!s!", {"abc"}, "abc"},
      {"narrow", "%1!hs!", {"abc"}, "abc"},
      {"width", "[%1!5s!]", {"abc"}, "[  abc]"},
      {"width to the left", "[%1!-5s!]", {"abc"}, "[abc  ]"},
      {"width below the length", "[%1!2s!]", {"abc"}, "[abc]"},
      {"precision", "[%1!.2s!]", {"abc"}, "[ab]"},
      {"precision above the length", "[%1!.9s!]", {"abc"}, "[abc]"},
      {"precision of none", "[%1!.s!]", {"abc"}, "[]"},
      {"both", "[%1!4.2s!]", {"abc"}, "[  ab]"},
      {"both to the left", "[%1!-4.2s!]", {"abc"}, "[ab  ]"},
      {"width counts characters", "[%1!3s!]", {"\xC3\xA9"}, "[  \xC3\xA9]"},
      {"precision counts characters", "[%1!.1s!]", {"\xC3\xA9\xC3\xA9"}, "[\xC3\xA9]"},
      {"text after it", "%1!s!!", {"abc"}, "abc!"},
      {"mark after a space", "%1 !", {"abc"}, "abc !"},
  });
}

TEST(FormatMessage, NumberConversionsShowTheArgumentsValue) {
  ExpectFormatted({
      {"signed", "%1!d!", {Number(-5)}, "-5"},
      {"signed, other letter", "%1!i!", {Number(7)}, "7"},
      {"unsigned", "%1!u!", {Number(-1)}, "4294967295"},
      {"signed of 32 bits", "%1!d!", {Number(0x1FFFFFFFF)}, "-1"},
      {"unsigned of 32 bits", "%1!u!", {Number(0x100000007)}, "7"},
      {"long is 32 bits", "%1!lu!", {Number(-1)}, "4294967295"},
      {"64 bits", "%1!lld!", {Number(-5000000000)}, "-5000000000"},
      {"64 bits, other prefix", "%1!I64u!", {Number(5000000000)}, "5000000000"},
      {"32 bits by prefix", "%1!I32d!", {Number(0x1FFFFFFFF)}, "-1"},
      {"as wide as a pointer", "%1!Id!", {Number(-5000000000)}, "-5000000000"},
      {"16 bits", "%1!hd!", {Number(0x1FFFF)}, "-1"},
      {"16 bits unsigned", "%1!hu!", {Number(0x1FFFF)}, "65535"},
      {"hexadecimal", "%1!x!", {Number(0xBEEF)}, "beef"},
      {"hexadecimal, capital", "%1!X!", {Number(0xBEEF)}, "BEEF"},
      {"filled with zeros", "0x%1!08x!", {Number(0xBEEF)}, "0x0000beef"},
      {"with its mark", "%1!#x!", {Number(0xBEEF)}, "0xbeef"},
      {"octal", "%1!o!", {Number(8)}, "10"},
      {"width", "[%1!5d!]", {Number(42)}, "[   42]"},
      {"width to the left", "[%1!-5d!]", {Number(42)}, "[42   ]"},
      {"precision", "%1!.5d!", {Number(42)}, "00042"},
      {"sign", "%1!+d!", {Number(42)}, "+42"},
      {"space for the sign", "%1! d!", {Number(42)}, " 42"},
      {"null is 0", "%1!d!", {nullptr}, "0"},
      {"character", "[%1!3c!]", {Number('x')}, "[  x]"},
      {"character 0", "[%1!c!]", {Number(0)}, "[]"},
      {"pointer", "%1!p!", {Number(0xBEEF)}, "000000000000BEEF"},
  });
}

TEST(FormatMessage, StarsTakeWidthAndPrecisionFromTheArguments) {
  ExpectFormatted({
      {"width", "[%1!*s!]", {Number(5), "abc"}, "[  abc]"},
      {"negative width is to the left", "[%1!*s!]", {Number(-5), "abc"}, "[abc  ]"},
      {"precision", "[%1!.*s!]", {Number(2), "abc"}, "[ab]"},
      {"negative precision is none", "[%1!.*s!]", {Number(-1), "abc"}, "[abc]"},
      {"number", "[%1!0*d!]", {Number(4), Number(42)}, "[0042]"},
      {"others keep their numbers",
       "%1!*.*s! %4 %5!*s!",
       {Number(4), Number(2), "Bill", "Bob", Number(6), "Bill"},
       "  Bi Bob   Bill"},
  });
}

TEST(FormatMessage, WhatNoArgumentsCanFormatIsRefused) {
  const std::vector<const char*> many(101, nullptr);
  ExpectRefused(
      {
          {"no arguments", "a%1", {}, ""},
          {"percent sign at the end", "a%", {}, ""},
          {"no end of the conversion", "%1!s", many, ""},
          {"no conversion", "%1!!", many, ""},
          {"flags alone", "%1!-!", many, ""},
          {"floating point", "%1!f!", many, ""},
          {"count of characters", "%1!n!", many, ""},
          {"wide text", "%1!S!", many, ""},
          {"wide text by prefix", "%1!ls!", many, ""},
          {"wide text by its own prefix", "%1!ws!", many, ""},
          {"two conversions", "%1!sd!", many, ""},
          {"text after the conversion", "%1!s !", many, ""},
          {"width above 65535", "%1!65536s!", many, ""},
          {"width of many digits", "%1!99999999999999999999s!", many, ""},
          {"precision above 65535", "%1!.65536d!", many, ""},
          {"width above 65535 by argument", "%1!*s!", {Number(65536), "a"}, ""},
          {"lowest width by argument", "%1!*s!", {Number(INT32_MIN), "a"}, ""},
          {"argument after the 99th", "%99!*s!", many, ""},
          {"argument far after the 99th", "%99!*.*s!", many, ""},
      },
      ERROR_INVALID_PARAMETER);
}

TEST(FormatMessage, WidestFieldIsFormatted) {
  const char* arguments[] = {"a"};
  const FormattedMessage message = FormatDefinition("%1!65535s!", {.arguments = arguments});
  EXPECT_EQ(message.text, std::string(65534, ' ') + "a");
}

TEST(FormatMessage, IgnoredInsertsStayAndTheirNeighboursAreFormatted) {
  ExpectFormatted(
      {
          {"insert", "%1\r\n", {}, "%1\r\n"},
          {"two digits", "%12%345", {}, "%12%345"},
          {"conversion", "%1!-8s!%2!d!", {}, "%1!-8s!%2!d!"},
          {"conversion without an end", "%1!s", {}, "%1!s"},
          {"with arguments", "%1", {"a"}, "%1"},
          {"other escapes", "%1%n%t%b%.%!%%%0%2", {}, "%1\r\n\t .!%"},
      },
      {.ignoreInserts = true});
}

TEST(FormatMessage, ArgumentsThatNoInsertNamesAreNotRead) {
  // The address sanitizer sees a read past the one element.
  const auto only = std::make_unique<const char*[]>(1);
  only[0] = "a";
  EXPECT_EQ(FormatDefinition("%1%%2%0%3", {.arguments = only.get()}).text, "a%2");
}

TEST(FormatMessage, ATextBeyondTheLongestIsRefused) {
  const std::string argument(64 * 1024, 'x');
  const char* arguments[] = {argument.c_str()};
  std::string definition;
  for (int count = 0; count < 16; ++count) definition += "%1";
  EXPECT_EQ(FormatDefinition(definition, {.arguments = arguments}).text.size(), kMaxMessageLength);
  EXPECT_EQ(FormatDefinition(definition + "y", {.arguments = arguments}).error, ERROR_MORE_DATA);
}

// FormatMessageText: flags, sources and where the text goes.

constexpr ULong kFromString = FORMAT_MESSAGE_FROM_STRING;
constexpr ULong kFromSystem = FORMAT_MESSAGE_FROM_SYSTEM;
constexpr ULong kFromModule = FORMAT_MESSAGE_FROM_HMODULE;
constexpr ULong kArray = FORMAT_MESSAGE_ARGUMENT_ARRAY;
constexpr ULong kAllocate = FORMAT_MESSAGE_ALLOCATE_BUFFER;

/// Result, last error and text of one call with a buffer of the caller's.
struct Answer {
  ULong length;
  ULong error;
  std::string text;
};

Answer Ask(ULong flags, const void* source, ULong id, std::vector<const char*> arguments = {}) {
  std::array<char, 200> buffer{};
  buffer[0] = '~';
  SetLastError(ERROR_SUCCESS);
  const ULong length =
      FormatMessageText(flags, source, id, 0, buffer.data(), buffer.size(),
                        arguments.empty() ? nullptr : const_cast<char**>(arguments.data()));
  return {length, LastError(), buffer.data()};
}

void ExpectFailure(const Answer& answer, ULong error) {
  EXPECT_EQ(answer.length, 0U);
  EXPECT_EQ(answer.error, error);
  EXPECT_EQ(answer.text, "~");
}

TEST(FormatMessageText, FormatsADefinitionOfTheCallers) {
  const Answer answer = Ask(kFromString | kArray, "%1 and %2%n", 0, {"a", "b"});
  EXPECT_EQ(answer.length, 9U);
  EXPECT_EQ(answer.text, "a and b\r\n");
}

TEST(FormatMessageText, SystemMessagesAreTheHostsTexts) {
  EXPECT_EQ(Ask(kFromSystem, nullptr, ERROR_FILE_NOT_FOUND).text, "No such file or directory\r\n");
  EXPECT_EQ(Ask(kFromSystem, nullptr, ERROR_ACCESS_DENIED).text, "Permission denied\r\n");
  EXPECT_EQ(Ask(kFromSystem, nullptr, ERROR_SUCCESS).text, "Success\r\n");
}

TEST(FormatMessageText, IdsThatTheSystemLacksAreNotFound) {
  ExpectFailure(Ask(kFromSystem, nullptr, 0x20002710), 317);
  ExpectFailure(Ask(kFromSystem, nullptr, 0xFFFFFFFF), 317);
}

TEST(FormatMessageText, AHandleThatIsNotOpenIsAFailureWithoutAnotherSource) {
  ExpectFailure(Ask(kFromModule, nullptr, 1), 6);
  ExpectFailure(Ask(kFromModule, Number(0x1001), 1), 6);
}

TEST(FormatMessageText, AHandleThatIsNotOpenLeavesTheSystemsMessages) {
  EXPECT_EQ(Ask(kFromModule | kFromSystem, Number(0x1001), 5).text, "Permission denied\r\n");
  ExpectFailure(Ask(kFromModule | kFromSystem, Number(0x1001), 0x20002710), 317);
}

TEST(FormatMessageText, SourcesThatDoNotGoTogetherAreRefused) {
  ExpectFailure(Ask(0, "a", 0), 87);
  ExpectFailure(Ask(kArray, "a", 0), 87);
  ExpectFailure(Ask(kFromString | kFromSystem, "a", 5), 87);
  ExpectFailure(Ask(kFromString | kFromModule, "a", 5), 87);
  ExpectFailure(Ask(kFromString, nullptr, 0), 87);
}

TEST(FormatMessageText, InsertsNeedAnArgumentArray) {
  ExpectFailure(Ask(kFromString, "%1", 0, {"a"}), 87);
  ExpectFailure(Ask(kFromString | kArray, "%1", 0), 87);
  EXPECT_EQ(Ask(kFromString | kArray, "no insert", 0).text, "no insert");
}

TEST(FormatMessageText, IgnoredInsertsStay) {
  const Answer answer = Ask(kFromString | FORMAT_MESSAGE_IGNORE_INSERTS, "%1\r\n", 0);
  EXPECT_EQ(answer.length, 4U);
  EXPECT_EQ(answer.text, "%1\r\n");
}

TEST(FormatMessageText, OnlyTheFullWidthChangesLineBreaks) {
  EXPECT_EQ(Ask(kFromString | 0xFF, "a\r\nb%nc", 0).text, "a b\r\nc");
  EXPECT_EQ(Ask(kFromString | 0x01, "aa bb\r\ncc", 0).text, "aa bb\r\ncc");
}

TEST(FormatMessageText, AnEmptyTextIsAFailure) { ExpectFailure(Ask(kFromString, "%0a", 0), 235); }

TEST(FormatMessageText, TheTextAndItsEndMustFitTheBuffer) {
  std::array<char, 4> buffer = {'~', '~', '~', '~'};
  EXPECT_EQ(FormatMessageText(kFromString, "abc", 0, 0, buffer.data(), 4, nullptr), 3U);
  EXPECT_STREQ(buffer.data(), "abc");
  EXPECT_EQ(FormatMessageText(kFromString, "wxyz", 0, 0, buffer.data(), 4, nullptr), 0U);
  EXPECT_EQ(LastError(), 122U);
  EXPECT_STREQ(buffer.data(), "abc");
  EXPECT_EQ(FormatMessageText(kFromString, "w", 0, 0, buffer.data(), 0, nullptr), 0U);
  EXPECT_EQ(LastError(), 122U);
}

TEST(FormatMessageText, WithoutABufferNothingIsFormatted) {
  EXPECT_EQ(FormatMessageText(kFromString, "a", 0, 0, nullptr, 10, nullptr), 0U);
  EXPECT_EQ(LastError(), 87U);
  EXPECT_EQ(FormatMessageText(kFromString | kAllocate, "a", 0, 0, nullptr, 10, nullptr), 0U);
  EXPECT_EQ(LastError(), 87U);
}

TEST(FormatMessageText, AllocatedTextIsReleasedWithFree) {
  char* text = nullptr;
  const ULong length = FormatMessageText(kFromString | kAllocate, "abc", 0, 0,
                                         reinterpret_cast<char*>(&text), 0, nullptr);
  EXPECT_EQ(length, 3U);
  EXPECT_STREQ(text, "abc");
  std::free(text);
}

TEST(FormatMessageText, AllocatedTextHasAtLeastTheRoomAskedFor) {
  char* text = nullptr;
  ASSERT_EQ(FormatMessageText(kFromString | kAllocate, "abc", 0, 0, reinterpret_cast<char*>(&text),
                              500, nullptr),
            3U);
  std::memset(text, 'x', 500);
  std::free(text);
}

TEST(FormatMessageText, OnFailureTheAllocatedTextsPointerIsLeftAlone) {
  char* text = const_cast<char*>("before");
  const char* const before = text;
  EXPECT_EQ(FormatMessageText(kFromSystem | kAllocate, nullptr, 0x20002710, 0,
                              reinterpret_cast<char*>(&text), 0, nullptr),
            0U);
  EXPECT_EQ(LastError(), 317U);
  EXPECT_EQ(text, before);
}

TEST(FormatMessageText, TheLanguageIsNotLookedAt) {
  for (const ULong language : {0U, 1031U, 1033U, 0xFFFFFFFFU}) {
    char buffer[32] = {};
    FormatMessageText(kFromSystem, nullptr, 5, language, buffer, sizeof buffer, nullptr);
    EXPECT_STREQ(buffer, "Permission denied\r\n") << language;
  }
}

}  // namespace
}  // namespace Ondrel::Host
