#include "kel/osdep/IConv.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kel/exception.h"
#include "support/KelTest.h"
#include "support/ScopedLocale.h"

namespace {

using zo::kel::exception::InvalidLocale;
using zo::kel::osdep::IConv;
using zo_kel_test::ScopedLocale;

constexpr std::int32_t kInvalidLocaleCode = -1967362012;
using Units = std::vector<unsigned short>;

// Converts with IConv into `room` units of output; returns what was written. The output lies
// inside a larger buffer whose tail must stay untouched.
template <typename From, typename To>
std::vector<To> Convert(const std::vector<From>& in, const char* fromCode, const char* toCode,
                        std::size_t room) {
  std::vector<To> out(room + 4, static_cast<To>(0x5A5A));
  To* end = out.data() + room;
  IConv<From, To>(in.data(), in.data() + in.size(), fromCode, out.data(), end, toCode);
  EXPECT_LE(end, out.data() + room);
  for (std::size_t i = room; i < out.size(); ++i) EXPECT_EQ(static_cast<To>(0x5A5A), out[i]);
  return std::vector<To>(out.data(), end);
}

std::vector<wchar_t> W(const std::wstring& s) { return {s.begin(), s.end()}; }
std::vector<char> N(const std::string& s) { return {s.begin(), s.end()}; }

TEST(IConv, WideToUtf16LittleEndian) {
  struct Row {
    std::vector<wchar_t> in;
    std::size_t room;
    Units out;
  };
  const Row rows[] = {
      {W(L"AB"), 8, {0x0041, 0x0042}},
      {W(L"\xE9\x20AC\xFFFD"), 8, {0x00E9, 0x20AC, 0xFFFD}},
      {W(L"\x1F600"), 8, {0xD83D, 0xDE00}},
      {W(L"\x10FFFF"), 8, {0xDBFF, 0xDFFF}},
      // No UTF-16 form: a surrogate, a value above U+10FFFF, one with the top bit set.
      {{L'a', static_cast<wchar_t>(0xD800), L'b'}, 8, {0x61, 0x3F, 0x62}},
      {{static_cast<wchar_t>(0x110000), static_cast<wchar_t>(0x80000000u)}, 8, {0x3F, 0x3F}},
      // A pair with one unit of room left becomes '?', which fills the room.
      {W(L"a\x1F600z"), 2, {0x61, 0x3F}},
      {W(L"abcdef"), 3, {0x61, 0x62, 0x63}},  // the output room ends the conversion
      {W(L""), 8, {}},
      {W(L"abc"), 0, {}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.out, (Convert<wchar_t, unsigned short>(row.in, "wchar_t", "UTF-16LE", row.room)))
        << row.in.size() << " " << row.room;
  }
}

TEST(IConv, Utf16LittleEndianToWide) {
  struct Row {
    Units in;
    std::wstring out;
  };
  const Row rows[] = {
      {{0x0041, 0x0042}, L"AB"},
      {{0xD83D, 0xDE00, 0x0021}, L"\x1F600!"},
      {{0x0000, 0x0041}, std::wstring(L"\0A", 2)},
      {{0xDE00, 0x0041}, L"?A"},  // low surrogate alone
      {{0xD83D, 0x0041}, L"?A"},  // high surrogate without its pair
      {{0x0041, 0xD83D}, L"A?"},  // high surrogate at the end of the input
  };
  for (const Row& row : rows) {
    const std::vector<wchar_t> out =
        Convert<unsigned short, wchar_t>(row.in, "UTF-16LE", "wchar_t", row.in.size());
    EXPECT_TRUE(std::wstring(out.begin(), out.end()) == row.out) << row.in.size();
  }
}

TEST(IConv, NarrowAndWideThroughAsciiAndTheLocaleCodeSet) {
  const struct {
    const char* codeSet;  // "" for the locale's
    const char* locale;
    std::string narrow;
    std::wstring wide;  // of narrow
    std::string back;   // of wide
  } rows[] = {
      {"US-ASCII", "C", "a\xE9z", L"a?z", "a?z"},
      {"US-ASCII", "C", std::string("a\0b", 3), std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
      {"", "C.UTF-8", "\xE2\x82\xAC!", L"\x20AC!", "\xE2\x82\xAC!"},
      {"", "C.UTF-8", "x\xE2\x82", L"x??", "x??"},  // one '?' per byte of a cut sequence
      {"", "C.UTF-8", "\xFFy", L"?y", "?y"},
      {"", "C", "\xE2\x82\xAC!", L"??\?!", "??\?!"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.locale);
    const ScopedLocale locale(row.locale);
    ASSERT_TRUE(locale.ok());
    EXPECT_EQ(W(row.wide), (Convert<char, wchar_t>(N(row.narrow), row.codeSet, "wchar_t", 8)));
    EXPECT_EQ(N(row.back), (Convert<wchar_t, char>(W(row.wide), "wchar_t", row.codeSet, 8)));
  }
  const ScopedLocale utf8("C.UTF-8");
  EXPECT_EQ(N("\xE2\x82\xAC\xF0\x9F\x98\x80"),
            (Convert<wchar_t, char>(W(L"\x20AC\x1F600"), "wchar_t", "", 16)));
  EXPECT_EQ(N("?"), (Convert<wchar_t, char>({static_cast<wchar_t>(0xD800)}, "wchar_t", "", 8)));
  EXPECT_EQ(N("ab"), (Convert<wchar_t, char>(W(L"abcd"), "wchar_t", "US-ASCII", 2)));
}

TEST(IConv, UnopenableConverterThrowsInvalidLocaleAndWritesNothing) {
  const std::wstring text = L"abc";
  char out[4] = {'x', 'x', 'x', 'x'};
  struct Row {
    const char* from;
    const char* to;
  };
  const Row rows[] = {
      {"wchar_t", "NO-SUCH-CODE-SET"},
      {"NO-SUCH-CODE-SET", "wchar_t"},
      {"wchar_t", nullptr},
      {nullptr, "US-ASCII"},
  };
  for (const Row& row : rows) {
    char* end = out + 4;
    EXPECT_KEL_THROW(IConv(text.data(), text.data() + 3, row.from, out, end, row.to), InvalidLocale,
                     kInvalidLocaleCode, "Invalid locale");
    EXPECT_EQ(out + 4, end);
    EXPECT_EQ(std::string("xxxx"), std::string(out, 4));
  }
  // The converter is opened before the input is looked at.
  char* end = out + 4;
  EXPECT_THROW(IConv(text.data(), text.data(), "wchar_t", out, end, "NO-SUCH-CODE-SET"),
               InvalidLocale);
}

}  // namespace
