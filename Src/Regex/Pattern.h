#pragma once

#include "Regex/Elements.h"
#include "Regex/Result.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The pattern engine: backtracking over a tree of element objects.
///
/// *Tokens.* The scanner (Scanner.cpp) cuts the pattern text into tokens: a character that is
/// either a literal or a control token, and its place. Four are in view at a time, previous,
/// current, next and after-next, so that the grammar never has to go back. What a character means
/// depends on whether it stands in brackets, in a quotation, or after a backslash.
///
/// *Grammar.* The compiler (Compiler.cpp) reads the tokens by one operation for each rule:
/// an alternative of lists of repeated simple items, where an item is a string, a class, a
/// boundary, a back reference or a group. Every text compiles: what is malformed has a
/// meaning too, and nothing is ever refused.
///
/// *Elements.* Each construct becomes one object with two operations: `Match` tries it at the
/// current position, `MatchNext` asks it for its next way or undoes it. A list goes forward by the
/// first and back by the second. Elements hold nothing between calls, so one pattern serves any
/// number of threads, each with a context of its own.
///
/// *The two stacks.* What an element must remember lies on the context's stack of numbers; what
/// groups have captured lies on a second one, so that an element can throw its choices away and
/// keep its captures. Records nest as the calls do. Both grow by doubling and are used again, so
/// that no step allocates, and a long text does not deepen the call stack.
///
/// *The search* (Search.cpp) tries the root at one position after the other. What it leaves out by
/// shortcuts (Shortcuts.h) shows in nothing but time.
///
/// *Bounds.* Call depth follows the nesting of groups in the pattern. One that nests deeper than
/// `kDeepestNesting` never matches, and `IsTooDeep` says so. A recursion goes 100 levels deep,
/// fewer in a pattern whose nesting would make that more than `kDeepestRecursion` nested groups;
/// deeper it fails and the matcher goes back. By going back into recursions a match may nest
/// deeper, up to the same number of groups. Counts and group numbers that are written in a pattern
/// are at most 999. A greedy loop offers each end that it reaches by going back into an iteration
/// only once, so that it tries at most as many ends as the text has positions, for each way in
/// which it is entered; nested loops and loops after each other multiply. The time of a search has
/// no other bound.
namespace Pirsk::Regex {

/// Flags of a pattern; the first four can also be changed within it by their letters.
enum PatternFlag : std::uint32_t {
  FLAG_SINGLELINE = 0x01,   ///< s: "." also matches a line feed.
  FLAG_MULTILINE = 0x02,    ///< m: "^" and "$" work at line ends.
  FLAG_GLOBAL = 0x04,       ///< g: "\G" is active.
  FLAG_IGNORECASE = 0x08,   ///< i: letters match in either case.
  FLAG_RIGHTTOLEFT = 0x10,  ///< The text is searched and matched from right to left.
  FLAG_EXTENDED = 0x20,     ///< White space and "#" comments in the pattern are skipped.
};

/// A set of one to four characters, which many positions can be compared with at once.
struct FewCharacters {
  static constexpr std::size_t kMost = 4;

  /// The characters of a set, where they are that few.
  static std::optional<FewCharacters> Of(const std::array<bool, 256>& set);

  /// Whether one character is in a set and the next in another; without a branch, as loops over
  /// many positions want it.
  static bool ArePair(char character, const FewCharacters& set, char next,
                      const FewCharacters& nextSet) {
    const auto& own = set.characters;
    const auto& others = nextSet.characters;
    return ((character == own[0]) | (character == own[1]) | (character == own[2]) |
            (character == own[3])) &
           ((next == others[0]) | (next == others[1]) | (next == others[2]) | (next == others[3]));
  }

  char characters[kMost] = {};
};

/// A compiled pattern. Built by one thread, it may be used by any number at once.
class CPatternT {
public:
  static constexpr std::int64_t kDeepestNesting = 500;
  static constexpr std::int64_t kDeepestRecursion = 3000;

  /// A pattern that never matches.
  CPatternT() = default;

  /// Compiles a zero-terminated pattern; null gives a pattern that never matches.
  explicit CPatternT(const char* pattern, std::uint32_t flags = 0);

  CPatternT(const CPatternT&) = delete;
  CPatternT& operator=(const CPatternT&) = delete;
  ~CPatternT();

  /// Clears the object and compiles anew. The text is not needed any more afterwards.
  void Compile(const char* pattern, std::ptrdiff_t length, std::uint32_t flags = 0);

  /// Searches a text from `start` on; a negative start is the text's start, or its end for a
  /// pattern from right to left. With a context the search can be taken up again after its match.
  CMatchResult Match(const char* text, std::int64_t length, std::int64_t start = -1,
                     CMatchContext* context = nullptr) const;

  /// The same for a zero-terminated text.
  CMatchResult Match(const char* text) const;

  /// Prepares a context for a series of searches over one text, which has to stay. Where none is
  /// given a new one is made, which the caller deletes.
  CMatchContext* PrepareMatch(const char* text, std::int64_t length, std::int64_t start = -1,
                              CMatchContext* context = nullptr) const;

  /// The first match of a prepared context, or the one after its last.
  CMatchResult Match(CMatchContext& context) const;

  /// The highest group number in use.
  std::int64_t GroupCount() const { return m_groupCount; }
  std::int64_t NamedGroupCount() const { return m_namedGroupCount; }

  /// Whether the pattern nests groups, or classes, deeper than `kDeepestNesting`, which the call
  /// stack may not hold. Such a pattern never matches.
  bool IsTooDeep() const { return m_isTooDeep; }

  /// Whether a group or a class is not closed, or a ")" closes nothing. What such a pattern means
  /// is fixed all the same; who asks a person for one may refuse it.
  bool IsUnbalanced() const { return m_isUnbalanced; }

  /// The named groups in the order of the pattern, each with its number.
  std::vector<std::pair<std::string, std::int64_t>> NamedGroups() const;

  /// Takes the long way from now on, for comparing.
  void ForgetShortcuts();

  /// The top of the tree; null for a pattern that never matches. Owned by the pattern.
  const ElxInterface* Root() const { return m_root; }

private:
  struct Token {
    char character = '\0';
    std::int32_t kind = kControl;
    std::int64_t position = 0;
    std::int64_t length = 0;

    bool Is(char control) const { return kind == kControl && character == control; }
    bool IsLiteral() const { return kind == kLiteral; }
    bool IsEnd() const { return Is('\0'); }
  };
  static constexpr std::int32_t kLiteral = 0;
  static constexpr std::int32_t kControl = 1;

  /// Where the scanner stands, with the tokens in view.
  struct Lexer {
    Token previous;
    Token current;
    Token next;
    Token afterNext;
    std::int64_t position = 0;
    std::int32_t depth = 0;
    std::int32_t quote = 0;
    int (*convert)(int) = nullptr;
  };

  /// Counts a level of nesting while it lives.
  class Nesting;

  static constexpr std::size_t kStockCount = 17;

  /// What a search may leave out; Shortcuts.h says what each demands.
  struct Shortcuts {
    static constexpr unsigned char kFirst = 1;
    static constexpr unsigned char kSecond = 2;

    bool isBeginningKnown = false;
    std::array<bool, 256> beginning{};  // The characters that a match can begin with.
    std::int32_t onlyBeginning = -1;    // The one of them, where it is one.
    const CBufferT<char>* leadingText = nullptr;
    bool isSecondKnown = false;
    std::array<unsigned char, 256> places{};  // Whether a character may be first, or second.
    std::optional<FewCharacters> fewFirst;    // The same, where they are few.
    std::optional<FewCharacters> fewSecond;
    std::int32_t required = -1;
    bool isBoundToTextStart = false;
    bool isStraight = false;
    const std::array<bool, 256>* leadingRun = nullptr;
  };

  void Clear();

  // Scanner.cpp
  void NextToken();
  void EndPattern();
  bool ScanToken();
  bool ScanQuoted();
  bool ScanPlain(char character);
  bool ScanEscape();
  bool ScanHexadecimal(char letter);
  bool SkipComment();
  void Take(char character, std::int32_t kind, std::int64_t length);
  char PatternAt(std::int64_t position) const;

  // Compiler.cpp
  template <class Element>
  Element* Keep(std::unique_ptr<Element> element);
  ElxInterface* Stock(std::size_t index);
  ElxInterface* MakeStock(std::size_t index);
  ElxInterface* BuildAlternative(std::uint32_t flags);
  ElxInterface* BuildList(std::uint32_t& flags);
  ElxInterface* BuildRepeat(std::uint32_t& flags);
  ElxInterface* BuildSimple(std::uint32_t& flags);
  ElxInterface* BuildBoundary(std::uint32_t flags);
  ElxInterface* BuildBackref(std::uint32_t flags);
  bool ReadQuantifier(std::int64_t& minimum, std::int64_t& maximum);
  void ReadBraces(std::int64_t& minimum, std::int64_t& maximum);
  std::int64_t ReadDigits();
  std::string ReadName(char closing);

  // Classes.cpp
  ElxInterface* BuildCharacterClass(std::uint32_t flags);
  ElxInterface* BuildStockClass(std::uint32_t flags);
  ElxInterface* BuildPosixClass(std::uint32_t flags);
  void AddClassItem(CRangeElxT<char>& range, std::uint32_t flags);

  // GroupBuilder.cpp
  ElxInterface* BuildGroup(std::uint32_t& flags);
  ElxInterface* BuildGroupContent(std::uint32_t& flags);
  ElxInterface* BuildExtension(std::uint32_t& flags);
  ElxInterface* BuildCapture(std::uint32_t flags);
  ElxInterface* BuildNamedGroup(std::uint32_t flags);
  ElxInterface* BuildAssertion(std::uint32_t flags);
  ElxInterface* BuildCondition(std::uint32_t& flags);
  ElxInterface* BuildRecursion();
  ElxInterface* BuildFlags(std::uint32_t& flags);
  CListElxT<0>* MakeBracketed(std::int64_t group, std::uint32_t flags);
  void EnterGroup(std::int64_t group, ElxInterface* list);

  // References.cpp
  class NameTable;
  void ResolveReferences();
  void NumberNamedGroups(NameTable& names);
  void ResolveRecursions(const NameTable& names);
  void ResolveNames(const NameTable& names);

  // Shortcuts.cpp
  void FindShortcuts();
  void FindBeginning();
  std::int64_t NextPosition(const CMatchContext& context) const;
  std::int64_t PassOver(const CMatchContext& context, std::int64_t& required) const;
  std::int64_t PassOverFromRight(const CMatchContext& context) const;
  std::int64_t PassOverBeginnings(const CMatchContext& context) const;
  std::int64_t PassOverPairs(const CMatchContext& context) const;

  // Search.cpp
  bool MatchHere(CMatchContext& context) const;
  CMatchResult MakeResult(const CMatchContext& context) const;

  ElxInterface* m_root = nullptr;
  std::uint32_t m_flags = 0;
  std::ptrdiff_t m_groupCount = 0;
  std::ptrdiff_t m_namedGroupCount = 0;
  std::ptrdiff_t m_numberedTableSize = 0;
  CBufferT<ElxInterface*> m_objects;
  CBufferT<ElxInterface*> m_groups;
  CBufferT<CDelegateElxT<char>*> m_recursions;
  CBufferT<CListElxT<0>*> m_namedGroups;
  CBufferT<CBackrefElxT<char>*> m_namedBackrefs;
  CBufferT<CConditionElxT<char>*> m_namedConditions;
  CBufferRefT<char> m_pattern;
  Lexer m_lexer;
  std::array<ElxInterface*, kStockCount> m_stock{};
  std::int64_t m_nesting = 0;
  std::int64_t m_deepest = 1;
  bool m_isTooDeep = false;
  bool m_isUnbalanced = false;
  Shortcuts m_shortcuts;
};

}  // namespace Pirsk::Regex
