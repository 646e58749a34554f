#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace Pirsk::Regex::Testing {

/// A pattern over the letters a and b that means the same to every engine, with what is known of
/// it.
struct Expression {
  static constexpr int kAnyLength = 1000;

  enum Precedence { kAtom, kRepeat, kSequence, kBranches };

  std::string text;
  std::string mirror;  ///< The same from the other side; of patterns with references none.
  std::vector<int> mirrorOrder;  ///< Groups in the order in which they open in the mirror.
  Precedence precedence = kAtom;
  bool mayBeEmpty = false;      ///< It may match without a character.
  bool isCharacter = false;     ///< It always takes one character, in one way.
  bool hasChoice = false;       ///< It may have another way to go back to.
  int shortest = 0;             ///< How many characters it takes at least.
  int longest = 0;              ///< And at most; `kAnyLength` for more than can be known.
  bool hasEmptyLoop = false;    ///< A loop over choices or groups that may be empty.
  bool hasLengthsLoop = false;  ///< A loop over choices of several lengths.
  bool hasGroupLoop = false;    ///< A group that is repeated.
  bool hasReference = false;    ///< A reference to a group.
};

/// What the groups and references of such a pattern have to do with each other.
struct GroupFacts {
  bool hasReferenceToOpenGroup = false;  ///< A reference within the group that it refers to.
  /// A reference to a group of an assertion, an independent group or a possessive loop.
  bool hasReferenceIntoOneWay = false;
  bool hasGroupInNegation = false;  ///< A group in a negative assertion.
};

GroupFacts FactsOf(const std::string& pattern);

/// All expressions up to a size: letters, ".", anchors, groups, loops, sequences, branches.
std::vector<Expression> AllExpressions(int size);

/// A random expression of about this size, with assertions, references and classes as well.
Expression RandomExpression(std::mt19937& random, int size);

}  // namespace Pirsk::Regex::Testing
