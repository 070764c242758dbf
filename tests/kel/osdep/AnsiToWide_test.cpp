// Tests of the text conversions: wide and narrow text through a code set, the Latin-1 fallback
// pair, the iconv edges and UTF-16 serialization; and of the case-blind and exact comparisons.
#include "kel/osdep/AnsiToWide.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kel/exception.h"
#include "kel/osdep/IConv.h"
#include "kel/osdep/SerializeUtf16.h"
#include "kel/osdep/StringCaseCompare.h"
#include "kel/osdep/WideToAnsi.h"
#include "support/AllocationHook.h"
#include "support/KelTest.h"
#include "support/ScopedLocale.h"

namespace {

using zo::kel::WString;
using zo::kel::exception::InvalidLocale;
using zo::kel::osdep::AnsiToWide;
using zo::kel::osdep::IConv;
using zo::kel::osdep::Latin1AnsiToWide;
using zo::kel::osdep::Latin1WideToAnsi;
using zo::kel::osdep::SerializeUcs2;
using zo::kel::osdep::SerializeUtf16;
using zo::kel::osdep::StringCaseCompare;
using zo::kel::osdep::StringExactCompare;
using zo::kel::osdep::WideToAnsi;
using zo_kel_test::ScopedLocale;
using Units = std::vector<unsigned short>;

constexpr std::int32_t kInvalidLocaleCode = -1967362012;

// The text between the out pointers of a range conversion, checking the terminator.
template <typename To, typename From, typename Convert>
std::basic_string<To> Between(const std::basic_string<From>& in, const char* codeSet,
                              Convert convert) {
  To* begin = nullptr;
  To* end = nullptr;
  convert(in.data(), in.data() + in.size(), codeSet, begin, end);
  std::unique_ptr<To[]> owner(begin);
  EXPECT_EQ(To(), *end);
  return std::basic_string<To>(begin, end);
}
std::wstring ToWide(const std::string& narrow, const char* codeSet) {
  return Between<wchar_t>(narrow, codeSet, [](auto&&... a) { AnsiToWide(a...); });
}
std::string ToNarrow(const std::wstring& wide, const char* codeSet) {
  return Between<char>(wide, codeSet, [](auto&&... a) { WideToAnsi(a...); });
}

TEST(AnsiToWide, AsciiCodeSetReplacesWhatItLacks) {
  std::string ascii("\0", 1);
  for (int c = 1; c < 128; ++c) ascii.push_back(static_cast<char>(c));
  const std::wstring wide = ToWide(ascii, "US-ASCII");
  EXPECT_TRUE(wide == std::wstring(ascii.begin(), ascii.end()));
  EXPECT_EQ(ascii, ToNarrow(wide, "US-ASCII"));
  EXPECT_TRUE(ToWide("caf\xC3\xA9", "US-ASCII") == L"caf??");
}

TEST(AnsiToWide, LocaleCodeSetFollowsSetlocale) {
  {
    const ScopedLocale utf8("C.UTF-8");
    ASSERT_TRUE(utf8.ok());
    EXPECT_TRUE(ToWide("\xC3\xBC \xE2\x82\xAC", "") == L"\xFC \x20AC");
    EXPECT_EQ("\xC3\xBC \xF4\x8F\xBF\xBF?", ToNarrow(L"\xFC \x10FFFF\xD800", ""));
    // Every character at its longest still fits the 4 bytes per character reserved.
    EXPECT_EQ(400u, ToNarrow(std::wstring(100, L'\x1F600'), "").size());
  }
  const ScopedLocale c("C");
  ASSERT_TRUE(c.ok());
  EXPECT_TRUE(ToWide("\xC3\xBC!", "") == L"?\?!");
  EXPECT_EQ("?!", ToNarrow(L"\xFC!", ""));
}

TEST(AnsiToWide, CountedAndTerminatedForms) {
  const struct {
    const char* text;
    int count;
    const wchar_t* expected;
  } rows[] = {
      {"abcdef", -1, L"abcdef"}, {"abcdef", 3, L"abc"}, {"ab\0cdef", 10, L"ab"}, {nullptr, 5, L""}};
  for (const auto& row : rows) {
    std::unique_ptr<wchar_t[]> wide(AnsiToWide(row.text, row.count, "US-ASCII"));
    EXPECT_STREQ(row.expected, wide.get()) << row.count;
  }
  // An end before the begin is an empty range.
  EXPECT_STREQ(L"", std::unique_ptr<wchar_t[]>(AnsiToWide("abc", nullptr, "US-ASCII")).get());
  EXPECT_STREQ("h?llo", std::unique_ptr<char[]>(WideToAnsi(L"h\xE9llo", "US-ASCII")).get());
  EXPECT_STREQ("", std::unique_ptr<char[]>(WideToAnsi(L"hello", nullptr, "US-ASCII")).get());
  EXPECT_STREQ("", std::unique_ptr<char[]>(WideToAnsi(nullptr, "US-ASCII")).get());
  EXPECT_FALSE(zo::kel::osdep::MakeAnsiToWideThrow(true));
  EXPECT_FALSE(zo::kel::osdep::MakeWideToAnsiThrow(true));
}

TEST(AnsiToWide, FailuresLeaveTheOutPointersAlone) {
  wchar_t sentinelWide = L'w';
  wchar_t *wideBegin = &sentinelWide, *wideEnd = &sentinelWide;
  char sentinel = 'n';
  char *begin = &sentinel, *end = &sentinel;
  const char* text = "abc";
  const wchar_t* wide = L"abc";
  EXPECT_KEL_THROW(AnsiToWide(text, text + 3, "NO-SUCH-CODE-SET", wideBegin, wideEnd),
                   InvalidLocale, kInvalidLocaleCode, "Invalid locale");
  EXPECT_KEL_THROW(WideToAnsi(wide, wide + 3, "NO-SUCH-CODE-SET", begin, end), InvalidLocale,
                   kInvalidLocaleCode, "Invalid locale");
  {
    const zo_kel_test::RefuseAllocationsFrom hook(0);
    EXPECT_THROW(AnsiToWide(text, text + 3, "US-ASCII", wideBegin, wideEnd), std::bad_alloc);
    EXPECT_THROW(WideToAnsi(wide, wide + 3, "US-ASCII", begin, end), std::bad_alloc);
    EXPECT_THROW(Latin1AnsiToWide(text, text + 3, "", wideBegin, wideEnd), std::bad_alloc);
  }
  EXPECT_TRUE(wideBegin == &sentinelWide && wideEnd == &sentinelWide);
  EXPECT_TRUE(begin == &sentinel && end == &sentinel);
}

TEST(AnsiToWide, Latin1FallbackPair) {
  std::string bytes;
  for (int b = 0; b < 256; ++b) bytes.push_back(static_cast<char>(b));
  const std::wstring wide = {
      L'A', L'\xE9', L'\xFF', L'\x100', L'\x20AC', static_cast<wchar_t>(0x80000041u), L'\0', L'z'};
  for (const char* codeSet : {"", "US-ASCII"}) {
    std::wstring expectedWide;
    for (unsigned char b : bytes) expectedWide.push_back(static_cast<wchar_t>(b));
    EXPECT_TRUE(Between<wchar_t>(bytes, codeSet, Latin1AnsiToWide) == expectedWide) << codeSet;
    EXPECT_EQ(std::string("A\xE9\xFF???\0z", 8), Between<char>(wide, codeSet, Latin1WideToAnsi));
  }
  EXPECT_EQ("", Between<char>(std::wstring(), "", Latin1WideToAnsi));
  char *nullBegin = nullptr, *nullEnd = nullptr;
  Latin1WideToAnsi(nullptr, nullptr, "", nullBegin, nullEnd);  // a null text is empty
  std::unique_ptr<char[]> owner(nullBegin);
  EXPECT_TRUE(nullBegin == nullEnd && *nullEnd == '\0');
  for (const char* codeSet : {"us-ascii", static_cast<const char*>(nullptr)}) {
    EXPECT_KEL_THROW(Between<wchar_t>(std::string("a"), codeSet, Latin1AnsiToWide), InvalidLocale,
                     kInvalidLocaleCode, "Invalid locale");
    EXPECT_KEL_THROW(Between<char>(std::wstring(L"a"), codeSet, Latin1WideToAnsi), InvalidLocale,
                     kInvalidLocaleCode, "Invalid locale");
  }
}

// The text forms reach iconv through the wide/narrow and UTF-16 conversions, tested with them;
// these are the edges of the output room that those cannot reach.
TEST(IConv, ReplacesWhatHasNoFormAndStopsAtTheRoom) {
  const std::wstring text = L"a\x1F600z";
  Units out(4, 0x5A5A);
  unsigned short* end = out.data();  // no room: nothing is written
  IConv(text.data(), text.data() + 3, "wchar_t", out.data(), end, "UTF-16LE");
  EXPECT_EQ(out.data(), end);
  // A pair with one unit of room left becomes '?', which fills the room.
  end = out.data() + 2;
  IConv(text.data(), text.data() + 3, "wchar_t", out.data(), end, "UTF-16LE");
  EXPECT_EQ(out.data() + 2, end);
  EXPECT_EQ((Units{0x61, 0x3F, 0x5A5A, 0x5A5A}), out);
}

TEST(IConv, UnopenableConverterThrowsInvalidLocaleAndWritesNothing) {
  const std::wstring text = L"abc";
  char out[4] = {'x', 'x', 'x', 'x'};
  const struct {
    const char *from, *to;
    std::size_t length;
  } rows[] = {
      {"wchar_t", "NO-SUCH-CODE-SET", 3},
      {"wchar_t", nullptr, 3},
      {nullptr, "US-ASCII", 3},
      {"wchar_t", "NO-SUCH-CODE-SET", 0},  // opened before the input is looked at
  };
  for (const auto& row : rows) {
    char* end = out + 4;
    EXPECT_KEL_THROW(IConv(text.data(), text.data() + row.length, row.from, out, end, row.to),
                     InvalidLocale, kInvalidLocaleCode, "Invalid locale");
    EXPECT_EQ(out + 4, end);
    EXPECT_EQ(std::string("xxxx"), std::string(out, 4));
  }
}

std::wstring Std(const WString& s) { return std::wstring(s.begin(), s.end()); }

TEST(SerializeUtf16, WritesUnitsAndSurrogatePairs) {
  const struct {
    std::wstring text;
    Units units;
    std::wstring back;
  } rows[] = {
      {L"", {}, L""},
      {L"A\u00E9\u20AC\U0001F600",
       {0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00},
       L"A\u00E9\u20AC\U0001F600"},
      {std::wstring(L"a\0b", 3), {0x61, 0, 0x62}, std::wstring(L"a\0b", 3)},
      {L"\U0010FFFF", {0xDBFF, 0xDFFF}, L"\U0010FFFF"},
      // A surrogate code point or a value beyond U+10FFFF has no UTF-16 form.
      {{L'a', 0xD800, 0x110000}, {0x61, 0x3F, 0x3F}, L"a??"},
  };
  for (const auto& row : rows) {
    const WString text(row.text.data(), static_cast<unsigned>(row.text.size()));
    EXPECT_EQ(2 * row.units.size(), SerializeUtf16::GetUtf16SerializationSize(text));
    Units room(row.units.size() + 1, 0xEEEE);
    unsigned short* written =
        SerializeUtf16::SerializeAsUtf16(text, room.data(), room.data() + room.size());
    EXPECT_EQ(row.units, Units(room.data(), written));
    EXPECT_EQ(0xEEEE, room.back());
    EXPECT_EQ(row.back, Std(SerializeUtf16::DeserializeFromUtf16(room.data(), written)));
  }
  // Lone surrogate units read as '?'.
  const unsigned short lone[] = {0xD800, 0x41, 0xD83D};
  EXPECT_EQ(L"?A?", Std(SerializeUtf16::DeserializeFromUtf16(lone, lone + 3)));
  EXPECT_TRUE(SerializeUtf16::DeserializeFromUtf16(nullptr, nullptr).empty());
}

TEST(SerializeUtf16, StopsWhereTheRoomEndsAndSizesLongTextsInChunks) {
  const WString text(L"ABCD");
  Units room(4, 0xEEEE);
  EXPECT_EQ(room.data() + 2, SerializeUtf16::SerializeAsUtf16(text, room.data(), room.data() + 2));
  EXPECT_EQ((Units{0x41, 0x42, 0xEEEE, 0xEEEE}), room);
  EXPECT_EQ(room.data(), SerializeUtf16::SerializeAsUtf16(text, room.data(), room.data()));

  std::wstring longText;
  for (int i = 0; i < 3000; ++i) longText += (i % 3 == 0) ? L'\U0001F600' : L'x';
  // 1000 characters above U+FFFF take 4 bytes, 2000 others 2 bytes.
  EXPECT_EQ(8000u, SerializeUtf16::GetUtf16SerializationSize(WString(longText.c_str())));
}

TEST(SerializeUcs2, OneUnitPerCharacterTruncatedToSixteenBits) {
  const WString text(L"A\u00E9\U0001F600");
  EXPECT_EQ(6u, SerializeUcs2::GetUtf16SerializationSize(text));
  Units room(4, 0xEEEE);
  unsigned short* written = SerializeUcs2::SerializeAsUtf16(text, room.data(), room.data() + 4);
  EXPECT_EQ((Units{0x41, 0xE9, 0xF600}), Units(room.data(), written));
  EXPECT_EQ(room.data() + 2, SerializeUcs2::SerializeAsUtf16(text, room.data(), room.data() + 2));

  const unsigned short units[] = {0x41, 0xE9, 0xF600, 0xD800};
  EXPECT_EQ(L"A\u00E9\uF600\xD800", Std(SerializeUcs2::DeserializeFromUtf16(units, units + 4)));
  EXPECT_TRUE(SerializeUcs2::DeserializeFromUtf16(units, units).empty());
}

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
