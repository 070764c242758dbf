// Exhausted memory on demand for the unit tests: refuses the library's allocations from a size
// on and records what was asked for.
#ifndef ZO_KEL_TESTS_ALLOCATIONHOOK_H
#define ZO_KEL_TESTS_ALLOCATIONHOOK_H

#include <vector>

#include "kel/DLLMalloc.h"

namespace zo_kel_test {

namespace detail {
inline unsigned long long g_refuseFrom = ~0ull;
inline unsigned long long g_lastRequest = 0;
inline int g_requests = 0;
inline std::vector<unsigned long long> g_sizes;
inline bool RecordingHook(unsigned long long bytes) {
  g_lastRequest = bytes;
  ++g_requests;
  g_sizes.push_back(bytes);
  return bytes >= g_refuseFrom;
}
}  // namespace detail

/// While it lives, every allocation of the library is counted, and each of at least `bytes`
/// bytes fails as if memory were exhausted (0 refuses all). Not for use from several threads.
class RefuseAllocationsFrom {
 public:
  explicit RefuseAllocationsFrom(unsigned long long bytes) {
    detail::g_refuseFrom = bytes;
    detail::g_lastRequest = 0;
    detail::g_requests = 0;
    detail::g_sizes.clear();
    previous_ = zo::kel::detail::SetAllocationHook(&detail::RecordingHook);
  }
  ~RefuseAllocationsFrom() {
    zo::kel::detail::SetAllocationHook(previous_);
    detail::g_refuseFrom = ~0ull;
  }
  RefuseAllocationsFrom(const RefuseAllocationsFrom&) = delete;
  RefuseAllocationsFrom& operator=(const RefuseAllocationsFrom&) = delete;

  /// Allocations asked for since construction or the last ResetCount().
  int Requests() const { return detail::g_requests; }
  void ResetCount() {
    detail::g_requests = 0;
    detail::g_sizes.clear();
  }
  /// Size of the last allocation asked for.
  unsigned long long LastRequest() const { return detail::g_lastRequest; }
  /// Sizes of the allocations asked for since construction or the last ResetCount(), in order.
  const std::vector<unsigned long long>& Sizes() const { return detail::g_sizes; }

 private:
  zo::kel::detail::AllocationHook previous_;
};

}  // namespace zo_kel_test

#endif  // ZO_KEL_TESTS_ALLOCATIONHOOK_H
