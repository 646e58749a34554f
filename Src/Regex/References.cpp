#include "Regex/Builder.h"

#include <unordered_map>
#include <unordered_set>

namespace Pirsk::Regex {

namespace {

// Names that are the same in any case have one key.
std::string KeyOf(const CBufferT<char>& name) {
  std::string key(name.Data(), static_cast<std::size_t>(name.Size()));
  std::transform(key.begin(), key.end(), key.begin(), &ToUpper);
  return key;
}

}  // namespace

/// The numbers of the named groups, the first of each name.
class CPatternT::NameTable {
public:
  /// Of no effect for a name that has a number.
  void Add(const CBufferT<char>& name, std::int64_t number) {
    m_numbers.try_emplace(KeyOf(name), number);
  }

  /// -3 for a name that no group has.
  std::int64_t GetNamedNumber(const CBufferT<char>& name) const {
    const auto found = m_numbers.find(KeyOf(name));
    return found != m_numbers.end() ? found->second : CDelegateElxT<char>::kPendingName;
  }

private:
  std::unordered_map<std::string, std::int64_t> m_numbers;
};

void CPatternT::ResolveReferences() {
  NameTable names;
  NumberNamedGroups(names);
  ResolveRecursions(names);
  ResolveNames(names);
}

void CPatternT::NumberNamedGroups(NameTable& names) {
  std::unordered_set<std::int64_t> taken;
  for (std::ptrdiff_t i = 0; i < m_namedGroups.Size(); ++i)
    taken.insert(OpeningBracket(*m_namedGroups[i])->m_group);
  std::int64_t last = m_groupCount;
  for (std::ptrdiff_t i = 0; i < m_namedGroups.Size(); ++i) {
    const CListElxT<0>& list = *m_namedGroups[i];
    m_groups.Push(m_namedGroups[i]);
    CBracketElxT<char>& opening = *OpeningBracket(list);
    // Groups of one name are one group; a number that a numeric name has taken is not free.
    if (opening.m_group < 0) opening.m_group = names.GetNamedNumber(opening.m_name);
    if (opening.m_group < 0) {
      do ++last;
      while (taken.contains(last));
      opening.m_group = last;
    }
    names.Add(opening.m_name, opening.m_group);
    ClosingBracket(list)->m_group = opening.m_group;
    m_groupCount = std::max<std::ptrdiff_t>(m_groupCount, opening.m_group);
  }
}

void CPatternT::ResolveRecursions(const NameTable& names) {
  std::unordered_map<std::int64_t, ElxInterface*> lists;
  for (std::ptrdiff_t entry = 1; entry < m_groups.Size(); ++entry) {
    const auto& list = static_cast<const CListElxT<0>&>(*m_groups[entry]);
    lists.try_emplace(OpeningBracket(list)->m_group, m_groups[entry]);
  }
  lists[0] = m_root;
  for (std::ptrdiff_t i = 0; i < m_recursions.Size(); ++i) {
    CDelegateElxT<char>& recursion = *m_recursions[i];
    if (recursion.m_group == CDelegateElxT<char>::kPendingName)
      recursion.m_group = names.GetNamedNumber(recursion.m_name);
    const auto found = lists.find(recursion.m_group);
    if (found != lists.end()) recursion.m_target = found->second;
  }
}

void CPatternT::ResolveNames(const NameTable& names) {
  for (std::ptrdiff_t i = 0; i < m_namedBackrefs.Size(); ++i) {
    CBackrefElxT<char>& reference = *m_namedBackrefs[i];
    reference.m_group = names.GetNamedNumber(reference.m_name);
  }
  for (std::ptrdiff_t i = 0; i < m_namedConditions.Size(); ++i) {
    CConditionElxT<char>& condition = *m_namedConditions[i];
    const std::int64_t group = names.GetNamedNumber(condition.m_name);
    if (group < 0) continue;
    condition.m_group = group;
    condition.m_assertion = nullptr;
  }
}

std::vector<std::pair<std::string, std::int64_t>> CPatternT::NamedGroups() const {
  std::vector<std::pair<std::string, std::int64_t>> groups;
  for (std::ptrdiff_t i = 0; i < m_namedGroups.Size(); ++i) {
    if (m_namedGroups[i] == nullptr) continue;
    const CBracketElxT<char>& opening = *OpeningBracket(*m_namedGroups[i]);
    groups.emplace_back(
        std::string(opening.m_name.Data(), static_cast<std::size_t>(opening.m_name.Size())),
        opening.m_group);
  }
  return groups;
}

}  // namespace Pirsk::Regex
