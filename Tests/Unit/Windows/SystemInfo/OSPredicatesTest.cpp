#include "Support/Sanitized.h"
#include "Unit/Windows/SystemInfo/OSRecords.h"

#include <Ondrel/OSInfo.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

struct Row {
  const char* name;
  const char* form;
  const char* condition;
};

constexpr Row kRows[] = {
#include "Unit/Windows/SystemInfo/OSPredicateRows.inc"
};

/// What a condition is asked about.
struct Subject {
  const OS_FACTS* facts;
  bool isUnderlying;

  const OS_VERSION_HALF& Half() const { return isUnderlying ? facts->underlying : facts->reported; }
};

/// The conditions of the table in a plain form of their own, evaluated word by word.
class Oracle {
public:
  Oracle() {
    for (const Row& row : kRows) {
      std::istringstream words(row.condition);
      for (std::string word; words >> word;) m_conditions[row.name].push_back(Parse(word));
    }
    for (auto& [name, words] : m_conditions)
      for (Word& word : words) Link(word);
  }

  enum Kind { kNumber, kFlag, kPredicate, kEither, kModern, kServer, k1909, kTrue, kFalse };

  struct Word {
    Kind kind = kTrue;
    bool isNegated = false;
    std::string text;
    std::string field;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    const OSFlag* flag = nullptr;
    const std::vector<Word>* other = nullptr;
    const std::vector<Word>* second = nullptr;
  };
  using Words = std::vector<Word>;

  /// The condition of a predicate.
  const Words& Of(const std::string& name) const { return m_conditions.at(name); }

  static bool Holds(const Words& condition, const Subject& subject) {
    return std::all_of(condition.begin(), condition.end(), [&](const Word& word) {
      return HoldsUnnegated(word, subject) != word.isNegated;
    });
  }

private:
  static Word Parse(std::string text) {
    static const std::map<std::string, Kind> kNamed = {{"modern", kModern},
                                                       {"server", kServer},
                                                       {"b1909", k1909},
                                                       {"true", kTrue},
                                                       {"false", kFalse}};
    constexpr std::uint32_t kMost = 0xFFFFFFFF;
    Word word;
    if (text.front() == '!') {
      word.isNegated = true;
      text.erase(0, 1);
    }
    word.text = text;
    if (const auto named = kNamed.find(text); named != kNamed.end()) {
      word.kind = named->second;
      return word;
    }
    const std::size_t sign = text.find_first_of("=<>!");
    if (sign == std::string::npos) {
      word.kind = text.find('|') != std::string::npos ? kEither : kPredicate;
      return word;
    }
    word.kind = kNumber;
    word.field = text.substr(0, sign);
    const std::string relation = text.substr(sign, text.find_first_of("0123456789") - sign);
    const std::string numbers = text.substr(sign + relation.size());
    const auto number = static_cast<std::uint32_t>(std::stoul(numbers));
    const std::size_t range = numbers.find("..");
    word.first = number;
    word.last = range != std::string::npos
                    ? static_cast<std::uint32_t>(std::stoul(numbers.substr(range + 2)))
                    : number;
    if (relation == "!=") word.isNegated = true;
    if (relation == ">=") word.last = kMost;
    if (relation == "<") {
      word.first = 0;
      word.last = number - 1;
    }
    return word;
  }

  // Finds what a name stands for.
  void Link(Word& word) {
    if (word.kind == kEither) {
      const std::size_t bar = word.text.find('|');
      word.other = &m_conditions.at(word.text.substr(0, bar));
      word.second = &m_conditions.at(word.text.substr(bar + 1));
    }
    if (word.kind != kPredicate) return;
    if (const auto found = m_conditions.find(word.text); found != m_conditions.end()) {
      word.other = &found->second;
      return;
    }
    word.kind = kFlag;
    for (const OSFlag& flag : OSFlags::kAll)
      if (word.text == flag.name) word.flag = &flag;
    if (word.flag == nullptr) ADD_FAILURE() << word.text;
  }

  static std::uint32_t Field(const Word& word, const Subject& subject) {
    const OS_VERSION_HALF& half = subject.Half();
    switch (word.field[0]) {
      case 'p':
        return half.platform;
      case 'm':
        return word.field == "major" ? half.major : half.minor;
      case 'b':
        return half.build;
      case 'o':
        return subject.facts->osType;
      case 's':
        return subject.facts->semiAnnual;
      default:
        return word.field == "ubr" ? subject.facts->ubr : subject.facts->underlying.processor;
    }
  }

  static bool HoldsUnnegated(const Word& word, const Subject& subject) {
    const OS_VERSION_HALF& half = subject.Half();
    const OS_FACTS& facts = *subject.facts;
    switch (word.kind) {
      case kNumber: {
        const std::uint32_t value = Field(word, subject);
        return value >= word.first && value <= word.last;
      }
      case kFlag: {
        const std::uint32_t words[] = {facts.suite1, facts.suite2, facts.suite3, facts.suite4};
        return (words[word.flag->word - 1] & word.flag->mask) != 0;
      }
      case kPredicate:
        return Holds(*word.other, subject);
      case kEither:
        return Holds(*word.other, subject) || Holds(*word.second, subject);
      case kModern:
        return half.platform == 4 && (half.major > 6 || (half.major == 6 && half.minor > 3));
      case kServer:
        return facts.osType == 2 || facts.osType == 3;
      case k1909:
        return (half.build == 18362 && facts.ubr >= 10000) ||
               (half.build > 18362 && half.build < 18836);
      case kFalse:
        return false;
      default:
        return true;
    }
  }

  std::map<std::string, Words> m_conditions;
};

const Oracle& TheOracle() {
  static const Oracle oracle;
  return oracle;
}

std::vector<OSPredicate> Predicates() {
  std::size_t count = 0;
  const OSPredicate* const predicates = OSPredicates(count);
  return {predicates, predicates + count};
}

void SetFlag(OS_FACTS& facts, const OSFlag& flag) {
  std::uint32_t* const words[] = {&facts.suite1, &facts.suite2, &facts.suite3, &facts.suite4};
  *words[flag.word - 1] |= flag.mask;
}

using Testing::Builds;
using Testing::kVersions;

// Sanitizers take their time: there a part of the records, spread over all.
constexpr std::uint32_t kStep = Testing::WithSanitizer(11u, 1u);

/// Asks all predicates about records; the half that is not asked about says something else.
class EveryPredicate {
public:
  void Ask(const OS_VERSION_HALF& half, OS_FACTS facts, bool isUnderlying) {
    OS_VERSION_HALF other{};
    other.platform = 4;
    other.major = 10;
    other.build = 19043;
    other.processor = half.processor;
    facts.underlying = isUnderlying ? half : other;
    facts.reported = isUnderlying ? other : half;
    const Subject subject{&facts, isUnderlying};
    for (std::size_t i = 0; i < m_predicates.size(); ++i) {
      const OSPredicate& predicate = m_predicates[i];
      const int expected = Oracle::Holds(*m_conditions[i], subject) ? 1 : 0;
      if (predicate.holds(facts, isUnderlying ? 1 : 0) == expected) continue;
      ADD_FAILURE() << predicate.name << " is not " << expected << " for platform " << half.platform
                    << ", " << half.major << '.' << half.minor << " build " << half.build
                    << ", type " << facts.osType << ", ubr " << facts.ubr << ", semi-annual "
                    << facts.semiAnnual << ", flags " << std::hex << facts.suite1 << ' '
                    << facts.suite2 << ' ' << facts.suite3 << ' ' << facts.suite4;
      m_hasFailed = true;
    }
    m_asked += m_predicates.size();
  }

  bool HasFailed() const { return m_hasFailed; }
  std::size_t Asked() const { return m_asked; }

private:
  const std::vector<OSPredicate> m_predicates = Predicates();
  const std::vector<const Oracle::Words*> m_conditions = [] {
    std::vector<const Oracle::Words*> conditions;
    for (const OSPredicate& predicate : Predicates())
      conditions.push_back(&TheOracle().Of(predicate.name));
    return conditions;
  }();
  bool m_hasFailed = false;
  std::size_t m_asked = 0;
};

OS_VERSION_HALF Half(std::uint32_t platform, const std::uint32_t (&version)[2],
                     std::uint32_t build) {
  OS_VERSION_HALF half{};
  half.platform = platform;
  half.major = version[0];
  half.minor = version[1];
  half.build = build;
  half.processor = build % 2 == 0 ? 9 : 6;
  return half;
}

TEST(OSPredicates, AreExactly224) {
  std::map<std::string, int> forms;
  for (const Row& row : kRows) ++forms[row.form];
  EXPECT_EQ(std::size(kRows), 224U);
  EXPECT_EQ(forms["flag"], 91 + 2);
  EXPECT_EQ(forms["version"], 124);
  EXPECT_EQ(forms["build"], 7);
}

TEST(OSPredicates, ListHasEveryNameAboutARecordInOrder) {
  std::vector<std::string> expected;
  for (const Row& row : kRows)
    if (std::string(row.form) != "build") expected.emplace_back(row.name);
  std::sort(expected.begin(), expected.end());
  std::vector<std::string> found;
  for (const OSPredicate& predicate : Predicates()) found.emplace_back(predicate.name);
  EXPECT_EQ(found, expected);
}

TEST(OSPredicates, HoldAsTheirConditionsSayForEveryVersionAndBuild) {
  EveryPredicate every;
  const std::vector<std::uint32_t> builds = Builds();
  OS_FACTS all{};
  for (const OSFlag& flag : OSFlags::kAll) SetFlag(all, flag);
  std::size_t turn = 0;
  for (std::uint32_t platform = 0; platform <= 5; ++platform)
    for (const auto& version : kVersions)
      for (const std::uint32_t build : builds)
        for (auto rest = static_cast<std::uint32_t>(turn % kStep); rest < 32; rest += kStep) {
          OS_FACTS facts = ++turn % 3 == 0 ? all : OS_FACTS{};
          facts.osType = rest % 4;
          facts.ubr = (rest & 4) != 0 ? 9999 : 10000;
          facts.semiAnnual = (rest & 8) != 0 ? 1 : 0;
          every.Ask(Half(platform, version, build), facts, (rest & 16) != 0);
          if (every.HasFailed()) return;
        }
  EXPECT_GT(every.Asked(), 100000000U / kStep);
}

TEST(OSPredicates, HoldAsTheirConditionsSayForEachFlagAlone) {
  EveryPredicate every;
  std::size_t turn = 0;
  for (const OSFlag& flag : OSFlags::kAll)
    for (std::uint32_t platform = 3; platform <= 4; ++platform)
      for (const auto& version : kVersions)
        for (const std::uint32_t build : {0U, 10240U, 17600U, 20298U})
          for (std::uint32_t osType = 0; osType <= 3; ++osType) {
            if (++turn % kStep != 0) continue;
            OS_FACTS facts{};
            facts.osType = osType;
            SetFlag(facts, flag);
            every.Ask(Half(platform, version, build), facts, osType % 2 == 0);
            if (every.HasFailed()) return;
          }
}

TEST(OSPredicates, ZeroRecordIsOnly64Bit) {
  const OS_FACTS zero{};
  for (const OSPredicate& predicate : Predicates())
    for (const int half : {0, 1})
      EXPECT_EQ(predicate.holds(zero, half), std::strcmp(predicate.name, "IsWindows64Bit") == 0)
          << predicate.name;
}

TEST(OSPredicates, BuildsByNumbersAloneHoldAsTheirConditionsSay) {
  using Predicate = int (*)(unsigned int, unsigned int, unsigned int);
  const std::pair<const char*, Predicate> builds[] = {
      {"IsWindows95BBuild", &COSProbe::IsWindows95BBuild},
      {"IsWindows95CBuild", &COSProbe::IsWindows95CBuild},
      {"IsWindows95SP1Build", &COSProbe::IsWindows95SP1Build},
      {"IsWindows98Build", &COSProbe::IsWindows98Build},
      {"IsWindows98SEBuild", &COSProbe::IsWindows98SEBuild},
      {"IsWindows98SP1Build", &COSProbe::IsWindows98SP1Build},
      {"IsWindowsMEBuild", [](unsigned int major, unsigned int minor, unsigned int) {
         return COSProbe::IsWindowsMEBuild(major, minor);
       }}};
  for (const auto& version : kVersions)
    for (const std::uint32_t build : Builds()) {
      OS_FACTS facts{};
      facts.underlying = Half(0, version, build);
      for (const auto& [name, holds] : builds)
        EXPECT_EQ(holds(version[0], version[1], build),
                  Oracle::Holds(TheOracle().Of(name), {&facts, true}) ? 1 : 0)
            << name << ' ' << version[0] << '.' << version[1] << ' ' << build;
    }
}

TEST(OSPredicates, HalfIsChosenByTheArgument) {
  OS_FACTS facts{};
  facts.osType = 1;
  facts.reported.platform = facts.underlying.platform = 4;
  facts.reported.major = 6;
  facts.reported.minor = 2;
  facts.underlying.major = 10;
  facts.underlying.build = 19045;
  const COSProbe probe;
  EXPECT_EQ(probe.IsWindows8(facts, 0), 1);
  EXPECT_EQ(probe.IsWindows8(facts, 1), 0);
  EXPECT_EQ(probe.IsWindows10(facts, 0), 0);
  EXPECT_EQ(probe.IsWindows10(facts, 2), 1);
}

TEST(OSPredicates, WindowsRTLooksAtTheUnderlyingProcessorForBothHalves) {
  OS_FACTS facts{};
  facts.osType = 1;
  facts.reported.platform = 4;
  facts.reported.major = 6;
  facts.reported.minor = 2;
  facts.underlying.processor = 9;
  const COSProbe probe;
  EXPECT_EQ(probe.IsWindowsRT(facts, 0), 1);
  facts.underlying.processor = 6;
  facts.reported.processor = 9;
  EXPECT_EQ(probe.IsWindowsRT(facts, 0), 0);
}

}  // namespace
}  // namespace Ondrel
