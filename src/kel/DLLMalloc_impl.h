// The allocation hook as the library's own allocators read it: inline, without a call per
// allocation (the small-block allocator's fast path is a handful of instructions).
#ifndef ZO_KEL_DLLMALLOC_IMPL_H
#define ZO_KEL_DLLMALLOC_IMPL_H

#include <atomic>

#include "kel/DLLMalloc.h"

namespace zo {
namespace kel {
namespace detail {

/// The hook SetAllocationHook installed, or null. Internal to the library.
extern std::atomic<AllocationHook> g_allocationHook;

/// AllocationRefused, inline.
inline bool AllocationRefusedHere(unsigned long long bytes) noexcept {
  const AllocationHook hook = g_allocationHook.load(std::memory_order_relaxed);
  return hook != nullptr && hook(bytes);
}

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_DLLMALLOC_IMPL_H
