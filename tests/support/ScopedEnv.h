// Pins an environment variable (a time zone, most often) for the length of a test.
#ifndef ZO_KEL_TESTS_SCOPEDENV_H
#define ZO_KEL_TESTS_SCOPEDENV_H

#include <cstdlib>
#include <ctime>
#include <string>

namespace zo_kel_test {

/// Sets `name` to `value` and re-reads the time zone; the old value (or its absence) comes back
/// when the object goes out of scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    setenv(name, value, 1);
    tzset();
  }
  ~ScopedEnv() {
    if (had_) {
      setenv(name_, old_.c_str(), 1);
    } else {
      unsetenv(name_);
    }
    tzset();
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  bool had_;
  std::string old_;
};

}  // namespace zo_kel_test

#endif  // ZO_KEL_TESTS_SCOPEDENV_H
