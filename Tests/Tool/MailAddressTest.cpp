#include "Tool/Command.h"
#include "Tool/MailAddress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

namespace Tool {
namespace {

struct Row {
  const char* name;
  const char* list;
  std::vector<std::pair<std::string, std::string>> expected;  // Mail and name.
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class MailAddresses : public testing::TestWithParam<Row> {};

TEST_P(MailAddresses, AreReadAsTheyAreWritten) {
  std::vector<std::pair<std::string, std::string>> read;
  for (const MailAddress& address : ParseAddresses(GetParam().list, "--to"))
    read.emplace_back(address.mail, address.name);

  EXPECT_EQ(read, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MailAddresses,
    testing::Values(
        Row{"Plain", "a@x", {{"a@x", ""}}},
        Row{"List", " a@x, b@x;c@x ", {{"a@x", ""}, {"b@x", ""}, {"c@x", ""}}},
        Row{"EmptyPlaces", ",;, ", {}}, Row{"Brackets", "<a@x>", {{"a@x", ""}}},
        Row{"Name", "Jane Doe <a@x>", {{"a@x", "Jane Doe"}}},
        Row{"QuotedName", "\"Doe, Jane\" <a@x>, b@x", {{"a@x", "\"Doe, Jane\""}, {"b@x", ""}}},
        Row{"NameWithoutSpace", "\"Doe; Jane\"<a@x>", {{"a@x", "\"Doe; Jane\""}}},
        Row{"QuoteWithinQuotes",
            R"("The \"boss\", really" <a@x>)",
            {{"a@x", R"("The \"boss\", really")"}}},
        Row{"BracketWithinQuotes", "\"a <b@x>\" <c@x>", {{"c@x", "\"a <b@x>\""}}},
        Row{"NameThatNeedsQuotes", "J. Doe (night) <a@x>", {{"a@x", "\"J. Doe (night)\""}}},
        Row{"HalfQuotedName", "\"J\" Doe <a@x>", {{"a@x", R"("\"J\" Doe")"}}},
        Row{"EmptyQuotedName", "\"\" <a@x>", {{"a@x", "\"\""}}},
        Row{"LocalUser", "root", {{"root", ""}}}),
    [](const auto& row) { return std::string(row.param.name); });

struct BadRow {
  const char* name;
  const char* list;
  const char* complaint;
};

void PrintTo(const BadRow& row, std::ostream* out) { *out << row.name; }

class BadMailAddresses : public testing::TestWithParam<BadRow> {};

TEST_P(BadMailAddresses, AreRefusedByName) {
  try {
    ParseAddresses(GetParam().list, "--to");
    FAIL();
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(), GetParam().complaint);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BadMailAddresses,
    testing::Values(BadRow{"QuoteWithoutEnd", "\"Doe, Jane <a@x>",
                           "--to: \"Doe, Jane <a@x>: a quote has no end"},
                    BadRow{"NoAddress", "Jane <>", "--to: Jane <>: there is no address"},
                    BadRow{"BracketWithoutEnd", "Jane <a@x",
                           "--to: Jane <a@x: the address has to end with \">\""},
                    BadRow{"WordsAfterIt", "<a@x> Jane",
                           "--to: <a@x> Jane: the address has to end with \">\""},
                    BadRow{"TwoWords", "jane doe", "--to: jane doe: this is not an address"},
                    BadRow{"BracketWithin", "<a<b@x>", "--to: <a<b@x>: this is not an address"},
                    BadRow{"TabWithin", "a\tb@x", "--to: a\tb@x: this is not an address"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace Tool
