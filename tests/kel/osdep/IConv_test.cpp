#include "kel/osdep/IConv.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kel/exception.h"
#include "support/KelTest.h"

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
// these are the edges of the output room that those cannot reach.
TEST(IConv, ReplacesWhatHasNoFormAndStopsAtTheRoom) {
  const auto toUtf16 = [](const std::wstring& in, std::size_t room) {
    return Convert<wchar_t, unsigned short>(W(in), "wchar_t", "UTF-16LE", room);
  };
  // A pair with one unit of room left becomes '?', which fills the room.
  EXPECT_EQ((Units{0x61, 0x3F}), toUtf16(L"a\x1F600z", 2));
  EXPECT_EQ(Units{}, toUtf16(L"abc", 0));
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
                     InvalidLocale, -1967362012, "Invalid locale");
    EXPECT_EQ(out + 4, end);
    EXPECT_EQ(std::string("xxxx"), std::string(out, 4));
  }
}

}  // namespace
