// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/PoolCheck.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>

#include <boost/intrusive/detail/list_node.hpp>
#include <boost/intrusive/rbtree.hpp>

#include "lipc/util/platform/LockPlatform.h"

namespace LIPC {
namespace {

namespace bip = boost::interprocess;
namespace bi = boost::intrusive;

using TreeTraits = bi::rbtree_node_traits<bip::offset_ptr<void>, true>;
using TreeNode = TreeTraits::node;
using ListNode = bi::list_node<bip::offset_ptr<void>>;
using NameNode = PoolManager::named_index_t::value_type;

static_assert(PoolCheck::cManagerOffset ==
              bip::ipcdetail::shmem_open_or_create<
                  PoolManager::memory_algorithm>::type::ManagedOpenOrCreateUserOffset);

/// A block of memory, free or not, counts in units of 16 bytes. Behind this head a free one has its
/// node of the free tree, an allocated one what it is allocated for.
struct BlockHead {
  std::uint64_t unitsBefore;  // of the block before, if that one is free
  std::uint64_t word;         // units, and two flags

  static constexpr std::uint64_t cUnits = (std::uint64_t{1} << 62) - 1;
  std::uint64_t units() const { return word & cUnits; }
  bool isAllocated() const { return (word >> 63) != 0; }
  bool isAllocatedBefore() const { return ((word >> 62) & 1) != 0; }
};
constexpr std::size_t cUnit = 16;
constexpr std::size_t cHead = sizeof(BlockHead);
constexpr std::size_t cLeastUnits = (cHead + sizeof(TreeNode) + cUnit - 1) / cUnit;
/// A system may round an object's size up to its pages.
constexpr std::size_t cLargestPage = 65536;
/// Deeper than any tree of blocks or names in a pool that a process can map.
constexpr std::size_t cDeepest = 128;

/// A pool of its own in private memory.
struct SamplePool {
  static constexpr std::size_t cBytes = 65536;

  SamplePool()
      : manager(new (memory + PoolCheck::cManagerOffset)
                    PoolManager(cBytes - PoolCheck::cManagerOffset)) {}

  alignas(cUnit) char memory[cBytes] = {};
  PoolManager* manager;
};

std::size_t nameTreeOf(const PoolManager& manager, const char* base) {
  const auto header = manager.named_end().base().pointed_node();
  return static_cast<std::size_t>(reinterpret_cast<const char*>(&*header) - base);
}

/// Where Boost puts the parts of a pool, as offsets.
struct Layout {
  static constexpr std::size_t cNameLock =
      PoolCheck::cManagerOffset + sizeof(PoolManager::segment_manager_base_type);

  Layout() : sample(std::make_unique<SamplePool>()) {
    const char* const base = sample->memory;
    const auto offsetOf = [&](const void* at) {
      return static_cast<std::size_t>(static_cast<const char*>(at) - base);
    };
    void* const first = sample->manager->allocate(1);
    firstBlock = offsetOf(first) - cHead;
    sample->manager->deallocate(first);
    // The one block is the root of the free tree; its parent is the tree's head.
    const auto* const root = static_cast<const TreeNode*>(first);
    freeTree = offsetOf(TreeTraits::get_parent(TreeTraits::const_node_ptr(root)).get());
    nameTree = nameTreeOf(*sample->manager, base);
  }

  /// Offset of the last block's head in a pool of `bytes`.
  std::size_t end(std::size_t bytes) const {
    const std::size_t manager = (bytes - PoolCheck::cManagerOffset) / cUnit * cUnit;
    return PoolCheck::cManagerOffset + manager - cHead;
  }

  std::unique_ptr<SamplePool> sample;
  std::size_t firstBlock = 0;
  std::size_t freeTree = 0;
  std::size_t nameTree = 0;
};

const Layout& layout() {
  static const Layout known;
  return known;
}

bool isSameLock(const char* lock, const char* pristine) {
  if constexpr (sizeof(bip::interprocess_mutex) == sizeof(pthread_mutex_t)) {
    return isSameKindOfLock(*reinterpret_cast<const pthread_mutex_t*>(lock),
                            *reinterpret_cast<const pthread_mutex_t*>(pristine));
  }
  return true;
}

}  // namespace

std::size_t PoolCheck::offsetOf(const void* address) const {
  return static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(address) -
                                  reinterpret_cast<std::uintptr_t>(mBase));
}

bool PoolCheck::isInside(std::size_t offset, std::size_t bytes) const {
  return offset >= layout().firstBlock && offset < mBytes && mBytes - offset >= bytes;
}

bool PoolCheck::isWhole() {
  // Whether this Boost's blocks can be read is asked of a pool that nobody else can touch.
  static const bool isReadable = [] {
    const std::unique_ptr<SamplePool>& sample = layout().sample;
    sample->manager->construct<SharedConnectionList>("name")(sample->manager)->resize(2);
    PoolCheck check(sample->memory, SamplePool::cBytes);
    return check.readBlocks() && check.isFreeTree() && check.isNameTree();
  }();
  if (mBytes <= layout().firstBlock + cUnit || !isHeadIntact()) return false;
  return !isReadable || (readBlocks() && isFreeTree() && isNameTree());
}

bool PoolCheck::isHeadIntact() const {
  const char* const pristine = layout().sample->memory;
  const auto* const manager = reinterpret_cast<const PoolManager*>(mBase + cManagerOffset);
  const auto isIntactAt = [&](std::size_t offset) {
    return isSameLock(mBase + offset, pristine + offset);
  };
  const std::size_t room = mBytes - cManagerOffset;
  const std::size_t size = manager->get_size();
  return size <= room && room - size < cLargestPage && isIntactAt(cManagerOffset) &&
         isIntactAt(Layout::cNameLock);
}

/// Every block ends where the next begins, and both say the same of each other.
bool PoolCheck::readBlocks() {
  const auto* const manager = reinterpret_cast<const PoolManager*>(mBase + cManagerOffset);
  const std::size_t end = layout().end(cManagerOffset + manager->get_size());
  if (end + cHead > mBytes || end < layout().firstBlock + cLeastUnits * cUnit) return false;
  std::size_t at = layout().firstBlock;
  std::uint64_t unitsBefore = 0;
  bool isAllocatedBefore = true;
  for (;;) {
    const auto* const block = reinterpret_cast<const BlockHead*>(mBase + at);
    const BlockHead head = *block;
    if (head.isAllocatedBefore() != isAllocatedBefore) return false;
    if (!isAllocatedBefore && head.unitsBefore != unitsBefore) return false;
    if (at == end) return head.isAllocated();
    if (head.units() < cLeastUnits || head.units() > (end - at) / cUnit) return false;
    (head.isAllocated() ? mBlocks : mFree).push_back(at);
    isAllocatedBefore = head.isAllocated();
    unitsBefore = head.units();
    at += head.units() * cUnit;
  }
}

/// A red-black tree: each node has its parent above it, no red one has a red child, and every way
/// down meets as many black ones. Boost's repairs of a tree rely on just that.
template <class IsNode>
bool PoolCheck::isTree(std::size_t header, std::size_t& nodes, IsNode isNode) const {
  using Pointer = TreeTraits::const_node_ptr;
  struct Step {
    const TreeNode* node;
    const TreeNode* parent;
    int blacks;  // above it
  };
  const auto* const head = reinterpret_cast<const TreeNode*>(mBase + header);
  const auto isRed = [](const TreeNode* node) {
    return TreeTraits::get_color(Pointer(node)) == TreeTraits::red();
  };
  const TreeNode* leftmost = head;
  const TreeNode* rightmost = head;
  int blacksAtEnd = -1;
  std::vector<Step> open{{TreeTraits::get_parent(Pointer(head)).get(), head, 0}};
  if (open.front().node == nullptr) open.clear();
  const std::size_t most = mBlocks.size() + mFree.size();
  for (nodes = 0; !open.empty(); ++nodes) {
    const Step step = open.back();
    open.pop_back();
    const std::size_t offset = offsetOf(step.node);
    if (nodes >= most || open.size() > cDeepest || !isNode(offset)) return false;
    if (TreeTraits::get_parent(Pointer(step.node)).get() != step.parent) return false;
    if (isRed(step.node) && isRed(step.parent) && step.parent != head) return false;
    const int blacks = step.blacks + (isRed(step.node) ? 0 : 1);
    const TreeNode* const left = TreeTraits::get_left(Pointer(step.node)).get();
    const TreeNode* const right = TreeTraits::get_right(Pointer(step.node)).get();
    if (step.parent == head || step.node == TreeTraits::get_left(Pointer(step.parent)).get()) {
      if (step.parent == leftmost) leftmost = step.node;
    }
    if (step.parent == head || step.node == TreeTraits::get_right(Pointer(step.parent)).get()) {
      if (step.parent == rightmost) rightmost = step.node;
    }
    for (const TreeNode* child : {left, right}) {
      if (child != nullptr) {
        open.push_back({child, step.node, blacks});
      } else if (blacksAtEnd == -1) {
        blacksAtEnd = blacks;
      } else if (blacksAtEnd != blacks) {
        return false;
      }
    }
  }
  return isRed(head) && TreeTraits::get_left(Pointer(head)).get() == leftmost &&
         TreeTraits::get_right(Pointer(head)).get() == rightmost;
}

bool PoolCheck::isFreeTree() const {
  std::size_t nodes = 0;
  return isTree(layout().freeTree, nodes,
                [this](std::size_t node) {
                  return node >= cHead &&
                         std::binary_search(mFree.begin(), mFree.end(), node - cHead);
                }) &&
         nodes == mFree.size();
}

bool PoolCheck::isNameTree() const {
  std::size_t nodes = 0;
  return isTree(layout().nameTree, nodes, [this](std::size_t node) { return isName(node); });
}

/// A named object: its node of the tree, a head, the object, the name and a NUL, in one block.
bool PoolCheck::isName(std::size_t node) const {
  if (!isAllocatedBlock(node, sizeof(NameNode) + cUnit)) return false;
  const auto* const block = reinterpret_cast<const BlockHead*>(mBase + node - cHead);
  // The next block's first word belongs to this one, as that one's neighbour is allocated.
  const std::size_t room = block->units() * cUnit - cHead + sizeof(BlockHead::unitsBefore);
  const auto* const value = reinterpret_cast<const NameNode*>(mBase + node);
  const auto& head = *value->get_block_header();
  const auto alignment = head.m_value_alignment;
  const bool isPlausible = head.m_value_bytes <= room && alignment != 0 && alignment <= cUnit &&
                           (alignment & (alignment - 1)) == 0 && head.sizeof_char() == 1 &&
                           head.alloc_type() == bip::named_type;
  if (!isPlausible) return false;
  if (head.template total_size_with_header<NameNode>() > room) return false;
  return head.template name<char>()[head.name_length()] == '\0';
}

bool PoolCheck::isAllocatedBlock(std::size_t user, std::size_t leastBytes) const {
  if (user < cHead || !std::binary_search(mBlocks.begin(), mBlocks.end(), user - cHead)) {
    return false;
  }
  const auto* const block = reinterpret_cast<const BlockHead*>(mBase + user - cHead);
  return block->units() * cUnit - cHead + sizeof(BlockHead::unitsBefore) >= leastBytes;
}

bool PoolCheck::isList(const SharedConnectionList& list) const {
  if (!isInside(offsetOf(&list), sizeof list) || offsetOf(&list) % alignof(ListNode) != 0) {
    return false;
  }
  const auto* const manager = reinterpret_cast<const PoolManager*>(mBase + cManagerOffset);
  if (list.get_stored_allocator().get_segment_manager() != manager) return false;
  const auto end = list.end();
  const auto* const head = reinterpret_cast<const ListNode*>(end.get().pointed_node().get());
  const ListNode* before = head;
  const ListNode* node = head->next_.get();
  std::size_t nodes = 0;
  for (; node != head; ++nodes) {
    if (nodes > mBytes / sizeof(SharedConnectionNode)) return false;
    const std::size_t offset = offsetOf(node);
    if (!isInside(offset, sizeof(SharedConnectionNode))) return false;
    if (!mBlocks.empty() && !isAllocatedBlock(offset, sizeof(SharedConnectionNode))) return false;
    if (node->prev_.get() != before) return false;
    before = node;
    node = node->next_.get();
  }
  return head->prev_.get() == before && nodes == list.size();
}

}  // namespace LIPC
