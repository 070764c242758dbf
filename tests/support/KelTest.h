// Shared helpers of the unit tests: hex byte images and checks of thrown library errors.
#ifndef ZO_KEL_TESTS_KELTEST_H
#define ZO_KEL_TESTS_KELTEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace zo_kel_test {

using Bytes = std::vector<unsigned char>;

/// Bytes from hex text such as "05 10 00 00 61"; blanks are ignored.
inline Bytes Hex(const std::string& text) {
  Bytes out;
  int high = -1;
  for (char c : text) {
    int v;
    if (c >= '0' && c <= '9') {
      v = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      v = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      v = c - 'A' + 10;
    } else {
      continue;
    }
    if (high < 0) {
      high = v;
    } else {
      out.push_back(static_cast<unsigned char>(high * 16 + v));
      high = -1;
    }
  }
  return out;
}

/// Hex text of bytes, upper case, separated by blanks: the form the tests write images in.
inline std::string ToHex(const unsigned char* data, std::size_t n) {
  std::string out;
  char buf[4];
  for (std::size_t i = 0; i < n; ++i) {
    std::snprintf(buf, sizeof buf, i == 0 ? "%02X" : " %02X", data[i]);
    out += buf;
  }
  return out;
}
inline std::string ToHex(const Bytes& b) { return ToHex(b.data(), b.size()); }

}  // namespace zo_kel_test

/// Expects `statement` to throw exactly `type` (or a subclass), with the given getErrorCode()
/// and what() text.
#define EXPECT_KEL_THROW(statement, type, code, text)                          \
  do {                                                                         \
    bool zo_kel_caught = false;                                                \
    try {                                                                      \
      statement;                                                               \
    } catch (const type& zo_kel_error) {                                       \
      zo_kel_caught = true;                                                    \
      EXPECT_EQ(static_cast<std::int32_t>(code), zo_kel_error.getErrorCode()); \
      EXPECT_STREQ(text, zo_kel_error.what());                                 \
    }                                                                          \
    EXPECT_TRUE(zo_kel_caught) << "expected " #type " from " #statement;       \
  } while (false)

/// As EXPECT_KEL_THROW, and also the recorded place of the throw (getFile(), getLine()).
#define EXPECT_KEL_THROW_AT(statement, type, code, text, file, line)           \
  do {                                                                         \
    bool zo_kel_caught = false;                                                \
    try {                                                                      \
      statement;                                                               \
    } catch (const type& zo_kel_error) {                                       \
      zo_kel_caught = true;                                                    \
      EXPECT_EQ(static_cast<std::int32_t>(code), zo_kel_error.getErrorCode()); \
      EXPECT_STREQ(text, zo_kel_error.what());                                 \
      EXPECT_STREQ(file, zo_kel_error.getFile());                              \
      EXPECT_EQ(line, zo_kel_error.getLine());                                 \
    }                                                                          \
    EXPECT_TRUE(zo_kel_caught) << "expected " #type " from " #statement;       \
  } while (false)

#endif  // ZO_KEL_TESTS_KELTEST_H
