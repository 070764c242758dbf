#include "kel/osdep/StringCaseCompare.h"

#include <gtest/gtest.h>
#include <strings.h>

#include <cstdint>
#include <cstring>
#include <cwctype>
#include <string>

#include "support/ScopedLocale.h"

namespace {

using zo::kel::osdep::StringCaseCompare;
using zo::kel::osdep::StringExactCompare;
using zo_kel_test::ScopedLocale;

int Sign(int v) { return (v > 0) - (v < 0); }

int CaseCounted(const std::string& a, const std::string& b) {
  return StringCaseCompare(a.data(), a.data() + a.size(), b.data(), b.data() + b.size());
}
int ExactCounted(const std::string& a, const std::string& b) {
  return StringExactCompare(a.data(), a.data() + a.size(), b.data(), b.data() + b.size());
}
int CaseCounted(const std::wstring& a, const std::wstring& b) {
  return StringCaseCompare(a.data(), a.data() + a.size(), b.data(), b.data() + b.size());
}
int ExactCounted(const std::wstring& a, const std::wstring& b) {
  return StringExactCompare(a.data(), a.data() + a.size(), b.data(), b.data() + b.size());
}

TEST(StringCaseCompare, CountedNarrowResults) {
  using S = std::string;
  struct Row {
    S a, b;
    int caseResult, exactResult;
  };
  const Row rows[] = {
      {"abc", "ABC", 0, 'a' - 'A'},
      {"ab", "abc", -1, -1},
      {"abc", "ab", 1, 1},
      {"", "abc", -3, -3},
      {"abcd", "", 4, 4},
      {"", "", 0, 0},
      {"abc", "ABD", -1, 'a' - 'A'},
      {"a", "_", 2, 2},              // lower-case fold: 'a' (61) - '_' (5F)
      {"Z", "_", 27, -5},            // 'z' (7A) folded is above '_'; exact 'Z' (5A) is below
      {"\xE9", "a", 0x88, 0x88},     // bytes compare unsigned
      {"\xE9", "\xC9", 0x20, 0x20},  // no fold outside ASCII
      {S("a\0b", 3), S("a\0c", 3), -1, -1},  // embedded NULs take part
      {S("a\0B", 3), S("a\0b", 3), 0, 'B' - 'b'},
      {S("a\0", 2), S("a", 1), 1, 1},
      {S("\0", 1), S("a", 1), -'a', -'a'},
      // Eight bytes and more, where a difference of case only comes before the one that decides.
      {"tag.Alpha.value1", "TAG.alpha.VALUE2", -1, 't' - 'T'},
      {"ABCDEFGHIJ", "abcdefghij", 0, 'A' - 'a'},
      {"aBcdefgh", "abcXefgh", 'd' - 'x', 'B' - 'b'},
      {"abcdefg[", "ABCDEFG{", '[' - '{', 'a' - 'A'},  // '[' and '{' are not letters
      {"abcdefgh@", "abcdefgh`", '@' - '`', '@' - '`'},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.caseResult, CaseCounted(row.a, row.b)) << row.a << " / " << row.b;
    EXPECT_EQ(row.exactResult, ExactCounted(row.a, row.b)) << row.a << " / " << row.b;
  }
}

TEST(StringCaseCompare, NulTerminatedFormsStopAtTheFirstNulAndTakeNullAsEmpty) {
  EXPECT_EQ(0, StringCaseCompare("a\0b", "A\0c"));
  EXPECT_EQ(2, StringCaseCompare("a", "_"));
  EXPECT_EQ(0x88, StringExactCompare("\xE9", "a"));
  EXPECT_EQ(-'c', StringExactCompare("ab", "abc"));
  EXPECT_EQ(0, StringExactCompare("a\0b", "a\0c"));
  EXPECT_EQ(0, StringCaseCompare(static_cast<const char*>(nullptr), ""));
  EXPECT_GT(0, StringCaseCompare(nullptr, "a"));
  EXPECT_LT(0, StringExactCompare("a", nullptr));

  EXPECT_EQ(1, StringCaseCompare(L"_", L"a"));  // wide folds to upper case: '_' after 'A'
  EXPECT_EQ(-1, StringCaseCompare(L"ab", L"abc"));
  EXPECT_EQ(1, StringExactCompare(L"abc", L"ABC"));
  EXPECT_EQ(0, StringExactCompare(L"a\0b", L"a\0c"));
  EXPECT_EQ(0, StringExactCompare(static_cast<const wchar_t*>(nullptr), L""));
  EXPECT_GT(0, StringCaseCompare(nullptr, L"a"));
}

TEST(StringCaseCompare, CountedWideResults) {
  using W = std::wstring;
  struct Row {
    W a, b;
    int caseResult, exactResult;
  };
  const Row rows[] = {
      {L"abc", L"ABC", 0, 1},
      {L"ab", L"abc", -1, -1},
      {L"abcdef", L"a", 5, 5},
      {L"", L"xy", -2, -2},
      {L"_", L"a", 1, -1},      // upper-case fold: '_' (5F) > 'A' (41)
      {L"\x20AC", L"a", 1, 1},  // -1/0/1, not the difference
      {W(L"a\0b", 3), W(L"A\0B", 3), 0, 1},
      {W(L"a\0", 2), W(L"a", 1), 1, 1},
      {W(1, static_cast<wchar_t>(0x80000000u)), L"a", -1, -1},  // signed wchar_t
      {L"\xE9", L"\xC9", 1, 1},  // no fold outside ASCII, even in a UTF-8 locale
  };
  const ScopedLocale utf8("C.UTF-8");
  ASSERT_TRUE(utf8.ok());
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << std::hex << static_cast<std::uint32_t>(row.a[0]));
    EXPECT_EQ(row.caseResult, CaseCounted(row.a, row.b));
    EXPECT_EQ(row.exactResult, ExactCounted(row.a, row.b));
  }
}

TEST(StringCaseCompare, NarrowOrderIsStrcasecmpInTheCLocaleWhateverTheProcessLocale) {
  // Every pair of one- and two-byte texts, first in the C locale against the C library, then
  // in C.UTF-8, where the answers must not change.
  int expected[256][256];
  {
    const ScopedLocale c("C");
    ASSERT_TRUE(c.ok());
    int mismatches = 0;
    for (int x = 1; x < 256; ++x) {
      for (int y = 1; y < 256; ++y) {
        const char a[] = {static_cast<char>(x), 'q', '\0'};
        const char b[] = {static_cast<char>(y), 'Q', '\0'};
        expected[x][y] = Sign(strcasecmp(a, b));
        mismatches += Sign(StringCaseCompare(a, b)) != expected[x][y];
        mismatches += Sign(StringCaseCompare(a, a + 2, b, b + 2)) != expected[x][y];
        mismatches += Sign(StringCaseCompare(a, a + 1, b, b + 1)) != Sign(strncasecmp(a, b, 1));
        mismatches += Sign(StringExactCompare(a, a + 1, b, b + 1)) != Sign(x - y);
      }
    }
    EXPECT_EQ(0, mismatches);
  }
  const ScopedLocale utf8("C.UTF-8");
  ASSERT_TRUE(utf8.ok());
  int mismatches = 0;
  for (int x = 1; x < 256; ++x) {
    for (int y = 1; y < 256; ++y) {
      const char a[] = {static_cast<char>(x), 'q', '\0'};
      const char b[] = {static_cast<char>(y), 'Q', '\0'};
      mismatches += Sign(StringCaseCompare(a, b)) != expected[x][y];
    }
  }
  EXPECT_EQ(0, mismatches);
}

TEST(StringCaseCompare, WideOrderIsTowupperInTheCLocale) {
  const ScopedLocale c("C");
  ASSERT_TRUE(c.ok());
  const wchar_t probes[] = {L'A', L'a', L'_', L'z' + 1, 0xC9, 0xE9, 0x20AC};
  int mismatches = 0;
  for (std::uint32_t code = 0; code <= 0x10FFFF; ++code) {
    const wchar_t x = static_cast<wchar_t>(code);
    const wchar_t upperX = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(x)));
    for (wchar_t y : probes) {
      const wchar_t upperY = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(y)));
      const int want = (upperX > upperY) - (upperX < upperY);
      mismatches += StringCaseCompare(&x, &x + 1, &y, &y + 1) != want;
    }
  }
  EXPECT_EQ(0, mismatches);
}

TEST(StringCaseCompare, WordAtATimeFoldsEveryByteAsOneByteAtATime) {
  // Every pair of byte values at every position of a nine-byte text (one machine word and a
  // tail), around texts equal but for case and holding '@' and '[' (the neighbours of A-Z): the
  // difference is that of the first differing bytes folded one at a time.
  const auto fold = [](int c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
  int mismatches = 0;
  std::string firstMismatch;
  for (std::size_t at = 0; at < 9; ++at) {
    for (int x = 0; x < 256; ++x) {
      for (int y = 0; y < 256; ++y) {
        std::string a = "kEy.Zz@[q";
        std::string b = "KeY.zZ@[Q";
        a[at] = static_cast<char>(x);
        b[at] = static_cast<char>(y);
        if (CaseCounted(a, b) != fold(x) - fold(y)) {
          if (mismatches++ == 0) firstMismatch = std::to_string(at) + ": " + a + " / " + b;
        }
      }
    }
  }
  EXPECT_EQ(0, mismatches) << "first at " << firstMismatch;
}

TEST(StringCaseCompare, FirstDifferenceAtEveryPositionOfLongTexts) {
  // Texts longer than a machine word that differ first at `at`, in case and in content, with
  // bytes after it that would order the other way.
  for (std::size_t length = 1; length <= 40; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      SCOPED_TRACE(testing::Message() << length << " " << at);
      const std::string a(length, 'm');
      std::string b(length, '\x01');
      for (std::size_t i = 0; i < at; ++i) b[i] = 'M';
      b[at] = 'N';
      EXPECT_EQ('m' - 'n', CaseCounted(a, b));
      b.replace(0, at + 1, at, 'm').insert(at, 1, 'M');
      EXPECT_EQ('m' - 'M', ExactCounted(a, b));
      b[at] = '\x80';
      EXPECT_EQ('m' - 0x80, CaseCounted(a, b));
      EXPECT_EQ('m' - 0x80, ExactCounted(a, b));
      std::wstring wa(length, L'm');
      std::wstring wb = wa;
      wb[at] = L'M';
      EXPECT_EQ(0, CaseCounted(wa, wb));
      EXPECT_EQ(1, ExactCounted(wa, wb));
      wb[at] = L'p';
      EXPECT_EQ(-1, CaseCounted(wa, wb));
    }
  }
}

}  // namespace
