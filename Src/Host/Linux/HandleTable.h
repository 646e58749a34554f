#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace Ondrel::Host {

/// Open objects of one kind under handles that are never given out twice.
///
/// A handle that was given back is unknown from then on, so that giving it back again, or using it,
/// is an answer and not an access to freed memory. Handles of all tables are distinct. Any thread
/// may call; an object in use by one thread outlives its removal by another.
template <class Object>
class HandleTable {
public:
  void* Add(std::shared_ptr<Object> object) {
    const std::lock_guard lock(m_mutex);
    const std::uintptr_t number = NextNumber();
    m_objects.emplace(number, std::move(object));
    return reinterpret_cast<void*>(number);
  }

  /// The object of a handle; null when the handle is not open.
  std::shared_ptr<Object> Find(const void* handle) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_objects.find(reinterpret_cast<std::uintptr_t>(handle));
    return found != m_objects.end() ? found->second : nullptr;
  }

  /// Takes the object of a handle out; null when the handle is not open.
  std::shared_ptr<Object> Remove(const void* handle) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_objects.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == m_objects.end()) return nullptr;
    std::shared_ptr<Object> object = std::move(found->second);
    m_objects.erase(found);
    return object;
  }

private:
  static std::uintptr_t NextNumber();

  mutable std::mutex m_mutex;
  std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> m_objects;
};

/// A number for a new handle: rises by four, starts after the small numbers that stand for errors.
std::uintptr_t NextHandleNumber();

template <class Object>
std::uintptr_t HandleTable<Object>::NextNumber() {
  return NextHandleNumber();
}

}  // namespace Ondrel::Host
