#include "kel/AutoBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "kel/BufferWrapper.h"
#include "kel/StringBase.h"
#include "kel/exception.h"
#include "kel/little_endian.h"
#include "support/AllocationHook.h"
#include "support/KelTest.h"

namespace {

using zo::kel::AutoBuffer;
using zo::kel::BufferWrapper;
using zo::kel::CompareBuffers;
using zo::kel::exception::BufferOverflow;
using zo::kel::exception::DeserializationError;
using zo::kel::exception::InvalidArgument;
using zo_kel_test::Bytes;
using zo_kel_test::Hex;
using zo_kel_test::RefuseAllocationsFrom;
using zo_kel_test::ToHex;

AutoBuffer FromText(const std::string& text) {
  return AutoBuffer(reinterpret_cast<const unsigned char*>(text.data()),
                    static_cast<std::uint32_t>(text.size()));
}

std::string Text(const AutoBuffer& b) {
  return b.Len() == 0 ? std::string()
                      : std::string(reinterpret_cast<const char*>(b.Data()), b.Len());
}

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
      {"ab", "abc", -1}, {"b", "abc", 1},   {"", "", 0},
      {"", "a", -1},     {"abd", "abc", 1}, {"\x7f", "\x80", -1},  // bytes compare as unsigned
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

// The bytes of every width, short room for a write, and the errors' classes, codes and places are
// checked where vectors, buffers and views write and read their images.
TEST(LittleEndian, ShortRoomLeavesCursorAndValue) {
  using namespace zo::kel::little_endian;
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

TEST(AutoBuffer, GrowthPolicyAddsTenPercentAndAtLeast128) {
  // {bytes appended, capacity after}, one buffer throughout.
  const std::pair<std::uint32_t, std::uint32_t> steps[] = {
      {1, 129},      // 1 needed
      {128, 129},    // 129 needed: fits exactly
      {1, 258},      // 130 needed
      {1149, 1407},  // 1279 needed, a tenth is 127: the minimum wins
      {129, 1548},   // 1408 needed: 140 of headroom
  };
  const std::vector<char> bytes(4000, 'z');
  AutoBuffer b;
  b.Append(bytes.data(), 0);  // nothing at all: still no body
  EXPECT_EQ(nullptr, b.Data());
  for (const auto& step : steps) {
    b.Append(bytes.data(), step.first);
    EXPECT_EQ(step.second, b.MemUsage()) << "after appending " << step.first;
  }
  EXPECT_EQ(std::string(1408, 'z'), Text(b));

  // Reserve is exact.
  AutoBuffer r = FromText("xy");
  r.Reserve(300);
  EXPECT_EQ(300u, r.MemUsage());
  // Skip grows to exactly what is needed and exposes the bytes as they are.
  r.Skip(400);
  EXPECT_EQ(402u, r.MemUsage());
  r.UnAppend(400);
  EXPECT_EQ("xy", Text(r));
  r.UnAppend(10);  // more than there is: empties, keeps the block
  EXPECT_EQ(0u, r.Len());
  EXPECT_EQ(402u, r.MemUsage());
}

TEST(AutoBuffer, HeadroomAboveTwoGibibytesIsTheMinimum) {
  // The capacity asked for reaches the allocator; refusing it keeps the test small.
  const unsigned char small[4] = {};
  AutoBuffer b = FromText("a");
  const unsigned char* const block = b.Data();
  {
    RefuseAllocationsFrom hook(0x10000000);
    EXPECT_THROW(b.Append(small, 0x7FFFFFFE), std::bad_alloc);  // 0x7FFFFFFF needed
    EXPECT_EQ(2362232011ull, hook.LastRequest());               // + 214748364
    EXPECT_THROW(b.Append(small, 0x7FFFFFFF), std::bad_alloc);  // 0x80000000 needed
    EXPECT_EQ(0x80000080ull, hook.LastRequest());  // the tenth is negative as a signed value

    // A length beyond 4 GiB - 5 is refused before anything is asked of the allocator.
    hook.ResetCount();
    EXPECT_THROW(b.Append(small, 0xFFFFFFFBu), std::bad_alloc);
    EXPECT_THROW(b.Skip(0xFFFFFFFFu), std::bad_alloc);
    EXPECT_THROW(b.Modify(0xFFFFFFFFu, small, 1), std::bad_alloc);
    EXPECT_EQ(0, hook.Requests());
  }
  EXPECT_EQ(block, b.Data());
  EXPECT_EQ("a", Text(b));
}

TEST(AutoBuffer, CopiesShareUntilOneChanges) {
  AutoBuffer a(500);
  a.Append("0123456789", 10);
  AutoBuffer b(a);
  EXPECT_EQ(a.Data(), b.Data());

  // Every mutation of a sharer copies first; the copy keeps the source's capacity.
  struct Mutation {
    void (*apply)(AutoBuffer&);
    const char* expected;
    std::uint32_t memUsage;
  };
  const Mutation mutations[] = {
      {[](AutoBuffer& x) { x.Append("!", 1); }, "0123456789!", 500},
      {[](AutoBuffer& x) { x.UnAppend(4); }, "012345", 500},
      {[](AutoBuffer& x) { x.Modify(0, "AB", 2); }, "AB23456789", 500},
      {[](AutoBuffer& x) { x.Reserve(600); }, "0123456789", 600},
      {[](AutoBuffer& x) {
         x.Skip(2);
         x.UnAppend(2);
       },
       "0123456789", 500},
  };
  for (const Mutation& m : mutations) {
    AutoBuffer copy = a;
    m.apply(copy);
    EXPECT_NE(a.Data(), copy.Data());
    EXPECT_EQ(m.expected, Text(copy));
    EXPECT_EQ(m.memUsage, copy.MemUsage());
  }
  // An append that fills the shared capacity exactly copies at that capacity, without growing.
  AutoBuffer full = a;
  full.Append(std::string(490, 'z').data(), 490);
  EXPECT_EQ(500u, full.Len());
  EXPECT_EQ(500u, full.MemUsage());
  b.Reserve(400);  // within the capacity: still shared
  EXPECT_EQ(a.Data(), b.Data());
  EXPECT_EQ("0123456789", Text(a));

  // Erase detaches a shared buffer instead of copying it...
  b.Erase();
  EXPECT_EQ(nullptr, b.Data());
  EXPECT_EQ(0u, b.MemUsage());
  EXPECT_EQ("0123456789", Text(a));
  // ...and keeps the block of a unique one.
  const unsigned char* const block = a.Data();
  a.Erase();
  EXPECT_EQ(block, a.Data());
  EXPECT_EQ(0u, a.Len());
}

TEST(AutoBuffer, AssignmentSharesReleasesAndMoves) {
  AutoBuffer a = FromText("first");
  AutoBuffer b = FromText("second");
  const unsigned char* const first = a.Data();
  const AutoBuffer& self = b;
  b = self;  // a unique body assigned to itself must survive
  EXPECT_EQ("second", Text(b));
  b = a;
  a = b;  // already the same body
  EXPECT_EQ(first, b.Data());
  EXPECT_EQ(first, a.Data());

  AutoBuffer target = FromText("old");
  target = std::move(a);
  EXPECT_EQ(first, target.Data());
  EXPECT_EQ(nullptr, a.Data());  // NOLINT: moved-from state is documented
  const unsigned char raw[] = {'v', 'w'};
  target = BufferWrapper(raw, 2);
  EXPECT_EQ("vw", Text(target));
  EXPECT_EQ(130u, target.MemUsage());  // copied, not viewed
  EXPECT_EQ("first", Text(b));         // the body target shared before is intact
}

TEST(AutoBuffer, ModifyWritesWithoutChangingTheLength) {
  AutoBuffer b = FromText("abcdef");
  b.Modify(2, "XY", 2);
  EXPECT_EQ("abXYef", Text(b));
  // Beyond the capacity: grown by the append rule, the length and bytes kept. The bytes may come
  // from the buffer itself, even when the block moves.
  AutoBuffer d = FromText("hello");
  d.Modify(200, d.Data() + 1, 4);
  EXPECT_EQ(332u, d.MemUsage());  // 204 + 128
  EXPECT_EQ("hello", Text(d));
  d.Skip(199);
  EXPECT_EQ(0, std::memcmp(d.Data() + 200, "ello", 4));
  AutoBuffer e(3);
  e.Append("abc", 3);
  e.Append(e.Data(), 3);  // reallocates while reading its own bytes
  EXPECT_EQ("abcabc", Text(e));
}

TEST(AutoBuffer, FlatRecordBytesAndReadBack) {
  unsigned char out[24];
  std::memset(out, 0xEE, sizeof out);
  // One byte too little: nothing written, cursor kept (the view's check is the cursor
  // primitive's); then exactly enough room.
  unsigned char* pos = out + 1;
  EXPECT_KEL_THROW_AT(FromText("abcdefghijklmnopqrst").serialize(pos, out + 24), BufferOverflow,
                      -1967362025, "Buffer overflowed", "AutoBuffer", 368);
  EXPECT_KEL_THROW_AT(View("abcdefghijklmnopqrst").serialize(pos, out + 24), BufferOverflow,
                      -1967362025, "Buffer overflowed", "little_endian", 111);
  EXPECT_EQ(out + 1, pos);
  EXPECT_EQ(ToHex(Bytes(24, 0xEE)), ToHex(out, 24));
  pos = out;
  FromText("abcdefghijklmnopqrst").serialize(pos, out + 24);
  EXPECT_EQ(out + 24, pos);

  // Buffers and views write the same records, empty or not.
  pos = out;
  FromText("abc").serialize(pos, out + sizeof out);
  BufferWrapper().serialize(pos, out + sizeof out);
  View("x").serialize(pos, out + sizeof out);
  AutoBuffer().serialize(pos, out + sizeof out);
  EXPECT_EQ(out + 20, pos);
  EXPECT_EQ("03 00 00 00 61 62 63 00 00 00 00 01 00 00 00 78 00 00 00 00 71", ToHex(out, 21));
  EXPECT_EQ(7u, FromText("abc").serializationSize());
  EXPECT_EQ(5u, View("x").serializationSize());

  // Reading replaces a buffer's contents; a view points into the input.
  const unsigned char* in = out;
  AutoBuffer b(500);
  b.Append("previous", 8);
  b.deserialize(in, out + 20);
  EXPECT_EQ("abc", Text(b));
  EXPECT_EQ(500u, b.MemUsage());  // a unique body keeps its room
  b.deserialize(in, out + 20);
  EXPECT_EQ(0u, b.Len());
  BufferWrapper view;
  view.deserialize(in, out + 20);
  EXPECT_EQ(out + 15, view.Data());
  EXPECT_EQ(1u, view.Len());
  view.deserialize(in, out + 20);
  EXPECT_EQ(0u, view.Len());
  EXPECT_EQ(out + 20, in);

  // Length field larger than what follows, or cut short: nothing changes, not even the cursor.
  b = FromText("keep");
  const unsigned char* const block = b.Data();
  for (const char* bad : {"02 00 00 00 78", "03 00 00", ""}) {
    SCOPED_TRACE(bad);
    const Bytes image = Hex(bad);
    const bool shortLength = image.size() < 4;
    const unsigned char* p = image.data();
    EXPECT_KEL_THROW_AT(b.deserialize(p, image.data() + image.size()), DeserializationError,
                        -1967362028, "Failed to deserialize", "AutoBuffer",
                        shortLength ? 387 : 393);
    EXPECT_KEL_THROW_AT(view.deserialize(p, image.data() + image.size()), DeserializationError,
                        -1967362028, "Failed to deserialize", "BufferWrapper",
                        shortLength ? 72 : 78);
    EXPECT_EQ(image.data(), p);
    EXPECT_EQ(out + 20, view.Data());
    EXPECT_EQ(0u, view.Len());
  }
  EXPECT_EQ(block, b.Data());
  EXPECT_EQ("keep", Text(b));
}

TEST(AutoBuffer, FlatRecordReadIntoASharedBody) {
  Bytes record = Hex("C8 00 00 00");  // 200 bytes follow
  record.resize(204, 0x5A);
  AutoBuffer roomy(500);
  roomy.Append("keep", 4);
  // Each target shares its body with the table's entry, which must not change.
  const struct {
    const char* name;
    AutoBuffer shared;
    std::uint32_t memUsage;
  } cases[] = {
      {"too small: reserved to exactly 200", FromText("xy"), 200},
      {"room enough: a fresh body by the append rule", roomy, 328},
      // Not detached by the read's erase step: the copy made for the append keeps the room.
      {"room enough, but empty", AutoBuffer(500), 500},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string kept = Text(c.shared);
    const std::uint32_t keptRoom = c.shared.MemUsage();
    AutoBuffer target = c.shared;
    const unsigned char* pos = record.data();
    target.deserialize(pos, record.data() + record.size());
    EXPECT_EQ(200u, target.Len());
    EXPECT_EQ(c.memUsage, target.MemUsage());
    EXPECT_EQ(0x5A, target.Data()[199]);
    EXPECT_EQ(kept, Text(c.shared));
    EXPECT_EQ(keptRoom, c.shared.MemUsage());
  }
}

TEST(AutoBuffer, ExhaustedMemoryLeavesTheBufferAsItWas) {
  AutoBuffer b = FromText("abc");
  AutoBuffer roomy(2000);
  roomy.Append("shared", 6);
  AutoBuffer sharer = roomy;
  Bytes record = Hex("DC 05 00 00");  // 1500 bytes follow
  record.resize(1504, 1);
  RefuseAllocationsFrom hook(1000);
  const unsigned char* pos = record.data();
  EXPECT_THROW(b.deserialize(pos, record.data() + record.size()), std::bad_alloc);
  EXPECT_EQ(record.data(), pos);
  EXPECT_THROW(b = BufferWrapper(record.data(), 1500), std::bad_alloc);
  EXPECT_EQ("abc", Text(b));
  EXPECT_EQ(131u, b.MemUsage());

  // Copy-on-write of a 2000-byte body fails: both still share the old one.
  EXPECT_THROW(sharer.Append("!", 1), std::bad_alloc);
  EXPECT_EQ(roomy.Data(), sharer.Data());
  EXPECT_EQ("shared", Text(sharer));
}

TEST(AutoBuffer, RingRecordsWrapAnywhere) {
  // Every start and length in a ring of 13: the flat record's bytes, carried over the ring's end
  // to its front, and read back from the same place.
  const std::string text = "0123456789";
  for (std::size_t start = 0; start < 13; ++start) {
    for (std::size_t len = 0; len <= 9; ++len) {
      SCOPED_TRACE(::testing::Message() << "start " << start << ", length " << len);
      const std::string flat = std::string{static_cast<char>(len), 0, 0, 0} + text.substr(0, len);
      Bytes expected(13, 0xEE);
      for (std::size_t i = 0; i < flat.size(); ++i) expected[(start + i) % 13] = flat[i];
      Bytes ring(13, 0xEE);
      unsigned char* const begin = ring.data();
      unsigned char* out = begin + start;
      FromText(text.substr(0, len)).circularSerialize(begin, begin + 13, out);
      EXPECT_EQ(ToHex(expected), ToHex(ring));
      EXPECT_EQ((start + len + 4) % 13, static_cast<std::size_t>(out - begin));
      const unsigned char* in = begin + start;
      AutoBuffer read = start % 2 == 0 ? AutoBuffer() : FromText("old contents");
      read.circularDeserialize(begin, begin + 13, in);
      EXPECT_EQ(text.substr(0, len), Text(read));
      EXPECT_EQ(out, in);
    }
  }
}

TEST(AutoBuffer, RingFailures) {
  // One byte more than the ring holds: nothing written.
  Bytes ring(10, 0xEE);
  unsigned char* const begin = ring.data();
  unsigned char* pos = begin + 3;
  EXPECT_KEL_THROW_AT(FromText("0123456").circularSerialize(begin, begin + 10, pos), BufferOverflow,
                      -1967362025, "Buffer overflowed", "AutoBuffer", 446);
  EXPECT_EQ(begin + 3, pos);
  EXPECT_EQ("EE EE EE EE EE EE EE EE EE EE", ToHex(ring));

  AutoBuffer target = FromText("keep");
  // A ring of 3 bytes cannot hold a length field: the cursor stays.
  const unsigned char* in = begin + 1;
  EXPECT_KEL_THROW_AT(target.circularDeserialize(begin, begin + 3, in), DeserializationError,
                      -1967362028, "Failed to deserialize", "AutoBuffer", 487);
  EXPECT_EQ(begin + 1, in);

  // A length of 5 in a ring of 8: the split length field has been consumed.
  const Bytes small = Hex("00 00 EE EE EE EE 05 00");
  in = small.data() + 6;
  EXPECT_KEL_THROW_AT(target.circularDeserialize(small.data(), small.data() + 8, in),
                      DeserializationError, -1967362028, "Failed to deserialize", "AutoBuffer",
                      509);
  EXPECT_EQ(small.data() + 2, in);
  EXPECT_EQ("keep", Text(target));

  // A cursor outside the ring is a caller's error, reported before anything is touched.
  pos = begin + 10;
  EXPECT_KEL_THROW(FromText("a").circularSerialize(begin, begin + 10, pos), InvalidArgument,
                   -1967362033, "Invalid argument(s)");
  in = small.data() + 8;
  EXPECT_KEL_THROW(target.circularDeserialize(small.data(), small.data() + 8, in), InvalidArgument,
                   -1967362033, "Invalid argument(s)");
  EXPECT_EQ(small.data() + 8, in);
  EXPECT_EQ("EE EE EE EE EE EE EE EE EE EE", ToHex(ring));
}

TEST(AutoBuffer, RingLengthWritesLowByteFirstAndWraps) {
  Bytes ring(6, 0xEE);
  unsigned char* pos = ring.data() + 4;
  AutoBuffer b;
  b.Skip(0x030201);
  b.circularSerializeLength(ring.data(), ring.data() + 6, pos);
  EXPECT_EQ("03 00 EE EE 01 02", ToHex(ring));  // the two high bytes wrapped to the front
  EXPECT_EQ(ring.data() + 2, pos);
}

}  // namespace
