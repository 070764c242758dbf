#include "kel/fd/FlexData.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include "kel/Limits.h"
#include "kel/fd/FdSamples.h"
#include "kel/time/AbsTime.h"
#include "support/KelTest.h"

namespace {

using zo::kel::AbsTime;
using zo::kel::Vector;
using zo::kel::exception::NotFound;
using namespace zo_kel_test::fd_samples;

FlexData Text(const char* s) {
  FlexData f;
  f.setAString(s, static_cast<std::uint32_t>(std::strlen(s)));
  return f;
}

TEST(FlexDataScalars, EverySetterWritesItsPacket) {
  const std::uint16_t units[] = {0x41, 0xD83D, 0xDE00};
  const struct {
    std::function<void(FlexData&)> set;
    const char* packet;
  } rows[] = {
      {[](FlexData& f) { f.setVoid(); }, "06 00 00 00 01 00"},
      {[](FlexData& f) { f.setI8(-2); }, "07 00 00 00 00 01 FE"},
      {[](FlexData& f) { f.setUI8(200); }, "07 00 00 00 01 01 C8"},
      {[](FlexData& f) { f.setBool(true); }, "07 00 00 00 02 01 01"},
      {[](FlexData& f) { f.setI16(-300); }, "08 00 00 00 00 02 D4 FE"},
      {[](FlexData& f) { f.setUI16(65000); }, "08 00 00 00 01 02 E8 FD"},
      {[](FlexData& f) { f.setI32(7); }, "0A 00 00 00 00 03 07 00 00 00"},
      {[](FlexData& f) { f.setUI32(4000000000u); }, "0A 00 00 00 01 03 00 28 6B EE"},
      {[](FlexData& f) { f.setF32(-2.5f); }, "0A 00 00 00 02 03 00 00 20 C0"},
      {[](FlexData& f) { f.setI64(-5000000000LL); }, "0E 00 00 00 00 04 00 0E FA D5 FE FF FF FF"},
      {[](FlexData& f) { f.setUI64(0x8000000000000005ull); },
       "0E 00 00 00 01 04 05 00 00 00 00 00 00 80"},
      {[](FlexData& f) { f.setF64(1.5); }, "0E 00 00 00 02 04 00 00 00 00 00 00 F8 3F"},
      {[](FlexData& f) { f.setAString("abc", 3); }, "0D 00 00 00 00 09 03 00 00 00 61 62 63"},
      {[&](FlexData& f) { f.setUTF16(units, 3); },
       "10 00 00 00 00 0A 03 00 00 00 41 00 3D D8 00 DE"},
      {[](FlexData& f) { f.setTime(AbsTime(1.0, 0.5)); },
       "16 00 00 00 04 05 00 00 00 00 00 00 00 80 01 00 00 00 00 00 00 00"},
  };
  FlexData f;  // one object throughout: each setter replaces the packet before it
  for (const auto& row : rows) {
    row.set(f);
    EXPECT_EQ(row.packet, HexOf(f));
  }
  EXPECT_EQ(AbsTime(1.0, 0.5), f.getTime());
}

TEST(FlexDataScalars, GettersConvertThroughTheNumericTable) {
  // The conversions themselves are checked with the numeric table: each getter reads through it,
  // here from a UI64 whose every width reads differently.
  FlexData f;
  f.setUI64(0xFFFFFFFE80018FFEull);
  EXPECT_EQ(-2, f.getI8());
  EXPECT_EQ(254u, f.getUI8());
  EXPECT_EQ(-28674, f.getI16());
  EXPECT_EQ(36862u, f.getUI16());
  EXPECT_EQ(-2147381250, f.getI32());
  EXPECT_EQ(2147586046u, f.getUI32());
  EXPECT_EQ(-6442348546LL, f.getI64());
  EXPECT_EQ(0xFFFFFFFE80018FFEull, f.getUI64());
  EXPECT_EQ(-6442348544.0f, f.getF32());
  EXPECT_EQ(-6442348546.0, f.getF64());
  EXPECT_TRUE(f.getBool());
  f.setBool(false);
  EXPECT_FALSE(f.getBool());

  const char* chars = nullptr;
  f = Text("xyz");
  EXPECT_EQ(3u, f.getAString(chars));
  EXPECT_EQ("xyz", std::string(chars, 3));
  const std::uint16_t units[] = {0x263A, 0x0062};
  f.setUTF16(units, 2);
  const Vector<std::uint16_t> back = f.getUTF16();
  EXPECT_TRUE(back == Vector<std::uint16_t>(units, units + 2));
}

TEST(FlexDataScalars, WrongKindsAndEmptyRaise) {
  FlexData f;
  EXPECT_KEL_THROW(f.getType(), NotFound, kNotFoundCode, "Not found");
  EXPECT_KEL_THROW(f.getI32(), NotFound, kNotFoundCode, "Not found");
  f.setBool(true);
  EXPECT_KEL_THROW_AT(f.getI32(), InvalidArgument, kInvalidArgumentCode, "Invalid argument(s)",
                      "FlexData", 653);
  const FlexData text = Text("1");
  const char* chars = nullptr;
  const std::function<void()> wrongKind[] = {
      [&] { text.getF64(); },           [&] { text.getBool(); },
      [&] { text.getTime(); },          [&] { text.getUTF16(); },
      [&] { text.getWString(); },       [&] { text.getDims(); },
      [&] { text.getElement(0); },      [&] { text.getMemberCount(); },
      [&] { text.getMember(0); },       [&] { text.getVariant(); },
      [&] { text.getWaveformStart(); }, [&] { text.getWaveformSampleCount(); },
      [&] { f.getAString(chars); }};
  for (const auto& read : wrongKind) EXPECT_THROW(read(), InvalidArgument);
  EXPECT_EQ("07 00 00 00 02 01 01", HexOf(f));  // failed reads change nothing
}

TEST(FlexDataArrays, NumericArraysConvertOnTheWayInAndOut) {
  FlexData f;
  const std::int32_t dims[] = {3};
  const std::int32_t values[] = {1, 2, 3};
  f.setScalarArray(FlexType::I16, dims, 1, FlexType::I32, values);
  EXPECT_EQ("18 00 00 00 00 08 01 00 06 00 00 00 00 02 03 00 00 00 01 00 02 00 03 00", HexOf(f));
  EXPECT_EQ(3.0, f.getScalarArray<double>()[2]);

  // 2 x 2 F64 into I16 with an out-of-range value, and back as several types.
  const std::int32_t square[] = {2, 2};
  const double doubles[] = {1.9, -1.9, 40000.0, 256.0};
  f.setScalarArray(FlexType::I16, Vector<std::int32_t>(square, square + 2),
                   Vector<double>(doubles, doubles + 4));
  EXPECT_TRUE(f.getDims() == Vector<std::int32_t>(square, square + 2));
  const short shorts[] = {1, -1, -32768, 256};
  EXPECT_TRUE(f.getScalarArray<short>() == Vector<short>(shorts, shorts + 4));
  const bool flags[] = {true, true, false, false};  // the low bytes of -32768 and 256 are 0
  EXPECT_TRUE(f.getScalarArray<bool>() == Vector<bool>(flags, flags + 4));

  // A zero dimension stores only the dimensions.
  const std::int32_t empty[] = {4, 0};
  f.setScalarArray(FlexType::F64, empty, 2, FlexType::F64, nullptr);
  EXPECT_EQ("16 00 00 00 00 08 02 00 06 00 00 00 02 04 04 00 00 00 00 00 00 00", HexOf(f));
  EXPECT_EQ(0u, f.getScalarArray<float>().size());

  // Bool arrays hold one byte per element.
  Vector<bool> bits(3);
  bits[1] = true;
  f.setScalarArray(FlexType::Bool, Vector<std::int32_t>(dims, dims + 1), bits);
  EXPECT_EQ("15 00 00 00 00 08 01 00 06 00 00 00 02 01 03 00 00 00 00 01 00", HexOf(f));
}

TEST(FlexDataScalars, LibraryStringsInAndOut) {
  using zo::kel::AString;
  using zo::kel::WString;
  FlexData f;
  f.setAString(AString("a\0b", 3));
  EXPECT_EQ("0D 00 00 00 00 09 03 00 00 00 61 00 62", HexOf(f));
  EXPECT_EQ('b', f.getAString()[2]);

  // Characters above U+FFFF travel as surrogate pairs; a lone surrogate reads back as '?'.
  f.setUTF16(WString(L"\U0001F600x"));
  EXPECT_EQ("10 00 00 00 00 0A 03 00 00 00 3D D8 00 DE 78 00", HexOf(f));
  EXPECT_EQ(0, f.getWString().exactCompare(WString(L"\U0001F600x")));
  EXPECT_THROW(f.getAString(), InvalidArgument);
  const std::uint16_t lone[] = {0xD800, 0x41};
  f.setUTF16(lone, 2);
  EXPECT_EQ(0, f.getWString().exactCompare(WString(L"?A")));

  const std::int32_t two = 2;
  const Vector<std::int32_t> dims(&two, &two + 1);
  const AString texts[] = {AString("ab"), AString("c")};
  f.setAStringArray(dims, Vector<AString>(texts, texts + 2));
  EXPECT_EQ(
      "1E 00 00 00 00 08 01 00 06 00 00 00 00 09 02 00 00 00 02 00 00 00 61 62 01 00 00 00 63 00",
      HexOf(f));
  EXPECT_EQ(0, f.getAStringArray()[1].exactCompare(AString("c")));
  EXPECT_THROW(f.setAStringArray(dims, Vector<AString>(texts, texts + 1)), InvalidArgument);
}

TEST(FlexDataArrays, BadArraysAreRefusedAndLeaveThePacket) {
  FlexData f = I32(5);
  const std::int32_t negative[] = {2, -1};
  const double values[] = {1, 2};
  EXPECT_THROW(f.setScalarArray(FlexType::I16, negative, 2, FlexType::F64, values),
               InvalidArgument);
  const std::int32_t two[] = {2};
  EXPECT_THROW(f.setScalarArray(FlexType::AString, two, 1, FlexType::F64, values), InvalidArgument);
  EXPECT_THROW(f.setScalarArray(FlexType::I16, two, 1, FlexType::Time, values), InvalidArgument);
  Vector<std::int32_t> dims(1);
  dims[0] = 3;
  EXPECT_THROW(f.setScalarArray(FlexType::I16, dims, Vector<double>(2)), InvalidArgument);
  EXPECT_EQ(5, f.getI32());

  f.setScalarArray(FlexType::I16, two, 1, FlexType::F64, values);
  EXPECT_KEL_THROW_AT(f.getScalarArray(FlexType::AString, nullptr), InvalidArgument,
                      kInvalidArgumentCode, "Invalid argument(s)", "FlexData", 1371);
  EXPECT_KEL_THROW(f.getElement(2), NotFound, kNotFoundCode, "Not found");
}

TEST(FlexDataArrays, StringArraysAndGenericElements) {
  FlexData f;
  const std::int32_t dims[] = {2};
  const char* texts[] = {"abc", ""};
  const std::uint32_t lengths[] = {3, 0};
  f.setAStringArray(dims, 1, texts, lengths);
  EXPECT_EQ(
      "1E 00 00 00 00 08 01 00 06 00 00 00 00 09 02 00 00 00 03 00 00 00 61 62 63 00 00 00 00 00",
      HexOf(f));
  const char* views[2] = {};
  std::uint32_t counts[2] = {};
  f.getAStringArray(views, counts);
  EXPECT_EQ("abc", std::string(views[0], counts[0]));
  EXPECT_EQ(0u, counts[1]);
  EXPECT_EQ("0A 00 00 00 00 09 00 00 00 00", HexOf(f.getElement(1)));

  // An array of clusters {I32, AString}, built from its elements.
  FlexData rows[2];
  rows[0].setCluster({I32(1), Text("a")});
  rows[1].setCluster({I32(2), Text("bc")});
  f.setArray(dims, 1, rows);
  EXPECT_EQ(
      "34 00 00 00 00 08 01 00 14 00 00 00 01 08 02 00 06 00 00 00 00 03 06 00 00 00 00 09 "
      "02 00 00 00 01 00 00 00 01 00 00 00 61 00 02 00 00 00 02 00 00 00 62 63",
      HexOf(f));
  EXPECT_EQ(rows[1], f.getElement(1));

  // Elements of different types cannot share an array.
  FlexData mixed[2] = {I32(1), Text("x")};
  EXPECT_THROW(f.setArray(dims, 1, mixed), InvalidArgument);
  EXPECT_EQ(rows[0], f.getElement(0));
}

TEST(FlexDataClusters, MembersArePaddedAndReadBack) {
  FlexData flag;
  flag.setBool(true);
  FlexData f;
  f.setCluster({flag, I32(7)});
  EXPECT_EQ("1A 00 00 00 01 08 02 00 06 00 00 00 02 01 06 00 00 00 00 03 01 00 07 00 00 00",
            HexOf(f));
  EXPECT_EQ(flag, f.getMember(0));
  EXPECT_EQ(7, f.getMember(1).getI32());
  EXPECT_KEL_THROW(f.getMember(2), NotFound, kNotFoundCode, "Not found");
  EXPECT_THROW(f.setCluster(nullptr, 0), InvalidArgument);
  FlexData none[2] = {I32(1), FlexData()};
  EXPECT_THROW(f.setCluster(none, 2), InvalidArgument);
  EXPECT_EQ(7, f.getMember(1).getI32());

  // The record image: a nested array and a nested packet come back whole.
  const FlexData record = FromHex(kRecordPacket);
  const FlexData strings = record.getMember(1);
  EXPECT_EQ(I32(7), record.getMember(2).getVariant());
  FlexData rebuilt;
  rebuilt.setCluster({record.getMember(0), strings, record.getMember(2)});
  EXPECT_EQ(record, rebuilt);
}

TEST(FlexDataVariants, NestedPacketsKeepTheirBytes) {
  FlexData f;
  f.setVariant(I32(7));
  EXPECT_EQ("10 00 00 00 02 09 0A 00 00 00 00 03 07 00 00 00", HexOf(f));
  EXPECT_EQ(I32(7), f.getVariant());
  EXPECT_THROW(f.setVariant(FlexData()), InvalidArgument);

  // Building beyond the nesting limit is refused, so every packet built can be read back.
  FlexData deep = I32(1);
  for (std::uint32_t i = 0; i < zo::kel::kMaxNestingDepth; ++i) {
    FlexData outer;
    outer.setVariant(deep);
    deep = outer;
  }
  const FlexData copy(deep.data(), deep.data() + deep.size());
  EXPECT_EQ(deep, copy);
  FlexData tooDeep;
  EXPECT_KEL_THROW(tooDeep.setVariant(deep), SyntaxError, kSyntaxCode,
                   "SyntaxError: packets nest deeper than 256 levels");
  EXPECT_TRUE(tooDeep.isEmpty());
}

TEST(FlexDataAttributes, SetGetReplaceRemove) {
  FlexData f = I32(7);
  EXPECT_FALSE(f.hasAttribute("unit"));
  EXPECT_KEL_THROW(f.getAttribute("unit"), NotFound, kNotFoundCode, "Not found");
  f.setAttribute("unit", Text("mV"));
  EXPECT_EQ(
      "28 00 00 00 02 40 1C 00 00 00 03 40 0E 00 00 00 00 09 04 00 00 00 75 6E 69 74 "
      "00 09 02 00 00 00 6D 56 00 03 07 00 00 00",
      HexOf(f));
  EXPECT_EQ(7, f.getI32());
  EXPECT_TRUE(f.hasAttribute("unit"));
  EXPECT_EQ(Text("mV"), f.getAttribute("unit"));

  // An odd name and an odd value are padded; a second attribute follows the first.
  f.setAttribute("max", Text("xyz"));
  EXPECT_EQ(Text("mV"), f.getAttribute("unit"));
  const std::string withTwo = HexOf(f);
  EXPECT_NE(std::string::npos,
            withTwo.find("03 40 0E 00 00 00 00 09 03 00 00 00 6D 61 78 00 00 09 03 00 00 00 78 79 "
                         "7A 00"));

  // Replacing keeps one entry of the name.
  f.setAttribute("unit", I32(3));
  EXPECT_EQ(I32(3), f.getAttribute("unit"));
  EXPECT_EQ(Text("xyz"), f.getAttribute("max"));
  EXPECT_TRUE(f.removeAttribute("unit"));
  EXPECT_FALSE(f.removeAttribute("unit"));
  EXPECT_TRUE(f.removeAttribute("max"));
  EXPECT_EQ(I32(7), f);  // no entries left: no section

  // Attribute values may be any packet, attributes and nesting included.
  FlexData inner = I32(1);
  inner.setAttribute("a", Text("b"));
  f.setAttribute("nested", inner);
  EXPECT_EQ(Text("b"), f.getAttribute("nested").getAttribute("a"));
  EXPECT_THROW(f.setAttribute("x", FlexData()), InvalidArgument);
}

TEST(FlexDataAttributes, LastValueMayEndItsSectionWithoutThePadByte) {
  // I32 7 with the attribute u = "abc": the section (27 bytes from its length field) ends right
  // after "abc", without the pad byte that would make the value even.
  const FlexData f = FromHex(
      "27 00 00 00 02 40 1B 00 00 00 03 40 0C 00 00 00 00 09 01 00 00 00 75 00 "
      "00 09 03 00 00 00 61 62 63 00 03 07 00 00 00");
  EXPECT_EQ(7, f.getI32());
  EXPECT_EQ(Text("abc"), f.getAttribute("u"));
  // Adding an attribute after it gives the value its pad byte back.
  FlexData more = f;
  more.setAttribute("v", I32(1));
  EXPECT_EQ(Text("abc"), more.getAttribute("u"));
  EXPECT_EQ(I32(1), more.getAttribute("v"));
  EXPECT_NE(std::string::npos, HexOf(more).find("61 62 63 00 03 40"));

  // Between two entries the pad byte is required, and a section shorter than the value fails.
  for (const char* bad :
       {"39 00 00 00 02 40 2D 00 00 00 03 40 0C 00 00 00 00 09 01 00 00 00 75 00 00 09 03 00 00 "
        "00 61 62 63 03 40 0C 00 00 00 00 09 01 00 00 00 76 00 00 01 01 00 00 03 07 00 00 00",
        "26 00 00 00 02 40 1A 00 00 00 03 40 0C 00 00 00 00 09 01 00 00 00 75 00 00 09 03 00 00 "
        "00 61 62 00 03 07 00 00 00"}) {
    const Bytes bytes = Hex(bad);
    EXPECT_THROW(FlexData(bytes.data(), bytes.data() + bytes.size()), SyntaxError) << bad;
  }
}

TEST(FlexDataWaveforms, BuildsTheFixedLayoutAndReadsItBack) {
  const short samples[] = {1, -2, 3};
  FlexData f;
  f.setWaveform(AbsTime(1.0, 0.5), 0.5, FlexType::I16, Vector<short>(samples, samples + 3));
  EXPECT_EQ(ToHex(Hex(WaveformPacketHex())), HexOf(f));
  EXPECT_TRUE(f.isWaveform());
  EXPECT_EQ(AbsTime(1.0, 0.5), f.getWaveformStart());
  EXPECT_EQ(0.5, f.getWaveformInterval());
  EXPECT_EQ(FlexType::I16, f.getWaveformSampleType());
  EXPECT_EQ(3u, f.getWaveformSampleCount());
  EXPECT_EQ(-2.0, f.getWaveformSamples<double>()[1]);

  // Samples converted on the way in; an F64 waveform of 0 samples.
  const double values[] = {70000.0};
  f.setWaveform(AbsTime(0.0, 0.0), 1.0, FlexType::UI16, FlexType::F64, values, 1);
  EXPECT_EQ(4464u, f.getWaveformSamples<unsigned short>()[0]);
  f.setWaveform(AbsTime(0.0, 0.0), 1.0, FlexType::F64, FlexType::F64, nullptr, 0);
  EXPECT_EQ(4u + 52 + 62 + 48, f.size());
  EXPECT_EQ(0u, f.getWaveformSampleCount());

  EXPECT_THROW(f.setWaveform(AbsTime(0.0, 0.0), 1.0, FlexType::Bool, FlexType::F64, values, 1),
               InvalidArgument);
  EXPECT_FALSE(I32(1).isWaveform());
}

TEST(FlexDataBytes, SerializedFormIsThePacket) {
  unsigned char buf[32];
  std::memset(buf, 0xAA, sizeof buf);
  unsigned char* pos = buf;
  FlexData empty;
  empty.serialize(pos, buf + sizeof buf);
  const FlexData seven = I32(7);
  EXPECT_EQ(10u, seven.serializationSize());
  seven.serialize(pos, buf + sizeof buf);
  EXPECT_EQ(14, pos - buf);
  EXPECT_EQ("00 00 00 00 0A 00 00 00 00 03 07 00 00 00 AA", ToHex(buf, 15));
  unsigned char* full = buf + 30;
  EXPECT_THROW(seven.serialize(full, buf + sizeof buf), BufferOverflow);
  EXPECT_EQ(buf + 30, full);

  const unsigned char* in = buf;
  FlexData a = I32(1);
  FlexData b;
  a.deserialize(in, buf + 14);
  EXPECT_TRUE(a.isEmpty());
  b.deserialize(in, buf + 14);
  EXPECT_EQ(seven, b);

  // A damaged image changes neither the object nor the cursor.
  const Bytes bad = Hex("0A 00 00 00 00 03 07 00 00");
  const unsigned char* cursor = bad.data();
  EXPECT_KEL_THROW(b.deserialize(cursor, bad.data() + bad.size()), SyntaxError, kSyntaxCode,
                   "SyntaxError: packet is longer than the bytes holding it");
  EXPECT_EQ(bad.data(), cursor);
  EXPECT_EQ(seven, b);
  const Bytes shortSize = Hex("00 00");
  cursor = shortSize.data();
  EXPECT_THROW(b.deserialize(cursor, shortSize.data() + 2), SyntaxError);
  EXPECT_EQ(shortSize.data(), cursor);
}

TEST(FlexDataBytes, ConstructionValidatesTheWholePacket) {
  const struct {
    const char* packet;
    const char* what;
  } rows[] = {
      {"0A 00 00 00 00 03 07 00 00 00 00", "SyntaxError: bytes follow the packet"},
      {"0C 00 00 00 00 03 07 00 00 00 00 00", "SyntaxError: packet has bytes after its data"},
      {"00 00 00 00", "SyntaxError: packet is shorter than its header"},
      {"", "SyntaxError: packet ends inside its size field"},
      // A nested packet with a byte after its data.
      {"11 00 00 00 02 09 0B 00 00 00 00 03 07 00 00 00 00",
       "SyntaxError: packet has bytes after its data"},
      // An attribute section whose entry name is not a narrow string.
      {"20 00 00 00 02 40 14 00 00 00 03 40 0A 00 00 00 00 0A 00 00 00 00 00 01 05 00 00 03 07 "
       "00 00 00",
       "SyntaxError: attribute name is not a narrow string"},
      // More empty elements than any reader builds.
      {"12 00 00 00 00 08 01 00 06 00 00 00 01 00 01 00 10 00",
       "SyntaxError: array holds more empty elements than a reader builds"},
  };
  for (const auto& row : rows) {
    const Bytes b = Hex(row.packet);
    EXPECT_KEL_THROW(FlexData(b.data(), b.data() + b.size()), SyntaxError, kSyntaxCode, row.what);
  }
  // The largest count of empty elements is accepted.
  const FlexData voids = FromHex("12 00 00 00 00 08 01 00 06 00 00 00 01 00 00 00 10 00");
  EXPECT_EQ(zo::kel::kMaxEmptyElements, voids.getElementCount());
  EXPECT_EQ("06 00 00 00 01 00", HexOf(voids.getElement(5)));
}

TEST(FlexDataBytes, EveryTruncationOfANestedPacketRaises) {
  // A waveform inside a cluster with an attributed I32: nested packets, attributes, arrays.
  FlexData wave;
  Vector<float> samples(2);
  wave.setWaveform(AbsTime(3.0, 0.0), 0.25, FlexType::F32, samples);
  FlexData tagged = I32(9);
  tagged.setAttribute("name", Text("tag"));
  FlexData variant;
  variant.setVariant(wave);
  FlexData whole;
  whole.setCluster({tagged, variant, wave});
  whole.setAttribute("top", variant);

  for (std::uint32_t n = 0; n < whole.size(); ++n) {
    Bytes cut(whole.data(), whole.data() + n);
    cut.shrink_to_fit();
    // The size field is kept consistent with the cut, so the damage is found inside.
    if (n >= 4) {
      for (int i = 0; i < 4; ++i) cut[i] = static_cast<unsigned char>(n >> (8 * i));
    }
    EXPECT_THROW(FlexData(cut.data(), cut.data() + cut.size()), SyntaxError) << n;
  }
}

TEST(FlexDataBytes, CopiesShareUntilWrittenAndOrderByBytes) {
  FlexData a = I32(1);
  const FlexData copy = a;
  EXPECT_EQ(a.data(), copy.data());
  a.setI32(2);
  EXPECT_EQ(1, copy.getI32());
  EXPECT_EQ(1, a.compare(copy));  // 01 < 02 in the data byte
  EXPECT_LT(FlexData(), copy);
  a.clear();
  EXPECT_TRUE(a.isEmpty() && a.data() == nullptr && a.size() == 0);
}

}  // namespace
