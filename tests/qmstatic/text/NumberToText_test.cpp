// Numbers, durations, elapsed clock texts, dates and hexadecimal as the operator displays show
// them, with the buffer rules of NumberToText0; the display format table: names, lookups, the
// overflow text, and number formats that print exactly what the C library's printf prints for the
// same format text.
#include "qmstatic/text/NumberToText.h"

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

#include "qmstatic/text/DisplayFormat.h"
#include "qmstatic/text/NumberFormatter_impl.h"
#include "support/AllocationHook.h"

namespace {

struct Shown {
  double value;
  unsigned format;
  const char* text;
};

void ExpectShown(const Shown* begin, const Shown* end) {
  for (const Shown* c = begin; c != end; ++c) {
    char buf[MAX_TEXT_DOUBLE];
    const int n = NumberToText0(c->value, c->format, buf, sizeof buf);
    EXPECT_STREQ(c->text, buf) << c->value << " in format " << c->format;
    EXPECT_EQ(static_cast<int>(std::strlen(c->text)), n) << c->value << " in " << c->format;
  }
}

constexpr double kSecond = 1.0 / 86400.0;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Formats 0-25 print what printf prints: checked against it below.
TEST(NumberToText0, DurationsAsOneNumber) {
  const Shown cases[] = {{42, 74, "42"},  // 74 and up: General
                         {1.5, 26, "36"},    {1.5, 27, "36.0"},      {0.5, 30, "720.0"},
                         {kSecond, 32, "1"}, {0.25, 34, "21600.00"}, {0.1, 29, "144"}};
  ExpectShown(std::begin(cases), std::end(cases));
}

TEST(NumberToText0, ElapsedClockTextTruncatesAndDoesNotWrapHours) {
  // 5430.5 s stored a hair low still shows .5: 1e-08 day is added before truncating; 1.96 s
  // shows 1.9, truncated. Hours are 32-bit unsigned on every platform: 24 * 2147483646 wraps to
  // 4294967248. Negative durations are outside the domain: their fields wrap, without an error.
  // clang-format off
  const Shown cases[] = {
      {5430.5 * kSecond, 37, "01:30:30.5"}, {2.5, 35, "60:00"}, {2.5, 36, "60:00:00"},
      {1.96 * kSecond, 37, "00:00:01.9"}, {1.999 * kSecond, 39, "00:00:01.999"},
      {2.5, 40, "3600:00"}, {1.25 * kSecond, 38, "00:00:01.25"}, {62.375 * kSecond, 41, "01:02.3"},
      {(62 + 0.375) * kSecond, 42, "01:02.37"}, {1 + (3600 + 62 + 0.375) * kSecond, 43, "1501:02.375"},
      {100000, 35, "2400000:00"}, {2147483646, 35, "4294967248:00"}, {-0.5, 35, "1181:02"}};
  // clang-format on
  ExpectShown(std::begin(cases), std::end(cases));
  char buf[MAX_TEXT_TIME];
  for (double refused : {3e9, -3e9, 2147483647.0, kNaN, kInf}) {
    EXPECT_EQ(-15, NumberToText0(refused, 36, buf, sizeof buf)) << refused;
    EXPECT_STREQ("***************", buf);
  }
}

TEST(NumberToText0, CalendarFormatsFollowTheirNames) {
  const double evening = 45432 + (18 * 3600 + 7 * 60 + 9.3) * kSecond;  // 2024-05-20 18:07:09.3
  // Day 0 is day 0 of January 1900; day counts wrap at 16 bits.
  // clang-format off
  const Shown cases[] = {
      {evening, 44, "18:07"}, {evening, 45, "18:07:09"}, {evening, 46, "05/20 18:07"},
      {evening, 47, "05/20 18:07:09"}, {evening, 48, "05/20/24"}, {evening, 49, "05/20/24 18:07"},
      {evening, 50, "05/20/24 18:07:09"}, {evening, 51, "20/05 18:07"},
      {evening, 52, "20/05 18:07:09"}, {evening, 53, "20/05/24"}, {evening, 54, "20/05/24 18:07"},
      {evening, 55, "20/05/24 18:07:09"}, {evening, 64, "05/20/2024"},
      {evening, 65, "05/20/2024 18:07"}, {evening, 66, "05/20/2024 18:07:09"},
      {evening, 67, "20/05/2024"}, {evening, 68, "20/05/2024 18:07"},
      {evening, 69, "20/05/2024 18:07:09"}, {evening, 70, "2024-05-20"},
      {evening, 71, "2024-05-20 18:07"}, {evening, 72, "2024-05-20 18:07:09"},
      {evening, 73, "18:07:09.3"}, {2.5, 44, "12:00"}, {38354, 48, "01/02/05"},
      {60, 70, "1900-02-29"}, {0, 64, "01/00/1900"}, {65536 + 45432, 70, "2024-05-20"}};
  // clang-format on
  ExpectShown(std::begin(cases), std::end(cases));
  char buf[MAX_TEXT_TIME];
  EXPECT_EQ(-15, NumberToText0(kNaN, 70, buf, sizeof buf));
  EXPECT_STREQ("***************", buf);
}

TEST(NumberToText0, HexadecimalShowsTheTruncatedBitsAtEveryWidthAndTheIndefiniteInteger) {
  // clang-format off
  const Shown cases[] = {
      {255.0, 59, "0x00FF"}, {31.9, 58, "0x01F"}, {-31.9, 60, "0xFFFFFFE1"},
      {31.0, 61, "0x00001F"}, {31.0, 62, "0x000001F"}, {-1.0, 57, "0xFFFFFFFF"}, {0.0, 56, "0x0"},
      {2147483647.9, 63, "0x7FFFFFFF"}, {-2147483648.9, 63, "0x80000000"},
      {2147483648.0, 63, "0x80000000"}, {-2147483649.0, 56, "0x80000000"}, {kNaN, 56, "0x80000000"}};
  // clang-format on
  ExpectShown(std::begin(cases), std::end(cases));
}

TEST(NumberToText0, CutsToTheBufferAndReportsTheWholeLength) {
  char buf[8];
  EXPECT_EQ(6, NumberToText0(123.456, 3, buf, 4));
  EXPECT_STREQ("123", buf);
  std::memcpy(buf, "unused", 7);
  EXPECT_EQ(0, NumberToText0(1.5, 3, buf, 0));
  EXPECT_STREQ("unused", buf);
  EXPECT_EQ(0, NumberToText0(1.5, 3, nullptr, 32));
}

TEST(NumberToText, FillsAStringAndDoublesItsBufferWhileTheValueOverflows) {
  zo::kel::AString text("unchanged");
  EXPECT_EQ(4, NumberToText(1.5, 3, text));
  EXPECT_STREQ("1.50", text.c_str());
  // Longer than the 32-character buffer: cut to 31 characters, the result gives the length.
  EXPECT_EQ(32, NumberToText(1e22, 9, text));
  EXPECT_STREQ("10000000000000000000000.0000000", text.c_str());
  text = "unchanged";
  {
    // A value that never fits doubles the buffer until memory runs out.
    zo_kel_test::RefuseAllocationsFrom refuse(1u << 20);
    EXPECT_THROW(NumberToText(3e9, 36, text), std::bad_alloc);
    std::vector<unsigned long long> expected;  // 32 bytes, doubled up to the limit
    for (unsigned long long n = 32; n <= (1u << 20); n *= 2) expected.push_back(n);
    EXPECT_EQ(expected, refuse.Sizes());
  }
  EXPECT_STREQ("unchanged", text.c_str());
}

TEST(NumberToText0, ExponentsWithALeadingZeroAreTrimmed) {
  // The C library here writes two exponent digits, which is never trimmed; formatters that write
  // three ("1.5E+005") are brought to the same short form.
  const struct {
    const char *in, *out;
  } cases[] = {{"1.5E+005", "1.5E+5"}, {"1.0E+015", "1.0E+15"}, {"1.5E+05", "1.5E+05"},
               {"1.0E+000", "1.0E+0"}, {"1E-100", "1E-100"},    {"00", "00"}};
  for (const auto& c : cases) {
    char text[16];
    std::strcpy(text, c.in);
    EXPECT_EQ(static_cast<int>(std::strlen(c.out)),
              zo::kel::detail::TrimExponent(text, static_cast<int>(std::strlen(text))));
    EXPECT_STREQ(c.out, text);
  }
}

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
  std::vector<double> values = {
      0.0,          -0.0,   0.5,           1.5,      2.5,       -2.5,     0.125,   0.375,
      1e-5,         0.0001, 0.00009999995, 999999.5, 9999995.0, 123456.5, 1e15,    9.5,
      99.95,        0.05,   1e100,         -1e-100,  DBL_MAX,   -DBL_MAX, DBL_MIN, DBL_TRUE_MIN,
      4294967295.5, kInf,   -kInf,         kNaN,     -kNaN};
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
