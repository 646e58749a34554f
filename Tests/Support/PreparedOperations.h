#pragma once

#include <utility>

namespace Ondrel::Testing {

/// Puts a test's own operations table in place for one scope.
template <class Table>
class PreparedOperations {
public:
  PreparedOperations(Table& current, Table prepared)
      : m_current(current), m_earlier(std::exchange(current, std::move(prepared))) {}
  ~PreparedOperations() { m_current = std::move(m_earlier); }

  PreparedOperations(const PreparedOperations&) = delete;
  PreparedOperations& operator=(const PreparedOperations&) = delete;

private:
  Table& m_current;
  Table m_earlier;
};

}  // namespace Ondrel::Testing
