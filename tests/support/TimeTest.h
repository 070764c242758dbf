// Helpers of the time tests: the words of a fixed-point value as hex text, and values from words.
#ifndef ZO_KEL_TESTS_TIMETEST_H
#define ZO_KEL_TESTS_TIMETEST_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "kel/time/tFixedPoint128.h"

namespace zo_kel_test {

/// The four words of a fixed-point value, most significant first: "00000000 00000001 80000000
/// 00000000" is 1.5.
template <typename T>
std::string W(const T& v) {
  std::uint32_t w3, w2, w1, w0;
  v.Get(w3, w2, w1, w0);
  char text[40];
  std::snprintf(text, sizeof text, "%08X %08X %08X %08X", w3, w2, w1, w0);
  return text;
}

/// The signed fixed-point value with the given words, most significant first.
inline nZOSS100::tSignedFixedPoint128 F(std::uint32_t w3, std::uint32_t w2, std::uint32_t w1,
                                        std::uint32_t w0) {
  return nZOSS100::tSignedFixedPoint128::FromWords(w3, w2, w1, w0);
}

}  // namespace zo_kel_test

#endif  // ZO_KEL_TESTS_TIMETEST_H
