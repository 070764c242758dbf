// Numbers, durations, elapsed clock texts, dates and hexadecimal as the operator displays show
// them, with the buffer rules of NumberToText0.
#include "qmstatic/text/NumberToText.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

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

// Formats 0-25 print what printf prints: checked against it in the display format tests.
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

}  // namespace
