#define PCRE2_CODE_UNIT_WIDTH 8

#include "Regex/Pattern.h"

#include <benchmark/benchmark.h>
#include <boost/regex.hpp>

#include <cstdint>
#include <memory>
#include <pcre2.h>
#include <random>
#include <re2/re2.h>
#include <regex>
#include <stdexcept>
#include <string>

// The pattern engine against others: the library's own pattern on an identifier of a device, and
// all matches of patterns in a text of 1 MB. Each counts the same number of matches, or fails.
//
// Boost.Regex, std::regex and PCRE2 go back through the pattern as this engine does. PCRE2 with its
// JIT compiles a pattern to machine code, and RE2 runs automata, without references to groups: they
// are engines of another kind.

namespace {

using Pirsk::Regex::CMatchContext;
using Pirsk::Regex::CMatchResult;
using Pirsk::Regex::CPatternT;

const std::string kDevice = R"(PCI\VEN_1000&DEV_005D&SUBSYS_93611000&REV_02)";

// Every engine's pattern is asked for the number of matches in a text, and the length of all.
struct Found {
  std::size_t count = 0;
  std::size_t length = 0;

  void Add(std::size_t matched) {
    ++count;
    length += matched;
  }
  bool operator==(const Found&) const = default;
};

class Own {
public:
  explicit Own(const char* pattern) : m_pattern(pattern) {}

  Found All(const std::string& text) const {
    Found found;
    CMatchContext context;
    m_pattern.PrepareMatch(text.data(), static_cast<std::int64_t>(text.size()), -1, &context);
    for (;;) {
      const CMatchResult result = m_pattern.Match(context);
      if (!result.IsMatched()) return found;
      found.Add(static_cast<std::size_t>(result.GroupEnd(0) - result.GroupBegin(0)));
    }
  }
  bool Matches(const std::string& text) const {
    return m_pattern.Match(text.data(), static_cast<std::int64_t>(text.size())).IsMatched();
  }

private:
  CPatternT m_pattern;
};

class Standard {
public:
  explicit Standard(const char* pattern) : m_pattern(pattern) {}

  Found All(const std::string& text) const {
    Found found;
    for (std::sregex_iterator match(text.begin(), text.end(), m_pattern), end; match != end;
         ++match)
      found.Add(static_cast<std::size_t>(match->length()));
    return found;
  }
  bool Matches(const std::string& text) const {
    std::smatch match;
    return std::regex_search(text, match, m_pattern);
  }

private:
  std::regex m_pattern;
};

class Boost {
public:
  explicit Boost(const char* pattern) : m_pattern(pattern) {}

  Found All(const std::string& text) const {
    Found found;
    const auto flags = boost::match_not_dot_newline;
    for (boost::sregex_iterator match(text.begin(), text.end(), m_pattern, flags), end;
         match != end; ++match)
      found.Add(static_cast<std::size_t>(match->length()));
    return found;
  }
  bool Matches(const std::string& text) const {
    boost::smatch match;
    return boost::regex_search(text, match, m_pattern, boost::match_not_dot_newline);
  }

private:
  boost::regex m_pattern;
};

template <bool kIsJit>
class Pcre2 {
public:
  explicit Pcre2(const char* pattern) {
    int error = 0;
    PCRE2_SIZE place = 0;
    m_code.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern), PCRE2_ZERO_TERMINATED, 0,
                               &error, &place, nullptr));
    if (!m_code || (kIsJit && pcre2_jit_compile(m_code.get(), PCRE2_JIT_COMPLETE) != 0))
      throw std::runtime_error(pattern);
    m_match.reset(pcre2_match_data_create_from_pattern(m_code.get(), nullptr));
  }

  Found All(const std::string& text) const {
    Found found;
    for (std::size_t at = 0; at <= text.size() && Match(text, at);) {
      const PCRE2_SIZE* const spans = pcre2_get_ovector_pointer(m_match.get());
      found.Add(spans[1] - spans[0]);
      at = spans[1] > spans[0] ? spans[1] : spans[1] + 1;
    }
    return found;
  }
  bool Matches(const std::string& text) const { return Match(text, 0); }

private:
  struct Free {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
  };

  bool Match(const std::string& text, std::size_t at) const {
    const auto* const subject = reinterpret_cast<PCRE2_SPTR>(text.data());
    constexpr std::uint32_t kOptions = kIsJit ? 0 : PCRE2_NO_JIT;
    return pcre2_match(m_code.get(), subject, text.size(), at, kOptions, m_match.get(), nullptr) >=
           0;
  }

  std::unique_ptr<pcre2_code, Free> m_code;
  std::unique_ptr<pcre2_match_data, Free> m_match;
};

class Re2 {
public:
  explicit Re2(const char* pattern) : m_pattern(pattern, Options()) {}

  Found All(const std::string& text) const {
    Found found;
    re2::StringPiece match;
    for (std::size_t at = 0; m_pattern.Match(text, at, text.size(), RE2::UNANCHORED, &match, 1);) {
      found.Add(match.size());
      at = static_cast<std::size_t>(match.data() - text.data()) + match.size();
    }
    return found;
  }
  bool Matches(const std::string& text) const {
    re2::StringPiece groups[5];
    return m_pattern.Match(text, 0, text.size(), RE2::UNANCHORED, groups, 5);
  }

private:
  static RE2::Options Options() {
    RE2::Options options;
    options.set_encoding(RE2::Options::EncodingLatin1);
    return options;
  }

  RE2 m_pattern;
};

// Words of lower-case letters with the wanted ones among them, a line every dozen.
const std::string& LongText() {
  static const std::string text = [] {
    std::mt19937 random(1);
    const char* const wanted[] = {"foo", "bar", "baz", "going", "sleeping", "needle", "zoo"};
    std::string words;
    for (int word = 0; words.size() < 1'000'000; ++word) {
      if (random() % 8 == 0)
        words += wanted[random() % std::size(wanted)];
      else
        for (unsigned i = 2 + random() % 8; i > 0; --i)
          words.push_back(static_cast<char>('a' + random() % 26));
      words.push_back(word % 12 == 11 ? '\n' : ' ');
    }
    return words;
  }();
  return text;
}

template <class Engine>
void MatchDevice(benchmark::State& state, const char* pattern) {
  const Engine engine(pattern);
  for (auto _ : state)
    if (!engine.Matches(kDevice)) state.SkipWithError("no match");
}

template <class Engine>
void FindAll(benchmark::State& state, const char* pattern) {
  const Engine engine(pattern);
  const Found expected = Pcre2<true>(pattern).All(LongText());
  Found found;
  for (auto _ : state) found = engine.All(LongText());
  if (found != expected) state.SkipWithError("other matches");
}

// The engine alone, on a part of the text.
void FindAllInPart(benchmark::State& state, const char* pattern, std::size_t length) {
  const Own engine(pattern);
  const std::string text = LongText().substr(0, length);
  for (auto _ : state) benchmark::DoNotOptimize(engine.All(text));
}

std::string LettersAB(std::size_t length) {
  std::string text;
  while (text.size() < length) text += "ab";
  return text;
}

// One match that goes through all of a text, in which the loop keeps nothing of its iterations, a
// record, or a record and a capture of each.
void MatchWhole(benchmark::State& state, const char* pattern, std::size_t length) {
  const Own engine(pattern);
  const std::string text = LettersAB(length);
  for (auto _ : state)
    if (engine.All(text).length != text.size()) state.SkipWithError("no match");
}

constexpr char kAmbiguous[] = "(?:a|ab|b)*c";

// Letters in which the character after the loop comes not at all, at their end, or at the start.
template <class Engine>
void FindAfterLoop(benchmark::State& state, const char* before, const char* after) {
  const Engine engine(kAmbiguous);
  const std::string text = before + LettersAB(20'000) + after;
  const Found expected = Re2(kAmbiguous).All(text);
  Found found;
  for (auto _ : state) found = engine.All(text);
  if (found != expected) state.SkipWithError("other matches");
}

// The character comes where no match reaches it, so that each position is tried.
void TryEachPosition(benchmark::State& state, std::size_t length) {
  const Own engine(kAmbiguous);
  const std::string text = LettersAB(length) + "xc";
  for (auto _ : state) benchmark::DoNotOptimize(engine.All(text));
}

constexpr char kDevicePattern[] = "^PCI(.*)VEN_([[:xdigit:]]{4})&DEV_([[:xdigit:]]{4})(.*)";

constexpr struct {
  const char* name;
  const char* pattern;
} kPatterns[] = {
    {"needle", "needle"},
    {"\\w+ing", "\\w+ing"},
    {"foo, bar or baz", "foo|bar|baz"},
    {"a.*?z", "a.*?z"},
    {"[a-f]+[x-z]{2,3}", "[a-f]+[x-z]{2,3}"},
    {"(\\w)\\1\\1", "(\\w)\\1\\1"},
};

constexpr const char* kLoops[] = {"(a|b)*", "(?:ab)*", "(ab)*", "(?:a|ab|b)*"};

void RegisterGrowth() {
  constexpr std::size_t kLeast = 10'000;
  for (const std::size_t factor : {1, 10, 100}) {
    const std::string end = ", 10 kB and more/" + std::to_string(factor);
    for (const auto& [name, pattern] : kPatterns)
      benchmark::RegisterBenchmark((std::string("Growth/pattern ") + name + end).c_str(),
                                   FindAllInPart, pattern, kLeast * factor);
    for (const char* const pattern : kLoops)
      benchmark::RegisterBenchmark((std::string("Growth/pattern ") + pattern + end).c_str(),
                                   MatchWhole, pattern, kLeast * factor);
    benchmark::RegisterBenchmark(
        ("Growth/pattern (?:a|ab|b)*c that each position is tried for, 20 letters and more/" +
         std::to_string(factor))
            .c_str(),
        TryEachPosition, 20 * factor);
  }
}

// The other engines that go back take no end of time, or of the call stack, for these.
template <class Engine>
void RegisterAfterLoop(const std::string& contender) {
  constexpr struct {
    const char* name;
    const char* before;
    const char* after;
  } kTexts[] = {{"none", "", ""}, {"at the end", "", "c"}, {"at the start", "c", ""}};
  for (const auto& [name, before, after] : kTexts)
    benchmark::RegisterBenchmark(
        (std::string("Patterns/20000 letters, (?:a|ab|b)*c, c ") + name + "/" + contender).c_str(),
        FindAfterLoop<Engine>, before, after);
}

template <class Engine>
void Register(const std::string& contender, bool hasBackReferences) {
  benchmark::RegisterBenchmark(("Patterns/device identifier/" + contender).c_str(),
                               MatchDevice<Engine>, kDevicePattern);
  for (const auto& [name, pattern] : kPatterns) {
    if (!hasBackReferences && std::string(pattern).find("\\1") != std::string::npos) continue;
    benchmark::RegisterBenchmark((std::string("Patterns/1 MB, ") + name + "/" + contender).c_str(),
                                 FindAll<Engine>, pattern);
  }
}

const bool kAreRegistered = [] {
  Register<Own>("ondrel", true);
  Register<Boost>("Boost.Regex", true);
  Register<Standard>("std::regex", true);
  Register<Pcre2<false>>("PCRE2", true);
  Register<Pcre2<true>>("PCRE2, JIT", true);
  Register<Re2>("RE2", false);
  RegisterAfterLoop<Own>("ondrel");
  RegisterAfterLoop<Re2>("RE2");
  RegisterGrowth();
  return true;
}();

}  // namespace
