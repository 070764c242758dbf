#include "kel/little_endian.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "kel/exception.h"

namespace {

using namespace zo::kel::little_endian;
using zo::kel::exception::DeserializationError;

// The bytes of every width, short room for a write, and the errors' classes, codes and places are
// checked where vectors, buffers and views write and read their images.
TEST(LittleEndian, ShortRoomLeavesCursorAndValue) {
  unsigned char buf[3] = {0xAA, 0xAA, 0xAA};
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
