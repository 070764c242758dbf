// The display format table: names, lookups, the overflow text, and number formats that print
// exactly what the C library's printf prints for the same format text.
#include "qmstatic/text/DisplayFormat.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "qmstatic/text/NumberToText.h"

namespace {

// The 74 format names and the printf texts of the number formats (0-25), in number order.
// clang-format off
const char* const kNames[74] = {
    "General", "0", "0.0", "0.00", "0.000", "0.0000", "0.00000", "0.000000", "0.0000000",
    "0.00000000", "0E0", "0.0E+0", "0.00E+0", "0.000E+0", "0.0000E+0", "0.00000E+0",
    "0.000000E+0", "0.0000000E+0", "0.00000000E+0",
    "00", "000", "0000", "00000", "000000", "0000000", "00000000",
    "H", "H.H", "H.HH", "M", "M.M", "M.MM", "S", "S.S", "S.SS",
    "HH:MM", "HH:MM:SS", "HH:MM:SS.S", "HH:MM:SS.SS", "HH:MM:SS.SSS",
    "MM:SS", "MM:SS.S", "MM:SS.SS", "MM:SS.SSS",
    "hh:mm", "hh:mm:ss", "mm/dd hh:mm", "mm/dd hh:mm:ss",
    "mm/dd/yy", "mm/dd/yy hh:mm", "mm/dd/yy hh:mm:ss", "dd/mm hh:mm", "dd/mm hh:mm:ss",
    "dd/mm/yy", "dd/mm/yy hh:mm", "dd/mm/yy hh:mm:ss",
    "0x0", "0x00", "0x000", "0x0000", "0x00000", "0x000000", "0x0000000", "0x00000000",
    "mm/dd/yyyy", "mm/dd/yyyy hh:mm", "mm/dd/yyyy hh:mm:ss",
    "dd/mm/yyyy", "dd/mm/yyyy hh:mm", "dd/mm/yyyy hh:mm:ss",
    "yyyy-mm-dd", "yyyy-mm-dd hh:mm", "yyyy-mm-dd hh:mm:ss", "hh:mm:ss.s"};
const char* const kNumberPrintf[26] = {
    "%G", "%0.0f", "%0.1f", "%0.2f", "%0.3f", "%0.4f", "%0.5f", "%0.6f", "%0.7f", "%0.8f",
    "%0.0E", "%0.1E", "%0.2E", "%0.3E", "%0.4E", "%0.5E", "%0.6E", "%0.7E", "%0.8E",
    "%02.0f", "%03.0f", "%04.0f", "%05.0f", "%06.0f", "%07.0f", "%08.0f"};
// clang-format on

TEST(DisplayFormat, NamesLookUpExactlyAndCaseSensitively) {
  char buf[32];
  for (short i = 0; i < 74; ++i) {
    short index = -1;
    EXPECT_TRUE(IsFormat0(kNames[i], &index)) << kNames[i];
    EXPECT_EQ(i, index);
    EXPECT_STREQ(kNames[i], GetFormatText0(static_cast<unsigned>(i), buf, sizeof buf));
  }
  short index = 99;
  for (const char* name : {"0.00 ", "general", "", "hh:MM", "0x", "yyyy/mm/dd"}) {
    EXPECT_FALSE(IsFormat0(name, &index)) << name;
  }
  EXPECT_FALSE(IsFormat0(nullptr, &index));
  EXPECT_EQ(99, index);
}

TEST(DisplayFormat, FormatTextAndOverflowTextAreCutAndTerminated) {
  char buf[40];
  const struct {
    unsigned format, size;
    const char* text;
  } names[] = {{200, 16, "General"}, {74, 16, "General"}, {36, 4, "HH:"}, {36, 1, ""}};
  for (const auto& c : names) EXPECT_STREQ(c.text, GetFormatText0(c.format, buf, c.size));
  // At most fifteen asterisks, negated in the result.
  const struct {
    unsigned size;
    int result;
  } overflows[] = {{5, -4}, {16, -15}, {40, -15}, {1, 0}};
  for (const auto& c : overflows) {
    EXPECT_EQ(c.result, SetOverflow(buf, c.size)) << c.size;
    EXPECT_EQ(std::string(static_cast<std::size_t>(-c.result), '*'), buf) << c.size;
  }
  buf[0] = 'x';
  EXPECT_EQ(buf, GetFormatText0(1, buf, 0));
  EXPECT_EQ(0, SetOverflow(buf, 0));
  EXPECT_EQ('x', buf[0]);
}

// Values that stress printf's decisions: ties in every precision, roll-overs to the next power
// of ten, the %G switch between fixed and scientific, and the ends of the double range.
std::vector<double> NumbersToCompare() {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<double> values = {
      0.0,          -0.0,   0.5,           1.5,      2.5,       -2.5,     0.125,   0.375,
      1e-5,         0.0001, 0.00009999995, 999999.5, 9999995.0, 123456.5, 1e15,    9.5,
      99.95,        0.05,   1e100,         -1e-100,  DBL_MAX,   -DBL_MAX, DBL_MIN, DBL_TRUE_MIN,
      4294967295.5, inf,    -inf,          nan,      -nan};
  std::mt19937_64 random(20240520);
  for (int i = 0; i < 12000; ++i) {
    // Any bit pattern: every exponent, subnormals, and now and then NaN or an infinity.
    const std::uint64_t bits = random();
    double v;
    std::memcpy(&v, &bits, sizeof v);
    values.push_back(v);
    // Numbers as displays see them: a few digits, exact binary fractions that tie when rounded.
    const double scale = std::pow(10.0, static_cast<int>(random() % 17) - 8);
    values.push_back((static_cast<std::int64_t>(random() % 2000001) - 1000000) * scale);
    values.push_back(static_cast<double>(random() % 100000) + (random() % 8) / 8.0);
  }
  return values;
}

TEST(DisplayFormat, NumberFormatsPrintWhatPrintfPrints) {
  char expected[400];
  char got[400];
  for (double v : NumbersToCompare()) {
    for (unsigned f = 0; f <= 25; ++f) {
      const int n = std::snprintf(expected, sizeof expected, kNumberPrintf[f], v);
      ASSERT_EQ(n, NumberToText0(v, f, got, sizeof got)) << kNumberPrintf[f] << " " << v;
      ASSERT_STREQ(expected, got) << kNumberPrintf[f];
    }
  }
}

TEST(DisplayFormat, NumberFormatsWriteTheNumericLocalesDecimalPoint) {
  const std::string previous = std::setlocale(LC_NUMERIC, nullptr);
  if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no de_DE.UTF-8";
  char got[64];
  EXPECT_STREQ("1,50", (NumberToText0(1.5, 3, got, sizeof got), got));
  EXPECT_STREQ("-1,2E+03", (NumberToText0(-1234.5678, 11, got, sizeof got), got));
  std::setlocale(LC_NUMERIC, previous.c_str());
}

}  // namespace
