// Recognisers of logical, numeric and time text, narrow and wide, and nanosecond times shown as
// text.
#include "qmstatic/text/LogicalText.h"

#include <gtest/gtest.h>

#include <cwctype>
#include <string>
#include <vector>

#include "qmstatic/text/TextScanner_impl.h"

namespace {

std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

// The text widened with the case of its ASCII letters swapped.
std::wstring SwapCase(const std::string& text) {
  std::wstring out = Widen(text);
  for (wchar_t& c : out) c = std::iswalpha(c) != 0 ? c ^ 0x20 : c;
  return out;
}

TEST(IsLogicalText, WholeWordsIgnoringCaseJokesIncluded) {
  // Each word narrow as written, and wide with the case of its letters swapped.
  const std::vector<std::string> yes = {"on",           "YES", "y", "TRUE", "t", "It Just Works",
                                        "Unbelievable!"};
  const std::vector<std::string> no = {"OFF", "no", "N", "False", "nil", "yeah, right"};
  for (const bool truth : {true, false}) {
    for (const std::string& word : truth ? yes : no) {
      bool narrow = !truth, wide = !truth;
      EXPECT_TRUE(IsLogicalText(word.c_str(), narrow) &&
                  IsLogicalText(SwapCase(word).c_str(), wide))
          << word;
      EXPECT_EQ(truth, narrow) << word;
      EXPECT_EQ(truth, wide) << word;
    }
  }
  // No "f", no blanks trimmed, no missing comma or exclamation mark, no prefixes.
  bool value = true;
  for (const char* text : {"f", " yes", "yes ", "yeah right", "unbelievable", "it just work", "1",
                           "0", "o", "tr", "", "yess"}) {
    EXPECT_FALSE(IsLogicalText(text, value)) << '"' << text << '"';
    EXPECT_FALSE(IsLogicalText(Widen(text).c_str(), value)) << '"' << text << '"';
  }
  EXPECT_FALSE(IsLogicalText(static_cast<const char*>(nullptr), value));
  EXPECT_FALSE(IsLogicalText(static_cast<const wchar_t*>(nullptr), value));
  EXPECT_TRUE(value);
}

TEST(IsNumericText, NarrowAndWideReadTheSameNumbersAndWideIsCutTo31Characters) {
  double narrow = 0, wide = 0;
  EXPECT_TRUE(IsNumericText("  1.5E3", narrow) && IsNumericText(L"  1.5E3", wide));
  EXPECT_EQ(1500, narrow);
  EXPECT_EQ(1500, wide);
  double value = -1;
  for (const wchar_t* text : {L"", L"0 ", L"4\u00e92", L"12a"}) {
    EXPECT_FALSE(IsNumericText(text, value));
  }
  EXPECT_FALSE(IsNumericText(static_cast<const wchar_t*>(nullptr), value));
  EXPECT_FALSE(IsNumericText(static_cast<const char*>(nullptr), value));
  EXPECT_EQ(-1, value);
  // 31 digits and an 'x': the 'x' is cut away, so the wide text is numeric; the narrow one is not.
  const std::string text = "1234567890123456789012345678901x";
  EXPECT_FALSE(IsNumericText(text.c_str(), value));
  ASSERT_TRUE(IsNumericText(Widen(text).c_str(), value));
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
      {"12/25/2024", 45651LL * 86400000000000LL},
      {"100000:00:00:00", 8640000000000000000LL},  // 100000 days still fit in 64 bits
  };
  for (const auto& c : cases) {
    long long narrow = -1, wide = -1;
    EXPECT_TRUE(IsTimeText(c.text, narrow) && IsTimeText(Widen(c.text).c_str(), wide)) << c.text;
    EXPECT_EQ(c.nanoseconds, narrow) << c.text;
    EXPECT_EQ(c.nanoseconds, wide) << c.text;
  }
  double days = -1;
  EXPECT_TRUE(IsTimeText("30:00:00", days));
  EXPECT_DOUBLE_EQ(1.25, days);
  EXPECT_TRUE(IsTimeText(L"12/25/2024 18:00", days));
  EXPECT_DOUBLE_EQ(45651.75, days);
  // Not a time; and a million days of nanoseconds do not fit in 64 bits.
  long long nanoseconds = -1;
  for (const char* text : {"25/12/2024", "1000000:00:00:00", "1e3"}) {
    EXPECT_FALSE(IsTimeText(text, nanoseconds)) << text;
  }
  EXPECT_FALSE(IsTimeText(static_cast<const char*>(nullptr), days));
  EXPECT_FALSE(IsTimeText(L"12:\u00e9", days));
  EXPECT_EQ(-1, nanoseconds);
  zo::kel::detail::PinReferenceYear(previous);
}

TEST(TimeToText, TheWideFormShowsWholeDaysOnly) {
  // Deliberately midnight in the wide form: it divides in integers.
  const long long dayAndAHalf = 129600000000000LL;
  char narrow[32];
  wchar_t wide[32];
  EXPECT_EQ(5, TimeToText(dayAndAHalf, 44, narrow, 32));
  EXPECT_STREQ("12:00", narrow);
  EXPECT_EQ(5, TimeToText(dayAndAHalf, 44, wide, 32));
  EXPECT_STREQ(L"00:00", wide);
  const long long evening = 45432LL * 86400000000000LL + 64800000000000LL;  // 2024-05-20 18:00
  EXPECT_EQ(4, TimeToText(evening, 71, wide, 5));                           // cut to size - 1
  EXPECT_STREQ(L"2024", wide);
  wide[0] = L'x';
  EXPECT_EQ(0, TimeToText(evening, 71, wide, 0));
  EXPECT_EQ(L'x', wide[0]);
  EXPECT_EQ(0, TimeToText(evening, 71, static_cast<wchar_t*>(nullptr), 32));
}

}  // namespace
