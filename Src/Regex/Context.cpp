#include "Regex/Context.h"

#include <utility>

namespace Pirsk::Regex {

bool PositionSet::Add(std::int64_t position) {
  std::int64_t& place = PlaceOf(position);
  if (place == position) return false;
  place = position;
  if (++m_count * 2 > m_places.size()) Grow();
  return true;
}

// Where the position is, or would be. There is always a free place.
std::int64_t& PositionSet::PlaceOf(std::int64_t position) {
  constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;
  const std::size_t mask = m_places.size() - 1;
  std::size_t place = (static_cast<std::uint64_t>(position) * kSpread >> 32) & mask;
  while (m_places[place] != kFree && m_places[place] != position) place = (place + 1) & mask;
  return m_places[place];
}

void PositionSet::Grow() {
  const std::vector<std::int64_t> positions =
      std::exchange(m_places, std::vector<std::int64_t>(m_places.size() * 2, kFree));
  for (const std::int64_t position : positions)
    if (position != kFree) PlaceOf(position) = position;
}

std::unique_ptr<LoopNotes> CMatchContext::NewNotes() {
  std::unique_ptr<LoopNotes> notes;
  if (m_unusedNotes.empty()) {
    notes = std::make_unique<LoopNotes>();
  } else {
    notes = std::move(m_unusedNotes.back());
    m_unusedNotes.pop_back();
  }
  notes->ends.Restore(0);
  notes->passed.Clear();
  return notes;
}

std::unique_ptr<LoopNotes> CMatchContext::TakeNotes(std::int64_t height) {
  DropNotesFrom(height + 1);
  std::unique_ptr<LoopNotes> notes = std::move(m_notes.back().notes);
  m_notes.pop_back();
  return notes;
}

void CMatchContext::PutNotes(std::int64_t height, std::unique_ptr<LoopNotes> notes) {
  DropNotesFrom(height);
  m_notes.push_back({height, std::move(notes)});
}

void CMatchContext::DropNotes(std::unique_ptr<LoopNotes> notes) {
  if (notes != nullptr) m_unusedNotes.push_back(std::move(notes));
}

void CMatchContext::DropNotesFrom(std::int64_t height) {
  for (; !m_notes.empty() && m_notes.back().height >= height; m_notes.pop_back())
    DropNotes(std::move(m_notes.back().notes));
}

}  // namespace Pirsk::Regex
