#include <gtest/gtest.h>

#include "kel/exception.h"
#include "qmstatic/vardata/VarData.h"
#include "support/KelTest.h"

namespace {

using zo_kel_test::Bytes;
using zo_kel_test::Hex;

TEST(VarDataTGVariant, HoldsCopiesAndOrdersByDescriptorThenData) {
  unsigned short words[] = {6, 0x4021, 0x0178};
  unsigned char data[] = {1};
  const VarData v = VarData::tgvar(words, 3u, data, 1u);
  words[0] = 0;
  data[0] = 0;
  const unsigned short* w = nullptr;
  const unsigned char* d = nullptr;
  std::uint32_t wn = 0, dn = 0;
  v.getTGVariant(w, wn, d, dn);
  ASSERT_EQ(3u, wn);
  ASSERT_EQ(1u, dn);
  EXPECT_EQ(6, w[0]);
  EXPECT_EQ(0x0178, w[2]);
  EXPECT_EQ(1, d[0]);
  EXPECT_THROW(VarData(1).getTGVariant(w, wn, d, dn), TypeErrorException);

  const unsigned short a[] = {4, 0x21};
  const unsigned char zero[] = {0}, one[] = {1};
  EXPECT_EQ(0, VarData::tgvar(a, 2u, one, 1u).Compare(VarData::tgvar(a, a + 2, one, one + 1)));
  EXPECT_EQ(-1, VarData::tgvar(a, 2u, zero, 1u).Compare(VarData::tgvar(a, 2u, one, 1u)));
  EXPECT_EQ(1, VarData::tgvar(a, 2u, one, 1u).Compare(VarData::tgvar(a, 2u, zero, 1u)));
  // The descriptor decides before the data.
  EXPECT_EQ(-1, VarData::tgvar(a, 1u, one, 1u).Compare(VarData::tgvar(a, 2u, zero, 1u)));
}

TEST(VarDataTGVariant, InterfacesAndUndecodablePairs) {
  const unsigned short garbage[] = {1};
  const VarData v = VarData::tgvar(garbage, 1u, nullptr, 0u);
  // A pair that cannot be decoded is false and 0.0 rather than an error.
  EXPECT_FALSE(static_cast<bool>(v));
  EXPECT_EQ(0.0, static_cast<double>(v));
  void* itf = nullptr;
  ASSERT_EQ(kGutsOk, v.getGuts()->QueryInterface(IID_IVarDataTGVariant, &itf));
  static_cast<IVarDataTGVariant*>(itf)->Release();
  EXPECT_EQ(kGutsNoInterface, v.getGuts()->QueryInterface(IID_IVarDataFlexData, &itf));
  EXPECT_EQ(nullptr, itf);
}

TEST(VarDataTGVariant, SerializedVectorsReadBackBitForBit) {
  const Bytes image = Hex("12 10 00 00 03 00 00 00 06 00 21 40 78 01 01 00 00 00 01");
  std::uint32_t consumed = 0;
  const VarData v = VarData::DeserializeWithoutSize(image.data(), 19, consumed, true);
  EXPECT_EQ(19u, consumed);
  const unsigned short* w = nullptr;
  const unsigned char* d = nullptr;
  std::uint32_t wn = 0, dn = 0;
  v.getTGVariant(w, wn, d, dn);
  ASSERT_EQ(3u, wn);
  EXPECT_EQ(0x4021, w[1]);
  EXPECT_EQ(0x0178, w[2]);
  // Truncated vectors fail with the cursor left alone.
  for (std::uint32_t n = 4; n < 19; ++n) {
    const Bytes prefix(image.begin(), image.begin() + n);
    VarData target;
    const unsigned char* cursor = prefix.data();
    EXPECT_THROW(target.deserializeImpl(cursor, prefix.data() + n, true),
                 zo::kel::exception::DeserializationError);
    EXPECT_EQ(prefix.data(), cursor);
  }
}

}  // namespace
