// The library's allocator for its small objects (value guts, short text, dictionary nodes, the
// storage of short arrays): per-thread caches of fixed-size blocks carved from chunks that come
// from std::malloc.
//
// Why size classes with per-thread caches rather than an arena per decoded image: a value read
// from an image lives on its own. Its elements are copied into other values, handed to other
// threads and dropped one by one, long after the image is gone, so an arena would stay alive as
// long as its last element and could not give back what its dead elements occupied. Size classes
// let every block be freed on its own, by any thread, and a chunk goes back to malloc as soon as
// its last block is free. The per-thread cache makes the common allocation and free a few
// instructions without a lock; it is bounded, so no thread hoards memory.
#ifndef ZO_KEL_SMALLBLOCKALLOCATOR_IMPL_H
#define ZO_KEL_SMALLBLOCKALLOCATOR_IMPL_H

#include <cstddef>
#include <limits>
#include <new>

#include "kel/export.h"

namespace zo {
namespace kel {
namespace detail {

/// Requests up to this many bytes are served from size classes (16, 32, ... 128 bytes); larger
/// ones go to std::malloc directly.
constexpr std::size_t kSmallBlockMax = 128;

/// A block of at least `bytes` bytes, aligned as std::malloc aligns. Throws std::bad_alloc when
/// memory is exhausted or the library's allocation hook refuses `bytes`. Any thread may free the
/// block, with SmallBlockFree and the same `bytes`.
ZO_KEL_API void* SmallBlockAllocate(std::size_t bytes);

/// Gives back a block from SmallBlockAllocate(bytes); `bytes` must be the size it was asked for.
/// Null is ignored. Safe from any thread, and during thread and process exit.
ZO_KEL_API void SmallBlockFree(void* block, std::size_t bytes) noexcept;

/// What the allocator holds from malloc, for tests and diagnostics.
struct SmallBlockStatistics {
  std::size_t chunks;     ///< chunks held (in use or kept as a spare)
  std::size_t bytesHeld;  ///< bytes of those chunks
  std::size_t blocksOut;  ///< blocks handed out of chunks: live, or cached by a thread
};

/// A consistent snapshot of the allocator's holdings (takes its lock).
ZO_KEL_API SmallBlockStatistics GetSmallBlockStatistics() noexcept;

/// A standard allocator over the small blocks: each node of a node-based container is one block,
/// and so is the storage of a short vector (a long one comes from malloc, as SmallBlockAllocate
/// serves it). Stateless; all instances are equal.
template <class T>
class SmallBlockStdAllocator {
 public:
  using value_type = T;
  static_assert(alignof(T) <= alignof(std::max_align_t), "blocks are aligned as malloc aligns");

  SmallBlockStdAllocator() noexcept = default;
  template <class U>
  SmallBlockStdAllocator(const SmallBlockStdAllocator<U>&) noexcept {}

  T* allocate(std::size_t n) {
    if (n > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_alloc();
    return static_cast<T*>(SmallBlockAllocate(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t n) noexcept { SmallBlockFree(p, n * sizeof(T)); }

  template <class U>
  bool operator==(const SmallBlockStdAllocator<U>&) const noexcept {
    return true;
  }
  template <class U>
  bool operator!=(const SmallBlockStdAllocator<U>&) const noexcept {
    return false;
  }
};

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_SMALLBLOCKALLOCATOR_IMPL_H
