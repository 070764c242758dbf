// The atomic reference counter of every shared object of the library.
#ifndef ZO_KEL_OSDEP_ATOMICINT_H
#define ZO_KEL_OSDEP_ATOMICINT_H

#include <atomic>
#include <cstdint>

#include "kel/export.h"

// The C library tells whether the process has ever started a second thread (glibc 2.32 on);
// without it every count is atomic.
#if defined(__has_include)
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define ZO_KEL_HAVE_LIBC_SINGLE_THREADED 1
#endif
#endif

namespace zo {
namespace kel {
namespace osdep {

/// A signed 32-bit counter whose every operation is atomic. It uses processor atomics rather
/// than a lock per counter: copying a value must not cost an allocation and a lock round trip.
/// Counts change with acquire-release ordering, so the thread that sees a count reach 0 also sees
/// every write made by the other owners before they released.
///
/// In a process that has never started a second thread, increment and decrement skip the atomic
/// instruction (as the standard library's shared pointers do): the C library clears its
/// single-threaded flag before a second thread starts, so every count touched before is seen by
/// that thread through the thread start, and every count touched after takes the atomic path.
class ZO_KEL_API AtomicInt {
 public:
  /// A counter holding `initial`.
  explicit AtomicInt(int initial = 0) noexcept : value_(initial) {}
  AtomicInt(const AtomicInt&) = delete;
  AtomicInt& operator=(const AtomicInt&) = delete;

  /// Adds one and returns the new value.
  std::int32_t increment() noexcept {
    if (SingleThreaded()) return Store(value_.load(std::memory_order_relaxed) + 1);
    return value_.fetch_add(1, std::memory_order_acq_rel) + 1;
  }
  /// Subtracts one and returns the new value (an owner destroys its object when this returns 0).
  std::int32_t decrement() noexcept {
    if (SingleThreaded()) return Store(value_.load(std::memory_order_relaxed) - 1);
    return value_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  }
  /// Subtracts one unless the value is 1, and returns whether it did: an owner that is not the
  /// last drops its reference here, and the last one learns that it must destroy the object.
  bool decrementUnlessLast() noexcept {
    std::int32_t value = value_.load(std::memory_order_relaxed);
    if (SingleThreaded()) {
      if (value == 1) return false;
      Store(value - 1);
      return true;
    }
    while (value != 1) {
      if (value_.compare_exchange_weak(value, value - 1, std::memory_order_acq_rel,
                                       std::memory_order_relaxed))
        return true;
    }
    return false;
  }
  /// The current value (acquire).
  std::int32_t getCount() const noexcept { return value_.load(std::memory_order_acquire); }
  /// Stores `value` (release).
  void replace(std::int32_t value) noexcept { value_.store(value, std::memory_order_release); }
  /// Stores desired when the value equals expected; returns the value found before, so the
  /// exchange happened exactly when the result equals expected.
  std::int32_t compareExchange(std::int32_t expected, std::int32_t desired) noexcept {
    value_.compare_exchange_strong(expected, desired, std::memory_order_acq_rel);
    return expected;
  }

  /// Compare the current value with `v`.
  ///@{
  bool operator==(int v) const noexcept { return getCount() == v; }
  bool operator!=(int v) const noexcept { return getCount() != v; }
  bool operator>(int v) const noexcept { return getCount() > v; }
  bool operator>=(int v) const noexcept { return getCount() >= v; }
  ///@}

 private:
  // True while the process has only ever had one thread.
  static bool SingleThreaded() noexcept {
#ifdef ZO_KEL_HAVE_LIBC_SINGLE_THREADED
    return __libc_single_threaded != 0;
#else
    return false;
#endif
  }
  std::int32_t Store(std::int32_t value) noexcept {
    value_.store(value, std::memory_order_relaxed);
    return value;
  }

  std::atomic<std::int32_t> value_;
};

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_ATOMICINT_H
