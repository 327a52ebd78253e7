#pragma once

#include "OdError.h"

#include <algorithm>
#include <initializer_list>
#include <type_traits>
#include <utility>
#include <vector>

// The SDK's dynamic array: contiguous elements with value semantics.
//
// Every indexed access is checked: at(), operator[], first(), last(),
// insertAt() and removeAt() throw OdError with eOutOfRange on a bad index
// instead of touching memory they do not own. Iterators are plain pointers;
// any operation that changes the length may invalidate them.
template <class T>
class OdArray {
  // std::vector<bool> packs bits and cannot hand out T* or T&.
  static_assert(!std::is_same_v<T, bool>, "OdArray<bool> is not supported");

 public:
  using size_type = unsigned int;
  using value_type = T;
  using iterator = T*;
  using const_iterator = const T*;

  OdArray() = default;
  // An empty array with room for `physicalLength` elements. Note: this
  // reserves, it does not create elements.
  explicit OdArray(size_type physicalLength, int growLength = 8) {
    static_cast<void>(growLength);  // the growth policy is the vector's
    m_items.reserve(physicalLength);
  }
  OdArray(std::initializer_list<T> items) : m_items(items) {}

  size_type size() const noexcept { return static_cast<size_type>(m_items.size()); }
  size_type length() const noexcept { return size(); }
  size_type logicalLength() const noexcept { return size(); }
  size_type physicalLength() const noexcept { return static_cast<size_type>(m_items.capacity()); }
  bool isEmpty() const noexcept { return m_items.empty(); }
  bool empty() const noexcept { return m_items.empty(); }

  // Appends and returns the index of the new element.
  size_type append(const T& value) {
    m_items.push_back(value);
    return size() - 1;
  }
  size_type append(T&& value) {
    m_items.push_back(std::move(value));
    return size() - 1;
  }
  // Appends all elements of `other` (which may be this array).
  OdArray& append(const OdArray& other) {
    if (&other == this) {
      const OdArray copy(other);
      m_items.insert(m_items.end(), copy.m_items.begin(), copy.m_items.end());
    } else {
      m_items.insert(m_items.end(), other.m_items.begin(), other.m_items.end());
    }
    return *this;
  }
  void push_back(const T& value) { m_items.push_back(value); }
  void push_back(T&& value) { m_items.push_back(std::move(value)); }

  T& operator[](size_type index) { return m_items[checked(index)]; }
  const T& operator[](size_type index) const { return m_items[checked(index)]; }
  T& at(size_type index) { return m_items[checked(index)]; }
  const T& at(size_type index) const { return m_items[checked(index)]; }

  // The first / last element; eOutOfRange when empty.
  T& first() { return m_items[checked(0)]; }
  const T& first() const { return m_items[checked(0)]; }
  T& last() { return m_items[checked(size() - 1)]; }
  const T& last() const { return m_items[checked(size() - 1)]; }

  // Inserts before `index`; index == size() appends. eOutOfRange beyond that.
  OdArray& insertAt(size_type index, const T& value) {
    if (index > size()) throw OdError(eOutOfRange);
    m_items.insert(m_items.begin() + index, value);
    return *this;
  }
  OdArray& removeAt(size_type index) {
    m_items.erase(m_items.begin() + checked(index));
    return *this;
  }

  // Searches from `start` (an index past the end finds nothing).
  bool find(const T& value, size_type& foundAt, size_type start = 0) const {
    for (size_type i = start; i < size(); ++i) {
      if (m_items[i] == value) {
        foundAt = i;
        return true;
      }
    }
    return false;
  }
  bool contains(const T& value, size_type start = 0) const {
    size_type ignored = 0;
    return find(value, ignored, start);
  }
  // Removes the first element equal to `value` at or after `start`; true if
  // one was removed.
  bool remove(const T& value, size_type start = 0) {
    size_type index = 0;
    if (!find(value, index, start)) return false;
    m_items.erase(m_items.begin() + index);
    return true;
  }

  void clear() noexcept { m_items.clear(); }
  // New elements are value-initialised (or copies of `value`).
  OdArray& resize(size_type length) {
    m_items.resize(length);
    return *this;
  }
  OdArray& resize(size_type length, const T& value) {
    m_items.resize(length, value);
    return *this;
  }
  void reserve(size_type physicalLength) { m_items.reserve(physicalLength); }
  // Sets the capacity; a value below the length drops the elements past it.
  OdArray& setPhysicalLength(size_type physicalLength) {
    if (physicalLength < size()) {
      m_items.resize(physicalLength);
      m_items.shrink_to_fit();
    } else {
      m_items.reserve(physicalLength);
    }
    return *this;
  }

  iterator begin() noexcept { return m_items.data(); }
  iterator end() noexcept { return m_items.data() + m_items.size(); }
  const_iterator begin() const noexcept { return m_items.data(); }
  const_iterator end() const noexcept { return m_items.data() + m_items.size(); }

  // The elements as a contiguous block; may be null when the array is empty.
  T* asArrayPtr() noexcept { return m_items.data(); }
  const T* asArrayPtr() const noexcept { return m_items.data(); }
  const T* getPtr() const noexcept { return m_items.data(); }

  friend bool operator==(const OdArray& a, const OdArray& b) { return a.m_items == b.m_items; }

 private:
  std::size_t checked(size_type index) const {
    if (index >= size()) throw OdError(eOutOfRange);
    return index;
  }

  std::vector<T> m_items;
};
