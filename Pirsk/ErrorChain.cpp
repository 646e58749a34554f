#include "ErrorChain.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace Pirsk::Internals {

namespace {

// The number that the running handler caught; 0 when it caught something else.
unsigned int CaughtNumber() {
  if (!std::current_exception()) return 0;
  try {
    throw;
  } catch (unsigned int number) {
    return number;
  } catch (...) {
    return 0;
  }
}

}  // namespace

ThreadState& ThreadState::Current() {
  thread_local ThreadState state;
  return state;
}

ErrorRecord& ThreadState::Start(std::uint32_t line) {
  DropCaught();
  ErrorRecord& record = m_inFlight.emplace_back();
  record.uncaughtAtStart = std::uncaught_exceptions();
  record.report.locations.push_back({{}, {}, line});
  return record;
}

ErrorRecord& ThreadState::InHandler(const Exceptions::SOURCE_INFO& source) {
  const unsigned int caught = CaughtNumber();
  if (m_inFlight.empty() || (caught != 0 && m_inFlight.back().report.number != caught)) {
    // Thrown by other means than a raise: nothing is known of it but its number.
    ErrorRecord& record = m_inFlight.emplace_back();
    record.uncaughtAtStart = std::uncaught_exceptions();
    record.report.number = caught;
    record.report.wasRaised = true;
  }

  ErrorRecord& record = m_inFlight.back();
  auto& locations = record.report.locations;
  if (!locations.empty() && locations.front().file.empty()) {
    // A raise tells its line alone; its file and module are those of the first handler.
    locations.front().module = source.moduleInfo->Name();
    locations.front().file = source.file;
  }
  locations.push_back({source.moduleInfo->Name(), source.file, source.line});
  return record;
}

void ThreadState::Pass(ErrorRecord& record) {
  m_passed.push_back(record.report);
  if (m_passed.size() > kMostPassed) m_passed.pop_front();
  End(record);
}

void ThreadState::End(ErrorRecord& record) {
  const auto found = std::find_if(m_inFlight.begin(), m_inFlight.end(),
                                  [&](const ErrorRecord& other) { return &other == &record; });
  if (found == m_inFlight.end()) return;
  m_last = std::move(found->report);
  m_inFlight.erase(found);
}

void ThreadState::DropCaught() {
  while (!m_inFlight.empty() && m_inFlight.back().uncaughtAtStart >= std::uncaught_exceptions()) {
    m_last = std::move(m_inFlight.back().report);
    m_inFlight.pop_back();
  }
}

std::optional<Exceptions::CErrorReport> ThreadState::Last() const {
  if (!m_inFlight.empty()) return m_inFlight.back().report;
  return m_last;
}

const Exceptions::CErrorReport* ThreadState::Find(unsigned int number) const {
  const auto found =
      std::find_if(m_inFlight.rbegin(), m_inFlight.rend(),
                   [number](const ErrorRecord& record) { return record.report.number == number; });
  if (found != m_inFlight.rend()) return &found->report;
  if (m_last && m_last->number == number) return &*m_last;
  return nullptr;
}

std::vector<Exceptions::CErrorReport> ThreadState::Passed() const {
  return {m_passed.begin(), m_passed.end()};
}

void ThreadState::Forget() {
  m_inFlight.clear();
  m_passed.clear();
  m_last.reset();
}

}  // namespace Pirsk::Internals
