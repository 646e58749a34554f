#include "Expression.h"

#include <algorithm>
#include <iterator>

namespace Pirsk::Regex::Testing {

namespace {

using Order = std::vector<int>;

struct Quantifier {
  const char* text;
  int minimum;
  bool isVariable;
  bool isGreedy;  // And with a way back.
};

constexpr Quantifier kQuantifiers[] = {
    {"*", 0, true, true},       {"+", 1, true, true},     {"?", 0, true, true},
    {"*?", 0, true, false},     {"+?", 1, true, false},   {"??", 0, true, false},
    {"*+", 0, true, false},     {"{2}", 2, false, false}, {"{1,2}", 1, true, true},
    {"{0,2}?", 0, true, false},
};

Expression Character(const std::string& text) {
  Expression made;
  made.text = made.mirror = text;
  made.isCharacter = true;
  made.shortest = made.longest = 1;
  return made;
}

Expression Anchor(const std::string& text, const std::string& mirror) {
  Expression made;
  made.text = text;
  made.mirror = mirror;
  made.mayBeEmpty = true;
  return made;
}

int Limited(int length) { return std::min(length, Expression::kAnyLength); }

// Takes over what is known of a part.
void AddKnowledge(Expression& whole, const Expression& part) {
  whole.hasEmptyLoop = whole.hasEmptyLoop || part.hasEmptyLoop;
  whole.hasLengthsLoop = whole.hasLengthsLoop || part.hasLengthsLoop;
  whole.hasGroupLoop = whole.hasGroupLoop || part.hasGroupLoop;
  whole.hasChoice = whole.hasChoice || part.hasChoice;
  whole.hasReference = whole.hasReference || part.hasReference;
}

Order Shifted(const Order& order, std::size_t distance) {
  Order shifted = order;
  for (int& group : shifted) group += static_cast<int>(distance);
  return shifted;
}

// As an operand that binds at least so tightly.
std::string Bound(const std::string& text, const Expression& expression,
                  Expression::Precedence precedence) {
  return expression.precedence > precedence ? "(?:" + text + ")" : text;
}

Expression Group(const Expression& inner) {
  Expression made = inner;
  made.text = "(" + inner.text + ")";
  made.mirror = "(" + inner.mirror + ")";
  made.mirrorOrder = {0};
  const Order rest = Shifted(inner.mirrorOrder, 1);
  made.mirrorOrder.insert(made.mirrorOrder.end(), rest.begin(), rest.end());
  made.precedence = Expression::kAtom;
  made.isCharacter = false;
  return made;
}

Expression Repeated(const Expression& inner, const Quantifier& quantifier) {
  Expression made = inner;
  made.text = Bound(inner.text, inner, Expression::kAtom) + quantifier.text;
  made.mirror = Bound(inner.mirror, inner, Expression::kAtom) + quantifier.text;
  made.precedence = Expression::kRepeat;
  made.mayBeEmpty = inner.mayBeEmpty || quantifier.minimum == 0;
  made.isCharacter = false;
  made.shortest = Limited(inner.shortest * quantifier.minimum);
  made.longest = quantifier.isVariable ? Expression::kAnyLength : Limited(inner.longest * 2);
  made.hasChoice = inner.hasChoice || quantifier.isVariable;
  const bool hasGroup = !inner.mirrorOrder.empty();
  made.hasGroupLoop = inner.hasGroupLoop || hasGroup;
  if (!quantifier.isVariable) return made;
  made.hasEmptyLoop = inner.hasEmptyLoop || (inner.mayBeEmpty && (inner.hasChoice || hasGroup));
  made.hasLengthsLoop =
      inner.hasLengthsLoop || (inner.hasChoice && inner.shortest != inner.longest);
  return made;
}

Expression Sequence(const Expression& first, const Expression& second) {
  Expression made;
  made.text = Bound(first.text, first, Expression::kSequence) +
              Bound(second.text, second, Expression::kSequence);
  made.mirror = Bound(second.mirror, second, Expression::kSequence) +
                Bound(first.mirror, first, Expression::kSequence);
  made.mirrorOrder = Shifted(second.mirrorOrder, first.mirrorOrder.size());
  made.mirrorOrder.insert(made.mirrorOrder.end(), first.mirrorOrder.begin(),
                          first.mirrorOrder.end());
  made.precedence = Expression::kSequence;
  made.mayBeEmpty = first.mayBeEmpty && second.mayBeEmpty;
  made.shortest = Limited(first.shortest + second.shortest);
  made.longest = Limited(first.longest + second.longest);
  AddKnowledge(made, first);
  AddKnowledge(made, second);
  return made;
}

Expression Branches(const Expression& first, const Expression& second) {
  Expression made;
  made.text = first.text + "|" + second.text;
  made.mirror = first.mirror + "|" + second.mirror;
  made.mirrorOrder = first.mirrorOrder;
  const Order rest = Shifted(second.mirrorOrder, first.mirrorOrder.size());
  made.mirrorOrder.insert(made.mirrorOrder.end(), rest.begin(), rest.end());
  made.precedence = Expression::kBranches;
  made.mayBeEmpty = first.mayBeEmpty || second.mayBeEmpty;
  made.shortest = std::min(first.shortest, second.shortest);
  made.longest = std::max(first.longest, second.longest);
  AddKnowledge(made, first);
  AddKnowledge(made, second);
  made.hasChoice = true;
  return made;
}

// Without a mirror.
Expression Enclosed(const char* begin, const Expression& inner, bool takesNothing) {
  Expression made = inner;
  made.text = begin + inner.text + ")";
  made.precedence = Expression::kAtom;
  made.isCharacter = false;
  made.mayBeEmpty = inner.mayBeEmpty || takesNothing;
  if (takesNothing) made.shortest = made.longest = 0;
  return made;
}

const std::vector<Expression>& Atoms() {
  static const std::vector<Expression> atoms = {Character("a"), Character("b"), Character("."),
                                                Anchor("^", "$"), Anchor("$", "^")};
  return atoms;
}

int Below(std::mt19937& random, std::size_t bound) { return static_cast<int>(random() % bound); }

Expression RandomAtom(std::mt19937& random) {
  switch (Below(random, 12)) {
    case 0:
      return Anchor("^", "$");
    case 1:
      return Anchor("$", "^");
    case 2:
      return Anchor("\\b", "\\b");
    case 3:
      return Anchor("\\B", "\\B");
    case 4:
      return Character("[ab]");
    case 5:
      return Character("[^a]");
    case 6:
      return Character("\\w");
    case 7: {
      Expression made;
      made.text = "\\" + std::to_string(1 + Below(random, 2));
      made.mayBeEmpty = made.hasReference = true;
      made.longest = Expression::kAnyLength;
      return made;
    }
    case 8:
      return Character(".");
    default:
      return Character(Below(random, 2) == 0 ? "a" : "b");
  }
}

}  // namespace

GroupFacts FactsOf(const std::string& pattern) {
  struct Bracket {
    int group;         // 0 for one without a number.
    int groupsBefore;  // How many groups had been opened before it.
    bool isOneWay;     // Assertion or independent group.
    bool isNegation;
  };
  GroupFacts facts;
  std::vector<Bracket> open;
  std::vector<int> oneWay;  // Groups that lie in something with one way alone.
  std::vector<int> references;
  int groups = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '(') {
      const bool isNumbered = pattern.compare(i, 2, "(?") != 0;
      const char kind = isNumbered ? '\0' : pattern[i + 2];
      open.push_back({isNumbered ? ++groups : 0, groups - (isNumbered ? 1 : 0),
                      kind == '=' || kind == '!' || kind == '>', kind == '!'});
    } else if (pattern[i] == ')') {
      const Bracket closed = open.back();
      open.pop_back();
      const std::size_t after = i + 1;
      const bool isPossessive = pattern.compare(after, 2, "*+") == 0;
      if (closed.isOneWay || isPossessive)
        for (int group = closed.groupsBefore + 1; group <= groups; ++group) oneWay.push_back(group);
      if (closed.isNegation && groups > closed.groupsBefore) facts.hasGroupInNegation = true;
    } else if (pattern[i] == '\\') {
      const int number = pattern[++i] - '0';
      if (number < 1 || number > 9) continue;
      references.push_back(number);
      for (const Bracket& bracket : open)
        if (bracket.group == number) facts.hasReferenceToOpenGroup = true;
    }
  }
  for (const int number : references)
    if (std::find(oneWay.begin(), oneWay.end(), number) != oneWay.end())
      facts.hasReferenceIntoOneWay = true;
  return facts;
}

std::vector<Expression> AllExpressions(int size) {
  std::vector<std::vector<Expression>> ofSize = {{}, Atoms()};
  for (int n = 2; n <= size; ++n) {
    std::vector<Expression> made;
    for (const Expression& inner : ofSize[static_cast<std::size_t>(n) - 1]) {
      made.push_back(Group(inner));
      // Engines do not agree on what a quantifier after an anchor or another one is.
      const bool isAnchor = inner.mayBeEmpty && inner.text.size() == 1;
      if (inner.precedence != Expression::kAtom || isAnchor) continue;
      for (const Quantifier& quantifier : kQuantifiers) made.push_back(Repeated(inner, quantifier));
    }
    for (int left = 1; left < n; ++left)
      for (const Expression& first : ofSize[static_cast<std::size_t>(left)])
        for (const Expression& second : ofSize[static_cast<std::size_t>(n - left)])
          if (first.precedence != Expression::kSequence) made.push_back(Sequence(first, second));
    for (int left = 1; left < n - 1; ++left)
      for (const Expression& first : ofSize[static_cast<std::size_t>(left)])
        for (const Expression& second : ofSize[static_cast<std::size_t>(n - 1 - left)])
          if (first.precedence != Expression::kBranches) made.push_back(Branches(first, second));
    ofSize.push_back(std::move(made));
  }
  std::vector<Expression> all;
  for (std::vector<Expression>& expressions : ofSize)
    std::move(expressions.begin(), expressions.end(), std::back_inserter(all));
  return all;
}

Expression RandomExpression(std::mt19937& random, int size) {
  if (size <= 1) return RandomAtom(random);
  switch (Below(random, 10)) {
    case 0:
    case 1: {
      const int left = 1 + Below(random, static_cast<std::size_t>(size - 1));
      return Branches(RandomExpression(random, left), RandomExpression(random, size - left));
    }
    case 2:
    case 3:
      return Group(RandomExpression(random, size - 1));
    case 4:
    case 5: {
      Expression inner = RandomExpression(random, size - 1);
      if (inner.precedence != Expression::kAtom || (inner.mayBeEmpty && inner.text.size() <= 2))
        inner = Enclosed("(?:", inner, false);
      return Repeated(inner, kQuantifiers[Below(random, std::size(kQuantifiers))]);
    }
    case 6: {
      const char* const kBegins[] = {"(?=", "(?!", "(?>"};
      const int kind = Below(random, std::size(kBegins));
      return Enclosed(kBegins[kind], RandomExpression(random, size - 1), kind < 2);
    }
    default: {
      const int left = 1 + Below(random, static_cast<std::size_t>(size - 1));
      return Sequence(RandomExpression(random, left), RandomExpression(random, size - left));
    }
  }
}

}  // namespace Pirsk::Regex::Testing
