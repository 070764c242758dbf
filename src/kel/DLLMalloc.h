// The library's own allocation wrappers: memory that crosses the library's interface is obtained
// and released here, with std::bad_alloc on exhaustion.
#ifndef ZO_KEL_DLLMALLOC_H
#define ZO_KEL_DLLMALLOC_H

#include <new>

#include "kel/export.h"

namespace zo {
namespace kel {

namespace detail {
/// A test seam: when set, the hook is asked before every allocation and reallocation of the
/// library (the wrappers below and the library's other allocators) with the byte count, and
/// returning true makes that allocation fail as if memory were exhausted. Returns the previous
/// hook; null removes it. Not for production use.
using AllocationHook = bool (*)(unsigned long long bytes);
ZO_KEL_API AllocationHook SetAllocationHook(AllocationHook hook) noexcept;
/// True when the installed hook refuses an allocation of this size.
ZO_KEL_API bool AllocationRefused(unsigned long long bytes) noexcept;
}  // namespace detail

/// malloc(n); may return null.
ZO_KEL_API void* DLLMallocNoThrow(unsigned n) noexcept;
/// malloc(n); throws std::bad_alloc instead of returning null.
ZO_KEL_API void* DLLMalloc(unsigned n);
/// realloc(p, n); may return null (p is then still owned by the caller).
ZO_KEL_API void* DLLReallocNoThrow(void* p, unsigned n) noexcept;
/// realloc(p, n); throws std::bad_alloc on a null result unless n is 0 (then null is returned).
/// After a throw p is still valid and owned by the caller.
ZO_KEL_API void* DLLRealloc(void* p, unsigned n);
/// free(p).
ZO_KEL_API void DLLFree(void* p) noexcept;
/// Kept for callers of the older interface: ignores its argument and returns false; the
/// throwing behaviour of DLLMalloc is fixed.
ZO_KEL_API bool MakeDLLMallocThrow(bool) noexcept;

/// Resizes [begin, end) to hold n elements plus one spare for a terminator, reallocating only to
/// grow (n > current) or to shrink below half (2n < current); otherwise nothing changes, not even
/// end. After a reallocation end = begin + n. Throws std::bad_alloc and leaves both pointers
/// unchanged when memory is exhausted.
template <typename C>
void ReallocBuffer(C*& begin, C*& end, unsigned n) {
  const unsigned current = static_cast<unsigned>(end - begin);
  if (n > current || 2u * static_cast<unsigned long long>(n) < current) {
    const unsigned long long bytes = (static_cast<unsigned long long>(n) + 1u) * sizeof(C);
    if (bytes > 0xFFFFFFFFull) throw std::bad_alloc();
    begin = static_cast<C*>(DLLRealloc(begin, static_cast<unsigned>(bytes)));
    end = begin + n;
  }
}

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_DLLMALLOC_H
