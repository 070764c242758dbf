#include "kel/fd/fd.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "kel/fd/FdSamples.h"
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

TEST(FdPacket, DataSizeWithoutDataCountsVariablePartsAsEmpty) {
  const struct {
    const char* md;
    std::size_t size;
  } rows[] = {
      {"00 09", 4},
      {"00 03", 4},
      {"02 09", 8},
      {"00 08 03 00 06 00 00 00 00 04", 12},
      {"00 08 00 00 06 00 00 00 00 04", 0},
      {"01 08 02 00 06 00 00 00 02 01 06 00 00 00 00 09", 6},
      {"02 40 04 00 00 00 00 80 00 09", 4},  // prefix elements are skipped
  };
  for (const auto& row : rows) {
    const Bytes md = Hex(row.md);
    EXPECT_EQ(row.size, GetDataSize(md.data(), nullptr, md.data() + md.size())) << row.md;
  }
}

// A type word, a prefix word, an attribute with its length, an array and a cluster.
TEST(FdPacket, MetadataElementSizesByClass) {
  const struct {
    const char* md;
    std::size_t size;
  } rows[] = {
      {"00 03", 2},
      {"34 92", 2},
      {"07 40 06 00 00 00 AA BB", 8},
      {"00 08 01 00 06 00 00 00 00 02", 10},
      {"01 08 02 00 06 00 00 00 00 03 0E 00 00 00 00 08 00 00 06 00 00 00 00 01", 24},
  };
  for (const auto& row : rows) {
    const Bytes md = Hex(std::string(row.md) + " EE EE");  // bytes after the element are ignored
    EXPECT_EQ(row.size, GetMDEltSize(md.data(), md.data() + md.size())) << row.md;
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

  const unsigned char* value = GetAttributeMD(md, "_ZO_MDT", end);
  ASSERT_EQ(md + 26, value);
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

// Wraps an MD in `levels` single-member clusters.
Bytes NestClusters(std::size_t levels) {
  Bytes md = Hex("00 03");
  for (std::size_t i = 0; i < levels; ++i) {
    const auto member = static_cast<std::uint32_t>(md.size() + 4);
    Bytes outer = Hex("01 08 01 00");
    for (int b = 0; b < 4; ++b) outer.push_back(static_cast<unsigned char>(member >> (8 * b)));
    outer.insert(outer.end(), md.begin(), md.end());
    md.swap(outer);
  }
  return md;
}

TEST(FdMalformed, NestingIsLimitedTo256Levels) {
  const Bytes deepest = NestClusters(256);
  const Bytes data = Hex("01 02 03 04");
  Bytes whole = deepest;
  whole.insert(whole.end(), data.begin(), data.end());
  EXPECT_EQ(4u,
            GetDataSize(whole.data(), whole.data() + deepest.size(), whole.data() + whole.size()));
  EXPECT_EQ(4u, GetDataSize(whole.data(), nullptr, whole.data() + whole.size()));

  Bytes tooDeep = NestClusters(257);
  tooDeep.insert(tooDeep.end(), data.begin(), data.end());
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

}  // namespace
