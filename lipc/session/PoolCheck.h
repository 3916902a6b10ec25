// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lipc/session/ConnectionPool.h"

namespace LIPC {

/// Looks through a connection pool's memory without following anything out of it, before Boost,
/// which trusts its links, works there: the size and the kinds of locks in its head; the chain of
/// memory blocks; the tree of the free ones; the tree of names and the objects behind it.
///
/// What it compares with is a small pool that it makes in private memory: where Boost puts its
/// parts is Boost's affair. Where they are arranged in another way than this class can read, it
/// checks the head alone.
///
/// What it cannot see: what is written after it has looked.
///
/// Threads: the caller holds the pool's lock, or looks at a private copy.
class PoolCheck {
 public:
  /// Offset of Boost's manager in the object; in front of it lies the word that says that the
  /// object is ready.
  static constexpr std::size_t cManagerOffset = 16;

  /// `base` aligned to 16.
  PoolCheck(const char* base, std::size_t bytes) : mBase(base), mBytes(bytes) {}

  /// True when size and locks are a pool's: before a lock is touched.
  bool isHeadIntact() const;
  /// True when the memory can be worked with. Before `isList`.
  bool isWhole();
  /// True when the list's nodes are whole and linked both ways, and its memory is this pool's.
  bool isList(const SharedConnectionList& list) const;

 private:
  bool readBlocks();
  bool isFreeTree() const;
  bool isNameTree() const;
  bool isName(std::size_t node) const;
  bool isAllocatedBlock(std::size_t user, std::size_t leastBytes) const;
  template <class IsNode>
  bool isTree(std::size_t header, std::size_t& nodes, IsNode isNode) const;
  std::size_t offsetOf(const void* address) const;
  bool isInside(std::size_t offset, std::size_t bytes) const;

  const char* const mBase;
  const std::size_t mBytes;
  std::vector<std::size_t> mBlocks;  // offsets of the allocated blocks, ascending
  std::vector<std::size_t> mFree;    // of the free ones
};

}  // namespace LIPC
