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

// The text forms reach iconv through the wide/narrow and UTF-16 conversions, tested with them;
// these are the edges of the output room and of the input that those cannot reach.
TEST(IConv, ReplacesWhatHasNoFormAndStopsAtTheRoom) {
  const struct {
    std::vector<wchar_t> in;
    std::size_t room;
    Units out;
  } rows[] = {
      {{static_cast<wchar_t>(0x110000), static_cast<wchar_t>(0x80000000u)}, 8, {0x3F, 0x3F}},
      // A pair with one unit of room left becomes '?', which fills the room.
      {W(L"a\x1F600z"), 2, {0x61, 0x3F}},
      {W(L"abcdef"), 3, {0x61, 0x62, 0x63}},
      {W(L""), 8, {}},
      {W(L"abc"), 0, {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.out, (Convert<wchar_t, unsigned short>(row.in, "wchar_t", "UTF-16LE", row.room)))
        << row.in.size() << " " << row.room;
  }
  const std::vector<wchar_t> back =
      Convert<unsigned short, wchar_t>({0x0000, 0x0041, 0xD83D}, "UTF-16LE", "wchar_t", 3);
  EXPECT_TRUE(std::wstring(back.begin(), back.end()) == std::wstring(L"\0A?", 3));

  // A sequence cut by the end of the input: one '?' per byte.
  const zo_kel_test::ScopedLocale utf8("C.UTF-8");
  ASSERT_TRUE(utf8.ok());
  EXPECT_EQ(W(L"x??"), (Convert<char, wchar_t>({'x', '\xE2', '\x82'}, "", "wchar_t", 8)));
}

TEST(IConv, UnopenableConverterThrowsInvalidLocaleAndWritesNothing) {
  const std::wstring text = L"abc";
  char out[4] = {'x', 'x', 'x', 'x'};
  const struct {
    const char* from;
    const char* to;
    std::size_t length;
  } rows[] = {
      {"wchar_t", "NO-SUCH-CODE-SET", 3},
      {"NO-SUCH-CODE-SET", "wchar_t", 3},
      {"wchar_t", nullptr, 3},
      {nullptr, "US-ASCII", 3},
      {"wchar_t", "NO-SUCH-CODE-SET", 0},  // opened before the input is looked at
  };
  for (const auto& row : rows) {
    char* end = out + 4;
    EXPECT_KEL_THROW(IConv(text.data(), text.data() + row.length, row.from, out, end, row.to),
                     InvalidLocale, -1967362012, "Invalid locale");
    EXPECT_EQ(out + 4, end);
    EXPECT_EQ(std::string("xxxx"), std::string(out, 4));
  }
}

}  // namespace
