// Recognisers of logical, numeric and time text, narrow and wide, and nanosecond times shown as
// text.
#include "qmstatic/text/LogicalText.h"

#include <gtest/gtest.h>

#include <string>

#include "qmstatic/text/TextScanner_impl.h"

namespace {

TEST(IsLogicalText, WholeWordsIgnoringCaseJokesIncluded) {
  const struct {
    const char* narrow;
    const wchar_t* wide;
    bool value;
  } words[] = {
      {"on", L"on", true},
      {"YES", L"YES", true},
      {"Yes", L"Yes", true},
      {"y", L"Y", true},
      {"TRUE", L"true", true},
      {"t", L"T", true},
      {"It Just Works", L"it just works", true},
      {"Unbelievable!", L"UNBELIEVABLE!", true},
      {"OFF", L"off", false},
      {"no", L"No", false},
      {"N", L"n", false},
      {"False", L"FALSE", false},
      {"nil", L"NIL", false},
      {"yeah, right", L"Yeah, Right", false},
  };
  for (const auto& w : words) {
    bool narrow = !w.value;
    bool wide = !w.value;
    EXPECT_TRUE(IsLogicalText(w.narrow, narrow)) << w.narrow;
    EXPECT_TRUE(IsLogicalText(w.wide, wide)) << w.narrow;
    EXPECT_EQ(w.value, narrow) << w.narrow;
    EXPECT_EQ(w.value, wide) << w.narrow;
  }
  // No "f", no blanks trimmed, no missing comma or exclamation mark, no prefixes.
  bool value = true;
  for (const char* text : {"f", " yes", "yes ", "yeah right", "unbelievable", "it just work", "1",
                           "0", "o", "tr", "", "yess"}) {
    EXPECT_FALSE(IsLogicalText(text, value)) << '"' << text << '"';
    const std::string narrow(text);
    EXPECT_FALSE(IsLogicalText(std::wstring(narrow.begin(), narrow.end()).c_str(), value)) << text;
  }
  EXPECT_FALSE(IsLogicalText(static_cast<const char*>(nullptr), value));
  EXPECT_FALSE(IsLogicalText(static_cast<const wchar_t*>(nullptr), value));
  EXPECT_TRUE(value);
}

TEST(IsNumericText, NarrowAndWideReadTheSameNumbers) {
  const struct {
    const char* narrow;
    const wchar_t* wide;
    double value;
  } cases[] = {{"42", L"42", 42}, {"  1.5E3", L"  1.5E3", 1500}, {"0x1F", L"0x1F", 31}};
  for (const auto& c : cases) {
    double narrow = 0;
    double wide = 0;
    EXPECT_TRUE(IsNumericText(c.narrow, narrow)) << c.narrow;
    EXPECT_TRUE(IsNumericText(c.wide, wide)) << c.narrow;
    EXPECT_EQ(c.value, narrow);
    EXPECT_EQ(c.value, wide);
  }
  double value = -1;
  for (const wchar_t* text : {L"", L"0 ", L"4\u00e92", L"12a"})
    EXPECT_FALSE(IsNumericText(text, value));
  EXPECT_FALSE(IsNumericText(static_cast<const wchar_t*>(nullptr), value));
  EXPECT_FALSE(IsNumericText(static_cast<const char*>(nullptr), value));
  EXPECT_EQ(-1, value);
}

TEST(IsNumericText, WideTextIsCutTo31Characters) {
  // 31 digits and an 'x': the 'x' is cut away, so the wide text is numeric; the narrow one is not.
  const std::string digits = "1234567890123456789012345678901";
  const std::wstring wide = std::wstring(digits.begin(), digits.end()) + L"x";
  double value = 0;
  EXPECT_FALSE(IsNumericText((digits + "x").c_str(), value));
  ASSERT_TRUE(IsNumericText(wide.c_str(), value));
  EXPECT_DOUBLE_EQ(1.234567890123456789e30, value);
  // 35 digits read as their first 31.
  ASSERT_TRUE(IsNumericText(L"12345678901234567890123456789012345", value));
  EXPECT_DOUBLE_EQ(1.234567890123456789e30, value);
}

TEST(IsTimeText, DurationsThenDatesAsDaysOrWholeSecondNanoseconds) {
  const int previous = zo::kel::detail::PinReferenceYear(2026);
  const struct {
    const char* text;
    long long nanoseconds;
  } cases[] = {
      {"12:30", 750000000000LL},  // minutes and seconds
      {"1.5", 1000000000LL},      // the half second is dropped
      {"1:00:00:00", 86400000000000LL},
      {"12/25/2024", 45651LL * 86400000000000LL},
      {"100000:00:00:00", 8640000000000000000LL},  // 100000 days still fit in 64 bits
  };
  for (const auto& c : cases) {
    long long narrow = -1;
    long long wide = -1;
    EXPECT_TRUE(IsTimeText(c.text, narrow)) << c.text;
    EXPECT_EQ(c.nanoseconds, narrow) << c.text;
    const std::string text(c.text);
    EXPECT_TRUE(IsTimeText(std::wstring(text.begin(), text.end()).c_str(), wide)) << c.text;
    EXPECT_EQ(c.nanoseconds, wide) << c.text;
  }
  double days = -1;
  EXPECT_TRUE(IsTimeText("30:00:00", days));
  EXPECT_DOUBLE_EQ(1.25, days);
  EXPECT_TRUE(IsTimeText(L"12/25/2024 18:00", days));
  EXPECT_DOUBLE_EQ(45651.75, days);
  // Not a time; and a million days of nanoseconds do not fit in 64 bits.
  long long nanoseconds = -1;
  for (const char* text : {"abc", "25/12/2024", "12:60", "1000000:00:00:00", "1e3"}) {
    EXPECT_FALSE(IsTimeText(text, nanoseconds)) << text;
  }
  EXPECT_FALSE(IsTimeText(static_cast<const char*>(nullptr), days));
  EXPECT_FALSE(IsTimeText(L"12:\u00e9", days));
  EXPECT_EQ(-1, nanoseconds);
  zo::kel::detail::PinReferenceYear(previous);
}

TEST(TimeToText, TheWideFormShowsWholeDaysOnly) {
  char narrow[32];
  wchar_t wide[32];
  const long long dayAndAHalf = 129600000000000LL;
  EXPECT_EQ(5, TimeToText(dayAndAHalf, 44, narrow, sizeof narrow));
  EXPECT_STREQ("12:00", narrow);
  // Deliberately midnight: the wide form divides in integers.
  EXPECT_EQ(5, TimeToText(dayAndAHalf, 44, wide, 32));
  EXPECT_STREQ(L"00:00", wide);

  const long long evening = 45432LL * 86400000000000LL + 64800000000000LL;  // 2024-05-20 18:00
  EXPECT_EQ(16, TimeToText(evening, 71, narrow, sizeof narrow));
  EXPECT_STREQ("2024-05-20 18:00", narrow);
  EXPECT_EQ(16, TimeToText(evening, 71, wide, 32));
  EXPECT_STREQ(L"2024-05-20 00:00", wide);
  EXPECT_EQ(4, TimeToText(evening, 71, wide, 5));  // cut to size - 1 and terminated
  EXPECT_STREQ(L"2024", wide);
  EXPECT_EQ(13, TimeToText(evening, 36, narrow, sizeof narrow));  // elapsed hours since 1899
  EXPECT_STREQ("1090386:00:00", narrow);
  wide[0] = L'x';
  EXPECT_EQ(0, TimeToText(evening, 71, wide, 0));
  EXPECT_EQ(L'x', wide[0]);
  EXPECT_EQ(0, TimeToText(evening, 71, static_cast<wchar_t*>(nullptr), 32));
}

}  // namespace
