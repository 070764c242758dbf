// Pins the process's locale for the length of a test and restores it afterwards.
#ifndef ZO_KEL_TESTS_SCOPEDLOCALE_H
#define ZO_KEL_TESTS_SCOPEDLOCALE_H

#include <clocale>
#include <string>

namespace zo_kel_test {

/// Sets every category of the process's locale to `name` (LC_ALL); `ok()` tells whether the
/// C library accepted it. The previous locale comes back when the object goes out of scope.
class ScopedLocale {
 public:
  explicit ScopedLocale(const char* name) : saved_(std::setlocale(LC_ALL, nullptr)) {
    ok_ = std::setlocale(LC_ALL, name) != nullptr;
  }
  ~ScopedLocale() { std::setlocale(LC_ALL, saved_.c_str()); }
  ScopedLocale(const ScopedLocale&) = delete;
  ScopedLocale& operator=(const ScopedLocale&) = delete;

  bool ok() const { return ok_; }

 private:
  std::string saved_;
  bool ok_ = false;
};

}  // namespace zo_kel_test

#endif  // ZO_KEL_TESTS_SCOPEDLOCALE_H
