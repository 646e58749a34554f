#pragma once

#include "Regex/Elements.h"

namespace Pirsk::Regex {

/// The characters with which a match of elements can begin, found without a text.
struct Beginning {
  std::array<bool, 256> set{};
  bool mayBeEmpty = true;  ///< They may match without taking a character.
  bool isUnknown = false;  ///< Nothing can be told.

  /// Takes in an element that stands behind those taken in, in the order of matching.
  void Add(const ElxInterface* element, bool isRightToLeft);

  /// Takes in what is known of that which stands behind.
  void Add(const Beginning& behind);

  /// Whether a match of what was taken in begins with a character of the set, and none else.
  bool IsKnown() const { return !mayBeEmpty && !isUnknown; }

private:
  void AddList(const CListElxT<0>& list, bool isRightToLeft);
  void AddAlternative(const CAlternativeElxT<0>& alternative, bool isRightToLeft);
  void AddRepeat(const CRepeatElxT<0>& repeat, bool isRightToLeft);
  void AddString(const CStringElxT<char>& string);
  void AddCharacter(const CharacterElx& element);
};

/// Tells every loop over one character below an element with which characters that may begin what
/// stands behind it: it need not offer other ends, where that cannot match. `behind` is what stands
/// behind the element itself. Only for patterns in which an attempt that fails leaves nothing
/// behind.
void TellLoopsWhatFollows(ElxInterface* element, const Beginning& behind);

/// The unbounded loop over one character that an element begins with, null if it does not.
const CGreedyElxT<0>* LeadingLoop(const ElxInterface* element);

/// Whether an element has at most one way to match at a position.
bool HasOneWay(const ElxInterface* element);

/// Whether an element matches at the begin of the text alone: it begins with that boundary.
bool IsBoundToTextBegin(const ElxInterface* element);

}  // namespace Pirsk::Regex
