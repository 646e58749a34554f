#pragma once

#include "Regex/Characters.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

namespace Pirsk::Regex {

/// A view of elements that somebody else owns.
template <class T>
class CBufferRefT {
public:
  CBufferRefT() = default;
  CBufferRefT(const T* data, std::ptrdiff_t size) : m_data(const_cast<T*>(data)), m_size(size) {}

  /// Views a zero-terminated text without its end; null has size 0.
  explicit CBufferRefT(const T* text) : m_data(const_cast<T*>(text)) {
    if (text == nullptr) return;
    while (text[m_size] != kEnd) ++m_size;
  }

  CBufferRefT(const CBufferRefT&) = default;
  CBufferRefT& operator=(const CBufferRefT&) = default;
  virtual ~CBufferRefT() = default;

  std::ptrdiff_t Size() const { return m_size; }
  const T* Data() const { return m_data; }
  const T& operator[](std::ptrdiff_t index) const { return m_data[index]; }

  /// 0 when the bytes at `text` are those of this view; else the difference of the first two that
  /// differ, as signed characters. At least as many bytes as the view has must stand there.
  int Compare(const T* text) const {
    for (std::ptrdiff_t i = 0; i < m_size; ++i)
      if (m_data[i] != text[i]) return Signed(m_data[i]) - Signed(text[i]);
    return 0;
  }

  /// As `Compare`, with the upper-case forms where the bytes differ.
  int CompareNoCase(const T* text) const {
    for (std::ptrdiff_t i = 0; i < m_size; ++i) {
      if (m_data[i] == text[i]) continue;
      const int difference = Signed(ToUpper(m_data[i])) - Signed(ToUpper(text[i]));
      if (difference != 0) return difference;
    }
    return 0;
  }

protected:
  static int Signed(T character) { return static_cast<signed char>(character); }

  static constexpr T kEnd{};  // After a text.

  T* m_data = nullptr;
  std::ptrdiff_t m_size = 0;
};

/// Elements of its own, on which the stacks of a match live. A `char` buffer made from text keeps a
/// zero byte after its size. Exhausted memory throws std::bad_alloc.
template <class T>
class CBufferT : public CBufferRefT<T> {
  static_assert(std::is_trivially_copyable_v<T>);

public:
  CBufferT() = default;
  CBufferT(const T* data, std::ptrdiff_t size) { Assign(data, size); }

  CBufferT(const CBufferT& other) : CBufferRefT<T>() { Assign(other.m_data, other.m_size); }
  CBufferT(CBufferT&& other) noexcept : CBufferRefT<T>() { Swap(other); }
  // cppcheck-suppress operatorEqVarError ; Assign keeps the capacity
  CBufferT& operator=(const CBufferT& other) {
    if (this != &other) Assign(other.m_data, other.m_size);
    return *this;
  }
  CBufferT& operator=(CBufferT&& other) noexcept {
    Swap(other);
    return *this;
  }
  ~CBufferT() override { std::free(m_data); }

  using CBufferRefT<T>::operator[];
  T& operator[](std::ptrdiff_t index) { return m_data[index]; }

  std::ptrdiff_t Capacity() const { return m_capacity; }

  /// Takes a copy of the elements in place of its own.
  void Assign(const T* data, std::ptrdiff_t size) {
    Grow(size + 1);
    if (m_data == nullptr) return;
    if (size > 0) std::memcpy(static_cast<void*>(m_data), data, Bytes(size));
    m_data[size] = CBufferRefT<T>::kEnd;
    m_size = size;
  }

  void Push(T value) {
    if (m_size == m_capacity) Reallocate(std::max<std::ptrdiff_t>(m_capacity * 2, kSmallest));
    m_data[m_size++] = value;
  }

  /// Takes the last element into `value`. On an empty buffer that is 0, and nothing fails.
  bool Pop(T& value) {
    if (m_size == 0) {
      value = T();
      return false;
    }
    value = m_data[--m_size];
    return true;
  }

  T Pop() {
    T value;
    Pop(value);
    return value;
  }

  /// Sets the size, up or down, and leaves the content as it is.
  void Restore(std::ptrdiff_t size) {
    Grow(size);
    m_size = size;
  }

  /// Makes `index` an element; new elements are `fill`.
  void Prepare(std::ptrdiff_t index, T fill = T()) {
    if (index < m_size) return;
    Grow(index + 1);
    std::fill(m_data + m_size, m_data + index + 1, fill);
    m_size = index + 1;
  }

protected:
  using CBufferRefT<T>::m_data;
  using CBufferRefT<T>::m_size;

  void Insert(std::ptrdiff_t index, T value) {
    Push(value);
    std::memmove(static_cast<void*>(m_data + index + 1), m_data + index, Bytes(m_size - 1 - index));
    m_data[index] = value;
  }

private:
  static constexpr std::ptrdiff_t kSmallest = 8;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): pointers are elements too.
  static constexpr std::size_t kElementSize = sizeof(T);

  static std::size_t Bytes(std::ptrdiff_t count) {
    return static_cast<std::size_t>(count) * kElementSize;
  }

  void Swap(CBufferT& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_capacity, other.m_capacity);
  }

  // At least `size`: to 8, then doubled, then to the size plus 11 rounded down to a multiple of 8.
  void Grow(std::ptrdiff_t size) {
    if (size <= m_capacity) return;
    std::ptrdiff_t capacity = std::max<std::ptrdiff_t>(m_capacity * 2, kSmallest);
    if (capacity < size) capacity = (size + 11) & ~std::ptrdiff_t{7};
    Reallocate(capacity);
  }

  // The whole block moves: what lies beyond the size is still looked at.
  void Reallocate(std::ptrdiff_t capacity) {
    void* const data = std::realloc(static_cast<void*>(m_data), Bytes(capacity));
    if (data == nullptr) throw std::bad_alloc();
    m_data = static_cast<T*>(data);
    m_capacity = capacity;
  }

  std::ptrdiff_t m_capacity = 0;
};

/// Keeps its elements in order, by a function that is negative, 0 or positive.
template <class T>
class CSortedBufferT : public CBufferT<T> {
public:
  using CompareFunction = int (*)(const T& left, const T& right);

  /// Ascending order; descending with `isReverse`.
  explicit CSortedBufferT(bool isReverse = false)
      : m_compare(isReverse ? &Descending : &Ascending) {}

  /// Whether `Add` just appends.
  void SetAppendOnly(bool isAppendOnly) { m_appendOnly = isAppendOnly ? 1 : 0; }

  void Add(const T& value) {
    if (m_appendOnly != 0)
      this->Push(value);
    else
      this->Insert(PlaceOf(value), value);
  }

  /// The place of an element equal to `value`; -1 if there is none.
  std::ptrdiff_t Find(const T& value) const {
    const std::ptrdiff_t place = PlaceOf(value);
    return place < this->m_size && m_compare(this->m_data[place], value) == 0 ? place : -1;
  }

private:
  static int Ascending(const T& left, const T& right) { return (left > right) - (left < right); }
  static int Descending(const T& left, const T& right) { return Ascending(right, left); }

  std::ptrdiff_t PlaceOf(const T& value) const {
    return std::lower_bound(
               this->m_data, this->m_data + this->m_size, value,
               [this](const T& left, const T& right) { return m_compare(left, right) < 0; }) -
           this->m_data;
  }

  CompareFunction m_compare;
  std::int32_t m_appendOnly = 0;
};

}  // namespace Pirsk::Regex
