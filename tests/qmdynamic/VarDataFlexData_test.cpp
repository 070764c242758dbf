#include "qmdynamic/VarDataFlexData.h"

#include <gtest/gtest.h>

#include <string>

#include "kel/exception.h"
#include "kel/fd/FdSamples.h"
#include "kel/time/AbsTime.h"
#include "support/KelTest.h"
#include "support/VarDataTest.h"

namespace {

using zo::kel::AbsTime;
using zo::kel::exception::DeserializationError;
using zo::kel::exception::UnableToConvert;
using namespace zo_kel_test::fd_samples;

const char kVoid[] = "06 00 00 00 01 00";

constexpr auto Arr = zo_kel_test::ArrayOf;
std::string PacketHexOf(VarData v) {
  v.Convert_(VarData::kFlexData);
  return HexOf(v.getFlexData());
}
VarData Native(const FlexData& f) { return VarData(f).getIFlexData()->convertToNativeType(); }

TEST(VarDataFlexData, ScalarsMapBothWays) {
  const struct {
    VarData value;
    const char* packet;
    VarData back;  // compared with its type word, qualifier included
  } cases[] = {
      {VarData::num(300.7, 2), "08 00 00 00 00 02 2C 01", VarData::num(300, 2)},
      {VarData::num(2, 15), "0E 00 00 00 02 04 00 00 00 00 00 00 00 40", VarData(2.0)},
      {VarData(true), "07 00 00 00 02 01 01", VarData(true)},
      {VarData("abc"), "0D 00 00 00 00 09 03 00 00 00 61 62 63", VarData("abc")},
      {VarData(L"\u00E9"), "0C 00 00 00 00 0A 01 00 00 00 E9 00", VarData(L"\u00E9")},
      {VarData(AbsTime(1.0, 0.5)),
       "16 00 00 00 04 05 00 00 00 00 00 00 00 80 01 00 00 00 00 00 00 00",
       VarData(AbsTime(1.0, 0.5))},
      // 1462 days and 1.5 s after the inline times' epoch: 1.5 s after the absolute times' one.
      {VarData(126316801500000000LL),
       "16 00 00 00 04 05 00 00 00 00 00 00 00 80 01 00 00 00 00 00 00 00",
       VarData(AbsTime(1.0, 0.5))},
      {VarData(zo::kel::RelTime(2.5, 0.0)), "0E 00 00 00 02 04 00 00 00 00 00 00 04 40",
       VarData(2.5)},
      {VarData(), kVoid, VarData()},
      // 64-bit integers come back as plain numbers, UI64 as its unsigned value.
      {zo_kel_test::Id(0x8000000000000005ull), "0E 00 00 00 01 04 05 00 00 00 00 00 00 80",
       VarData(9223372036854775808.0)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.packet);
    EXPECT_EQ(c.packet, PacketHexOf(c.value));
    const VarData back = Native(FromHex(c.packet));
    EXPECT_EQ(c.back.getTypeWord(), back.getTypeWord());
    EXPECT_EQ(0, back.Compare(c.back));
  }
}

TEST(VarDataFlexData, VectorsAndOneDimensionalArraysMapBothWays) {
  const unsigned char bytes[] = {1, 2};
  const struct {
    VarData vector;
    const char* packet;
    VarData back;
    std::uint32_t firstWordBack;
  } cases[] = {
      // Element 0 decides the type; the other elements' qualifiers are not looked at.
      {Arr({VarData::num(1.9, 2), VarData::num(-1.9, 0)}),
       "16 00 00 00 00 08 01 00 06 00 00 00 00 02 02 00 00 00 01 00 FF FF", Arr({1, -1}),
       0x00020003},
      // Bit arrays share the UI32 row and come back as qualifier 6.
      {Arr({VarData::bitArray(5), VarData::bitArray(7)}),
       "1A 00 00 00 00 08 01 00 06 00 00 00 01 03 02 00 00 00 05 00 00 00 07 00 00 00", Arr({5, 7}),
       0x00060003},
      {Arr({true, false}), "14 00 00 00 00 08 01 00 06 00 00 00 02 01 02 00 00 00 01 00",
       Arr({true, false}), 2},
      {Arr({"ab", ""}),
       "1C 00 00 00 00 08 01 00 06 00 00 00 00 09 02 00 00 00 02 00 00 00 61 62 00 00 00 00",
       Arr({"ab", ""}), 0x1005},
      {VarData(bytes, 2u), "14 00 00 00 00 08 01 00 06 00 00 00 01 01 02 00 00 00 01 02",
       Arr({1, 2}), 0x00040003},
      {Arr({true, 1}), kVoid, VarData(), 1},
      {Arr({1, VarData(), 2}), kVoid, VarData(), 1},
      {Arr({VarData::num(1, 9)}), kVoid, VarData(), 1},
      {Arr({Arr({1})}), kVoid, VarData(), 1},
      {Arr({}), kVoid, VarData(), 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.packet);
    EXPECT_EQ(c.packet, PacketHexOf(c.vector));
    const VarData back = Native(FromHex(c.packet));
    EXPECT_EQ(0, back.Compare(c.back));
    EXPECT_EQ(c.firstWordBack, back.GetElement(0).getTypeWord());
  }

  const struct {
    FlexType type;
    std::uint32_t word;
  } rows[] = {{FlexType::I8, 0x10003},   {FlexType::UI8, 0x40003}, {FlexType::I16, 0x20003},
              {FlexType::UI16, 0x50003}, {FlexType::I32, 0x30003}, {FlexType::UI32, 0x60003},
              {FlexType::F32, 0x70003},  {FlexType::F64, 0x3}};
  const std::int32_t two = 2;
  const double values[] = {3, 100};
  for (const auto& row : rows) {
    FlexData f;
    f.setScalarArray(row.type, &two, 1, FlexType::F64, values);
    const VarData back = Native(f);
    EXPECT_EQ(row.word, back.GetElement(1).getTypeWord());
    EXPECT_EQ(100.0, static_cast<double>(back.GetElement(1)));
  }

  FlexData square;
  const std::int32_t dims[] = {2, 2};
  const std::int32_t four[] = {1, 2, 3, 4};
  square.setScalarArray(FlexType::I32, dims, 2, FlexType::I32, four);
  EXPECT_KEL_THROW_AT(Native(square), UnableToConvert, -1, "Unable to convert.", "VarDataFlexData",
                      216);
  FlexData wide;
  const long long one = 1;
  const std::int32_t single = 1;
  wide.setScalarArray(FlexType::I64, &single, 1, FlexType::I64, &one);
  EXPECT_KEL_THROW_AT(Native(wide), UnableToConvert, -1, "Unable to convert.", "VarDataFlexData",
                      269);
  // The element type is not looked at when there are no elements.
  const std::int32_t zero = 0;
  wide.setScalarArray(FlexType::I64, &zero, 1, FlexType::I64, nullptr);
  EXPECT_EQ(VarData::kArray, Native(wide).getKind());
  EXPECT_EQ(0u, Native(wide).GetLength());
}

TEST(VarDataFlexData, ClustersWaveformsNestedPacketsAndDictionaries) {
  const VarData record = Native(FromHex(kRecordPacket));
  EXPECT_EQ(0, record.Compare(Arr({true, Arr({"abc", "z"}), 7})));
  EXPECT_EQ(0x30003u, record.GetElement(2).getTypeWord());  // from the nested I32 packet
  const VarData wave = Native(FromHex(WaveformPacketHex()));
  EXPECT_EQ(0, wave.Compare(Arr({VarData(AbsTime(1.0, 0.5)), 0.5, Arr({1, -2, 3})})));

  const VarData one = zo_kel_test::DictOf({{"a", true}});
  EXPECT_EQ(
      "32 00 00 00 01 08 01 00 28 00 00 00 02 40 20 00 00 00 03 40 12 00 00 00 00 09 08 00 00 "
      "00 5F 5A 4F 5F 4E 41 4D 45 00 09 01 00 00 00 61 00 02 01 01 00",
      PacketHexOf(one));
  const VarData d = zo_kel_test::DictOf({{"b", "x"}, {"a", VarData::num(7, 3)}, {"c", one}});
  VarData packet = d;
  packet.Convert_(VarData::kFlexData);
  const IVarDataFlexData* guts = packet.getIFlexData();
  EXPECT_EQ(0, guts->convertToNativeTypeOrDictionary().Compare(d));
  EXPECT_EQ(0, guts->convertToNativeType().Compare(Arr({7, "x", Arr({true})})));
  // Members without names keep a cluster an array even when dictionaries are asked for.
  EXPECT_EQ(
      VarData::kArray,
      VarData(FromHex(kRecordPacket)).getIFlexData()->convertToNativeTypeOrDictionary().getKind());
  EXPECT_EQ(kVoid, PacketHexOf(VarData::dict()));
}

TEST(VarDataFlexData, SerializedValueIsThePacketByteForByte) {
  const char image[] = "13 10 00 00 0A 00 00 00 00 03 07 00 00 00";
  const VarData v(I32(7));
  for (bool compact : {true, false}) EXPECT_EQ(image, zo_kel_test::ImageOf(v, compact));
  EXPECT_EQ(18u, v.serializationSizeImpl(true));
  const Bytes bytes = Hex(image);
  std::uint32_t consumed = 0;
  const VarData read = VarData::DeserializeWithoutSize(bytes.data(), 14, consumed, true);
  EXPECT_EQ(I32(7), read.getFlexData());

  const Bytes empty = Hex("13 10 00 00 00 00 00 00");
  EXPECT_TRUE(
      VarData::DeserializeWithoutSize(empty.data(), 8, consumed, true).getFlexData().isEmpty());
  EXPECT_EQ(12u, VarData(FlexData()).serializationSizeImpl(true));

  // A stream cut anywhere, and a packet cut anywhere with its size field saying so, are refused
  // with the value and the cursor left alone.
  const Bytes record = Hex(std::string("13 10 00 00") + kRecordPacket);
  for (std::size_t n = 0; n < record.size(); ++n) {
    Bytes cut(record.begin(), record.begin() + n);
    VarData target = 5;
    const unsigned char* cursor = cut.data();
    EXPECT_THROW(target.deserializeImpl(cursor, cut.data() + n, true), DeserializationError);
    if (n < 8) continue;
    const auto size = static_cast<unsigned char>(n - 4);
    cut[4] = size;
    EXPECT_THROW(target.deserializeImpl(cursor, cut.data() + n, true), SyntaxError) << n;
    EXPECT_EQ(cut.data(), cursor);
    EXPECT_EQ(0, target.Compare(5));
  }
  // The tolerant framing skips a record whose packet is malformed.
  const Bytes damaged = Hex("0A 00 00 00 13 10 00 00 06 00 00 00 FF 7F 01");
  const unsigned char* cursor = damaged.data();
  EXPECT_TRUE(VarData::DeserializeWithSize(cursor, 15).IsEmpty());
  EXPECT_EQ(damaged.data() + 14, cursor);
}

TEST(VarDataFlexData, ConvertTruthNumberOrderAndInterfaces) {
  VarData v = 2.5;
  v.Convert_(VarData::kFlexData);
  v.Convert_(VarData::kNumeric);
  EXPECT_EQ(0x3u, v.getTypeWord());
  EXPECT_EQ(2.5, static_cast<double>(v));
  // I64 comes back as a plain number, but a packet converted to a packet keeps its bytes.
  FlexData i64;
  i64.setI64(-5000000000LL);
  EXPECT_EQ(0, Native(i64).Compare(VarData(-5000000000.0)));
  VarData same(i64);
  same.Convert_(VarData::kFlexData);
  EXPECT_EQ(i64, same.getFlexData());
  // A value the bridge cannot pack becomes an empty packet value instead of an error.
  VarData deep = 1;
  for (int i = 0; i < 300; ++i) deep = zo_kel_test::DictOf({{"k", deep}});
  deep.Convert_(VarData::kFlexData);
  EXPECT_TRUE(deep.getFlexData().isEmpty());

  EXPECT_FALSE(static_cast<bool>(VarData(I32(0))));
  EXPECT_EQ(-3.0, static_cast<double>(VarData(I32(-3))));
  const VarData unknown(FromHex("0A 00 00 00 05 03 00 00 00 00"));
  EXPECT_THROW(unknown.getIFlexData()->convertToNativeType(), UnableToConvert);
  EXPECT_FALSE(static_cast<bool>(unknown));
  EXPECT_EQ(0.0, static_cast<double>(unknown));

  EXPECT_EQ(-1, VarData(I32(7)).Compare(VarData(I32(8))));
  EXPECT_THROW(VarData(1).getFlexData(), TypeErrorException);
  const Bytes bytes = Hex("0A 00 00 00 00 03 07 00 00 00 00");
  EXPECT_EQ(I32(7), VarData::flexData(bytes.data(), bytes.data() + 10).getFlexData());
  EXPECT_THROW(VarData::flexData(bytes.data(), bytes.data() + 11), SyntaxError);

  const VarData p(I32(1));
  for (const GUID* iid : {&IID_IUnknown, &IID_IVarDataGuts, &IID_IVarDataFlexData}) {
    void* itf = nullptr;
    ASSERT_EQ(kGutsOk, p.getGuts()->QueryInterface(*iid, &itf));
    EXPECT_EQ(static_cast<void*>(p.getIFlexData()), itf);
    EXPECT_EQ(1, static_cast<IUnknown*>(itf)->Release());
  }
}

}  // namespace
