// malloc/realloc/free with the library's failure rule: exhaustion throws std::bad_alloc.
#include "kel/DLLMalloc.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "kel/DLLMalloc_impl.h"

namespace zo {
namespace kel {
namespace detail {
std::atomic<AllocationHook> g_allocationHook{nullptr};

AllocationHook SetAllocationHook(AllocationHook hook) noexcept {
  return g_allocationHook.exchange(hook);
}

bool AllocationRefused(unsigned long long bytes) noexcept { return AllocationRefusedHere(bytes); }
}  // namespace detail

void* DLLMallocNoThrow(unsigned n) noexcept {
  if (detail::AllocationRefused(n)) return nullptr;
  return std::malloc(n);
}

void* DLLMalloc(unsigned n) {
  void* p = DLLMallocNoThrow(n);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

void* DLLReallocNoThrow(void* p, unsigned n) noexcept {
  if (n != 0 && detail::AllocationRefused(n)) return nullptr;
  return std::realloc(p, n);
}

void* DLLRealloc(void* p, unsigned n) {
  void* q = DLLReallocNoThrow(p, n);
  if (q == nullptr && n != 0) throw std::bad_alloc();
  return q;
}

void DLLFree(void* p) noexcept { std::free(p); }

bool MakeDLLMallocThrow(bool) noexcept { return false; }

}  // namespace kel
}  // namespace zo
