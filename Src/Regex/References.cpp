#include "Regex/Builder.h"

namespace Pirsk::Regex {

void CPatternT::NumberNamedGroups() {
  for (std::ptrdiff_t i = 0; i < m_namedGroups.Size(); ++i) {
    const CListElxT<0>& list = *m_namedGroups[i];
    m_groups.Push(m_namedGroups[i]);
    CBracketElxT<char>& opening = *OpeningBracket(list);
    if (opening.m_group < 0) {
      // Groups of one name are one group.
      const std::int64_t earlier = GetNamedNumber(opening.m_name, i);
      opening.m_group = earlier >= 0 ? earlier : ++m_groupCount;
    }
    ClosingBracket(list)->m_group = opening.m_group;
  }
  // A numeric name may be above the rest.
  for (std::ptrdiff_t i = 0; i < m_namedGroups.Size(); ++i)
    m_groupCount =
        std::max<std::ptrdiff_t>(m_groupCount, OpeningBracket(*m_namedGroups[i])->m_group);
}

// The number of the first of so many named groups with this name, in any case; -3 for none.
std::int64_t CPatternT::GetNamedNumber(const CBufferT<char>& name, std::ptrdiff_t before) const {
  for (std::ptrdiff_t i = 0; i < before; ++i) {
    const CBracketElxT<char>& opening = *OpeningBracket(*m_namedGroups[i]);
    if (opening.m_name.Size() == name.Size() && opening.m_name.CompareNoCase(name.Data()) == 0)
      return opening.m_group;
  }
  return CDelegateElxT<char>::kPendingName;
}

void CPatternT::ResolveRecursions() {
  for (std::ptrdiff_t i = 0; i < m_recursions.Size(); ++i) {
    CDelegateElxT<char>& recursion = *m_recursions[i];
    if (recursion.m_group == CDelegateElxT<char>::kPendingName)
      recursion.m_group = GetNamedNumber(recursion.m_name, m_namedGroups.Size());
    if (recursion.m_group < 0 || recursion.m_group > m_groupCount) continue;
    if (recursion.m_group == 0) {
      recursion.m_target = m_root;
      continue;
    }
    for (std::ptrdiff_t entry = 1; entry < m_groups.Size() && recursion.m_target == nullptr;
         ++entry) {
      if (m_groups[entry] == nullptr) continue;
      const auto& list = static_cast<const CListElxT<0>&>(*m_groups[entry]);
      if (OpeningBracket(list)->m_group == recursion.m_group) recursion.m_target = m_groups[entry];
    }
  }
}

void CPatternT::ResolveNames() {
  for (std::ptrdiff_t i = 0; i < m_namedBackrefs.Size(); ++i) {
    CBackrefElxT<char>& reference = *m_namedBackrefs[i];
    reference.m_group = GetNamedNumber(reference.m_name, m_namedGroups.Size());
  }
  for (std::ptrdiff_t i = 0; i < m_namedConditions.Size(); ++i) {
    CConditionElxT<char>& condition = *m_namedConditions[i];
    const std::int64_t group = GetNamedNumber(condition.m_name, m_namedGroups.Size());
    if (group < 0) continue;
    condition.m_group = group;
    condition.m_assertion = nullptr;
  }
}

}  // namespace Pirsk::Regex
