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
                     InvalidLocale, -1967362012, "Invalid locale");
    EXPECT_EQ(out + 4, end);
    EXPECT_EQ(std::string("xxxx"), std::string(out, 4));
  }
}

}  // namespace
