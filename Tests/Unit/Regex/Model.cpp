#include "Unit/Regex/Model.h"

#include <algorithm>
#include <cctype>

namespace Pirsk::Regex::Testing {

namespace {

struct TooLong {};

bool IsWord(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

}  // namespace

void Model::Prepare(const std::string& text, std::int64_t start) {
  m_text = text;
  const auto length = static_cast<std::int64_t>(text.size());
  const bool isFromRight = (m_flags & 16) != 0;
  if (start < 0)
    m_position = isFromRight ? length : 0;
  else if (start > length)
    m_position = isFromRight ? length : length + 1;
  else
    m_position = start;
  m_begin = m_position;
  m_serial = 0;
}

std::optional<Spans> Model::Next(std::int64_t steps) {
  const bool isFromRight = (m_flags & 16) != 0;
  const std::int64_t step = isFromRight ? -1 : 1;
  const std::int64_t stop = isFromRight ? -1 : static_cast<std::int64_t>(m_text.size()) + 1;
  m_steps = steps;
  for (; m_position != stop; m_position += step) {
    m_stack.clear();
    m_records.assign(1, {0, m_position, -1, -1});
    m_recordCount = 1;
    m_newest.assign(static_cast<std::size_t>(m_groups) + 1, -1);
    m_newest[0] = 0;
    m_allowance = 100;
    m_depth = 0;
    try {
      if (!Match(*m_root)) continue;
    } catch (const TooLong&) {
      return std::nullopt;
    }
    m_records[0].end = m_position;
    Spans spans;
    for (std::int64_t group = 0; group <= m_groups; ++group) {
      const std::int64_t record = NewestRecord(group);
      spans.emplace_back(-1, -1);
      if (record < 0) continue;
      const Record& found = m_records[static_cast<std::size_t>(record)];
      spans.back() = std::minmax(found.begin, found.end);
    }
    if (m_records[0].begin == m_position) m_position += step;
    m_begin = m_position;
    return spans;
  }
  return Spans();
}

bool Model::Match(const Node& node) {
  if (--m_steps < 0 || m_depth > 1500) throw TooLong();
  ++m_depth;
  bool isMatched = false;
  const std::int64_t position = m_position;
  const std::size_t stack = m_stack.size();
  const std::size_t records = m_recordCount;
  switch (node.kind) {
    case Kind::kEmpty:
      isMatched = true;
      break;
    case Kind::kGlobal:
      isMatched = m_position == m_begin;
      break;
    case Kind::kBoundary:
      isMatched = MatchBoundary(node) == node.sense;
      break;
    case Kind::kString:
      isMatched = MatchString(node);
      break;
    case Kind::kSet:
      isMatched = MatchCharacter(node);
      break;
    case Kind::kList:
      isMatched = MatchItems(node, 0);
      break;
    case Kind::kAlternative:
      isMatched = MatchBranches(node, 0);
      break;
    case Kind::kAssertion:
      isMatched = Match(*node.parts[0]) == node.sense;
      m_stack.resize(stack);
      m_position = position;
      if (isMatched)
        Push(static_cast<std::int64_t>(records));
      else
        m_recordCount = records;
      break;
    case Kind::kIndependent:
    case Kind::kPossessive:
      if (node.kind == Kind::kIndependent) {
        isMatched = Match(*node.parts[0]);
      } else {
        isMatched = MatchCopies(node, 0);
        if (isMatched) Extend(node);
      }
      m_stack.resize(std::min(stack, m_stack.size()));
      if (isMatched) {
        Push(position);
        Push(static_cast<std::int64_t>(records));
      }
      break;
    case Kind::kCondition:
      isMatched = MatchCondition(node);
      break;
    case Kind::kRecursion:
      if (node.parts.empty()) {
        isMatched = true;
      } else if (m_allowance >= 1) {
        --m_allowance;
        isMatched = Match(*node.parts[0]);
        ++m_allowance;
      }
      break;
    case Kind::kReference:
      isMatched = MatchReference(node);
      break;
    case Kind::kOpening:
      Open(node.number);
      isMatched = true;
      break;
    case Kind::kClosing:
      Close(node.number);
      isMatched = true;
      break;
    case Kind::kRepeat:
      isMatched = MatchCopies(node, 0);
      break;
    case Kind::kGreedy:
      isMatched = MatchCopies(node, 0);
      if (isMatched) Extend(node);
      break;
    case Kind::kReluctant:
      isMatched = MatchCopies(node, 0);
      if (isMatched) Push(0);
      break;
  }
  --m_depth;
  return isMatched;
}

bool Model::MatchNext(const Node& node) {
  if (--m_steps < 0 || m_depth > 1500) throw TooLong();
  ++m_depth;
  bool isMatched = false;
  switch (node.kind) {
    case Kind::kEmpty:
    case Kind::kGlobal:
    case Kind::kBoundary:
      break;
    case Kind::kString: {
      const auto size = static_cast<std::int64_t>(node.text.size());
      m_position += node.isFromRight ? size : -size;
      break;
    }
    case Kind::kSet:
      m_position += node.isFromRight ? 1 : -1;
      break;
    case Kind::kList: {
      std::size_t done = node.parts.size();
      for (; done > 0 && !isMatched; --done)
        isMatched = MatchNext(*node.parts[node.isFromRight ? node.parts.size() - done : done - 1]);
      if (isMatched) isMatched = MatchItems(node, done + 1);
      break;
    }
    case Kind::kAlternative: {
      const auto branch = static_cast<std::size_t>(Pop());
      if (MatchNext(*node.parts[branch])) {
        Push(static_cast<std::int64_t>(branch));
        isMatched = true;
      } else {
        isMatched = MatchBranches(node, branch + 1);
      }
      break;
    }
    case Kind::kAssertion:
      m_recordCount = static_cast<std::size_t>(Pop());
      break;
    case Kind::kIndependent:
    case Kind::kPossessive:
      m_recordCount = static_cast<std::size_t>(Pop());
      m_position = Pop();
      break;
    case Kind::kCondition:
      isMatched = MatchConditionNext(node);
      break;
    case Kind::kRecursion:
      isMatched = !node.parts.empty() && MatchNext(*node.parts[0]);
      break;
    case Kind::kReference:
      m_position = Pop();
      break;
    case Kind::kOpening:
      UndoOpen(node.number);
      break;
    case Kind::kClosing:
      UndoClose(node.number);
      break;
    case Kind::kRepeat:
      isMatched = MatchCopiesNext(node);
      break;
    case Kind::kGreedy:
      isMatched = Retreat(node);
      if (!isMatched && MatchCopiesNext(node)) {
        Extend(node);
        isMatched = true;
      }
      break;
    case Kind::kReluctant:
      isMatched = Advance(node);
      if (!isMatched && MatchCopiesNext(node)) {
        Push(0);
        isMatched = true;
      }
      break;
  }
  --m_depth;
  return isMatched;
}

std::int64_t Model::Pop() {
  if (m_stack.empty()) return 0;
  const std::int64_t value = m_stack.back();
  m_stack.pop_back();
  return value;
}

bool Model::MatchBoundary(const Node& node) const {
  const auto length = static_cast<std::int64_t>(m_text.size());
  const std::int64_t p = m_position;
  const char a = p > 0 ? m_text[static_cast<std::size_t>(p) - 1] : '\0';
  const char b = p < length ? m_text[static_cast<std::size_t>(p)] : '\0';
  const std::string rest = p < length ? m_text.substr(static_cast<std::size_t>(p)) : "";
  switch (node.number) {
    case 0:
      return p < 1;
    case 1:
      return p >= length;
    case 2:
      return p == length || rest == "\n" || rest == "\r\n";
    case 3:
      return p < 1 || a == '\n' || (a == '\r' && b != '\n');
    case 4:
      return p == length || b == '\r' || (b == '\n' && a != '\r');
    default:
      return IsWord(a) != IsWord(b);
  }
}

bool Model::IsSame(char left, char right, bool ignoresCase) const {
  if (left == right) return true;
  return ignoresCase && std::toupper(static_cast<unsigned char>(left)) ==
                            std::toupper(static_cast<unsigned char>(right));
}

bool Model::MatchString(const Node& node) {
  const auto size = static_cast<std::int64_t>(node.text.size());
  const std::int64_t place = node.isFromRight ? m_position - size : m_position;
  if (place < 0 || place + size > static_cast<std::int64_t>(m_text.size())) return false;
  for (std::size_t i = 0; i < node.text.size(); ++i)
    if (!IsSame(node.text[i], m_text[static_cast<std::size_t>(place) + i], node.ignoresCase))
      return false;
  m_position += node.isFromRight ? -size : size;
  return true;
}

bool Model::MatchCharacter(const Node& node) {
  const std::int64_t place = node.isFromRight ? m_position - 1 : m_position;
  if (place < 0 || place >= static_cast<std::int64_t>(m_text.size())) return false;
  if (!Holds(node, m_text[static_cast<std::size_t>(place)])) return false;
  m_position += node.isFromRight ? -1 : 1;
  return true;
}

bool Model::Holds(const Node& node, char character) const {
  bool isIn = node.set[static_cast<unsigned char>(character)];
  for (const Node* embedded : node.parts) isIn = isIn || Holds(*embedded, character);
  return isIn == node.sense;
}

bool Model::MatchReference(const Node& node) {
  if (node.number < 0 || node.number >= static_cast<std::int64_t>(m_newest.size())) return false;
  const std::int64_t record = m_newest[static_cast<std::size_t>(node.number)];
  if (record < 0) return false;
  const Record& found = m_records[static_cast<std::size_t>(record)];
  const auto [begin, end] = std::minmax(found.begin, found.end < 0 ? m_position : found.end);
  const std::int64_t size = end - begin;
  const std::int64_t place = node.isFromRight ? m_position - size : m_position;
  if (place < 0 || place + size > static_cast<std::int64_t>(m_text.size())) return false;
  for (std::int64_t i = 0; i < size; ++i)
    if (!IsSame(m_text[static_cast<std::size_t>(begin + i)],
                m_text[static_cast<std::size_t>(place + i)], node.ignoresCase))
      return false;
  Push(m_position);
  m_position += node.isFromRight ? -size : size;
  return true;
}

// With so many items matched, in the order of matching.
bool Model::MatchItems(const Node& node, std::size_t done) {
  const std::size_t count = node.parts.size();
  const auto item = [&](std::size_t index) -> const Node& {
    return *node.parts[node.isFromRight ? count - 1 - index : index];
  };
  while (done < count) {
    bool isMatched = Match(item(done));
    while (!isMatched) {
      if (done == 0) return false;
      --done;
      isMatched = MatchNext(item(done));
    }
    ++done;
  }
  return true;
}

bool Model::MatchBranches(const Node& node, std::size_t branch) {
  for (; branch < node.parts.size(); ++branch)
    if (Match(*node.parts[branch])) {
      Push(static_cast<std::int64_t>(branch));
      return true;
    }
  return false;
}

bool Model::MatchCondition(const Node& node) {
  const std::size_t records = m_recordCount;
  bool holds = true;
  if (node.number >= 0) {
    holds = node.number < static_cast<std::int64_t>(m_newest.size()) &&
            m_newest[static_cast<std::size_t>(node.number)] >= 0;
  } else if (node.assertion != nullptr) {
    const std::size_t stack = m_stack.size();
    const std::int64_t position = m_position;
    holds = Match(*node.assertion);
    m_stack.resize(stack);
    m_position = position;
  }
  const Node* const branch = holds ? node.yes : node.no;
  if (branch != nullptr && !Match(*branch)) {
    m_recordCount = records;
    return false;
  }
  Push(static_cast<std::int64_t>(records));
  Push(holds ? 1 : 0);
  return true;
}

bool Model::MatchConditionNext(const Node& node) {
  const std::int64_t holds = Pop();
  const std::int64_t records = Pop();
  const Node* const branch = holds != 0 ? node.yes : node.no;
  if (branch != nullptr && MatchNext(*branch)) {
    Push(records);
    Push(holds);
    return true;
  }
  m_recordCount = static_cast<std::size_t>(records);
  return false;
}

bool Model::MatchCopies(const Node& node, std::int64_t done) {
  while (done < node.number) {
    bool isMatched = Match(*node.parts[0]);
    while (!isMatched) {
      if (done == 0) return false;
      --done;
      isMatched = MatchNext(*node.parts[0]);
    }
    ++done;
  }
  return true;
}

bool Model::MatchCopiesNext(const Node& node) {
  for (std::int64_t done = node.number; done > 0; --done)
    if (MatchNext(*node.parts[0])) return MatchCopies(node, done);
  return false;
}

std::int64_t Model::Iterate(const Node& node, std::int64_t count) {
  const Node& inner = *node.parts[0];
  while (count < node.span) {
    const std::int64_t position = m_position;
    const std::size_t stack = m_stack.size();
    const std::size_t records = m_recordCount;
    if (!Match(inner)) break;
    if (m_position == position) {
      if (!MatchNext(inner)) break;
      if (m_position == position) {
        m_stack.resize(stack);
        m_recordCount = records;
        break;
      }
    }
    ++count;
  }
  return count;
}

void Model::Extend(const Node& node) {
  const std::int64_t position = m_position;
  const auto stack = static_cast<std::int64_t>(m_stack.size());
  const auto records = static_cast<std::int64_t>(m_recordCount);
  const std::int64_t count = Iterate(node, 0);
  for (const std::int64_t value : {records, stack, m_position, std::int64_t{1}, position, count})
    Push(value);
}

bool Model::Retreat(const Node& node) {
  std::int64_t count = Pop();
  const std::int64_t startPosition = Pop();
  std::vector<std::int64_t> seen(static_cast<std::size_t>(Pop()));
  for (std::size_t i = seen.size(); i > 0; --i) seen[i - 1] = Pop();
  const std::int64_t startStack = Pop();
  const std::int64_t startRecords = Pop();
  if (count == 0) return false;
  if (!MatchNext(*node.parts[0])) {
    --count;
  } else if (m_position == startPosition) {
    m_stack.resize(static_cast<std::size_t>(startStack));
    m_recordCount = static_cast<std::size_t>(startRecords);
    return false;
  } else {
    const std::int64_t position = m_position;
    const std::size_t stack = m_stack.size();
    const std::size_t records = m_recordCount;
    const std::int64_t raised = Iterate(node, count);
    if (std::find(seen.begin(), seen.end(), m_position) == seen.end()) {
      seen.push_back(m_position);
      count = raised;
    } else {
      m_stack.resize(stack);
      m_recordCount = records;
      m_position = position;
    }
  }
  Push(startRecords);
  Push(startStack);
  for (const std::int64_t end : seen) Push(end);
  Push(static_cast<std::int64_t>(seen.size()));
  Push(startPosition);
  Push(count);
  return true;
}

bool Model::Advance(const Node& node) {
  const Node& inner = *node.parts[0];
  std::int64_t count = Pop();
  const std::int64_t position = m_position;
  if (count < node.span) {
    bool isMatched = Match(inner);
    while (isMatched && m_position == position) isMatched = MatchNext(inner);
    if (isMatched) {
      Push(position);
      Push(count + 1);
      return true;
    }
  }
  for (; count > 0; --count) {
    const std::int64_t previous = Pop();
    while (MatchNext(inner)) {
      if (m_position == previous) continue;
      Push(previous);
      Push(count);
      return true;
    }
  }
  return false;
}

std::int64_t Model::NewestRecord(std::int64_t group) const {
  std::int64_t record = m_newest[static_cast<std::size_t>(group)];
  record = std::min(record, static_cast<std::int64_t>(m_recordCount) - 1);
  while (record >= 0 && m_records[static_cast<std::size_t>(record)].group != group) --record;
  return record;
}

void Model::Open(std::int64_t group) {
  const std::int64_t record = NewestRecord(group);
  if (record >= 0 && m_records[static_cast<std::size_t>(record)].end < 0) {
    --m_records[static_cast<std::size_t>(record)].serial;
    return;
  }
  m_newest[static_cast<std::size_t>(group)] = static_cast<std::int64_t>(m_recordCount);
  if (m_records.size() == m_recordCount) m_records.emplace_back();
  m_records[m_recordCount++] = {group, m_position, -1, 0};
}

void Model::UndoOpen(std::int64_t group) {
  const std::int64_t record = NewestRecord(group);
  if (record < 0) return;
  if (m_records[static_cast<std::size_t>(record)].serial < 0) {
    ++m_records[static_cast<std::size_t>(record)].serial;
    return;
  }
  --m_recordCount;
  m_newest[static_cast<std::size_t>(group)] = NewestRecord(group);
}

void Model::Close(std::int64_t group) {
  const std::int64_t record = NewestRecord(group);
  if (record < 0) return;
  Record& found = m_records[static_cast<std::size_t>(record)];
  if (found.serial < 0) {
    ++found.serial;
    return;
  }
  found.end = m_position;
  found.serial = m_serial++;
}

void Model::UndoClose(std::int64_t group) {
  const std::int64_t record = NewestRecord(group);
  if (record < 0) return;
  Record& found = m_records[static_cast<std::size_t>(record)];
  if (found.end < 0) {
    --found.serial;
    return;
  }
  found.end = -1;
  found.serial = 0;
}

}  // namespace Pirsk::Regex::Testing
