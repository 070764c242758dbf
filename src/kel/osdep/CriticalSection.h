// A recursive lock on POSIX threads.
#ifndef ZO_KEL_OSDEP_CRITICALSECTION_H
#define ZO_KEL_OSDEP_CRITICALSECTION_H

#include <pthread.h>

#include "kel/export.h"

namespace zo {
namespace kel {
namespace osdep {

/// One heap-allocated recursive POSIX mutex: the thread that holds it may enter again and leaves
/// as often as it entered. Lock failures of the platform are not reported.
class ZO_KEL_API UnixCriticalSection {
 public:
  UnixCriticalSection();
  ~UnixCriticalSection();
  UnixCriticalSection(const UnixCriticalSection&) = delete;
  UnixCriticalSection& operator=(const UnixCriticalSection&) = delete;

  /// Waits for and takes the mutex; a thread that holds it may take it again (recursive).
  void enter() const noexcept;
  /// Releases one enter() of the calling thread.
  void leave() const noexcept;
  /// False when the mutex is held by another thread or is invalid; true once entered.
  bool tryEnter() const noexcept;
  /// Always true: ownership is not tracked on this platform; callers use it in assertions only.
  bool inOwningThread() const noexcept { return true; }

 private:
  pthread_mutex_t* mutex_;
};

/// The library's recursive lock; forwards to a heap-allocated UnixCriticalSection.
class ZO_KEL_API CriticalSection {
 public:
  /// Accepted for interface compatibility and not used.
  class IValidator {
   public:
    virtual ~IValidator() = default;
  };

  CriticalSection();
  /// The same as CriticalSection(); `validator` is ignored.
  explicit CriticalSection(IValidator* validator);
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  /// As UnixCriticalSection::enter, leave, tryEnter and inOwningThread.
  ///@{
  void enter() const noexcept { impl_->enter(); }
  void leave() const noexcept { impl_->leave(); }
  bool tryEnter() const noexcept { return impl_->tryEnter(); }
  bool inOwningThread() const noexcept { return impl_->inOwningThread(); }
  ///@}

 private:
  UnixCriticalSection* impl_;
};

/// Holds a CriticalSection for the lifetime of the guard.
class CriticalSectionGuard {
 public:
  /// Enters `lock`, which must outlive the guard; the destructor leaves it.
  explicit CriticalSectionGuard(const CriticalSection& lock) noexcept : lock_(lock) {
    lock_.enter();
  }
  ~CriticalSectionGuard() { lock_.leave(); }
  CriticalSectionGuard(const CriticalSectionGuard&) = delete;
  CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

 private:
  const CriticalSection& lock_;
};

}  // namespace osdep
}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_OSDEP_CRITICALSECTION_H
