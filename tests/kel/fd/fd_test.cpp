// Tests of the packet readers and writers and of the numeric conversions between element types.
#include "kel/fd/fd.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <string>
#include <vector>

#include "kel/fd/FdSamples.h"
#include "kel/fd/NumericConversion.h"
#include "kel/time/AbsTime.h"
#include "support/AllocationHook.h"
#include "support/KelTest.h"

namespace {

using namespace zo::kel::fd;
using namespace zo_kel_test::fd_samples;
using zo_kel_test::RefuseAllocationsFrom;

// Reads a whole packet through the public readers: type, data position and data size.
std::size_t ReadDataSize(const Bytes& packet) {
  const unsigned char* end = packet.data() + packet.size();
  const unsigned char* type = GetTypeFromPacket(packet.data(), end);
  return GetDataSize(type, GetData(packet.data(), end), end);
}

TEST(FdPacket, DataSizesOfWholePackets) {
  const struct {
    const char* name;
    std::string packet;
    std::size_t size;
  } rows[] = {
      {"Void", "06 00 00 00 01 00", 0},
      {"{Bool, I32}: the Bool takes two bytes",
       "1A 00 00 00 01 08 02 00 06 00 00 00 02 01 06 00 00 00 00 03 01 00 07 00 00 00", 6},
      {"{I8, AString abc, I8}: 2 + 8 + 2",
       "26 00 00 00 01 08 03 00 06 00 00 00 00 01 06 00 00 00 00 09 06 00 00 00 00 01"
       "05 00 03 00 00 00 61 62 63 00 09 00",
       12},
      {"2 x 3 UI8: packed, no padding after them",
       "1C 00 00 00 00 08 02 00 06 00 00 00 01 01 02 00 00 00 03 00 00 00 01 02 03 04 05 06", 14},
      {"a zero dimension", "16 00 00 00 00 08 02 00 06 00 00 00 00 04 03 00 00 00 00 00 00 00", 8},
      // Empty elements are counted, not walked: only the dimensions take bytes.
      {"2^31-1 cubed Voids",
       "1A 00 00 00 00 08 03 00 06 00 00 00 01 00 FF FF FF 7F FF FF FF 7F FF FF FF 7F", 12},
      {"as many empty clusters",
       "1E 00 00 00 00 08 02 00 0E 00 00 00 01 08 01 00 06 00 00 00 01 00 FF FF FF 7F FF FF FF 7F",
       8},
  };
  for (const auto& row : rows) {
    const Bytes packet = Hex(row.packet);
    EXPECT_EQ(row.size, ReadDataSize(packet)) << row.name;
    const unsigned char* end = packet.data() + packet.size();
    EXPECT_EQ(end - row.size, GetData(packet.data(), end)) << row.name;
  }
}

TEST(FdPacket, DataSizeByCodeAlone) {
  const struct {
    std::uint16_t code;
    std::size_t size;
  } rows[] = {{0x0001, 0},  {0x0100, 1},  {0x0102, 1}, {0x0201, 2},  {0x0302, 4}, {0x0401, 8},
              {0x0504, 16}, {0x0600, 32}, {0x0700, 0}, {0x06FF, 32}, {0x0800, 0}, {0x0801, 0},
              {0x0900, 4},  {0x0901, 4},  {0x0902, 8}, {0x0A00, 4},  {0x0A05, 4}, {0x0B00, 0},
              {0x0000, 0},  {0x0305, 4},  {0x8300, 4}};
  for (const auto& row : rows) {
    EXPECT_EQ(row.size, GetDataSize(static_cast<FlexType>(row.code))) << std::hex << row.code;
  }
}

// Sizes of a metadata element (bytes after it are ignored) and of the data it describes, with the
// variable parts counted as empty: type words, arrays, clusters, and the prefix elements (a
// marker, an attribute, a section) skipped on the way to the type.
TEST(FdPacket, MetadataElementAndDataSizes) {
  const struct {
    const char* md;
    std::size_t element, data;
  } rows[] = {
      {"00 03", 2, 4},
      {"00 09", 2, 4},
      {"02 09", 2, 8},
      {"00 08 03 00 06 00 00 00 00 04", 10, 12},
      {"00 08 00 00 06 00 00 00 00 04", 10, 0},
      {"01 08 02 00 06 00 00 00 02 01 06 00 00 00 00 09", 16, 6},
      {"01 08 02 00 06 00 00 00 00 03 0E 00 00 00 00 08 00 00 06 00 00 00 00 01", 24, 4},
      {"34 92 00 03", 2, 4},
      {"07 40 06 00 00 00 AA BB 00 09", 8, 4},
      {"02 40 04 00 00 00 00 80 00 09", 6, 4},
  };
  for (const auto& row : rows) {
    const Bytes md = Hex(std::string(row.md) + " EE EE");
    const unsigned char* end = md.data() + md.size();
    EXPECT_EQ(row.element, GetMDEltSize(md.data(), end)) << row.md;
    EXPECT_EQ(row.data, GetDataSize(md.data(), nullptr, end - 2)) << row.md;
  }
}

TEST(FdAttributes, LookupsByCodeAndByName) {
  const Bytes packet = Hex(WaveformPacketHex());
  const unsigned char* md = packet.data() + 4;
  const unsigned char* end = packet.data() + packet.size();

  EXPECT_EQ(md, GetAttributeMD(md, FlexAttr::AttributeSection, end));
  EXPECT_EQ(50u, GetUI32(GetAttributePacket(md, FlexAttr::AttributeSection, end), end));
  // Name elements live inside the section, not among the prefix elements.
  EXPECT_EQ(nullptr, GetAttributeMD(md, FlexAttr::AttributeName, end));
  EXPECT_EQ(nullptr, GetAttributePacket(md, FlexAttr::AttributeName, end));

  ASSERT_EQ(md + 26, GetAttributeMD(md, "_ZO_MDT", end));
  const unsigned char* asPacket = GetAttributePacket(md, "_ZO_MDT", end);
  ASSERT_EQ(md + 22, asPacket);
  EXPECT_EQ("03 00 00 00 4D 44 54 00 03 00", ToHex(GetData(asPacket, end), 10));

  // Missing names give null, as a missing section does; names compare byte for byte.
  for (const char* name : {"_zo_mdt", "_ZO_MD", ""}) {
    EXPECT_EQ(nullptr, GetAttributeMD(md, name, end)) << name;
    EXPECT_EQ(nullptr, GetAttributePacket(md, name, end)) << name;
  }
}

// The blocks' bytes are checked whole in the waveform packet that FlexData builds from them.
TEST(FdWaveform, FixedBlocksFitTheirSizesExactly) {
  unsigned char buf[64];
  EXPECT_EQ(0x100000000ull + 47, CalculateWaveformDataSize(0xFFFFFFFFull));
  EXPECT_EQ(CalculateWaveformAttributeSize(), SetWaveformAttributes(buf, buf + 52));
  EXPECT_EQ(62u, SetWaveformType(buf, buf + 62, FlexType::F64));
  EXPECT_EQ(FlexType::F64, GetWaveformSampleType(buf, buf + 30));
  EXPECT_EQ(20u, SetWaveformDataSuffix(buf, buf + 20));
  // Short destinations write nothing.
  std::fill(buf, buf + sizeof buf, 0xAA);
  EXPECT_THROW(SetWaveformAttributes(buf, buf + 51), BufferOverflow);
  EXPECT_THROW(SetWaveformType(buf, buf + 61, FlexType::I32), BufferOverflow);
  EXPECT_THROW(SetWaveformDataSuffix(buf, buf + 19), BufferOverflow);
  for (unsigned char b : buf) ASSERT_EQ(0xAA, b);
}

TEST(FdWaveform, RecognisesOnlyTheExactType) {
  const Bytes type = Hex(kWaveformTypeI16);
  EXPECT_TRUE(IsWaveformType(type.data(), type.data() + 62));
  EXPECT_FALSE(IsWaveformType(type.data(), type.data() + 61));
  EXPECT_KEL_THROW(GetWaveformSampleType(type.data(), type.data() + 29), SyntaxError, kSyntaxCode,
                   "SyntaxError: packet ends inside the waveform type");
  for (std::size_t i = 0; i < type.size(); ++i) {
    if (i == 28 || i == 29) continue;
    Bytes changed = type;
    changed[i] ^= 0x01;
    EXPECT_FALSE(IsWaveformType(changed.data(), changed.data() + changed.size())) << i;
  }
  // The sample type may be any waveform sample type, and only such.
  const struct {
    std::uint16_t code;
    bool sample;
  } rows[] = {{0x0102, false}, {0x0202, false}, {0x0302, true},
              {0x0300, true},  {0x0001, true},  {0x0900, true}};
  for (const auto& row : rows) {
    Bytes changed = type;
    changed[28] = static_cast<unsigned char>(row.code & 0xFF);
    changed[29] = static_cast<unsigned char>(row.code >> 8);
    EXPECT_EQ(row.sample, IsWaveformType(changed.data(), changed.data() + 62)) << row.code;
    EXPECT_EQ(row.sample, IsWaveformSampleType(static_cast<FlexType>(row.code))) << row.code;
  }
}

TEST(FdRead, NumbersAndCopiesCheckTheirRange) {
  const Bytes bytes = Hex("01 02 03 04 05 06 07 88");
  const unsigned char* end = bytes.data() + bytes.size();
  EXPECT_EQ(0x04030201u, GetUI32(bytes.data(), end));
  EXPECT_EQ(0x08070605u | 0x80000000u, GetUI32(bytes.data() + 4, end, TAEndian::Host));
  EXPECT_EQ(static_cast<long long>(0x8807060504030201ull), GetI64(bytes.data(), end));
  EXPECT_KEL_THROW(GetUI32(bytes.data() + 5, end), SyntaxError, kSyntaxCode,
                   "SyntaxError: packet ends inside a 32-bit field");
  EXPECT_KEL_THROW(GetI64(bytes.data() + 1, end), SyntaxError, kSyntaxCode,
                   "SyntaxError: packet ends inside a 64-bit field");

  unsigned char dst[4] = {0, 0, 0, 0};
  EXPECT_EQ(4u, MemCpy(dst, dst + 4, bytes.data() + 4, end, 4));
  EXPECT_EQ("05 06 07 88", ToHex(dst, 4));
  EXPECT_EQ(0u, MemCpy(dst, dst, end, end, 0));
  EXPECT_KEL_THROW(MemCpy(dst, dst + 4, bytes.data() + 5, end, 4), SyntaxError, kSyntaxCode,
                   "SyntaxError: packet ends inside the bytes to copy");
  EXPECT_THROW(MemCpy(dst, dst + 3, bytes.data(), end, 4), BufferOverflow);
  EXPECT_EQ("05 06 07 88", ToHex(dst, 4));
}

TEST(FdRead, TimesAreFourWordsLeastSignificantFirst) {
  // 1.5 s after the epoch, and -0.25 s (two's complement over all 128 bits).
  const Bytes bytes =
      Hex("00 00 00 00 00 00 00 80 01 00 00 00 00 00 00 00"
          "00 00 00 00 00 00 00 C0 FF FF FF FF FF FF FF FF");
  const unsigned char* end = bytes.data() + bytes.size();
  const zo::kel::AbsTime t = GetTime(bytes.data(), end, TAEndian::Host);
  EXPECT_EQ(zo::kel::AbsTime(1.0, 0.5), t);
  EXPECT_EQ(-0.25, static_cast<double>(GetTime(bytes.data() + 16, end).value()));
  EXPECT_KEL_THROW(GetTime(bytes.data() + 17, end), SyntaxError, kSyntaxCode,
                   "SyntaxError: packet ends inside a time");

  unsigned char out[17];
  std::fill(out, out + 17, 0xAA);
  EXPECT_EQ(16u, SetTime(out, zo::kel::AbsTime(-1.0, 0.75), out + 16));
  EXPECT_EQ(ToHex(bytes.data() + 16, 16) + " AA", ToHex(out, 17));
  EXPECT_THROW(SetTime(out + 2, t, out + 17), BufferOverflow);
  EXPECT_EQ("AA", ToHex(out + 16, 1));
}

TEST(FdMalformed, EachDefectNamesItself) {
  const struct {
    const char* packet;
    const char* what;  // after "SyntaxError: "
  } rows[] = {
      {"08 00 00 00 00 20 00 00", "metadata element of an undefined class"},
      {"08 00 00 00 01 08 00 00", "cluster has no members"},
      {"0E 00 00 00 01 08 01 00 05 00 00 00 00 03", "cluster member is shorter than its header"},
      {"0E 00 00 00 00 08 01 00 05 00 00 00 00 03",
       "array element type is shorter than its header"},
      {"12 00 00 00 00 08 01 00 06 00 00 00 00 03 FF FF FF FF", "array dimension is negative"},
      {"0A 00 00 00 02 09 05 00 00 00", "nested packet is shorter than its header"},
      {"0C 00 00 00 02 40 03 00 00 00 00 03", "attribute length is shorter than its own field"},
      {"0C 00 00 00 00 08 01 00 08 00 00 00 00 03 00 03",
       "array element type does not fill its length"},
      {"14 00 00 00 01 08 01 00 08 00 00 00 00 03 00 03 07 00 00 00",
       "cluster member type does not fill its length"},
      {"0A 00 00 00 00 80", "packet ends inside a type word"},
      {"0A 00 00 00 02 40 04 00 00 00", "packet ends inside a type word"},
      {"0A 00", "packet ends inside its size field"},
      {"04 00 00 00", "packet ends inside a type word"},
      // 3 x 2^31-1 x 2^31-1 I32 elements cannot lie in the bytes present.
      {"1A 00 00 00 00 08 03 00 06 00 00 00 00 03 03 00 00 00 FF FF FF 7F FF FF FF 7F 00 00",
       "packet ends inside the array elements"},
      {"1E 00 00 00 00 08 04 00 06 00 00 00 00 03 FF FF FF 7F FF FF FF 7F FF FF FF 7F FF FF FF 7F",
       "packet ends inside the array elements"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.packet);
    EXPECT_KEL_THROW(ReadDataSize(Hex(row.packet)), SyntaxError, kSyntaxCode,
                     (std::string("SyntaxError: ") + row.what).c_str());
  }
  try {
    ReadDataSize(Hex(rows[0].packet));
  } catch (const SyntaxError& e) {
    EXPECT_STREQ("fd", e.getFile());
  }
}

// An I32 wrapped in `levels` single-member clusters: the MD, then the 4 data bytes.
Bytes NestClusters(std::size_t levels) {
  Bytes md = Hex("00 03");
  for (std::size_t i = 0; i < levels; ++i) {
    const auto member = static_cast<std::uint32_t>(md.size() + 4);
    Bytes outer = Hex("01 08 01 00");
    for (int b = 0; b < 4; ++b) outer.push_back(static_cast<unsigned char>(member >> (8 * b)));
    outer.insert(outer.end(), md.begin(), md.end());
    md.swap(outer);
  }
  md.insert(md.end(), {1, 2, 3, 4});
  return md;
}

TEST(FdMalformed, NestingIsLimitedTo256Levels) {
  const Bytes deepest = NestClusters(256);
  const unsigned char* end = deepest.data() + deepest.size();
  EXPECT_EQ(4u, GetDataSize(deepest.data(), end - 4, end));
  EXPECT_EQ(4u, GetDataSize(deepest.data(), nullptr, end));

  const Bytes tooDeep = NestClusters(257);
  EXPECT_KEL_THROW(GetDataSize(tooDeep.data(), nullptr, tooDeep.data() + tooDeep.size()),
                   SyntaxError, kSyntaxCode, "SyntaxError: types nest deeper than 256 levels");
}

// The allocations made while measuring an array of `elements` clusters of `members` members,
// the first an AString and the others Void, or all AStrings; every string is empty.
std::vector<unsigned long long> MeasureWideClusters(std::uint32_t members, bool allStrings,
                                                    std::uint32_t elements) {
  const auto word = [](Bytes& out, std::uint64_t v, int n) {
    for (int b = 0; b < n; ++b) out.push_back(static_cast<unsigned char>(v >> (8 * b)));
  };
  Bytes md = Hex("00 08 01 00");
  word(md, 8 + 6 * members, 4);
  word(md, 0x0801 | (std::uint64_t{members} << 16), 4);
  word(md, 6 | (0x0900ull << 32), 6);  // 06 00 00 00 00 09
  for (std::uint32_t i = 1; i < members; ++i) word(md, 6 | ((allStrings ? 0x0900ull : 1) << 32), 6);
  const std::size_t mdSize = md.size();
  const std::uint64_t dataSize = 4 + 4ull * (allStrings ? members : 1) * elements;
  word(md, elements, 4);
  md.resize(mdSize + dataSize, 0);
  const RefuseAllocationsFrom hook(~0ull);
  EXPECT_EQ(dataSize, GetDataSize(md.data(), md.data() + mdSize, md.data() + md.size()));
  return hook.Sizes();
}

TEST(FdMalformed, WideClustersInLongArraysAreMeasuredInLinearWork) {
  // The type is compiled once and runs of fixed-size members fold into one step: 1 element takes
  // the same memory as 100,000, and 20,000 Void members less than as many strings.
  const auto sum = [](const std::vector<unsigned long long>& sizes) {
    unsigned long long total = 0;
    for (unsigned long long n : sizes) total += n;
    return total;
  };
  const std::vector<unsigned long long> one = MeasureWideClusters(20001, false, 1);
  EXPECT_EQ(one, MeasureWideClusters(20001, false, 100000));
  EXPECT_LT(sum(one) + 20000 * 8, sum(MeasureWideClusters(20001, true, 1)));
}

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

const FlexType kNumeric[] = {FlexType::I8,   FlexType::UI8,  FlexType::I16, FlexType::UI16,
                             FlexType::I32,  FlexType::UI32, FlexType::F32, FlexType::I64,
                             FlexType::UI64, FlexType::F64};

// copyElts for each target host type, in the order of kNumeric.
using Copier = void (*)(FlexType, std::uint32_t, TAEndian, const void*, TAEndian, void*);
const Copier kCopy[] = {
    &copyElts<signed char>,    &copyElts<unsigned char>, &copyElts<short>,
    &copyElts<unsigned short>, &copyElts<std::int32_t>,  &copyElts<std::uint32_t>,
    &copyElts<float>,          &copyElts<long long>,     &copyElts<unsigned long long>,
    &copyElts<double>};

std::string ConvertOne(FlexType from, const Bytes& value, std::size_t to) {
  unsigned char out[8];
  std::memset(out, 0xAA, sizeof out);
  kCopy[to](from, 0, TAEndian::Little, value.data(), TAEndian::Host, out);
  EXPECT_EQ("AA AA AA AA AA AA AA AA", ToHex(out, 8)) << "a zero count writes nothing";
  kCopy[to](from, 1, TAEndian::Little, value.data(), TAEndian::Host, out);
  return ToHex(out, GetDataSize(kNumeric[to]));
}

TEST(NumericConversion, EveryPairOfHostTypes) {
  // One value per source type (I8 -5, UI8 250, I16 -300, UI16 65000, I32 -70000,
  // UI32 4000000000, F32 -2.5, I64 -5000000000, UI64 2^63 + 5, F64 10000000000.75), and its
  // bytes in each target type, in the order of kNumeric.
  const struct {
    const char* value;
    const char* expected[10];
  } rows[] = {
      {"FB",
       {"FB", "FB", "FB FF", "FB FF", "FB FF FF FF", "FB FF FF FF", "00 00 A0 C0",
        "FB FF FF FF FF FF FF FF", "FB FF FF FF FF FF FF FF", "00 00 00 00 00 00 14 C0"}},
      {"FA",
       {"FA", "FA", "FA 00", "FA 00", "FA 00 00 00", "FA 00 00 00", "00 00 7A 43",
        "FA 00 00 00 00 00 00 00", "FA 00 00 00 00 00 00 00", "00 00 00 00 00 40 6F 40"}},
      {"D4 FE",
       {"D4", "D4", "D4 FE", "D4 FE", "D4 FE FF FF", "D4 FE FF FF", "00 00 96 C3",
        "D4 FE FF FF FF FF FF FF", "D4 FE FF FF FF FF FF FF", "00 00 00 00 00 C0 72 C0"}},
      {"E8 FD",
       {"E8", "E8", "E8 FD", "E8 FD", "E8 FD 00 00", "E8 FD 00 00", "00 E8 7D 47",
        "E8 FD 00 00 00 00 00 00", "E8 FD 00 00 00 00 00 00", "00 00 00 00 00 BD EF 40"}},
      {"90 EE FE FF",
       {"90", "90", "90 EE", "90 EE", "90 EE FE FF", "90 EE FE FF", "00 B8 88 C7",
        "90 EE FE FF FF FF FF FF", "90 EE FE FF FF FF FF FF", "00 00 00 00 00 17 F1 C0"}},
      {"00 28 6B EE",
       {"00", "00", "00 28", "00 28", "00 28 6B EE", "00 28 6B EE", "28 6B 6E 4F",
        "00 28 6B EE 00 00 00 00", "00 28 6B EE 00 00 00 00", "00 00 00 00 65 CD ED 41"}},
      {"00 00 20 C0",
       {"FE", "FE", "FE FF", "FE FF", "FE FF FF FF", "FE FF FF FF", "00 00 20 C0",
        "FE FF FF FF FF FF FF FF", "FE FF FF FF FF FF FF FF", "00 00 00 00 00 00 04 C0"}},
      {"00 0E FA D5 FE FF FF FF",
       {"00", "00", "00 0E", "00 0E", "00 0E FA D5", "00 0E FA D5", "F9 02 95 CF",
        "00 0E FA D5 FE FF FF FF", "00 0E FA D5 FE FF FF FF", "00 00 00 20 5F A0 F2 C1"}},
      // UI64 to floating point goes through the signed 64-bit integer: 2^63 + 5 is negative.
      {"05 00 00 00 00 00 00 80",
       {"05", "05", "05 00", "05 00", "05 00 00 00", "05 00 00 00", "00 00 00 DF",
        "05 00 00 00 00 00 00 80", "05 00 00 00 00 00 00 80", "00 00 00 00 00 00 E0 C3"}},
      // 10000000000.75 is out of range for every integer narrower than 64 bits.
      {"00 00 06 20 5F A0 02 42",
       {"00", "00", "00 80", "00 00", "00 00 00 80", "00 E4 0B 54", "F9 02 15 50",
        "00 E4 0B 54 02 00 00 00", "00 E4 0B 54 02 00 00 00", "00 00 06 20 5F A0 02 42"}},
  };
  for (std::size_t from = 0; from < 10; ++from) {
    const Bytes value = Hex(rows[from].value);
    for (std::size_t to = 0; to < 10; ++to) {
      EXPECT_EQ(rows[from].expected[to], ConvertOne(kNumeric[from], value, to))
          << "from " << from << " to " << to;
    }
  }
}

// The value at the bytes of a double, converted to each integer target by the array transform
// and by GetNum, which must agree.
template <typename T>
T FromDouble(double x) {
  Bytes bytes(8);
  std::memcpy(bytes.data(), &x, 8);
  const T scalar = GetNum<T>(FlexType::F64, bytes.data(), bytes.data() + 8);
  T element;
  copyElts<T>(FlexType::F64, 1, TAEndian::Little, bytes.data(), TAEndian::Little, &element);
  EXPECT_EQ(scalar, element) << x;
  return scalar;
}

TEST(NumericConversion, FloatingPointTruncatesAndOutOfRangeGivesTheIntegerIndefiniteValue) {
  // I16, I32 and I64 truncate toward zero and give their most negative value out of range. I8
  // and UI8 keep the low byte of the I16 result, UI16 the low 16 bits of the I32 result, UI32
  // the low 32 bits of the I64 result; UI64 is exact below 2^64, takes negatives through I64
  // and gives 2^63 beyond.
  const std::int32_t i32Min = std::numeric_limits<std::int32_t>::min();
  const long long i64Min = std::numeric_limits<long long>::min();
  const unsigned long long top = 0x8000000000000000ull;
  const struct {
    double x;
    int i8, ui8, i16, ui16;
    std::int32_t i32;
    std::uint32_t ui32;
    long long i64;
    unsigned long long ui64;
  } rows[] = {
      {-2.7, -2, 254, -2, 65534, -2, 0xFFFFFFFEu, -2, 0xFFFFFFFFFFFFFFFEull},
      {32767.9, -1, 255, 32767, 32767, 32767, 32767, 32767, 32767},
      {-32768.9, 0, 0, -32768, 32768, -32768, 4294934528u, -32768, 18446744073709518848ull},
      {-32769.0, 0, 0, -32768, 32767, -32769, 4294934527u, -32769, 18446744073709518847ull},
      {2147483647.9, 0, 0, -32768, 65535, 2147483647, 2147483647u, 2147483647, 2147483647},
      {-2147483648.9, 0, 0, -32768, 0, i32Min, 2147483648u, -2147483648LL, 0xFFFFFFFF80000000ull},
      {2147483648.0, 0, 0, -32768, 0, i32Min, 2147483648u, 2147483648LL, 2147483648ull},
      {-2147483649.0, 0, 0, -32768, 0, i32Min, 2147483647u, -2147483649LL, 0xFFFFFFFF7FFFFFFFull},
      {9223372036854774784.0, 0, 0, -32768, 0, i32Min, 0xFFFFFC00u, 9223372036854774784LL,
       9223372036854774784ull},
      {-9223372036854775808.0, 0, 0, -32768, 0, i32Min, 0, i64Min, top},
      {9223372036854775808.0, 0, 0, -32768, 0, i32Min, 0, i64Min, top},
      {1.8e19, 0, 0, -32768, 0, i32Min, 0, i64Min, 18000000000000000000ull},
      {18446744073709551616.0, 0, 0, -32768, 0, i32Min, 0, i64Min, top},
      {-kInf, 0, 0, -32768, 0, i32Min, 0, i64Min, top},
      {kNaN, 0, 0, -32768, 0, i32Min, 0, i64Min, top},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << std::setprecision(20) << row.x);
    EXPECT_EQ(row.i8, FromDouble<signed char>(row.x));
    EXPECT_EQ(row.ui8, FromDouble<unsigned char>(row.x));
    EXPECT_EQ(row.i16, FromDouble<short>(row.x));
    EXPECT_EQ(row.ui16, FromDouble<unsigned short>(row.x));
    EXPECT_EQ(row.i32, FromDouble<std::int32_t>(row.x));
    EXPECT_EQ(row.ui32, FromDouble<std::uint32_t>(row.x));
    EXPECT_EQ(row.i64, FromDouble<long long>(row.x));
    EXPECT_EQ(row.ui64, FromDouble<unsigned long long>(row.x));
  }
}

TEST(NumericConversion, SinglePrecisionSourcesFollowTheSameTableAndBoolsAreSignedBytes) {
  const float values[] = {40000.0f, 3e9f, -1.5f};
  Bytes bytes(sizeof values);
  std::memcpy(bytes.data(), values, sizeof values);
  short i16[3];
  copyElts<short>(FlexType::F32, 3, TAEndian::Little, bytes.data(), TAEndian::Little, i16);
  EXPECT_EQ((std::vector<int>{-32768, -32768, -1}), (std::vector<int>(i16, i16 + 3)));
  EXPECT_EQ(-1, GetNum<signed char>(FlexType::F32, bytes.data() + 8, bytes.data() + 12));

  const Bytes flags = Hex("00 01 FF");
  double d[3];
  copyElts<double>(FlexType::Bool, 3, TAEndian::Little, flags.data(), TAEndian::Little, d);
  EXPECT_EQ((std::vector<double>{0.0, 1.0, -1.0}), (std::vector<double>(d, d + 3)));
}

TEST(NumericConversion, OnlyMatchingByteOrderFlagsConvert) {
  const Bytes src = Hex("01 00 FF 7F");
  const struct {
    std::int32_t src, dst;
    bool converts;
  } rows[] = {{0, 0, true},  {1, 1, true},   {0, 1, true},  {1, 0, true},
              {2, 2, true},  {2, 0, false},  {0, 2, false}, {2, 1, false},
              {1, 2, false}, {-1, 0, false}, {3, 2, false}};
  for (const auto& row : rows) {
    std::int32_t out[2] = {-7, -7};
    copyElts<std::int32_t>(FlexType::I16, 2, static_cast<TAEndian>(row.src), src.data(),
                           static_cast<TAEndian>(row.dst), out);
    EXPECT_EQ(row.converts ? 1 : -7, out[0]) << row.src << " " << row.dst;
    EXPECT_EQ(row.converts ? 32767 : -7, out[1]) << row.src << " " << row.dst;
  }
}

TEST(NumericConversion, UnalignedRunsConvertEveryElement) {
  // Three F64 values starting at an odd address, into I32 at another odd address.
  Bytes src = Hex("EE 00 00 00 00 00 00 F8 3F 00 00 00 00 00 00 04 C0 00 00 00 00 00 00 59 40");
  unsigned char out[13];
  std::memset(out, 0xAA, sizeof out);
  copyElts<std::int32_t>(FlexType::F64, 3, TAEndian::Little, src.data() + 1, TAEndian::Little,
                         out + 1);
  EXPECT_EQ("AA 01 00 00 00 FE FF FF FF 64 00 00 00", ToHex(out, 13));
}

// GetNum reads each source type as copyElts converts it (the floating point sources: FromDouble).
TEST(NumericConversion, ScalarReads) {
  const Bytes ui64 = Hex("00 00 00 00 00 00 00 80");  // 2^63
  EXPECT_EQ(-9.2233720368547758e18f, GetNum<float>(FlexType::UI64, ui64.data(), ui64.data() + 8));
  EXPECT_EQ(0u, GetNum<std::uint32_t>(FlexType::UI64, ui64.data(), ui64.data() + 8));
  const Bytes u32 = Hex("FF FF FF FF");
  EXPECT_EQ(-1, GetNum<short>(FlexType::UI32, u32.data(), u32.data() + 4));
  EXPECT_EQ(4294967295.0, GetNum<double>(FlexType::UI32, u32.data(), u32.data() + 4));
  EXPECT_EQ(-1, GetNum<long long>(FlexType::I32, u32.data(), u32.data() + 4));
  EXPECT_EQ(255u, GetNum<unsigned char>(FlexType::I8, u32.data(), u32.data() + 1));
}

TEST(NumericConversion, FailuresNameTheirPlace) {
  const Bytes bytes = Hex("01 02 03 04 05 06 07 08");
  for (std::uint16_t code :
       {0x0102, 0x0001, 0x0504, 0x0800, 0x0801, 0x0900, 0x0902, 0x0A00, 0x0202, 0x0403}) {
    EXPECT_KEL_THROW_AT(GetNum<double>(static_cast<FlexType>(code), bytes.data(), bytes.data() + 8),
                        InvalidArgument, kInvalidArgumentCode, "Invalid argument(s)", "FlexData",
                        653);
  }
  for (std::uint16_t code : {0x0001, 0x0504, 0x0900, 0x0202}) {
    unsigned char out[8] = {};
    EXPECT_KEL_THROW_AT(copyElts<double>(static_cast<FlexType>(code), 1, TAEndian::Little,
                                         bytes.data(), TAEndian::Little, out),
                        InvalidArgument, kInvalidArgumentCode, "Invalid argument(s)", "FlexData",
                        1330);
  }
  EXPECT_KEL_THROW(GetNum<std::int32_t>(FlexType::F64, bytes.data() + 1, bytes.data() + 8),
                   SyntaxError, kSyntaxCode, "SyntaxError: packet ends inside a number");
}

}  // namespace
