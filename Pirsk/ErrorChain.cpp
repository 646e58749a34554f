#include "ErrorChain.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace Pirsk::Internals {

namespace {

// The number that was thrown; 0 when it was something else, or nothing.
unsigned int NumberOf(const std::exception_ptr& thrown) {
  if (!thrown) return 0;
  try {
    std::rethrow_exception(thrown);
  } catch (unsigned int number) {
    return number;
  } catch (...) {
    return 0;
  }
}

void AddLocation(Exceptions::CErrorReport& report, const Exceptions::SOURCE_INFO& source) {
  const char* module = source.moduleInfo->Name();
  auto& locations = report.locations;
  if (!locations.empty() && locations.front().file.empty()) {
    // A raise gives its line alone; its file and module are those of the first handler.
    locations.front().module = module;
    locations.front().file = source.file;
  }
  locations.push_back({module, source.file, source.line});
}

}  // namespace

void ErrorStack::Push(ErrorRecordPtr record) noexcept {
  record->below = std::move(m_top);
  m_top = std::move(record);
}

ErrorRecordPtr ErrorStack::Pop() noexcept {
  ErrorRecordPtr record = std::move(m_top);
  m_top = std::move(record->below);
  return record;
}

ErrorRecordPtr ErrorStack::Take(const std::exception_ptr& thrown) noexcept {
  ErrorRecordPtr* place = &m_top;
  while (*place && (*place)->thrown != thrown) place = &(*place)->below;
  ErrorRecordPtr record = std::move(*place);
  if (record) *place = std::move(record->below);
  return record;
}

void ErrorStack::Trim(std::size_t count) noexcept {
  ErrorRecordPtr* place = &m_top;
  while (*place && count-- > 0) place = &(*place)->below;
  ErrorRecordPtr rest = std::move(*place);
  while (rest) rest = std::move(rest->below);
}

void ThreadState::EndThread() noexcept {
  m_isThreadEnding = true;
  Forget();
}

void ThreadState::Throw(ErrorRecordPtr& record) {
  const unsigned int number = record->report.number;
  if (m_isThreadEnding) throw number;
  RetireCaught();
  const std::exception_ptr thrown = std::make_exception_ptr(number);
  record->thrown = thrown;
  record->uncaughtAtThrow = std::uncaught_exceptions();
  record->report.wasRaised = true;
  m_inFlight.Push(std::move(record));
  std::rethrow_exception(thrown);
}

ErrorRecordPtr ThreadState::TakeCaught(const Exceptions::SOURCE_INFO& source) {
  const std::exception_ptr caught = std::current_exception();
  RetireFrom(std::uncaught_exceptions() + 1);
  ErrorRecordPtr record;
  if (caught) record = m_inFlight.Take(caught);
  // A handler that raised others before it threw this one on has sent it to the earlier ones.
  if (caught && !record) record = m_earlier.Take(caught);
  if (!record) {
    // Thrown by other means than a raise, or forgotten: nothing is known of it but its number.
    record = std::make_unique<ErrorRecord>();
    record->report.number = NumberOf(caught);
    record->report.wasRaised = true;
  }
  AddLocation(record->report, source);
  return record;
}

void ThreadState::Pass(ErrorRecordPtr record) noexcept {
  record->report.wasRaised = false;
  End(std::move(record));
}

void ThreadState::End(ErrorRecordPtr record) noexcept {
  RetireCaught();
  record->thrown = nullptr;
  Remember(std::move(record));
}

void ThreadState::RetireCaught() noexcept { RetireFrom(std::uncaught_exceptions()); }

void ThreadState::RetireFrom(int depth) noexcept {
  // The lowest goes last: it was in flight until after those above it.
  while (m_inFlight.Top() != nullptr && m_inFlight.Top()->uncaughtAtThrow >= depth)
    Remember(m_inFlight.Pop());
}

void ThreadState::Remember(ErrorRecordPtr record) noexcept {
  if (m_isThreadEnding) return;
  m_earlier.Push(std::move(record));
  m_earlier.Trim(kMostEarlier);
}

const Exceptions::CErrorReport* ThreadState::Last() {
  RetireFrom(std::uncaught_exceptions() + 1);
  const ErrorRecord* last = m_inFlight.Top() != nullptr ? m_inFlight.Top() : m_earlier.Top();
  return last != nullptr ? &last->report : nullptr;
}

const Exceptions::CErrorReport* ThreadState::Find(unsigned int number) const {
  for (const ErrorStack* errors : {&m_inFlight, &m_earlier})
    for (const ErrorRecord* record = errors->Top(); record; record = record->below.get())
      if (record->report.number == number) return &record->report;
  return nullptr;
}

std::vector<Exceptions::CErrorReport> ThreadState::Passed() const {
  std::vector<Exceptions::CErrorReport> passed;
  for (const ErrorRecord* record = m_earlier.Top(); record; record = record->below.get())
    if (!record->report.wasRaised) passed.push_back(record->report);
  std::reverse(passed.begin(), passed.end());
  return passed;
}

void ThreadState::Forget() noexcept {
  m_inFlight.Clear();
  m_earlier.Clear();
}

}  // namespace Pirsk::Internals
