#include "kel/osdep/IntegerToString.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "kel/exception.h"
#include "support/KelTest.h"

namespace {

using namespace zo::kel::osdep;
using zo::kel::WString;
using zo::kel::exception::UnableToConvert;

TEST(IntegerToString, DigitsMostSignificantFirstNegativesSignedOnlyInDecimal) {
  const struct {
    WString text;
    const wchar_t* expected;
  } rows[] = {
      {UInt32ToString(255, 16), L"FF"},
      {UInt64ToString(~0ull, 36), L"3W5E11264SGSF"},
      {UInt16ToString(65535, 8), L"177777"},
      {UInt8ToString(0, 7), L"0"},
      {UIntToString(4294967295u, 10), L"4294967295"},
      // Other radixes show the two's-complement bits at the type's width.
      {Int16ToString(-2, 16), L"FFFE"},
      {Int8ToString(-1, 2), L"11111111"},
      {Int64ToString(std::numeric_limits<std::int64_t>::min(), 10), L"-9223372036854775808"},
      {Int32ToString(std::numeric_limits<std::int32_t>::min(), 10), L"-2147483648"},
      {IntToString(std::numeric_limits<int>::min(), 8), L"20000000000"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.expected, std::wstring(row.text.begin(), row.text.end()));
  }
}

TEST(IntegerToString, RadixOutsideTwoToThirtySixIsRefused) {
  for (const std::uint32_t radix : {0u, 1u, 37u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(radix);
    EXPECT_KEL_THROW(UInt32ToString(0, radix), UnableToConvert, -1, "Unable to convert.");
    EXPECT_KEL_THROW(Int64ToString(-7, radix), UnableToConvert, -1, "Unable to convert.");
    EXPECT_KEL_THROW(Int16ToString(7, radix), UnableToConvert, -1, "Unable to convert.");
  }
}

}  // namespace
