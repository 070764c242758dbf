#include "kel/osdep/AnsiToWide.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kel/exception.h"
#include "kel/osdep/WideToAnsi.h"
#include "support/AllocationHook.h"
#include "support/KelTest.h"
#include "support/ScopedLocale.h"

namespace {

using zo::kel::exception::InvalidLocale;
using zo::kel::osdep::AnsiToWide;
using zo::kel::osdep::Latin1AnsiToWide;
using zo::kel::osdep::Latin1WideToAnsi;
using zo::kel::osdep::WideToAnsi;
using zo_kel_test::ScopedLocale;

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
    const std::string fourByte = ToNarrow(std::wstring(100, L'\x1F600'), "");
    EXPECT_EQ(400u, fourByte.size());
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
  } rows[] = {{"abcdef", -1, L"abcdef"},
              {"abcdef", 3, L"abc"},
              {"ab\0cdef", 10, L"ab"},
              {"abc", 0, L""},
              {nullptr, 5, L""}};
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
  wchar_t* wideBegin = &sentinelWide;
  wchar_t* wideEnd = &sentinelWide;
  char sentinel = 'n';
  char* begin = &sentinel;
  char* end = &sentinel;
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
  char* nullBegin = nullptr;
  char* nullEnd = nullptr;
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

}  // namespace
