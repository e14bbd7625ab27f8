// An ordered vector of values: the standard vector with checked access.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "foundation/RWxmsg.h"

namespace orla {

/// Values in an order that the user maintains. Iterators and references are valid until the next
/// change. Operations throw RWBoundsErr if the index is out of range.
template <class T>
class RWTValOrderedVector {
 public:
  using const_iterator = typename std::vector<T>::const_iterator;

  RWTValOrderedVector() = default;
  explicit RWTValOrderedVector(std::size_t capacity) { items_.reserve(capacity); }
  explicit RWTValOrderedVector(std::vector<T> items) noexcept : items_(std::move(items)) {}

  std::size_t entries() const noexcept { return items_.size(); }
  bool isEmpty() const noexcept { return items_.empty(); }

  void append(T value) { items_.push_back(std::move(value)); }

  /// Inserts before `index`; `index` equal to entries() appends.
  void insertAt(std::size_t index, T value) {
    if (index > items_.size()) throw RWBoundsErr(index, items_.size());
    items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(index), std::move(value));
  }

  void removeAt(std::size_t index) {
    check(index);
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
  }

  void clear() noexcept { items_.clear(); }

  const T& operator[](std::size_t index) const {
    check(index);
    return items_[index];
  }
  T& operator[](std::size_t index) {
    check(index);
    return items_[index];
  }

  const_iterator begin() const noexcept { return items_.begin(); }
  const_iterator end() const noexcept { return items_.end(); }

 private:
  void check(std::size_t index) const {
    if (index >= items_.size()) throw RWBoundsErr(index, items_.size());
  }

  std::vector<T> items_;
};

}  // namespace orla
