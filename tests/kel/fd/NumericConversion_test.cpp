#include "kel/fd/NumericConversion.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <string>
#include <vector>

#include "kel/fd/FdSamples.h"
#include "support/KelTest.h"

namespace {

using namespace zo::kel::fd;
using namespace zo_kel_test::fd_samples;

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
