#include "Support/Sanitized.h"
#include "Unit/Windows/SystemInfo/OSRecords.h"
#include "Unit/Windows/SystemInfo/OSTableRows.h"
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

using Testing::FlagRow;
using Testing::kFlagRows;
using Testing::kProductRows;
using Testing::ProductTextRow;

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

TEST(OSTables, EachBitOfASuiteMaskSetsItsFlagsAlone) {
  const struct {
    std::uint16_t bit;
    std::set<std::string> flags;
  } rows[] = {{0x0001, {"SmallBusiness"}},     {0x0002, {"Enterprise"}},
              {0x0004, {"BackOffice"}},        {0x0008, {"Communications"}},
              {0x0010, {"TerminalServices"}},  {0x0020, {"SmallBusiness", "Restricted"}},
              {0x0040, {"Embedded"}},          {0x0080, {"Datacenter"}},
              {0x0100, {"RemoteAdminMode"}},   {0x0200, {"Personal"}},
              {0x0400, {"WebEdition"}},        {0x0800, {"Embedded", "Restricted"}},
              {0x1000, {"SecurityAppliance"}}, {0x2000, {"StorageServer"}},
              {0x4000, {"ComputeCluster"}},    {0x8000, {"HomeServer"}}};
  std::uint32_t all = 0;
  for (const auto& row : rows) {
    OS_FACTS facts{};
    COSProbe().ApplySuiteMask(row.bit, facts);
    std::set<std::string> flags;
    for (const OSFlag& flag : OSFlags::kAll)
      if (OSFlagIsSet(facts, flag)) flags.insert(flag.name);
    EXPECT_EQ(flags, row.flags) << std::hex << row.bit;
    all |= row.bit;
  }
  EXPECT_EQ(all, 0xFFFFU);
}

constexpr std::size_t kStep = Testing::WithSanitizer<std::size_t>(11, 1);

/// The flags that the product's name looks at.
constexpr const OSFlag* kDecidingFlags[] = {&OSFlags::SmallBusiness, &OSFlags::SmallBusinessPremium,
                                            &OSFlags::HyperVServer,  &OSFlags::ServerR2,
                                            &OSFlags::Personal,      &OSFlags::HomeServer};
constexpr std::uint32_t kFlagSets = 1U << std::size(kDecidingFlags);

OS_FACTS WithFlags(OS_FACTS facts, std::uint32_t set) {
  std::uint32_t* const words[] = {&facts.suite1, &facts.suite2};
  for (std::size_t i = 0; i < std::size(kDecidingFlags); ++i)
    if ((set >> i & 1U) != 0) *words[kDecidingFlags[i]->word - 1] |= kDecidingFlags[i]->mask;
  return facts;
}

std::string ProductOf(const OS_FACTS& facts) {
  std::string name;
  COSInfo_Win(facts).GetOSProduct(name);
  return name;
}

/// All records that differ in what the product's name looks at, but for the flags.
template <class Visit>
void ForEachRecord(Visit visit) {
  for (std::uint32_t platform = 0; platform <= 5; ++platform)
    for (const auto& version : Testing::kVersions)
      for (const std::uint32_t build : Testing::Builds())
        for (std::uint32_t rest = 0; rest < 16; ++rest) {
          OS_FACTS facts{};
          facts.underlying.platform = platform;
          facts.underlying.major = version[0];
          facts.underlying.minor = version[1];
          facts.underlying.build = build;
          facts.osType = rest % 4;
          facts.ubr = (rest & 4) != 0 ? 9999 : 10000;
          facts.semiAnnual = (rest & 8) != 0 ? 1 : 0;
          visit(facts);
        }
}

// "Windows XP" and "Windows Home Server" are not among them: every program that has this library is
// one of 64 bits, and the row for those takes all of XP. All others are reached, whatever other
// flag is set as well.
TEST(OSTables, AllNamesOfProductsButTwoAreReached) {
  std::set<std::string> names;
  std::set<std::pair<std::string, std::uint32_t>> setsOfName;
  std::size_t turn = 0;
  ForEachRecord([&](const OS_FACTS& facts) {
    for (std::uint32_t set = 0; set < kFlagSets; ++set) {
      // A set of several flags is asked about with one record out of some.
      const bool isSingle = (set & (set - 1)) == 0;
      if (++turn % (isSingle ? kStep : kStep * 13) != 0) continue;
      const std::string name = ProductOf(WithFlags(facts, set));
      names.insert(name);
      if (isSingle) setsOfName.emplace(name, set);
    }
  });

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
  // Both rows of a small business server are reached, each by its flag alone.
  for (const char* const name :
       {"Windows Small Business Server 2003", "Windows Small Business Server 2008",
        "Windows Small Business Server 2011"}) {
    EXPECT_TRUE(setsOfName.contains({name, 1})) << name;
    EXPECT_TRUE(setsOfName.contains({name, 2})) << name;
    EXPECT_FALSE(setsOfName.contains({name, 0})) << name;
  }
}

// With every set of the other flags and for all of XP: what the two would need never decides.
TEST(OSTables, XPIsOfOneNameUnderEverySetOfFlags) {
  constexpr std::uint32_t kHyperVServer = 1U << 2;
  for (std::uint32_t minor = 1; minor <= 3; ++minor)
    for (std::uint32_t set = 0; set < kFlagSets; ++set) {
      OS_FACTS facts{};
      facts.underlying.platform = 4;
      facts.underlying.major = 5;
      facts.underlying.minor = minor;
      facts.osType = 1;
      EXPECT_EQ(ProductOf(WithFlags(facts, set)),
                (set & kHyperVServer) != 0 ? "Hyper-V Server" : "Windows XP Professional x64")
          << minor << ' ' << set;
    }
}

}  // namespace
}  // namespace Ondrel
