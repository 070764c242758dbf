#include <gtest/gtest.h>

#include "qmstatic/vardata/VarData.h"

namespace {

std::int32_t CountOf(IVarDataGuts* guts) {
  guts->AddRef();
  return guts->Release();
}

VarData ArrayOf(std::initializer_list<VarData> elements) {
  VarData a;
  std::uint32_t i = 0;
  for (const VarData& e : elements) a.SetElement(i++, e);
  return a;
}

TEST(Array, SettingPastTheEndGrowsWithEmptyElements) {
  VarData a;
  a.SetElement(3, VarData("x"));
  EXPECT_EQ(VarData::kArray, a.getTypeWord());
  EXPECT_EQ(4u, a.GetLength());
  for (std::uint32_t i = 0; i < 3; ++i) EXPECT_EQ(VarData::kEmpty, a.GetElement(i).getTypeWord());
  EXPECT_EQ(VarData("x"), a.GetElement(3));

  VarData b;
  b.SetElement(3, VarData());  // an empty value past the end is not stored
  EXPECT_EQ(VarData::kArray, b.getTypeWord());
  EXPECT_EQ(0u, b.GetLength());
  b.SetElement(0, VarData(1));
  b.SetElement(0, VarData());  // inside the array it is stored
  EXPECT_EQ(1u, b.GetLength());
  EXPECT_EQ(VarData::kEmpty, b.GetElement(0).getTypeWord());
}

TEST(Array, AScalarThatReceivesAnElementIsPromoted) {
  VarData v(5.0);
  v.SetElement(2, VarData("x"));
  EXPECT_EQ(3u, v.GetLength());
  EXPECT_EQ(VarData(5.0), v.GetElement(0));
  EXPECT_EQ(VarData::kEmpty, v.GetElement(1).getTypeWord());
  EXPECT_EQ(VarData("x"), v.GetElement(2));
  VarData s("text");
  s.SetElement(0, VarData(1));  // element 0 replaces the promoted value
  EXPECT_EQ(1u, s.GetLength());
  EXPECT_EQ(VarData(1), s.GetElement(0));
}

TEST(Array, ReadsOutsideAnArrayYieldEmptyValues) {
  const VarData a = ArrayOf({VarData(1), VarData(2)});
  EXPECT_EQ(VarData::kEmpty, a.GetElement(10).getTypeWord());
  EXPECT_EQ(VarData::kEmpty, VarData(5.0).GetElement(0).getTypeWord());
  EXPECT_EQ(0u, VarData(5.0).GetLength());
  EXPECT_EQ(VarData::kEmpty, a.GetElement(0, 0).getTypeWord());  // element 0 is no row
}

TEST(Array, TrailingEmptyElementsAreIgnoredInOrder) {
  const VarData shortArray = ArrayOf({VarData(1), VarData(2)});
  VarData padded = shortArray;
  padded.SetElement(2, VarData(0));
  padded.SetElement(2, VarData());
  padded.SetElement(3, VarData(1));
  padded.SetElement(3, VarData());
  ASSERT_EQ(4u, padded.GetLength());
  EXPECT_EQ(0, shortArray.Compare(padded));
  EXPECT_EQ(0, padded.Compare(shortArray));
  VarData longer = padded;
  longer.SetElement(3, VarData(3));
  EXPECT_EQ(-1, shortArray.Compare(longer));
  EXPECT_EQ(1, longer.Compare(shortArray));
  EXPECT_LT(ArrayOf({VarData(1), VarData(2)}).Compare(ArrayOf({VarData(1), VarData(3)})), 0);
  // Element order decides before length.
  EXPECT_GT(ArrayOf({VarData(2)}).Compare(ArrayOf({VarData(1), VarData(9)})), 0);
}

TEST(Array, WritesThroughACopyNeverShowThroughTheOriginal) {
  VarData a = ArrayOf({VarData(1), VarData(2)});
  IVarDataGuts* guts = a.getGuts();
  VarData b = a;
  EXPECT_EQ(guts, b.getGuts());
  b.SetElement(0, VarData(100));
  EXPECT_NE(guts, b.getGuts());
  EXPECT_EQ(VarData(1), a.GetElement(0));
  EXPECT_EQ(VarData(100), b.GetElement(0));
  EXPECT_EQ(1, CountOf(guts));
  // An unshared array is written in place.
  IVarDataGuts* own = b.getGuts();
  b.SetElement(5, VarData(6));
  EXPECT_EQ(own, b.getGuts());
}

TEST(Array, CopiedArraysShareNestedArraysUntilWritten) {
  VarData inner = ArrayOf({VarData(1)});
  VarData outer = ArrayOf({inner});
  VarData copy = outer;
  copy.unshare();
  EXPECT_NE(outer.getGuts(), copy.getGuts());
  EXPECT_EQ(outer.GetElement(0).getGuts(), copy.GetElement(0).getGuts());
  copy.SetElement(0, 0, VarData(2));
  EXPECT_EQ(VarData(1), outer.GetElement(0, 0));
  EXPECT_EQ(VarData(2), copy.GetElement(0, 0));
  EXPECT_EQ(VarData(1), inner.GetElement(0));
}

TEST(Array, TwoDimensionalWritesSkipEqualValuesAndAvoidRowCopies) {
  VarData grid;
  grid.SetElement(1, 2, VarData(7));
  EXPECT_EQ(2u, grid.GetLength());
  EXPECT_EQ(VarData(7), grid.GetElement(1, 2));
  EXPECT_EQ(3u, grid.GetElement(1).GetLength());

  // Writing an equal value keeps a shared array shared.
  VarData other = grid;
  grid.SetElement(1, 2, VarData(7.0));
  EXPECT_EQ(grid.getGuts(), other.getGuts());
  grid.SetElement(1, 2, VarData(8));
  EXPECT_NE(grid.getGuts(), other.getGuts());
  EXPECT_EQ(VarData(7), other.GetElement(1, 2));
  EXPECT_EQ(VarData(8), grid.GetElement(1, 2));

  // The row held by an unshared grid is changed in place, not copied.
  IVarDataGuts* row = grid.GetElement(1).getGuts();
  grid.SetElement(1, 0, VarData(5));
  const VarData held = grid.GetElement(1);
  EXPECT_EQ(row, held.getGuts());
  EXPECT_EQ(2, CountOf(row));  // the grid's reference and `held`
  EXPECT_EQ(VarData(5), held.GetElement(0));
}

TEST(Array, TruthAndNumberComeFromElementZero) {
  EXPECT_FALSE(static_cast<bool>(ArrayOf({})));
  VarData empty;
  empty.SetElement(0, VarData());
  EXPECT_FALSE(static_cast<bool>(empty));
  EXPECT_EQ(0.0, static_cast<double>(empty));
  EXPECT_TRUE(static_cast<bool>(ArrayOf({VarData(3), VarData(0)})));
  EXPECT_FALSE(static_cast<bool>(ArrayOf({VarData(0), VarData(3)})));
  EXPECT_EQ(3.0, static_cast<double>(ArrayOf({VarData(3), VarData(4)})));
}

}  // namespace
