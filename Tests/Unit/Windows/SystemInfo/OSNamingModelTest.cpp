#include "Support/Sanitized.h"
#include "Unit/Windows/SystemInfo/OSRecords.h"

#include <Ondrel/OSInfo.h>

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

// Product, edition and features of random records against their decision tables, which were
// extracted on their own and are evaluated row by row. The predicates that the rows name are tested
// beside this.

namespace Ondrel {
namespace {

constexpr int kRecords = Testing::WithSanitizer(1000, 8000);

struct NameRow {
  const char* tests;
  const char* word;
};

struct ReleaseRow {
  const char* release;
  const char* column;
  const char* test;
  const char* word;
};

struct GroupRow {
  const char* group;
  const char* test;
  const char* word;
};

#include "Unit/Windows/SystemInfo/OSNamingRows.inc"

/// What the rows say of one record.
class NamingModel {
public:
  explicit NamingModel(const OS_FACTS& facts) : m_facts(facts) {}

  std::string Product() const {
    for (const NameRow& row : kProductRows) {
      bool holds = true;
      std::istringstream tests(row.tests);
      for (std::string test; tests >> test;)
        holds = holds && (test[0] == '!' ? !Holds(test.substr(1)) : Holds(test));
      if (holds) return row.word;
    }
    return "no row";
  }

  std::string Edition(std::string text) const {
    if (m_facts.underlying.platform != 4)
      text.clear();
    else
      BaseEdition(text);
    std::set<std::string> decided;
    for (const GroupRow& row : kGroupRows) {
      if (!Holds(row.test) || decided.contains(row.group)) continue;
      text = row.word;
      if (std::string(row.group) != "Single") decided.insert(row.group);
    }
    for (const NameRow& row : kAddedRows)
      if (Holds(row.tests)) text += text.empty() ? row.word : std::string(", ") + row.word;
    return text;
  }

  std::string Features() const {
    std::string text;
    for (const NameRow& row : kFeatureRows) {
      bool isAny = false;
      std::istringstream tests(row.tests);
      for (std::string test; tests >> test;) isAny = isAny || Holds(test);
      if (isAny) text += text.empty() ? row.word : std::string(", ") + row.word;
    }
    return text;
  }

  std::string ServicePack() const {
    const std::string major = std::to_string(m_facts.underlying.spMajor);
    const std::string minor = std::to_string(m_facts.underlying.spMinor);
    if (major == "0" && minor == "0") return "";
    if (minor == "0") return major;
    if (major == "1" && minor == "1" && Holds("IsWindowsXP")) return "1a";
    return major + "." + minor;
  }

private:
  bool Holds(const std::string& name) const {
    static const std::map<std::string, const OSPredicate*> predicates = [] {
      std::map<std::string, const OSPredicate*> byName;
      std::size_t count = 0;
      const OSPredicate* const all = OSPredicates(count);
      for (std::size_t i = 0; i < count; ++i) byName[all[i].name] = &all[i];
      return byName;
    }();
    return predicates.at(name)->holds(m_facts, 1) != 0;
  }

  void BaseEdition(std::string& text) const {
    std::string release;
    for (const ReleaseRow& row : kReleaseRows)
      if (release.empty() && Holds(row.release)) release = row.release;
    for (const char* const column : {"base", "replacing"})
      for (const ReleaseRow& row : kReleaseRows) {
        if (row.release != release || std::string(row.column) != column || !Holds(row.test))
          continue;
        text = row.word;
        break;
      }
  }

  const OS_FACTS& m_facts;
};

class RandomRecords {
public:
  OS_FACTS Next() {
    OS_FACTS facts{};
    facts.reported = Half();
    facts.underlying = Half();
    facts.osType = Below(4);
    facts.ubr = Below(2) == 0 ? 9999 : 10000;
    facts.semiAnnual = Below(2);
    const std::uint32_t rarity = 3 + Below(60);
    for (const OSFlag& flag : OSFlags::kAll) {
      if (Below(rarity) != 0) continue;
      std::uint32_t* const words[] = {&facts.suite1, &facts.suite2, &facts.suite3, &facts.suite4};
      *words[flag.word - 1] |= flag.mask;
    }
    return facts;
  }

  std::uint32_t Below(std::uint32_t end) { return static_cast<std::uint32_t>(m_numbers() % end); }

private:
  OS_VERSION_HALF Half() {
    static const std::vector<std::uint32_t> builds = Testing::Builds();
    const auto& version = Testing::kVersions[Below(std::size(Testing::kVersions))];
    OS_VERSION_HALF half{};
    half.major = version[0];
    half.minor = version[1];
    half.build = builds[Below(static_cast<std::uint32_t>(builds.size()))];
    half.platform = Below(4) == 0 ? Below(6) : 4;
    half.processor = Below(16);
    half.spMajor = static_cast<std::uint16_t>(Below(3));
    half.spMinor = static_cast<std::uint16_t>(Below(3));
    return half;
  }

  std::mt19937 m_numbers{20};
};

TEST(OSNamingModel, TablesHaveAllTheirRows) {
  EXPECT_EQ(std::size(kProductRows), 37U);
  EXPECT_EQ(std::size(kReleaseRows), 69U);
  EXPECT_EQ(std::size(kGroupRows), 16U);
  EXPECT_EQ(std::size(kAddedRows), 20U);
  EXPECT_EQ(std::size(kFeatureRows), 9U);
}

TEST(OSNamingModel, SaysTheSameOfRandomRecords) {
  RandomRecords records;
  std::set<std::string> editions;  // The first word of each.
  for (int count = 0; count < kRecords; ++count) {
    const OS_FACTS facts = records.Next();
    const NamingModel model(facts);
    const COSInfo_Win info(facts);
    // On the NT family an edition that no row gives is what the caller had in its text.
    const std::string before = records.Below(4) == 0 ? "before" : "";
    std::string text = "other";
    EXPECT_TRUE(info.GetOSProduct(text));
    ASSERT_EQ(text, model.Product()) << count;
    std::string edition = before;
    const bool hasEdition = info.GetOSEdition(edition);
    EXPECT_EQ(hasEdition, !edition.empty());
    ASSERT_EQ(edition, model.Edition(before)) << count;
    EXPECT_TRUE(info.GetOSFeatures(text));
    ASSERT_EQ(text, model.Features()) << count;
    const bool hasServicePack = info.GetOSServicePack(text);
    EXPECT_EQ(hasServicePack, !text.empty());
    ASSERT_EQ(text, model.ServicePack()) << count;
    editions.insert(edition.substr(0, edition.find(", ")));
  }
  for (const char* const rare : {"Workstation", "Home", "Web Edition"})
    EXPECT_TRUE(editions.contains(rare)) << rare;
}

}  // namespace
}  // namespace Ondrel
