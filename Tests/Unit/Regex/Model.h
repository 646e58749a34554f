#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A pattern matcher without any shortcut, to hold the engine against. It shares nothing with the
/// engine: the whole pattern is cut into tokens first, elements are nodes of one kind, and every
/// step is the plainest that does what is required, whatever it costs.
namespace Pirsk::Regex::Testing {

/// Start and end of all groups, the whole match first; -1 for a group that took no part. Empty
/// without a match.
using Spans = std::vector<std::pair<std::int64_t, std::int64_t>>;

class Model {
public:
  Model(const std::string& pattern, std::uint32_t flags);

  /// Starts a series of searches over a text.
  void Prepare(const std::string& text, std::int64_t start);

  /// The next match; nothing when it takes more steps or nests deeper than there is time for.
  std::optional<Spans> Next(std::int64_t steps);

  std::int64_t Position() const { return m_position; }
  std::int64_t SearchStart() const { return m_begin; }

private:
  enum class Kind {
    kEmpty,
    kGlobal,
    kBoundary,
    kString,
    kSet,
    kList,
    kAlternative,
    kAssertion,
    kIndependent,
    kCondition,
    kRecursion,
    kReference,
    kOpening,
    kClosing,
    kRepeat,
    kGreedy,
    kReluctant,
    kPossessive,
  };

  struct Node {
    Kind kind = Kind::kEmpty;
    std::vector<Node*> parts;  // Items, branches, the inner node, embedded classes.
    std::string text;          // Of a string, or a name.
    std::array<bool, 256> set{};
    std::int64_t number = -1;  // Group, boundary type, or minimum of a loop.
    std::int64_t span = 0;
    bool isFromRight = false;
    bool ignoresCase = false;
    bool sense = true;
    Node* assertion = nullptr;
    Node* yes = nullptr;
    Node* no = nullptr;
  };

  struct Token {
    char character = '\0';
    bool isControl = true;
    std::size_t position = 0;

    bool Is(char control) const { return isControl && character == control; }
  };

  // Cutting into tokens.
  void Scan(std::uint32_t flags);
  std::size_t ScanEscape(std::size_t at, int depth);
  void Add(char character, bool isControl, std::size_t position);

  // Reading.
  const Token& At(std::size_t ahead = 0) const;
  Node* Make(Kind kind);
  Node* ReadAlternative(std::uint32_t flags);
  Node* ReadList(std::uint32_t& flags);
  Node* ReadRepeat(std::uint32_t& flags);
  Node* ReadSimple(std::uint32_t& flags);
  Node* ReadBoundary(std::uint32_t flags);
  Node* ReadReference(std::uint32_t flags);
  Node* ReadClass(std::uint32_t flags);
  Node* ReadNamedClass(std::uint32_t flags);
  Node* ReadGroup(std::uint32_t& flags);
  Node* ReadExtension(std::uint32_t& flags);
  Node* ReadCapture(std::int64_t number, std::uint32_t flags);
  Node* ReadNamedGroup(std::uint32_t flags);
  Node* ReadCondition(std::uint32_t& flags);
  Node* ReadRecursion();
  Node* ReadFlags(std::uint32_t& flags);
  std::string ReadName();
  std::int64_t ReadDigits();
  Node* Stock(char letter, bool isFromRight, bool isSingleLine);

  // Numbers of names.
  void Resolve();
  std::int64_t NumberOf(const std::string& name, std::size_t before) const;
  static Node* BracketOf(const Node& list, Kind kind);

  // Matching.
  bool Match(const Node& node);
  bool MatchNext(const Node& node);
  bool MatchCharacter(const Node& node);
  bool Holds(const Node& node, char character) const;
  bool MatchBoundary(const Node& node) const;
  bool MatchString(const Node& node);
  bool MatchReference(const Node& node);
  bool MatchItems(const Node& node, std::size_t done);
  bool MatchBranches(const Node& node, std::size_t branch);
  bool MatchCondition(const Node& node);
  bool MatchConditionNext(const Node& node);
  bool MatchCopies(const Node& node, std::int64_t done);
  bool MatchCopiesNext(const Node& node);
  std::int64_t Iterate(const Node& node, std::int64_t count);
  void Extend(const Node& node);
  bool Retreat(const Node& node);
  bool Advance(const Node& node);
  void Open(std::int64_t group);
  void Close(std::int64_t group);
  void UndoOpen(std::int64_t group);
  void UndoClose(std::int64_t group);
  std::int64_t NewestRecord(std::int64_t group) const;
  void Push(std::int64_t value) { m_stack.push_back(value); }
  std::int64_t Pop();
  bool IsSame(char left, char right, bool ignoresCase) const;

  std::string m_pattern;
  std::uint32_t m_flags;
  std::vector<Token> m_tokens;
  std::size_t m_at = 0;
  std::vector<std::unique_ptr<Node>> m_nodes;
  Node* m_root = nullptr;
  std::int64_t m_groups = 0;
  std::vector<Node*> m_captures;  // Lists of the groups without a name, in the order of numbers.
  std::vector<Node*> m_named;     // Lists of the groups with one, in the order of the pattern.
  std::vector<Node*> m_recursions;
  std::vector<Node*> m_references;
  std::vector<Node*> m_conditions;

  struct Record {
    std::int64_t group;
    std::int64_t begin;
    std::int64_t end;
    std::int64_t serial;
  };

  std::string m_text;
  std::int64_t m_position = 0;
  std::int64_t m_begin = 0;
  std::int64_t m_allowance = 0;
  std::int64_t m_serial = 0;
  std::int64_t m_steps = 0;
  std::int64_t m_depth = 0;
  std::vector<std::int64_t> m_stack;
  std::vector<Record> m_records;  // With those that have been dropped: a reference may read them.
  std::size_t m_recordCount = 0;
  std::vector<std::int64_t> m_newest;  // By group; -1 for none.
};

}  // namespace Pirsk::Regex::Testing
