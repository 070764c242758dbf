#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "kel/AutoBuffer.h"
#include "kel/Limits.h"
#include "kel/StringBase.h"
#include "kel/exception.h"
#include "kel/time/AbsTime.h"
#include "qmstatic/vardata/VarData.h"
#include "support/AllocationHook.h"
#include "support/KelTest.h"
#include "support/OperatorNewOwner.h"
#include "support/VarDataTest.h"

// The work a reader does on hostile input is measured by what it allocates: this program counts
// every operator new, and the library's own allocations through its hook. Where the runtime owns
// operator new (ThreadSanitizer) the cases run uncounted.
namespace {
std::atomic<unsigned long long> g_newBytes{0};
std::atomic<unsigned long long> g_newCalls{0};
}  // namespace

#ifndef ZO_KEL_RUNTIME_OWNS_OPERATOR_NEW
namespace {
// Out of line, so that the compiler does not pair this malloc and free with new and delete.
[[gnu::noinline]] void* CountedBlock(std::size_t n) {
  ++g_newCalls;
  g_newBytes += n;
  return std::malloc(n == 0 ? 1 : n);
}
[[gnu::noinline]] void ReleaseBlock(void* p) { std::free(p); }
}  // namespace

void* operator new(std::size_t n) {
  void* p = CountedBlock(n);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new[](std::size_t n) { return ::operator new(n); }
void operator delete(void* p) noexcept { ReleaseBlock(p); }
void operator delete[](void* p) noexcept { ReleaseBlock(p); }
void operator delete(void* p, std::size_t) noexcept { ReleaseBlock(p); }
void operator delete[](void* p, std::size_t) noexcept { ReleaseBlock(p); }
#endif

namespace {

using zo::kel::AutoBuffer;
using zo::kel::exception::BufferOverflow;
using zo::kel::exception::DeserializationError;
using zo_kel_test::ArrayOf;
using zo_kel_test::Bytes;
using zo_kel_test::DictOf;
using zo_kel_test::Hex;
using zo_kel_test::Id;
using zo_kel_test::ImageOf;
using zo_kel_test::ToHex;

VarData Read(const Bytes& bytes, bool compact) {
  std::uint32_t consumed = 0;
  VarData v = VarData::DeserializeWithoutSize(
      bytes.data(), static_cast<std::uint32_t>(bytes.size()), consumed, compact);
  EXPECT_EQ(bytes.size(), consumed);
  return v;
}

// Each value's image in the compact and the full form, and what each image reads back as.
TEST(Serialization, ImagesInBothForms) {
  const unsigned char bytes[] = {0, 0xFF};
  const unsigned short words[] = {4, 0x0021};
  const unsigned char data[] = {1};
  const struct {
    VarData value;
    const char* compact;
    const char* full;  // null: the compact image
  } rows[] = {
      {VarData(), "01 00 00 00", "01 00 00 00 00 00 00 00 00 00 00 00"},
      {VarData(true), "02 00 00 00 01", nullptr},
      {VarData(0x0102030405060708LL), "04 00 00 00 08 07 06 05 04 03 02 01", nullptr},
      {zo_kel_test::Pointer(0x12345678), "0D 00 00 00 78 56 34 12",
       "0D 00 00 00 78 56 34 12 00 00 00 00"},
      {VarData("abc"), "05 10 00 00 03 00 00 00 61 62 63", nullptr},
      // Wide text travels as 16-bit units: U+1F600 keeps only its low 16 bits.
      {VarData(L"\u00E9\U0001F600"), "06 10 00 00 02 00 00 00 E9 00 00 F6", nullptr},
      {VarData(bytes, 2), "09 10 00 00 02 00 00 00 00 FF", nullptr},
      {VarData(2, 3, VarData(true)), "0A 10 00 00 02 00 03 00 02 00 00 00 01", nullptr},
      {ArrayOf({1.0, 2.0}),
       "07 30 00 00 02 00 00 00 03 00 00 00 00 00 00 00 00 00 F0 3F "
       "03 00 00 00 00 00 00 00 00 00 00 40",
       nullptr},
      {DictOf({{"b", true}, {1, VarData()}}),
       "0C 10 00 00 02 00 00 00 03 00 00 00 00 00 00 00 00 00 F0 3F 01 00 00 00 "
       "05 10 00 00 01 00 00 00 62 02 00 00 00 01",
       "0C 10 00 00 02 00 00 00 03 00 00 00 00 00 00 00 00 00 F0 3F "
       "01 00 00 00 00 00 00 00 00 00 00 00 05 10 00 00 01 00 00 00 62 02 00 00 00 01"},
      // Seconds 5.25: fraction words first, whole seconds last.
      {VarData(zo::kel::AbsTime(5.0, 0.25)),
       "0F 10 00 00 00 00 00 00 00 00 00 40 05 00 00 00 00 00 00 00", nullptr},
      {VarData::tgvar(words, 2u, data, 1u), "12 10 00 00 02 00 00 00 04 00 21 00 01 00 00 00 01",
       nullptr},
  };
  for (const auto& row : rows) {
    const char* full = row.full != nullptr ? row.full : row.compact;
    EXPECT_EQ(row.compact, ImageOf(row.value, true));
    EXPECT_EQ(full, ImageOf(row.value, false));
    EXPECT_EQ(row.compact, ImageOf(Read(Hex(row.compact), true), true));
    EXPECT_EQ(full, ImageOf(Read(Hex(full), false), false));
  }
  EXPECT_EQ(1u, VarData(true).valueSerializationSizeImpl(false));
}

// Texts, times, cells, identifiers, a TG variant and a qualified key nested in arrays and a
// dictionary.
VarData NestedValue() {
  const unsigned short words[] = {6, 0x4021, 0x0178};
  const unsigned char data[] = {1};
  VarData value = ArrayOf({DictOf({{L"wide key", VarData(zo::kel::RelTime(1.0, 0.5))},
                                   {VarData::num(7, VarData::kUInt8), VarData::bitArray(0xF0F0)}}),
                           VarData(3, 4, VarData("cell text")), VarData::pulse(),
                           VarData::tgvar(words, 3u, data, 1u)});
  value.SetElement(4, 0, VarData(zo::kel::AbsTime(3e9, 0.125)));
  value.SetElement(4, 1, Id(99));
  return value;
}

TEST(Serialization, ReadersNormaliseAndRefuseUnknownKinds) {
  const struct {
    const char* image;
    std::uint32_t type;  // 0: refused
    double number;
  } cases[] = {
      {"02 00 00 00 07", 0x2, 1},  // any non-zero logical byte is true
      // The whole type word of a scalar is kept, unknown and stray qualifier bits included.
      {"03 00 03 00 00 00 00 00 00 00 F0 3F", 0x00030003, 1},
      {"03 00 FF 7F 00 00 00 00 00 00 F0 3F", 0x7FFF0003, 1},
      {"02 00 34 12 01", 0x12340002, 1},
      {"01 00 00 80", 0x80000001, 0},
      // Qualifiers of guts kinds are dropped.
      {"05 10 05 00 01 00 00 00 41", 0x1005, 0},
      // The obsolete kind: three counts, then their product in bytes, skipped as an empty value.
      {"0E 10 00 00 02 00 00 00 01 00 00 00 03 00 00 00 AA BB CC DD EE FF", 0x1, 0},
      // Kinds the form does not know, also where only high kind bits are stray, are refused.
      {"05 00 00 00", 0, 0},
      {"03 01 00 00 00 00 00 00 00 00 F0 3F", 0, 0},
      {"02 80 00 00 01", 0, 0},
      {"07 10 00 00 00 00 00 00", 0, 0},
      {"00 20 00 00", 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.image);
    const Bytes bytes = Hex(c.image);
    if (c.type != 0) {
      const VarData v = Read(bytes, true);
      EXPECT_EQ(c.type, v.getTypeWord());
      EXPECT_EQ(c.number, static_cast<double>(v));
      continue;
    }
    std::uint32_t consumed = 77;
    EXPECT_THROW(VarData::DeserializeWithoutSize(
                     bytes.data(), static_cast<std::uint32_t>(bytes.size()), consumed, true),
                 DeserializationErrorException);
    EXPECT_EQ(0u, consumed);
    VarData target(5.0);
    const unsigned char* cursor = bytes.data();
    EXPECT_KEL_THROW(target.deserializeImpl(cursor, bytes.data() + bytes.size(), true),
                     DeserializationError, 0x8ABC7014, "Failed to deserialize");
    EXPECT_EQ(bytes.data(), cursor);
    EXPECT_EQ(VarData(5.0), target);
  }
  // Trailing empty elements are not stored, but element 0 always is.
  EXPECT_EQ(2u, Read(Hex("07 30 00 00 03 00 00 00 02 00 00 00 01 02 00 00 00 01 01 00 00 00"), true)
                    .GetLength());
  EXPECT_EQ(1u, Read(Hex("07 30 00 00 02 00 00 00 01 00 00 00 01 00 00 00"), true).GetLength());
  EXPECT_EQ(VarData::kArray, Read(Hex("07 30 00 00 00 00 00 00"), true).getTypeWord());
  // Keys equal but for case keep the first key and the last value; pairs are put in key order.
  const VarData dict = Read(Hex("0C 10 00 00 03 00 00 00 05 10 00 00 01 00 00 00 62 02 00 00 00 00 "
                                "05 10 00 00 01 00 00 00 61 02 00 00 00 00 "
                                "05 10 00 00 01 00 00 00 41 02 00 00 00 01"),
                            true);
  EXPECT_EQ(0, dict.Compare(DictOf({{"a", true}, {"b", false}})));
  EXPECT_STREQ("a", dict.begin().key().getIAnsi()->GetData());
  // A kind the form does not know is written as an empty value.
  VarData odd;
  odd.Convert_(0x0005);
  EXPECT_EQ("01 00 00 00", ImageOf(odd, true));
}

// Texts of every short length, between two numbers, read back whole.
TEST(Serialization, TextsOfEveryShortLengthKeepTheirBytes) {
  const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmn";
  for (std::size_t n = 0; n <= letters.size(); ++n) {
    const VarData values = ArrayOf({1.0, letters.substr(0, n).c_str(), 2.0});
    const VarData read = Read(Hex(ImageOf(values, true)), true);
    EXPECT_EQ(letters.substr(0, n), read.GetElement(1).getAnsiString().c_str()) << n;
    EXPECT_EQ(values, read) << n;
  }
}

// Arrays read back own what is stored into them later, and only what they hold: an array read
// whole as numbers gives its storage back without visiting its elements, which must stop once a
// text goes in (through copy on write or into its own guts), and must not start for an array
// that read a text. Lengths cover storage in small blocks and from malloc.
TEST(Serialization, ReadArraysReleaseTheTextsTheyHold) {
  const VarData text("held");
  IVarDataGuts* const guts = text.getGuts();
  for (const std::uint32_t n : {1u, 10u, 11u, 1000u}) {
    VarData numbers;
    for (std::uint32_t i = 0; i < n; ++i) numbers.SetElement(i, VarData(i * 0.5));
    for (const bool shared : {false, true}) {
      {
        VarData read = Read(Hex(ImageOf(numbers, true)), true);
        const VarData copy = shared ? read : VarData();
        read.SetElement(n / 2, text);
        read.SetElement(n + 1, text);  // beyond the end: the storage grows
        EXPECT_EQ(3, zo_kel_test::CountOf(guts)) << n << " " << shared;
        EXPECT_EQ(shared ? numbers : VarData(), copy) << n;
      }
      EXPECT_EQ(1, zo_kel_test::CountOf(guts)) << n << " " << shared;
    }
    VarData mixed = numbers;
    mixed.SetElement(n, text);
    VarData element;
    {
      const VarData read = Read(Hex(ImageOf(mixed, true)), true);
      element = read.GetElement(n);
      EXPECT_EQ(2, zo_kel_test::CountOf(element.getGuts())) << n;
    }
    EXPECT_EQ(1, zo_kel_test::CountOf(element.getGuts())) << n;
  }
}

// Every cut of one nested image, in the full and compact forms, with and without the size prefix,
// fails and leaves the handle and the cursor where they were; the whole image reads back.
TEST(Serialization, EveryTruncationFailsAndLeavesHandleAndCursor) {
  const VarData value = DictOf({{"key", L"wide"}, {2, VarData(3, 4, NestedValue())}});
  for (const bool compact : {true, false}) {
    for (const bool sized : {false, true}) {
      SCOPED_TRACE(std::string(compact ? "compact" : "full") + (sized ? " sized" : ""));
      const std::uint32_t size = value.serializationSizeImpl(compact);
      Bytes image(sized ? size : size - 4);
      unsigned char* pos = image.data();
      sized ? value.serializeWithSizeImpl(pos, image.data() + image.size(), size, compact)
            : value.serializeImpl(pos, image.data() + image.size(), compact);
      ASSERT_EQ(image.data() + image.size(), pos);  // the size the value announced
      for (std::size_t n = 0; n <= image.size(); ++n) {
        // A copy of exactly n bytes, so that reading past them is an overread the sanitizer sees.
        const Bytes prefix(image.begin(), image.begin() + n);
        VarData target("unchanged");
        const unsigned char* cursor = prefix.data();
        const unsigned char* const end = prefix.data() + n;
        if (n == image.size()) {
          sized ? target.deserializeWithSizeImpl(cursor, end, compact)
                : target.deserializeImpl(cursor, end, compact);
          EXPECT_EQ(end, cursor);
          // Written again byte for byte: the qualifier of the nested key is kept.
          EXPECT_EQ(ToHex(sized ? Bytes(image.begin() + 4, image.end()) : image),
                    ImageOf(target, compact));
          continue;
        }
        EXPECT_THROW(sized ? target.deserializeWithSizeImpl(cursor, end, compact)
                           : target.deserializeImpl(cursor, end, compact),
                     DeserializationError)
            << n;
        EXPECT_EQ(prefix.data(), cursor) << n;
        EXPECT_EQ(VarData("unchanged"), target) << n;
      }
    }
  }
}

TEST(Serialization, WritesFailWithoutWriting) {
  const VarData value("abcdef");
  unsigned char room[14] = {0xEE};
  unsigned char* cursor = room;
  EXPECT_KEL_THROW(value.serializeImpl(cursor, room + 13, true), BufferOverflow, 0x8ABC7017,
                   "Buffer overflowed");
  EXPECT_THROW(
      value.serializeWithSizeImpl(cursor, room + 13, value.serializationSizeImpl(true), true),
      BufferOverflow);
  EXPECT_EQ(room, cursor);
  EXPECT_EQ(0xEE, room[0]);
}

TEST(Serialization, SizePrefixedRecordsAreSkippedWholeAndWithinTheirLimit) {
  const struct {
    const char* name;
    const char* records;
    std::uint32_t type;
    std::size_t end;  // where the cursor stops
  } cases[] = {
      // A record longer than its value (a later writer's) is skipped whole.
      {"longer", "08 00 00 00 02 00 00 00 01 AA BB CC", 0x2, 12},
      // A damaged record gives an empty value, the cursor past the record.
      {"unknown kind", "04 00 00 00 05 00 00 00 01 00 00 00", 0x1, 8},
      {"cut value", "05 00 00 00 03 00 00 00 00", 0x1, 9},
      // A prefix claiming more than there is: the cursor stops at the limit, never beyond.
      {"claims too much", "FF FF FF 7F 02 00 00 00", 0x1, 8},
      {"claims one more", "06 00 00 00 02 00 00 00 01", 0x1, 9},
      // Fewer than four bytes: nothing to skip by.
      {"no prefix", "FF FF FF", 0x1, 0},
  };
  for (const auto& c : cases) {
    const Bytes bytes = Hex(c.records);
    const unsigned char* pos = bytes.data();
    const VarData v = VarData::DeserializeWithSize(pos, static_cast<std::uint32_t>(bytes.size()));
    EXPECT_EQ(c.type, v.getTypeWord()) << c.name;
    EXPECT_EQ(c.end, static_cast<std::size_t>(pos - bytes.data())) << c.name;
    // The strict reader refuses what the tolerant one skipped, leaving the cursor.
    if (c.type == 0x2) continue;
    VarData target(5.0);
    pos = bytes.data();
    EXPECT_THROW(target.deserializeWithSizeImpl(pos, bytes.data() + bytes.size(), true),
                 DeserializationError)
        << c.name;
    EXPECT_EQ(bytes.data(), pos) << c.name;
  }
}

TEST(Serialization, HostileCountsAndNestingFailFast) {
  // The work is bounded by the input, not by the counts it claims: measured as the allocations
  // made while reading (time is left to the benchmarks).
  zo_kel_test::RefuseAllocationsFrom library(~0ull);
  // Allocations and bytes asked for by `read`, from operator new and from the library's hook.
  const auto work = [&library](const auto& read) {
    library.ResetCount();
    const unsigned long long calls = g_newCalls, bytes = g_newBytes;
    read();
    unsigned long long total = g_newBytes - bytes;
    for (unsigned long long n : library.Sizes()) total += n;
    return std::make_pair(g_newCalls - calls + library.Sizes().size(), total);
  };
  // Counts far beyond the bytes present, for every counted payload: refused before anything is
  // reserved for them.
  for (const char* image :
       {"07 30 00 00 FF FF FF FF 01 00 00 00", "0C 10 00 00 FF FF FF FF 00 00 00 00",
        "05 10 00 00 FF FF FF FF 41 41 41 41", "06 10 00 00 FF FF FF FF 41 00 41 00",
        "09 10 00 00 FF FF FF FF 00 00 00 00",
        "0E 10 00 00 FF FF FF FF FF FF FF FF FF FF FF FF 00"}) {
    const Bytes bytes = Hex(image);
    VarData target;
    const unsigned char* cursor = bytes.data();
    const auto used = work([&] {
      EXPECT_THROW(target.deserializeImpl(cursor, bytes.data() + bytes.size(), true),
                   DeserializationError);
    });
    EXPECT_LE(used.second, 8 * bytes.size()) << image;
  }
  // 16 MiB of one-element arrays nested in each other: the reader stops at the nesting limit,
  // having built at most one small array per level.
  Bytes nested;
  nested.reserve(16u << 20);
  while (nested.size() + 8 <= (16u << 20)) {
    for (unsigned char b : {0x07, 0x30, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00}) nested.push_back(b);
  }
  VarData target;
  const unsigned char* cursor = nested.data();
  const auto used = work([&] {
    EXPECT_THROW(target.deserializeImpl(cursor, nested.data() + nested.size(), true),
                 DeserializationError);
  });
  EXPECT_LE(used.first, 2 * (zo::kel::kMaxNestingDepth + 1));
  EXPECT_LE(used.second, 64 * (zo::kel::kMaxNestingDepth + 1));
}

// Texts, numbers and a nested dictionary: a value sized by walking its elements.
VarData MixedArray(std::uint32_t n) {
  VarData array;
  for (std::uint32_t i = 0; i < n; ++i) {
    const std::string text(i % 17, static_cast<char>('a' + i % 26));
    array.SetElement(i, i % 3 == 0   ? VarData(text.c_str())
                        : i % 3 == 1 ? VarData(i * 0.25)
                                     : DictOf({{"n", static_cast<int>(i)}}));
  }
  return array;
}

// Appending into spare room (one pass) gives the bytes of a fresh buffer, at every room across the
// exact fit, and never writes into a buffer body that another buffer shares.
TEST(Serialization, ReusedBuffersOfEveryRoomGetTheSameBytesAppended) {
  for (const bool compact : {true, false}) {
    for (const VarData& value : {MixedArray(60), VarData(MixedArray(60).GetElement(2))}) {
      const std::string expected = "41 42 " + ImageOf(value, compact);
      const auto size = static_cast<std::uint32_t>(Hex(expected).size());
      for (std::uint32_t capacity = 2; capacity < size + 300; capacity += 7) {
        for (const std::uint32_t room : {capacity, size, size - 1}) {
          AutoBuffer buffer;
          buffer.Reserve(room);
          buffer.Append("AB", 2);
          AutoBuffer other;
          if (capacity % 2 == 0) other = buffer;  // every other time, a shared body
          value.SerializeWithoutSize(buffer, compact);
          ASSERT_EQ(expected, ToHex(buffer.Data(), buffer.Len())) << room << " " << compact;
          ASSERT_EQ(capacity % 2 == 0 ? "41 42" : "", ToHex(other.Data(), other.Len()));
        }
      }
    }
  }
}

// Texts in arrays and dictionaries are read without a call per element; they keep the nesting
// limit all the same: a text inside 255 containers is read, inside 256 it is refused, and the
// target and the cursor stay as they were.
TEST(Serialization, TextsInsideContainersKeepTheNestingLimit) {
  const std::string text = "05 10 00 00 01 00 00 00 41 ";
  for (const std::uint32_t levels : {255u, 256u}) {
    std::string inArrays, inDicts;  // [[..."A"...]] and {"A": {"A": ... {"A": "A"}}}
    for (std::uint32_t i = 0; i < levels; ++i) {
      inArrays += "07 30 00 00 01 00 00 00 ";
      inDicts += "0C 10 00 00 01 00 00 00 " + text;
    }
    for (const std::string& image : {inArrays + text, inDicts + text}) {
      SCOPED_TRACE(testing::Message() << levels << " levels: " << image.substr(0, 12));
      const Bytes bytes = Hex(image);
      if (levels < 256) {
        EXPECT_EQ(image.substr(0, image.size() - 1), ImageOf(Read(bytes, true), true));
        continue;
      }
      VarData target(2.0);
      const unsigned char* cursor = bytes.data();
      EXPECT_THROW(target.deserializeImpl(cursor, bytes.data() + bytes.size(), true),
                   DeserializationError);
      EXPECT_EQ(bytes.data(), cursor);
      EXPECT_EQ(0, target.Compare(VarData(2.0)));
    }
  }
}

}  // namespace
