#include "kel/osdep/AnsiToWide.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kel/DLLMalloc.h"
#include "kel/exception.h"
#include "kel/osdep/WideToAnsi.h"
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

// The wide text between the out pointers of AnsiToWide, checking the terminator.
std::wstring ToWide(const std::string& narrow, const char* codeSet) {
  wchar_t* begin = nullptr;
  wchar_t* end = nullptr;
  AnsiToWide(narrow.data(), narrow.data() + narrow.size(), codeSet, begin, end);
  std::unique_ptr<wchar_t[]> owner(begin);
  EXPECT_EQ(L'\0', *end);
  return std::wstring(begin, end);
}

std::string ToNarrow(const std::wstring& wide, const char* codeSet) {
  char* begin = nullptr;
  char* end = nullptr;
  WideToAnsi(wide.data(), wide.data() + wide.size(), codeSet, begin, end);
  std::unique_ptr<char[]> owner(begin);
  EXPECT_EQ('\0', *end);
  return std::string(begin, end);
}

TEST(AnsiToWide, AsciiCodeSetReplacesWhatItLacks) {
  EXPECT_EQ("?", ToNarrow(L"\x20AC", "US-ASCII"));
  EXPECT_EQ("price: 5?", ToNarrow(L"price: 5\x20AC", "US-ASCII"));
  EXPECT_TRUE(ToWide("caf\xC3\xA9", "US-ASCII") == L"caf??");
  EXPECT_TRUE(ToWide(std::string("a\0b", 3), "US-ASCII") == std::wstring(L"a\0b", 3));
  EXPECT_EQ(std::string("a\0b", 3), ToNarrow(std::wstring(L"a\0b", 3), "US-ASCII"));
  std::string ascii;
  for (int c = 1; c < 128; ++c) ascii.push_back(static_cast<char>(c));
  const std::wstring wide = ToWide(ascii, "US-ASCII");
  ASSERT_EQ(127u, wide.size());
  for (int c = 1; c < 128; ++c) EXPECT_EQ(static_cast<wchar_t>(c), wide[c - 1]);
  EXPECT_EQ(ascii, ToNarrow(wide, "US-ASCII"));
}

TEST(AnsiToWide, LocaleCodeSetFollowsSetlocale) {
  {
    const ScopedLocale utf8("C.UTF-8");
    ASSERT_TRUE(utf8.ok());
    EXPECT_TRUE(ToWide("Gr\xC3\xBC\xC3\x9F"
                       "e \xE2\x82\xAC",
                       "") ==
                L"Gr\xFC\xDF"
                L"e \x20AC");
    EXPECT_EQ(
        "Gr\xC3\xBC\xC3\x9F"
        "e \xE2\x82\xAC \xF0\x9F\x98\x80",
        ToNarrow(L"Gr\xFC\xDF"
                 L"e \x20AC \x1F600",
                 ""));
    EXPECT_EQ("\xF4\x8F\xBF\xBF?", ToNarrow(L"\x10FFFF\xD800", ""));
    // The converter writes values beyond U+1FFFFF in five or six bytes; a text made of them
    // outgrows the 4 bytes per character reserved and is cut short, never overrun.
    const std::wstring huge(3, static_cast<wchar_t>(0x7FFFFFFF));
    EXPECT_EQ("\xFD\xBF\xBF\xBF\xBF\xBF\xFD\xBF\xBF\xBF\xBF\xBF", ToNarrow(huge, ""));
    // Every character at its longest still fits the 4 bytes per character reserved.
    const std::string fourByte = ToNarrow(std::wstring(100, L'\x1F600'), "");
    EXPECT_EQ(400u, fourByte.size());
    EXPECT_TRUE(ToWide(fourByte, "") == std::wstring(100, L'\x1F600'));
  }
  const ScopedLocale c("C");
  ASSERT_TRUE(c.ok());
  EXPECT_TRUE(ToWide("\xC3\xBC!", "") ==
              L"??"
              L"!");
  EXPECT_EQ("?!", ToNarrow(L"\xFC!", ""));
}

TEST(AnsiToWide, OtherFormsAndLimits) {
  std::unique_ptr<wchar_t[]> range(AnsiToWide("abc", nullptr, "US-ASCII"));
  EXPECT_EQ(L'\0', range[0]);  // an end before the begin is an empty range
  std::unique_ptr<wchar_t[]> whole(AnsiToWide("abcdef", -1, "US-ASCII"));
  EXPECT_STREQ(L"abcdef", whole.get());
  std::unique_ptr<wchar_t[]> counted(AnsiToWide("abcdef", 3, "US-ASCII"));
  EXPECT_STREQ(L"abc", counted.get());
  std::unique_ptr<wchar_t[]> stopsAtNul(AnsiToWide("ab\0cdef", 10, "US-ASCII"));
  EXPECT_STREQ(L"ab", stopsAtNul.get());
  std::unique_ptr<wchar_t[]> none(AnsiToWide("abc", 0, "US-ASCII"));
  EXPECT_STREQ(L"", none.get());
  std::unique_ptr<wchar_t[]> fromNull(AnsiToWide(nullptr, 5, "US-ASCII"));
  EXPECT_STREQ(L"", fromNull.get());

  // The count bounds the read: three bytes at the very end of a block, with no NUL.
  std::unique_ptr<char[]> block(new char[3]{'x', 'y', 'z'});
  std::unique_ptr<wchar_t[]> bounded(AnsiToWide(block.get(), 3, "US-ASCII"));
  EXPECT_STREQ(L"xyz", bounded.get());

  std::unique_ptr<char[]> narrow(WideToAnsi(L"h\xE9llo", "US-ASCII"));
  EXPECT_STREQ("h?llo", narrow.get());
  std::unique_ptr<char[]> narrowRange(WideToAnsi(L"hello", nullptr, "US-ASCII"));
  EXPECT_STREQ("", narrowRange.get());
  std::unique_ptr<char[]> narrowNull(WideToAnsi(nullptr, "US-ASCII"));
  EXPECT_STREQ("", narrowNull.get());

  EXPECT_FALSE(zo::kel::osdep::MakeAnsiToWideThrow(true));
  EXPECT_FALSE(zo::kel::osdep::MakeWideToAnsiThrow(true));
}

bool RefuseEverything(unsigned long long) { return true; }

TEST(AnsiToWide, FailuresLeaveTheOutPointersAlone) {
  wchar_t sentinelWide = L'w';
  wchar_t* wideBegin = &sentinelWide;
  wchar_t* wideEnd = &sentinelWide;
  const char* text = "abc";
  EXPECT_KEL_THROW(AnsiToWide(text, text + 3, "NO-SUCH-CODE-SET", wideBegin, wideEnd),
                   InvalidLocale, kInvalidLocaleCode, "Invalid locale");
  EXPECT_EQ(&sentinelWide, wideBegin);
  EXPECT_EQ(&sentinelWide, wideEnd);
  char sentinel = 'n';
  char* begin = &sentinel;
  char* end = &sentinel;
  const wchar_t* wide = L"abc";
  EXPECT_KEL_THROW(WideToAnsi(wide, wide + 3, "NO-SUCH-CODE-SET", begin, end), InvalidLocale,
                   kInvalidLocaleCode, "Invalid locale");
  EXPECT_KEL_THROW(WideToAnsi(wide, nullptr), InvalidLocale, kInvalidLocaleCode, "Invalid locale");
  EXPECT_EQ(&sentinel, begin);
  EXPECT_EQ(&sentinel, end);

  const zo::kel::detail::AllocationHook previous =
      zo::kel::detail::SetAllocationHook(&RefuseEverything);
  EXPECT_THROW(AnsiToWide(text, text + 3, "US-ASCII", wideBegin, wideEnd), std::bad_alloc);
  EXPECT_THROW(WideToAnsi(wide, wide + 3, "US-ASCII", begin, end), std::bad_alloc);
  EXPECT_THROW(Latin1AnsiToWide(text, text + 3, "", wideBegin, wideEnd), std::bad_alloc);
  zo::kel::detail::SetAllocationHook(previous);
  EXPECT_EQ(&sentinelWide, wideBegin);
  EXPECT_EQ(&sentinel, begin);
}

TEST(AnsiToWide, Latin1FallbackPair) {
  std::string bytes;
  for (int b = 0; b < 256; ++b) bytes.push_back(static_cast<char>(b));
  for (const char* codeSet : {"", "US-ASCII"}) {
    wchar_t* wideBegin;
    wchar_t* wideEnd;
    Latin1AnsiToWide(bytes.data(), bytes.data() + bytes.size(), codeSet, wideBegin, wideEnd);
    std::unique_ptr<wchar_t[]> owner(wideBegin);
    ASSERT_EQ(256, wideEnd - wideBegin);
    EXPECT_EQ(L'\0', *wideEnd);
    for (int b = 0; b < 256; ++b) EXPECT_EQ(static_cast<wchar_t>(b), wideBegin[b]);

    const std::wstring wide = {L'A',     L'\xE9',   L'\xFF',
                               L'\x100', L'\x20AC', static_cast<wchar_t>(0x80000041u),
                               L'\0',    L'z'};
    char* begin;
    char* end;
    Latin1WideToAnsi(wide.data(), wide.data() + wide.size(), codeSet, begin, end);
    std::unique_ptr<char[]> narrowOwner(begin);
    EXPECT_EQ(std::string("A\xE9\xFF???\0z", 8), std::string(begin, end));
    EXPECT_EQ('\0', *end);
  }
  char* begin;
  char* end;
  Latin1WideToAnsi(nullptr, nullptr, "", begin, end);
  std::unique_ptr<char[]> emptyOwner(begin);
  EXPECT_EQ(begin, end);
  EXPECT_EQ('\0', *begin);
  for (const char* codeSet : {"UTF-8", "us-ascii", static_cast<const char*>(nullptr)}) {
    wchar_t* wideBegin = nullptr;
    wchar_t* wideEnd = nullptr;
    EXPECT_KEL_THROW(Latin1AnsiToWide("a", nullptr, codeSet, wideBegin, wideEnd), InvalidLocale,
                     kInvalidLocaleCode, "Invalid locale");
    EXPECT_KEL_THROW(Latin1WideToAnsi(L"a", nullptr, codeSet, begin, end), InvalidLocale,
                     kInvalidLocaleCode, "Invalid locale");
  }
}

TEST(AnsiToWide, ConcurrentConversionsShareNothing) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      for (int i = 0; i < 200; ++i) {
        std::unique_ptr<char[]> narrow(WideToAnsi(L"abc\x20AC", "US-ASCII"));
        std::unique_ptr<wchar_t[]> wide(AnsiToWide(narrow.get(), -1, "US-ASCII"));
        failures[t] += std::wcscmp(L"abc?", wide.get()) != 0;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::vector<int>(4, 0), failures);
}

}  // namespace
