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

private:
  void AddList(const CListElxT<0>& list, bool isRightToLeft);
  void AddAlternative(const CAlternativeElxT<0>& alternative, bool isRightToLeft);
  void AddRepeat(const CRepeatElxT<0>& repeat, bool isRightToLeft);
  void AddString(const CStringElxT<char>& string);
  void AddCharacter(const CharacterElx& element);
};

/// Whether an element matches at the begin of the text alone: it begins with that boundary.
bool IsBoundToTextBegin(const ElxInterface* element);

}  // namespace Pirsk::Regex
