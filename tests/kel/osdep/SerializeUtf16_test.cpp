#include "kel/osdep/SerializeUtf16.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/KelTest.h"

namespace {

using zo::kel::WString;
using zo::kel::osdep::SerializeUcs2;
using zo::kel::osdep::SerializeUtf16;
using zo_kel_test::Hex;
using zo_kel_test::ToHex;

std::wstring Std(const WString& s) { return std::wstring(s.begin(), s.end()); }

// Units from a hex byte image (little-endian pairs).
std::vector<unsigned short> Units(const char* hex) {
  const auto bytes = Hex(hex);
  std::vector<unsigned short> units(bytes.size() / 2);
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<unsigned short>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  }
  return units;
}
std::string UnitsHex(const unsigned short* begin, const unsigned short* end) {
  std::vector<unsigned char> bytes;
  for (const unsigned short* p = begin; p != end; ++p) {
    bytes.push_back(static_cast<unsigned char>(*p & 0xFF));
    bytes.push_back(static_cast<unsigned char>(*p >> 8));
  }
  return ToHex(bytes);
}

TEST(SerializeUtf16, WritesUnitsAndSurrogatePairsLittleEndian) {
  const struct {
    std::wstring text;
    const char* image;
    std::wstring back;
  } rows[] = {
      {L"", "", L""},
      {L"A\u00E9\u20AC\U0001F600", "41 00 E9 00 AC 20 3D D8 00 DE", L"A\u00E9\u20AC\U0001F600"},
      {std::wstring(L"a\0b", 3), "61 00 00 00 62 00", std::wstring(L"a\0b", 3)},
      {L"\U0010FFFF", "FF DB FF DF", L"\U0010FFFF"},
      // A surrogate code point or a value beyond U+10FFFF has no UTF-16 form.
      {{L'a', 0xD800, 0x110000}, "61 00 3F 00 3F 00", L"a??"},
  };
  for (const auto& row : rows) {
    const WString text(row.text.data(), static_cast<unsigned>(row.text.size()));
    const auto expected = Hex(row.image);
    EXPECT_EQ(expected.size(), SerializeUtf16::GetUtf16SerializationSize(text)) << row.image;
    std::vector<unsigned short> room(expected.size() / 2 + 1, 0xEEEE);
    unsigned short* written =
        SerializeUtf16::SerializeAsUtf16(text, room.data(), room.data() + room.size());
    EXPECT_EQ(row.image, UnitsHex(room.data(), written));
    EXPECT_EQ(0xEEEE, room.back());
    EXPECT_EQ(row.back, Std(SerializeUtf16::DeserializeFromUtf16(room.data(), written)));
  }
  // Lone surrogate units read as '?'.
  const auto lone = Units("00 D8 41 00 3D D8");
  EXPECT_EQ(L"?A?", Std(SerializeUtf16::DeserializeFromUtf16(lone.data(), lone.data() + 3)));
  EXPECT_TRUE(SerializeUtf16::DeserializeFromUtf16(nullptr, nullptr).empty());
}

TEST(SerializeUtf16, StopsWhereTheRoomEndsAndSizesLongTextsInChunks) {
  const WString text(L"ABCD");
  std::vector<unsigned short> room(4, 0xEEEE);
  EXPECT_EQ(room.data() + 2, SerializeUtf16::SerializeAsUtf16(text, room.data(), room.data() + 2));
  EXPECT_EQ("41 00 42 00 EE EE EE EE", UnitsHex(room.data(), room.data() + 4));
  EXPECT_EQ(room.data(), SerializeUtf16::SerializeAsUtf16(text, room.data(), room.data()));

  std::wstring longText;
  for (int i = 0; i < 3000; ++i) longText += (i % 3 == 0) ? L'\U0001F600' : L'x';
  // 1000 characters above U+FFFF take 4 bytes, 2000 others 2 bytes.
  EXPECT_EQ(8000u, SerializeUtf16::GetUtf16SerializationSize(WString(longText.c_str())));
}

TEST(SerializeUcs2, OneUnitPerCharacterTruncatedToSixteenBits) {
  const WString text(L"A\u00E9\U0001F600");
  EXPECT_EQ(6u, SerializeUcs2::GetUtf16SerializationSize(text));
  std::vector<unsigned short> room(4, 0xEEEE);
  unsigned short* written = SerializeUcs2::SerializeAsUtf16(text, room.data(), room.data() + 4);
  EXPECT_EQ("41 00 E9 00 00 F6", UnitsHex(room.data(), written));
  EXPECT_EQ(room.data() + 2, SerializeUcs2::SerializeAsUtf16(text, room.data(), room.data() + 2));

  const auto units = Units("41 00 E9 00 00 F6 00 D8");
  EXPECT_EQ(L"A\u00E9\uF600\xD800",
            Std(SerializeUcs2::DeserializeFromUtf16(units.data(), units.data() + 4)));
  EXPECT_TRUE(SerializeUcs2::DeserializeFromUtf16(units.data(), units.data()).empty());
}

}  // namespace
