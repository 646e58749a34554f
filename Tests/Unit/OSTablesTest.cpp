#include "OSRecords.h"
#include "Windows/SystemInfo/ProductTable.h"

#include <Ondrel/OSInfo.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>

// The tables of flags and product values against lists that were extracted on their own, and the
// product's names over all records.

namespace Ondrel {
namespace {

struct FlagRow {
  std::uint32_t word;
  std::uint32_t mask;
  const char* name;
};

constexpr FlagRow kFlagRows[] = {
#include "OSFlagRows.inc"
};

struct ProductTextRow {
  std::uint32_t value;
  std::uint32_t processor;
  const char* flags;
};

constexpr ProductTextRow kProductRows[] = {
#include "OSProductRows.inc"
};

TEST(OSTables, FlagsAreThoseOfTheList) {
  std::map<std::string, std::pair<std::uint32_t, std::uint32_t>> flags;
  for (const OSFlag& flag : OSFlags::kAll) flags[flag.name] = {flag.word, flag.mask};
  ASSERT_EQ(std::size(kFlagRows), 97U);
  EXPECT_EQ(flags.size(), 97U);
  for (const FlagRow& row : kFlagRows) {
    ASSERT_TRUE(flags.contains(row.name)) << row.name;
    EXPECT_EQ(flags[row.name], std::pair(row.word, row.mask)) << row.name;
  }
}

TEST(OSTables, ProductsAreThoseOfTheListRowByRow) {
  ASSERT_EQ(std::size(kProductRows), 168U);
  ASSERT_EQ(Products().size(), 168U);
  for (std::size_t i = 0; i < std::size(kProductRows); ++i) {
    const ProductTextRow& row = kProductRows[i];
    const ProductRow& product = Products()[i];
    EXPECT_EQ(product.value, row.value);
    EXPECT_EQ(product.processor, row.processor) << row.value;
    std::set<std::string> names;
    for (const OSFlag* const flag : product.flags)
      if (flag != nullptr) names.insert(flag->name);
    std::istringstream expected(row.flags);
    EXPECT_EQ(names, (std::set<std::string>{std::istream_iterator<std::string>(expected), {}}))
        << row.value;
    EXPECT_EQ(FindProduct(row.value), &product);
  }
}

TEST(OSTables, ValuesBetweenTheRowsAreNoProducts) {
  std::set<std::uint32_t> values;
  for (const ProductTextRow& row : kProductRows) values.insert(row.value);
  for (std::uint32_t value = 0; value < 500; ++value)
    EXPECT_EQ(FindProduct(value) != nullptr, values.contains(value)) << value;
  EXPECT_EQ(FindProduct(0xABCDABCD), nullptr);
}

#if defined(ONDREL_SANITIZED)
constexpr std::size_t kStep = 11;
#else
constexpr std::size_t kStep = 1;
#endif

// "Windows XP" and "Windows Home Server" are not among them: every program that has this library is
// one of 64 bits, and the row for those takes all of XP. All others are reached.
TEST(OSTables, AllNamesOfProductsButTwoAreReached) {
  const OSFlag* const kDecidingFlags[] = {nullptr,
                                          &OSFlags::SmallBusiness,
                                          &OSFlags::SmallBusinessPremium,
                                          &OSFlags::HyperVServer,
                                          &OSFlags::ServerR2,
                                          &OSFlags::Personal,
                                          &OSFlags::HomeServer};
  std::map<std::string, std::set<std::string>> flagsOfName;
  std::size_t turn = 0;
  for (std::uint32_t platform = 0; platform <= 5; ++platform)
    for (const auto& version : Testing::kVersions)
      for (const std::uint32_t build : Testing::Builds())
        for (std::uint32_t rest = 0; rest < 16; ++rest)
          for (const OSFlag* const flag : kDecidingFlags) {
            if (++turn % kStep != 0) continue;
            OS_FACTS facts{};
            facts.underlying.platform = platform;
            facts.underlying.major = version[0];
            facts.underlying.minor = version[1];
            facts.underlying.build = build;
            facts.osType = rest % 4;
            facts.ubr = (rest & 4) != 0 ? 9999 : 10000;
            facts.semiAnnual = (rest & 8) != 0 ? 1 : 0;
            std::uint32_t* const words[] = {&facts.suite1, &facts.suite2};
            if (flag != nullptr) *words[flag->word - 1] |= flag->mask;
            std::string name;
            COSInfo_Win(facts).GetOSProduct(name);
            flagsOfName[name].insert(flag != nullptr ? flag->name : "");
          }

  std::set<std::string> names;
  for (const auto& [name, flags] : flagsOfName) names.insert(name);
  EXPECT_THAT(
      names,
      testing::UnorderedElementsAre(
          "Windows Small Business Server 2003", "Windows Small Business Server 2008",
          "Windows Small Business Server 2011", "Hyper-V Server 2008", "Hyper-V Server 2008 R2",
          "Hyper-V Server 2012", "Hyper-V Server 2012 R2", "Hyper-V Server 2016", "Hyper-V Server",
          "Windows 2000", "Windows XP Professional x64", "Windows Server 2003",
          "Windows Server 2003 R2", "Windows Vista", "Windows Server 2008",
          "Windows Server 2008 R2", "Windows 7", "Windows 8", "Windows Server 2012", "Windows 8.1",
          "Windows Server 2012 R2", "Windows 10", "Windows Server version 1709",
          "Windows Server version 1803", "Windows Server 2016", "Windows Server version 1809",
          "Windows Server version 1903", "Windows Server version 1909",
          "Windows Server version 2004", "Windows Server 2019", "Windows Server 2022", "Windows"));
  // Both rows of a small business server are.
  for (const char* const name :
       {"Windows Small Business Server 2003", "Windows Small Business Server 2008",
        "Windows Small Business Server 2011"})
    EXPECT_EQ(flagsOfName[name], (std::set<std::string>{"SmallBusiness", "SmallBusinessPremium"}));
}

}  // namespace
}  // namespace Ondrel
