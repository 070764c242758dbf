#include "kel/osdep/SerializeUtf16.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using zo::kel::WString;
using zo::kel::osdep::SerializeUcs2;
using zo::kel::osdep::SerializeUtf16;
using Units = std::vector<unsigned short>;

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

}  // namespace
