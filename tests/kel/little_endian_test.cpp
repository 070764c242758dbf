#include "kel/little_endian.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "kel/exception.h"
#include "support/KelTest.h"

namespace {

using namespace zo::kel::little_endian;
using zo::kel::exception::BufferOverflow;
using zo::kel::exception::DeserializationError;
using zo_kel_test::Hex;
using zo_kel_test::ToHex;

TEST(LittleEndian, WritesEveryWidthLowByteFirst) {
  unsigned char buf[32] = {};
  unsigned char* pos = buf;
  const unsigned char* end = buf + sizeof buf;
  SerializeRaw<std::uint32_t>(0x11223344u, pos, end);
  SerializeRaw<std::uint16_t>(0xA1B2u, pos, end);
  SerializeRaw<unsigned char>(0xFE, pos, end);
  SerializeRaw<char>('a', pos, end);
  SerializeRaw<unsigned long long>(0x0102030405060708ull, pos, end);
  SerializeRaw<double>(1.5, pos, end);
  EXPECT_EQ(24, pos - buf);
  EXPECT_EQ("44 33 22 11 B2 A1 FE 61 08 07 06 05 04 03 02 01 00 00 00 00 00 00 F8 3F",
            ToHex(buf, 24));
}

TEST(LittleEndian, ReadsFromAnyAlignment) {
  const auto bytes = Hex("00 44 33 22 11 08 07 06 05 04 03 02 01");
  const unsigned char* pos = bytes.data() + 1;
  const unsigned char* end = bytes.data() + bytes.size();
  std::uint32_t word = 0;
  unsigned long long wide = 0;
  DeserializeRaw(word, pos, end);
  DeserializeRaw(wide, pos, end);
  EXPECT_EQ(0x11223344u, word);
  EXPECT_EQ(0x0102030405060708ull, wide);
  EXPECT_EQ(end, pos);
}

// The errors' classes, codes and places are checked where vectors and views write and read.
TEST(LittleEndian, ShortRoomLeavesCursorAndValue) {
  unsigned char buf[3] = {0xAA, 0xAA, 0xAA};
  unsigned char* pos = buf;
  EXPECT_THROW(SerializeRaw<std::uint32_t>(1, pos, buf + 3), BufferOverflow);
  EXPECT_EQ(buf, pos);
  EXPECT_EQ("AA AA AA", ToHex(buf, 3));
  const unsigned char* in = buf;
  std::uint32_t value = 77;
  EXPECT_THROW(DeserializeRaw(value, in, buf + 3), DeserializationError);
  EXPECT_EQ(buf, in);
  EXPECT_EQ(77u, value);
  // Exact fits pass; a count near the top of the address space must not wrap into "fits".
  EXPECT_EQ(buf + 3, CheckSerializationSize(3, buf, buf + 3));
  EXPECT_EQ(buf, CheckDeserializationSize(0, buf, buf));
  EXPECT_THROW(CheckDeserializationSize(static_cast<std::size_t>(-1), buf, buf + 3),
               DeserializationError);
}

}  // namespace
