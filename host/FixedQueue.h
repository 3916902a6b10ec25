// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <array>

namespace host {

/// A queue of at most `cCapacity` values, in place: nothing is allocated as values come and go.
///
/// Threads: one at a time.
template <class T, unsigned cCapacity>
class FixedQueue {
 public:
  unsigned size() const { return mSize; }
  bool isEmpty() const { return mSize == 0; }
  bool isFull() const { return mSize == cCapacity; }
  /// The oldest is 0; `i` below size().
  const T& operator[](unsigned i) const { return mValues[(mFirst + i) % cCapacity]; }
  const T& front() const { return mValues[mFirst]; }
  /// Not on a full queue.
  void push(const T& value) { mValues[(mFirst + mSize++) % cCapacity] = value; }
  /// Not on an empty one.
  void pop() {
    mFirst = (mFirst + 1) % cCapacity;
    --mSize;
  }

 private:
  std::array<T, cCapacity> mValues{};
  unsigned mFirst = 0;
  unsigned mSize = 0;
};

}  // namespace host
