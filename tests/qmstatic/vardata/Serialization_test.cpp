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
using zo_kel_test::Bytes;
using zo_kel_test::Hex;
using zo_kel_test::ToHex;

std::string Image(const VarData& v, bool compact) {
  AutoBuffer buffer;
  v.SerializeWithoutSize(buffer, compact);
  return ToHex(buffer.Data(), buffer.Len());
}

VarData Read(const Bytes& bytes, bool compact) {
  std::uint32_t consumed = 0;
  VarData v = VarData::DeserializeWithoutSize(
      bytes.data(), static_cast<std::uint32_t>(bytes.size()), consumed, compact);
  EXPECT_EQ(bytes.size(), consumed);
  return v;
}

VarData Id(unsigned long long id) {
  VarData v;
  v.setID64(id);
  return v;
}

TEST(Serialization, ScalarImagesInBothForms) {
  struct Row {
    VarData value;
    const char* compact;
    const char* full;
  };
  VarData pointer;
  pointer.setVoidPointer(reinterpret_cast<void*>(0x12345678));
  const Row rows[] = {
      {VarData(), "01 00 00 00", "01 00 00 00 00 00 00 00 00 00 00 00"},
      {VarData(true), "02 00 00 00 01", "02 00 00 00 01"},
      {VarData(false), "02 00 00 00 00", "02 00 00 00 00"},
      {VarData(1.5), "03 00 00 00 00 00 00 00 00 00 F8 3F", "03 00 00 00 00 00 00 00 00 00 F8 3F"},
      {VarData::num(-2, VarData::kInt16), "03 00 02 00 00 00 00 00 00 00 00 C0",
       "03 00 02 00 00 00 00 00 00 00 00 C0"},
      {VarData(0x0102030405060708LL), "04 00 00 00 08 07 06 05 04 03 02 01",
       "04 00 00 00 08 07 06 05 04 03 02 01"},
      {VarData::brake(), "08 00 00 00", "08 00 00 00 00 00 00 00 00 00 00 00"},
      {VarData::pulse(), "0B 00 00 00", "0B 00 00 00 00 00 00 00 00 00 00 00"},
      {pointer, "0D 00 00 00 78 56 34 12", "0D 00 00 00 78 56 34 12 00 00 00 00"},
      {Id(0xA1A2A3A4A5A6A7A8ULL), "11 00 00 00 A8 A7 A6 A5 A4 A3 A2 A1",
       "11 00 00 00 A8 A7 A6 A5 A4 A3 A2 A1"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.compact, Image(row.value, true));
    EXPECT_EQ(row.full, Image(row.value, false));
    EXPECT_EQ(0, Read(Hex(row.compact), true).Compare(row.value)) << row.compact;
    EXPECT_EQ(row.value.getTypeWord(), Read(Hex(row.full), false).getTypeWord()) << row.full;
  }
  EXPECT_EQ(9u, VarData(true).serializationSizeImpl(true));
  EXPECT_EQ(1u, VarData(true).valueSerializationSizeImpl(false));
  EXPECT_EQ(8u, VarData().serializationSizeImpl(true));
  EXPECT_EQ(16u, VarData().serializationSizeImpl(false));
}

TEST(Serialization, GutsImages) {
  EXPECT_EQ("05 10 00 00 03 00 00 00 61 62 63", Image(VarData("abc"), true));
  EXPECT_EQ("05 10 00 00 00 00 00 00", Image(VarData(""), false));
  // Wide text travels as 16-bit units: U+1F600 keeps only its low 16 bits.
  EXPECT_EQ("06 10 00 00 02 00 00 00 E9 00 00 F6", Image(VarData(L"\u00E9\U0001F600"), true));
  const unsigned char bytes[] = {0, 0xFF};
  EXPECT_EQ("09 10 00 00 02 00 00 00 00 FF", Image(VarData(bytes, 2), true));
  EXPECT_EQ("0A 10 00 00 02 00 03 00 02 00 00 00 01", Image(VarData(2, 3, VarData(true)), true));
  EXPECT_EQ("0A 10 00 00 00 00 00 00 01 00 00 00", Image(VarData(0, 0, VarData()), true));
  VarData array;
  array.SetElement(0, VarData(1.0));
  array.SetElement(1, VarData(2.0));
  EXPECT_EQ(
      "07 30 00 00 02 00 00 00 03 00 00 00 00 00 00 00 00 00 F0 3F "
      "03 00 00 00 00 00 00 00 00 00 00 40",
      Image(array, true));
  VarData dict = VarData::dict();
  dict.setValue("b", VarData(true));
  dict.setValue(1, VarData());
  EXPECT_EQ(
      "0C 10 00 00 02 00 00 00 03 00 00 00 00 00 00 00 00 00 F0 3F 01 00 00 00 "
      "05 10 00 00 01 00 00 00 62 02 00 00 00 01",
      Image(dict, true));
  // Seconds 5.25: fraction words first, whole seconds last.
  EXPECT_EQ("0F 10 00 00 00 00 00 00 00 00 00 40 05 00 00 00 00 00 00 00",
            Image(VarData(zo::kel::AbsTime(5.0, 0.25)), true));
  EXPECT_EQ("10 10 00 00 00 00 00 00 00 00 00 80 FE FF FF FF FF FF FF FF",
            Image(VarData(zo::kel::RelTime(-2.0, 0.5)), false));
  const unsigned short words[] = {4, 0x0021};
  const unsigned char data[] = {1};
  EXPECT_EQ("12 10 00 00 02 00 00 00 04 00 21 00 01 00 00 00 01",
            Image(VarData::tgvar(words, 2u, data, 1u), true));
  VarData emptyTG = VarData::tgvar(words, 0u, data, 0u);
  EXPECT_EQ("12 10 00 00 00 00 00 00 00 00 00 00", Image(emptyTG, true));
}

TEST(Serialization, NestedValuesRoundTripInBothForms) {
  VarData inner = VarData::dict();
  inner.setValue(L"wide key", VarData(zo::kel::RelTime(1.0, 0.5)));
  inner.setValue(VarData::num(7, VarData::kUInt8), VarData::bitArray(0xF0F0));
  VarData value;
  value.SetElement(0, inner);
  value.SetElement(1, VarData(3, 4, VarData("cell text")));
  value.SetElement(2, VarData::pulse());
  value.SetElement(3, 0, VarData(zo::kel::AbsTime(3e9, 0.125)));
  value.SetElement(3, 1, Id(99));
  for (bool compact : {true, false}) {
    AutoBuffer buffer;
    value.SerializeWithoutSize(buffer, compact);
    EXPECT_EQ(value.serializationSizeImpl(compact) - 4, buffer.Len());
    std::uint32_t consumed = 0;
    const VarData back =
        VarData::DeserializeWithoutSize(buffer.Data(), buffer.Len(), consumed, compact);
    EXPECT_EQ(buffer.Len(), consumed);
    EXPECT_EQ(0, back.Compare(value));
    EXPECT_EQ(0x00040003u, back.GetElement(0).begin().key().getTypeWord());  // qualifier kept
    AutoBuffer again;
    back.SerializeWithoutSize(again, compact);
    EXPECT_TRUE(again == buffer);
  }
}

TEST(Serialization, ReadersNormalise) {
  // Any non-zero logical byte is true; qualifiers of guts kinds are dropped; scalar qualifiers
  // are kept.
  EXPECT_EQ(VarData(true), Read(Hex("02 00 00 00 07"), true));
  EXPECT_EQ(0x1005u, Read(Hex("05 10 05 00 01 00 00 00 41"), true).getTypeWord());
  EXPECT_EQ(0x00030003u, Read(Hex("03 00 03 00 00 00 00 00 00 00 00 00"), true).getTypeWord());
  // The obsolete kind: three counts, then their product in bytes, skipped as an empty value.
  EXPECT_EQ(VarData::kEmpty,
            Read(Hex("0E 10 00 00 02 00 00 00 01 00 00 00 03 00 00 00 AA BB CC DD EE FF"), true)
                .getTypeWord());
  // Trailing empty elements are not stored, but element 0 always is.
  EXPECT_EQ(2u, Read(Hex("07 30 00 00 03 00 00 00 02 00 00 00 01 02 00 00 00 01 01 00 00 00"), true)
                    .GetLength());
  EXPECT_EQ(1u, Read(Hex("07 30 00 00 02 00 00 00 01 00 00 00 01 00 00 00"), true).GetLength());
  const VarData empty = Read(Hex("07 30 00 00 00 00 00 00"), true);
  EXPECT_EQ(VarData::kArray, empty.getTypeWord());
  EXPECT_EQ(0u, empty.GetLength());
  // Keys equal but for case keep the first key and the last value.
  const VarData dict = Read(Hex("0C 10 00 00 02 00 00 00 05 10 00 00 01 00 00 00 61 02 00 00 00 00 "
                                "05 10 00 00 01 00 00 00 41 02 00 00 00 01"),
                            true);
  EXPECT_EQ(1u, dict.size());
  EXPECT_EQ(VarData("a"), dict.begin().key());
  EXPECT_STREQ("a", dict.begin().key().getIAnsi()->GetData());
  EXPECT_EQ(VarData(true), dict.getValue("A"));
  // Pairs out of key order are put in order.
  const VarData unordered = Read(Hex("0C 10 00 00 02 00 00 00 05 10 00 00 01 00 00 00 62 02 00 00 "
                                     "00 01 05 10 00 00 01 00 00 00 61 02 00 00 00 00"),
                                 true);
  EXPECT_EQ(2u, unordered.size());
  EXPECT_EQ(VarData("a"), unordered.begin().key());
  EXPECT_EQ(VarData(true), unordered.getValue("b"));
}

TEST(Serialization, TextsOfEveryShortLengthKeepTheirBytes) {
  const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmn";
  for (std::size_t n = 0; n <= letters.size(); ++n) {
    Bytes text = Hex("05 10 00 00");
    text.push_back(static_cast<unsigned char>(n));
    text.insert(text.end(), 3, 0);
    text.insert(text.end(), letters.begin(), letters.begin() + n);
    // Alone, and in an array between two numbers.
    Bytes array = Hex("07 30 00 00 03 00 00 00 03 00 00 00 00 00 00 00 00 00 F0 3F");
    array.insert(array.end(), text.begin(), text.end());
    const Bytes two = Hex("03 00 00 00 00 00 00 00 00 00 00 40");
    array.insert(array.end(), two.begin(), two.end());
    const VarData value(letters.substr(0, n).c_str());
    VarData values;
    values.SetElement(0, VarData(1.0));
    values.SetElement(1, value);
    values.SetElement(2, VarData(2.0));
    EXPECT_EQ(ToHex(text.data(), text.size()), Image(value, true)) << n;
    EXPECT_EQ(ToHex(array.data(), array.size()), Image(values, false)) << n;
    EXPECT_EQ(values, Read(array, true)) << n;
  }
}

TEST(Serialization, UnknownKindsAreWrittenEmptyAndRefusedOnReading) {
  VarData odd;
  odd.Convert_(0x0005);
  EXPECT_EQ("01 00 00 00", Image(odd, true));
  EXPECT_EQ("01 00 00 00 00 00 00 00 00 00 00 00", Image(odd, false));
  for (const char* image : {"05 00 00 00", "07 10 00 00 00 00 00 00", "00 20 00 00"}) {
    const Bytes bytes = Hex(image);
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
}

TEST(Serialization, EveryTruncationFailsAndLeavesHandleAndCursor) {
  VarData value = VarData::dict();
  value.setValue("key", VarData(L"wide"));
  value.setValue(2, VarData(3, 4, VarData(zo::kel::AbsTime(1.0, 0.5))));
  AutoBuffer buffer;
  value.SerializeWithoutSize(buffer, true);
  for (std::uint32_t n = 0; n < buffer.Len(); ++n) {
    // A copy of exactly n bytes, so that reading past them is an overread the sanitizer sees.
    const Bytes prefix(buffer.Data(), buffer.Data() + n);
    VarData target("unchanged");
    const unsigned char* cursor = prefix.data();
    EXPECT_THROW(target.deserializeImpl(cursor, prefix.data() + n, true), DeserializationError)
        << n;
    EXPECT_EQ(prefix.data(), cursor);
    EXPECT_EQ(VarData("unchanged"), target);
  }
}

TEST(Serialization, WritesFailWithoutWritingAndBuffersKeepTheirLength) {
  const VarData value("abcdef");
  unsigned char room[14];
  std::memset(room, 0xEE, sizeof room);
  unsigned char* cursor = room;
  EXPECT_KEL_THROW(value.serializeImpl(cursor, room + 13, true), BufferOverflow, 0x8ABC7017,
                   "Buffer overflowed");
  EXPECT_EQ(room, cursor);
  EXPECT_EQ(0xEE, room[0]);
  cursor = room;
  EXPECT_THROW(
      value.serializeWithSizeImpl(cursor, room + 13, value.serializationSizeImpl(true), true),
      BufferOverflow);
  EXPECT_EQ(room, cursor);
  value.serializeImpl(cursor, room + 14, true);
  EXPECT_EQ(room + 14, cursor);
}

TEST(Serialization, SizePrefixedRecords) {
  AutoBuffer buffer;
  VarData(true).SerializeWithSize(buffer);
  EXPECT_EQ("05 00 00 00 02 00 00 00 01", ToHex(buffer.Data(), buffer.Len()));
  VarData("next").SerializeWithSize(buffer);

  const unsigned char* cursor = buffer.Data();
  EXPECT_EQ(VarData(true), VarData::DeserializeWithSize(cursor, buffer.Len()));
  EXPECT_EQ(buffer.Data() + 9, cursor);
  EXPECT_EQ(VarData("next"), VarData::DeserializeWithSize(cursor, buffer.Len() - 9));
  EXPECT_EQ(buffer.Data() + buffer.Len(), cursor);

  // A record longer than its value (a later writer's) is skipped whole.
  const Bytes longer = Hex("08 00 00 00 02 00 00 00 01 AA BB CC 05 00 00 00 02 00 00 00 00");
  const unsigned char* pos = longer.data();
  EXPECT_EQ(VarData(true),
            VarData::DeserializeWithSize(pos, static_cast<std::uint32_t>(longer.size())));
  EXPECT_EQ(longer.data() + 12, pos);
  EXPECT_EQ(VarData(false), VarData::DeserializeWithSize(pos, 9));
}

TEST(Serialization, DamagedRecordsAreSkippedWithinTheirLimit) {
  // An unknown kind inside a well-framed record: empty value, cursor past the record.
  const Bytes unknown = Hex("04 00 00 00 05 00 00 00 01 00 00 00");
  const unsigned char* pos = unknown.data();
  EXPECT_EQ(VarData::kEmpty, VarData::DeserializeWithSize(pos, 12).getTypeWord());
  EXPECT_EQ(unknown.data() + 8, pos);
  EXPECT_EQ(VarData::kEmpty, VarData::DeserializeWithSize(pos, 4).getTypeWord());
  EXPECT_EQ(unknown.data() + 12, pos);
  // A prefix claiming more than there is: the cursor stops at the limit, never beyond.
  const Bytes huge = Hex("FF FF FF 7F 02 00 00 00");
  pos = huge.data();
  EXPECT_EQ(VarData::kEmpty, VarData::DeserializeWithSize(pos, 8).getTypeWord());
  EXPECT_EQ(huge.data() + 8, pos);
  // Fewer than four bytes: nothing to skip by.
  pos = huge.data();
  EXPECT_EQ(VarData::kEmpty, VarData::DeserializeWithSize(pos, 3).getTypeWord());
  EXPECT_EQ(huge.data(), pos);
}

TEST(Serialization, HostileCountsAndNestingFailFast) {
  // The work is bounded by the input, not by the counts it claims: measured as the allocations
  // made while reading (time is left to the benchmarks).
  zo_kel_test::RefuseAllocationsFrom libraryAllocations(~0ull);
  struct Work {
    unsigned long long calls;
    unsigned long long bytes;
  };
  const auto workSince = [&libraryAllocations](const Work& start) {
    unsigned long long bytes = g_newBytes - start.bytes;
    for (unsigned long long n : libraryAllocations.Sizes()) bytes += n;
    return Work{g_newCalls - start.calls + libraryAllocations.Sizes().size(), bytes};
  };
  const auto now = [&libraryAllocations] {
    libraryAllocations.ResetCount();
    return Work{g_newCalls, g_newBytes};
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
    const Work start = now();
    EXPECT_THROW(target.deserializeImpl(cursor, bytes.data() + bytes.size(), true),
                 DeserializationError)
        << image;
    EXPECT_LE(workSince(start).bytes, 8 * bytes.size()) << image;
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
  const Work start = now();
  EXPECT_THROW(target.deserializeImpl(cursor, nested.data() + nested.size(), true),
               DeserializationError);
  const Work work = workSince(start);
  EXPECT_LE(work.calls, 2 * (zo::kel::kMaxNestingDepth + 1));
  EXPECT_LE(work.bytes, 64 * (zo::kel::kMaxNestingDepth + 1));

  // Nesting up to the limit is fine.
  VarData deep(1.0);
  for (int i = 0; i < 255; ++i) {
    VarData outer;
    outer.SetElement(0, deep);
    deep = outer;
  }
  AutoBuffer buffer;
  deep.SerializeWithoutSize(buffer, true);
  std::uint32_t consumed = 0;
  EXPECT_EQ(
      0,
      VarData::DeserializeWithoutSize(buffer.Data(), buffer.Len(), consumed, true).Compare(deep));
}

}  // namespace

namespace {

// Texts, numbers and a nested dictionary: a value sized by walking its elements.
VarData MixedArray(std::uint32_t n) {
  VarData array;
  for (std::uint32_t i = 0; i < n; ++i) {
    if (i % 3 == 0) {
      array.SetElement(i, VarData(std::string(i % 17, 'a' + static_cast<char>(i % 26)).c_str()));
    } else if (i % 3 == 1) {
      array.SetElement(i, VarData(i * 0.25));
    } else {
      VarData d = VarData::dict();
      d.setValue("n", VarData(static_cast<int>(i)));
      array.SetElement(i, d);
    }
  }
  return array;
}

TEST(Serialization, ReusedBuffersOfEveryRoomGetTheSameBytesAppended) {
  for (const bool compact : {true, false}) {
    for (const VarData& value : {MixedArray(60), VarData(MixedArray(60).GetElement(2))}) {
      AutoBuffer fresh;
      value.SerializeWithoutSize(fresh, compact);
      const std::string expected = "41 42 " + ToHex(fresh.Data(), fresh.Len());
      const std::uint32_t size = fresh.Len();
      // Spare room from none to more than enough, across the exact fit.
      for (std::uint32_t capacity = 2; capacity < size + 300; capacity += 7) {
        for (const std::uint32_t room : {capacity, size + 2, size + 1}) {
          AutoBuffer buffer;
          buffer.Reserve(room);
          buffer.Append("AB", 2);
          value.SerializeWithoutSize(buffer, compact);
          ASSERT_EQ(expected, ToHex(buffer.Data(), buffer.Len())) << room << " " << compact;
        }
      }
    }
  }
}

TEST(Serialization, ReusedSharedBufferIsCopiedBeforeTheWrite) {
  const VarData value = MixedArray(40);
  AutoBuffer buffer;
  buffer.Reserve(4096);
  buffer.Append("AB", 2);
  const AutoBuffer other = buffer;
  value.SerializeWithoutSize(buffer, true);
  EXPECT_EQ("41 42", ToHex(other.Data(), other.Len()));
  EXPECT_EQ("41 42 " + Image(value, true), ToHex(buffer.Data(), buffer.Len()));
}

}  // namespace
