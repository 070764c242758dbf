// Array-new for the library's conversion results, with the library's allocation test seam.
#ifndef ZO_KEL_NEWARRAY_IMPL_H
#define ZO_KEL_NEWARRAY_IMPL_H

#include <cstddef>
#include <limits>
#include <new>

#include "kel/DLLMalloc.h"

namespace zo {
namespace kel {
namespace detail {

// new T[count], uninitialised, released by the caller with delete[]. Throws std::bad_alloc when
// the byte count does not fit in size_t or the allocation hook refuses it, so that conversion
// code can be tested for exhausted memory like every other allocator of the library.
template <typename T>
T* NewArray(std::size_t count) {
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_alloc();
  if (AllocationRefused(static_cast<unsigned long long>(count) * sizeof(T))) {
    throw std::bad_alloc();
  }
  return new T[count];
}

}  // namespace detail
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_NEWARRAY_IMPL_H
