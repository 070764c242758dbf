#include "kel/osdep/StringCaseCompare.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/ScopedLocale.h"

namespace {

using zo::kel::osdep::StringCaseCompare;
using zo::kel::osdep::StringExactCompare;
using zo_kel_test::ScopedLocale;

template <typename S>
int CaseCounted(const S& a, const S& b) {
  return StringCaseCompare(a.data(), a.data() + a.size(), b.data(), b.data() + b.size());
}
template <typename S>
int ExactCounted(const S& a, const S& b) {
  return StringExactCompare(a.data(), a.data() + a.size(), b.data(), b.data() + b.size());
}

// Checks the counted forms, and the NUL-terminated ones where they must agree: texts of one
// length without NULs (the terminated forms stop at a NUL and order a prefix by its terminator).
template <typename S>
void CheckRow(const S& a, const S& b, int caseResult, int exactResult) {
  EXPECT_EQ(caseResult, CaseCounted(a, b));
  EXPECT_EQ(exactResult, ExactCounted(a, b));
  const typename S::value_type nul{};
  if (a.size() != b.size() || a.find(nul) != S::npos || b.find(nul) != S::npos) return;
  EXPECT_EQ(caseResult, StringCaseCompare(a.c_str(), b.c_str()));
  EXPECT_EQ(exactResult, StringExactCompare(a.c_str(), b.c_str()));
}

TEST(StringCaseCompare, NarrowFormsGiveTheDifferenceOfTheFirstDifferingBytes) {
  using S = std::string;
  const struct {
    S a, b;
    int caseResult, exactResult;
  } rows[] = {
      {"abc", "ABC", 0, 'a' - 'A'},
      {"", "abc", -3, -3},  // a prefix: the length difference
      {"abcd", "", 4, 4},
      {"Z", "_", 27, -5},         // 'z' (7A) folded is above '_'; exact 'Z' (5A) is below
      {"\xE9", "a", 0x88, 0x88},  // bytes compare unsigned
      {S("a\0b", 3), S("a\0c", 3), -1, -1},  // embedded NULs take part
      {S("a\0", 2), S("a", 1), 1, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.a + " / " + row.b);
    CheckRow(row.a, row.b, row.caseResult, row.exactResult);
  }
  EXPECT_EQ(-'c', StringExactCompare("ab", "abc"));
  EXPECT_EQ(0, StringCaseCompare("a\0b", "A\0c"));
  EXPECT_EQ(0, StringExactCompare("a\0b", "a\0c"));
  EXPECT_EQ(0, StringCaseCompare(static_cast<const char*>(nullptr), ""));
  EXPECT_GT(0, StringCaseCompare(nullptr, "a"));
  EXPECT_LT(0, StringExactCompare("a", nullptr));
}

TEST(StringCaseCompare, WideFormsGiveTheSignOfTheFirstDifference) {
  using W = std::wstring;
  const struct {
    W a, b;
    int caseResult, exactResult;
  } rows[] = {
      {L"abc", L"ABC", 0, 1},
      {L"", L"xy", -2, -2},
      {L"_", L"a", 1, -1},  // upper-case fold: '_' (5F) > 'A' (41)
      {L"`", L"@", 1, 1},   // the neighbours of a-z and A-Z do not fold
      {L"{", L"[", 1, 1},
      {L"\x20AC", L"a", 1, 1},  // -1/0/1, not the difference
      {W(L"a\0b", 3), W(L"A\0B", 3), 0, 1},
      {W(L"a\0", 2), W(L"a", 1), 1, 1},
      {W(1, static_cast<wchar_t>(0x80000000u)), L"a", -1, -1},  // signed wchar_t
      {L"\xE9", L"\xC9", 1, 1},  // no fold outside ASCII, even in a UTF-8 locale
  };
  const ScopedLocale utf8("C.UTF-8");
  ASSERT_TRUE(utf8.ok());
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << std::hex << static_cast<std::uint32_t>(row.a[0]));
    CheckRow(row.a, row.b, row.caseResult, row.exactResult);
  }
  EXPECT_EQ(0, StringExactCompare(L"a\0b", L"a\0c"));
  EXPECT_EQ(0, StringExactCompare(static_cast<const wchar_t*>(nullptr), L""));
  EXPECT_GT(0, StringCaseCompare(nullptr, L"a"));
}

TEST(StringCaseCompare, NarrowFoldIsAsciiOnlyAtEveryByteAndPositionWhateverTheLocale) {
  // Every pair of byte values at every position of a nine-byte text (one machine word and a
  // tail), around texts equal but for case and holding '@' and '[' (the neighbours of A-Z), in a
  // UTF-8 process locale: the difference is that of the first differing bytes, each folded as
  // the C locale's strcasecmp folds it.
  const ScopedLocale utf8("C.UTF-8");
  ASSERT_TRUE(utf8.ok());
  const auto fold = [](int c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
  for (std::size_t at = 0; at < 9; ++at) {
    for (int x = 0; x < 256; ++x) {
      for (int y = 0; y < 256; ++y) {
        std::string a = "kEy.Zz@[q", b = "KeY.zZ@[Q";
        a[at] = static_cast<char>(x);
        b[at] = static_cast<char>(y);
        const int want = fold(x) - fold(y);
        ASSERT_EQ(want, CaseCounted(a, b)) << at << ": " << x << " / " << y;
        ASSERT_EQ(want, StringCaseCompare(a.c_str(), b.c_str())) << at << ": " << x << " / " << y;
      }
    }
  }
}

TEST(StringCaseCompare, FirstDifferenceAtEveryPositionOfLongTexts) {
  // Texts longer than a machine word that differ first at `at`, in case and in content, with
  // bytes after it that would order the other way.
  for (std::size_t length = 1; length <= 40; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      SCOPED_TRACE(testing::Message() << length << " " << at);
      const std::string a(length, 'm');
      std::string b = std::string(at, 'M') + 'N' + std::string(length - at - 1, '\x01');
      EXPECT_EQ('m' - 'n', CaseCounted(a, b));
      b.replace(0, at + 1, at, 'm').insert(at, 1, 'M');
      EXPECT_EQ('m' - 'M', ExactCounted(a, b));
      b[at] = '\x80';
      EXPECT_EQ('m' - 0x80, CaseCounted(a, b));
      EXPECT_EQ('m' - 0x80, ExactCounted(a, b));
    }
  }
}

}  // namespace
