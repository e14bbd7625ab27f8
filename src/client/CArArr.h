// The growable array of plain elements: the connection table, the error records and byte buffers.
//
// Elements are copied as raw bytes and never constructed, destroyed or freed: an array of pointers
// does not own the objects that they point to. There is no lock: callers that share an array must
// serialize its use.
//
// Every operation is virtual. Their order is part of the binary layout, so new ones must be last.
//
// Errors. An operation that returns bool returns false in the cases that its comment lists. If an
// argument would otherwise lead outside the storage, or to a count of more than 32 bits, throws
// eaBadArgument. If an allocation fails, throws eaNoMemory. An operation that throws changes
// nothing.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace orla {

/// The values that the growable array throws.
enum eaerrcode {
  eaBadArgument = 1,
  eaNoMemory = 3,
};

template <class T>
class CArArr {
  static_assert(std::is_trivially_copyable_v<T>, "elements are copied as raw bytes");

 public:
  /// The position that means the end.
  static constexpr std::int32_t kEnd = -1;

  /// Starts without storage. `growBy`, at least 1, is the number of spare elements that each growth
  /// allocates.
  explicit CArArr(std::int32_t growBy) : growBy_(growBy) { Require(growBy >= 1); }
  CArArr(const CArArr&) = delete;
  CArArr& operator=(const CArArr&) = delete;
  virtual ~CArArr() = default;

  /// Copies `n` elements, starting at `index`. Returns false if `index` is not an element, there
  /// are fewer than `n` elements from it on, or `destination` is null.
  virtual bool CopyOut(std::int32_t index, T* destination, std::int32_t n) const {
    if (index < 0 || index >= count_ || std::int64_t{index} + n > count_ || !destination) {
      return false;
    }
    Require(n >= 0);
    Move(destination, data_.get() + index, n);
    return true;
  }

  /// The reference is valid until the array grows. Throws eaBadArgument if there is no such
  /// element.
  virtual T& ElementAt(std::int32_t index) {
    Require(index >= 0 && index < count_);
    return data_[static_cast<std::size_t>(index)];
  }

  /// Adds at the end and returns the storage, which is valid until the array grows.
  virtual T* Add(T element) { return CArArr::InsertAt(element, kEnd); }

  /// Inserts all elements of `other`, which may be this array.
  virtual void Append(const CArArr& other, std::int32_t position) {
    InsertRange(other.data_.get(), other.count_, position);
  }

  /// Inserts `n` elements before `position`, or nothing if `n` is negative. `source` may point to
  /// the array's own elements.
  virtual void InsertRange(const T* source, std::int32_t n, std::int32_t position) {
    if (n < 0) return;
    if (position == kEnd) position = count_;
    Require(position >= 0 && position <= count_ && (source || n == 0));
    const bool own = Holds(source);
    const std::ptrdiff_t offset = own ? source - data_.get() : 0;
    Require(!own || offset + n <= count_);

    const std::int64_t total = std::int64_t{count_} + n;
    // One spare element is kept, so an exact fit grows as well.
    if (total >= capacity_) SetCapacity(total + growBy_);
    Place(own ? data_.get() + offset : source, n, position);
  }

  /// Inserts before `position` and returns the storage, which is valid until the array grows.
  virtual T* InsertAt(T element, std::int32_t position) {
    if (position == kEnd) position = count_;
    Require(position >= 0 && position <= count_);
    if (count_ >= capacity_) SetCapacity(std::int64_t{count_} + growBy_);
    Place(&element, 1, position);
    return data_.get();
  }

  /// Replaces `n` elements, starting at `position`. Returns false if `n` is below 1 or the range
  /// includes the last element, which callers use as an end mark.
  virtual bool Overwrite(const T* source, std::int32_t n, std::int32_t position) {
    if (n < 1 || std::int64_t{position} + n >= count_) return false;
    Require(source && position >= 0);
    Move(data_.get() + position, source, n);
    return true;
  }

  /// Replaces one element. Returns false if `index` is beyond the last one. Throws eaBadArgument
  /// for a negative index, because that is misuse.
  virtual bool SetAt(T element, std::int32_t index) {
    if (index >= count_) return false;
    Require(index >= 0);
    Move(data_.get() + index, &element, 1);
    return true;
  }

  /// Removes `n` elements, starting at `index`. Returns false if `index` is not an element. The
  /// count decreases by `n` even if there were fewer elements, so that callers notice: it may
  /// become negative, and the array then accepts no elements until RemoveAll.
  virtual bool RemoveAt(std::int32_t index, std::int32_t n) {
    if (index < 0 || index >= count_) return false;
    Require(n >= 0);
    if (std::int64_t{index} + n < count_) {
      Move(data_.get() + index, data_.get() + index + n, count_ - index - n);
    }
    count_ -= n;
    return true;
  }

  /// Empties the array and keeps the storage for further elements.
  virtual void RemoveAll() { count_ = 0; }

  virtual std::int32_t GetCount() const { return count_; }
  virtual std::int32_t GetCapacity() const { return capacity_; }
  virtual std::int32_t GetGrowBy() const { return growBy_; }

  /// Returns false and changes nothing unless `growBy` is at least 1.
  virtual bool SetGrowBy(std::int32_t growBy) {
    if (growBy < 1) return false;
    growBy_ = growBy;
    return true;
  }

 protected:
  /// Moves the elements to new storage of exactly `capacity` elements, or frees the storage if that
  /// is 0. Throws eaBadArgument if the elements would not fit.
  void SetCapacity(std::int64_t capacity) {
    if (capacity == capacity_) return;
    Require(capacity >= std::max(count_, 0) &&
            capacity <= std::numeric_limits<std::int32_t>::max());
    std::unique_ptr<T[]> storage;
    if (capacity > 0) {
      try {
        storage = std::make_unique_for_overwrite<T[]>(static_cast<std::size_t>(capacity));
      } catch (const std::bad_alloc&) {
        throw eaerrcode{eaNoMemory};
      }
      Move(storage.get(), data_.get(), count_);
    }
    data_ = std::move(storage);
    capacity_ = static_cast<std::int32_t>(capacity);
  }

 private:
  static void Require(bool valid) {
    if (!valid) throw eaerrcode{eaBadArgument};
  }

  static void Move(T* to, const T* from, std::int32_t n) {
    if (n > 0) std::memmove(to, from, static_cast<std::size_t>(n) * sizeof(T));
  }

  bool Holds(const T* address) const {
    const std::less<const T*> before;
    const T* const first = data_.get();
    return first && !before(address, first) && before(address, first + capacity_);
  }

  /// Inserts into storage that has room. The elements are copied to the end first and then rotated
  /// into place, so that a source among the array's own elements is read before anything moves.
  void Place(const T* source, std::int32_t n, std::int32_t position) {
    T* const end = data_.get() + count_;
    Move(end, source, n);
    std::rotate(data_.get() + position, end, end + n);
    count_ += n;
  }

  std::int32_t count_ = 0;
  std::int32_t capacity_ = 0;
  std::int32_t growBy_;
  std::unique_ptr<T[]> data_;
};

}  // namespace orla
