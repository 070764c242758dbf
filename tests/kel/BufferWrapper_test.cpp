#include "kel/BufferWrapper.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kel/AutoBuffer.h"
#include "kel/StringBase.h"
#include "kel/exception.h"
#include "support/KelTest.h"

namespace {

using zo::kel::AutoBuffer;
using zo::kel::BufferWrapper;
using zo::kel::CompareBuffers;
using zo::kel::exception::BufferOverflow;
using zo::kel::exception::DeserializationError;
using zo_kel_test::Bytes;
using zo_kel_test::Hex;
using zo_kel_test::ToHex;

BufferWrapper View(const char* text) {
  return BufferWrapper(reinterpret_cast<const unsigned char*>(text),
                       static_cast<std::uint32_t>(std::strlen(text)));
}

TEST(CompareBuffers, LexicographicBytesShorterPrefixFirst) {
  struct Row {
    const char* a;
    const char* b;
    int expected;
  };
  const Row rows[] = {
      {"ab", "abc", -1},
      {"b", "abc", 1},
      {"", "", 0},
      {"", "a", -1},
      {"abd", "abc", 1},
      {"\x7f", "\x80", -1},  // bytes compare as unsigned
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(std::string(r.a) + " vs " + r.b);
    EXPECT_EQ(r.expected, CompareBuffers(View(r.a), View(r.b)));
    EXPECT_EQ(-r.expected, CompareBuffers(View(r.b), View(r.a)));
    EXPECT_EQ(r.expected == 0, View(r.a) == View(r.b));
    EXPECT_EQ(r.expected == -1, View(r.a) < View(r.b));
  }
  // An empty view without data equals an empty view of real bytes.
  EXPECT_EQ(0, CompareBuffers(BufferWrapper(), View("")));
}

TEST(BufferWrapper, ViewsWithoutCopying) {
  AutoBuffer buffer(reinterpret_cast<const unsigned char*>("bytes"), 5);
  const BufferWrapper ofBuffer(buffer);
  EXPECT_EQ(buffer.Data(), ofBuffer.Data());
  EXPECT_EQ(5u, ofBuffer.Len());
  EXPECT_EQ(nullptr, BufferWrapper(AutoBuffer()).Data());

  // Both narrow strings are viewed without their terminator; an embedded NUL is a byte.
  const zo::kel::AString text("a\0b", 3u);
  const BufferWrapper ofText(text);
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(text.begin()), ofText.Data());
  EXPECT_EQ(3u, ofText.Len());
  // Buffers compare through their views.
  EXPECT_TRUE(AutoBuffer(ofText) == AutoBuffer(ofText));
  EXPECT_TRUE(AutoBuffer(ofText) < buffer);
}

TEST(BufferWrapper, RecordBytesAndRoom) {
  unsigned char out[12];
  std::memset(out, 0xEE, sizeof out);
  // Short by one byte: the cursor primitive's error, nothing written.
  unsigned char* pos = out + 5;
  EXPECT_KEL_THROW_AT(View("abcd").serialize(pos, out + sizeof out), BufferOverflow, -1967362025,
                      "Buffer overflowed", "little_endian", 111);
  EXPECT_EQ(out + 5, pos);
  EXPECT_EQ("EE EE EE EE EE EE EE EE EE EE EE EE", ToHex(out, 12));

  pos = out;
  View("abc").serialize(pos, out + sizeof out);
  BufferWrapper().serialize(pos, out + sizeof out);
  EXPECT_EQ(out + 11, pos);
  EXPECT_EQ("03 00 00 00 61 62 63 00 00 00 00 EE", ToHex(out, 12));
  EXPECT_EQ(7u, View("abc").serializationSize());
}

TEST(BufferWrapper, ReadPointsIntoTheInput) {
  const Bytes in = Hex("02 00 00 00 68 69  00 00 00 00  05 00 00 00 61");
  const unsigned char* pos = in.data();
  const unsigned char* const end = in.data() + in.size();
  BufferWrapper view;
  view.deserialize(pos, end);
  EXPECT_EQ(in.data() + 4, view.Data());
  EXPECT_EQ(2u, view.Len());
  EXPECT_EQ(in.data() + 6, pos);
  view.deserialize(pos, end);
  EXPECT_EQ(0u, view.Len());
  EXPECT_EQ(in.data() + 10, pos);

  // Five bytes announced, one present; then a length field cut short.
  const BufferWrapper before = view;
  for (std::size_t start : {10u, 12u}) {
    pos = in.data() + start;
    EXPECT_KEL_THROW_AT(view.deserialize(pos, end), DeserializationError, -1967362028,
                        "Failed to deserialize", "BufferWrapper", start == 10 ? 78 : 72);
    EXPECT_EQ(in.data() + start, pos);
    EXPECT_EQ(before.Data(), view.Data());
    EXPECT_EQ(0u, view.Len());
  }
}

}  // namespace
