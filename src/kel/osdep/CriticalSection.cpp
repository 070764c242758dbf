// Recursive POSIX mutexes behind CriticalSection.
#include "kel/osdep/CriticalSection.h"

#include <cerrno>
#include <memory>

namespace zo {
namespace kel {
namespace osdep {

UnixCriticalSection::UnixCriticalSection() {
  auto mutex = std::make_unique<pthread_mutex_t>();
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(mutex.get(), &attr);
  pthread_mutexattr_destroy(&attr);
  mutex_ = mutex.release();
}

UnixCriticalSection::~UnixCriticalSection() {
  pthread_mutex_destroy(mutex_);
  delete mutex_;
}

void UnixCriticalSection::enter() const noexcept { pthread_mutex_lock(mutex_); }

void UnixCriticalSection::leave() const noexcept { pthread_mutex_unlock(mutex_); }

bool UnixCriticalSection::tryEnter() const noexcept {
  const int rc = pthread_mutex_trylock(mutex_);
  return rc != EBUSY && rc != EINVAL;
}

CriticalSection::CriticalSection() : impl_(new UnixCriticalSection) {}

CriticalSection::CriticalSection(IValidator*) : impl_(new UnixCriticalSection) {}

CriticalSection::~CriticalSection() { delete impl_; }

}  // namespace osdep
}  // namespace kel
}  // namespace zo
