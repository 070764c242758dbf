#include "kel/osdep/IntegerToString.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <string>

#include "kel/exception.h"
#include "support/KelTest.h"

namespace {

using namespace zo::kel::osdep;
using zo::kel::WString;
using zo::kel::exception::UnableToConvert;

TEST(IntegerToString, DigitsMostSignificantFirstNegativesSignedOnlyInDecimal) {
  const std::int64_t i64Min = std::numeric_limits<std::int64_t>::min();
  const struct {
    WString text;
    const wchar_t* expected;
  } rows[] = {
      {UInt32ToString(255, 16), L"FF"},
      {UInt32ToString(0, 2), L"0"},
      {UInt64ToString(~0ull, 2),
       L"1111111111111111111111111111111111111111111111111111111111111111"},
      {UInt64ToString(~0ull, 10), L"18446744073709551615"},
      {UInt64ToString(~0ull, 36), L"3W5E11264SGSF"},
      {UInt32ToString(36, 36), L"10"},
      {UInt32ToString(12345, 7), L"50664"},
      {UInt16ToString(65535, 8), L"177777"},
      {UInt8ToString(255, 2), L"11111111"},
      {UIntToString(4294967295u, 10), L"4294967295"},
      {Int32ToString(-42, 10), L"-42"},
      {Int16ToString(-2, 16), L"FFFE"},
      {Int8ToString(-1, 2), L"11111111"},
      {Int64ToString(-1, 36), L"3W5E11264SGSF"},
      {Int64ToString(i64Min, 10), L"-9223372036854775808"},
      {Int64ToString(i64Min, 16), L"8000000000000000"},
      {Int32ToString(std::numeric_limits<std::int32_t>::min(), 10), L"-2147483648"},
      {IntToString(std::numeric_limits<int>::min(), 8), L"20000000000"},
      {Int16ToString(-32768, 10), L"-32768"},
      {Int8ToString(-128, 10), L"-128"},
      {Int8ToString(127, 16), L"7F"},
      {Int32ToString(2147483647, 2), L"1111111111111111111111111111111"},
      {IntToString(0, 10), L"0"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.expected, std::wstring(row.text.begin(), row.text.end()));
  }
}

TEST(IntegerToString, RadixOutsideTwoToThirtySixIsRefused) {
  const std::function<WString(std::uint32_t)> conversions[] = {
      [](std::uint32_t r) { return UInt64ToString(7, r); },
      [](std::uint32_t r) { return UInt32ToString(0, r); },
      [](std::uint32_t r) { return UInt16ToString(7, r); },
      [](std::uint32_t r) { return UInt8ToString(7, r); },
      [](std::uint32_t r) { return UIntToString(7, r); },
      [](std::uint32_t r) { return Int64ToString(-7, r); },
      [](std::uint32_t r) { return Int32ToString(7, r); },
      [](std::uint32_t r) { return Int16ToString(-7, r); },
      [](std::uint32_t r) { return Int8ToString(0, r); },
      [](std::uint32_t r) { return IntToString(-7, r); },
  };
  for (const auto& convert : conversions) {
    for (const std::uint32_t radix : {0u, 1u, 37u, 0xFFFFFFFFu}) {
      EXPECT_KEL_THROW(convert(radix), UnableToConvert, -1, "Unable to convert.");
    }
    EXPECT_NO_THROW(convert(2));
    EXPECT_NO_THROW(convert(36));
  }
  try {
    UInt32ToString(5, 0);
  } catch (const UnableToConvert& e) {
    EXPECT_STREQ("IntegerToString", e.getFile());
  }
}

}  // namespace
