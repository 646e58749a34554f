#pragma once

#include "Regex/Elements.h"

/// What a search may leave out without another result.
///
/// Each element answers for itself the questions of `ElxInterface` below `MatchStraight`; an answer
/// that it does not give is the one that allows nothing. `CPatternT::FindShortcuts` puts the
/// answers together. It is the one place that decides, and these are the shortcuts and what each
/// demands:
///
/// - *Known beginning*: positions are passed over whose character no match begins with. Attempts at
///   different positions never depend on each other, so that any pattern may have it.
///   Looks for the whole text where all matches begin with one, and at a second character where
///   that is known; for many positions at once where the characters are few.
/// - *Required character*: the search ends where a character that each match takes comes no more.
///   From left to right, since what is looked for lies ahead; a search looks no further than the
///   end of its match or the end of the text, so that a series of searches stays linear.
/// - *Bound to the start*: positions after the first are passed over. Demands that the pattern
///   begins with that boundary, from left to right.
/// - *Straight attempt*: what an attempt that fails has done is not undone, but thrown away.
///   Demands that each element of the pattern has one way.
/// - *Ends before what follows*: a loop over one character does not offer an end before a character
///   or a text with which the rest cannot begin. Demands a plain pattern: an attempt of the rest
///   that fails could otherwise leave a capture that a later one reads.
/// - *Known extension*: a greedy loop that has gone back into an iteration does not extend itself
///   again from a position from which it has done so: it would reach the same end. Demands a plain
///   pattern and a loop without an upper bound.
/// - *Group of one character*: a greedy loop over a group, or an alternative, whose matches are one
///   character counts characters, and captures the last iteration alone. Demands a plain pattern.
/// - *Leading run*: after a failed attempt the search goes on after the characters of the unbounded
///   loop that the pattern begins with, whose ends have all been tried. Demands a plain pattern,
///   from left to right.
namespace Pirsk::Regex {

/// The characters with which a match of elements can begin, found without a text.
struct Beginning {
  std::array<bool, 256> set{};
  bool mayBeEmpty = true;                ///< They may match without taking a character.
  bool isUnknown = false;                ///< Nothing is known.
  const CBufferT<char>* text = nullptr;  ///< The text that they begin with, from left to right.

  /// Takes in an element that comes after those taken in, in the order of matching.
  void Add(const ElxInterface& element);

  /// Takes in what is known of that which comes after.
  void Add(const Beginning& following);

  void AddToSet(const std::array<bool, 256>& characters);

  /// Whether no character was taken in.
  bool IsSetEmpty() const { return std::find(set.begin(), set.end(), true) == set.end(); }

  /// Whether a match of what was taken in begins with a character of the set, and no other.
  bool IsKnown() const { return !mayBeEmpty && !isUnknown; }
};

}  // namespace Pirsk::Regex
