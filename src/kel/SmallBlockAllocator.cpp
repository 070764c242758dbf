// Size-class blocks for the library's small objects: a lock-free cache per thread in front of a
// shared pool of 64 KiB chunks.
//
// A chunk holds blocks of one class. The pool, under one mutex, hands blocks out in batches and
// takes them back in batches; a chunk whose blocks have all come back is freed (one spare per
// class is kept, so that a workload that makes and drops values in turn does not call malloc
// for every batch). A block's chunk is found from its address through a two-level map of the
// 64 KiB pages where chunks start, so blocks carry no header and chunks need no alignment beyond
// malloc's.
#include <pthread.h>

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <mutex>
#include <new>

#include "kel/DLLMalloc_impl.h"
#include "kel/SmallBlockAllocator_impl.h"

namespace zo {
namespace kel {
namespace detail {
namespace {

constexpr std::size_t kClassStep = 16;
constexpr std::size_t kClasses = kSmallBlockMax / kClassStep;

// Sizes of a thread's cache, per class: it holds at most kCacheLimit blocks, takes kRefillBlocks
// from the pool at a time and, when full, keeps the kKeepBlocks it freed last and gives the rest
// back. Bounded, so that a thread that drops many values returns them for others to use.
constexpr std::uint32_t kCacheLimit = 64;
constexpr std::uint32_t kRefillBlocks = 32;
constexpr std::uint32_t kKeepBlocks = 32;

// Chunks: 64 KiB from malloc each, one size class each. The page map below relies on a chunk
// being no longer than a page, so that at most one chunk starts in any page and the chunk of an
// address starts in its page or the one before.
constexpr unsigned kPageShift = 16;
constexpr std::size_t kChunkBytes = std::size_t{1} << kPageShift;
// Wholly free chunks kept per class instead of being freed.
constexpr std::uint32_t kSpareChunks = 1;

constexpr std::size_t ClassOf(std::size_t bytes) noexcept {
  return bytes == 0 ? 0 : (bytes - 1) / kClassStep;
}
constexpr std::size_t BlockBytes(std::size_t sizeClass) noexcept {
  return (sizeClass + 1) * kClassStep;
}

// A block while it is free: the link to the next free block is kept in its first word.
struct FreeBlock {
  FreeBlock* next;
};

struct Chunk {
  Chunk* prev;  // links in its class's list of chunks that have blocks to hand out
  Chunk* next;
  FreeBlock* returned;  // blocks given back
  char* fresh;          // the first block never handed out
  char* end;            // the end of the last block
  std::uint32_t blocksOut;
  std::uint32_t sizeClass;
  bool listed;

  char* firstBlock() noexcept;
  bool contains(std::uintptr_t address) const noexcept {
    const auto start = reinterpret_cast<std::uintptr_t>(this);
    return address >= start && address - start < kChunkBytes;
  }
  bool hasBlocks() const noexcept { return returned != nullptr || fresh != end; }
  void reset() noexcept {
    returned = nullptr;
    fresh = firstBlock();
  }
};

// The blocks start at the first multiple of the class step after the header, so that they are
// aligned as the chunk (malloc's alignment, at most 16).
constexpr std::size_t kChunkHeaderBytes =
    (sizeof(Chunk) + kClassStep - 1) / kClassStep * kClassStep;
inline char* Chunk::firstBlock() noexcept {
  return reinterpret_cast<char*>(this) + kChunkHeaderBytes;
}

// Pages (64 KiB of address space) to the chunk that starts in them: a root of leaves, each made
// zeroed on first use. Addresses above the map's range are not mapped; the pool then serves
// blocks straight from malloc, and blocks of no chunk are given back to free.
class ChunkMap {
 public:
  // Records the chunk; false when its address cannot be mapped or memory is exhausted.
  bool add(Chunk* chunk) noexcept {
    Chunk** slot = entry(PageOf(chunk), true);
    if (slot == nullptr) return false;
    *slot = chunk;
    return true;
  }
  void remove(Chunk* chunk) noexcept { *entry(PageOf(chunk), false) = nullptr; }

  // The chunk that holds the address, or null.
  Chunk* find(const void* block) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t page = address >> kPageShift;
    for (const std::uintptr_t p : {page, page - 1}) {
      Chunk** slot = entry(p, false);
      if (slot != nullptr && *slot != nullptr && (*slot)->contains(address)) return *slot;
    }
    return nullptr;
  }

 private:
  static constexpr unsigned kLeafBits = 16;
  static constexpr std::uintptr_t kLeafSize = std::uintptr_t{1} << kLeafBits;
  // 48-bit user addresses on x86-64, all 32 bits on i386.
  static constexpr unsigned kAddressBits = sizeof(void*) == 8 ? 48 : 32;
  static constexpr std::size_t kRoots = std::size_t{1} << (kAddressBits - kPageShift - kLeafBits);

  static std::uintptr_t PageOf(const Chunk* chunk) noexcept {
    return reinterpret_cast<std::uintptr_t>(chunk) >> kPageShift;
  }

  Chunk** entry(std::uintptr_t page, bool make) noexcept {
    const std::uintptr_t root = page >> kLeafBits;
    if (root >= kRoots) return nullptr;
    if (roots_ == nullptr) {
      if (!make) return nullptr;
      roots_ = static_cast<Chunk***>(std::calloc(kRoots, sizeof(Chunk**)));
      if (roots_ == nullptr) return nullptr;
    }
    Chunk**& leaf = roots_[root];
    if (leaf == nullptr) {
      if (!make) return nullptr;
      leaf = static_cast<Chunk**>(std::calloc(kLeafSize, sizeof(Chunk*)));
      if (leaf == nullptr) return nullptr;
    }
    return &leaf[page & (kLeafSize - 1)];
  }

  // Never freed: the map lives as long as the process.
  Chunk*** roots_ = nullptr;
};

struct ClassPool {
  Chunk* available = nullptr;     // chunks with blocks to hand out
  std::uint32_t emptyChunks = 0;  // those among them with no block out
};

// The chunks of every class, shared by all threads under one mutex.
class Pool {
 public:
  // Links up to `want` (>= 1) blocks of the class from `head`, null-terminated, and returns how
  // many. Throws std::bad_alloc when memory is exhausted.
  std::uint32_t take(std::size_t sizeClass, std::uint32_t want, FreeBlock*& head) {
    std::lock_guard<std::mutex> lock(mutex_);
    ClassPool& pool = classes_[sizeClass];
    Chunk* chunk = pool.available;
    if (chunk == nullptr) {
      chunk = newChunk(sizeClass);
      if (chunk == nullptr) return takeFromMalloc(sizeClass, head);
    }
    if (chunk->blocksOut == 0) --pool.emptyChunks;
    const std::size_t size = BlockBytes(sizeClass);
    std::uint32_t n = 0;
    FreeBlock** tail = &head;
    // Blocks given back come first: they are linked already, so the list is only cut.
    if (FreeBlock* block = chunk->returned) {
      *tail = block;
      for (n = 1; n < want && block->next != nullptr; ++n) block = block->next;
      chunk->returned = block->next;
      tail = &block->next;
    }
    for (; n < want && chunk->fresh != chunk->end; ++n) {
      auto* block = reinterpret_cast<FreeBlock*>(chunk->fresh);
      chunk->fresh += size;
      *tail = block;
      tail = &block->next;
    }
    *tail = nullptr;
    chunk->blocksOut += n;
    blocksOut_ += n;
    if (!chunk->hasBlocks()) unlink(pool, chunk);
    return n;
  }

  // Takes back the null-terminated list of blocks, of any classes.
  void give(FreeBlock* head) noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    while (head != nullptr) {
      Chunk* chunk = chunkOf(head);
      if (chunk == nullptr) {  // served from malloc when no chunk could be mapped
        FreeBlock* block = head;
        head = block->next;
        std::free(block);
        continue;
      }
      // Blocks of one chunk that follow each other in the list (the usual case: values made
      // together die together) go back as one run, with one update of the chunk.
      FreeBlock* last = head;
      std::uint32_t n = 1;
      while (last->next != nullptr &&
             chunk->contains(reinterpret_cast<std::uintptr_t>(last->next))) {
        last = last->next;
        ++n;
      }
      FreeBlock* const first = head;
      head = last->next;
      last->next = chunk->returned;
      chunk->returned = first;
      chunk->blocksOut -= n;
      blocksOut_ -= n;
      ClassPool& pool = classes_[chunk->sizeClass];
      if (!chunk->listed) link(pool, chunk);
      if (chunk->blocksOut == 0) retire(pool, chunk);
    }
  }

  SmallBlockStatistics statistics() noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    return SmallBlockStatistics{chunks_, chunks_ * kChunkBytes, blocksOut_};
  }

  // A process that forks while another thread holds the lock would leave the child's pool locked
  // for good; the fork handlers hold it across the fork instead.
  void lockForFork() noexcept { mutex_.lock(); }
  void unlockAfterFork() noexcept { mutex_.unlock(); }

 private:
  Chunk* newChunk(std::size_t sizeClass) {
    void* raw = std::malloc(kChunkBytes);
    if (raw == nullptr) throw std::bad_alloc();
    auto* chunk = static_cast<Chunk*>(raw);
    chunk->prev = chunk->next = nullptr;
    chunk->reset();
    const std::size_t size = BlockBytes(sizeClass);
    chunk->end = chunk->fresh + (kChunkBytes - kChunkHeaderBytes) / size * size;
    chunk->blocksOut = 0;
    chunk->sizeClass = static_cast<std::uint32_t>(sizeClass);
    chunk->listed = false;
    if (!map_.add(chunk)) {
      std::free(raw);
      return nullptr;
    }
    ++chunks_;
    ClassPool& pool = classes_[sizeClass];
    ++pool.emptyChunks;
    link(pool, chunk);
    return chunk;
  }

  static std::uint32_t takeFromMalloc(std::size_t sizeClass, FreeBlock*& head) {
    head = static_cast<FreeBlock*>(std::malloc(BlockBytes(sizeClass)));
    if (head == nullptr) throw std::bad_alloc();
    head->next = nullptr;
    return 1;
  }

  Chunk* chunkOf(const FreeBlock* block) noexcept {
    if (lastFound_ != nullptr && lastFound_->contains(reinterpret_cast<std::uintptr_t>(block))) {
      return lastFound_;
    }
    Chunk* chunk = map_.find(block);
    if (chunk != nullptr) lastFound_ = chunk;
    return chunk;
  }

  // A chunk with no block out: kept as a spare, or freed.
  void retire(ClassPool& pool, Chunk* chunk) noexcept {
    if (pool.emptyChunks < kSpareChunks) {
      ++pool.emptyChunks;
      chunk->reset();
      return;
    }
    unlink(pool, chunk);
    map_.remove(chunk);
    if (lastFound_ == chunk) lastFound_ = nullptr;
    --chunks_;
    std::free(chunk);
  }

  static void link(ClassPool& pool, Chunk* chunk) noexcept {
    chunk->prev = nullptr;
    chunk->next = pool.available;
    if (pool.available != nullptr) pool.available->prev = chunk;
    pool.available = chunk;
    chunk->listed = true;
  }
  static void unlink(ClassPool& pool, Chunk* chunk) noexcept {
    if (chunk->prev != nullptr) {
      chunk->prev->next = chunk->next;
    } else {
      pool.available = chunk->next;
    }
    if (chunk->next != nullptr) chunk->next->prev = chunk->prev;
    chunk->prev = chunk->next = nullptr;
    chunk->listed = false;
  }

  std::mutex mutex_;
  ClassPool classes_[kClasses];
  ChunkMap map_;
  Chunk* lastFound_ = nullptr;
  std::size_t chunks_ = 0;
  std::size_t blocksOut_ = 0;
};

// Built on first use and never destroyed: blocks are freed by static destructors and thread
// exits that may run after this file's statics are gone.
Pool& ThePool() noexcept {
  alignas(Pool) static unsigned char storage[sizeof(Pool)];
  static Pool* const pool = [] {
    Pool* made = new (storage) Pool();
    pthread_atfork([] { ThePool().lockForFork(); }, [] { ThePool().unlockAfterFork(); },
                   [] { ThePool().unlockAfterFork(); });
    return made;
  }();
  return *pool;
}

enum CacheState : std::uint8_t { kCacheUnused, kCacheLive, kCacheGone };

// A thread's cached blocks. Zero-initialised, so that the fast paths read it without a guard:
// room 0 sends the first free and every free after thread exit to the slow path, which arms
// the cache or bypasses it.
struct ThreadCache {
  FreeBlock* heads[kClasses];
  std::uint32_t room[kClasses];  // how many more blocks each list takes
  CacheState state;
};
thread_local ThreadCache t_cache;

// Gives the thread's cached blocks back when the thread ends; later frees of that thread (from
// destructors that run after this one) go straight to the pool.
struct CacheOwner {
  bool armed = false;
  ~CacheOwner() {
    ThreadCache& cache = t_cache;
    cache.state = kCacheGone;
    FreeBlock* all = nullptr;
    for (std::size_t c = 0; c < kClasses; ++c) {
      while (FreeBlock* block = cache.heads[c]) {
        cache.heads[c] = block->next;
        block->next = all;
        all = block;
      }
      cache.room[c] = 0;
    }
    if (all != nullptr) ThePool().give(all);
  }
};
thread_local CacheOwner t_owner;

// First use in a thread: registers the thread-exit release, opens the lists.
void Arm(ThreadCache& cache) noexcept {
  t_owner.armed = true;
  cache.state = kCacheLive;
  for (std::uint32_t& room : cache.room) room = kCacheLimit;
}

[[gnu::noinline]] void* Refill(ThreadCache& cache, std::size_t sizeClass) {
  if (cache.state == kCacheUnused) Arm(cache);
  const bool caching = cache.state == kCacheLive;
  FreeBlock* head = nullptr;
  const std::uint32_t n = ThePool().take(sizeClass, caching ? kRefillBlocks : 1, head);
  if (caching && n > 1) {
    cache.heads[sizeClass] = head->next;
    cache.room[sizeClass] -= n - 1;
  }
  return head;
}

[[gnu::noinline]] void FreeSlow(ThreadCache& cache, std::size_t sizeClass,
                                FreeBlock* block) noexcept {
  if (cache.state == kCacheUnused) Arm(cache);
  if (cache.state != kCacheLive) {
    block->next = nullptr;
    ThePool().give(block);
    return;
  }
  block->next = cache.heads[sizeClass];
  cache.heads[sizeClass] = block;
  if (cache.room[sizeClass] != 0) {  // just armed
    --cache.room[sizeClass];
    return;
  }
  // Full: keep the blocks freed last (likely still in the processor's cache), give the rest.
  FreeBlock* last = block;
  for (std::uint32_t i = 1; i < kKeepBlocks; ++i) last = last->next;
  FreeBlock* rest = last->next;
  last->next = nullptr;
  cache.room[sizeClass] = kCacheLimit - kKeepBlocks;
  ThePool().give(rest);
}

}  // namespace

void* SmallBlockAllocate(std::size_t bytes) {
  if (AllocationRefusedHere(bytes)) throw std::bad_alloc();
  if (bytes > kSmallBlockMax) {
    void* p = std::malloc(bytes);
    if (p == nullptr) throw std::bad_alloc();
    return p;
  }
  const std::size_t sizeClass = ClassOf(bytes);
  ThreadCache& cache = t_cache;
  FreeBlock* block = cache.heads[sizeClass];
  if (block == nullptr) return Refill(cache, sizeClass);
  cache.heads[sizeClass] = block->next;
  ++cache.room[sizeClass];
  return block;
}

void SmallBlockFree(void* block, std::size_t bytes) noexcept {
  if (block == nullptr) return;
  if (bytes > kSmallBlockMax) {
    std::free(block);
    return;
  }
  const std::size_t sizeClass = ClassOf(bytes);
  ThreadCache& cache = t_cache;
  auto* freed = static_cast<FreeBlock*>(block);
  if (cache.room[sizeClass] == 0) {
    FreeSlow(cache, sizeClass, freed);
    return;
  }
  freed->next = cache.heads[sizeClass];
  cache.heads[sizeClass] = freed;
  --cache.room[sizeClass];
}

SmallBlockStatistics GetSmallBlockStatistics() noexcept { return ThePool().statistics(); }

}  // namespace detail
}  // namespace kel
}  // namespace zo
